#include "materials/utility/ambient_only_material.h"

#include "frame/exports.h"

namespace ksi {

namespace {
constexpr auto kDeclarations = commonInputRows<AmbientOnlyParams>();
constexpr VaryingLayout kVaryings{.uv1 = 0, .vtxcolor = 8};
}  // namespace

void kestrel_Mtl_AmbientOnly::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade, &params, kDeclarations);
}

void kestrel_Mtl_AmbientOnly::shade(RenderServices* services, ShadingRecord* record) const {
    const CommonMaterialInputs& common = params.common;
    record->outColor = Float4(1.0f);
    if (!common.showAmbientOnly) return;

    // A black attenuation colour keeps the occlusion at full strength.
    Float3 ao = evaluateAmbientOcclusion(common, services, readVarying<Float2>(*record, kVaryings.uv1),
                                         readVarying<Float4>(*record, kVaryings.vtxcolor), Float3(0.0f),
                                         record->position, record->normal, record->rayDir, record->geomNormal, 1.0f);
    // Shown only where occlusion is what the settings ask for; always as a grey, never a colour.
    if (common.usingRaytracedAO || (common.usePrecalcAO && common.ambientOcclusionMode >= 1)) {
        setRgb(record->outColor, Float3(minComponent(ao)));
    }
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_AmbientOnly)
