// kestrel_Mtl_Dielectric: glass, water and clear plastics. A Fresnel-weighted split between a
// traced reflection and a traced refraction, rough or smooth through GGX microfacets, with
// absorption inside the medium and optional bump from height maps or procedural noise.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

struct DielectricParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    ParamBool u_transmittanceMapEnable = false;
    TextureHandle u_transmittanceMap;
    Float3x3 u_transmittanceTransform = Float3x3::identity();
    float u_transmittanceAmount = 1.0f;
    int32_t u_procedureMapEnable = 0;  // 1: procedural noise bump
    Float3 u_procedureMapTiling{1.0f, 1.0f, 1.0f};
    float u_procedureMapAmount = 0.0f;
    ParamBool u_normal0MapEnable = false;  // height maps, not normal maps
    TextureHandle u_normal0Map;
    Float3x3 u_normal0Transform = Float3x3::identity();
    float u_normal0Amount = 0.0f;
    float u_normal0UVScale = 1.0f;
    ParamBool u_normal1MapEnable = false;
    TextureHandle u_normal1Map;
    Float3x3 u_normal1Transform = Float3x3::identity();
    float u_normal1Amount = 0.0f;
    ParamBool u_roughMapEnable = false;
    TextureHandle u_roughMap;
    float u_roughValue = 0.0004f;
    Float3x3 u_roughTransform = Float3x3::identity();
    float u_glossyValue = 0.0f;  // handed to the host's glossy traces
    float u_roughAmount = 1.0f;
    float u_ior = 1.52f;
    float u_reflectance = 0.1f;  // at normal incidence
    Float3 u_absorptionCoef{0.0f, 0.0f, 0.0f};  // per unit length, base 10
    ParamBool u_falloffEnable = false;
    Float3 u_refractColor{1.0f, 1.0f, 1.0f};
    Float3 u_reflectColor{1.0f, 1.0f, 1.0f};
    CommonTint tint;
};

class kestrel_Mtl_Dielectric final : public ParameterizedShader<MaterialShader, DielectricParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
