// XRite: measured metallic car paint. A very dark base lit by a diffuse cube map, flakes tiled in
// world space whose sharp glints and soft sparkle come from reflection and specular cube maps,
// and one traced mirror reflection, all weighted by a Fresnel quadruple. Flakes are gathered over
// a grid of cells that grows with distance and grazing angle, so they thin out far away.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

#define KS_XRITE_PARAMETERS(G, P, T)                                                                               \
    G("orientation")                                                                                               \
    P(ParamBool, reverseNormal, false, toggle("Turns the normals round."))                                         \
    P(ParamBool, faceForward, false, toggle("Turns the normals round on hits from behind the geometric surface.")) \
    G("paint")                                                                                                     \
    P(Float3, xriteDiffuse, (Float3{0.0049f, 0.0049f, 0.0045f}),                                                   \
      colour("Base colour (very dark for measured paints), times the diffuse cube and diffIntensity.")             \
          .soft(0, 0.1f))                                                                                          \
    G("flakes")                                                                                                    \
    P(Float3, flakeColor, (Float3{0.104f, 0.106f, 0.108f}),                                                        \
      colour("Colour of the flakes' sharp glints from the reflection cube, times specIntensity."))                 \
    P(Float3, flakeColor2, (Float3{0.0953f, 0.0958f, 0.0976f}),                                                    \
      colour("Colour of the flakes' soft sparkle from the specular cube, times diffIntensity."))                   \
    G("paint")                                                                                                     \
    P(Float4, fresnel, (Float4{0.04f, 0.9f, 2.5f, 1.0f}),                                                          \
      vec("(base, scale, exponent, maximum) of the Fresnel curve (1 - cos)^exponent x scale + base, capped at "    \
          "maximum."))                                                                                             \
    G("flakes")                                                                                                    \
    P(ParamBool, xriteIsSolid, false, toggle("Switches the flakes off: a solid paint."))                           \
    P(float, coarseness, 0.656f, weight("Share of the glints against the sparkle."))                               \
    G("paint")                                                                                                     \
    P(float, specIntensity, 1.0f, amount("Gain of the glints and the reflection.").soft(0, 4))                     \
    P(float, diffIntensity, 1.0f, amount("Gain of the base colour and the sparkle.").soft(0, 4))                   \
    G("flakes")                                                                                                    \
    P(float, contributionFactor, 0.75f, cosine("A flake glints only when the z of its normal is above this."))     \
    P(float, maxFlakes, 7.0f,                                                                                      \
      count("Limit of the flake footprint that grows with distance and grazing angle, in cells before "            \
          "flakeFactor.").soft(1, 16))                                                                             \
    P(float, flakeFactor, 4.0f,                                                                                    \
      amount("Cells per footprint unit and the tiling density of the flake texture.").soft(1, 8))                  \
    P(float, flakeSize, 0.001953125f,                                                                              \
      scalar("Step between neighbouring flake cells in the flake texture (1/512).").soft(0, 0.01f))                \
    T(Texture, flakeNormalTexture, "Flake normals as colours: x and y as 2c - 1, z as the blue itself; tiled in "  \
      "world space.")                                                                                              \
    G("environment")                                                                                               \
    T(CubeTexture, diffuseCube, "Diffuse lighting looked up along the normal.")                                    \
    T(CubeTexture, specularCube, "Soft lighting looked up along the flake mirror directions (sparkle).")           \
    T(CubeTexture, reflectCube, "Sharp lighting looked up along the flake mirror directions (glints).")

struct XRiteParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_XRITE_PARAMETERS)
};

inline constexpr ClassDoc kXRiteDoc{
    "A measured metallic car paint lit by three cube maps and a traced reflection, with world-space flakes.",
    "The colour comes from the diffuse, specular and reflection cubes looked up along the normal and along the "
    "mirror directions of many small flakes, plus one traced mirror reflection weighted by the Fresnel curve; "
    "the base colour is sRGB-encoded before the flakes are added. Lights are not used.",
    "Bind diffuseCube, specularCube and reflectCube (and flakeNormalTexture for flakes): without them only the "
    "traced reflection shows, on a nearly black base.",
};

class XRite final : public ParameterizedShader<MaterialShader, XRiteParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
