#include "materials/utility/solid_material.h"

#include "frame/exports.h"
#include "materials/utility/view_shading.h"

namespace ksi {

namespace {
constexpr auto kDeclarations = KS_BLOCK_ROWS(SolidParams, KS_SOLID_PARAMETERS);

Float3 patchColor(int32_t patchState) {
    switch (patchState) {
        case 0:
        case 1: return {0.69f, 0.58f, 0.69f};
        case 2: return {0.85f, 0.85f, 0.85f};
        default: return {0.0f, 0.0f, 0.0f};
    }
}
}  // namespace

void kestrel_Mtl_Solid::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade, &params, kDeclarations);
}

void kestrel_Mtl_Solid::shade(RenderServices*, ShadingRecord* record) const {
    // Alpha is left to the host.
    Float3 rgb = viewShaded(patchColor(params.patchState), *record);
    setRgb(record->outColor, rgb);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_Solid)
