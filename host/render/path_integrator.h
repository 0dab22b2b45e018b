// The path integrator: a path tracer driven by the materials' sampleBsdf and evaluateBsdf,
// with next-event estimation of the lights and the environment; the environment is shared
// between light sampling and BSDF sampling by the power heuristic. It asks the scene
// everything through the Tracer, whose services the materials call while it runs.
#pragma once

#include <glm/glm.hpp>

#include <kestrel/kestrel.h>

#include "render/tracer.h"

namespace kestrel::render {

class PathIntegrator {
public:
    explicit PathIntegrator(Tracer& tracer) : tracer_(tracer) {}

    // Radiance and alpha arriving at the camera along the ray; use once per camera sample.
    glm::vec4 radiance(glm::vec3 origin, glm::vec3 direction);

private:
    // One surface vertex of the path and what every step there reads.
    struct Vertex {
        SurfaceHit hit;
        const ksi::MaterialShader* shader = nullptr;
        int32_t capabilities = 0;
        ksi::ShadingRecord record;
    };
    // What the path does after a vertex.
    enum class Next { Bounce, StepThrough, End };

    void escape();
    Next endWithShade(Vertex& vertex);
    glm::vec3 evaluate(const Vertex& vertex, const glm::vec3& towards) const;
    void addLights(const Vertex& vertex);
    void addEnvironmentLight(const Vertex& vertex);
    Next scatter(Vertex& vertex, glm::vec3& next);
    void rememberEnvironmentShare(const Vertex& vertex, const glm::vec3& next, int32_t lobe);
    bool survivesRoulette();
    Next stepThrough(const SurfaceHit& hit);

    Tracer& tracer_;
    glm::vec3 radiance_{0.0f}, throughput_{1.0f};
    float alpha_ = 1.0f;
    int bounce_ = 0;
    // The ray being followed.
    glm::vec3 origin_{0.0f}, direction_{0.0f};
    int32_t rayType_ = ksi::kRayCamera;
    float tNear_ = 0.0f;
    int skipped_ = 0;
    // The share of the environment along the ray that BSDF sampling at the last vertex takes
    // (the rest was counted by light sampling there); 1 for the camera ray.
    float environmentShare_ = 1.0f;
};

}  // namespace kestrel::render
