// kestrel_Env_Default: answers rays that leave the scene with a flat background colour (camera
// rays) or a graded lat-long environment image (reflection-type rays), and opaque black for
// environment probes.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct DefaultEnvironmentParams {
    Float3 IBLLuminanceFactors{0.2125f, 0.7154f, 0.0721f};
    Float3x3 globalIBLMatrix = Float3x3::identity();  // the host sets it; identity until then
    Float2 reflectIBLContrast{0.5f, 1.0f};            // (pivot, contrast)
    int32_t reflectIBLGainMode = 0;
    Float3 reflectIBLGain{1.0f, 1.0f, 1.0f};
    float reflectIBLSaturation = 1.0f;
    Float3 backgroundColor{0.0f, 0.5f, 0.7f};
    TextureHandle reflectionLatlong;
    ParamBool u_hasLightRepresentation = false;  // declared and copied, not read
    ParamBool useBackgroundGeometry = false;     // the backdrop is drawn by a background surface
};

class kestrel_Env_Default final : public ParameterizedShader<EnvironmentShader, DefaultEnvironmentParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
