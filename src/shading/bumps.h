// Bumps that perturb a shading frame's normal: from a height map's finite differences, or from
// the gradient of filtered host noise.
#pragma once

#include <cmath>

#include "frame/host_interfaces.h"
#include "frame/types.h"
#include "shading/shading_frame.h"

namespace ksi {

// The finite-difference bump over any height source: heights at `at` and 0.001 further along u
// and along v; the normal moves by the slopes along T and B times amount * 3.33. Slopes below
// 1e-5 leave the frame alone (a flat source must not disturb the normal by rounding); a slope
// that is not a number is not below it and flows into the normal.
template <class Height>
void bumpFromHeights(ShadingFrame& frame, Float2 at, float amount, Height&& height) {
    float h = height(at);
    float du = h - height(at + Float2(0.001f, 0.0f));
    float dv = h - height(at + Float2(0.0f, 0.001f));
    constexpr float kFlatSlope = 0.00001f;
    if (std::fabs(du) < kFlatSlope && std::fabs(dv) < kFlatSlope) return;
    frame.N += (du * frame.T + dv * frame.B) * (amount * 3.33f);
}

// Height from the sum of a map's red, green and blue at transformUv(uv, transform) * uvScale.
void applyHeightBump(ShadingFrame& frame, const TextureHandle& map, const Float3x3& transform, Float2 uv,
                     float uvScale, float amount);

// Gradient along T, B and N of the smoothly thresholded host noise at q / 2.6, differenced over
// 0.1 after the division by the size.
Float3 noiseBumpGradient(RenderServices* services, Float3 q, const ShadingFrame& frame);

// The procedural noise bump: the world position turned about z, y and x (so the noise does not
// line up with the axes) and tiled, then the normal moves along the noise gradient by amount.
void applyNoiseBump(ShadingFrame& frame, RenderServices* services, Float3 position, Float3 tiling, float amount);

}  // namespace ksi
