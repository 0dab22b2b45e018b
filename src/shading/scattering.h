// Refraction of a direction across a surface, the one home of Snell's law for every material.
// Directions arrive against the normal (they point into the surface); eta is the ratio of the
// index on the arriving side to the index on the far side.
#pragma once

#include <cmath>

#include "frame/types.h"

namespace ksi {

// Below this, 1 - sin^2 of the refracted angle counts as total internal reflection: it keeps the
// square root away from zero and negative values.
inline constexpr float kTotalReflectionLimit = 0.000001f;

struct Refraction {
    Float3 direction;  // not normalised; NaN when k is negative
    float k;           // 1 - sin^2 of the refracted angle
};

// Snell's law in vector form: the refracted direction is eta d plus the part along n that keeps
// it unit length, (c eta - sqrt(k)) n, with c = |n . d|.
inline Refraction refractAcross(Float3 d, Float3 n, float eta) {
    const float c = std::fabs(dot(n, d));
    const float k = (c * c - 1.0f) * (eta * eta) + 1.0f;
    return {(c * eta - std::sqrt(k)) * n + eta * d, k};
}

// The refracted direction, or the zero vector when the ray cannot leave (total internal
// reflection, or a k that is not a number).
inline Float3 refractedDirection(Float3 d, Float3 n, float eta) {
    const Refraction r = refractAcross(d, n, eta);
    return r.k > kTotalReflectionLimit ? r.direction : Float3(0.0f);
}

}  // namespace ksi
