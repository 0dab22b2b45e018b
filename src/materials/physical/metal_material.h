// kestrel_Mtl_Metal: a configurable metal. An anisotropic Ward lobe over an optional diffuse
// layer with a reflectivity curve, an ageing patina driven by host noise, procedural
// perforations, bump from a pattern map or a box pattern, brushed and anodised looks through
// switchable map channels, and sparkling flecks.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

struct MetalParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    ParamBool u_flecksEnable = false;
    Float3 u_flecksDiffuseColor{1.0f, 1.0f, 1.0f};
    Float3 u_flecksSpecularColor{1.0f, 1.0f, 1.0f};
    float u_flecksSize = 0.5f;
    float u_flecksDensity = 5.5f;
    ParamBool u_patternEnable = false;
    TextureHandle u_patternMap;
    Float3x3 u_patternTransform = Float3x3::identity();
    float u_patternAmount = 1.0f;
    ParamBool u_diffuseMapEnable = false;  // declared and copied, not read
    TextureHandle u_diffuseMap;       // likewise
    Float3 u_diffuseColor{0.0f, 0.0f, 0.0f};
    Float3x3 u_diffuseTransform = Float3x3::identity();  // likewise
    float u_diffuseWeight = 0.5f;
    ParamBool u_specularMapEnable = false;  // declared and copied, not read
    TextureHandle u_specularMap;       // likewise
    Float3 u_specularColor{1.0f, 1.0f, 1.0f};
    Float3x3 u_specularTransform = Float3x3::identity();  // likewise
    ParamBool u_roughMapEnable = false;
    TextureHandle u_roughMap;
    float u_roughValue = 0.1f;
    Float3x3 u_roughTransform = Float3x3::identity();
    float u_glossyValueU = 0.1f;  // handed to the host's anisotropic glossy trace
    float u_glossyValueV = 0.1f;
    ParamBool u_anisotropyMapEnable = false;
    TextureHandle u_anisotropyMap;
    float u_anisotropyValue = 1.0f;  // alphaV / alphaU
    Float3x3 u_anisotropyTransform = Float3x3::identity();
    ParamBool u_anisoRotationMapEnable = false;
    TextureHandle u_anisoRotationMap;
    float u_anisoRotationValue = 0.0f;  // radians
    Float3x3 u_anisoRotationTransform = Float3x3::identity();
    float u_brdfCurvePower = 5.0f;
    float u_brdf00Reflectivity = 0.9f;
    float u_brdf90Reflectivity = 1.0f;
    int32_t u_cutoutsSwitcher = 0;  // 0 none, 1-6 procedural patterns, 7 map
    TextureHandle u_cutoutMap;
    Float3x3 u_cutoutTransform = Float3x3::identity();
    float u_cutoutsCenter = 0.5f;
    float u_cutoutsSize = 0.5f;
    float u_cutoutsSpace = 0.5f;
    float u_uvScale = 1.0f;
    float u_otherScale = 1.0f;
    float u_uvDefScale = 1.0f;
    float u_cutoutAmount = 1.0f;  // declared and copied, not read
    ParamBool u_cosineUsesBump = false;
    int32_t u_bumpSwitcher = 0;  // 1: box-pyramid pattern
    float u_metalPatternScale = 1.0f;  // declared and copied, not read
    int32_t u_reflectSwitcher = 0;
    int32_t u_anisoSwitcher = 0;
    int32_t u_anisoRotSwitcher = 0;
    Float3 u_anisoColor{1.0f, 1.0f, 1.0f};
    Float3 u_reflectColor{1.0f, 1.0f, 1.0f};
    float u_reflMapAmount = 1.0f;
    float u_anisoMapAmount = 1.0f;
    float u_anisorotMapAmount = 1.0f;
    ParamBool u_brushMapEnable = false;
    TextureHandle u_brushMap;
    Float3x3 u_brushTransform = Float3x3::identity();
    ParamBool u_breakMapEnable = false;
    TextureHandle u_breakMap;
    Float3x3 u_breakTransform = Float3x3::identity();
    ParamBool u_bumpMapColorEnable = false;
    TextureHandle u_bumpMapColor;
    Float3x3 u_bumpMapColorTransform = Float3x3::identity();
    Float3 u_noiseanodized_tiling{1.0f, 1.0f, 1.0f};
    float u_bumpMapAmount = 1.0f;  // declared and copied, not read
    ParamBool u_patinaEnable = false;
    TextureHandle u_patinaMap;  // declared and copied, not read
    Float3 u_patinaColor{0.25f, 0.5f, 0.4f};
    float u_patinaGlossy = 0.5f;
    float u_patinaBrdf00Reflectivity = 1.0f;
    ParamBool u_reflectionHighlightOnly = false;
    float n_patinaPercent = 0.0f;
    CommonTint tint;
};

class kestrel_Mtl_Metal final : public ParameterizedShader<MaterialShader, MetalParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
