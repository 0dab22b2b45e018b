// Bumps that perturb a shading frame's normal: from a height map's finite differences, or from
// the gradient of filtered host noise.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/types.h"
#include "materials/physical/shading_frame.h"

namespace ksi {

// Height from the sum of a map's red, green and blue at transformUv(uv, transform) * uvScale,
// differenced over 0.001; the normal moves by the slopes along T and B times amount * 3.33.
// Slopes below 1e-5 leave the frame alone.
void applyHeightBump(ShadingFrame& frame, const TextureHandle& map, const Float3x3& transform, Float2 uv,
                     float uvScale, float amount);

// Gradient along T, B and N of the smoothly thresholded host noise at q / 2.6, differenced over
// 0.1 after the division by the size.
Float3 noiseBumpGradient(RenderServices* services, Float3 q, const ShadingFrame& frame);

// The procedural noise bump: the world position turned about z, y and x (so the noise does not
// line up with the axes) and tiled, then the normal moves along the noise gradient by amount.
void applyNoiseBump(ShadingFrame& frame, RenderServices* services, Float3 position, Float3 tiling, float amount);

}  // namespace ksi
