// How shaders address and encode what they read from the host's textures, where more than one
// shader relies on the same convention: cube maps are addressed y-up while the scene is z-up, and
// colours meant for display are encoded with the sRGB transfer curve.
#pragma once

#include <cmath>

#include "texture_lookup.h"
#include "types.h"

namespace ksi {

// The scene is z-up and cube maps are y-up: a world direction d addresses the cube as
// (d.x, d.z, -d.y).
inline constexpr Float3 cubeMapDirection(Float3 d) { return {d.x, d.z, -d.y}; }

// A cube map seen along a world direction.
inline Float4 lookupCubeAlong(const TextureHandle& cube, Float3 worldDirection) {
    return lookupCubeTexture(cube, cubeMapDirection(worldDirection));
}

// The sRGB transfer curve: a straight line near black, a 1/2.4 power above (0.41666666 is the
// float nearest to 1/2.4). The two pieces meet at 0.0031308, which takes the straight line.
inline float encodeSrgb(float x) {
    return x <= 0.0031308f ? 12.92f * x : 1.055f * std::pow(x, 0.41666666f) - 0.055f;
}
inline Float3 encodeSrgb(Float3 c) { return {encodeSrgb(c.x), encodeSrgb(c.y), encodeSrgb(c.z)}; }

}  // namespace ksi
