// kestrel_Env_Backplate: the picture behind the scene as a flat colour, a screen-pinned image,
// or an image or cube map seen through a virtual backplate camera; reflection-type rays see an
// ungraded lat-long environment.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

struct BackplateEnvironmentParams {
    Float3 IBLLuminanceFactors{0.2125f, 0.7154f, 0.0721f};  // declared and copied, not read
    Float3x3 globalIBLMatrix = Float3x3::identity();
    float globalIBLGainValue = 1.0f;
    Float3 backgroundColor{0.0f, 0.5f, 0.7f};
    TextureHandle environmentSourceImage;
    // 0 flat colour, 1 lat-long source image through the backplate camera, 2 screen-pinned
    // custom image, 3 custom cube map through the camera, 4 custom image as lat-long.
    int32_t backgroundMode = 0;
    TextureHandle custom2DBackground;
    TextureHandle customCubeBackground;
    float backplateCloseUp = 1.0f;  // zoom: the window is divided by it
    float backplateHorizon = 0.0f;  // vertical window shift, added after the zoom
    Float2 camerawindowsize{1.0f, 1.0f};
    Float4x4 backplatetransform = Float4x4::identity();
    Float3x3 backplateCubeRotation = Float3x3::identity();
    float backplateGainValue = 1.0f;
    Float2 uv_scale{1.0f, 1.0f};
    Float2 uv_offset{0.0f, 0.0f};
    Float2 render_size{-1.0f, -1.0f};
    Float2 viewport_size{-1.0f, -1.0f};
    ParamBool u_hasLightRepresentation = false;
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
