// What a render is asked to do: image size, samples, seed, integrator and its limits.
#pragma once

#include <cstdint>

namespace kestrel::render {

enum class Integrator {
    Shade,  // camera rays call the materials' shade, which gathers light through the services
    Path,   // a path tracer driven by sampleBsdf and evaluateBsdf
};

struct RenderSettings {
    int width = 320;
    int height = 240;
    int samplesPerPixel = 4;
    uint64_t seed = 0;
    Integrator integrator = Integrator::Shade;
    int maxDepth = 6;          // nested traces (shade) or bounces (path)
    float minWeight = 0.01f;   // traces whose accumulated importance falls below are black
    int occlusionSamples = 2;  // rays per ambientOcclusion call
    float occlusionDistance = 0.0f;  // 0: the scene's extent
};

}  // namespace kestrel::render
