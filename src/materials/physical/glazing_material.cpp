#include "materials/physical/glazing_material.h"

#include <cmath>

#include "frame/exports.h"
#include "frame/texture_lookup.h"
#include "shading/light_fade.h"
#include "shading/microfacet.h"
#include "shading/shading_frame.h"

namespace ksi {

namespace {
using P = GlazingParams;

constexpr auto kDeclarations = concatRows(
    commonInputRows<P>(), latticeAORows<P>(),
    tangentVaryingRows(),
    globalClipRows<P>(),
    KS_BLOCK_ROWS(P, KS_GLAZING_PARAMETERS),
    commonTintRows<P>());

constexpr const VaryingLayout& kVaryings = kTangentMaterialVaryings;

// The reflected fraction; nothing clamps it, so p above 1 makes the transmitted part negative.
// A level of exactly zero would divide by zero: such a sheet reflects everything and lets
// nothing through (see transmissionColor), and every other level is unaffected.
float reflectProbability(const P& p) {
    return p.u_level == 0.0f ? 1.0f : p.u_reflectance * p.u_reflectance / p.u_level;
}

// The glazing has no bump: the tangent frame around the shading normal.
ShadingFrame glazingFrame(const ShadingRecord& record) {
    return tangentFrame(readVarying<Float3>(record, kVaryings.tangent), record.objectMatrix, record.normal);
}

Float3 transmissionColor(const P& p, const ShadingRecord& record) {
    if (!p.u_transmittanceMapEnable) return p.u_refractColor;
    Float4 t = lookupTexture(p.u_transmittanceMap,
                             transformUv(readVarying<Float2>(record, kVaryings.uv), p.u_transmittanceTransform));
    if (p.u_level == 0.0f) return Float3(0.0f);
    float e = 1.0f / p.u_level;
    return {std::pow(t.x * p.u_transmittanceAmount, e), std::pow(t.y * p.u_transmittanceAmount, e),
            std::pow(t.z * p.u_transmittanceAmount, e)};
}
}  // namespace

void kestrel_Mtl_Glazing::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapEvaluateBsdf | kCapSampleBsdf, &params,
                 kDeclarations);
}

void kestrel_Mtl_Glazing::shade(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    shadeWithCommonInputs(p.common, &p.tint, kVaryings, AmbientOcclusionStep::Applied, services, record, [&]() {
        const ShadingFrame frame = glazingFrame(*record);
        const Float3 wi = toLocal(frame, record->rayDir);
        const float prob = reflectProbability(p);

        Float3 highlights(0.0f);
        for (const LightSample* light = services->getLightSamples(0, &record->position, &frame.N); light;
             light = light->next) {
            if (light->kind == kLightKindNoSpecular) continue;
            Float3 l = toLocal(frame, light->direction);
            float f = prob * ggxReflectance(-wi, l, p.u_rough) + (1.0f - prob) * ggxTransmittance(-wi, l, p.u_rough, 1.0f, 1.0f);
            float s = horizonRamp(light->direction, record->normal);
            highlights += f * (3.0f - 2.0f * s) * (s * s) * light->specularScale * light->shadowedColor;
        }

        const Float3 reflectWeight = prob * p.u_reflectColor;
        Float3 reflection(0.0f);
        if (!isZero(reflectWeight)) {
            Float3 R = reflectClampedToSurface(record->rayDir, record->geomNormal, frame.N);
            Float3 seen;
            services->traceReflection(&seen, &record->position, &R, maxComponent(reflectWeight));
            reflection = reflectWeight * seen;
        }
        const Float3 transmitWeight = (1.0f - prob) * transmissionColor(p, *record);
        Float3 transmission(0.0f);
        if (!isZero(transmitWeight)) {
            // Straight through: a thin sheet does not bend the ray.
            Float4 seen;
            services->traceTransmission(&seen, &record->position, &record->rayDir, maxComponent(transmitWeight));
            transmission = transmitWeight * seen.xyz();
        }
        MaterialTerms terms;
        terms.added = highlights + reflection + transmission;
        return terms;
    });
}

void kestrel_Mtl_Glazing::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    record->outTransmittance = (1.0f - reflectProbability(params)) * params.u_refractColor;
}

void kestrel_Mtl_Glazing::evaluateBsdf(RenderServices*, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    const ShadingFrame frame = glazingFrame(*record);
    const Float3 wi = toLocal(frame, record->rayDir);
    const Float3 l = toLocal(frame, record->sampleDir);
    const float prob = reflectProbability(p);
    float v = (1.0f - prob) * ggxTransmittance(-wi, l, p.u_rough, 1.0f, 1.0f) + prob * ggxReflectance(-wi, l, p.u_rough);
    record->sampleWeight = Float3(v);
    record->sampleCos = std::fabs(l.z);
}

void kestrel_Mtl_Glazing::sampleBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    const bool reflectionAllowed = reflectionRequested(record->lobeRequest);
    const bool transmissionAllowed = transmissionRequested(record->lobeRequest);
    if (!reflectionAllowed && !transmissionAllowed) {
        record->sampleLobe = kLobeNone;
        return;
    }
    const float prob = reflectProbability(p);
    bool reflect;
    float q;
    if (reflectionAllowed && transmissionAllowed) {
        reflect = services->random() <= prob;
        q = 1.0f;
    } else {
        reflect = reflectionAllowed;
        q = reflect ? prob : 1.0f - prob;
    }
    const float c = -dot(record->rayDir, record->normal);
    record->samplePdf = 1.0f;
    record->sampleCos = c;
    // Both samples are single directions: the weight carries 1 / c so that weight x cosine is q.
    if (reflect) {
        record->sampleDir = record->rayDir + 2.0f * c * record->normal;
        record->sampleWeight = (q / c) * p.u_reflectColor;
        record->sampleLobe = kLobeSpecularReflection;
    } else {
        record->sampleDir = record->rayDir;
        record->sampleWeight = (q / c) * p.u_refractColor;
        record->sampleLobe = kLobeSpecularTransmission;
    }
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_Glazing)
