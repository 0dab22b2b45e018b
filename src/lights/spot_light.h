// znSpotLight: a cone light with a smooth penumbra, distance falloff and an off-axis exponent.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

#define KS_SPOT_LIGHT_PARAMETERS(G, P, T)                                                                           \
    G("light")                                                                                                      \
    P(Float3, color, (Float3{0.1f, 1.0f, 0.5f}),                                                                    \
      colour("Colour and intensity of the light before the cone and distance falloff.").soft(0, 10))                \
    P(float, range, 10000.0f, distance("Points farther than this are not lit at all.").soft(0, 10000))              \
    P(Float3, attenuationFactors, (Float3{1.0f, 0.0f, 0.0f}),                                                       \
      vec("x, y: distance falloff 1 - (distance / x)^y clamped to 0-1, black from x on (y = 0 is black "            \
          "everywhere); z: exponent of the cosine to the axis, narrowing the beam."))                               \
    P(ParamBool, castShadows, true, toggle("Asks the host for a shadow factor; off, the light is never shadowed.")) \
    G("cone")                                                                                                       \
    P(float, cosPenumbra, 0.9f, cosine("Cosine of the outer cone angle: beyond it nothing is lit."))                \
    P(float, cosUmbra, 0.95f,                                                                                       \
      cosine("Cosine of the inner cone angle: full strength within it, a smooth step out to the outer cone."))

struct SpotLightParams {
    KS_BLOCK_MEMBERS(KS_SPOT_LIGHT_PARAMETERS)
};

inline constexpr ClassDoc kSpotLightDoc{
    "A cone light with a smooth penumbra, distance falloff and an off-axis exponent.",
    "Lights points inside the cone around the host's light axis: full strength within cosUmbra, a smooth "
    "step to black at cosPenumbra, times a distance falloff and a power of the cosine to the axis.",
    "Set attenuationFactors (at the default (1, 0, 0) the light is black everywhere), e.g. (20, 2, 0), and "
    "aim the host's light axis at the subject.",
};

class znSpotLight final : public ParameterizedShader<LightShader, SpotLightParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
