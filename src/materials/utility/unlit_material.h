// kestrel_Mtl_Unlit: a flat colour seen by camera rays only; invisible to every other ray and
// never casting a shadow.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

#define KS_UNLIT_PARAMETERS(G, P, T) \
    G("colour")                      \
    P(Float3, diffuseColor, (Float3{1.0f, 1.0f, 0.0f}), colour("Flat colour seen by camera rays."))

struct UnlitParams {
    KS_BLOCK_MEMBERS(KS_UNLIT_PARAMETERS)
};

inline constexpr ClassDoc kUnlitDoc{
    "A flat colour seen by camera rays only.",
    "Camera rays see diffuseColor unlit; every other ray passes as if the surface were not there, and it never "
    "casts a shadow.",
    "Nothing: visible (yellow) at its defaults, to camera rays only; reflections and refractions do not see it.",
};

class kestrel_Mtl_Unlit final : public ParameterizedShader<MaterialShader, UnlitParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
