#include "materials/ward/ward_noise.h"

#include <cmath>

#include "frame/octave.h"
#include "shading/smooth_ramp.h"

namespace ksi {

namespace {
// The average of filtered-out noise.
constexpr float kNoiseMean = 0.2160714f;

float hostNoise(RenderServices* services, Float3 x, float phase) {
    Float4 point(x, phase);
    return services->noise(&point);
}
}  // namespace

float filteredNoise(RenderServices* services, Float3 x, const NoiseBand& band) {
    const float L = band.levels;
    if (L < -3.0f) return kNoiseMean;
    const float Lc = std::fmax(L, 1.0f);
    const float K = std::floor(Lc);
    const float phi = Lc - K;
    float v = 0.0f;
    if (band.type == 0) {
        v = (hostNoise(services, x, band.phase) + 1.0f) * 0.5f;
    } else if (band.type == 1 || band.type == 2) {
        // Octaves 2^j up to K (at most 16), the last one faded in by the fractional level.
        const bool absolute = band.type == 2;
        float sum = 0.0f;
        Octave o;
        for (float j = 0.0f; j < K; j += 1.0f, o.next()) {
            float n = hostNoise(services, x * o.frequency, band.phase);
            sum += (absolute ? std::fabs(n) : n) * o.weight;
        }
        float last = hostNoise(services, x * o.frequency, band.phase);
        sum += phi * (absolute ? std::fabs(last) : last) * o.weight;
        v = absolute ? sum : (sum + 1.0f) * 0.5f;
    }
    if (band.lo < band.hi) v = smoothRamp(v, band.lo, band.hi, band.blur);
    if (L < 1.0f) {
        float f = (L + 3.0f) * 0.25f;
        v = (1.0f - f) * kNoiseMean + f * v;
    }
    return v;
}

Float3 noiseBump(RenderServices* services, Float3 q, const BumpDirections& d, float size, float levels, int32_t type,
                 float phase, float lo, float hi, float k) {
    const float sigma = std::fmax(size, 0.00001f);
    const Float3 x = q / sigma;
    const float fw = std::fmax(0.5f / sigma, 0.00001f);
    NoiseBand band{std::fmin(levels, std::log(1.0f / fw) / 0.6931478f), std::fmin(0.2f * fw, 0.4f), type, phase, lo,
                   hi};
    const float h0 = filteredNoise(services, x, band);
    Float3 r((filteredNoise(services, x + 0.1f * d.d1, band) - h0) / 0.1f,
             (filteredNoise(services, x + 0.1f * d.d2, band) - h0) / 0.1f,
             (filteredNoise(services, x + 0.1f * d.d3, band) - h0) / 0.1f);
    return k * r;
}

namespace {
float ridge(RenderServices* services, Float3 x) {
    float y = 0.5f * hostNoise(services, x, 0.0f) + 0.5f;
    if (std::fabs(y) < 0.4f) {
        float t = clamp((y + 0.4f) / 0.8f, 0.0f, 1.0f);
        y = (3.0f - 2.0f * t) * (t * t) * y;
    } else if (0.6f < y && y < 1.4f) {
        float t = clamp((y - 0.6f) / 0.79999995f, 0.0f, 1.0f);
        float s = (3.0f - 2.0f * t) * (t * t);
        y = (1.0f - s) * y + s;
    }
    return (1.0f - 0.169518605f) * kNoiseMean + 0.169518605f * y;
}

// Five octaves of absolute 3D noise, compressed towards 1.
float turbulence(RenderServices* services, Float3 y) {
    float s = 0.0f;
    Octave o;
    for (int k = 0; k < 5; ++k, o.next()) {
        Float3 x = y * o.frequency;
        s += std::fabs(services->noise3D(&x)) * o.weight;
    }
    return s > 1.0f ? 1.0f : std::pow(s, 0.25f);
}
}  // namespace

Float3 ridgedNoiseBump(RenderServices* services, Float3 q, const BumpDirections& d) {
    const float h0 = ridge(services, q);
    return {(ridge(services, q + 0.1f * d.d1) - h0) * 10.0f, (ridge(services, q + 0.1f * d.d2) - h0) * 10.0f,
            (ridge(services, q + 0.1f * d.d3) - h0) * 10.0f};
}

CellSearch searchCells(RenderServices* services, Float3 p) {
    CellSearch best{1e10f, 1e10f, Float3(0.0f)};
    const Float3 cell = floor3(p);
    const Float3 f = p - cell;
    // Squared distance from p to the neighbouring cell's box along one axis.
    auto boxDistance = [](float fraction, int offset) {
        if (offset < 0) return fraction * fraction;
        if (offset > 0) return (1.0f - fraction) * (1.0f - fraction);
        return 0.0f;
    };
    for (int i = -1; i <= 1; ++i) {
        const float dx = boxDistance(f.x, i);
        if (!(dx < best.f2)) continue;
        for (int j = -1; j <= 1; ++j) {
            const float dxy = dx + boxDistance(f.y, j);
            if (!(dxy < best.f2)) continue;
            for (int k = -1; k <= 1; ++k) {
                if (!(dxy + boxDistance(f.z, k) < best.f2)) continue;
                Float3 centre = cell + Float3(0.5f) +
                                Float3(static_cast<float>(i), static_cast<float>(j), static_cast<float>(k));
                Float3 offset;
                services->cellFeaturePoint(&offset, &centre);
                Float3 feature = centre + 0.5f * offset;
                Float3 toP = p - feature;
                float d2 = dot(toP, toP);
                if (d2 < best.f1) {
                    best.f2 = best.f1;
                    best.f1 = d2;
                    best.e = toP;
                } else if (d2 < best.f2) {
                    best.f2 = d2;
                }
            }
        }
    }
    return best;
}

Float3 cellularBump(RenderServices* services, Float3 q0, const BumpDirections& d) {
    CellSearch cells = searchCells(services, 0.285714f * q0);
    Float3 e = cells.e;
    // Near the border between two cells the slope fades out.
    float m = (cells.f2 - cells.f1) * 10.0f;
    if (0.0f <= m && m < 1.0f) e = m * e;
    float a = 2.555556f * cells.f1;
    e = 2.555556f * e;
    if (a < 0.0f || a > 1.2f) {
        e = Float3(0.0f);
    } else if (a < 0.2f) {
        e = 5.0f * a * e;
    } else if (1.0f < a && a <= 1.2f) {
        e = (6.0f - 5.0f * a) * e;
    }
    Float3 V(dot(e, d.d1), dot(e, d.d2), dot(e, d.d3));
    float w = (a < 0.0f || a > 1.0f) ? 1.0f : (a < 0.3f ? 1.0f - a / 0.3f : (a - 0.3f) / 0.7f);

    Float3 x = (q0 * 100.0f) * 0.0005f;
    float h0 = turbulence(services, x);
    Float3 g((turbulence(services, x + 0.1f * d.d1) - h0) * 10.0f, (turbulence(services, x + 0.1f * d.d2) - h0) * 10.0f,
             (turbulence(services, x + 0.1f * d.d3) - h0) * 10.0f);
    return (1.0f - h0) * V + (0.9f - w) * g;
}

}  // namespace ksi
