#include "render/hash_noise.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include <glm/gtc/noise.hpp>

namespace kestrel::render {

namespace {

// Bits of a lattice coordinate, for hashing without converting floats to integers (which
// overflows for huge or non-finite inputs).
uint32_t latticeKey(float x) {
    float f = std::floor(x) + 0.0f;  // -0 and +0 hash alike
    uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    return bits;
}

uint32_t mix(uint32_t h) {
    h ^= h >> 16;
    h *= 0x7feb352dU;
    h ^= h >> 15;
    h *= 0x846ca68bU;
    h ^= h >> 16;
    return h;
}

uint32_t hash3(uint32_t a, uint32_t b, uint32_t c) { return mix(a ^ mix(b ^ mix(c + 0x9e3779b9U))); }

uint32_t cellKey(const glm::vec3& p) { return hash3(latticeKey(p.x), latticeKey(p.y), latticeKey(p.z)); }

// [-1, 1) from a hash.
float signedUnit(uint32_t h) { return static_cast<float>(h >> 8) * (2.0f / 16777216.0f) - 1.0f; }

float unsignedPerlin(float p) { return std::clamp(0.5f * p + 0.5f, 0.0f, 1.0f); }

}  // namespace

float unsignedNoise(const glm::vec4& point) { return unsignedPerlin(glm::perlin(point)); }

float signedNoise(const glm::vec3& point) { return glm::perlin(point); }

float unsignedNoise(const glm::vec2& point) { return unsignedPerlin(glm::perlin(point)); }

// Sampled off the lattice rows, so whole-number arguments (tile ids) still vary.
float unsignedNoise(float x) { return unsignedNoise(glm::vec2(x + 0.3183099f, 0.7071068f)); }

float latticeHash(const glm::vec3& point) { return signedUnit(cellKey(point)); }

glm::vec3 cellHash(const glm::vec3& point) {
    uint32_t h = cellKey(point);
    return {signedUnit(mix(h + 1U)), signedUnit(mix(h + 2U)), signedUnit(mix(h + 3U))};
}

}  // namespace kestrel::render
