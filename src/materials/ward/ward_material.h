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

#define KS_WARD_PARAMETERS(G, P, T)                                                                                \
    G("procedure map")                                                                                             \
    P(int32_t, u_procedureMapEnable, 0,                                                                            \
      mode("Procedural normal perturbation, used when normal map 1 is off.",                                       \
          "0 none; 1 rotated noise bump; 2 cellular bump with turbulence; 3 ridged noise; 4 none; 5 regular "      \
          "noise bump; 6 fractal noise bump; 7 turbulent noise bump"))                                             \
    P(Float3, u_procedureMapTiling, (Float3{1.0f, 1.0f, 1.0f}),                                                    \
      vec("Scales the world position fed to the procedure: larger values give finer detail.").soft(0, 10))         \
    P(float, u_procedureMapAmount, 0.0f,                                                                           \
      amount("Strength of the procedural perturbation (0 leaves the normal alone)."))                              \
    T(DataTexture, u_smokeMap, "Declared for compatibility; never looked up.")                                     \
    G("normal map 0")                                                                                              \
    P(ParamBool, u_normal0MapEnable, false,                                                                        \
      toggle("Tilts the normal by u_normal0Map; it also shapes the frame the lights are computed in."))            \
    T(Texture, u_normal0Map, "Red and green tilt the normal along the tangent and bitangent (used as they are, "   \
      "not remapped from 0-1).")                                                                                   \
    P(ParamBool, u_normal0AmountMapEnable, false,                                                                  \
      toggle("Scales normal map 0 by u_normal0AmountMap's red channel."))                                          \
    T(Texture, u_normal0AmountMap, "Strength of normal map 0 in the red channel.")                                 \
    P(Float3x3, u_normal0AmountTransform, Float3x3::identity(), matrix("Transform of uv for u_normal0AmountMap.")) \
    P(float, u_normal0Amount, 0.0f, amount("Strength of normal map 0.").by("u_normal0AmountMap"))                  \
    P(Float3x3, u_normal0Transform, Float3x3::identity(), matrix("Transform of uv for u_normal0Map."))             \
    G("normal map 1")                                                                                              \
    P(ParamBool, u_normal1MapEnable, false,                                                                        \
      toggle("Tilts the normal further by u_normal1Map (instead of the procedure map)."))                          \
    T(Texture, u_normal1Map, "Red and green tilt the normal along the tangent and bitangent.")                     \
    P(float, u_normal1Amount, 0.0f, amount("Strength of normal map 1."))                                           \
    P(Float3x3, u_normal1Transform, Float3x3::identity(), matrix("Transform of uv for u_normal1Map."))             \
    P(ParamBool, u_normal1AsShadingNormal, false,                                                                  \
      toggle("Lights with the fully bumped normal instead of the normal of normal map 0 alone."))                  \
    G("diffuse")                                                                                                   \
    P(ParamBool, u_diffuseMapEnable, false,                                                                        \
      toggle("Takes the diffuse colour from u_diffuseMap times u_diffuseAmount."))                                 \
    T(Texture, u_diffuseMap, "Diffuse colour at uv; its alpha fades it over u_diffuseColor in image-fade mode 1.") \
    P(Float3, u_diffuseColor, (Float3{0.0f, 0.0f, 0.0f}),                                                          \
      colour("Lambert diffuse colour, times 1 minus the reflectivity; black (the default) shows no diffuse at "    \
          "all.").by("u_diffuseMap"))                                                                              \
    P(Float3x3, u_diffuseTransform, Float3x3::identity(), matrix("Transform of uv for u_diffuseMap."))             \
    P(float, u_diffuseAmount, 1.0f, amount("Scales the colour of u_diffuseMap."))                                  \
    G("image fade")                                                                                                \
    P(int32_t, u_imageFadeEnable, 0,                                                                               \
      mode("How an overlay is faded over the diffuse colour, by u_imageFade.",                                     \
          "0 none; 1 the diffuse map over u_diffuseColor by its alpha; 2 overlay of u_imageFadeMap; 3 overlay of " \
          "u_imageFadeColor; 4 overlay of a fixed grey"))                                                          \
    P(float, u_imageFade, 1.0f, weight("Strength of the image fade."))                                             \
    T(Texture, u_imageFadeMap, "Overlay colour of image-fade mode 2.")                                             \
    P(Float3x3, u_imageFadeTransform, Float3x3::identity(), matrix("Transform of uv for u_imageFadeMap."))         \
    P(float, u_imageFadeAmount, 1.0f, amount("Scales the colour of u_imageFadeMap."))                              \
    P(Float3, u_imageFadeColor, (Float3{0.0f, 0.0f, 0.0f}), colour("Overlay colour of image-fade mode 3."))        \
    G("specular")                                                                                                  \
    P(ParamBool, u_specularMapEnable, false,                                                                       \
      toggle("Replaces u_specularColor by u_specularMap times u_specularAmount."))                                 \
    T(Texture, u_specularMap, "Specular colour at uv.")                                                            \
    P(Float3, u_specularColor, (Float3{1.0f, 1.0f, 1.0f}),                                                         \
      colour("Colour of the glossy highlights and reflection, times the reflectivity.").by("u_specularMap"))       \
    P(Float3x3, u_specularTransform, Float3x3::identity(), matrix("Transform of uv for u_specularMap."))           \
    P(float, u_specularAmount, 1.0f, amount("Scales the colour of u_specularMap."))                                \
    G("roughness")                                                                                                 \
    P(ParamBool, u_roughMapEnable, false,                                                                          \
      toggle("Takes the roughness from u_roughMap, read as a glossiness (1 sharp, 0 rough)."))                     \
    T(Texture, u_roughMap, "Glossiness in the red channel, turned into a roughness.")                              \
    P(float, u_roughValue, 0.01f,                                                                                  \
      weight("Ward roughness along the tangent: small values give a tight highlight.")                             \
          .hard(0, inf).soft(0, 0.5f).by("u_roughMap"))                                                            \
    P(Float3x3, u_roughTransform, Float3x3::identity(), matrix("Transform of uv for u_roughMap."))                 \
    P(float, u_roughAmount, 1.0f, amount("Scales the red channel of u_roughMap."))                                 \
    G("glossy tracing")                                                                                            \
    P(float, u_reflectGlossyValue, 0.0f,                                                                           \
      weight("Glossiness handed to the host's traced reflection: how blurred it is."))                             \
    P(ParamBool, u_refractGlossyMapEnable, false,                                                                  \
      toggle("Takes the refraction glossiness from u_refractGlossyMap through a fixed curve."))                    \
    T(Texture, u_refractGlossyMap, "Refraction glossiness in the red channel.")                                    \
    P(Float3x3, u_refractGlossyTransform, Float3x3::identity(), matrix("Transform of uv for u_refractGlossyMap.")) \
    P(float, u_refractGlossyAmount, 1.0f, amount("Scales the red channel of u_refractGlossyMap."))                 \
    P(float, u_refractGlossyValue, 0.0f,                                                                           \
      weight("Glossiness handed to the host's traced refraction.").by("u_refractGlossyMap"))                       \
    G("anisotropy")                                                                                                \
    P(ParamBool, u_anisotropyMapEnable, false,                                                                     \
      toggle("Takes the anisotropy from u_anisotropyMap's red channel times u_anisotropyAmount."))                 \
    T(Texture, u_anisotropyMap, "Anisotropy in the red channel.")                                                  \
    P(float, u_anisotropyValue, 1.0f,                                                                              \
      amount("Roughness along the bitangent over that along the tangent: 1 round highlights, other values "        \
          "stretched.").soft(0, 4).by("u_anisotropyMap"))                                                          \
    P(Float3x3, u_anisotropyTransform, Float3x3::identity(), matrix("Transform of uv for u_anisotropyMap."))       \
    P(float, u_anisotropyAmount, 1.0f, amount("Scales the red channel of u_anisotropyMap."))                       \
    P(ParamBool, u_anisoRotationMapEnable, false,                                                                  \
      toggle("Takes the rotation from u_anisoRotationMap's red channel times u_anisoRotationAmount."))             \
    T(Texture, u_anisoRotationMap, "Rotation angle in radians in the red channel.")                                \
    P(float, u_anisoRotationValue, 0.0f,                                                                           \
      angle("Rotation of the tangent about the normal.", "radians").soft(0, 6.2831853f).by("u_anisoRotationMap"))  \
    P(Float3x3, u_anisoRotationTransform, Float3x3::identity(), matrix("Transform of uv for u_anisoRotationMap.")) \
    P(float, u_anisoRotationAmount, 1.0f, amount("Scales the red channel of u_anisoRotationMap."))                 \
    G("reflectivity")                                                                                              \
    P(float, u_brdfCurvePower, 0.0f,                                                                               \
      exponent("Exponent of the reflectivity curve from head-on to grazing; 0 (the default) keeps "                \
          "u_brdf90Reflectivity at every angle.").hard(0, inf).soft(0, 10))                                        \
    P(ParamBool, u_brdf00ReflectMapEnable, false,                                                                  \
      toggle("Takes the head-on reflectivity from u_brdf00ReflectMap's red channel."))                             \
    T(Texture, u_brdf00ReflectMap, "Head-on reflectivity in the red channel.")                                     \
    P(Float3x3, u_brdf00ReflectTransform, Float3x3::identity(), matrix("Transform of uv for u_brdf00ReflectMap.")) \
    P(float, u_brdf00ReflectAmount, 1.0f, amount("Scales the red channel of u_brdf00ReflectMap."))                 \
    P(float, u_brdf00Reflectivity, 0.1f, weight("Reflectivity seen head-on.").by("u_brdf00ReflectMap"))            \
    P(ParamBool, u_brdf90ReflectMapEnable, false,                                                                  \
      toggle("Takes the grazing reflectivity from u_brdf90ReflectMap's red channel."))                             \
    T(Texture, u_brdf90ReflectMap, "Grazing reflectivity in the red channel.")                                     \
    P(Float3x3, u_brdf90ReflectTransform, Float3x3::identity(), matrix("Transform of uv for u_brdf90ReflectMap.")) \
    P(float, u_brdf90Reflectivity, 1.0f, weight("Reflectivity at grazing angles.").by("u_brdf90ReflectMap"))       \
    P(float, u_brdf90ReflectAmount, 1.0f, amount("Scales the red channel of u_brdf90ReflectMap."))                 \
    P(float, u_reflectivity, 1.0f, weight("Scales the whole reflectivity curve."))                                 \
    P(ParamBool, u_isMetal, false,                                                                                 \
      toggle("Metal: the highlights take the diffuse colour and the diffuse is dimmed by their brightness."))      \
    G("transparency")                                                                                              \
    P(ParamBool, u_transparency, false,                                                                            \
      toggle("Makes the surface transparent: refraction, translucency and shadows that let light through."))       \
    P(ParamBool, u_transparencyMapEnable, false,                                                                   \
      toggle("Fades u_transparencyValue towards u_transparencyMap by u_transparencyFade."))                        \
    T(Texture, u_transparencyMap, "Transparency in the red channel.")                                              \
    P(float, u_transparencyValue, 0.0f,                                                                            \
      weight("How much light passes through (with u_transparency).").by("u_transparencyMap"))                      \
    P(Float3x3, u_transparencyTransform, Float3x3::identity(), matrix("Transform of uv for u_transparencyMap."))   \
    P(float, u_transparencyFade, 0.0f, weight("Blend from u_transparencyValue (0) to the map (1)."))               \
    P(float, u_ior, 1.33f, ior("Index of refraction of the material."))                                            \
    P(float, u_transparencyAmount, 1.0f, amount("Scales the red channel of u_transparencyMap."))                   \
    G("translucency")                                                                                              \
    P(ParamBool, u_translucencyMapEnable, false,                                                                   \
      toggle("Takes the translucency from u_translucencyMap's red channel."))                                      \
    T(Texture, u_translucencyMap, "Translucency in the red channel.")                                              \
    P(float, u_translucencyValue, 0.0f,                                                                            \
      weight("How much light lit from behind shows diffusely instead of refracting (with u_transparency).")        \
          .by("u_translucencyMap"))                                                                                \
    P(Float3x3, u_translucencyTransform, Float3x3::identity(), matrix("Transform of uv for u_translucencyMap."))   \
    P(float, u_translucencyAmount, 1.0f, amount("Scales the red channel of u_translucencyMap."))                   \
    G("cutout")                                                                                                    \
    P(ParamBool, u_cutoutMapEnable, false,                                                                         \
      toggle("Cuts the surface by u_cutoutMap: 1 solid, 0 a hole showing what lies behind."))                      \
    T(Texture, u_cutoutMap, "Cutout in the red channel.")                                                          \
    P(Float3x3, u_cutoutTransform, Float3x3::identity(), matrix("Transform of uv for u_cutoutMap."))               \
    P(float, u_cutoutAmount, 1.0f, amount("Scales the red channel of u_cutoutMap."))                               \
    G("additional colour")                                                                                         \
    P(ParamBool, u_additionalMapEnable, false,                                                                     \
      toggle("Multiplies u_additionalColor by u_additionalMap times u_additionalAmount."))                         \
    T(Texture, u_additionalMap, "Additional colour at uv, each channel clamped to 0-1.")                           \
    P(Float3, u_additionalColor, (Float3{0.0f, 0.0f, 0.0f}),                                                       \
      colour("Colour added unlit, like an emission.").by("u_additionalMap"))                                       \
    P(Float3x3, u_additionalMapTransform, Float3x3::identity(), matrix("Transform of uv for u_additionalMap."))    \
    P(float, u_additionalAmount, 1.0f, amount("Scales u_additionalMap."))                                          \
    G("switches")                                                                                                  \
    P(ParamBool, u_cosineUsesBump, false,                                                                          \
      toggle("evaluateBsdf and sampleBsdf report the cosine to the bumped normal instead of the surface's."))      \
    P(ParamBool, u_reflectionHighlightOnly, false,                                                                 \
      toggle("Keeps the highlights from lights but traces no reflection."))

#define KS_WARD_DECAL_PARAMETERS(G, P, T)                                                                         \
    G("decal")                                                                                                    \
    P(ParamBool, u_isDecal, false,                                                                                \
      toggle("Makes the material a decal: outside the unit square of u_decalTransform it is fully transparent.")) \
    P(Float4x4, u_decalTransform, Float4x4::identity(),                                                           \
      matrix("Maps uv (as (u, v, 0, 1)) into the decal square 0-1."))

struct WardParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    // Procedure map: 1 rotated noise, 2 cellular with turbulence, 3 ridged noise, 5-7 noise bumps.
    KS_BLOCK_MEMBERS(KS_WARD_PARAMETERS)
    KS_BLOCK_MEMBERS(KS_WARD_DECAL_PARAMETERS)
    CommonTint tint;
};

// The Ward members from u_procedureMapEnable to u_reflectionHighlightOnly in declaration order,
// shared by every class built on the Ward block (Block holds them at the same offsets as
// WardParams, or is WardParams).
template <class P = WardParams>
constexpr auto wardMemberRows() {
    return KS_BLOCK_ROWS(P, KS_WARD_PARAMETERS);
}

inline constexpr ClassDoc kWardDoc{
    "The general-purpose layered material: Lambert diffuse, anisotropic Ward gloss, bumps, transparency, cutouts "
    "and decals.",
    "A diffuse layer with image maps and an image-fade overlay under an anisotropic Ward glossy layer weighted "
    "by a reflectivity curve; two normal maps and procedural perturbations; traced glossy reflection and "
    "refraction; transparency and translucency; a cutout map, an additive colour and decals.",
    "Set u_diffuseColor (black by default) and u_brdfCurvePower (0 by default, which keeps the grazing "
    "reflectivity 1 everywhere and leaves nothing for the diffuse): e.g. u_diffuseColor (0.5, 0.2, 0.1) and "
    "u_brdfCurvePower 5. Lights show the diffuse and highlights.",
};

class kestrel_Mtl_Ward final : public ParameterizedShader<MaterialShader, WardParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
