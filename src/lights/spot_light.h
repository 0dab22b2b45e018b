// znSpotLight: a cone light with a smooth penumbra, distance falloff and an off-axis exponent.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct SpotLightParams {
    Float3 color{0.1f, 1.0f, 0.5f};
    float range = 10000.0f;
    Float3 attenuationFactors{1.0f, 0.0f, 0.0f};  // reference distance, distance exponent, off-axis exponent
    ParamBool castShadows = true;
    float cosPenumbra = 0.9f;  // outer cone: nothing is lit beyond it
    float cosUmbra = 0.95f;    // inner cone: full strength within it
};

class znSpotLight final : public ParameterizedShader<LightShader, SpotLightParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
