// znPointLight: an omnidirectional light with a range and a power-law distance falloff.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

#define KS_POINT_LIGHT_PARAMETERS(G, P, T)                                                                          \
    G("light")                                                                                                      \
    P(Float3, color, (Float3{1.0f, 0.5f, 0.1f}),                                                                    \
      colour("Colour and intensity of the light before the distance falloff.").soft(0, 10))                         \
    P(ParamBool, castShadows, true, toggle("Asks the host for a shadow factor; off, the light is never shadowed.")) \
    P(float, range, 10000.0f, distance("Points farther than this are not lit at all.").soft(0, 10000))              \
    P(Float3, attenuationFactors, (Float3{1.0f, 0.0f, 0.0f}),                                                       \
      vec("Falloff 1 - (distance / x)^y, clamped to 0-1: x the distance where the light reaches black, y the "      \
          "exponent (the default 0 makes the light black everywhere); z is not used."))

struct PointLightParams {
    KS_BLOCK_MEMBERS(KS_POINT_LIGHT_PARAMETERS)
};

inline constexpr ClassDoc kPointLightDoc{
    "An omnidirectional light with a range and a power-law distance falloff.",
    "Lights every point within its range from the host's light position with its colour times a falloff "
    "that reaches black at attenuationFactors.x scene units; shadows come from the host's shadow rays.",
    "Set attenuationFactors: at the default (1, 0, 0) the falloff is 0 everywhere and the light is black. "
    "(20, 2, 0) lights a scene 20 units across.",
};

class znPointLight final : public ParameterizedShader<LightShader, PointLightParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
