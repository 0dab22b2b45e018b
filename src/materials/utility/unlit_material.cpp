#include "materials/utility/unlit_material.h"

#include "frame/exports.h"

namespace ksi {

namespace {
constexpr auto kDeclarations = KS_BLOCK_ROWS(UnlitParams, KS_UNLIT_PARAMETERS);
}  // namespace

void kestrel_Mtl_Unlit::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance, &params, kDeclarations);
}

void kestrel_Mtl_Unlit::shade(RenderServices*, ShadingRecord* record) const {
    if (record->rayType != kRayCamera) {
        record->noContribution = 1;
        return;
    }
    // Alpha is left to the host.
    setRgb(record->outColor, params.diffuseColor);
}

void kestrel_Mtl_Unlit::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    record->outTransmittance = Float3(1.0f);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_Unlit)
