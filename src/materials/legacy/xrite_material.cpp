#include "materials/legacy/xrite_material.h"

#include <array>
#include <cmath>

#include "frame/exports.h"
#include "frame/texture_conventions.h"
#include "materials/legacy/fresnel_quadruple.h"
#include "shading/shading_frame.h"

namespace ksi {

namespace {
constexpr VaryingLayout kVaryings{.uv1 = 0, .vtxcolor = 8, .uv = 24};

constexpr auto kDeclarations = concatRows(commonInputRows<XRiteParams>(), KS_BLOCK_ROWS(XRiteParams, KS_XRITE_PARAMETERS),
                                          std::array{varying(kVaryingFloat2, "uv", kVaryings.uv)});

// The flake grid never spans more cells a side than this. The cap only binds for absurd values
// (the defaults ask for at most 28) and keeps a garbage value of maxFlakes or flakeFactor, huge or
// infinite, from hanging a render.
constexpr float kMaxFlakeCellsPerSide = 256.0f;

struct FlakeGrid {
    int count;         // cells a side
    float edgeWeight;  // weight of the first row and of the first column
};

struct FlakeTerms {
    Float3 glint{0.0f};    // sharp, from the reflection cube
    Float3 sparkle{0.0f};  // soft, from the specular cube
};

Float3 maskAt(const XRiteParams& p, const ShadingRecord& record) {
    return evaluateMasking(p.common, readVarying<Float2>(record, kVaryings.uv), record.objectPosition,
                           record.objectNormal);
}

// A tangent frame around the object-space normal: the tangent lies in the xy plane, except near
// the poles, where it is taken in the yz plane instead.
ShadingFrame objectFrame(Float3 no) {
    Float3 T = std::fabs(no.z) >= 0.999f ? normalize(Float3(0.0f, -no.z, no.y)) : normalize(Float3(-no.y, no.x, 0.0f));
    return {T, cross(T, no), no};
}

// How many flake cells a side this sample's footprint covers. The footprint grows with the
// distance to the eye and, as 1/sqrt of the view cosine, towards grazing view; it is capped by
// maxFlakes, which also serves when the view is too grazing to measure. A fractional grid keeps
// its fraction as the weight of a partial first row and column.
FlakeGrid flakeGrid(const XRiteParams& p, const ShadingRecord& record, Float3 n) {
    const float cv = dot(-record.rayDir, n);
    float w = p.maxFlakes;
    if (cv >= 0.0001f) {
        const Float3 toEye = record.position - record.rayOrigin;
        w = (std::sqrt(dot(toEye, toEye)) / (std::sqrt(cv) * p.flakeSize)) * 0.0025f;
        if (w > p.maxFlakes) w = p.maxFlakes;
    }
    float g = w * p.flakeFactor;
    if (g > kMaxFlakeCellsPerSide) g = kMaxFlakeCellsPerSide;
    float count = std::ceil(g);
    float e = g - std::floor(g);
    // A whole number of cells (up to rounding) is a full grid, not one with an empty first row.
    if (e < 0.0001f) {
        count = std::floor(g);
        e = 1.0f;
    }
    // Negative and NaN counts give no cells; the cap keeps the conversion in range.
    return {count >= 1.0f ? static_cast<int>(count) : 0, e};
}

// Cube light dimmer than a channel sum of 3 fades steeply (fourth power of the sum over 3).
// Black texels (an unbound cube, dark parts of an environment) skip the power: pow(+-0, 4) is
// +0, the very value powf returns.
float dimCubeFade(float sum) { return sum == 0.0f ? 0.0f : std::pow(sum / 3.0f, 4.0f); }

// Flakes are a normal map tiled in world space: across by position.x, down by a row code made of
// position.z's fraction and position.y in steps of 1/128. Each cell mirrors the eye vector about
// its flake normal and reads the cubes along the mirror direction; the sums are normalised by the
// cells' total weight.
FlakeTerms gatherFlakes(const XRiteParams& p, const ShadingRecord& record, const ShadingFrame& world,
                        FlakeGrid grid) {
    const Float3 P = record.position;
    const Float3 E = record.rayOrigin - P;  // unnormalised: the cubes need only its direction
    const float u0 = P.x * p.flakeFactor;
    const float t0 =
        ((P.z - std::floor(P.z)) * 0.0625f + std::floor(128.0f * P.y) * 0.0078125f) * 16.0f * p.flakeFactor;
    FlakeTerms sums;
    float weightSum = 0.0f;
    for (int i = 0; i < grid.count; ++i) {
        const float rowWeight = i == 0 ? grid.edgeWeight : 1.0f;
        const float u = u0 + static_cast<float>(i) * p.flakeSize;
        for (int j = 0; j < grid.count; ++j) {
            const float q = rowWeight * (j == 0 ? grid.edgeWeight : 1.0f);
            weightSum += q;
            const float t = t0 + static_cast<float>(j) * p.flakeSize;
            const Float4 texel = lookupTexture(p.flakeNormalTexture, {u, t});
            const Float3 fn(2.0f * texel.x - 1.0f, 2.0f * texel.y - 1.0f, texel.z);
            const Float3 nf = fromLocal(world, fn);
            const Float3 R = 2.0f * dot(nf, E) * nf - E;

            // Only flakes facing close enough to the surface normal glint.
            if (fn.z > p.contributionFactor) {
                const Float3 c = lookupCubeAlong(p.reflectCube, R).xyz();
                const float s = p.specIntensity * (c.x + c.y + c.z);
                if (s > 3.0f) sums.glint += q * p.flakeColor * c * p.specIntensity;
                else sums.glint += q * dimCubeFade(s) * p.flakeColor;
            }
            const Float3 c2 = lookupCubeAlong(p.specularCube, R).xyz();
            const float s2 = c2.x + c2.y + c2.z;
            if (s2 <= 3.0f) sums.sparkle += q * dimCubeFade(s2) * p.diffIntensity * p.flakeColor2;
            else sums.sparkle += q * p.diffIntensity * p.flakeColor2;
        }
    }
    // The small offset keeps an empty grid at zero.
    const float normalisation = 1.0f / (weightSum + 0.01f);
    sums.glint *= normalisation;
    sums.sparkle *= normalisation;
    return sums;
}

// Both normals turn together: on request, and towards the viewer on back-side hits.
float normalSign(const XRiteParams& p, const ShadingRecord& record) {
    if (p.faceForward && dot(record.rayDir, record.geomNormal) > 0.0f) return -1.0f;
    return p.reverseNormal ? -1.0f : 1.0f;
}

// The paint under its clear coat of reflectance F: the diffuse cube's base, encoded for display
// before the flakes are added on top of it. Glints sit under the clear coat and fade with its
// reflectance a second time.
Float3 paintUnderCoat(const XRiteParams& p, Float3 n, float F, const FlakeTerms& flakes) {
    Float3 color = encodeSrgb(lookupCubeAlong(p.diffuseCube, n).xyz() * p.xriteDiffuse * p.diffIntensity);
    if (!p.xriteIsSolid) {
        const float k = p.coarseness;
        const float a = 1.0f - F;
        color = color + (1.0f - k) * flakes.sparkle + a * a * a * k * flakes.glint;
    }
    return color * (1.0f - F);
}
}  // namespace

void XRite::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance, &params, kDeclarations);
}

void XRite::shade(RenderServices* services, ShadingRecord* record) const {
    const XRiteParams& p = params;
    const Float3 m = maskAt(p, *record);
    if (m == Float3(1.0f)) {
        record->noContribution = 1;
        return;
    }

    const float sgn = normalSign(p, *record);
    const Float3 n = sgn * record->normal;
    const Float3 no = sgn * record->objectNormal;

    // The paint is lit by its cube maps alone; the light list is requested and walked for the
    // host's sake only.
    for (const LightSample* light = services->getLightSamples(-2, &record->position, &n); light;
         light = light->next) {
    }

    const ShadingFrame local = objectFrame(no);
    // The host carries the reversed ray into the paint's view space through frameMatrix.
    const Float3 v = transformDirection(-record->rayDir, record->frameMatrix);
    const Float3 Vl = normalize(Float3(dot(v, local.T), dot(v, local.B), dot(v, local.N)));
    const Float3 r = reflect(record->rayDir, n);

    FlakeTerms flakes;
    if (!p.xriteIsSolid) {
        const ShadingFrame world{normalize(transformDirection(local.T, record->objectMatrix)),
                                 normalize(transformDirection(local.B, record->objectMatrix)), n};
        flakes = gatherFlakes(p, *record, world, flakeGrid(p, *record, n));
    }

    Float3 reflection;
    services->traceReflection(&reflection, &record->position, &r, 1.0f);
    const float F = fresnelQuadruple(1.0f - saturate(Vl.z), p.fresnel);
    const Float3 color = paintUnderCoat(p, n, F, flakes);

    // Occlusion is queried around the surface as the host gave it, not the turned normal.
    const Float3 ao = evaluateAmbientOcclusion(p.common, services, readVarying<Float2>(*record, kVaryings.uv1),
                                               readVarying<Float4>(*record, kVaryings.vtxcolor), Float3(0.0f),
                                               record->position, record->normal, record->rayDir,
                                               record->geomNormal, 1.0f - minComponent(m));
    const Float3 lit = saturate3(ao * (color + reflection * F));
    // The alpha stays the host's: only the colour is blended with what lies behind.
    setRgb(record->outColor, blendWithTransmission(services, *record, m, Float4(lit, 1.0f)).xyz());
}

void XRite::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    // Masked-away parts let shadow rays through in proportion.
    record->outTransmittance = maskAt(params, *record);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(XRite)
