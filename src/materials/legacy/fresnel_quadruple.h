// The Fresnel falloff of the legacy and measured materials, given as a quadruple
// f = (base, scale, exponent, maximum) instead of a refractive index.
#pragma once

#include <cmath>

#include "frame/types.h"

namespace ksi {

// x is the angle term: 0 at normal incidence, 1 at grazing (one minus the view cosine). The
// reflectance rises from the base by a power of x and is capped by the maximum, but not bounded
// from below: F = min(powf(x, exponent) * scale + base, maximum).
inline float fresnelQuadruple(float x, Float4 f) {
    float F = std::pow(x, f.z) * f.y + f.x;
    return f.w < F ? f.w : F;
}

}  // namespace ksi
