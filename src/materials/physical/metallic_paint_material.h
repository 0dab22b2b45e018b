// kestrel_Mtl_MetallicPaint: two-layer car paint. A coloured Ward base coat with a reflectivity
// curve, a brightness response that shifts towards a second colour, optional flecks and a pearl
// sheen, under a clear glossy topcoat whose normal may carry an orange-peel ripple.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

#define KS_METALLIC_PAINT_PARAMETERS(G, P, T)                                                                     \
    G("topcoat")                                                                                                  \
    P(ParamBool, u_topcoatEnable, false,                                                                          \
      toggle("Dims the base coat by the topcoat, more at grazing angles (by u_baseHighlightSpread)."))            \
    G("pearl")                                                                                                    \
    P(int32_t, u_pearl, 0,                                                                                        \
      mode("Pearl sheen on the lit base coat.", "0 off (any value up to 0); 1 on (any value above 0)"))           \
    P(Float4, u_pearlColor, (Float4{0.8f, 0.12f, 0.0f, 0.0f}),                                                    \
      colour("Colour of the pearl sheen (red, green, blue used)."))                                               \
    P(float, u_pearlIor, 0.2f,                                                                                    \
      exponent("Half the exponent of the view cosine that shapes where the pearl sheen shows.").soft(0, 2))       \
    P(float, u_pearlAmount, 0.5f, weight("Strength of the pearl sheen."))                                         \
    G("topcoat")                                                                                                  \
    P(int32_t, u_finish, 0, mode("Topcoat surface.", "0 smooth (any value but 1); 1 orange peel ripple"))         \
    P(float, u_finishPeelamount, 0.5f, amount("Strength of the orange-peel ripple on the topcoat normal."))       \
    G("base coat")                                                                                                \
    P(float, u_baseHighlightSpread, 0.6f,                                                                         \
      weight("How much the topcoat dims the base; above 0.6 it also shapes the base response to light."))         \
    G("flecks")                                                                                                   \
    P(ParamBool, u_flecksEnable, false, toggle("Adds sparkling metallic flecks to the highlights."))              \
    P(Float4, u_flecksColor, (Float4{1.0f, 1.0f, 1.0f, 1.0f}),                                                    \
      colour("Colour of the flecks (red, green, blue used)."))                                                    \
    G("base coat")                                                                                                \
    P(ParamBool, u_baseMapEnable, false, toggle("Takes the base colour from u_baseMap instead of u_baseColor."))  \
    T(Texture, u_baseMap, "Base colour at uv.")                                                                   \
    P(Float4, u_baseColor, (Float4{1.0f, 1.0f, 1.0f, 1.0f}),                                                      \
      colour("Colour of the base coat (red, green, blue used).").by("u_baseMap"))                                 \
    P(Float3x3, u_baseTransform, Float3x3::identity(), matrix("Transform of uv for u_baseMap."))                  \
    P(Float3, u_shiftedColor, (Float3{0.0f, 0.0f, 0.0f}),                                                         \
      colour("Second colour the lit base shifts towards, by u_hueWeight."))                                       \
    P(float, u_hueWeight, 0.0f, weight("How strongly the lit base shifts towards u_shiftedColor."))               \
    P(float, u_baseBiasFactor, 0.0f,                                                                              \
      exponent("With u_baseHighlightSpread, the exponent of the base response to the light falloff.").soft(0, 4)) \
    P(float, u_baseRoughValue, 0.01f,                                                                             \
      weight("Ward roughness of the base-coat highlight.").hard(0, inf).soft(0, 0.5f))                            \
    G("topcoat")                                                                                                  \
    P(float, u_topcoatRoughValue, 0.01f,                                                                          \
      weight("Glossiness handed to the host's traced topcoat reflection.").soft(0, 0.5f))                         \
    G("base coat")                                                                                                \
    P(float, u_baseCurvePower, 0.0f,                                                                              \
      exponent("Exponent of the reflectivity curve from head-on to grazing; 0 keeps u_base90Reflectivity at "     \
          "every angle.").hard(0, inf).soft(0, 10))                                                               \
    P(float, u_base00Reflectivity, 0.1f, weight("Reflectivity of the base seen head-on."))                        \
    P(float, u_base90Reflectivity, 1.0f, weight("Reflectivity of the base at grazing angles."))                   \
    G("flecks")                                                                                                   \
    P(float, u_flecksSize, 0.05f, distance("Size of a fleck cell.").soft(0.001f, 0.2f))

#define KS_PAINT_ORIENTATION_PARAMETERS(G, P, T)                                          \
    G("orientation")                                                                      \
    P(ParamBool, reverseNormal, false, toggle("Turns the normals round before shading.")) \
    P(ParamBool, faceForward, false, toggle("Turns each normal towards the incoming ray."))

struct MetallicPaintParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    KS_BLOCK_MEMBERS(KS_METALLIC_PAINT_PARAMETERS)
    CommonTint tint;
    KS_BLOCK_MEMBERS(KS_PAINT_ORIENTATION_PARAMETERS)
};

inline constexpr ClassDoc kMetallicPaintDoc{
    "Two-layer car paint: a coloured Ward base coat with flecks and pearl under a clear glossy topcoat.",
    "The base coat is a diffuse colour and a Ward highlight weighted by a reflectivity curve, with optional "
    "flecks, pearl sheen and a shift towards a second colour; the topcoat adds a traced glossy reflection whose "
    "normal may carry an orange-peel ripple.",
    "Lights and an environment: at its defaults it is a white base with a 10 % to 100 % reflectivity curve; set "
    "u_baseColor for colour and u_baseCurvePower (e.g. 5) for a Fresnel-like rise at grazing angles.",
};

class kestrel_Mtl_MetallicPaint final : public ParameterizedShader<MaterialShader, MetallicPaintParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
