#include "materials/legacy/marigold_legacy_material.h"

#include <cmath>

#include "frame/exports.h"
#include "frame/texture_lookup.h"
#include "materials/legacy/fresnel_quadruple.h"
#include "shading/latlong.h"
#include "shading/scattering.h"
#include "shading/shadow_catch.h"
#include "shading/texture_channel.h"
#include "shading/weight_carrying_sample.h"

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

// Both normals turn on request. Slots that face the viewer also turn them on back-side hits,
// unless faceForward asks to keep the front side; shadow rays take them as given.
enum class BackSideHits : uint8_t { TurnedToViewer, AsGiven };

Normals orientNormals(const P& p, const ShadingRecord& record, BackSideHits backSide) {
    Normals n;
    n.sgn = p.reverseNormal ? -1.0f : 1.0f;
    n.N = n.sgn * record.normal;
    n.No = n.sgn * record.objectNormal;
    if (backSide == BackSideHits::TurnedToViewer && !p.faceForward && !record.frontFacing) {
        n.N = -n.N;
        n.No = -n.No;
    }
    return n;
}

// Every channel is read at the object-space point, about the turned object normal No.
ChannelPoint channelPoint(const ShadingRecord& record, Float3 No) {
    return {record.objectPosition, No, readVarying<Float2>(record, kUvOffset)};
}

// triplanarXY reads the box's x face as (z, y); clear, as (y, z).
BoxXFace boxXFace(const P& p) { return p.triplanarXY ? BoxXFace::ZY : BoxXFace::YZ; }

ChannelResult channelAt(const TextureChannel& channel, const P& p, const ShadingRecord& record, Float3 No,
                        TexelRead read = TexelRead::Color, Float3 tint = kOne) {
    return evaluateTextureChannel(channel, ChannelVariant::Legacy, channelPoint(record, No), read, tint, boxXFace(p));
}

// The four channel reads below are inlined into the slots: called, their colours came back in
// registers that were spilled in halves and reloaded whole, a stall that cost sampleBsdf a fifth.

// (1, 1, 1) cuts the surface away.
[[gnu::always_inline]] inline Float3 maskAt(const P& p, const ShadingRecord& record, Float3 No, PlanarSlab slab) {
    const MaskChannel mask{{p.maskingMode, p.maskingColor, &p.maskingTexture, &p.maskingTextureMatrix,
                            p.maskingAngularRepeat, &p.maskingUVMatrix},
                           p.maskingFromAlpha ? TexelRead::AlphaAsGrey : TexelRead::Color,
                           p.maskingInvertTexture};
    return evaluateMaskChannel(mask, channelPoint(record, No), boxXFace(p), slab);
}

[[gnu::always_inline]] inline Float3 transparencyAt(const P& p, const ShadingRecord& record, Float3 No) {
    if (!p.transparencyFromDiffuse) {
        const TextureChannel channel{p.transparencyMode,          p.transparencyColor,    &p.transparencyTexture,
                                     &p.transparencyTextureMatrix, p.transparencyAngularRepeat, &p.transparencyUVMatrix};
        const Float3 t = channelAt(channel, p, record, No).color.xyz();
        return p.transparencyInvert ? kOne - t : t;
    }
    // The diffuse texture's alpha is its opacity, so it is inverted unless asked not to be.
    const TextureChannel channel{p.diffuseMode,          p.transparencyColor, &p.diffuseTexture, &p.diffuseTextureMatrix,
                                 p.diffuseAngularRepeat, &p.diffuseUVMatrix};
    const Float3 t = channelAt(channel, p, record, No, TexelRead::AlphaAsGrey, p.diffuseTextureTintColor).color.xyz();
    return p.transparencyInvert ? t : kOne - t;
}

// Transparency that blocks highlights cuts the surface like a mask: m = 1 - (1 - m)(1 - t).
Float3 maskWithTransparency(Float3 m, Float3 t) { return kOne - (kOne - m) * (kOne - t); }

// Such transparency joins the mask and lets nothing through itself.
void joinBlockingTransparency(const P& p, Float3& m, Float3& t) {
    if (!p.transparencyBlocksHighlights) return;
    m = maskWithTransparency(m, t);
    t = kZero;
}

[[gnu::always_inline]] inline Float3 diffuseAt(const P& p, const ShadingRecord& record, Float3 No) {
    const TextureChannel channel{p.diffuseMode,          p.diffuseColor, &p.diffuseTexture, &p.diffuseTextureMatrix,
                                 p.diffuseAngularRepeat, &p.diffuseUVMatrix};
    return channelAt(channel, p, record, No, TexelRead::Color, p.diffuseTextureTintColor).color.xyz();
}

// The colour reflections and highlights are tinted by.
[[gnu::always_inline]] inline Float3 reflectionColorAt(const P& p, const ShadingRecord& record, Float3 No, Float3 Dc) {
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

// The shading slots hold the Fresnel reflectivity within 0..1; shadow rays take it as it comes.
enum class FresnelRange : uint8_t { ClampedToUnit, AsComputed };

Float3 reflectivityAt(const P& p, Float3 rayDir, Float3 n, FresnelRange range) {
    if (p.useUniformReflectivity) return p.reflectivityColor;
    const float F = fresnelAt(p.fresnel, rayDir, n);
    return Float3(range == FresnelRange::ClampedToUnit ? saturate(F) : F);
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

// The Fresnel weight of a highlight: from its REG base at normal incidence towards 1.
float highlightFresnel(Float3 reg, const HalfVectorTerms& h) { return (1.0f - h.f) * reg.x + h.f; }

// A highlight is Fresnel x shadowing x D^2, clamped to 0..1. The primary and the clear-coat
// highlight multiply the three in opposite orders, which round differently; both are kept.
float primaryHighlight(Float3 reg, const HalfVectorTerms& h) {
    const float D = highlightDistribution(reg.y, h.NdotH);
    return saturate(highlightFresnel(reg, h) * h.G * (D * D));
}

float clearCoatHighlight(Float3 reg, const HalfVectorTerms& h) {
    const float D = highlightDistribution(reg.y, h.NdotH);
    return saturate((D * D) * h.G * highlightFresnel(reg, h));
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
    const Float3 tint = shadowTint(p.shadowColor, p.shadowIntensity);
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
                shadowed ? (kOne - light->shadow) * tint * light->color + light->shadow * light->color : lc;
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

// What the channels say about the surface at one sample.
struct Surface {
    Float3 m;   // mask, joined by transparency that blocks highlights
    Float3 t;   // transparency
    Float3 Dc;  // diffuse colour
    Float3 R;   // reflection colour
    Float3 Nb;  // bumped normal
    float o;    // opacity weight, 1 - max(t)
};

Surface surfaceAt(const P& p, const ShadingRecord& record, const Normals& n, Float3 mask) {
    Surface s;
    s.m = mask;
    s.t = transparencyAt(p, record, n.No);
    joinBlockingTransparency(p, s.m, s.t);
    s.Dc = diffuseAt(p, record, n.No);
    s.R = reflectionColorAt(p, record, n.No, s.Dc);
    s.Nb = bumpedNormal(p, record, n);
    s.o = 1.0f - maxComponent(s.t);
    return s;
}

// The direct light, unless the surface is unlit; a self-illuminating surface takes white as the
// direct light of the lights other than kind 1.
LightSums lightSumsAt(const P& p, RenderServices* services, const ShadingRecord& record, Float3 Nb) {
    LightSums L;
    if (!p.unlitSurface) L = gatherLights(p, services, record, Nb, heldViewCosine(record.rayDir, Nb));
    if (p.selfIlluminance) L.diffB = kOne;
    return L;
}

// Indirect and ambient diffuse summed as IBLDiffMode asks, plus the direct light of lights other
// than kind 1. Mode 0 sums all three, 1 drops the ambient, 2 the direct; any other value keeps the
// indirect light alone, untinted by the diffuse colour. The indirect query is weighted by the
// diffuse share the mask, the transparency and (with reflectLight) the reflectivity leave.
Float3 diffuseTotal(const P& p, RenderServices* services, const ShadingRecord& record, const Surface& s,
                    Float3 rho, Float3 AO, const LightSums& L) {
    Float3 w = (kOne - s.t) * s.Dc * (kOne - s.m);
    if (p.reflectLight) w = w * (kOne - rho);
    Float3 Nb = s.Nb;
    Float3 G;
    services->ambientIrradiance(&G, &record.position, &Nb);
    const Float3 Ga = AO * G;
    Float3 I;
    services->indirectIrradiance(&I, &record.position, &Nb, maxComponent(w));
    const Float3 Dc = s.Dc;
    Float3 X;
    switch (p.IBLDiffMode) {
        case 0: X = (I + p.diffuseLightGainValue * L.diffA + Ga) * Dc; break;
        case 1: X = (I + p.diffuseLightGainValue * L.diffA) * Dc; break;
        case 2: X = (I + Ga) * Dc; break;
        default: X = I; break;
    }
    return X + Dc * L.diffB;
}

// The highlights summed over the lights: the clear coat C2 and the primary C1. IBLSpecMode 2
// drops the clear coat of kind-1 lights; modes other than 0 and 1 drop their primary highlight.
struct SpecularTotals {
    Float3 C1, C2;
};

SpecularTotals specularTotals(const P& p, Float3 R, const LightSums& L) {
    const Float3 coatA = p.IBLSpecMode == 2 ? kZero : L.spec2A * p.specular2Color * p.specular2LightGainValue;
    const Float3 primaryA =
        (p.IBLSpecMode == 0 || p.IBLSpecMode == 1) ? p.specularLightGainValue * R * L.spec1A : kZero;
    return {primaryA + R * L.spec1B, coatA + L.spec2B * p.specular2Color};
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

// The reflection graded like a picture seen on a surface: contrast about the global pivot, then
// saturation about the fixed-weight grey.
Float3 gradedReflection(const P& p, Float3 Rr) {
    const Float3 Y = contrastAboutPivot(Rr, p.globalIBLContrastValue, p.globalIBLContrastPivot);
    return saturateAboutGrey(Y, p.reflectIBLChannelSatValue * p.globalIBLSatValue, kSurfaceGreyWeights);
}

// What the transmission step leaves for the composition.
struct Transmission {
    Float3 color{0.0f};       // Tcol
    Float3 absorption{1.0f};  // A, applied to the whole composed colour
    bool traced = false;
};

// With useAlpha, the alpha of a sample whose transmitted light was absorbed by a: the absorbed
// share of the see-through part counts as opaque.
float alphaThroughAbsorption(Float3 absorption, float o) {
    const float a = maxComponent(absorption);
    return ((1.0f - a) + kTransmittedAlpha * a) * (1.0f - o) + o;
}

// A thin sheet refracts the continuation; leaving the object, the light crossed its inside from
// the eye and is absorbed over that distance. Total internal reflection turns the transmitted
// share into reflectivity instead.
Transmission thinTransmission(const P& p, RenderServices* services, const ShadingRecord& record, const Surface& s,
                              float weight, Float3& rho, float& alpha) {
    Transmission T;
    const float eyeDistance = lengthOf(record.rayOrigin - record.position);
    Float3 d = record.rayDir;
    if (p.refractiveIndex != 1.0f) {
        const float eta = record.frontFacing ? 1.0f / p.refractiveIndex : p.refractiveIndex;
        d = normalize(refractedDirection(record.rayDir, eta > 1.0f ? -s.Nb : s.Nb, eta));
        if (isZero(d)) {
            rho = rho * (kOne - s.t) + s.t;
            T.absorption = absorptionOver(p, eyeDistance);
            return T;
        }
    }
    services->traceGlossyTransmission(&T.color, &record.position, &d, p.surfaceRoughness, weight);
    T.traced = true;
    if (!record.frontFacing) T.absorption = absorptionOver(p, eyeDistance);
    if (p.useAlpha) alpha = alphaThroughAbsorption(T.absorption, s.o);
    return T;
}

// How far a simulated slab of thickness s carries the continuation's start: to its far side
// along the ray at refractive index 1, otherwise along the refracted ray (s over the refracted
// cosine). A ray in the surface's plane divides by a zero cosine, and the offset is what that
// division gives.
Float3 slabOffset(const P& p, Float3 rayDir, Float3 Nb) {
    const float s = p.simulatedThickness;
    const float sigma = sign(dot(rayDir, Nb));
    if (p.refractiveIndex == 1.0f) return (rayDir * s) / Float3(sigma * dot(Nb, rayDir));
    const Float3 n = -sigma * Nb;
    const Float3 d = normalize(refractedDirection(rayDir, n, 1.0f / p.refractiveIndex));
    return (d * s) / Float3(dot(-n, d));
}

// A simulated slab starts the continuation, in the incoming direction, on its far side and
// absorbs along the way.
Transmission slabTransmission(const P& p, RenderServices* services, const ShadingRecord& record, const Surface& s,
                              float weight, float& alpha) {
    const Float3 offset = slabOffset(p, record.rayDir, s.Nb);
    const Float3 exitPoint = record.position + offset;
    const Float3 slab = absorptionOver(p, lengthOf(offset));
    Float3 seen;
    services->traceGlossyTransmission(&seen, &exitPoint, &record.rayDir, p.surfaceRoughness, weight);
    Transmission T;
    T.color = slab * seen;
    T.traced = true;
    if (p.useAlpha) alpha = alphaThroughAbsorption(slab, s.o);
    return T;
}

// Light through the surface, traced with the weight of the transparency the mask leaves (and,
// with reflectLight, the reflectivity).
Transmission transmit(const P& p, RenderServices* services, const ShadingRecord& record, const Surface& s,
                      Float3& rho, float& alpha) {
    const Float3 shareOfT = p.reflectLight ? (kOne - s.m) * s.t * (kOne - rho) : (kOne - s.m) * s.t;
    const float weight = maxComponent(shareOfT);
    if (p.simulatedThickness == 0.0f) return thinTransmission(p, services, record, s, weight, rho, alpha);
    return slabTransmission(p, services, record, s, weight, alpha);
}

// The graded reflection RF and the clear coat's sharp reflection CC.
struct Reflections {
    Float3 RF{0.0f};
    Float3 CC{0.0f};
};

// The clear coat reflects sharply; a smooth reflection already traced serves for it too.
Reflections reflectionsAt(const P& p, RenderServices* services, const ShadingRecord& record, const Surface& s,
                          Float3 rho, float kappa, float& alpha) {
    Float3 r = normalize(reflect(record.rayDir, s.Nb));
    Reflections out;
    Float3 Rr = kZero;
    if (!isZero(rho)) {
        Rr = reflectionSeen(p, services, record, r, rho, s.m);
        out.RF = gradedReflection(p, Rr) * s.R;
        if (p.useAlpha) alpha = (1.0f - maxComponent(rho)) * alpha + maxComponent(rho);
    }
    if (kappa > 0.0f) {
        if (isZero(rho) || p.surfaceRoughness != 0.0f) services->traceReflection(&out.CC, &record.position, &r, 1.0f);
        else out.CC = Rr;
    }
    return out;
}

// Every term the composition weighs.
struct Terms {
    Float3 Dt;  // diffuse total
    SpecularTotals C;
    Transmission T;
    Reflections reflected;
};

// The clear coat kappa over the reflectivity rho over the transmitted and diffuse light, then
// absorbed. With useAlpha the highlights make the sample more opaque.
Float3 composeTerms(const P& p, const Surface& s, Float3 rho, float kappa, const LightSums& L, const Terms& x,
                    float& alpha) {
    const Float3 Ccc = x.reflected.CC * p.specular2Color;
    if (p.useAlpha) {
        const float a2 = maxComponent(p.specular2Color * L.spec2B + kappa * x.C.C2 + (1.0f - kappa) * x.C.C1 * rho);
        alpha = (1.0f - a2) * alpha + a2;
    }
    const Float3 K =
        kappa * (Ccc + x.C.C2) +
        (1.0f - kappa) * (rho * (x.reflected.RF + x.C.C1) + (kOne - rho) * (s.t * x.T.color + (kOne - s.t) * x.Dt));
    return K * x.T.absorption;
}

// Where the mask cuts the surface, what lies behind shows: the transmission already traced, or a
// straight trace weighted by the mask. Transparency that blocks highlights keeps the grey share.
Float4 blendWithBehind(const P& p, RenderServices* services, const ShadingRecord& record, Float3 K, Float3 m,
                       const Transmission& T, float alpha) {
    if (!isZero(m)) {
        const float M = maxComponent(m);
        const Float3 keep = p.transparencyBlocksHighlights ? Float3(1.0f - M) : kOne - m;
        Float3 behind = T.color;
        if (!T.traced) {
            Float4 seen;
            Float3 rayDir = record.rayDir;
            services->traceTransmission(&seen, &record.position, &rayDir, M);
            behind = seen.xyz();
        }
        K = K * keep + m * behind;
        alpha = (1.0f - M) * alpha + M;
    }
    return Float4(K, saturate(alpha));
}

// A cosine-weighted direction about the unit normal n for the uniform numbers u: a disk point
// lifted onto the hemisphere, in a frame built from n alone (near the poles, the fixed frame).
Float3 cosineDirectionAbout(Float3 n, Float2 u) {
    const float phi = kTwoPiLiteral * u.x;
    const float radius = std::sqrt(u.y);
    const Float3 local(std::cos(phi) * radius, std::sin(phi) * radius, std::sqrt(1.0f - u.y));
    Float3 row0, row1;
    if (std::fabs(n.z) <= 0.99999f) {
        const float a = 1.0f / (n.z + 1.0f);
        row0 = {n.y * n.y * a + n.z, -n.x * n.y * a, -n.x};
        row1 = {-n.x * n.y * a, n.x * n.x * a + n.z, -n.y};
    } else {
        row0 = {1.0f, 0.0f, 0.0f};
        row1 = {0.0f, n.z < 0.0f ? -1.0f : 1.0f, 0.0f};
    }
    return local.x * row0 + local.y * row1 + local.z * n;
}

// The host accepts the mirror and the straight transmission alike through the specular
// reflection byte.
bool specularAccepted(const ShadingRecord& record) {
    return lobeRequested(record.lobeRequest, kLobeSpecularReflection);
}

// A specular band: its sample when the host accepts specular lobes, none otherwise.
void writeSpecularBand(ShadingRecord& record, Float3 direction, Float3 weight, LobeCode lobe) {
    if (specularAccepted(record)) writeWeightCarryingSample(record, direction, weight, lobe);
    else record.sampleLobe = kLobeNone;
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
    const Normals n = orientNormals(p, *record, BackSideHits::TurnedToViewer);
    if (p.showNormalsOnly) {
        setRgb(record->outColor, normalDisplayColor(p, *record, n));
        return;
    }
    const Float3 mask = maskAt(p, *record, n.No, PlanarSlab::Cut);
    if (mask == kOne) {
        record->noContribution = 1;
        return;
    }
    const Surface s = surfaceAt(p, *record, n, mask);
    Float3 rho = reflectivityAt(p, record->rayDir, s.Nb, FresnelRange::ClampedToUnit);
    const float kappa = clearCoatAt(p, record->rayDir, s.Nb);
    const LightSums L = lightSumsAt(p, services, *record, s.Nb);
    const Float3 AO = ambientOcclusionAt(p, services, *record, s.Nb, s.m, s.o);
    if (p.showAmbientOnly) {
        record->outColor = Float4(Float3(minComponent(AO)), 1.0f);
        return;
    }
    Terms x;
    x.Dt = diffuseTotal(p, services, *record, s, rho, AO, L);
    x.C = specularTotals(p, s.R, L);
    float alpha = 1.0f;
    if (!isZero(s.t)) x.T = transmit(p, services, *record, s, rho, alpha);
    x.reflected = reflectionsAt(p, services, *record, s, rho, kappa, alpha);
    const Float3 K = composeTerms(p, s, rho, kappa, L, x, alpha);
    record->outColor = blendWithBehind(p, services, *record, K, s.m, x.T, alpha);
}

void MarigoldLegacy::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    const P& p = params;
    const Normals n = orientNormals(p, *record, BackSideHits::AsGiven);
    // Shadow rays see the texture's mask only: the planar slab does not cut them.
    Float3 m = maskAt(p, *record, n.No, PlanarSlab::Kept);
    if (m == kOne) {
        record->outTransmittance = kOne;
        return;
    }
    Float3 t = transparencyAt(p, *record, n.No);
    if (isZero(t) && isZero(m)) {
        record->outTransmittance = kZero;
        return;
    }
    joinBlockingTransparency(p, m, t);
    if (m == kOne) {
        record->outTransmittance = kOne;
        return;
    }
    Float3 rho = kZero;
    float kappa = 0.0f;
    if (!isZero(t)) {
        kappa = clearCoatAt(p, record->rayDir, n.N);
        rho = reflectivityAt(p, record->rayDir, bumpedNormal(p, *record, n), FresnelRange::AsComputed);
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
    const Normals n = orientNormals(p, *record, BackSideHits::TurnedToViewer);
    Float3 m = maskAt(p, *record, n.No, PlanarSlab::Cut);
    Float3 t = transparencyAt(p, *record, n.No);
    joinBlockingTransparency(p, m, t);
    if (m == kOne) {
        record->noContribution = 1;
        return;
    }
    const Float3 rho = reflectivityAt(p, record->rayDir, n.N, FresnelRange::ClampedToUnit);
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
    Float3 weight = record->sampleWeight + (specular + (kOne - rho) * Dc * (kOne - t) * kInvPiLiteral);
    if (!isZero(m)) weight = weight * (p.transparencyBlocksHighlights ? Float3(1.0f - maxComponent(m)) : kOne - m);
    record->sampleWeight = weight;
}

// One number picks the band: pass-through, mirror, straight transmission, diffuse; each band is
// as wide as its share of the estimate, so its sample carries the weight alone.
void MarigoldLegacy::sampleBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    const float xi = services->random();
    const Normals n = orientNormals(p, *record, BackSideHits::TurnedToViewer);
    Float3 m = maskAt(p, *record, n.No, PlanarSlab::Cut);
    if (p.transparencyBlocksHighlights) m = maskWithTransparency(m, transparencyAt(p, *record, n.No));
    const float M = maxComponent(m);
    if (xi < M) {
        writeWeightCarryingSample(*record, record->rayDir, kOne, kLobeSpecularTransmission);
        return;
    }
    const Float3 rho = reflectivityAt(p, record->rayDir, record->normal, FresnelRange::ClampedToUnit);
    const Float3 Dc = diffuseAt(p, *record, n.No);
    const Float3 R = reflectionColorAt(p, *record, n.No, Dc);
    const float Rmax = maxComponent(R);
    const float Ps = (1.0f - M) * rho.x * Rmax;
    if (xi < M + Ps) {
        writeSpecularBand(*record, reflect(record->rayDir, record->normal), R / Float3(Rmax), kLobeSpecularReflection);
        return;
    }
    const Float3 t = p.transparencyBlocksHighlights ? kZero : transparencyAt(p, *record, n.No);
    const float Tmax = maxComponent(t);
    const float Pt = (1.0f - rho.x) * (1.0f - M) * Tmax;
    if (xi < M + Ps + Pt) {
        writeSpecularBand(*record, record->rayDir, t / Float3(Tmax), kLobeSpecularTransmission);
        return;
    }
    const float Dmax = maxComponent(Dc);
    const float Pd = (1.0f - Tmax) * (1.0f - rho.x) * (1.0f - M) * Dmax;
    if (!(xi < M + Ps + Pt + Pd) || !lobeRequested(record->lobeRequest, kLobeDiffuseReflection)) {
        record->sampleLobe = kLobeNone;
        return;
    }
    Float2 u;
    services->random2D(&u);
    // The band's width is Dmax (1 - Tmax) up to rounding; a zero width carries nothing.
    const float band = Dmax * (1.0f - Tmax);
    const Float3 weight = band != 0.0f ? Dc * (kOne - t) / Float3(band) * kInvPiLiteral : kZero;
    writeWeightCarryingSample(*record, cosineDirectionAbout(record->normal, u), weight, kLobeDiffuseReflection);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(MarigoldLegacy)
