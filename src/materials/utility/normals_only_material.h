// kestrel_Mtl_NormalsOnly: a diagnostic material whose signal colours tell front faces from
// back faces (blue and yellow by default), shaded by the viewing angle.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct NormalsOnlyParams {
    ParamBool reverseNormal = false;  // swaps the front and back colours
    ParamBool faceForward = false;    // everything green
    ParamBool faceLight = false;      // everything olive
};

class kestrel_Mtl_NormalsOnly final : public ParameterizedShader<MaterialShader, NormalsOnlyParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
