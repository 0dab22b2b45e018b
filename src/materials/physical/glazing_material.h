// kestrel_Mtl_Glazing: a thin transparent sheet (window glass). Light passes straight through
// without bending; a constant fraction is reflected instead of an angle-dependent one.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

#define KS_GLAZING_PARAMETERS(G, P, T)                                                                             \
    G("reflection")                                                                                                \
    P(float, u_reflectance, 0.1f,                                                                                  \
      weight("With u_level sets the reflected fraction u_reflectance^2 / u_level, the same at every angle; the "   \
          "rest passes through."))                                                                                 \
    P(Float3, u_reflectColor, (Float3{1.0f, 1.0f, 1.0f}), colour("Tint of the traced reflection."))                \
    G("transmission")                                                                                              \
    P(Float3, u_refractColor, (Float3{1.0f, 1.0f, 1.0f}),                                                          \
      colour("Tint of the light passing straight through (unless the transmittance map is on).")                   \
          .by("u_transmittanceMap"))                                                                               \
    G("reflection")                                                                                                \
    P(float, u_rough, 0.0001f,                                                                                     \
      weight("Microfacet roughness of the highlights from lights.").hard(0, inf).soft(0, 0.5f))                    \
    P(float, u_level, 1.0f,                                                                                        \
      amount("Divides the reflected fraction, and is the root taken of the transmittance map (0 divides by "       \
          "zero).").hard(0, inf).soft(0.1f, 2))                                                                    \
    G("transmission")                                                                                              \
    P(ParamBool, u_transmittanceMapEnable, false,                                                                  \
      toggle("Takes the transmission colour from u_transmittanceMap instead of u_refractColor."))                  \
    T(Texture, u_transmittanceMap, "Transmission colour: (texel x amount)^(1 / u_level) per channel.")             \
    P(Float3x3, u_transmittanceTransform, Float3x3::identity(), matrix("Transform of uv for u_transmittanceMap.")) \
    P(float, u_transmittanceAmount, 1.0f, amount("Scales the texel of u_transmittanceMap."))

struct GlazingParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    KS_BLOCK_MEMBERS(KS_GLAZING_PARAMETERS)
    CommonTint tint;
};

inline constexpr ClassDoc kGlazingDoc{
    "A thin transparent sheet (window glass): light passes straight through, a constant fraction is reflected.",
    "The reflected fraction u_reflectance^2 / u_level is the same at every angle; the rest is traced straight on "
    "without bending, tinted by u_refractColor or the transmittance map. Highlights from lights through GGX "
    "microfacets.",
    "Nothing: at its defaults 1 % is reflected and 99 % passes through, so it shows what lies behind it; raise "
    "u_reflectance to see the sheet itself.",
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
