// Importance sampling of the environment for the path integrator: the environment's answer to
// secondary rays tabulated on a lat-long grid, and a distribution over the grid's cells
// weighted by luminance and solid angle, so a small bright sun is found by light sampling
// instead of by chance.
#pragma once

#include <vector>

#include <glm/glm.hpp>

namespace kestrel::render {

class Tracer;

class EnvironmentLight {
public:
    // Tabulates the scene's environment through the tracer's environment answer. An environment
    // that is black everywhere gives a light that is not usable.
    explicit EnvironmentLight(Tracer& tracer);

    bool usable() const { return total_ > 0.0f; }
    // A direction drawn from two uniform numbers, with its density over solid angle.
    glm::vec3 sample(float u1, float u2, float& density) const;
    // The density over solid angle with which sample draws a unit direction (0 when not usable).
    float density(const glm::vec3& direction) const;

private:
    void addFloor();
    float cellDensity(int row, int column, float sinTheta) const;

    std::vector<float> rowCdf_;     // height + 1 entries, from 0 to 1
    std::vector<float> columnCdf_;  // per row, width + 1 entries, from 0 to 1
    std::vector<float> weights_;    // per cell: luminance times solid angle
    float total_ = 0.0f;
};

}  // namespace kestrel::render
