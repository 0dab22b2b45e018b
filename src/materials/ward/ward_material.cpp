#include "materials/ward/ward_material.h"

#include "frame/exports.h"
#include "materials/ward/ward_shading.h"

namespace ksi {

namespace {
using P = WardParams;

constexpr auto kDeclarations = concatRows(
    commonInputRows<P>(),
    tangentVaryingRows(), latticeAORows<P>(),
    globalClipRows<P>(),
    wardMemberRows<P>(),
    KS_BLOCK_ROWS(P, KS_WARD_DECAL_PARAMETERS),
    commonTintRows<P>());
}  // namespace

void kestrel_Mtl_Ward::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapEvaluateBsdf | kCapSampleBsdf, &params,
                 kDeclarations);
}

void kestrel_Mtl_Ward::shade(RenderServices* services, ShadingRecord* record) const {
    wardShade(params, CurrentWardMaps{}, services, record);
}

void kestrel_Mtl_Ward::shadowTransmittance(RenderServices* services, ShadingRecord* record) const {
    wardShadowTransmittance(params, CurrentWardMaps{}, services, record);
}

void kestrel_Mtl_Ward::evaluateBsdf(RenderServices* services, ShadingRecord* record) const {
    wardEvaluateBsdf(params, CurrentWardMaps{}, services, record);
}

void kestrel_Mtl_Ward::sampleBsdf(RenderServices* services, ShadingRecord* record) const {
    wardSampleBsdf(params, CurrentWardMaps{}, services, record);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward)
