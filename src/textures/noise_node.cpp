#include "textures/noise_node.h"

#include <cmath>

namespace ksi {

namespace {
// The host noise at (q, phase) taken as a signed value in [-1, 1].
float signedNoise(RenderServices* services, Float3 q, float phase) {
    const Float4 point(q, phase);
    return 2.0f * services->noise(&point) - 1.0f;
}

// Octaves at doubling frequency and halving weight while a whole level is left, then one more
// full octave for a fractional remainder. Turbulence folds each octave to its magnitude.
float octaveSum(RenderServices* services, Float3 p, float phase, float levels, bool turbulent) {
    float L = levels, f = 1.0f, s = 0.0f;
    auto octave = [&]() {
        const float n = signedNoise(services, f * p, phase);
        s += (turbulent ? std::fabs(n) : n) / f;
        f = 2.0f * f;
    };
    float done = 0.0f;
    while (L >= 1.0f && done < kMaxNoiseOctaves) {
        octave();
        L = L - 1.0f;
        done += 1.0f;
    }
    if (L > 0.0f && done < kMaxNoiseOctaves) octave();
    return s;
}
}  // namespace

float noiseValue(const NoiseParams& node, RenderServices* services, Float3 objectPoint) {
    const float invSize = 1.0f / node.size;
    const Float4 q = transformPoint(objectPoint, node.xform);
    const Float3 p(q.x * invSize, q.y * invSize, q.z * invSize);
    switch (node.type) {
        case 0: return (signedNoise(services, p, node.phase) + 1.0f) * 0.5f;
        case 1: return (octaveSum(services, p, node.phase, node.levels, false) + 1.0f) * 0.5f;
        case 2: return octaveSum(services, p, node.phase, node.levels, true);
        default: return 0.0f;
    }
}

Float4 evaluateNoise(const NoiseParams& node, RenderServices* services, Float3 objectPoint, Float4 color1,
                     Float4 color2) {
    float v = noiseValue(node, services, objectPoint);
    const float lo = node.thresholdLow, hi = node.thresholdHigh;
    if (v < lo) {
        v = 0.0f;
    } else if (v > hi) {
        v = 1.0f;
    } else if (lo - hi != 0.0f) {
        v = (v - lo) / (hi - lo);
    }
    return (1.0f - v) * color1 + v * color2;
}

}  // namespace ksi
