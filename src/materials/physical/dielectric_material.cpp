#include "materials/physical/dielectric_material.h"

#include <cmath>

#include "frame/exports.h"
#include "frame/texture_lookup.h"
#include "shading/bumps.h"
#include "shading/light_fade.h"
#include "shading/microfacet.h"
#include "shading/scattering.h"
#include "shading/shading_frame.h"

namespace ksi {

namespace {
using P = DielectricParams;

constexpr auto kDeclarations = concatRows(
    commonInputRows<P>(), latticeAORows<P>(),
    tangentVaryingRows(),
    globalClipRows<P>(),
    KS_BLOCK_ROWS(P, KS_DIELECTRIC_PARAMETERS),
    commonTintRows<P>());

constexpr const VaryingLayout& kVaryings = kTangentMaterialVaryings;

Float2 uvOf(const ShadingRecord& record) { return readVarying<Float2>(record, kVaryings.uv); }

// Indices on the two sides: (outside, material) entering, (material, outside) leaving.
struct Indices {
    float eta1, eta2, eta;
};
Indices refractionIndices(const P& p, const ShadingRecord& record) {
    Indices n;
    n.eta1 = record.frontFacing ? record.outsideIorEntering : p.u_ior;
    n.eta2 = record.frontFacing ? p.u_ior : record.outsideIorLeaving;
    n.eta = n.eta1 / n.eta2;
    return n;
}

float dielectricFresnel(const P& p, float c) {
    return saturate(powerBlend(c, 5.0f, p.u_reflectance, 1.0f));
}

float roughness(const P& p, const ShadingRecord& record) {
    if (!p.u_roughMapEnable) return p.u_roughValue;
    return lookupTexture(p.u_roughMap, transformUv(uvOf(record), p.u_roughTransform)).x * p.u_roughAmount;
}

// Beer-Lambert absorption in base 10 with coefficients k along a path: 10^(-k |path|).
Float3 absorptionAlong(Float3 k, Float3 path) {
    const float d = std::sqrt(dot(path, path));
    return {std::pow(10.0f, -k.x * d), std::pow(10.0f, -k.y * d), std::pow(10.0f, -k.z * d)};
}

// The absorption over the path from p0 to p1 when the falloff is on. A zero absorption channel
// with the transmittance map on absorbs nothing, rather than dividing by zero.
Float3 dielectricAbsorption(const P& p, const ShadingRecord& record, Float3 p0, Float3 p1) {
    if (!p.u_falloffEnable) return Float3(1.0f);
    Float3 k = p.u_absorptionCoef;
    if (p.u_transmittanceMapEnable) {
        Float4 t = lookupTexture(p.u_transmittanceMap, transformUv(uvOf(record), p.u_transmittanceTransform));
        auto channel = [&](float ti, float coef) {
            return coef == 0.0f ? 0.0f : -std::log(ti * p.u_transmittanceAmount) / coef;
        };
        k = {channel(t.x, p.u_absorptionCoef.x), channel(t.y, p.u_absorptionCoef.y),
             channel(t.z, p.u_absorptionCoef.z)};
    }
    return absorptionAlong(k, p0 - p1);
}

ShadingFrame buildDielectricFrame(const P& p, RenderServices* services, const ShadingRecord& record) {
    ShadingFrame frame =
        tangentFrame(readVarying<Float3>(record, kVaryings.tangent), record.objectMatrix, record.normal);
    const Float2 uv = uvOf(record);
    if (p.u_normal0MapEnable) {
        applyHeightBump(frame, p.u_normal0Map, p.u_normal0Transform, uv, p.u_normal0UVScale, p.u_normal0Amount);
        frame.N = normalize(frame.N);
        orthonormalize(frame);
    } else if (p.u_procedureMapEnable == 1) {
        applyNoiseBump(frame, services, record.position, p.u_procedureMapTiling, p.u_procedureMapAmount);
        orthonormalize(frame);
    }
    if (p.u_normal1MapEnable) {
        applyHeightBump(frame, p.u_normal1Map, p.u_normal1Transform, uv, 1.0f, p.u_normal1Amount);
        frame.N = normalize(frame.N);
        orthonormalize(frame);
    }
    return frame;
}

// A microfacet normal from the GGX distribution with parameter a (not weighted by visibility).
Float3 drawMicrofacetNormal(RenderServices* services, float a) {
    Float2 u;
    services->random2D(&u);
    float theta = std::atan(std::sqrt(a * u.x / (1.0f - u.x)));
    float phi = kTwoPiLiteral * u.y;
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

// Reflects or refracts wi about the microfacet normal m (c = -dot(m, wi)): by the Fresnel share F
// when both are accepted, otherwise the accepted one with its share as the weight. Trapped light
// can only reflect; false when it may not.
bool chooseDirection(RenderServices* services, Float3 wi, Float3 m, float c, float F, float eta,
                     bool reflectionAllowed, bool transmissionAllowed, Float3& weight, Float3& d) {
    bool refract;
    if (reflectionAllowed && transmissionAllowed) {
        refract = services->random() > F;
    } else if (reflectionAllowed) {
        weight = Float3(F);
        refract = false;
    } else {
        weight = Float3(1.0f - F);
        refract = true;
    }
    if (refract) {
        const Refraction refraction = refractAcross(wi, m, eta);
        if (refraction.k < 0.0f) {
            // Total internal reflection: only a reflection can leave.
            if (!reflectionAllowed) return false;
            weight = Float3(1.0f);
            refract = false;
        } else {
            d = normalize(refraction.direction);
        }
    }
    if (!refract) d = 2.0f * c * m + wi;
    return true;
}
}  // namespace

void kestrel_Mtl_Dielectric::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapEvaluateBsdf | kCapSampleBsdf, &params,
                 kDeclarations);
}

void kestrel_Mtl_Dielectric::shade(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    shadeWithCommonInputs(p.common, &p.tint, kVaryings, AmbientOcclusionStep::Applied, services, record, [&]() {
        const ShadingFrame frame = buildDielectricFrame(p, services, *record);
        const Float3 wi = toLocal(frame, record->rayDir);
        const float F = dielectricFresnel(p, -wi.z);
        const float a = roughness(p, *record);
        const Indices n = refractionIndices(p, *record);
        const bool front = record->frontFacing != 0;
        const Float3 refracted = refractedDirection(record->rayDir, frame.N, n.eta);
        const bool totalInternalReflection = !front && isZero(refracted);

        Float3 highlights(0.0f);
        for (const LightSample* light = services->getLightSamples(0, &record->position, &frame.N); light;
             light = light->next) {
            if (light->kind == kLightKindNoSpecular) continue;
            Float3 l = toLocal(frame, light->direction);
            float f = F * ggxReflectance(-wi, l, a) + (1.0f - F) * ggxTransmittance(-wi, l, a, n.eta1, n.eta2);
            float w = horizonWeight(light->direction, record->normal, light->specularScale);
            highlights += f * w * light->shadowedColor;
        }

        const float Fr = front ? F : 0.0f;
        const Float3 reflectWeight = Fr * p.u_reflectColor;
        Float3 reflection(0.0f);
        if (front && !isZero(reflectWeight)) {
            Float3 R = reflectClampedToSurface(record->rayDir, record->geomNormal, frame.N);
            Float3 seen;
            services->traceGlossyReflection(&seen, &record->position, &R, p.u_glossyValue, maxComponent(reflectWeight));
            reflection = reflectWeight * seen;
        }

        const Float3 transmitWeight = (1.0f - Fr) * p.u_refractColor;
        Float3 refraction(0.0f);
        if (!isZero(transmitWeight)) {
            // Trapped light continues along the mirror direction instead.
            Float3 D = totalInternalReflection ? reflectClampedToSurface(record->rayDir, record->geomNormal, frame.N)
                                               : refracted;
            if (!isZero(D)) {
                Float3 seen;
                services->traceGlossyTransmission(&seen, &record->position, &D, p.u_glossyValue,
                                                  maxComponent(transmitWeight));
                refraction = transmitWeight * seen;
                if (!front) refraction *= dielectricAbsorption(p, *record, record->position, record->rayOrigin);
            }
        }
        MaterialTerms terms;
        terms.added = highlights + reflection + refraction;
        terms.attenuationColor = transmitWeight;
        return terms;
    });
}

void kestrel_Mtl_Dielectric::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    const P& p = params;
    float F = dielectricFresnel(p, -dot(record->rayDir, record->normal));
    Float3 T = (1.0f - F) * p.u_refractColor;
    if (!record->frontFacing) {
        // Inside the medium the shadow ray is absorbed along its whole segment, falloff or not.
        T *= absorptionAlong(p.u_absorptionCoef, record->rayOrigin - record->position);
    }
    record->outTransmittance = T;
}

void kestrel_Mtl_Dielectric::evaluateBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    const ShadingFrame frame = buildDielectricFrame(p, services, *record);
    const Float3 wi = toLocal(frame, record->rayDir);
    const Float3 l = toLocal(frame, record->sampleDir);
    const float F = dielectricFresnel(p, -wi.z);
    const float r = roughness(p, *record);
    const float a = r * r;
    const Indices n = refractionIndices(p, *record);
    float v = (1.0f - F) * ggxTransmittance(-wi, l, a, n.eta1, n.eta2) + F * ggxReflectance(-wi, l, a);
    record->sampleWeight = Float3(v);
    record->sampleCos = std::fabs(l.z);
}

void kestrel_Mtl_Dielectric::sampleBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    const bool reflectionAllowed = reflectionRequested(record->lobeRequest);
    const bool transmissionAllowed = transmissionRequested(record->lobeRequest);
    if (!reflectionAllowed && !transmissionAllowed) {
        record->sampleLobe = kLobeNone;
        return;
    }
    const ShadingFrame frame = buildDielectricFrame(p, services, *record);
    const Float3 wi = toLocal(frame, record->rayDir);
    const float F = dielectricFresnel(p, -wi.z);
    const float r = roughness(p, *record);
    const float a = r * r;
    const Indices n = refractionIndices(p, *record);

    // Leaving the medium, or nearly smooth: the macro normal.
    const bool smooth = !record->frontFacing || r < 0.01f;
    const Float3 m = smooth ? Float3(0.0f, 0.0f, 1.0f) : drawMicrofacetNormal(services, a);
    const float c = -dot(m, wi);
    if (c < 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    Float3 weight(1.0f);
    Float3 d;
    if (!chooseDirection(services, wi, m, c, F, n.eta, reflectionAllowed, transmissionAllowed, weight, d)) {
        record->sampleLobe = kLobeNone;
        return;
    }
    record->sampleCos = 1.0f;
    record->samplePdf = 1.0f;
    if (smooth) {
        record->sampleLobe = kLobeSpecularTransmission;
    } else {
        // Masking-shadowing over the sampled normal's weight, bounded against fireflies.
        float w = ggxMasking(-wi, m, a) * c * ggxMasking(d, m, a) / (m.z * -wi.z);
        weight *= clamp(w, 0.0f, 4.0f);
        record->sampleLobe = kLobeGlossyTransmission;
    }
    record->sampleDir = fromLocal(frame, d);
    record->outsideIorLeaving = n.eta2;
    if (!record->frontFacing) weight *= dielectricAbsorption(p, *record, record->position, record->rayOrigin);
    record->sampleWeight = weight;
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_Dielectric)
