// The local shading frame of the physically based materials: x along the tangent, y along the
// bitangent, z along the normal. Each material assembles its own frame; the conversions are
// shared.
//
// One view convention for every material: the view direction points into the surface, like the
// record's rayDir. In world space it is I (rayDir itself), in a local frame wi = toLocal(frame,
// rayDir), so a view from the front has wi.z < 0. Lobe functions written for the direction that
// leaves the surface (the GGX functions) are called with -wi.
#pragma once

#include <cmath>

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

// Local to world: d.x T + d.y B + d.z N.
inline Float3 fromLocal(const ShadingFrame& frame, Float3 d) { return d.x * frame.T + d.y * frame.B + d.z * frame.N; }

// Re-orthonormalises T and B against N after N changed: T loses its component along N, B
// completes the frame. A vector that collapses to zero length is kept as it is.
inline void orthonormalize(ShadingFrame& frame) {
    frame.T = normalize(frame.T - frame.N * dot(frame.T, frame.N));
    frame.B = normalize(cross(frame.N, frame.T));
}

// The frame around a normal from a tangent given in object space: the tangent is carried to
// world space by the upper-left 3x3 of the object matrix (row vector times matrix), then T and
// B are orthonormalised against N.
inline ShadingFrame tangentFrame(Float3 objectTangent, const Float4x4& objectMatrix, Float3 normal) {
    ShadingFrame frame;
    frame.T = transformDirection(objectTangent, objectMatrix);
    frame.B = Float3(0.0f);
    frame.N = normal;
    orthonormalize(frame);
    return frame;
}

// Turns the tangent and bitangent about the normal by angle radians; 0 leaves the frame alone.
inline void rotateTangent(ShadingFrame& frame, float angle) {
    if (angle == 0.0f) return;
    float c = std::cos(angle), s = std::sin(angle);
    Float3 T = frame.T * c + frame.B * s;
    Float3 B = -frame.T * s + frame.B * c;
    frame.T = T;
    frame.B = B;
}

}  // namespace ksi
