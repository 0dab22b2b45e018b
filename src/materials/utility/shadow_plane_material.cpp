#include "materials/utility/shadow_plane_material.h"

#include "frame/exports.h"
#include "shading/shadow_catch.h"
#include "shading/weight_carrying_sample.h"

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
    const CaughtShadow caught = catchShadow(services, *record);
    // Nothing blocked and nothing occluded: nothing to draw.
    if (caught.lit == Float3(caught.total) && caught.occlusion == Float3(1.0f)) {
        record->noContribution = 1;
        return;
    }
    const Float3 F = shadowFactor(caught, params.shadowColor, params.shadowIntensity);

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
    writeWeightCarryingSample(*record, record->rayDir, Float3(1.0f), kLobeSpecularReflection);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_ShadowPlane)
