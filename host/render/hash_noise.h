// The host's noise: Perlin noise for the noise services and hashed lattice values for the
// cell services. Every function is pure, so the same point gives the same value on every
// thread and in every run, and none converts a float to an integer, so huge or non-finite
// points are safe.
#pragma once

#include <glm/glm.hpp>

namespace kestrel::render {

// 4D, 2D and 1D Perlin noise mapped to [0, 1]; 3D Perlin noise left signed, about [-1, 1].
float unsignedNoise(const glm::vec4& point);
float signedNoise(const glm::vec3& point);
float unsignedNoise(const glm::vec2& point);
float unsignedNoise(float x);

// A fixed value in [-1, 1) per unit lattice cell (the cell holding the point).
float latticeHash(const glm::vec3& point);
// Three more fixed values in [-1, 1) for the cell holding the point.
glm::vec3 cellHash(const glm::vec3& point);

}  // namespace kestrel::render
