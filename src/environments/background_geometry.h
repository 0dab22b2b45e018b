// BackgroundGeometry: the material of a surface that stands for the backdrop itself (a ground or
// a dome carrying the background picture). Camera rays see its graded texture, darkened where
// objects cast shadows onto its upward-facing parts; reflection-type rays may see an overriding
// lat-long image instead; continuation rays pass straight through it.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct BackgroundGeometryParams {
    Float3 diffuseColor{1.0f, 1.0f, 1.0f};
    TextureHandle diffuseTexture;
    int32_t diffuseMode = 0;
    Float4x4 diffuseTextureMatrix = Float4x4::identity();
    float diffuseAngularRepeat = 1.0f;
    Float3x3 diffuseUVMatrix = Float3x3::identity();
    Float3 diffuseIBLGainColor{1.0f, 1.0f, 1.0f};       // declared and copied, not read
    Float3 diffuseIBLContrastPivot{1.0f, 1.0f, 1.0f};   // likewise
    float diffuseIBLContrastValue = 1.0f;               // likewise
    int32_t diffuseIBLGainSource = 0;                   // likewise
    Float3 specularColor{0.5f, 0.5f, 0.5f};
    TextureHandle specularTexture;
    int32_t specularMode = 0;
    Float4x4 specularTextureMatrix = Float4x4::identity();
    float specularAngularRepeat = 1.0f;
    Float3x3 specularUVMatrix = Float3x3::identity();
    Float3 specularIBLGainColor{1.0f, 1.0f, 1.0f};      // declared and copied, not read
    Float3 specularIBLContrastPivot{1.0f, 1.0f, 1.0f};  // likewise
    float specularIBLContrastValue = 1.0f;              // likewise
    int32_t specularIBLGainSource = 0;                  // likewise
    int32_t bumpMode = -1;
    TextureHandle bumpTexture;
    Float4x4 bumpTextureMatrix = Float4x4::identity();
    Float4x4 bumpTextureMatrixInverse = Float4x4::identity();  // declared and copied, not read
    float bumpAngularRepeat = 1.0f;
    float bumpScale = 1.0f;
    Float3x3 bumpUVMatrix = Float3x3::identity();
    Float3 shadowColor{0.0f, 0.0f, 0.0f};
    float shadowIntensity = 1.0f;
    float receiveShadow = 1.0f;  // a switch: 0 is off
    ParamBool draw_mere_shadow = false;
    ParamBool useOverriddenReflection = true;
    TextureHandle reflectLatlong;
    Float3 diffuseTextureGainColor{1.0f, 1.0f, 1.0f};
    int32_t diffuseTextureGainSource = 0;
    float diffuseTextureGainValue = 1.0f;
    float diffuseTextureSatValue = 1.0f;
    Float3 globalIBLContrastPivot{1.0f, 1.0f, 1.0f};
    float globalIBLContrastValue = 1.0f;
    Float3 globalIBLGainColor{1.0f, 1.0f, 1.0f};
    float globalIBLSatValue = 1.0f;
    int32_t globalIBLGainSource = 0;
    float globalIBLGainValue = 1.0f;
    Float3x3 globalIBLMatrix = Float3x3::identity();
    Float3 reflectIBLChannelGainColor{1.0f, 1.0f, 1.0f};  // declared and copied, not read
    int32_t reflectIBLChannelGainSource = 0;              // likewise
    float reflectIBLChannelGainValue = 1.0f;              // likewise
    float reflectIBLChannelSatValue = 1.0f;               // likewise
    float diffuseIBLGainValue = 1.0f;                     // likewise
    float specularIBLGainValue = 1.0f;                    // likewise
};

class BackgroundGeometry final : public ParameterizedShader<MaterialShader, BackgroundGeometryParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
