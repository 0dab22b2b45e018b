// kestrel_Mtl_MetallicPaint: two-layer car paint. A coloured Ward base coat with a reflectivity
// curve, a brightness response that shifts towards a second colour, optional flecks and a pearl
// sheen, under a clear glossy topcoat whose normal may carry an orange-peel ripple.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

struct MetallicPaintParams {
    CommonMaterialInputs common;
    KS_BLOCK_MEMBERS(KS_LATTICE_AO_INPUT)
    GlobalClipInputs clip;
    ParamBool u_topcoatEnable = false;
    int32_t u_pearl = 0;
    Float4 u_pearlColor{0.8f, 0.12f, 0.0f, 0.0f};
    float u_pearlIor = 0.2f;
    float u_pearlAmount = 0.5f;
    int32_t u_finish = 0;  // 1: orange peel on the topcoat
    float u_finishPeelamount = 0.5f;
    float u_baseHighlightSpread = 0.6f;
    ParamBool u_flecksEnable = false;
    Float4 u_flecksColor{1.0f, 1.0f, 1.0f, 1.0f};
    ParamBool u_baseMapEnable = false;
    TextureHandle u_baseMap;
    Float4 u_baseColor{1.0f, 1.0f, 1.0f, 1.0f};
    Float3x3 u_baseTransform = Float3x3::identity();
    Float3 u_shiftedColor{0.0f, 0.0f, 0.0f};
    float u_hueWeight = 0.0f;
    float u_baseBiasFactor = 0.0f;
    float u_baseRoughValue = 0.01f;
    float u_topcoatRoughValue = 0.01f;
    float u_baseCurvePower = 0.0f;
    float u_base00Reflectivity = 0.1f;
    float u_base90Reflectivity = 1.0f;
    float u_flecksSize = 0.05f;
    CommonTint tint;
    ParamBool reverseNormal = false;
    ParamBool faceForward = false;
};

class kestrel_Mtl_MetallicPaint final : public ParameterizedShader<MaterialShader, MetallicPaintParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
