// A linear ramp from lo to hi whose two corners are rounded over a blur width w, used to filter
// thresholded noise without aliasing.
#pragma once

namespace ksi {

inline float smoothRamp(float x, float lo, float hi, float w) {
    if (x < lo - w) return 0.0f;
    if (x > hi + w) return 1.0f;
    float lin = (x - lo) / (hi - lo);
    if (x < lo + w) {
        float t = (x - (lo - w)) / (2.0f * w);
        return (3.0f - 2.0f * t) * (t * t) * lin;
    }
    if (x >= hi - w) {
        float t = (x - (hi - w)) / (2.0f * w);
        float s = (3.0f - 2.0f * t) * (t * t);
        return lin * (1.0f - s) + s;
    }
    return lin;
}

}  // namespace ksi
