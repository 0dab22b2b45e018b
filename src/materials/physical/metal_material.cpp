#include "materials/physical/metal_material.h"

#include <cmath>

#include "frame/exports.h"
#include "frame/octave.h"
#include "frame/texture_lookup.h"
#include "shading/bumps.h"
#include "shading/light_fade.h"
#include "materials/physical/metal_cutouts.h"
#include "shading/metal_lobes.h"
#include "shading/shading_frame.h"
#include "shading/smooth_ramp.h"
#include "shading/ward_lobe.h"
#include "shading/ward_sampling.h"

namespace ksi {

namespace {
using P = MetalParams;

constexpr auto kDeclarations = concatRows(
    commonInputRows<P>(), latticeAORows<P>(), globalClipRows<P>(),
    KS_BLOCK_ROWS(P, KS_METAL_PARAMETERS),
    commonTintRows<P>(),
    tangentVaryingRows());

constexpr const VaryingLayout& kVaryings = kTangentMaterialVaryings;

// Specular weights below this count as no specular lobe at all.

Float2 uvOf(const ShadingRecord& record) { return readVarying<Float2>(record, kVaryings.uv); }

float redAt(const TextureHandle& map, const Float3x3& transform, Float2 uv) {
    return lookupTexture(map, transformUv(uv, transform)).x;
}

// A value that patina fades towards `aged` over its first 0.3 of coverage, quadratically.
float fadeByPatina(float value, float aged, float p) {
    if (p > 0.0f && p < 0.3f) {
        float t = (p / 0.3f) * (p / 0.3f);
        return (1.0f - t) * value + t * aged;
    }
    return p >= 0.3f ? aged : value;
}

// Fractional distance from the centre of a box-pyramid cell: 0 at the centre, 1 at its border.
float boxPyramid(Float2 f) {
    return std::fmin(1.0f, 2.0f * std::fmax(std::fabs(f.x - 0.5f), std::fabs(f.y - 0.5f)));
}
Float2 fract2(Float2 v) { return {v.x - std::floor(v.x), v.y - std::floor(v.y)}; }

ShadingFrame buildMetalFrame(const P& p, const ShadingRecord& record) {
    ShadingFrame frame =
        tangentFrame(readVarying<Float3>(record, kVaryings.tangent), record.objectMatrix, record.normal);
    const Float2 uv = uvOf(record);
    if (p.u_patternEnable) {
        applyHeightBump(frame, p.u_patternMap, p.u_patternTransform, uv, 1.0f, p.u_patternAmount);
        frame.N = normalize(frame.N);
        orthonormalize(frame);
    }
    if (p.u_bumpSwitcher == 1) {
        // Finite differences of the box pyramid over a 0.001 step give its slope.
        Float2 c = uv * p.u_uvScale * 0.5f;
        float centre = boxPyramid(fract2(c));
        Float3 slope = 0.5f * Float3((boxPyramid(fract2(c + Float2(0.001f, 0.0f))) - centre) / 0.001f,
                                     (boxPyramid(fract2(c + Float2(0.0f, 0.001f))) - centre) / 0.001f, 0.0f);
        frame.N += p.u_patternAmount * (slope.x * frame.T + slope.y * frame.B + slope.z * frame.N);
        orthonormalize(frame);
    }
    return frame;
}

// Turns the tangent and bitangent about the normal; an angle below 0.0001 falls back to the
// parameter (or its map).
void rotateAnisotropy(const P& p, ShadingFrame& frame, Float2 uv, float angle) {
    if (angle < 0.0001f) {
        angle = p.u_anisoRotationMapEnable ? redAt(p.u_anisoRotationMap, p.u_anisoRotationTransform, uv)
                                           : p.u_anisoRotationValue;
    }
    rotateTangent(frame, angle);
}

// How much of the surface the patina covers: four octaves of 2D noise thresholded around
// 1 - n_patinaPercent, with a soft band of 0.2 * percent below the threshold.
float patinaAmount(const P& p, RenderServices* services, Float2 uv) {
    if (!p.u_patinaEnable) return 0.0f;
    Float2 q = uv * p.u_uvScale;
    auto n = [&](float scale) {
        Float2 x = q * scale;
        return services->noise2D(&x);
    };
    float v = std::sin(n(0.1f) + 0.7f * n(0.3f) + 0.49f * n(0.90000004f) + 0.343f * n(2.7f)) * 0.5f + 0.5f;
    const float pct = p.n_patinaPercent;
    if (v >= 1.0f - pct) return pct;
    float d = (1.0f - pct) - v;
    return d <= 0.2f * pct ? (1.0f - d / (0.2f * pct)) * pct : 0.0f;
}

struct Roughness {
    float u, v;
};

Roughness metalRoughness(const P& p, Float2 uv, float patina) {
    float r = p.u_roughMapEnable ? redAt(p.u_roughMap, p.u_roughTransform, uv) : p.u_roughValue;
    r = fadeByPatina(r, p.u_patinaGlossy, patina);
    float a = p.u_anisotropyMapEnable ? redAt(p.u_anisotropyMap, p.u_anisotropyTransform, uv) : p.u_anisotropyValue;
    return {r, a * r};
}

struct LobeColours {
    Float3 diffuse;
    Float3 specular;
    float reflectivity;
};

// Splits the colour between a diffuse and a specular layer by the reflectivity curve at the
// view cosine c; patina and the reflect switcher shape the two colours first.
LobeColours metalLobeWeights(const P& p, float patina, Float3 specular, float c) {
    Float3 diffuse = p.u_reflectSwitcher == 2 ? specular : p.u_diffuseColor;
    if (c < 0.0f) return {Float3(0.0f), Float3(0.0f), 0.0f};
    float r00 = p.u_brdf00Reflectivity;
    if (p.u_patinaEnable) {
        diffuse = saturate3(p.u_diffuseColor + (p.u_patinaColor - p.u_diffuseColor) * patina);
        r00 = fadeByPatina(r00, p.u_patinaBrdf00Reflectivity, patina);
    }
    if (p.u_reflectSwitcher > 0 && p.u_reflectSwitcher != 2) {
        // Keep the energy: the diffuse layer gets what the specular colour's luminance leaves.
        float k = (1.0f - luminance(specular)) + p.u_diffuseWeight;
        if (!p.u_patinaEnable) specular = diffuse * specular;
        diffuse = saturate3(k * diffuse);
    }
    float F = powerBlend(c, p.u_brdfCurvePower, r00, p.u_brdf90Reflectivity);
    return {(1.0f - F) * diffuse, F * specular, F};
}

float cutoutValue(const P& p, Float2 uv, float scale) {
    if (p.u_cutoutsSwitcher == kCutoutMap) {
        return averageComponent(lookupTexture(p.u_cutoutMap, transformUv(uv, p.u_cutoutTransform)).xyz());
    }
    return proceduralCutout(p.u_cutoutsSwitcher, uv, scale, {p.u_cutoutsCenter, p.u_cutoutsSize, p.u_cutoutsSpace});
}

struct SwitcherChannels {
    Float3 reflectColor;
    float rotation;
};

// The brushed, broken and anodised looks: map sources picked per channel by the switchers.
SwitcherChannels metalSwitcherChannels(const P& p, RenderServices* services, const ShadingRecord& record) {
    const Float2 uv = uvOf(record);
    auto source = [&](bool enabled, const TextureHandle& map, const Float3x3& transform) {
        return enabled ? lookupTexture(map, transformUv(uv, transform)).xyz() : Float3(0.0f);
    };
    Float3 c1 = source(p.u_bumpMapColorEnable, p.u_bumpMapColor, p.u_bumpMapColorTransform);
    Float3 c2 = source(p.u_brushMapEnable, p.u_brushMap, p.u_brushTransform);
    Float3 c3 = source(p.u_breakMapEnable, p.u_breakMap, p.u_breakTransform);
    Float3 c4(0.0f);
    if (p.u_reflectSwitcher == 4 || p.u_anisoSwitcher == 4 || p.u_anisoRotSwitcher == 4) {
        // Anodised: five octaves of absolute noise, thresholded into two greys.
        Float3 point = record.objectPosition * p.u_noiseanodized_tiling;
        float t = 0.0f;
        Octave o;
        for (int k = 0; k < 5; ++k, o.next()) {
            Float4 x(point * o.frequency, 1.5f);
            t += std::fabs(services->noise(&x)) * o.weight;
        }
        float v = smoothRamp(t, 0.4f, 0.45f, 0.001f);
        c4 = Float3((1.0f - v) * 0.501961f + v * 0.098f);
    }
    int32_t reflectSwitcher = p.u_bumpMapColorEnable ? 1 : p.u_reflectSwitcher;
    Float3 reflect;
    switch (reflectSwitcher) {
        case 1: reflect = p.u_reflectColor * c1; break;
        case 2: reflect = p.u_reflectColor * c2; break;
        case 3: reflect = c3; break;
        case 4: reflect = c4; break;
        default: reflect = p.u_reflectColor; break;
    }
    float rotation = p.u_anisoRotSwitcher == 3 ? c3.x : (p.u_anisoRotSwitcher == 4 ? c4.x : 0.0f);
    return {reflect * p.u_reflMapAmount, rotation * p.u_anisorotMapAmount};
}

// What evaluateBsdf and sampleBsdf share: the frame without switcher rotation and the lobes.
struct BsdfSetup {
    ShadingFrame frame;
    Float3 wi;
    Roughness alpha;
    LobeColours lobes;
};

BsdfSetup bsdfSetup(const P& p, const ShadingRecord& record) {
    BsdfSetup s;
    s.frame = buildMetalFrame(p, record);
    rotateAnisotropy(p, s.frame, uvOf(record), 0.0f);
    s.wi = toLocal(s.frame, record.rayDir);
    return s;
}

void completeBsdfSetup(const P& p, RenderServices* services, const ShadingRecord& record, BsdfSetup& s) {
    const Float2 uv = uvOf(record);
    float patina = patinaAmount(p, services, uv);
    s.alpha = metalRoughness(p, uv, patina);
    s.lobes = metalLobeWeights(p, patina, p.u_specularColor, -s.wi.z);
}
// What shade's lighting steps share: the frame with the switchers' rotation, the lobes with the
// switchers' colour, and whether flecks sparkle here.
struct MetalShadeSetup {
    ShadingFrame frame;
    Float3 wi{0.0f, 0.0f, 0.0f};
    Roughness alpha{0.0f, 0.0f};
    LobeColours lobes{Float3(0.0f), Float3(0.0f), 0.0f};
    bool specularActive = false;
    bool flecks = false;
    float phi = 0.0f;  // fleck strength
};

MetalShadeSetup metalShadeSetup(const P& p, RenderServices* services, const ShadingRecord& record) {
    const Float2 uv = uvOf(record);
    // Built in place: a frame copied out of a returned temporary is read back in wider pieces
    // than it was written, and the processor stalls on the mismatch.
    MetalShadeSetup s{buildMetalFrame(p, record)};
    const bool switchers = p.u_reflectSwitcher > 0 || p.u_bumpMapColorEnable;
    SwitcherChannels channels{p.u_specularColor, 0.0f};
    if (switchers) channels = metalSwitcherChannels(p, services, record);
    rotateAnisotropy(p, s.frame, uv, channels.rotation);
    const float patina = patinaAmount(p, services, uv);
    s.alpha = metalRoughness(p, uv, patina);
    s.wi = toLocal(s.frame, record.rayDir);
    s.lobes = metalLobeWeights(p, patina, channels.reflectColor, -s.wi.z);
    s.specularActive = maxComponent(s.lobes.specular) > kNegligibleSpecular;
    if (p.u_flecksEnable) {
        s.phi = fleckValue(services, record.position / p.u_flecksSize, p.u_flecksDensity, 0.005f).value;
        s.flecks = 0.02f <= s.phi && s.phi <= 0.5f;
    }
    return s;
}

// The lights' highlights and diffuse light. The diffuse colour grows by the flecks' share at
// every light, and becomes the reflect colour under a colour bump map without highlights.
struct MetalLighting {
    Float3 highlights{0.0f, 0.0f, 0.0f};
    Float3 diffuse{0.0f, 0.0f, 0.0f};
    Float3 runningDiffuse;
};

MetalLighting metalLights(const P& p, RenderServices* services, const ShadingRecord& record,
                          const MetalShadeSetup& s) {
    MetalLighting lit;
    lit.runningDiffuse = s.lobes.diffuse;
    for (const LightSample* light = services->getLightSamples(0, &record.position, &s.frame.N); light;
         light = light->next) {
        float w = horizonWeight(light->direction, s.frame.N, light->specularScale);
        if (w < 0.0f) continue;
        if (light->kind != kLightKindNoSpecular) {
            Float3 l = toLocal(s.frame, light->direction);
            if (s.wi.z < 0.0f && l.z > 0.0f && s.specularActive) {
                lit.highlights += wardBrdf(s.wi, l, Float3(0.0f), s.lobes.specular, s.alpha.u, s.alpha.v) * w *
                                  light->shadowedColor;
            }
        }
        if (s.flecks && !isZero(p.u_flecksDiffuseColor)) {
            lit.runningDiffuse += s.phi * p.u_flecksDiffuseColor * (1.0f - s.lobes.reflectivity);
        }
        if (!s.specularActive && p.u_bumpMapColorEnable) lit.runningDiffuse = p.u_reflectColor;
        lit.diffuse += lit.runningDiffuse * w * light->shadowedColor;
    }
    return lit;
}

Float3 metalReflection(const P& p, RenderServices* services, const ShadingRecord& record, const MetalShadeSetup& s,
                       Float3 weight) {
    if (!s.specularActive || p.u_reflectionHighlightOnly) return Float3(0.0f);
    Float3 R = reflectClampedToSurface(record.rayDir, record.geomNormal, s.frame.N);
    Float3 traced;
    services->traceAnisotropicReflection(&traced, &record.position, &R, &s.frame.T, &s.frame.B, p.u_glossyValueU,
                                         p.u_glossyValueV, maxComponent(weight));
    return weight * traced;
}
}  // namespace

void kestrel_Mtl_Metal::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapEvaluateBsdf | kCapSampleBsdf, &params,
                 kDeclarations);
}

void kestrel_Mtl_Metal::shade(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    shadeWithCommonInputs(p.common, &p.tint, kVaryings, AmbientOcclusionStep::Applied, services, record, [&]() {
        MaterialTerms terms;
        const bool cutouts = p.u_cutoutsSwitcher > 0;
        const float c = cutouts ? cutoutValue(p, uvOf(*record), p.u_otherScale) : 1.0f;
        Float3 behind = cutouts ? seenThroughOpening(services, *record, c) : Float3(0.0f);
        if (c == 0.0f) {
            terms.added = behind;
            return terms;
        }
        const MetalShadeSetup s = metalShadeSetup(p, services, *record);
        MetalLighting lit = metalLights(p, services, *record, s);
        // Sparkling flecks reflect in their own colour.
        const bool fleckWeight = s.flecks && !isZero(p.u_flecksSpecularColor);
        const Float3 reflectionWeight = fleckWeight ? s.lobes.reflectivity * p.u_flecksSpecularColor : s.lobes.specular;
        Float3 reflection = metalReflection(p, services, *record, s, reflectionWeight);
        Float3 ambient =
            metalIndirectDiffuse(services, lit.runningDiffuse, record->position, s.frame.N, p.LatticeAODisable);
        if (cutouts) {
            lit.highlights *= c;
            lit.diffuse *= c;
            ambient *= c;
            reflection *= c;
            behind *= 1.0f - c;
        }
        terms.added = lit.diffuse + lit.highlights + reflection + behind;
        terms.ambient = ambient;
        terms.attenuationColor = reflectionWeight;
        return terms;
    });
}

// Holes let light through in proportion to how open they are; solid metal blocks it.
void kestrel_Mtl_Metal::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    const P& p = params;
    if (p.u_cutoutsSwitcher > 0) {
        float c = cutoutValue(p, uvOf(*record), p.u_uvDefScale * p.u_otherScale);
        record->outTransmittance = Float3(1.0f - c);
    } else {
        record->outTransmittance = Float3(0.0f);
    }
}

void kestrel_Mtl_Metal::evaluateBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    BsdfSetup s = bsdfSetup(p, *record);
    Float3 l = toLocal(s.frame, record->sampleDir);
    if (l.z <= 0.0f || s.wi.z >= 0.0f) {
        record->sampleWeight = Float3(0.0f);
        record->sampleCos = 0.0f;
        return;
    }
    completeBsdfSetup(p, services, *record, s);
    record->sampleCos = sampleCosine(record->sampleDir, record->normal, l, p.u_cosineUsesBump);
    if (record->sampleCos <= 0.0f) {
        record->sampleWeight = Float3(0.0f);
        record->sampleCos = 0.0f;
        return;
    }
    record->sampleWeight = wardBrdf(s.wi, l, s.lobes.diffuse, s.lobes.specular, s.alpha.u, s.alpha.v);
}

void kestrel_Mtl_Metal::sampleBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    BsdfSetup s = bsdfSetup(p, *record);
    if (s.wi.z >= 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    completeBsdfSetup(p, services, *record, s);
    const WardDrawInputs draw{s.frame, s.wi, s.lobes.diffuse, s.lobes.specular, s.alpha.u, s.alpha.v,
                              record->normal, p.u_cosineUsesBump, NanDraw::Dropped};
    if (!lobeRequested(record->lobeRequest, kLobeDiffuseReflection) &&
        !lobeRequested(record->lobeRequest, kLobeGlossyReflection)) {
        sampleGlossyOnly(services, record, draw);
    } else {
        sampleDiffuseGlossyMixture(services, record, draw, metalDiffuseChance(draw.diffuse, draw.specular));
    }
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_Metal)
