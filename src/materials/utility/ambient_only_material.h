// kestrel_Mtl_AmbientOnly: a diagnostic material that paints a surface in the grey of its
// ambient occlusion and nothing else; white unless showAmbientOnly is set.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

// Only the leading ambient-occlusion and masking inputs; the masking ones are declared and
// copied but never evaluated here.
struct AmbientOnlyParams {
    CommonMaterialInputs common;
};

inline constexpr ClassDoc kAmbientOnlyDoc{
    "A diagnostic material that paints a surface in the grey of its ambient occlusion.",
    "White unless showAmbientOnly is set; then the smallest channel of the occlusion colour, from the "
    "precalculated source of ambientOcclusionMode or (with usingRaytracedAO) from the host. No lights, "
    "reflections or transparency.",
    "Set showAmbientOnly, and usingRaytracedAO (or usePrecalcAO with ambientOcclusionMode 1 or 2): at its "
    "defaults it is plain white.",
};

class kestrel_Mtl_AmbientOnly final : public ParameterizedShader<MaterialShader, AmbientOnlyParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
