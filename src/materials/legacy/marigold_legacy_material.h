// MarigoldLegacy: the all-in-one material of scenes made with the older generation of the
// renderer. One block carries a diffuse, a primary and a clear-coat highlight, a reflection with
// Fresnel falloff, transparency with refraction and absorption through a thin or a simulated
// thick surface, bump mapping, masking, ambient occlusion and a few display switches.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

// Channels (diffuse, specular, transparency, bump, masking) share one shape: a mode (-1 none,
// 0 constant, 1 uv, 2 planar, 3 box, 4 cylindrical), a constant, a texture, a projection matrix,
// an angular repeat and a uv matrix. The host writes the matrices; they start as identities.
struct MarigoldLegacyParams {
    // Shadow and display
    Float3 shadowColor{0.0f, 0.0f, 0.0f};
    float shadowIntensity = 1.0f;
    float receiveShadow = 1.0f;  // a switch: 0 is off
    ParamBool reverseNormal = false;
    ParamBool faceForward = false;
    ParamBool faceLight = false;
    ParamBool showNormalsOnly = false;
    ParamBool showAmbientOnly = false;
    // Diffuse channel
    Float3 diffuseColor{0.0f, 0.0f, 1.0f};
    int32_t diffuseMode = 0;
    TextureHandle diffuseTexture;
    Float4x4 diffuseTextureMatrix = Float4x4::identity();
    Float3 diffuseTextureTintColor{1.0f, 1.0f, 1.0f};
    float diffuseAngularRepeat = 1.0f;
    Float3x3 diffuseUVMatrix = Float3x3::identity();
    Float3 diffuseIBLGainColor{1.0f, 1.0f, 1.0f};      // declared and copied, not read
    Float3 diffuseIBLContrastPivot{1.0f, 1.0f, 1.0f};  // likewise
    float diffuseIBLContrastValue = 1.0f;              // likewise
    int32_t diffuseIBLGainSource = 0;                  // likewise
    float diffuseLightGainValue = 1.0f;
    // Specular channel and highlights: REG is (Fresnel base, roughness, unused)
    Float3 specularColor{0.5f, 0.5f, 0.5f};
    Float3 specularREG{0.66f, 0.33f, 1.0f};
    Float3 specular2REG{0.66f, 0.33f, 1.0f};
    int32_t specularMode = 0;
    TextureHandle specularTexture;
    Float4x4 specularTextureMatrix = Float4x4::identity();
    float specularAngularRepeat = 1.0f;
    Float3 specular2Color{0.5f, 0.5f, 0.5f};  // clear coat; black turns it off
    Float3x3 specularUVMatrix = Float3x3::identity();
    Float3 specularIBLGainColor{1.0f, 1.0f, 1.0f};      // declared and copied, not read
    Float3 specularIBLContrastPivot{1.0f, 1.0f, 1.0f};  // likewise
    float specularIBLContrastValue = 1.0f;              // likewise
    int32_t specularIBLGainSource = 0;                  // likewise
    float specularLightGainValue = 1.0f;
    float specular2LightGainValue = 1.0f;
    // Transparency channel
    Float3 transparencyColor{0.8f, 0.8f, 0.8f};
    int32_t transparencyMode = 0;
    TextureHandle transparencyTexture;
    Float4x4 transparencyTextureMatrix = Float4x4::identity();
    float transparencyAngularRepeat = 1.0f;
    ParamBool transparencyInvert = false;
    ParamBool transparencyFromDiffuse = false;  // the diffuse texture's alpha as transparency
    Float3x3 transparencyUVMatrix = Float3x3::identity();
    ParamBool transparencyBlocksHighlights = false;  // transparency cuts like a mask instead
    // Bump channel
    int32_t bumpMode = -1;
    TextureHandle bumpTexture;
    Float4x4 bumpTextureMatrix = Float4x4::identity();
    Float4x4 bumpTextureMatrixInverse = Float4x4::identity();  // its rows are the bump tangents
    float bumpAngularRepeat = 1.0f;
    float bumpDepth = 1.0f;
    Float3x3 bumpUVMatrix = Float3x3::identity();
    // Masking channel: (1, 1, 1) cuts the surface away
    Float3 maskingColor{0.0f, 0.0f, 0.0f};
    int32_t maskingMode = 0;
    TextureHandle maskingTexture;
    Float4x4 maskingTextureMatrix = Float4x4::identity();
    ParamBool maskingInvertTexture = false;
    float maskingAngularRepeat = 1.0f;
    Float3x3 maskingUVMatrix = Float3x3::identity();
    ParamBool maskingFromAlpha = false;
    // Reflection and refraction
    Float3 reflectivityColor{0.0f, 0.0f, 0.0f};
    ParamBool useUniformReflectivity = true;
    Float4 fresnel{0.0f, 0.0f, 0.0f, 0.0f};            // (base, scale, exponent, maximum)
    Float4 clearCoat_fresnel{0.0f, 0.0f, 0.0f, 0.0f};  // likewise
    int32_t reflectType = 0;  // 0 diffuse, 1 grey, other: the specular channel
    float reflectAbsorb = 0.0f;
    ParamBool reflectLight = false;
    Float3 reflectIBLGainColor{1.0f, 1.0f, 1.0f};  // declared and copied, not read
    int32_t reflectIBLGainSource = 0;              // likewise
    float reflectIBLGainValue = 1.0f;              // likewise
    TextureHandle reflectOverride;                 // a lat-long image seen instead of traced reflections
    ParamBool useReflectOverride = false;
    float surfaceRoughness = 0.0f;
    float refractiveIndex = 1.0f;
    float simulatedThickness = 0.0f;  // 0: a thin surface
    // Image-based lighting and grading
    int32_t IBLDiffMode = -1;
    int32_t IBLSpecMode = -1;
    float diffuseIBLGainValue = 1.0f;   // declared and copied, not read
    float specularIBLGainValue = 1.0f;  // likewise
    TextureHandle diffuseIBLCube;       // likewise
    TextureHandle specularIBLCube;      // likewise
    Float3 globalIBLContrastPivot{1.0f, 1.0f, 1.0f};
    float globalIBLContrastValue = 1.0f;
    Float3 globalIBLGainColor{1.0f, 1.0f, 1.0f};  // declared and copied, not read
    float globalIBLSatValue = 1.0f;
    int32_t globalIBLGainSource = 0;  // declared and copied, not read
    float globalIBLGainValue = 1.0f;  // likewise
    Float3x3 globalIBLMatrix = Float3x3::identity();
    // Per-channel grading: declared and copied; only reflectIBLChannelSatValue is read
    Float3 diffuseIBLChannelContrastPivot{1.0f, 1.0f, 1.0f};
    float diffuseIBLChannelContrastValue = 1.0f;
    Float3 diffuseIBLChannelGainColor{1.0f, 1.0f, 1.0f};
    int32_t diffuseIBLChannelGainSource = 0;
    float diffuseIBLChannelGainValue = 1.0f;
    float diffuseIBLChannelSatValue = 1.0f;
    Float3 specularIBLChannelContrastPivot{1.0f, 1.0f, 1.0f};
    float specularIBLChannelContrastValue = 1.0f;
    Float3 specularIBLChannelGainColor{1.0f, 1.0f, 1.0f};
    int32_t specularIBLChannelGainSource = 0;
    float specularIBLChannelGainValue = 1.0f;
    float specularIBLChannelSatValue = 1.0f;
    Float3 reflectIBLChannelContrastPivot{1.0f, 1.0f, 1.0f};
    float reflectIBLChannelContrastValue = 1.0f;
    Float3 reflectIBLChannelGainColor{1.0f, 1.0f, 1.0f};
    int32_t reflectIBLChannelGainSource = 0;
    float reflectIBLChannelGainValue = 1.0f;
    float reflectIBLChannelSatValue = 1.0f;
    // Ambient occlusion and miscellaneous
    TextureHandle ambientOcclusionTexture;
    int32_t ambientOcclusionMode = 0;  // with usePrecalcAO: 1 texture at uv1, 2 vertex colour
    float ambientOcclusionFactor = 1.0f;
    Float3 ambientOcclusionColor{0.0f, 0.0f, 0.0f};
    ParamBool usePrecalcAO = true;
    Float3 absorbanceRGB{-1.0f, -1.0f, -1.0f};  // per unit length; -1 absorbs everything
    ParamBool useAlpha = true;
    float globalIllumIntensity = 1.0f;  // declared and copied, not read
    ParamBool unlitSurface = false;
    ParamBool selfIlluminance = false;
    ParamBool usingHDRbuffer = false;  // declared and copied, not read
    ParamBool triplanarXY = false;     // box x face as (z, y) instead of (y, z)
    ParamBool draw_mere_shadow = false;
};

class MarigoldLegacy final : public ParameterizedShader<MaterialShader, MarigoldLegacyParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
