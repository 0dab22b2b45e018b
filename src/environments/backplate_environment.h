// kestrel_Env_Backplate: the picture behind the scene as a flat colour, a screen-pinned image,
// or an image or cube map seen through a virtual backplate camera; reflection-type rays see an
// ungraded lat-long environment.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

#define KS_BACKPLATE_ENVIRONMENT_PARAMETERS(G, P, T)                                                               \
    G("environment image")                                                                                         \
    P(Float3, IBLLuminanceFactors, (Float3{0.2125f, 0.7154f, 0.0721f}),                                            \
      vec("Declared for compatibility; not read by this class.").soft(0, 1))                                       \
    P(Float3x3, globalIBLMatrix, Float3x3::identity(),                                                             \
      matrix("Rotation of reflection-ray directions before the lat-long mapping of environmentSourceImage."))      \
    P(float, globalIBLGainValue, 1.0f,                                                                             \
      amount("Gain of the environment image and of every backplate mode but 0.").soft(0, 4))                       \
    G("backplate")                                                                                                 \
    P(Float3, backgroundColor, (Float3{0.0f, 0.5f, 0.7f}),                                                         \
      colour("Backdrop colour of mode 0, of other ray types and outside a screen-pinned image."))                  \
    G("environment image")                                                                                         \
    T(Texture, environmentSourceImage, "Lat-long image seen by reflection rays, and by the backplate camera in "   \
      "mode 1.")                                                                                                   \
    G("backplate")                                                                                                 \
    P(int32_t, backgroundMode, 0,                                                                                  \
      mode("What camera rays see.",                                                                                \
          "0 backgroundColor; 1 environmentSourceImage through the backplate camera; 2 custom2DBackground pinned " \
          "to the screen; 3 customCubeBackground through the backplate camera; 4 custom2DBackground as lat-long "  \
          "through the backplate camera; 5 yellow (any other value)"))                                             \
    T(Texture, custom2DBackground, "Image of modes 2 (pinned to the screen) and 4 (lat-long).")                    \
    T(CubeTexture, customCubeBackground, "Cube map of mode 3.")                                                    \
    G("backplate camera")                                                                                          \
    P(float, backplateCloseUp, 1.0f,                                                                               \
      amount("Zoom of the backplate camera: the window is divided by it.").hard(0, inf).soft(0.1f, 10))            \
    P(float, backplateHorizon, 0.0f, scalar("Vertical shift of the window, added after the zoom.").soft(-1, 1))    \
    P(Float2, camerawindowsize, (Float2{1.0f, 1.0f}),                                                              \
      vec("Width and height of the backplate window at unit distance.").soft(0, 4))                                \
    P(Float4x4, backplatetransform, Float4x4::identity(),                                                          \
      matrix("Orientation of the backplate camera (its first three rows are used)."))                              \
    P(Float3x3, backplateCubeRotation, Float3x3::identity(),                                                       \
      matrix("A further rotation of the backplate view direction (row vector times matrix)."))                     \
    P(float, backplateGainValue, 1.0f, amount("Gain of every backplate mode but 0.").soft(0, 4))                   \
    G("screen mapping")                                                                                            \
    P(Float2, uv_scale, (Float2{1.0f, 1.0f}),                                                                      \
      vec("Scales the screen position in pixels to the 0-1 range of the backplate."))                              \
    P(Float2, uv_offset, (Float2{0.0f, 0.0f}), vec("Offset added after uv_scale."))                                \
    P(Float2, render_size, (Float2{-1.0f, -1.0f}),                                                                 \
      vec("Size of the image the backplate was framed for; its y (when not negative) flips mode 2's v."))          \
    P(Float2, viewport_size, (Float2{-1.0f, -1.0f}),                                                               \
      vec("Viewport the backplate was framed for; positive, screen positions are rescaled from the current image " \
          "to it."))                                                                                               \
    G("environment image")                                                                                         \
    P(ParamBool, u_hasLightRepresentation, false,                                                                  \
      toggle("The host ray type 32 sees opaque black instead of the background."))

struct BackplateEnvironmentParams {
    KS_BLOCK_MEMBERS(KS_BACKPLATE_ENVIRONMENT_PARAMETERS)
};

inline constexpr ClassDoc kBackplateEnvironmentDoc{
    "The environment behind a backplate: a flat colour, a screen-pinned image, or an image or cube map seen "
    "through a virtual backplate camera.",
    "Camera rays see the backplate chosen by backgroundMode; reflection rays see environmentSourceImage as a "
    "lat-long image rotated by globalIBLMatrix, times globalIBLGainValue. Every answer has alpha 0.",
    "Nothing for the backdrop (mode 0 shows backgroundColor). Mode 2 needs custom2DBackground, uv_scale set to 1 "
    "over the image size in pixels and render_size set to the image size (its y flips v; at the default -1 the "
    "image is never hit).",
};

class kestrel_Env_Backplate final : public ParameterizedShader<EnvironmentShader, BackplateEnvironmentParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;

private:
    Float3 screenPinnedColor(Float2 p) const;
    Float3 cameraViewColor(Float2 p) const;
};

}  // namespace ksi
