// Lights fade in over the first 0.2 of cosine above a 0.05 horizon, so highlights do not pop
// on at the terminator. The ramp s goes from 0 to 1; callers smooth it as (3 - 2s) s^2.
#pragma once

#include "frame/types.h"

namespace ksi {

inline float horizonRamp(Float3 lightDirection, Float3 normal) {
    return clamp(dot(lightDirection, normal) - 0.05f, 0.0f, 0.2f) / 0.2f;
}

// The smoothed ramp times the light's specular scale: the weight of a light sample.
inline float horizonWeight(Float3 lightDirection, Float3 normal, float specularScale) {
    float s = horizonRamp(lightDirection, normal);
    return (3.0f - 2.0f * s) * (s * s) * specularScale;
}

}  // namespace ksi
