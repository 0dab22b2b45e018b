// znPointLight: an omnidirectional light with a range and a power-law distance falloff.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct PointLightParams {
    Float3 color{1.0f, 0.5f, 0.1f};
    ParamBool castShadows = true;
    float range = 10000.0f;
    Float3 attenuationFactors{1.0f, 0.0f, 0.0f};  // reference distance, distance exponent, (unused)
};

class znPointLight final : public ParameterizedShader<LightShader, PointLightParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
