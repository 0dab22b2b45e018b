// kestrel_Mtl_Solid: a preview material in a fixed tone chosen by the patch state, shaded by
// the viewing angle only. It ignores lights, textures and the side of the surface.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct SolidParams {
    ParamBool reverseNormal = false;  // declared for compatibility; the absolute cosine makes it moot
    ParamBool faceForward = false;    // likewise
    int32_t patchState = 0;      // 0 and 1 mauve, 2 light grey, anything else black
};

class kestrel_Mtl_Solid final : public ParameterizedShader<MaterialShader, SolidParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
