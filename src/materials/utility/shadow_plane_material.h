// kestrel_Mtl_ShadowPlane: an invisible shadow catcher. It shows only the shadows and ambient
// occlusion that fall on it by darkening whatever lies behind it, and lets every ray through.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

#define KS_SHADOW_PLANE_PARAMETERS(G, P, T)                                                                         \
    G("shadow")                                                                                                     \
    P(Float3, shadowColor, (Float3{0.0f, 0.0f, 0.0f}),                                                              \
      colour("Colour that full shadow and full occlusion tint what lies behind towards."))                          \
    P(float, shadowIntensity, 0.7f,                                                                                 \
      weight("How far full shadow moves towards shadowColor: 0 no shadow, 1 all the way."))                         \
    P(float, receiveShadow, 1.0f, toggle("0 makes the plane contribute nothing; any other value catches shadows.")) \
    P(ParamBool, draw_mere_shadow, false,                                                                           \
      toggle("Alpha becomes a hard mask: 1 where the shadow factor is darker than 0.7, 0 elsewhere."))

struct ShadowPlaneParams {
    KS_BLOCK_MEMBERS(KS_SHADOW_PLANE_PARAMETERS)
};

inline constexpr ClassDoc kShadowPlaneDoc{
    "An invisible shadow catcher: shows only the shadows and occlusion that fall on it.",
    "Darkens whatever lies behind it by the lights it does not see and its ambient occlusion, tinted towards "
    "shadowColor; every ray passes through, shadow rays of type 16 are blocked.",
    "Lights that cast shadows onto it, or occluding geometry nearby: with nothing blocked the plane contributes "
    "nothing.",
};

class kestrel_Mtl_ShadowPlane final : public ParameterizedShader<MaterialShader, ShadowPlaneParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
