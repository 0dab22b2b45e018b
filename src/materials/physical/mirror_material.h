// kestrel_Mtl_Mirror: a perfect mirror. Its colour is what the reflected ray sees, weighted by a
// fixed Fresnel curve and a tint; the host's path tracer gets the single mirror direction.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

struct MirrorParams {
    CommonMaterialInputs common;  // the occlusion members are declared and copied, never evaluated
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    Float3 u_tintColor{0.0f, 0.0f, 0.0f};  // the mirror's reflectance: black reflects nothing
    CommonTint tint;
};

class kestrel_Mtl_Mirror final : public ParameterizedShader<MaterialShader, MirrorParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
