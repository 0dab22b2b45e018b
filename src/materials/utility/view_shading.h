// The viewing-angle shading of the preview materials: a base colour scaled by the absolute
// cosine between the shading normal and the ray, so both sides of a surface look alike.
#pragma once

#include <cmath>

#include "frame/shading_record.h"

namespace ksi {

inline Float3 viewShaded(Float3 base, const ShadingRecord& record) {
    float c = std::fabs(dot(record.normal, record.rayDir));
    return saturate3(base * c);
}

}  // namespace ksi
