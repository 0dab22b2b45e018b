// kestrel_Mtl_NormalsOnly: a diagnostic material whose signal colours tell front faces from
// back faces (blue and yellow by default), shaded by the viewing angle.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct NormalsOnlyParams {
    bool reverseNormal = false;  // swaps the front and back colours
    bool faceForward = false;    // everything green
    bool faceLight = false;      // everything olive
};

class kestrel_Mtl_NormalsOnly final : public ParameterizedShader<MaterialShader, NormalsOnlyParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
