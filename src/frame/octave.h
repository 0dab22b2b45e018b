// One octave of a fractal noise sum: sampled at `frequency` (1, 2, 4, ...) and weighted by
// `weight`, its reciprocal. Both are exact powers of two over the octave counts the shaders use
// (at most 65), so x * weight is bit for bit x / frequency, and no octave needs a division.
#pragma once

namespace ksi {

struct Octave {
    float frequency = 1.0f;
    float weight = 1.0f;

    void next() {
        frequency = 2.0f * frequency;
        weight = 0.5f * weight;
    }
};

}  // namespace ksi
