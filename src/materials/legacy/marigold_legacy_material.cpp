#include "materials/legacy/marigold_legacy_material.h"

#include <cmath>

#include "shading/latlong.h"
#include "frame/exports.h"
#include "frame/texture_lookup.h"
#include "materials/legacy/fresnel_quadruple.h"
#include "shading/texture_channel.h"

namespace ksi {

namespace {
using P = MarigoldLegacyParams;

constexpr int kUvOffset = 0, kUv1Offset = 8, kTangentOffset = 16, kBitangentOffset = 28, kVtxColorOffset = 40;

constexpr auto kDeclarations = concatRows(KS_BLOCK_ROWS(P, KS_MARIGOLD_LEGACY_PARAMETERS), std::array{
    varying(kVaryingFloat2, "uv", kUvOffset),
    varying(kVaryingFloat2, "uv1", kUv1Offset),
    varying(kVaryingFloat3, "tangent", kTangentOffset),
    varying(kVaryingFloat3, "bitangent", kBitangentOffset),
    varying(kVaryingFloat4, "vtxcolor", kVtxColorOffset),
});
static_assert(kDeclarations.size() == 118 + 5);

constexpr float kOneOverPi = 0.3183099f;
// Cosines are held this far from 0 so the shadowing term stays finite.
constexpr float kMinCosine = 0.0001f;
// The glossy transmission trace answers a colour only: what lies behind counts as opaque.
constexpr float kTransmittedAlpha = 1.0f;
constexpr Float3 kOne(1.0f);
constexpr Float3 kZero(0.0f);

float lengthOf(Float3 v) { return std::sqrt(dot(v, v)); }

// The shading normal, the object-space normal and the side switch they were turned by.
struct Normals {
    float sgn;
    Float3 N, No;
};

// Both normals turn on request; slots that face the viewer also turn them on back-side hits
// unless faceForward asks to keep the front side.
Normals orientNormals(const P& p, const ShadingRecord& record, bool flipBackSide) {
    Normals n;
    n.sgn = p.reverseNormal ? -1.0f : 1.0f;
    n.N = n.sgn * record.normal;
    n.No = n.sgn * record.objectNormal;
    if (flipBackSide && !p.faceForward && !record.frontFacing) {
        n.N = -n.N;
        n.No = -n.No;
    }
    return n;
}

ChannelResult channelAt(const TextureChannel& channel, const P& p, const ShadingRecord& record, Float3 No,
                        bool alphaAsGrey = false, Float3 tint = kOne) {
    return evaluateTextureChannel(channel, ChannelVariant::Legacy, record.objectPosition, No,
                                  readVarying<Float2>(record, kUvOffset), alphaAsGrey, tint, p.triplanarXY);
}

// (1, 1, 1) cuts the surface away. Planar masks also cut everything outside the slab
// -1 <= z' <= 1 of their projection, when the caller asks for it.
Float3 maskAt(const P& p, const ShadingRecord& record, Float3 No, bool slab) {
    const TextureChannel channel{p.maskingMode,          p.maskingColor, &p.maskingTexture, &p.maskingTextureMatrix,
                                 p.maskingAngularRepeat, &p.maskingUVMatrix};
    Float3 m = channelAt(channel, p, record, No, p.maskingFromAlpha).color.xyz();
    if (p.maskingInvertTexture && p.maskingMode >= 1) m = kOne - m;
    if (slab && m != kOne && p.maskingMode == 2) {
        const float z = transformPoint(record.objectPosition, p.maskingTextureMatrix).z;
        if (z < -1.0f || z > 1.0f) m = kOne;
    }
    return m;
}

Float3 transparencyAt(const P& p, const ShadingRecord& record, Float3 No) {
    if (!p.transparencyFromDiffuse) {
        const TextureChannel channel{p.transparencyMode,          p.transparencyColor,    &p.transparencyTexture,
                                     &p.transparencyTextureMatrix, p.transparencyAngularRepeat, &p.transparencyUVMatrix};
        const Float3 t = channelAt(channel, p, record, No).color.xyz();
        return p.transparencyInvert ? kOne - t : t;
    }
    // The diffuse texture's alpha is its opacity, so it is inverted unless asked not to be.
    const TextureChannel channel{p.diffuseMode,          p.transparencyColor, &p.diffuseTexture, &p.diffuseTextureMatrix,
                                 p.diffuseAngularRepeat, &p.diffuseUVMatrix};
    const Float3 t = channelAt(channel, p, record, No, true, p.diffuseTextureTintColor).color.xyz();
    return p.transparencyInvert ? t : kOne - t;
}

// Transparency that blocks highlights cuts the surface like a mask: m = 1 - (1 - m)(1 - t).
Float3 maskWithTransparency(Float3 m, Float3 t) { return kOne - (kOne - m) * (kOne - t); }

Float3 diffuseAt(const P& p, const ShadingRecord& record, Float3 No) {
    const TextureChannel channel{p.diffuseMode,          p.diffuseColor, &p.diffuseTexture, &p.diffuseTextureMatrix,
                                 p.diffuseAngularRepeat, &p.diffuseUVMatrix};
    return channelAt(channel, p, record, No, false, p.diffuseTextureTintColor).color.xyz();
}

// The colour reflections and highlights are tinted by.
Float3 reflectionColorAt(const P& p, const ShadingRecord& record, Float3 No, Float3 Dc) {
    if (p.reflectType == 0) return Dc * (1.0f - p.reflectAbsorb);
    if (p.reflectType == 1) return Float3(1.0f - p.reflectAbsorb);
    const TextureChannel channel{p.specularMode,          p.specularColor, &p.specularTexture, &p.specularTextureMatrix,
                                 p.specularAngularRepeat, &p.specularUVMatrix};
    return channelAt(channel, p, record, No).color.xyz();
}

// Beer-Lambert absorption along a path of length d; an absorbance of exactly -1 is opaque.
Float3 absorptionOver(const P& p, float d) {
    const Float3 k = p.absorbanceRGB;
    return {k.x == -1.0f ? 0.0f : std::exp(-d * k.x), k.y == -1.0f ? 0.0f : std::exp(-d * k.y),
            k.z == -1.0f ? 0.0f : std::exp(-d * k.z)};
}

// The Fresnel quadruple at the view cosine against n: the angle term is 1 + c with
// c = -|cos|, kept at -1 or above so that the power's base is never negative.
float fresnelAt(Float4 f, Float3 rayDir, Float3 n) {
    float c = -std::fabs(dot(rayDir, n));
    if (c < -1.0f) c = -1.0f;
    return fresnelQuadruple(1.0f + c, f);
}

Float3 reflectivityAt(const P& p, Float3 rayDir, Float3 n, bool clampToUnit) {
    if (p.useUniformReflectivity) return p.reflectivityColor;
    const float F = fresnelAt(p.fresnel, rayDir, n);
    return Float3(clampToUnit ? saturate(F) : F);
}

// The clear coat follows its own quadruple; a black clear-coat colour turns it off.
float clearCoatAt(const P& p, Float3 rayDir, Float3 n) {
    return isZero(p.specular2Color) ? 0.0f : fresnelAt(p.clearCoat_fresnel, rayDir, n);
}

Float3 rowOf(const Float4x4& m, int i) { return row(m, i).xyz(); }

// The bump turns N by the channel's colour read as a tangent-space normal. The tangent pair
// comes from the projection the channel used, is carried to world space and orthonormalised
// against N; modes without a tangent pair (the constant mode) leave N as it is.
Float3 bumpedNormal(const P& p, const ShadingRecord& record, const Normals& n) {
    if (p.bumpMode == -1 || p.bumpDepth == 0.0f) return n.N;
    const TextureChannel channel{p.bumpMode,          Float3(0.0f, 0.0f, 1.0f), &p.bumpTexture, &p.bumpTextureMatrix,
                                 p.bumpAngularRepeat, &p.bumpUVMatrix};
    const ChannelResult b = channelAt(channel, p, record, n.No);
    const float bx = (2.0f * b.color.x - 1.0f) * p.bumpDepth;
    const float by = (2.0f * b.color.y - 1.0f) * p.bumpDepth;
    float bz = 2.0f * b.color.z - 1.0f;
    if (bz < 0.001f) bz = 0.001f;  // never tilt the normal into or past the surface

    const Float4x4& Mi = p.bumpTextureMatrixInverse;
    Float3 tu = kZero, tv = kZero;
    switch (p.bumpMode) {
        case 1:
            tu = -n.sgn * readVarying<Float3>(record, kTangentOffset);
            tv = readVarying<Float3>(record, kBitangentOffset);
            break;
        case 2:
            tu = -rowOf(Mi, 0);
            tv = rowOf(Mi, 1);
            break;
        case 3:
            tu = -rowOf(Mi, b.axisU);
            tv = rowOf(Mi, b.axisV);
            break;
        case 4:
            tu = transformDirection(b.tangent, Mi);
            tv = rowOf(Mi, 2);
            break;
        default:
            break;
    }
    tu = transformDirection(tu, record.objectMatrix);
    tv = transformDirection(tv, record.objectMatrix);
    // Slightly less than N, so that a tangent along N keeps a sliver instead of vanishing.
    const Float3 s = 0.999999f * n.N;
    tu = normalize(tu - s * dot(s, tu));
    tv = normalize(tv - s * dot(s, tv) - tu * dot(tu, tv));
    return normalize(tu * bx + tv * by + n.N * bz);
}

// The view cosine, held at least kMinCosine away from 0 with its sign.
float heldViewCosine(Float3 rayDir, Float3 n) {
    const float c = dot(-rayDir, n);
    if (c > 0.0f) return c < kMinCosine ? kMinCosine : c;
    return c > -kMinCosine ? -kMinCosine : c;
}

// What both highlights share for one light direction L: the half vector's cosines, the combined
// shadowing-masking term divided by the view cosine, and the Schlick weight (1 - VdotH)^3.
struct HalfVectorTerms {
    float NdotH;
    float G;
    float f;
};

HalfVectorTerms halfVectorTerms(Float3 rayDir, Float3 L, Float3 n, float cosL, float cosV) {
    // The half vector points into the surface, like rayDir.
    const Float3 h = normalize(rayDir - L);
    float VdotH = dot(rayDir, h);
    if (VdotH < kMinCosine) VdotH = kMinCosine;
    const float NdotH = -dot(n, h);
    float G;
    if (cosL <= cosV) {
        G = VdotH <= 2.0f * NdotH * cosL ? 1.0f / cosV : 2.0f * NdotH * cosL / (VdotH * cosV);
    } else {
        G = VdotH <= 2.0f * NdotH * cosV ? 1.0f / cosV : 2.0f * NdotH / VdotH;
    }
    const float x = 1.0f - VdotH;
    return {NdotH, G, x * x * x};
}

// The highlight's distribution for roughness r (Trowbridge-Reitz shaped, unnormalised).
float highlightDistribution(float r, float NdotH) {
    const float r2 = r * r;
    return r2 / ((r2 - 1.0f) * (NdotH * NdotH) + 1.0f);
}

float primaryHighlight(Float3 reg, const HalfVectorTerms& h) {
    const float D = highlightDistribution(reg.y, h.NdotH);
    return saturate(((1.0f - h.f) * reg.x + h.f) * h.G * (D * D));
}

float clearCoatHighlight(Float3 reg, const HalfVectorTerms& h) {
    const float D = highlightDistribution(reg.y, h.NdotH);
    return saturate((D * D) * h.G * ((1.0f - h.f) * reg.x + h.f));
}

// Sums of the direct light: A for lights of kind 1, B for the others.
struct LightSums {
    Float3 diffA{0.0f}, diffB{0.0f}, spec1A{0.0f}, spec1B{0.0f}, spec2A{0.0f}, spec2B{0.0f};
};

constexpr int32_t kLightKindPrimary = 1;

LightSums gatherLights(const P& p, RenderServices* services, const ShadingRecord& record, Float3 Nb, float cosV) {
    LightSums sums;
    const bool shadowed = p.receiveShadow != 0.0f;
    const bool clearCoat = !isZero(p.specular2Color);
    const Float3 shadowTint = p.shadowIntensity * p.shadowColor + Float3(1.0f - p.shadowIntensity);
    for (const LightSample* light = services->getLightSamples(-1024, &record.position, &Nb); light;
         light = light->next) {
        if (isZero(light->color)) continue;
        const float cosL = saturate(dot(light->direction, Nb));
        const Float3 lc = shadowed ? light->shadowedColor : light->color;
        const HalfVectorTerms h = halfVectorTerms(record.rayDir, light->direction, Nb, cosL, cosV);
        const int32_t kind = light->kind;
        const float s1 = primaryHighlight(p.specularREG, h);
        if (kind == kLightKindPrimary) sums.spec1A += s1 * lc;
        else if (kind != kLightKindNoSpecular) sums.spec1B += s1 * lc;
        if (clearCoat) {
            const float s2 = clearCoatHighlight(p.specular2REG, h);
            if (kind == kLightKindPrimary) sums.spec2A += s2 * lc;
            else if (kind != kLightKindNoSpecular) sums.spec2B += s2 * lc;
        }
        if (kind == kLightKindPrimary) {
            // The unshadowed share keeps the light's colour, the shadowed share takes the tint.
            const Float3 lcol =
                shadowed ? (kOne - light->shadow) * shadowTint * light->color + light->shadow * light->color : lc;
            sums.diffA += cosL * lcol;
        } else {
            sums.diffB += cosL * lc;
        }
    }
    return sums;
}

// The colour written when only the normals are shown: orange by angle with faceForward, green
// towards lights, otherwise yellow for back faces and blue for front faces.
Float3 normalDisplayColor(const P& p, const ShadingRecord& record, const Normals& n) {
    const float d = dot(record.rayDir, n.N);
    if (p.faceForward) return {saturate(0.7f * std::fabs(d)), saturate(0.35f * std::fabs(d)), 0.05f};
    if (p.faceLight) return {0.05f, saturate(0.8f * std::fabs(d)), 0.05f};
    if (dot(record.rayDir, n.sgn * record.geomNormal) > 0.0f) return {saturate(d), saturate(d), 0.0f};
    return {0.05f, 0.05f, saturate(-0.8f * d)};
}

Float3 ambientOcclusionAt(const P& p, RenderServices* services, const ShadingRecord& record, Float3 Nb, Float3 m,
                          float o) {
    const Float3 tint = p.ambientOcclusionColor;
    if (p.usePrecalcAO && (p.ambientOcclusionMode == 1 || p.ambientOcclusionMode == 2)) {
        const float baked = p.ambientOcclusionMode == 1
                                ? lookupTexture(p.ambientOcclusionTexture, readVarying<Float2>(record, kUv1Offset)).x
                                : readVarying<Float4>(record, kVtxColorOffset).x;
        const float a = (1.0f - baked) * p.ambientOcclusionFactor * o;
        return a * tint + Float3(1.0f - a);
    }
    const float f = p.ambientOcclusionFactor;
    Float3 O;
    services->ambientOcclusion(&O, &record.position, &Nb, maxComponent((kOne - m) * f * o));
    const Float3 a = o * (kOne - (f * O + Float3(1.0f - f)));
    return a * tint + (kOne - a);
}

// Indirect and ambient diffuse summed as IBLDiffMode asks, plus the direct light of lights other
// than kind 1. Mode 0 sums all three, 1 drops the ambient, 2 the direct; any other value keeps the
// indirect light alone, untinted by the diffuse colour.
Float3 diffuseTotal(const P& p, RenderServices* services, const ShadingRecord& record, Float3 Nb, Float3 Dc,
                    Float3 AO, float indirectWeight, const LightSums& L) {
    Float3 G;
    services->ambientIrradiance(&G, &record.position, &Nb);
    const Float3 Ga = AO * G;
    Float3 I;
    services->indirectIrradiance(&I, &record.position, &Nb, indirectWeight);
    Float3 X;
    switch (p.IBLDiffMode) {
        case 0: X = (I + p.diffuseLightGainValue * L.diffA + Ga) * Dc; break;
        case 1: X = (I + p.diffuseLightGainValue * L.diffA) * Dc; break;
        case 2: X = (I + Ga) * Dc; break;
        default: X = I; break;
    }
    return X + Dc * L.diffB;
}

// The colour seen along the mirror direction r: traced, or read from the override image through
// the environment rotation. The trace's weight is the reflectivity left by the mask.
Float3 reflectionSeen(const P& p, RenderServices* services, const ShadingRecord& record, Float3 r, Float3 rho,
                      Float3 m) {
    if (p.useReflectOverride) {
        const Float3 v = normalize(rotateEnvironmentDirection(p.globalIBLMatrix, r));
        return lookupTexture(p.reflectOverride, latLongCoordinate(v)).xyz();
    }
    Float3 seen;
    services->traceGlossyReflection(&seen, &record.position, &r, p.surfaceRoughness,
                                    maxComponent(p.globalIBLContrastValue * rho * (kOne - m)));
    return seen;
}

// The refraction direction for the ratio eta across the side normal n (rayDir arrives against
// n); zero on total internal reflection.
Float3 refractedDirection(Float3 rayDir, Float3 n, float eta) {
    const float c = std::fabs(dot(rayDir, n));
    const float k = (c * c - 1.0f) * (eta * eta) + 1.0f;
    if (!(k > 0.000001f)) return kZero;
    return normalize(n * (eta * c - std::sqrt(k)) + eta * rayDir);
}

// What the transmission step leaves for the composition.
struct Transmission {
    Float3 color{0.0f};       // Tcol
    Float3 absorption{1.0f};  // A, applied to the whole composed colour
    bool traced = false;
};

// Light through the surface: a thin sheet refracts the continuation, a simulated slab of
// thickness s shifts its start to the far side and absorbs along the way.
Transmission transmit(const P& p, RenderServices* services, const ShadingRecord& record, Float3 Nb, Float3 m,
                      Float3 t, float o, Float3& rho, float& alpha) {
    Transmission T;
    const Float3 shareOfT = p.reflectLight ? (kOne - m) * t * (kOne - rho) : (kOne - m) * t;
    const float weight = maxComponent(shareOfT);
    const float s = p.simulatedThickness;
    const float eyeDistance = lengthOf(record.rayOrigin - record.position);
    if (s == 0.0f) {
        Float3 d = record.rayDir;
        if (p.refractiveIndex != 1.0f) {
            const float eta = record.frontFacing ? 1.0f / p.refractiveIndex : p.refractiveIndex;
            d = refractedDirection(record.rayDir, eta > 1.0f ? -Nb : Nb, eta);
            if (isZero(d)) {
                // Totally reflected: the transmitted share turns into reflectivity.
                rho = rho * (kOne - t) + t;
                T.absorption = absorptionOver(p, eyeDistance);
                return T;
            }
        }
        Float3 seen;
        services->traceGlossyTransmission(&seen, &record.position, &d, p.surfaceRoughness, weight);
        T.color = seen;
        T.traced = true;
        // Leaving the object, the light crossed its inside from the eye.
        if (!record.frontFacing) T.absorption = absorptionOver(p, eyeDistance);
        if (p.useAlpha) {
            const float a = maxComponent(T.absorption);
            alpha = ((1.0f - a) + kTransmittedAlpha * a) * (1.0f - o) + o;
        }
        return T;
    }
    const float sigma = sign(dot(record.rayDir, Nb));
    Float3 offset = kZero;
    if (p.refractiveIndex == 1.0f) {
        // Straight through: the slab's depth along the ray.
        const float den = sigma * dot(Nb, record.rayDir);
        if (den != 0.0f) offset = (record.rayDir * s) / Float3(den);
    } else {
        const Float3 n = -sigma * Nb;
        const Float3 d = refractedDirection(record.rayDir, n, 1.0f / p.refractiveIndex);
        const float den = dot(-n, d);
        if (den != 0.0f) offset = (d * s) / Float3(den);
    }
    const Float3 exitPoint = record.position + offset;
    const Float3 slab = absorptionOver(p, lengthOf(offset));
    Float3 seen;
    services->traceGlossyTransmission(&seen, &exitPoint, &record.rayDir, p.surfaceRoughness, weight);
    T.color = slab * seen;
    T.traced = true;
    if (p.useAlpha) {
        const float a = maxComponent(slab);
        alpha = ((1.0f - a) + kTransmittedAlpha * a) * (1.0f - o) + o;
    }
    return T;
}

}  // namespace

void MarigoldLegacy::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapEvaluateBsdf | kCapSampleBsdf, &params,
                 kDeclarations);
}

void MarigoldLegacy::shade(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (p.draw_mere_shadow) {
        record->noContribution = 1;
        return;
    }
    const Normals n = orientNormals(p, *record, true);
    if (p.showNormalsOnly) {
        setRgb(record->outColor, normalDisplayColor(p, *record, n));
        return;
    }

    Float3 m = maskAt(p, *record, n.No, true);
    if (m == kOne) {
        record->noContribution = 1;
        return;
    }
    Float3 t = transparencyAt(p, *record, n.No);
    if (p.transparencyBlocksHighlights) {
        m = maskWithTransparency(m, t);
        t = kZero;
    }
    const Float3 Dc = diffuseAt(p, *record, n.No);
    const Float3 R = reflectionColorAt(p, *record, n.No, Dc);
    const Float3 Nb = bumpedNormal(p, *record, n);
    const Float3 rayDir = record->rayDir;

    const float o = 1.0f - maxComponent(t);  // opacity
    Float3 rho = reflectivityAt(p, rayDir, Nb, true);
    const float kappa = clearCoatAt(p, rayDir, Nb);
    const float cosV = heldViewCosine(rayDir, Nb);

    LightSums L;
    if (!p.unlitSurface) L = gatherLights(p, services, *record, Nb, cosV);
    if (p.selfIlluminance) L.diffB = kOne;

    const Float3 AO = ambientOcclusionAt(p, services, *record, Nb, m, o);
    if (p.showAmbientOnly) {
        record->outColor = Float4(Float3(minComponent(AO)), 1.0f);
        return;
    }

    Float3 w = (kOne - t) * Dc * (kOne - m);
    if (p.reflectLight) w = w * (kOne - rho);
    const Float3 Dt = diffuseTotal(p, services, *record, Nb, Dc, AO, maxComponent(w), L);

    // Specular totals: clear coat C2, primary C1.
    const Float3 coatA = p.IBLSpecMode == 2 ? kZero : L.spec2A * p.specular2Color * p.specular2LightGainValue;
    const Float3 C2 = coatA + L.spec2B * p.specular2Color;
    const Float3 primaryA =
        (p.IBLSpecMode == 0 || p.IBLSpecMode == 1) ? p.specularLightGainValue * R * L.spec1A : kZero;
    const Float3 C1 = primaryA + R * L.spec1B;

    float alpha = 1.0f;
    Transmission T;
    if (!isZero(t)) T = transmit(p, services, *record, Nb, m, t, o, rho, alpha);

    const Float3 r = normalize(reflect(rayDir, Nb));
    Float3 Rr = kZero, RF = kZero;
    if (!isZero(rho)) {
        Rr = reflectionSeen(p, services, *record, r, rho, m);
        const Float3 Y = contrastAboutPivot(Rr, p.globalIBLContrastValue, p.globalIBLContrastPivot);
        RF = saturateAboutGrey(Y, p.reflectIBLChannelSatValue * p.globalIBLSatValue) * R;
        if (p.useAlpha) alpha = (1.0f - maxComponent(rho)) * alpha + maxComponent(rho);
    }

    // The clear coat reflects sharply; a smooth reflection already traced serves for it too.
    Float3 CC = kZero;
    if (kappa > 0.0f) {
        if (isZero(rho) || p.surfaceRoughness != 0.0f) services->traceReflection(&CC, &record->position, &r, 1.0f);
        else CC = Rr;
    }

    const Float3 Ccc = CC * p.specular2Color;
    if (p.useAlpha) {
        const float a2 = maxComponent(p.specular2Color * L.spec2B + kappa * C2 + (1.0f - kappa) * C1 * rho);
        alpha = (1.0f - a2) * alpha + a2;
    }
    Float3 K = kappa * (Ccc + C2) +
               (1.0f - kappa) * (rho * (RF + C1) + (kOne - rho) * (t * T.color + (kOne - t) * Dt));
    K = K * T.absorption;

    if (!isZero(m)) {
        const float M = maxComponent(m);
        const Float3 keep = p.transparencyBlocksHighlights ? Float3(1.0f - M) : kOne - m;
        Float3 behind = T.color;
        if (!T.traced) {
            Float4 seen;
            services->traceTransmission(&seen, &record->position, &rayDir, M);
            behind = seen.xyz();
        }
        K = K * keep + m * behind;
        alpha = (1.0f - M) * alpha + M;
    }
    record->outColor = Float4(K, saturate(alpha));
}

void MarigoldLegacy::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    const P& p = params;
    const Normals n = orientNormals(p, *record, false);
    // Shadow rays see the texture's mask only: the planar slab does not cut them.
    Float3 m = maskAt(p, *record, n.No, false);
    if (m == kOne) {
        record->outTransmittance = kOne;
        return;
    }
    Float3 t = transparencyAt(p, *record, n.No);
    if (isZero(t) && isZero(m)) {
        record->outTransmittance = kZero;
        return;
    }
    if (p.transparencyBlocksHighlights) {
        m = maskWithTransparency(m, t);
        t = kZero;
        if (m == kOne) {
            record->outTransmittance = kOne;
            return;
        }
    }
    Float3 rho = kZero;
    float kappa = 0.0f;
    if (!isZero(t)) {
        kappa = clearCoatAt(p, record->rayDir, n.N);
        rho = reflectivityAt(p, record->rayDir, bumpedNormal(p, *record, n), false);
        if (rho.x < 0.999f || rho.y < 0.999f || rho.z < 0.999f) {
            const float s = p.simulatedThickness;
            if (s != 0.0f) t = t * absorptionOver(p, s);
            else if (!record->frontFacing) t = t * absorptionOver(p, lengthOf(record->rayOrigin - record->position));
        }
    }
    record->outTransmittance = kOne - (kOne - m) * (kOne - (kOne - rho) * t * (1.0f - kappa));
}

void MarigoldLegacy::evaluateBsdf(RenderServices*, ShadingRecord* record) const {
    const P& p = params;
    const Normals n = orientNormals(p, *record, true);
    Float3 m = maskAt(p, *record, n.No, true);
    Float3 t = transparencyAt(p, *record, n.No);
    if (p.transparencyBlocksHighlights) {
        m = maskWithTransparency(m, t);
        t = kZero;
    }
    if (m == kOne) {
        record->noContribution = 1;
        return;
    }
    const Float3 rho = reflectivityAt(p, record->rayDir, n.N, true);
    const Float3 Dc = diffuseAt(p, *record, n.No);
    const Float3 R = reflectionColorAt(p, *record, n.No, Dc);

    const Float3 L = record->sampleDir;
    const float sampleCos = dot(L, record->normal);
    record->sampleCos = sampleCos;
    const float cosV = heldViewCosine(record->rayDir, n.N);
    const float cosL = saturate(dot(n.N, L));
    const float s1 = primaryHighlight(p.specularREG, halfVectorTerms(record->rayDir, L, n.N, cosL, cosV));

    // A direction in the surface's plane carries no highlight (its cosine would divide by 0).
    const Float3 specular = sampleCos != 0.0f ? rho * R * s1 / Float3(sampleCos) : kZero;
    // Added to what the host holds, so that several calls sum their directions' values.
    Float3 weight = record->sampleWeight + (specular + (kOne - rho) * Dc * (kOne - t) * kOneOverPi);
    if (!isZero(m)) weight = weight * (p.transparencyBlocksHighlights ? Float3(1.0f - maxComponent(m)) : kOne - m);
    record->sampleWeight = weight;
}

void MarigoldLegacy::sampleBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    const float xi = services->random();
    const Normals n = orientNormals(p, *record, true);
    Float3 m = maskAt(p, *record, n.No, true);
    if (p.transparencyBlocksHighlights) m = maskWithTransparency(m, transparencyAt(p, *record, n.No));
    const float M = maxComponent(m);

    // One number picks the band: pass-through, mirror, straight transmission, diffuse.
    if (xi < M) {
        record->sampleDir = record->rayDir;
        record->sampleWeight = kOne;
        record->sampleCos = 1.0f;
        record->samplePdf = 1.0f;
        record->sampleLobe = kLobeSpecularTransmission;
        return;
    }
    const Float3 rho = reflectivityAt(p, record->rayDir, record->normal, true);
    const Float3 Dc = diffuseAt(p, *record, n.No);
    const Float3 R = reflectionColorAt(p, *record, n.No, Dc);
    const float Rmax = maxComponent(R);
    const float Ps = (1.0f - M) * rho.x * Rmax;
    const bool specularAccepted = record->lobeRequest[2] != 0;
    if (xi < M + Ps) {
        if (specularAccepted) {
            record->sampleDir = reflect(record->rayDir, record->normal);
            record->sampleWeight = R / Float3(Rmax);
            record->sampleCos = 1.0f;
            record->samplePdf = 1.0f;
            record->sampleLobe = kLobeSpecularReflection;
        } else {
            record->sampleLobe = kLobeNone;
        }
        return;
    }
    const Float3 t = p.transparencyBlocksHighlights ? kZero : transparencyAt(p, *record, n.No);
    const float Tmax = maxComponent(t);
    const float Pt = (1.0f - rho.x) * (1.0f - M) * Tmax;
    if (xi < M + Ps + Pt) {
        if (specularAccepted) {
            record->sampleDir = record->rayDir;
            record->sampleWeight = t / Float3(Tmax);
            record->sampleCos = 1.0f;
            record->samplePdf = 1.0f;
            record->sampleLobe = kLobeSpecularTransmission;
        } else {
            record->sampleLobe = kLobeNone;
        }
        return;
    }
    const float Dmax = maxComponent(Dc);
    const float Pd = (1.0f - Tmax) * (1.0f - rho.x) * (1.0f - M) * Dmax;
    if (!(xi < M + Ps + Pt + Pd) || record->lobeRequest[0] == 0) {
        record->sampleLobe = kLobeNone;
        return;
    }
    // Cosine-weighted direction about the record's normal.
    Float2 u;
    services->random2D(&u);
    const float phi = 6.283185f * u.x;
    const float radius = std::sqrt(u.y);
    const Float3 local(std::cos(phi) * radius, std::sin(phi) * radius, std::sqrt(1.0f - u.y));
    const Float3 nn = record->normal;
    Float3 row0, row1;
    if (std::fabs(nn.z) <= 0.99999f) {
        const float a = 1.0f / (nn.z + 1.0f);
        row0 = {nn.y * nn.y * a + nn.z, -nn.x * nn.y * a, -nn.x};
        row1 = {-nn.x * nn.y * a, nn.x * nn.x * a + nn.z, -nn.y};
    } else {
        row0 = {1.0f, 0.0f, 0.0f};
        row1 = {0.0f, nn.z < 0.0f ? -1.0f : 1.0f, 0.0f};
    }
    record->sampleDir = local.x * row0 + local.y * row1 + local.z * nn;
    // The band's width is Dmax (1 - Tmax) up to rounding; a zero width carries nothing.
    const float band = Dmax * (1.0f - Tmax);
    record->sampleWeight = band != 0.0f ? Dc * (kOne - t) / Float3(band) * kOneOverPi : kZero;
    record->sampleCos = 1.0f;
    record->samplePdf = 1.0f;
    record->sampleLobe = kLobeDiffuseReflection;
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(MarigoldLegacy)
