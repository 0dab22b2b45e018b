// kestrel_Mtl_Dielectric: glass, water and clear plastics. A Fresnel-weighted split between a
// traced reflection and a traced refraction, rough or smooth through GGX microfacets, with
// absorption inside the medium and optional bump from height maps or procedural noise.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

#define KS_DIELECTRIC_PARAMETERS(G, P, T)                                                                           \
    G("absorption")                                                                                                 \
    P(ParamBool, u_transmittanceMapEnable, false,                                                                   \
      toggle("Sets the absorption per channel from u_transmittanceMap instead of u_absorptionCoef alone."))         \
    T(Texture, u_transmittanceMap, "Transmittance colour: absorption per channel becomes -ln(texel x amount) / "    \
      "u_absorptionCoef.")                                                                                          \
    P(Float3x3, u_transmittanceTransform, Float3x3::identity(), matrix("Transform of uv for u_transmittanceMap."))  \
    P(float, u_transmittanceAmount, 1.0f, amount("Scales the texel of u_transmittanceMap."))                        \
    G("bump")                                                                                                       \
    P(int32_t, u_procedureMapEnable, 0,                                                                             \
      mode("Procedural bump, used when u_normal0MapEnable is off.", "0 none (any value but 1); 1 noise bump"))      \
    P(Float3, u_procedureMapTiling, (Float3{1.0f, 1.0f, 1.0f}),                                                     \
      vec("Scales the world position fed to the noise: larger values give finer bumps.").soft(0, 10))               \
    P(float, u_procedureMapAmount, 0.0f, amount("Strength of the noise bump."))                                     \
    P(ParamBool, u_normal0MapEnable, false,                                                                         \
      toggle("Bumps the normal by the height map u_normal0Map (instead of the noise bump)."))                       \
    T(Texture, u_normal0Map, "Height map (red + green + blue), not a normal map.")                                  \
    P(Float3x3, u_normal0Transform, Float3x3::identity(), matrix("Transform of uv for u_normal0Map."))              \
    P(float, u_normal0Amount, 0.0f, amount("Bump strength of u_normal0Map.").by("u_normal0Map"))                    \
    P(float, u_normal0UVScale, 1.0f,                                                                                \
      scalar("Scales the transformed uv of u_normal0Map: larger values repeat it more often.").soft(0.1f, 10))      \
    P(ParamBool, u_normal1MapEnable, false, toggle("Adds a second height-map bump from u_normal1Map."))             \
    T(Texture, u_normal1Map, "Second height map (red + green + blue).")                                             \
    P(Float3x3, u_normal1Transform, Float3x3::identity(), matrix("Transform of uv for u_normal1Map."))              \
    P(float, u_normal1Amount, 0.0f, amount("Bump strength of u_normal1Map.").by("u_normal1Map"))                    \
    G("roughness")                                                                                                  \
    P(ParamBool, u_roughMapEnable, false,                                                                           \
      toggle("Takes the roughness from u_roughMap's red channel times u_roughAmount instead of u_roughValue."))     \
    T(Texture, u_roughMap, "Roughness in the red channel.")                                                         \
    P(float, u_roughValue, 0.0004f,                                                                                 \
      weight("Microfacet roughness of the highlights: near 0 clear glass, larger values frosted.")                  \
          .hard(0, inf).soft(0, 0.5f).by("u_roughMap"))                                                             \
    P(Float3x3, u_roughTransform, Float3x3::identity(), matrix("Transform of uv for u_roughMap."))                  \
    P(float, u_glossyValue, 0.0f,                                                                                   \
      weight("Glossiness handed to the host's traced reflection and refraction: how blurred they are."))            \
    P(float, u_roughAmount, 1.0f, amount("Scales the red channel of u_roughMap."))                                  \
    G("refraction")                                                                                                 \
    P(float, u_ior, 1.52f, ior("Index of refraction of the material (1.33 water, 1.52 glass)."))                    \
    P(float, u_reflectance, 0.1f, weight("Reflectance at normal incidence; it rises to 1 at grazing angles."))      \
    P(Float3, u_absorptionCoef, (Float3{0.0f, 0.0f, 0.0f}),                                                         \
      vec("Absorption per unit length inside the medium, base 10, per channel (with u_falloffEnable; shadows "      \
          "always).").hard(0, inf).soft(0, 2))                                                                      \
    P(ParamBool, u_falloffEnable, false, toggle("Absorbs the traced refraction along its path inside the medium.")) \
    P(Float3, u_refractColor, (Float3{1.0f, 1.0f, 1.0f}),                                                           \
      colour("Tint of the traced refraction and of the light it lets through to shadows."))                         \
    P(Float3, u_reflectColor, (Float3{1.0f, 1.0f, 1.0f}), colour("Tint of the traced reflection."))

struct DielectricParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    KS_BLOCK_MEMBERS(KS_DIELECTRIC_PARAMETERS)
    CommonTint tint;
};

inline constexpr ClassDoc kDielectricDoc{
    "Glass, water and clear plastics: a Fresnel-weighted traced reflection and refraction.",
    "Splits each sample between a traced reflection and a traced refraction by a Fresnel curve from "
    "u_reflectance, rough or smooth through GGX microfacets, with highlights from the lights, absorption inside "
    "the medium and optional bump from height maps or noise.",
    "Nothing: clear glass at its defaults, but it shows only what it reflects and refracts, so put it in front "
    "of something (an environment image, other objects).",
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
