// BackgroundGeometry: the material of a surface that stands for the backdrop itself (a ground or
// a dome carrying the background picture). Camera rays see its graded texture, darkened where
// objects cast shadows onto its upward-facing parts; reflection-type rays may see an overriding
// lat-long image instead; continuation rays pass straight through it.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

#define KS_BACKGROUND_GEOMETRY_PARAMETERS(G, P, T)                                                                   \
    G("diffuse")                                                                                                     \
    P(Float3, diffuseColor, (Float3{1.0f, 1.0f, 1.0f}), colour("Backdrop colour of diffuse mode 0."))                \
    T(Texture, diffuseTexture, "Backdrop picture of diffuse modes 1 to 5; its alpha below 1 lets what lies "         \
      "behind show through.")                                                                                        \
    P(int32_t, diffuseMode, 0,                                                                                       \
      mode("Source of the backdrop colour.",                                                                         \
          "-1 none (black, opaque); 0 constant colour; 1 texture at uv through the uv matrix; 2 planar "             \
          "projection; 3 box projection; 4 cylindrical projection; 5 spherical projection"))                         \
    P(Float4x4, diffuseTextureMatrix, Float4x4::identity(),                                                          \
      matrix("Object space to projection space for diffuse modes 2 to 5 (row vectors)."))                            \
    P(float, diffuseAngularRepeat, 1.0f,                                                                             \
      scalar("Repeats of the cylindrical projection around its axis.").soft(1, 8))                                   \
    P(Float3x3, diffuseUVMatrix, Float3x3::identity(),                                                               \
      matrix("Transform of uv in diffuse mode 1 (row vectors, translation in the third row)."))                      \
    P(Float3, diffuseIBLGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                                       \
      colour("Declared for compatibility; not read by this class."))                                                 \
    P(Float3, diffuseIBLContrastPivot, (Float3{1.0f, 1.0f, 1.0f}),                                                   \
      colour("Declared for compatibility; not read by this class."))                                                 \
    P(float, diffuseIBLContrastValue, 1.0f, amount("Declared for compatibility; not read by this class."))           \
    P(int32_t, diffuseIBLGainSource, 0,                                                                              \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                    \
    G("specular")                                                                                                    \
    P(Float3, specularColor, (Float3{0.5f, 0.5f, 0.5f}),                                                             \
      colour("Specular constant, read only when bumpMode is not -1 (which turns the backdrop black)."))              \
    T(Texture, specularTexture, "Specular texture, read only when bumpMode is not -1.")                              \
    P(int32_t, specularMode, 0,                                                                                      \
      mode("Source of the specular colour (only read when bumpMode is not -1).",                                     \
          "-1 none (black, opaque); 0 constant colour; 1 texture at uv through the uv matrix; 2 planar "             \
          "projection; 3 box projection; 4 cylindrical projection; 5 spherical projection"))                         \
    P(Float4x4, specularTextureMatrix, Float4x4::identity(), matrix("Projection of the specular channel."))          \
    P(float, specularAngularRepeat, 1.0f, scalar("Repeats of the specular cylindrical projection.").soft(1, 8))      \
    P(Float3x3, specularUVMatrix, Float3x3::identity(), matrix("Transform of uv in specular mode 1."))               \
    P(Float3, specularIBLGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                                      \
      colour("Declared for compatibility; not read by this class."))                                                 \
    P(Float3, specularIBLContrastPivot, (Float3{1.0f, 1.0f, 1.0f}),                                                  \
      colour("Declared for compatibility; not read by this class."))                                                 \
    P(float, specularIBLContrastValue, 1.0f, amount("Declared for compatibility; not read by this class."))          \
    P(int32_t, specularIBLGainSource, 0,                                                                             \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                    \
    G("bump")                                                                                                        \
    P(int32_t, bumpMode, -1,                                                                                         \
      mode("Keep at -1: any other mode evaluates the bump and specular channels and renders the backdrop black.",    \
          "-1 none, the backdrop shows its diffuse colour; 0 to 5 black backdrop"))                                  \
    T(Texture, bumpTexture, "Bump texture, evaluated but unused when bumpMode is not -1.")                           \
    P(Float4x4, bumpTextureMatrix, Float4x4::identity(), matrix("Projection of the bump channel."))                  \
    P(Float4x4, bumpTextureMatrixInverse, Float4x4::identity(),                                                      \
      matrix("Declared for compatibility; not read by this class."))                                                 \
    P(float, bumpAngularRepeat, 1.0f, scalar("Repeats of the bump cylindrical projection.").soft(1, 8))              \
    P(float, bumpScale, 1.0f, amount("Declared with the bump channel; it does not change the result."))              \
    P(Float3x3, bumpUVMatrix, Float3x3::identity(), matrix("Transform of uv in bump mode 1."))                       \
    G("shadow")                                                                                                      \
    P(Float3, shadowColor, (Float3{0.0f, 0.0f, 0.0f}),                                                               \
      colour("Colour that shadows and occlusion on upward-facing parts tint towards."))                              \
    P(float, shadowIntensity, 1.0f, weight("How far full shadow moves towards shadowColor."))                        \
    P(float, receiveShadow, 1.0f,                                                                                    \
      toggle("0 turns shadows and occlusion off; any other value catches them on parts facing up (normal z above "   \
          "0.9)."))                                                                                                  \
    P(ParamBool, draw_mere_shadow, false,                                                                            \
      toggle("Alpha becomes a shadow mask: 1 where the shadow factor is darker than 0.7, 0 elsewhere."))             \
    G("reflection")                                                                                                  \
    P(ParamBool, useOverriddenReflection, true,                                                                      \
      toggle("Reflection-type rays see reflectLatlong instead of the backdrop."))                                    \
    T(Texture, reflectLatlong, "Lat-long image that reflection rays see when useOverriddenReflection is set "        \
      "(black when unbound).")                                                                                       \
    G("grading")                                                                                                     \
    P(Float3, diffuseTextureGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                                   \
      colour("Gain colour of the backdrop when diffuseTextureGainSource is 1 (tints its grey)."))                    \
    P(int32_t, diffuseTextureGainSource, 0,                                                                          \
      mode("Which backdrop gain applies.",                                                                           \
          "0 diffuseTextureGainValue (any value but 1); 1 diffuseTextureGainColor times the grey"))                  \
    P(float, diffuseTextureGainValue, 1.0f,                                                                          \
      amount("Brightness gain of the backdrop when diffuseTextureGainSource is not 1.").soft(0, 4))                  \
    P(float, diffuseTextureSatValue, 1.0f,                                                                           \
      amount("Saturation of the backdrop (times globalIBLSatValue): 0 grey, 1 unchanged.").soft(0, 2))               \
    P(Float3, globalIBLContrastPivot, (Float3{1.0f, 1.0f, 1.0f}), colour("Pivot of the contrast step per channel.")) \
    P(float, globalIBLContrastValue, 1.0f,                                                                           \
      amount("Contrast: each channel becomes x c + (1 - c) pivot; 1 leaves it unchanged.").soft(0, 2))               \
    P(Float3, globalIBLGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                                        \
      colour("Gain colour when globalIBLGainSource is 1 (tints the grey)."))                                         \
    P(float, globalIBLSatValue, 1.0f,                                                                                \
      amount("Saturation (times diffuseTextureSatValue): 0 grey, 1 unchanged.").soft(0, 2))                          \
    P(int32_t, globalIBLGainSource, 0,                                                                               \
      mode("Which global gain applies.",                                                                             \
          "0 globalIBLGainValue (any value but 1); 1 globalIBLGainColor times the grey"))                            \
    P(float, globalIBLGainValue, 1.0f,                                                                               \
      amount("Brightness gain of the backdrop (source 0) and of the reflection override.").soft(0, 4))               \
    G("reflection")                                                                                                  \
    P(Float3x3, globalIBLMatrix, Float3x3::identity(),                                                               \
      matrix("Rotation of reflection-ray directions before the lat-long lookup of reflectLatlong."))                 \
    G("unused")                                                                                                      \
    P(Float3, reflectIBLChannelGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                                \
      colour("Declared for compatibility; not read by this class."))                                                 \
    P(int32_t, reflectIBLChannelGainSource, 0,                                                                       \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                    \
    P(float, reflectIBLChannelGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))        \
    P(float, reflectIBLChannelSatValue, 1.0f, amount("Declared for compatibility; not read by this class."))         \
    P(float, diffuseIBLGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))               \
    P(float, specularIBLGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))

struct BackgroundGeometryParams {
    KS_BLOCK_MEMBERS(KS_BACKGROUND_GEOMETRY_PARAMETERS)
};

inline constexpr ClassDoc kBackgroundGeometryDoc{
    "The surface that stands for the backdrop: a ground or dome carrying the background picture, catching the "
    "scene's shadows.",
    "Camera rays see its graded diffuse picture, darkened where objects cast shadows onto its upward-facing "
    "parts; reflection-type rays see reflectLatlong instead; continuation rays pass straight through; back faces "
    "are invisible.",
    "Nothing: white at its defaults, seen from the front; keep bumpMode at -1. Reflections of it are black until "
    "reflectLatlong is bound or useOverriddenReflection is cleared.",
};

class BackgroundGeometry final : public ParameterizedShader<MaterialShader, BackgroundGeometryParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
