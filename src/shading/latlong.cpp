#include "shading/latlong.h"

#include <cmath>

#include "frame/texture_lookup.h"

namespace ksi {

Float2 latLongCoordinate(Float3 v) {
    // atan2 of (-y, x) puts +y at the left edge.
    float u = std::atan2(-v.y, v.x) * kInvTwoPiLiteral + 0.25f;
    float t = std::asin(v.z) * kInvPiLiteral + 0.5f;
    return {u, t};
}

Float4 lookupLatLong(const TextureHandle& image, const Float3x3& m, Float3 d) {
    return lookupTexture(image, latLongCoordinate(rotateEnvironmentDirection(m, d)));
}

Float3 gradeEnvironment(Float3 c, const EnvironmentGrading& grading) {
    const float contrast = grading.contrast.y;
    if (contrast != 1.0f) c = contrastAboutPivot(c, contrast, Float3(grading.contrast.x));
    if (grading.gainMode == 2) c = Float3(weightedGrey(c, grading.luminanceWeights));
    c = c * grading.gain;
    if (grading.saturation != 1.0f) c = saturateAboutGrey(c, grading.saturation, grading.luminanceWeights);
    return c;
}

}  // namespace ksi
