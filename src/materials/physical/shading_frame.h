// The local shading frame of the physically based materials: x along the tangent, y along the
// bitangent, z along the normal. Each material assembles its own frame; the conversions are
// shared.
#pragma once

#include "frame/types.h"

namespace ksi {

struct ShadingFrame {
    Float3 T;  // tangent
    Float3 B;  // bitangent
    Float3 N;  // normal
};

// World to local. Each cosine is clamped to [-1, 1] before the renormalisation, so a frame that
// is slightly off orthonormal still yields a unit vector (the zero vector stays zero).
inline Float3 toLocal(const ShadingFrame& frame, Float3 v) {
    return normalize(Float3(clamp(dot(v, frame.T), -1.0f, 1.0f), clamp(dot(v, frame.B), -1.0f, 1.0f),
                            clamp(dot(v, frame.N), -1.0f, 1.0f)));
}

}  // namespace ksi
