// kestrel_Mtl_ShadowPlane: an invisible shadow catcher. It shows only the shadows and ambient
// occlusion that fall on it by darkening whatever lies behind it, and lets every ray through.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct ShadowPlaneParams {
    Float3 shadowColor{0.0f, 0.0f, 0.0f};  // what full shadow and full occlusion tint towards
    float shadowIntensity = 0.7f;          // how far full shadow moves towards shadowColor
    float receiveShadow = 1.0f;            // 0: the plane contributes nothing
    ParamBool draw_mere_shadow = false;         // alpha becomes a hard shadow mask
};

class kestrel_Mtl_ShadowPlane final : public ParameterizedShader<MaterialShader, ShadowPlaneParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
