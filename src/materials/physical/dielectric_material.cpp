#include "materials/physical/dielectric_material.h"

#include <cmath>

#include "frame/exports.h"
#include "frame/texture_lookup.h"
#include "shading/bumps.h"
#include "shading/light_fade.h"
#include "shading/microfacet.h"
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
constexpr float kTinyRefraction = 1e-6f;

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
    return saturate(p.u_reflectance + (1.0f - p.u_reflectance) * std::pow(1.0f - clamp(c, 0.0f, 1.0f), 5.0f));
}

float roughness(const P& p, const ShadingRecord& record) {
    if (!p.u_roughMapEnable) return p.u_roughValue;
    return lookupTexture(p.u_roughMap, transformUv(uvOf(record), p.u_roughTransform)).x * p.u_roughAmount;
}

// Beer-Lambert absorption over the path from p0 to p1, in base 10. A zero absorption channel
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
    Float3 path = p0 - p1;
    float d = std::sqrt(dot(path, path));
    return {std::pow(10.0f, -k.x * d), std::pow(10.0f, -k.y * d), std::pow(10.0f, -k.z * d)};
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

// Snell refraction of the world ray about N (k is 1 - sin^2 of the refracted angle); the zero
// vector when the ray cannot leave (total internal reflection).
Float3 refractedDirection(Float3 rayDir, Float3 N, float eta) {
    float c = std::fabs(dot(N, rayDir));
    float k = (c * c - 1.0f) * (eta * eta) + 1.0f;
    if (!(k > kTinyRefraction)) return Float3(0.0f);
    return (c * eta - std::sqrt(k)) * N + eta * rayDir;
}
}  // namespace

void kestrel_Mtl_Dielectric::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapEvaluateBsdf | kCapSampleBsdf, &params,
                 kDeclarations);
}

void kestrel_Mtl_Dielectric::shade(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    shadeWithCommonInputs(p.common, &p.tint, kVaryings, true, services, record, [&]() {
        const ShadingFrame frame = buildDielectricFrame(p, services, *record);
        const Float3 wo = -toLocal(frame, record->rayDir);
        const float F = dielectricFresnel(p, wo.z);
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
            float f = F * ggxReflectance(wo, l, a) + (1.0f - F) * ggxTransmittance(wo, l, a, n.eta1, n.eta2);
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
        // Inside the medium the shadow ray is absorbed along its whole segment.
        Float3 path = record->rayOrigin - record->position;
        float d = std::sqrt(dot(path, path));
        T *= Float3(std::pow(10.0f, -(d * p.u_absorptionCoef.x)), std::pow(10.0f, -(d * p.u_absorptionCoef.y)),
                    std::pow(10.0f, -(d * p.u_absorptionCoef.z)));
    }
    record->outTransmittance = T;
}

void kestrel_Mtl_Dielectric::evaluateBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    const ShadingFrame frame = buildDielectricFrame(p, services, *record);
    const Float3 wo = -toLocal(frame, record->rayDir);
    const Float3 l = toLocal(frame, record->sampleDir);
    const float F = dielectricFresnel(p, wo.z);
    const float r = roughness(p, *record);
    const float a = r * r;
    const Indices n = refractionIndices(p, *record);
    float v = (1.0f - F) * ggxTransmittance(wo, l, a, n.eta1, n.eta2) + F * ggxReflectance(wo, l, a);
    record->sampleWeight = Float3(v);
    record->sampleCos = std::fabs(l.z);
}

void kestrel_Mtl_Dielectric::sampleBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    const uint8_t* request = record->lobeRequest;
    const bool reflectionAllowed = request[0] || request[1] || request[2];
    const bool transmissionAllowed = request[3] || request[4] || request[5];
    if (!reflectionAllowed && !transmissionAllowed) {
        record->sampleLobe = kLobeNone;
        return;
    }
    const ShadingFrame frame = buildDielectricFrame(p, services, *record);
    const Float3 wo = -toLocal(frame, record->rayDir);
    const float F = dielectricFresnel(p, wo.z);
    const float r = roughness(p, *record);
    const float a = r * r;
    const Indices n = refractionIndices(p, *record);

    // Leaving the medium, or nearly smooth: the macro normal.
    const bool smooth = !record->frontFacing || r < 0.01f;
    Float3 m(0.0f, 0.0f, 1.0f);
    if (!smooth) {
        Float2 u;
        services->random2D(&u);
        // GGX distribution of visible-independent microfacet normals.
        float theta = std::atan(std::sqrt(a * u.x / (1.0f - u.x)));
        float phi = 6.283185f * u.y;
        m = {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
    }
    const float c = dot(m, wo);
    if (c < 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }

    Float3 weight(1.0f);
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
    Float3 d;
    if (refract) {
        float k = (c * c - 1.0f) * (n.eta * n.eta) + 1.0f;
        if (k < 0.0f) {
            // Total internal reflection: only a reflection can leave.
            if (!reflectionAllowed) {
                record->sampleLobe = kLobeNone;
                return;
            }
            weight = Float3(1.0f);
            refract = false;
        } else {
            d = normalize((c * n.eta - std::sqrt(k)) * m - n.eta * wo);
        }
    }
    if (!refract) d = 2.0f * c * m - wo;

    record->sampleCos = 1.0f;
    record->samplePdf = 1.0f;
    if (smooth) {
        record->sampleLobe = kLobeSpecularTransmission;
    } else {
        // Masking-shadowing over the sampled normal's weight, bounded against fireflies.
        float w = ggxMasking(wo, m, a) * c * ggxMasking(d, m, a) / (m.z * wo.z);
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
