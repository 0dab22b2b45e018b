#include "materials/physical/metallic_paint_material.h"

#include <cmath>

#include "frame/exports.h"
#include "frame/texture_lookup.h"
#include "shading/bumps.h"
#include "shading/light_fade.h"
#include "shading/metal_lobes.h"
#include "shading/shading_frame.h"
#include "shading/ward_lobe.h"
#include "shading/ward_sampling.h"

namespace ksi {

namespace {
using P = MetallicPaintParams;

constexpr auto kDeclarations = concatRows(
    commonInputRows<P>(), latticeAORows<P>(),
    tangentVaryingRows(),
    globalClipRows<P>(),
    KS_BLOCK_ROWS(P, KS_METALLIC_PAINT_PARAMETERS),
    commonTintRows<P>(), KS_BLOCK_ROWS(P, KS_PAINT_ORIENTATION_PARAMETERS));

constexpr const VaryingLayout& kVaryings = kTangentMaterialVaryings;

struct PaintFrames {
    ShadingFrame base;
    ShadingFrame topcoat;
};

// The frames and the lobe weights are inlined into the slots: returned through memory, they were
// written float by float and read back in wider loads that cannot take the stored values, a
// stall that cost shade a sixth of its time.
[[gnu::always_inline]] inline PaintFrames buildPaintFrames(const P& p, RenderServices* services,
                                                           const ShadingRecord& record, Float3 normal) {
    PaintFrames frames;
    frames.base = tangentFrame(readVarying<Float3>(record, kVaryings.tangent), record.objectMatrix, normal);
    frames.topcoat = frames.base;
    if (p.u_finish == 1) {
        // Orange peel ripples only the clear coat; the base keeps the smooth normal.
        ShadingFrame& top = frames.topcoat;
        Float3 g = noiseBumpGradient(services, record.position * 0.9f, top);
        top.N += p.u_finishPeelamount * (g.x * top.T + g.y * top.B + g.z * top.N);
        orthonormalize(top);
    }
    return frames;
}

// Schlick-like falloff of the clear coat with the view cosine.
float topcoatFresnel(float c) { return powerBlend(c, 5.0f, 0.3f, 1.0f); }

struct PaintLobes {
    Float3 diffuse;
    Float3 specular;
};

[[gnu::always_inline]] inline PaintLobes paintLobeWeights(const P& p, const ShadingRecord& record, Float3 wiBase,
                                                          Float3 wiTop) {
    float t = 1.0f;
    if (p.u_topcoatEnable) t = 1.0f - topcoatFresnel(-wiBase.z) * p.u_baseHighlightSpread;
    float F = powerBlend(-wiTop.z, p.u_baseCurvePower, p.u_base00Reflectivity, p.u_base90Reflectivity);
    Float3 base = p.u_baseMapEnable
                      ? lookupTexture(p.u_baseMap, transformUv(readVarying<Float2>(record, kVaryings.uv), p.u_baseTransform)).xyz()
                      : p.u_baseColor.xyz();
    return {(1.0f - F) * base * t, Float3(F) * t};
}

// The normals flipped by reverseNormal, then each turned towards the ray by faceForward.
SurfaceNormals orientNormals(const P& p, const ShadingRecord& record) {
    SurfaceNormals n = recordNormals(record);
    auto orient = [&](Float3 v) {
        if (p.reverseNormal) v = -v;
        if (p.faceForward && dot(v, record.rayDir) > 0.0f) v = -v;
        return v;
    };
    return {orient(n.normal), orient(n.geomNormal), orient(n.objectNormal)};
}
// The fleck value depends on the point only: computed once, at its first use.
struct PaintFleck {
    bool known = false;
    float phi = 0.0f;
};

// The base coat's colour under one light: it responds to the light strength w with its own
// exponent e (returned for the pearl) and shifts hue with it; viewCosine is dot(N, rayDir).
Float3 paintBaseResponse(const P& p, Float3 diffuse, float w, float viewCosine, float& e) {
    e = std::pow(w, p.u_baseHighlightSpread * p.u_baseBiasFactor);
    Float3 b = p.u_baseHighlightSpread > 0.6f ? diffuse * e : diffuse;
    if (p.u_hueWeight > 0.0f) {
        e *= std::fabs(viewCosine);
        b += p.u_hueWeight * p.u_shiftedColor * e;
    }
    return b;
}

// The base coat's Ward highlight for one light, brightened where flecks sparkle.
Float3 paintHighlight(const P& p, RenderServices* services, const ShadingRecord& record, const ShadingFrame& top,
                      Float3 wi, Float3 S, Float3 lightDirection, PaintFleck& fleck) {
    const float r = p.u_baseRoughValue;
    const Float3 l = toLocal(top, lightDirection);
    Float3 h = wardBrdf(wi, l, Float3(0.0f), S, r, r);
    if (!p.u_flecksEnable) return h;
    if (!fleck.known) {
        fleck.phi = fleckValue(services, record.position / p.u_flecksSize, 2.5f, 0.05f).value;
        fleck.known = true;
    }
    const float r4 = std::fmin(4.0f * r, 1.0f);
    const Float3 hf = wardBrdf(wi, l, Float3(0.0f), Float3(1.0f), r4, r4) * fleck.phi * p.u_flecksColor.xyz();
    return max3(h, hf);
}

// A sheen that grows towards grazing view (cosine c) and weak light (response e).
Float3 addPearl(const P& p, Float3 b, float c, float e, float specularScale) {
    float a = std::pow(c, 2.0f * p.u_pearlIor);
    float q = e * e * e;
    float k = specularScale * specularScale;
    float g = (1.0f - a) * (1.0f - q) * k;
    return saturate3(b + g * p.u_pearlColor.xyz() * p.u_pearlAmount);
}
}  // namespace

void kestrel_Mtl_MetallicPaint::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapEvaluateBsdf | kCapSampleBsdf, &params, kDeclarations);
}

void kestrel_Mtl_MetallicPaint::shade(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    const SurfaceNormals oriented = orientNormals(p, *record);
    shadeWithCommonInputs(p.common, &p.tint, kVaryings, AmbientOcclusionStep::Applied, services, record, oriented, [&]() {
        MaterialTerms terms;
        PaintFrames frames = buildPaintFrames(p, services, *record, oriented.normal);
        const ShadingFrame& top = frames.topcoat;
        const Float3 wiBase = toLocal(frames.base, record->rayDir);
        const Float3 wi = toLocal(top, record->rayDir);
        const PaintLobes lobes = paintLobeWeights(p, *record, wiBase, wi);
        const Float3 S = lobes.specular;
        const bool specularActive = maxComponent(S) > kNegligibleSpecular;

        PaintFleck fleck;
        Float3 highlights(0.0f), diffuseLight(0.0f);
        for (const LightSample* light = services->getLightSamples(0, &record->position, &top.N); light;
             light = light->next) {
            float w = horizonWeight(light->direction, oriented.normal, light->specularScale);
            float e = 0.0f;
            Float3 b = paintBaseResponse(p, lobes.diffuse, w, dot(top.N, record->rayDir), e);
            if (light->kind != kLightKindNoSpecular && wi.z < 0.0f && specularActive) {
                highlights += paintHighlight(p, services, *record, top, wi, S, light->direction, fleck) * w *
                              light->shadowedColor;
            }
            if (p.u_pearl > 0) b = addPearl(p, b, -dot(oriented.normal, record->rayDir), e, light->specularScale);
            diffuseLight += b * w * light->shadowedColor;
        }

        Float3 reflection(0.0f);
        if (specularActive) {
            Float3 R = reflectClampedToSurface(record->rayDir, oriented.geomNormal, top.N);
            Float3 traced;
            services->traceGlossyReflection(&traced, &record->position, &R, p.u_topcoatRoughValue, maxComponent(S));
            reflection = S * traced;
        }
        terms.added = diffuseLight + highlights + reflection;
        terms.ambient =
            metalIndirectDiffuse(services, lobes.diffuse, record->position, frames.base.N, p.LatticeAODisable);
        terms.attenuationColor = Float3(0.0f);
        return terms;
    });
}

void kestrel_Mtl_MetallicPaint::evaluateBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    PaintFrames frames = buildPaintFrames(p, services, *record, record->normal);
    Float3 wiBase = toLocal(frames.base, record->rayDir);
    Float3 wi = toLocal(frames.topcoat, record->rayDir);
    Float3 l = toLocal(frames.topcoat, record->sampleDir);
    if (l.z <= 0.0f || wi.z >= 0.0f) {
        record->sampleWeight = Float3(0.0f);
        record->sampleCos = 0.0f;
        return;
    }
    PaintLobes lobes = paintLobeWeights(p, *record, wiBase, wi);
    record->sampleCos = l.z;
    record->sampleWeight = wardBrdf(wi, l, lobes.diffuse, lobes.specular, p.u_baseRoughValue, p.u_baseRoughValue);
}

void kestrel_Mtl_MetallicPaint::sampleBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    PaintFrames frames = buildPaintFrames(p, services, *record, record->normal);
    Float3 wt = toLocal(frames.base, record->rayDir);
    if (wt.z >= 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    // The topcoat takes its Fresnel share when the base coat may be sampled too, everything
    // when only a specular sample is accepted.
    float f = topcoatFresnel(-wt.z);
    const bool baseAccepted = lobeRequested(record->lobeRequest, kLobeDiffuseReflection) ||
                              lobeRequested(record->lobeRequest, kLobeGlossyReflection);
    float pc = baseAccepted ? f : 1.0f;
    if (services->random() <= pc) {
        // Mirrored in the base frame, so the orange peel does not move the mirror direction.
        record->sampleDir = fromLocal(frames.base, Float3(wt.x, wt.y, -wt.z));
        record->sampleCos = 1.0f;
        record->sampleWeight = Float3(f);
        record->samplePdf = 1.0f / pc;
        record->sampleLobe = kLobeSpecularReflection;
        return;
    }
    Float3 wi = toLocal(frames.topcoat, record->rayDir);
    PaintLobes lobes = paintLobeWeights(p, *record, wt, wi);
    const WardDrawInputs draw{frames.topcoat, wi, lobes.diffuse, lobes.specular, p.u_baseRoughValue,
                              p.u_baseRoughValue, record->normal, /*cosineUsesBump=*/true, NanDraw::Dropped};
    sampleDiffuseGlossyMixture(services, record, draw, metalDiffuseChance(draw.diffuse, draw.specular));
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_MetallicPaint)
