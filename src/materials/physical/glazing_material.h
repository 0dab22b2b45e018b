// kestrel_Mtl_Glazing: a thin transparent sheet (window glass). Light passes straight through
// without bending; a constant fraction is reflected instead of an angle-dependent one.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

struct GlazingParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    float u_reflectance = 0.1f;  // reflected fraction: u_reflectance^2 / u_level
    Float3 u_reflectColor{1.0f, 1.0f, 1.0f};
    Float3 u_refractColor{1.0f, 1.0f, 1.0f};
    float u_rough = 0.0001f;  // GGX parameter of the highlights
    float u_level = 1.0f;
    ParamBool u_transmittanceMapEnable = false;
    TextureHandle u_transmittanceMap;
    Float3x3 u_transmittanceTransform = Float3x3::identity();
    float u_transmittanceAmount = 1.0f;
    CommonTint tint;
};

class kestrel_Mtl_Glazing final : public ParameterizedShader<MaterialShader, GlazingParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
