// kestrel_Env_Default: answers rays that leave the scene with a flat background colour (camera
// rays) or a graded lat-long environment image (reflection-type rays), and opaque black for
// environment probes.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

#define KS_DEFAULT_ENVIRONMENT_PARAMETERS(G, P, T)                                                                 \
    G("grading")                                                                                                   \
    P(Float3, IBLLuminanceFactors, (Float3{0.2125f, 0.7154f, 0.0721f}),                                            \
      vec("Red, green and blue weights of the grey that gain mode 2 and the saturation use.").soft(0, 1))          \
    G("environment image")                                                                                         \
    P(Float3x3, globalIBLMatrix, Float3x3::identity(),                                                             \
      matrix("Rotation of the ray direction before it is mapped to the lat-long image (matrix times column "       \
          "vector)."))                                                                                             \
    G("grading")                                                                                                   \
    P(Float2, reflectIBLContrast, (Float2{0.5f, 1.0f}),                                                            \
      vec("(pivot, contrast): each channel becomes c k + (1 - k) pivot; a contrast of exactly 1 skips the step.")  \
          .soft(0, 2))                                                                                             \
    P(int32_t, reflectIBLGainMode, 0,                                                                              \
      mode("Whether the image is made grey before the gain.",                                                      \
          "0 colour (any value but 2); 2 grey by IBLLuminanceFactors"))                                            \
    P(Float3, reflectIBLGain, (Float3{1.0f, 1.0f, 1.0f}),                                                          \
      colour("Per-channel gain of the image colour.").soft(0, 4))                                                  \
    P(float, reflectIBLSaturation, 1.0f,                                                                           \
      amount("Saturation of the image: 0 grey, 1 unchanged, above 1 more saturated.").soft(0, 2))                  \
    G("background")                                                                                                \
    P(Float3, backgroundColor, (Float3{0.0f, 0.5f, 0.7f}),                                                         \
      colour("Colour of the backdrop that camera rays see (alpha 0)."))                                            \
    G("environment image")                                                                                         \
    T(Texture, reflectionLatlong, "Lat-long environment image seen by reflection rays (and by every ray but "      \
      "camera rays with useBackgroundGeometry).")                                                                  \
    P(ParamBool, u_hasLightRepresentation, false, toggle("Declared for compatibility; not read by this class."))   \
    P(ParamBool, useBackgroundGeometry, false,                                                                     \
      toggle("The backdrop is drawn by a BackgroundGeometry surface: only camera rays get backgroundColor, every " \
          "other ray the image."))

struct DefaultEnvironmentParams {
    KS_BLOCK_MEMBERS(KS_DEFAULT_ENVIRONMENT_PARAMETERS)
};

inline constexpr ClassDoc kDefaultEnvironmentDoc{
    "The environment for rays that leave the scene: a lat-long image for reflections, a flat backdrop colour for "
    "the camera.",
    "Reflection rays see reflectionLatlong rotated by globalIBLMatrix and graded by contrast, gain and "
    "saturation; camera rays see backgroundColor with alpha 0; the host ray type 32 sees opaque black.",
    "Nothing for the backdrop (blue-green at its defaults); bind reflectionLatlong for reflections to show "
    "anything but black.",
};

class kestrel_Env_Default final : public ParameterizedShader<EnvironmentShader, DefaultEnvironmentParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
