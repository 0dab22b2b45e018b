#include "materials/utility/normals_only_material.h"

#include "frame/exports.h"
#include "materials/utility/view_shading.h"

namespace ksi {

namespace {
constexpr auto kDeclarations = KS_BLOCK_ROWS(NormalsOnlyParams, KS_NORMALS_ONLY_PARAMETERS);
}  // namespace

void kestrel_Mtl_NormalsOnly::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade, &params, kDeclarations);
}

void kestrel_Mtl_NormalsOnly::shade(RenderServices*, ShadingRecord* record) const {
    Float3 base;
    if (params.faceForward) {
        base = {0.05f, 0.8f, 0.05f};
    } else if (params.faceLight) {
        base = {0.45f, 0.65f, 0.35f};
    } else if ((record->frontFacing != 0) == params.reverseNormal) {
        // Seen from the back (or from the front with the normal reversed).
        base = {1.0f, 1.0f, 0.0f};
    } else {
        base = {0.05f, 0.05f, 0.8f};
    }
    record->outColor = Float4(viewShaded(base, *record), 1.0f);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_NormalsOnly)
