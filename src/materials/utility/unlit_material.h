// kestrel_Mtl_Unlit: a flat colour seen by camera rays only; invisible to every other ray and
// never casting a shadow.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct UnlitParams {
    Float3 diffuseColor{1.0f, 1.0f, 0.0f};
};

class kestrel_Mtl_Unlit final : public ParameterizedShader<MaterialShader, UnlitParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
