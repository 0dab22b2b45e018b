// Small vector helpers shared by the render services and the integrators.
#pragma once

#include <cmath>

#include <glm/glm.hpp>

#include <kestrel/kestrel.h>

namespace kestrel::render {

inline glm::vec3 toGlm(const ksi::Float3& v) { return {v.x, v.y, v.z}; }
inline ksi::Float3 toKsi(const glm::vec3& v) { return {v.x, v.y, v.z}; }

inline bool isBlack(const glm::vec3& c) { return c.x == 0.0f && c.y == 0.0f && c.z == 0.0f; }
inline float luminance(const glm::vec3& c) { return 0.212671f * c.x + 0.71516f * c.y + 0.072169f * c.z; }

// Unit vector or zero; never NaN for a finite input.
inline glm::vec3 unit(const glm::vec3& v) {
    float length = glm::length(v);
    return length > 0.0f && std::isfinite(length) ? v / length : glm::vec3(0.0f);
}

// Two unit vectors completing n to an orthonormal frame.
inline void frameAround(const glm::vec3& n, glm::vec3& t, glm::vec3& b) {
    glm::vec3 a = std::fabs(n.x) < 0.9f ? glm::vec3(1, 0, 0) : glm::vec3(0, 1, 0);
    t = glm::normalize(glm::cross(a, n));
    b = glm::cross(n, t);
}

}  // namespace kestrel::render
