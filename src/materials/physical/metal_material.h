// kestrel_Mtl_Metal: a configurable metal. An anisotropic Ward lobe over an optional diffuse
// layer with a reflectivity curve, an ageing patina driven by host noise, procedural
// perforations, bump from a pattern map or a box pattern, brushed and anodised looks through
// switchable map channels, and sparkling flecks.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

#define KS_METAL_PARAMETERS(G, P, T)                                                                                 \
    G("flecks")                                                                                                      \
    P(ParamBool, u_flecksEnable, false, toggle("Adds sparkling flecks to the diffuse colour and reflection."))       \
    P(Float3, u_flecksDiffuseColor, (Float3{1.0f, 1.0f, 1.0f}),                                                      \
      colour("Colour each fleck adds to the diffuse light."))                                                        \
    P(Float3, u_flecksSpecularColor, (Float3{1.0f, 1.0f, 1.0f}),                                                     \
      colour("Reflection colour where a fleck sparkles (times the reflectivity)."))                                  \
    P(float, u_flecksSize, 0.5f, distance("Size of a fleck cell.").soft(0.001f, 1))                                  \
    P(float, u_flecksDensity, 5.5f,                                                                                  \
      exponent("Exponent of the fleck noise: larger values give fewer, sparser flecks.").soft(0, 10))                \
    G("bump")                                                                                                        \
    P(ParamBool, u_patternEnable, false, toggle("Bumps the normal by the height map u_patternMap."))                 \
    T(Texture, u_patternMap, "Height map (red + green + blue) of the bump pattern.")                                 \
    P(Float3x3, u_patternTransform, Float3x3::identity(), matrix("Transform of uv for u_patternMap."))               \
    P(float, u_patternAmount, 1.0f, amount("Strength of the pattern bump and of the box-pyramid bump."))             \
    G("diffuse")                                                                                                     \
    P(ParamBool, u_diffuseMapEnable, false, toggle("Declared for compatibility; not read by this class."))           \
    T(Texture, u_diffuseMap, "Declared for compatibility; not read by this class.")                                  \
    P(Float3, u_diffuseColor, (Float3{0.0f, 0.0f, 0.0f}),                                                            \
      colour("Diffuse colour under the metal lobe, times 1 minus the reflectivity (black: a pure metal)."))          \
    P(Float3x3, u_diffuseTransform, Float3x3::identity(),                                                            \
      matrix("Declared for compatibility; not read by this class."))                                                 \
    P(float, u_diffuseWeight, 0.5f,                                                                                  \
      weight("Added to the diffuse scale when u_reflectSwitcher takes the reflection colour from a map."))           \
    G("reflection")                                                                                                  \
    P(ParamBool, u_specularMapEnable, false, toggle("Declared for compatibility; not read by this class."))          \
    T(Texture, u_specularMap, "Declared for compatibility; not read by this class.")                                 \
    P(Float3, u_specularColor, (Float3{1.0f, 1.0f, 1.0f}),                                                           \
      colour("Colour of the metal: its highlights and reflection, times the reflectivity curve."))                   \
    P(Float3x3, u_specularTransform, Float3x3::identity(),                                                           \
      matrix("Declared for compatibility; not read by this class."))                                                 \
    G("roughness")                                                                                                   \
    P(ParamBool, u_roughMapEnable, false,                                                                            \
      toggle("Takes the roughness from u_roughMap's red channel instead of u_roughValue."))                          \
    T(Texture, u_roughMap, "Roughness in the red channel.")                                                          \
    P(float, u_roughValue, 0.1f,                                                                                     \
      weight("Ward roughness along the tangent: small values give a tight highlight.")                               \
          .hard(0, inf).soft(0, 0.5f).by("u_roughMap"))                                                              \
    P(Float3x3, u_roughTransform, Float3x3::identity(), matrix("Transform of uv for u_roughMap."))                   \
    P(float, u_glossyValueU, 0.1f,                                                                                   \
      weight("Glossiness along the tangent handed to the host's traced reflection.").soft(0, 0.5f))                  \
    P(float, u_glossyValueV, 0.1f,                                                                                   \
      weight("Glossiness along the bitangent handed to the host's traced reflection.").soft(0, 0.5f))                \
    G("anisotropy")                                                                                                  \
    P(ParamBool, u_anisotropyMapEnable, false, toggle("Takes the anisotropy from u_anisotropyMap's red channel."))   \
    T(Texture, u_anisotropyMap, "Anisotropy in the red channel.")                                                    \
    P(float, u_anisotropyValue, 1.0f,                                                                                \
      amount("Roughness along the bitangent over that along the tangent: 1 round highlights, other values "          \
          "stretched.").soft(0, 4).by("u_anisotropyMap"))                                                            \
    P(Float3x3, u_anisotropyTransform, Float3x3::identity(), matrix("Transform of uv for u_anisotropyMap."))         \
    P(ParamBool, u_anisoRotationMapEnable, false,                                                                    \
      toggle("Takes the anisotropy rotation from u_anisoRotationMap's red channel."))                                \
    T(Texture, u_anisoRotationMap, "Rotation angle in radians in the red channel.")                                  \
    P(float, u_anisoRotationValue, 0.0f,                                                                             \
      angle("Rotation of the tangent about the normal (when no switcher channel gives one).",                        \
          "radians").soft(0, 6.2831853f).by("u_anisoRotationMap"))                                                   \
    P(Float3x3, u_anisoRotationTransform, Float3x3::identity(), matrix("Transform of uv for u_anisoRotationMap."))   \
    G("reflectivity")                                                                                                \
    P(float, u_brdfCurvePower, 5.0f,                                                                                 \
      exponent("Exponent of the reflectivity curve from head-on to grazing; 0 keeps u_brdf90Reflectivity "           \
          "everywhere.").hard(0, inf).soft(0, 10))                                                                   \
    P(float, u_brdf00Reflectivity, 0.9f, weight("Reflectivity seen head-on."))                                       \
    P(float, u_brdf90Reflectivity, 1.0f, weight("Reflectivity at grazing angles."))                                  \
    G("cutouts")                                                                                                     \
    P(int32_t, u_cutoutsSwitcher, 0,                                                                                 \
      mode("Perforation pattern; holes show what lies behind.",                                                      \
          "0 none; 1 staggered round holes; 2 round holes in a square grid; 3 square holes, alternate rows "         \
          "shifted; 4 diamond mesh; 5 solid; 6 hexagonal cells; 7 u_cutoutMap; 8 solid (any other value above 0)"))  \
    T(Texture, u_cutoutMap, "Pattern of mode 7: the mean of red, green and blue, 1 metal, 0 hole.")                  \
    P(Float3x3, u_cutoutTransform, Float3x3::identity(), matrix("Transform of uv for u_cutoutMap."))                 \
    P(float, u_cutoutsCenter, 0.5f, scalar("Offset of the pattern in its cells.").soft(0, 1))                        \
    P(float, u_cutoutsSize, 0.5f, scalar("Hole size, in the same units as u_cutoutsSpace.").hard(0, inf).soft(0, 1)) \
    P(float, u_cutoutsSpace, 0.5f,                                                                                   \
      scalar("Metal between holes; a cell is size plus space wide.").hard(0, inf).soft(0, 1))                        \
    P(float, u_uvScale, 1.0f, scalar("Scale of uv for the patina noise and the box-pyramid bump.").soft(0.1f, 10))   \
    P(float, u_otherScale, 1.0f, scalar("Scale of the cutout pattern.").soft(0.1f, 10))                              \
    P(float, u_uvDefScale, 1.0f,                                                                                     \
      scalar("Extra scale of the cutout pattern in shadows (times u_otherScale).").soft(0.1f, 10))                   \
    P(float, u_cutoutAmount, 1.0f, amount("Declared for compatibility; not read by this class."))                    \
    G("lighting")                                                                                                    \
    P(ParamBool, u_cosineUsesBump, false,                                                                            \
      toggle("evaluateBsdf and sampleBsdf report the cosine to the bumped normal instead of the surface's."))        \
    G("bump")                                                                                                        \
    P(int32_t, u_bumpSwitcher, 0,                                                                                    \
      mode("Procedural bump.", "0 none (any value but 1); 1 box-pyramid pattern of u_uvScale cells"))                \
    P(float, u_metalPatternScale, 1.0f, scalar("Declared for compatibility; not read by this class."))               \
    G("switchers")                                                                                                   \
    P(int32_t, u_reflectSwitcher, 0,                                                                                 \
      mode("Source of the reflection colour (u_bumpMapColorEnable forces 1).",                                       \
          "0 u_specularColor; 1 u_reflectColor times u_bumpMapColor; 2 u_reflectColor times u_brushMap; 3 "          \
          "u_breakMap; 4 anodized noise; 5 u_reflectColor (any other value)"))                                       \
    P(int32_t, u_anisoSwitcher, 0,                                                                                   \
      mode("Source of the anisotropy channel (used when a switcher map is active).",                                 \
          "0 u_anisoColor red; 1 u_anisoColor red; 2 u_anisoColor red times u_brushMap red; 3 u_breakMap red; 4 "    \
          "anodized noise"))                                                                                         \
    P(int32_t, u_anisoRotSwitcher, 0,                                                                                \
      mode("Source of the anisotropy rotation angle.",                                                               \
          "0 u_anisoRotationValue (any value but 3 and 4); 3 u_breakMap red; 4 anodized noise"))                     \
    P(Float3, u_anisoColor, (Float3{1.0f, 1.0f, 1.0f}),                                                              \
      colour("Red channel: the anisotropy channel of switcher modes 0 to 2."))                                       \
    P(Float3, u_reflectColor, (Float3{1.0f, 1.0f, 1.0f}),                                                            \
      colour("Reflection colour of the switcher modes, times their maps."))                                          \
    P(float, u_reflMapAmount, 1.0f, amount("Scales the switcher reflection colour."))                                \
    P(float, u_anisoMapAmount, 1.0f, amount("Scales the switcher anisotropy channel."))                              \
    P(float, u_anisorotMapAmount, 1.0f, amount("Scales the switcher rotation angle."))                               \
    P(ParamBool, u_brushMapEnable, false, toggle("Reads u_brushMap for the switchers."))                             \
    T(Texture, u_brushMap, "Brushed-metal map of switcher mode 2.")                                                  \
    P(Float3x3, u_brushTransform, Float3x3::identity(), matrix("Transform of uv for u_brushMap."))                   \
    P(ParamBool, u_breakMapEnable, false, toggle("Reads u_breakMap for the switchers."))                             \
    T(Texture, u_breakMap, "Map of switcher mode 3.")                                                                \
    P(Float3x3, u_breakTransform, Float3x3::identity(), matrix("Transform of uv for u_breakMap."))                   \
    P(ParamBool, u_bumpMapColorEnable, false,                                                                        \
      toggle("Reads u_bumpMapColor as the reflection colour map (forces reflect switcher 1)."))                      \
    T(Texture, u_bumpMapColor, "Colour map of switcher mode 1.")                                                     \
    P(Float3x3, u_bumpMapColorTransform, Float3x3::identity(), matrix("Transform of uv for u_bumpMapColor."))        \
    P(Float3, u_noiseanodized_tiling, (Float3{1.0f, 1.0f, 1.0f}),                                                    \
      vec("Scales the object position for the anodized noise of switcher mode 4.").soft(0, 10))                      \
    P(float, u_bumpMapAmount, 1.0f, amount("Declared for compatibility; not read by this class."))                   \
    G("patina")                                                                                                      \
    P(ParamBool, u_patinaEnable, false,                                                                              \
      toggle("Ages the metal with noise patches of patina colour, roughness and reflectivity."))                     \
    T(Texture, u_patinaMap, "Declared for compatibility; not read by this class.")                                   \
    P(Float3, u_patinaColor, (Float3{0.25f, 0.5f, 0.4f}), colour("Diffuse colour of the patina."))                   \
    P(float, u_patinaGlossy, 0.5f, weight("Roughness of the patina.").hard(0, inf).soft(0, 1))                       \
    P(float, u_patinaBrdf00Reflectivity, 1.0f, weight("Head-on reflectivity of the patina."))                        \
    G("reflection")                                                                                                  \
    P(ParamBool, u_reflectionHighlightOnly, false,                                                                   \
      toggle("Keeps the highlights from lights but traces no reflection."))                                          \
    G("patina")                                                                                                      \
    P(float, n_patinaPercent, 0.0f, weight("Fraction of the surface covered by patina (0 none)."))

struct MetalParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    KS_BLOCK_MEMBERS(KS_METAL_PARAMETERS)
    CommonTint tint;
};

inline constexpr ClassDoc kMetalDoc{
    "A configurable metal: an anisotropic Ward lobe with a reflectivity curve, patina, perforations, bump and "
    "flecks.",
    "Highlights and a traced anisotropic reflection in u_specularColor weighted by a curve from "
    "u_brdf00Reflectivity head-on to u_brdf90Reflectivity at grazing angles, over an optional diffuse layer; "
    "noise-driven patina, procedural or mapped cutouts, bump from a height map or a box pattern, anisotropy and "
    "its rotation from values, maps or switcher channels, and sparkling flecks.",
    "Lights or something to reflect: at its defaults it is a bright grey metal (reflectivity 0.9 to 1) whose "
    "look is its highlights and reflections, black in an empty scene.",
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
