#include "materials/utility/shadow_plane_material.h"

#include "frame/exports.h"

namespace ksi {

namespace {
constexpr auto kDeclarations = KS_BLOCK_ROWS(ShadowPlaneParams, KS_SHADOW_PLANE_PARAMETERS);
}  // namespace

void kestrel_Mtl_ShadowPlane::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapSampleBsdf, &params, kDeclarations);
}

void kestrel_Mtl_ShadowPlane::shade(RenderServices* services, ShadingRecord* record) const {
    if (params.receiveShadow == 0.0f) {
        record->noContribution = 1;
        return;
    }
    // total: the light that would arrive unshadowed; lit: what arrives, each light weighted by
    // its strongest shadowed channel.
    float total = 0.0f;
    Float3 lit(0.0f);
    for (const LightSample* light = services->getLightSamples(0, &record->position, &record->normal); light;
         light = light->next) {
        total += maxComponent(light->color);
        float k = maxComponent(light->shadow * light->color);
        lit += light->shadow * k;
    }
    Float3 ao;
    services->ambientOcclusion(&ao, &record->position, &record->normal, 1.0f);
    // Nothing blocked and nothing occluded: nothing to draw.
    if (lit == Float3(total) && ao == Float3(1.0f)) {
        record->noContribution = 1;
        return;
    }

    Float3 ratio = total == 0.0f ? Float3(1.0f) : lit / total;
    const float i = params.shadowIntensity;
    const Float3& K = params.shadowColor;
    auto factor = [&](float r, float a, float k) {
        float shadow = r + (1.0f - r) * (k * i + (1.0f - i));
        float occlusion = a + (1.0f - a) * k;
        return shadow * occlusion;
    };
    Float3 F(factor(ratio.x, ao.x, K.x), factor(ratio.y, ao.y, K.y), factor(ratio.z, ao.z, K.z));

    // A camera ray continues as a continuation ray, so what lies behind still sees the backplate.
    int32_t type = record->rayType == kRayCamera ? kRayContinuation : record->rayType;
    Float3 behind;
    services->traceRay(&behind, type, &record->position, &record->rayDir, 1.0f);
    float alpha = 1.0f;
    if (params.draw_mere_shadow) alpha = 0.7f > maxComponent(F) ? 1.0f : 0.0f;
    record->outColor = Float4(behind * F, alpha);
}

// Opaque to the host's shadow rays, transparent to everything else.
void kestrel_Mtl_ShadowPlane::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    record->outTransmittance = Float3(record->rayType == kRayShadow ? 0.0f : 1.0f);
}

// The plane always continues the ray unchanged, whatever the host asked for.
void kestrel_Mtl_ShadowPlane::sampleBsdf(RenderServices*, ShadingRecord* record) const {
    record->sampleDir = record->rayDir;
    record->sampleWeight = Float3(1.0f);
    record->sampleCos = 1.0f;
    record->samplePdf = 1.0f;
    record->sampleLobe = kLobeSpecularReflection;
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_ShadowPlane)
