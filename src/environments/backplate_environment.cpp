#include "environments/backplate_environment.h"

#include "shading/latlong.h"
#include "frame/exports.h"
#include "frame/texture_conventions.h"
#include "frame/texture_lookup.h"

namespace ksi {

namespace {
constexpr auto kDeclarations = KS_BLOCK_ROWS(BackplateEnvironmentParams, KS_BACKPLATE_ENVIRONMENT_PARAMETERS);

enum BackgroundMode : int32_t {
    kModeFlat = 0,
    kModeSourceLatLong = 1,
    kModeScreenPinned = 2,
    kModeCube = 3,
    kModeCustomLatLong = 4,
};
}  // namespace

void kestrel_Env_Backplate::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapEnvironment, &params, kDeclarations);
}

void kestrel_Env_Backplate::shade(RenderServices*, ShadingRecord* record) const {
    const int32_t rayType = record->rayType;
    if (params.u_hasLightRepresentation && rayType == kRayEnvironmentProbe) {
        record->outColor = Float4(0.0f, 0.0f, 0.0f, 1.0f);
        return;
    }
    // Reflection-type rays see the environment, ungraded and with alpha 0.
    if (rayType == kRaySecondary || (rayType == kRayContinuation && !record->throughMatte)) {
        Float4 texel = lookupLatLong(params.environmentSourceImage, params.globalIBLMatrix, record->rayDir);
        record->outColor = Float4(texel.xyz() * params.globalIBLGainValue, 0.0f);
        return;
    }
    if ((rayType != kRayCamera && rayType != kRayContinuation) || params.backgroundMode == kModeFlat) {
        record->outColor = Float4(params.backgroundColor, 0.0f);
        return;
    }

    // The backplate was framed for viewport_size; rescale the raster position from the current
    // image when the viewport is known.
    Float2 p = record->screenPos;
    if (params.viewport_size.x > 0.0f && params.viewport_size.y > 0.0f) {
        p.x = p.x * params.viewport_size.x / static_cast<float>(record->screenSize[0]);
        p.y = p.y * params.viewport_size.y / static_cast<float>(record->screenSize[1]);
    }
    if (params.backgroundMode == kModeScreenPinned) {
        Float3 c = screenPinnedColor(p);
        record->outColor = Float4(c * params.globalIBLGainValue * params.backplateGainValue, 0.0f);
        return;
    }
    Float3 c = cameraViewColor(p);
    record->outColor = Float4(c * (params.backplateGainValue * params.globalIBLGainValue), 0.0f);
}

// The custom image pinned to the screen, with the vertical axis flipped; outside the unit square
// of its coordinates (or at a NaN) the background colour shows.
Float3 kestrel_Env_Backplate::screenPinnedColor(Float2 p) const {
    float h = params.render_size.y;
    if (h < 0.0f) h = params.viewport_size.y;
    float u = p.x * params.uv_scale.x + params.uv_offset.x;
    float v = (h - p.y) * params.uv_scale.y + params.uv_offset.y;
    if (u >= 0.0f && u <= 1.0f && v >= 0.0f && v <= 1.0f) {
        return lookupTexture(params.custom2DBackground, {u, v}).xyz();
    }
    return params.backgroundColor;
}

// The colour seen through the backplate camera: a window at unit distance, zoomed and shifted,
// oriented by the first three rows of the transform and turned by the cube rotation.
Float3 kestrel_Env_Backplate::cameraViewColor(Float2 p) const {
    float sx = p.x * params.uv_scale.x + params.uv_offset.x;
    float sy = p.y * params.uv_scale.y + params.uv_offset.y;
    float k = 1.0f / params.backplateCloseUp;
    float x = k * (2.0f * sx - 1.0f) * 0.5f * params.camerawindowsize.x;
    float y = k * (2.0f * (1.0f - sy) - 1.0f) * 0.5f * params.camerawindowsize.y + params.backplateHorizon;

    // The transform times the column vector (x, y, 1, 0).
    const float* t = params.backplatetransform.m;
    Float3 d = normalize(Float3(t[0] * x + t[1] * y + t[2], t[4] * x + t[5] * y + t[6], t[8] * x + t[9] * y + t[10]));
    // The cube rotation is applied as a row vector times the matrix.
    Float3 w = d * params.backplateCubeRotation;

    switch (params.backgroundMode) {
        case kModeSourceLatLong: return lookupTexture(params.environmentSourceImage, latLongCoordinate(w)).xyz();
        case kModeCube: return lookupCubeAlong(params.customCubeBackground, w).xyz();
        case kModeCustomLatLong: return lookupTexture(params.custom2DBackground, latLongCoordinate(w)).xyz();
        default: return {1.0f, 1.0f, 0.0f};  // unknown modes show yellow
    }
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Env_Backplate)
