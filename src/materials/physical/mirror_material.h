// kestrel_Mtl_Mirror: a perfect mirror. Its colour is what the reflected ray sees, weighted by a
// fixed Fresnel curve and a tint; the host's path tracer gets the single mirror direction.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

#define KS_MIRROR_PARAMETERS(G, P, T)                  \
    G("reflection")                                    \
    P(Float3, u_tintColor, (Float3{0.0f, 0.0f, 0.0f}), \
      colour("Reflectance colour of the mirror; black (the default) reflects nothing."))

struct MirrorParams {
    CommonMaterialInputs common;  // the occlusion members are declared and copied, never evaluated
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    KS_BLOCK_MEMBERS(KS_MIRROR_PARAMETERS)
    CommonTint tint;
};

inline constexpr ClassDoc kMirrorDoc{
    "A perfect mirror: what the reflected ray sees, weighted by a fixed Fresnel curve and a tint.",
    "Reflects the traced mirror ray times u_tintColor and a Fresnel curve from 0.92 head-on to 1 at grazing; "
    "paths continue along the single mirror direction. Shadow rays see it as opaque; the occlusion inputs are "
    "declared but not used.",
    "Set u_tintColor: at its default of black the mirror reflects nothing. Something must be there to reflect "
    "(an environment image or other objects).",
};

class kestrel_Mtl_Mirror final : public ParameterizedShader<MaterialShader, MirrorParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
