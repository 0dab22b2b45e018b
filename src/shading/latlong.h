// The latitude-longitude convention shared by the environments, the background geometry and
// the legacy material, and the grading applied to environment images.
//
// +x of the rotated frame maps to u = 0.25, +y to u = 0, -y to u = 0.5; +z (up) maps to t = 1
// and -z to t = 0.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/types.h"

namespace ksi {

// The environment rotation: each row of m dotted with d (a column-vector product, unlike the
// row-vector convention of the texture matrices). The result is not normalised.
inline Float3 rotateEnvironmentDirection(const Float3x3& m, Float3 d) {
    const float* r = m.m;
    return {r[0] * d.x + r[1] * d.y + r[2] * d.z, r[3] * d.x + r[4] * d.y + r[5] * d.z,
            r[6] * d.x + r[7] * d.y + r[8] * d.z};
}

// Image coordinate (u, t) of an already rotated direction.
Float2 latLongCoordinate(Float3 v);

// The lat-long texel seen along d through the environment rotation m; (0, 0, 0, 1) when no
// image is bound.
Float4 lookupLatLong(const TextureHandle& image, const Float3x3& m, Float3 d);

// The grey a colour is graded about: its channels weighted by w. Pictures seen on surfaces (the
// backdrop and the legacy reflections) use fixed weights; the environments take theirs as a
// parameter.
inline constexpr Float3 kSurfaceGreyWeights{0.2125f, 0.7154f, 0.0721f};
inline float weightedGrey(Float3 c, Float3 w) { return dot(c, w); }

// Contrast about a per-channel pivot: contrast 1 leaves c as it is.
inline Float3 contrastAboutPivot(Float3 c, float contrast, Float3 pivot) {
    return c * contrast + (1.0f - contrast) * pivot;
}

// Saturation about the weighted grey: 0 gives the grey, 1 leaves c as it is.
inline Float3 saturateAboutGrey(Float3 c, float saturation, Float3 greyWeights) {
    return c * saturation + Float3((1.0f - saturation) * weightedGrey(c, greyWeights));
}

// The environments' grading: contrast about a scalar pivot, an optional grey gain mode, a
// per-channel gain, then saturation. A contrast or saturation of exactly 1 skips its step.
struct EnvironmentGrading {
    Float3 luminanceWeights;
    Float2 contrast;  // (pivot, contrast)
    int32_t gainMode;  // 2: reduce to the weighted grey before the gain
    Float3 gain;
    float saturation;
};

Float3 gradeEnvironment(Float3 c, const EnvironmentGrading& grading);

}  // namespace ksi
