// kestrel_Mtl_Ward: the general-purpose layered material. A Lambert diffuse layer with image maps
// and an image-fade overlay, an anisotropic Ward glossy layer with a reflectivity curve, two
// normal maps and procedural normal perturbations, traced glossy reflection and refraction,
// transparency and translucency, a cutout map, an additive colour map and decals.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"
#include "shading/shading_frame.h"
#include "shading/ward_lobe.h"

namespace ksi {

struct WardParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    // Procedure map: 1 rotated noise, 2 cellular with turbulence, 3 ridged noise, 5-7 noise bumps.
    int32_t u_procedureMapEnable = 0;
    Float3 u_procedureMapTiling{1.0f, 1.0f, 1.0f};
    float u_procedureMapAmount = 0.0f;
    TextureHandle u_smokeMap;  // declared and copied, never looked up
    ParamBool u_normal0MapEnable = false;
    TextureHandle u_normal0Map;
    ParamBool u_normal0AmountMapEnable = false;
    TextureHandle u_normal0AmountMap;
    Float3x3 u_normal0AmountTransform = Float3x3::identity();
    float u_normal0Amount = 0.0f;
    Float3x3 u_normal0Transform = Float3x3::identity();
    ParamBool u_normal1MapEnable = false;
    TextureHandle u_normal1Map;
    float u_normal1Amount = 0.0f;
    Float3x3 u_normal1Transform = Float3x3::identity();
    ParamBool u_normal1AsShadingNormal = false;
    ParamBool u_diffuseMapEnable = false;
    TextureHandle u_diffuseMap;
    Float3 u_diffuseColor{0.0f, 0.0f, 0.0f};
    Float3x3 u_diffuseTransform = Float3x3::identity();
    float u_diffuseAmount = 1.0f;
    int32_t u_imageFadeEnable = 0;  // 1 map alpha, 2 overlay map, 3 overlay colour, 4 overlay grey
    float u_imageFade = 1.0f;
    TextureHandle u_imageFadeMap;
    Float3x3 u_imageFadeTransform = Float3x3::identity();
    float u_imageFadeAmount = 1.0f;
    Float3 u_imageFadeColor{0.0f, 0.0f, 0.0f};
    ParamBool u_specularMapEnable = false;
    TextureHandle u_specularMap;
    Float3 u_specularColor{1.0f, 1.0f, 1.0f};
    Float3x3 u_specularTransform = Float3x3::identity();
    float u_specularAmount = 1.0f;
    ParamBool u_roughMapEnable = false;
    TextureHandle u_roughMap;
    float u_roughValue = 0.01f;
    Float3x3 u_roughTransform = Float3x3::identity();
    float u_roughAmount = 1.0f;
    float u_reflectGlossyValue = 0.0f;
    ParamBool u_refractGlossyMapEnable = false;
    TextureHandle u_refractGlossyMap;
    Float3x3 u_refractGlossyTransform = Float3x3::identity();
    float u_refractGlossyAmount = 1.0f;
    float u_refractGlossyValue = 0.0f;
    ParamBool u_anisotropyMapEnable = false;
    TextureHandle u_anisotropyMap;
    float u_anisotropyValue = 1.0f;
    Float3x3 u_anisotropyTransform = Float3x3::identity();
    float u_anisotropyAmount = 1.0f;
    ParamBool u_anisoRotationMapEnable = false;
    TextureHandle u_anisoRotationMap;
    float u_anisoRotationValue = 0.0f;
    Float3x3 u_anisoRotationTransform = Float3x3::identity();
    float u_anisoRotationAmount = 1.0f;
    float u_brdfCurvePower = 0.0f;
    ParamBool u_brdf00ReflectMapEnable = false;
    TextureHandle u_brdf00ReflectMap;
    Float3x3 u_brdf00ReflectTransform = Float3x3::identity();
    float u_brdf00ReflectAmount = 1.0f;
    float u_brdf00Reflectivity = 0.1f;
    ParamBool u_brdf90ReflectMapEnable = false;
    TextureHandle u_brdf90ReflectMap;
    Float3x3 u_brdf90ReflectTransform = Float3x3::identity();
    float u_brdf90Reflectivity = 1.0f;
    float u_brdf90ReflectAmount = 1.0f;
    float u_reflectivity = 1.0f;
    ParamBool u_isMetal = false;
    ParamBool u_transparency = false;
    ParamBool u_transparencyMapEnable = false;
    TextureHandle u_transparencyMap;
    float u_transparencyValue = 0.0f;
    Float3x3 u_transparencyTransform = Float3x3::identity();
    float u_transparencyFade = 0.0f;
    float u_ior = 1.33f;
    float u_transparencyAmount = 1.0f;
    ParamBool u_translucencyMapEnable = false;
    TextureHandle u_translucencyMap;
    float u_translucencyValue = 0.0f;
    Float3x3 u_translucencyTransform = Float3x3::identity();
    float u_translucencyAmount = 1.0f;
    ParamBool u_cutoutMapEnable = false;
    TextureHandle u_cutoutMap;
    Float3x3 u_cutoutTransform = Float3x3::identity();
    float u_cutoutAmount = 1.0f;
    ParamBool u_additionalMapEnable = false;
    TextureHandle u_additionalMap;
    Float3 u_additionalColor{0.0f, 0.0f, 0.0f};
    Float3x3 u_additionalMapTransform = Float3x3::identity();
    float u_additionalAmount = 1.0f;
    ParamBool u_cosineUsesBump = false;
    ParamBool u_reflectionHighlightOnly = false;
    ParamBool u_isDecal = false;
    Float4x4 u_decalTransform = Float4x4::identity();
    CommonTint tint;
};

// The Ward members from u_procedureMapEnable to u_reflectionHighlightOnly in declaration order,
// shared by every class built on the Ward block (Block holds them at the same offsets as
// WardParams, or is WardParams).
template <class P = WardParams>
constexpr auto wardMemberRows() {
    return std::array{
        KS_PARAM(P, u_procedureMapEnable), KS_PARAM(P, u_procedureMapTiling), KS_PARAM(P, u_procedureMapAmount),
        KS_DATA_TEXTURE(P, u_smokeMap), KS_PARAM(P, u_normal0MapEnable), KS_TEXTURE(P, u_normal0Map),
        KS_PARAM(P, u_normal0AmountMapEnable), KS_TEXTURE(P, u_normal0AmountMap), KS_PARAM(P, u_normal0AmountTransform),
        KS_PARAM(P, u_normal0Amount), KS_PARAM(P, u_normal0Transform), KS_PARAM(P, u_normal1MapEnable),
        KS_TEXTURE(P, u_normal1Map), KS_PARAM(P, u_normal1Amount), KS_PARAM(P, u_normal1Transform),
        KS_PARAM(P, u_normal1AsShadingNormal), KS_PARAM(P, u_diffuseMapEnable), KS_TEXTURE(P, u_diffuseMap),
        KS_PARAM(P, u_diffuseColor), KS_PARAM(P, u_diffuseTransform), KS_PARAM(P, u_diffuseAmount),
        KS_PARAM(P, u_imageFadeEnable), KS_PARAM(P, u_imageFade), KS_TEXTURE(P, u_imageFadeMap),
        KS_PARAM(P, u_imageFadeTransform), KS_PARAM(P, u_imageFadeAmount), KS_PARAM(P, u_imageFadeColor),
        KS_PARAM(P, u_specularMapEnable), KS_TEXTURE(P, u_specularMap), KS_PARAM(P, u_specularColor),
        KS_PARAM(P, u_specularTransform), KS_PARAM(P, u_specularAmount), KS_PARAM(P, u_roughMapEnable),
        KS_TEXTURE(P, u_roughMap), KS_PARAM(P, u_roughValue), KS_PARAM(P, u_roughTransform),
        KS_PARAM(P, u_roughAmount), KS_PARAM(P, u_reflectGlossyValue), KS_PARAM(P, u_refractGlossyMapEnable),
        KS_TEXTURE(P, u_refractGlossyMap), KS_PARAM(P, u_refractGlossyTransform), KS_PARAM(P, u_refractGlossyAmount),
        KS_PARAM(P, u_refractGlossyValue), KS_PARAM(P, u_anisotropyMapEnable), KS_TEXTURE(P, u_anisotropyMap),
        KS_PARAM(P, u_anisotropyValue), KS_PARAM(P, u_anisotropyTransform), KS_PARAM(P, u_anisotropyAmount),
        KS_PARAM(P, u_anisoRotationMapEnable), KS_TEXTURE(P, u_anisoRotationMap), KS_PARAM(P, u_anisoRotationValue),
        KS_PARAM(P, u_anisoRotationTransform), KS_PARAM(P, u_anisoRotationAmount), KS_PARAM(P, u_brdfCurvePower),
        KS_PARAM(P, u_brdf00ReflectMapEnable), KS_TEXTURE(P, u_brdf00ReflectMap), KS_PARAM(P, u_brdf00ReflectTransform),
        KS_PARAM(P, u_brdf00ReflectAmount), KS_PARAM(P, u_brdf00Reflectivity), KS_PARAM(P, u_brdf90ReflectMapEnable),
        KS_TEXTURE(P, u_brdf90ReflectMap), KS_PARAM(P, u_brdf90ReflectTransform), KS_PARAM(P, u_brdf90Reflectivity),
        KS_PARAM(P, u_brdf90ReflectAmount), KS_PARAM(P, u_reflectivity), KS_PARAM(P, u_isMetal),
        KS_PARAM(P, u_transparency), KS_PARAM(P, u_transparencyMapEnable), KS_TEXTURE(P, u_transparencyMap),
        KS_PARAM(P, u_transparencyValue), KS_PARAM(P, u_transparencyTransform), KS_PARAM(P, u_transparencyFade),
        KS_PARAM(P, u_ior), KS_PARAM(P, u_transparencyAmount), KS_PARAM(P, u_translucencyMapEnable),
        KS_TEXTURE(P, u_translucencyMap), KS_PARAM(P, u_translucencyValue), KS_PARAM(P, u_translucencyTransform),
        KS_PARAM(P, u_translucencyAmount), KS_PARAM(P, u_cutoutMapEnable), KS_TEXTURE(P, u_cutoutMap),
        KS_PARAM(P, u_cutoutTransform), KS_PARAM(P, u_cutoutAmount), KS_PARAM(P, u_additionalMapEnable),
        KS_TEXTURE(P, u_additionalMap), KS_PARAM(P, u_additionalColor), KS_PARAM(P, u_additionalMapTransform),
        KS_PARAM(P, u_additionalAmount), KS_PARAM(P, u_cosineUsesBump), KS_PARAM(P, u_reflectionHighlightOnly),
    };
}

class kestrel_Mtl_Ward final : public ParameterizedShader<MaterialShader, WardParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
