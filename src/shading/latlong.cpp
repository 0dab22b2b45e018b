#include "shading/latlong.h"

#include <cmath>

#include "frame/texture_lookup.h"

namespace ksi {

Float2 latLongCoordinate(Float3 v) {
    // atan2 of (-y, x) puts +y at the left edge; the constants are 1/(2 pi) and 1/pi as floats.
    float u = std::atan2(-v.y, v.x) * 0.1591549f + 0.25f;
    float t = std::asin(v.z) * 0.3183099f + 0.5f;
    return {u, t};
}

Float4 lookupLatLong(const TextureHandle& image, const Float3x3& m, Float3 d) {
    return lookupTexture(image, latLongCoordinate(rotateEnvironmentDirection(m, d)));
}

Float3 gradeEnvironment(Float3 c, const EnvironmentGrading& grading) {
    float pivot = grading.contrast.x;
    float k = grading.contrast.y;
    if (k != 1.0f) {
        c = {c.x * k + (1.0f - k) * pivot, c.y * k + (1.0f - k) * pivot, c.z * k + (1.0f - k) * pivot};
    }
    const Float3& w = grading.luminanceWeights;
    if (grading.gainMode == 2) c = Float3(dot(c, w));
    c = c * grading.gain;
    float s = grading.saturation;
    if (s != 1.0f) {
        float grey = dot(c, w);
        c = {c.x * s + (1.0f - s) * grey, c.y * s + (1.0f - s) * grey, c.z * s + (1.0f - s) * grey};
    }
    return c;
}

}  // namespace ksi
