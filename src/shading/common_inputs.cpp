#include "shading/common_inputs.h"

#include <cmath>

#include "frame/texture_lookup.h"
#include "shading/projections.h"

namespace ksi {

namespace {
// An occlusion amount a in [0, 1] fades the colour from white towards ambientOcclusionColor.
Float3 fadeToOcclusionColor(float a, Float3 color) {
    return {a * color.x + (1.0f - a), a * color.y + (1.0f - a), a * color.z + (1.0f - a)};
}
}  // namespace

// Written out here rather than through the legacy channels' general mask step: every shade of
// the newer materials asks for it, and the inline projections keep it as cheap as the formula.
Float3 evaluateMasking(const CommonMaterialInputs& inputs, Float2 uv, Float3 objectPosition, Float3 objectNormal) {
    const int32_t mode = inputs.maskingMode;
    // Modes outside -1 to 4 give no mask, like -1.
    if (mode < 0 || mode > kProjectCylindrical) return Float3(0.0f);
    if (mode == 0) return inputs.maskingColor;
    Float2 coordinate;
    Float4 projected(0.0f);
    if (mode == kProjectUv) {
        coordinate = transformUv(uv, inputs.maskingUVMatrix);
    } else {
        projected = transformPoint(objectPosition, inputs.maskingTextureMatrix);
        if (mode == kProjectPlanar) {
            coordinate = planarCoordinate(projected);
        } else if (mode == kProjectBox) {
            const Float3 n = transformDirection(objectNormal, inputs.maskingTextureMatrix);
            coordinate = boxCoordinate(projected, n, BoxXFace::ZY).st;
        } else {
            coordinate = cylindricalCoordinate(projected, inputs.maskingAngularRepeat);
        }
    }
    const Float4 texel = lookupTexture(inputs.maskingTexture, coordinate);
    Float3 m = inputs.maskingFromAlpha ? Float3(texel.w) : texel.xyz();
    if (inputs.maskingInvertTexture) m = Float3(1.0f) - m;
    // The planar projection covers the slab -1 <= z <= 1; everything outside it is cut away.
    if (m != Float3(1.0f) && mode == kProjectPlanar && (projected.z < -1.0f || projected.z > 1.0f)) m = Float3(1.0f);
    return m;
}

Float3 evaluateAmbientOcclusion(const CommonMaterialInputs& inputs, RenderServices* services, Float2 uv1,
                                Float4 vertexColor, Float3 attenuationColor, Float3 position, Float3 normal,
                                Float3 rayDirection, Float3 geometricNormal, float weight) {
    const float k = 1.0f - maxComponent(attenuationColor);
    const float factor = inputs.ambientOcclusionFactor;
    if (inputs.usePrecalcAO && (inputs.ambientOcclusionMode == 1 || inputs.ambientOcclusionMode == 2)) {
        float occlusion = inputs.ambientOcclusionMode == 1
                              ? lookupTexture(inputs.ambientOcclusionTexture, uv1).x
                              : vertexColor.x;
        float a = (1.0f - occlusion) * factor * k;
        return fadeToOcclusionColor(a, inputs.ambientOcclusionColor);
    }
    // Ray-traced: query the hemisphere on the side the ray came from.
    Float3 direction = faceForwardNormal(normal, rayDirection, geometricNormal);
    Float3 visibility;
    services->ambientOcclusion(&visibility, &position, &direction, k * weight * factor);
    const Float3& c = inputs.ambientOcclusionColor;
    auto channel = [&](float v, float color) {
        float t = (1.0f - (factor * v + (1.0f - factor))) * k;
        return t * color + (1.0f - t);
    };
    return {channel(visibility.x, c.x), channel(visibility.y, c.y), channel(visibility.z, c.z)};
}

bool passesGlobalClip(const GlobalClipInputs& clip, Float3 position) {
    // The count texel has no second coordinate of its own; it is read on the same row as the planes.
    const float n = fetchDataTexture(clip.u_globalClippingMap, 0.0f, 1.0f).x;
    if (n < 1.0f) return true;
    for (float i = 1.0f; i <= n && i <= kMaxClippingPlanes; i += 1.0f) {
        Float4 plane = fetchDataTexture(clip.u_globalClippingMap, (i + 0.5f) / (n + 1.0f), 1.0f);
        // Written as a negated test so that a NaN also clips.
        if (!(dot(position, plane.xyz()) > -plane.w)) return false;
    }
    return true;
}

bool clippedAway(const GlobalClipInputs& clip, ShadingRecord* record) {
    if (!clip.u_globalClippingMapEnable || passesGlobalClip(clip, record->position)) return false;
    record->noContribution = 1;
    return true;
}

Float3 bendReflectionToSurface(Float3 rayDirection, Float3 geometricNormal, Float3 normal) {
    const Float3& I = rayDirection;
    const Float3& G = geometricNormal;
    const Float3& N = normal;
    // The unit vector d = s I + t N in the plane of I and N that meets G at exactly the minimum
    // cosine: with dot(d, G) fixed, |d| = 1 leaves a quadratic in t.
    const float a = dot(G, I);
    const float b = dot(N, G);
    const float c = dot(N, I);
    const float qa = b * b + a * a - 2.0f * (c * a) * b;
    const float qb = 2.0f * kMinReflectionCosine * (c * a - b);
    const float qc = kMinReflectionCosine * kMinReflectionCosine - a * a;
    float t;
    if (qa != 0.0f) {
        float disc = qb * qb - 4.0f * qa * qc;
        if (disc < 0.0f) return N;
        float root = std::sqrt(disc);
        float t1 = (root - qb) / (2.0f * qa);
        float t2 = (-root - qb) / (2.0f * qa);
        t = t1 > t2 ? t1 : t2;
    } else {
        if (qb == 0.0f) return N;
        t = -qc / qb;
    }
    float s = (kMinReflectionCosine - t * b) / a;
    return normalize(s * I + t * N);
}

Float4 blendWithTransmission(RenderServices* services, const ShadingRecord& record, Float3 mask, Float4 color) {
    if (isZero(mask)) return color;
    // Whatever the cut-away part lets through, seen straight through the surface.
    Float4 behind;
    services->traceTransmission(&behind, &record.position, &record.rayDir, 1.0f);
    return Float4(lerp3(color.xyz(), behind.xyz(), mask), behind.w);
}

Float3 seenThroughOpening(RenderServices* services, const ShadingRecord& record, float kappa) {
    if (kappa == 1.0f) return Float3(0.0f);
    Float4 behind;
    services->traceTransmission(&behind, &record.position, &record.rayDir, 1.0f - kappa);
    return behind.xyz();
}

void finishMaterialShade(RenderServices* services, ShadingRecord* record, Float3 mask, const MaterialTerms& terms,
                         Float3 ao, const CommonTint* tint) {
    Float3 sum = terms.added + terms.ambient * ao;
    for (const Float3& term : terms.trailing) sum += term;
    Float4 color(sum, 1.0f);
    if (tint && tint->u_commonTintEnable) setRgb(color, color.xyz() * tint->u_commonTintColor.xyz());
    record->outColor = blendWithTransmission(services, *record, mask, color);
}

}  // namespace ksi
