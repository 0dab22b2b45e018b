#include "textures/noise_node.h"

#include <cmath>

#include "frame/octave.h"

namespace ksi {

namespace {
// The host noise at `point` (x, y, z, phase) taken as a signed value in [-1, 1].
inline float signedNoise(RenderServices* services, const Float4& point) {
    return 2.0f * services->noise(&point) - 1.0f;
}

// Octaves at doubling frequency and halving weight while a whole level is left, then one more
// full octave for a fractional remainder. Turbulence folds each octave to its magnitude.
template <bool kTurbulent>
float octaveSum(RenderServices* services, Float3 p, float phase, float levels) {
    float L = levels, s = 0.0f;
    Octave o;
    int left = static_cast<int>(kMaxNoiseOctaves);
    const auto octave = [&] {
        const float n = signedNoise(services, Float4(o.frequency * p, phase));
        s += (kTurbulent ? std::fabs(n) : n) * o.weight;
        o.next();
        --left;
    };
    while (L >= 1.0f && left > 0) {
        octave();
        L = L - 1.0f;
    }
    if (L > 0.0f && left > 0) octave();
    return s;
}
}  // namespace

float noiseValue(const NoiseParams& node, RenderServices* services, Float3 objectPoint) {
    const float invSize = 1.0f / node.size;
    const Float3 q = transformPoint(objectPoint, node.xform).xyz();
    const Float3 p(q.x * invSize, q.y * invSize, q.z * invSize);
    switch (node.type) {
        case 0: return (signedNoise(services, Float4(p, node.phase)) + 1.0f) * 0.5f;
        case 1: return (octaveSum<false>(services, p, node.phase, node.levels) + 1.0f) * 0.5f;
        case 2: return octaveSum<true>(services, p, node.phase, node.levels);
        default: return 0.0f;
    }
}

float noiseBlendWeight(const NoiseParams& node, RenderServices* services, Float3 objectPoint) {
    const float v = noiseValue(node, services, objectPoint);
    const float lo = node.thresholdLow, hi = node.thresholdHigh;
    if (v < lo) return 0.0f;
    if (v > hi) return 1.0f;
    return lo - hi != 0.0f ? (v - lo) / (hi - lo) : v;
}

}  // namespace ksi
