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
#define KS_MARIGOLD_LEGACY_PARAMETERS(G, P, T)                                                                      \
    G("shadow and display")                                                                                         \
    P(Float3, shadowColor, (Float3{0.0f, 0.0f, 0.0f}), colour("Colour that shadowed diffuse light tints towards.")) \
    P(float, shadowIntensity, 1.0f, weight("How far shadowed diffuse light moves towards shadowColor."))            \
    P(float, receiveShadow, 1.0f,                                                                                   \
      toggle("0 ignores shadows (unshadowed light colours); any other value receives them."))                       \
    P(ParamBool, reverseNormal, false, toggle("Turns the normals round."))                                          \
    P(ParamBool, faceForward, false,                                                                                \
      toggle("Keeps the normals as they are on back faces (otherwise back faces turn them towards the ray)."))      \
    P(ParamBool, faceLight, false, toggle("Picks the green signal colour of showNormalsOnly."))                     \
    P(ParamBool, showNormalsOnly, false,                                                                            \
      toggle("Shows signal colours for the side of the surface instead of shading."))                               \
    P(ParamBool, showAmbientOnly, false, toggle("Shows the grey of the ambient occlusion instead of shading."))     \
    G("diffuse")                                                                                                    \
    P(Float3, diffuseColor, (Float3{0.0f, 0.0f, 1.0f}), colour("Diffuse colour of mode 0."))                        \
    P(int32_t, diffuseMode, 0,                                                                                      \
      mode("Source of the diffuse colour.",                                                                         \
          "-1 none (black); 0 constant colour; 1 texture at uv through the uv matrix; 2 planar projection; 3 box "  \
          "projection; 4 cylindrical projection"))                                                                  \
    T(Texture, diffuseTexture, "Diffuse texture of modes 1 to 4 (its alpha is the transparency with "               \
      "transparencyFromDiffuse).")                                                                                  \
    P(Float4x4, diffuseTextureMatrix, Float4x4::identity(),                                                         \
      matrix("Object space to projection space for diffuse modes 2 to 4 (row vectors)."))                           \
    P(Float3, diffuseTextureTintColor, (Float3{1.0f, 1.0f, 1.0f}), colour("Tint of the diffuse texture."))          \
    P(float, diffuseAngularRepeat, 1.0f,                                                                            \
      scalar("Repeats of the diffuse cylindrical projection around its axis.").soft(1, 8))                          \
    P(Float3x3, diffuseUVMatrix, Float3x3::identity(), matrix("Transform of uv in diffuse mode 1."))                \
    P(Float3, diffuseIBLGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                                      \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(Float3, diffuseIBLContrastPivot, (Float3{1.0f, 1.0f, 1.0f}),                                                  \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(float, diffuseIBLContrastValue, 1.0f, amount("Declared for compatibility; not read by this class."))          \
    P(int32_t, diffuseIBLGainSource, 0,                                                                             \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                   \
    P(float, diffuseLightGainValue, 1.0f,                                                                           \
      amount("Gain of the direct diffuse light in IBLDiffMode 0 and 1.").soft(0, 4))                                \
    G("specular")                                                                                                   \
    P(Float3, specularColor, (Float3{0.5f, 0.5f, 0.5f}),                                                            \
      colour("Specular colour of mode 0 (the reflection colour when reflectType is 2 or more)."))                   \
    P(Float3, specularREG, (Float3{0.66f, 0.33f, 1.0f}),                                                            \
      vec("Primary highlight: x its Fresnel base, y its roughness; z is not read.").soft(0, 1))                     \
    P(Float3, specular2REG, (Float3{0.66f, 0.33f, 1.0f}),                                                           \
      vec("Clear-coat highlight: x its Fresnel base, y its roughness; z is not read.").soft(0, 1))                  \
    P(int32_t, specularMode, 0,                                                                                     \
      mode("Source of the specular colour.",                                                                        \
          "-1 none (black); 0 constant colour; 1 texture at uv through the uv matrix; 2 planar projection; 3 box "  \
          "projection; 4 cylindrical projection"))                                                                  \
    T(Texture, specularTexture, "Specular texture of modes 1 to 4.")                                                \
    P(Float4x4, specularTextureMatrix, Float4x4::identity(), matrix("Projection of the specular channel."))         \
    P(float, specularAngularRepeat, 1.0f, scalar("Repeats of the specular cylindrical projection.").soft(1, 8))     \
    P(Float3, specular2Color, (Float3{0.5f, 0.5f, 0.5f}),                                                           \
      colour("Colour of the clear coat (its highlight and reflection); black switches it off."))                    \
    P(Float3x3, specularUVMatrix, Float3x3::identity(), matrix("Transform of uv in specular mode 1."))              \
    P(Float3, specularIBLGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                                     \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(Float3, specularIBLContrastPivot, (Float3{1.0f, 1.0f, 1.0f}),                                                 \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(float, specularIBLContrastValue, 1.0f, amount("Declared for compatibility; not read by this class."))         \
    P(int32_t, specularIBLGainSource, 0,                                                                            \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                   \
    P(float, specularLightGainValue, 1.0f,                                                                          \
      amount("Gain of the primary highlight from direct lights (IBLSpecMode 0 and 1).").soft(0, 4))                 \
    P(float, specular2LightGainValue, 1.0f,                                                                         \
      amount("Gain of the clear-coat highlight from direct lights.").soft(0, 4))                                    \
    G("transparency")                                                                                               \
    P(Float3, transparencyColor, (Float3{0.8f, 0.8f, 0.8f}),                                                        \
      colour("Transparency of mode 0 per channel: 0 opaque, 1 clear (0.8 by default: mostly see-through)."))        \
    P(int32_t, transparencyMode, 0,                                                                                 \
      mode("Source of the transparency.",                                                                           \
          "-1 none (black); 0 constant colour; 1 texture at uv through the uv matrix; 2 planar projection; 3 box "  \
          "projection; 4 cylindrical projection"))                                                                  \
    T(Texture, transparencyTexture, "Transparency texture of modes 1 to 4.")                                        \
    P(Float4x4, transparencyTextureMatrix, Float4x4::identity(), matrix("Projection of the transparency channel.")) \
    P(float, transparencyAngularRepeat, 1.0f,                                                                       \
      scalar("Repeats of the transparency cylindrical projection.").soft(1, 8))                                     \
    P(ParamBool, transparencyInvert, false, toggle("Inverts the transparency (1 - t)."))                            \
    P(ParamBool, transparencyFromDiffuse, false,                                                                    \
      toggle("Takes the transparency from the diffuse channel's texture alpha (opacity) instead."))                 \
    P(Float3x3, transparencyUVMatrix, Float3x3::identity(), matrix("Transform of uv in transparency mode 1."))      \
    P(ParamBool, transparencyBlocksHighlights, false,                                                               \
      toggle("Transparency cuts the surface like the mask, highlights included, instead of refracting."))           \
    G("bump")                                                                                                       \
    P(int32_t, bumpMode, -1,                                                                                        \
      mode("Source and frame of the bump (red and green tilt, blue height).",                                       \
          "-1 none; 0 constant; 1 texture at uv, tangents from the varyings; 2 planar projection; 3 box "           \
          "projection; 4 cylindrical projection"))                                                                  \
    T(Texture, bumpTexture, "Normal texture of the bump: red and green as 2c - 1 tilt, blue the height.")           \
    P(Float4x4, bumpTextureMatrix, Float4x4::identity(), matrix("Projection of the bump channel."))                 \
    P(Float4x4, bumpTextureMatrixInverse, Float4x4::identity(),                                                     \
      matrix("Its rows give the bump tangents of the projected modes."))                                            \
    P(float, bumpAngularRepeat, 1.0f, scalar("Repeats of the bump cylindrical projection.").soft(1, 8))             \
    P(float, bumpDepth, 1.0f, amount("Strength of the bump; 0 switches it off.").soft(0, 4))                        \
    P(Float3x3, bumpUVMatrix, Float3x3::identity(), matrix("Transform of uv in bump mode 1."))                      \
    G("masking")                                                                                                    \
    P(Float3, maskingColor, (Float3{0.0f, 0.0f, 0.0f}),                                                             \
      colour("Mask of mode 0 per channel: 0 keeps the surface, 1 cuts it away."))                                   \
    P(int32_t, maskingMode, 0,                                                                                      \
      mode("Source of the mask.",                                                                                   \
          "-1 none; 0 constant colour; 1 texture at uv through the uv matrix; 2 planar projection; 3 box "          \
          "projection; 4 cylindrical projection"))                                                                  \
    T(Texture, maskingTexture, "Mask texture of modes 1 to 4.")                                                     \
    P(Float4x4, maskingTextureMatrix, Float4x4::identity(),                                                         \
      matrix("Projection of the mask; in mode 2 points outside z -1 to 1 are cut away."))                           \
    P(ParamBool, maskingInvertTexture, false, toggle("Inverts the mask of modes 1 to 4."))                          \
    P(float, maskingAngularRepeat, 1.0f, scalar("Repeats of the mask cylindrical projection.").soft(1, 8))          \
    P(Float3x3, maskingUVMatrix, Float3x3::identity(), matrix("Transform of uv in mask mode 1."))                   \
    P(ParamBool, maskingFromAlpha, false, toggle("Takes the mask from the texel's alpha."))                         \
    G("reflection")                                                                                                 \
    P(Float3, reflectivityColor, (Float3{0.0f, 0.0f, 0.0f}),                                                        \
      colour("Reflectivity with useUniformReflectivity (black: no reflection)."))                                   \
    P(ParamBool, useUniformReflectivity, true,                                                                      \
      toggle("Uses reflectivityColor at every angle instead of the fresnel curve."))                                \
    P(Float4, fresnel, (Float4{0.0f, 0.0f, 0.0f, 0.0f}),                                                            \
      vec("(base, scale, exponent, maximum) of the reflectivity curve (1 + c)^exponent x scale + base, capped "     \
          "and clamped to 0-1."))                                                                                   \
    P(Float4, clearCoat_fresnel, (Float4{0.0f, 0.0f, 0.0f, 0.0f}),                                                  \
      vec("(base, scale, exponent, maximum) of the clear-coat curve, capped but not clamped."))                     \
    P(int32_t, reflectType, 0,                                                                                      \
      mode("Colour of the reflection and primary highlight.",                                                       \
          "0 diffuse colour times 1 - reflectAbsorb; 1 grey 1 - reflectAbsorb; 2 specular channel (any other "      \
          "value)"))                                                                                                \
    P(float, reflectAbsorb, 0.0f, weight("How much of the reflection colour is absorbed in reflectType 0 and 1."))  \
    P(ParamBool, reflectLight, false,                                                                               \
      toggle("Lets reflection take its share from the diffuse and transmitted light (energy split)."))              \
    P(Float3, reflectIBLGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                                      \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(int32_t, reflectIBLGainSource, 0,                                                                             \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                   \
    P(float, reflectIBLGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))              \
    T(Texture, reflectOverride, "Lat-long image seen by reflections with useReflectOverride instead of traced "     \
      "rays.")                                                                                                      \
    P(ParamBool, useReflectOverride, false, toggle("Reflections look reflectOverride up instead of tracing."))      \
    P(float, surfaceRoughness, 0.0f,                                                                                \
      weight("Glossiness handed to the host's traced reflection and refraction.").soft(0, 0.5f))                    \
    P(float, refractiveIndex, 1.0f, ior("Index of refraction of transmitted light (1: straight through)."))         \
    P(float, simulatedThickness, 0.0f,                                                                              \
      distance("Thickness of a simulated slab: transmitted rays leave offset by it (0: a thin surface).")           \
          .soft(0, 1))                                                                                              \
    G("lighting")                                                                                                   \
    P(int32_t, IBLDiffMode, -1,                                                                                     \
      mode("Which diffuse terms are summed.",                                                                       \
          "-1 host indirect light only, not times the diffuse colour (any value but 0 to 2); 0 indirect, direct "   \
          "and ambient; 1 indirect and direct; 2 indirect and ambient"))                                            \
    P(int32_t, IBLSpecMode, -1,                                                                                     \
      mode("Which highlights lights of kind 1 add (other lights always add both).",                                 \
          "-1 clear-coat highlight only (any value but 0 to 2); 0 both highlights; 1 both highlights; 2 neither "   \
          "highlight"))                                                                                             \
    P(float, diffuseIBLGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))              \
    P(float, specularIBLGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))             \
    T(CubeTexture, diffuseIBLCube, "Declared for compatibility; not read by this class.")                           \
    T(CubeTexture, specularIBLCube, "Declared for compatibility; not read by this class.")                          \
    G("reflection grading")                                                                                         \
    P(Float3, globalIBLContrastPivot, (Float3{1.0f, 1.0f, 1.0f}),                                                   \
      colour("Pivot of the contrast of the reflection."))                                                           \
    P(float, globalIBLContrastValue, 1.0f,                                                                          \
      amount("Contrast of the reflection, and the weight of its traced ray.").soft(0, 2))                           \
    P(Float3, globalIBLGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                                       \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(float, globalIBLSatValue, 1.0f,                                                                               \
      amount("Saturation of the reflection (times reflectIBLChannelSatValue).").soft(0, 2))                         \
    P(int32_t, globalIBLGainSource, 0,                                                                              \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                   \
    P(float, globalIBLGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))               \
    P(Float3x3, globalIBLMatrix, Float3x3::identity(),                                                              \
      matrix("Rotation of reflection directions before the lookup of reflectOverride."))                            \
    G("unused grading")                                                                                             \
    P(Float3, diffuseIBLChannelContrastPivot, (Float3{1.0f, 1.0f, 1.0f}),                                           \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(float, diffuseIBLChannelContrastValue, 1.0f, amount("Declared for compatibility; not read by this class."))   \
    P(Float3, diffuseIBLChannelGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                               \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(int32_t, diffuseIBLChannelGainSource, 0,                                                                      \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                   \
    P(float, diffuseIBLChannelGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))       \
    P(float, diffuseIBLChannelSatValue, 1.0f, amount("Declared for compatibility; not read by this class."))        \
    P(Float3, specularIBLChannelContrastPivot, (Float3{1.0f, 1.0f, 1.0f}),                                          \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(float, specularIBLChannelContrastValue, 1.0f, amount("Declared for compatibility; not read by this class."))  \
    P(Float3, specularIBLChannelGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                              \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(int32_t, specularIBLChannelGainSource, 0,                                                                     \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                   \
    P(float, specularIBLChannelGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))      \
    P(float, specularIBLChannelSatValue, 1.0f, amount("Declared for compatibility; not read by this class."))       \
    P(Float3, reflectIBLChannelContrastPivot, (Float3{1.0f, 1.0f, 1.0f}),                                           \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(float, reflectIBLChannelContrastValue, 1.0f, amount("Declared for compatibility; not read by this class."))   \
    P(Float3, reflectIBLChannelGainColor, (Float3{1.0f, 1.0f, 1.0f}),                                               \
      colour("Declared for compatibility; not read by this class."))                                                \
    P(int32_t, reflectIBLChannelGainSource, 0,                                                                      \
      mode("Declared for compatibility; not read by this class.", "0 gain value; 1 gain colour"))                   \
    P(float, reflectIBLChannelGainValue, 1.0f, amount("Declared for compatibility; not read by this class."))       \
    G("reflection grading")                                                                                         \
    P(float, reflectIBLChannelSatValue, 1.0f,                                                                       \
      amount("Saturation of the reflection (times globalIBLSatValue).").soft(0, 2))                                 \
    G("ambient occlusion")                                                                                          \
    T(Texture, ambientOcclusionTexture, "Precalculated occlusion in the red channel at uv1 (mode 1 with "           \
      "usePrecalcAO).")                                                                                             \
    P(int32_t, ambientOcclusionMode, 0,                                                                             \
      mode("Where occlusion comes from; modes 1 and 2 only with usePrecalcAO.",                                     \
          "0 traced by the host (any value but 1 and 2); 1 red of ambientOcclusionTexture at uv1; 2 red of the "    \
          "vertex colour"))                                                                                         \
    P(float, ambientOcclusionFactor, 1.0f, weight("Strength of the occlusion."))                                    \
    P(Float3, ambientOcclusionColor, (Float3{0.0f, 0.0f, 0.0f}), colour("Colour that full occlusion fades to."))    \
    P(ParamBool, usePrecalcAO, true, toggle("Lets modes 1 and 2 read precalculated occlusion."))                    \
    G("transparency")                                                                                               \
    P(Float3, absorbanceRGB, (Float3{-1.0f, -1.0f, -1.0f}),                                                         \
      vec("Absorption per unit length of transmitted light per channel; -1 absorbs everything (the default).")      \
          .hard(-1, inf).soft(0, 4))                                                                                \
    P(ParamBool, useAlpha, true, toggle("Writes coverage (transparency, reflection, mask) into the alpha."))        \
    P(float, globalIllumIntensity, 1.0f, amount("Declared for compatibility; not read by this class."))             \
    G("lighting")                                                                                                   \
    P(ParamBool, unlitSurface, false, toggle("Ignores direct lights."))                                             \
    P(ParamBool, selfIlluminance, false, toggle("Adds the full diffuse colour as if lit by white light."))          \
    P(ParamBool, usingHDRbuffer, false, toggle("Declared for compatibility; not read by this class."))              \
    G("masking")                                                                                                    \
    P(ParamBool, triplanarXY, false, toggle("Box projections read the x face as (z, y) instead of (y, z)."))        \
    G("shadow and display")                                                                                         \
    P(ParamBool, draw_mere_shadow, false, toggle("Makes the material draw nothing (every sample is dropped)."))

struct MarigoldLegacyParams {
    KS_BLOCK_MEMBERS(KS_MARIGOLD_LEGACY_PARAMETERS)
};

inline constexpr ClassDoc kMarigoldLegacyDoc{
    "The all-in-one material of older scenes: diffuse, two highlights, Fresnel reflection with clear coat, "
    "transparency with refraction and absorption, bump, masking and display switches.",
    "Five texture channels (diffuse, specular, transparency, bump, masking), each a constant, a uv texture or a "
    "planar, box or cylindrical projection; a primary and a clear-coat highlight from lights; traced or "
    "image-based reflection graded by contrast and saturation; refraction through a thin or simulated-thick "
    "surface with absorption.",
    "Set transparencyColor to black (the default 0.8 makes it mostly see-through) and IBLDiffMode to 0 or 1 (the "
    "default -1 shows only the host's indirect light); give it lights. reflectivityColor (black by default) adds "
    "reflection.",
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
