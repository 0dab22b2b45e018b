// kestrel_Mtl_NormalsOnly: a diagnostic material whose signal colours tell front faces from
// back faces (blue and yellow by default), shaded by the viewing angle.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

#define KS_NORMALS_ONLY_PARAMETERS(G, P, T)                                                         \
    G("preview")                                                                                    \
    P(ParamBool, reverseNormal, false, toggle("Swaps the front (blue) and back (yellow) colours.")) \
    P(ParamBool, faceForward, false, toggle("Paints everything green, whatever the side."))         \
    P(ParamBool, faceLight, false, toggle("Paints everything olive (unless faceForward is set)."))

struct NormalsOnlyParams {
    KS_BLOCK_MEMBERS(KS_NORMALS_ONLY_PARAMETERS)
};

inline constexpr ClassDoc kNormalsOnlyDoc{
    "A diagnostic material whose colours tell front faces (blue) from back faces (yellow).",
    "Signal colours chosen by faceForward, then faceLight, then the side of the surface against reverseNormal, "
    "shaded by the absolute cosine to the view; alpha 1.",
    "Nothing: visible at its defaults.",
};

class kestrel_Mtl_NormalsOnly final : public ParameterizedShader<MaterialShader, NormalsOnlyParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
