// The Ward family's procedural noise: the band-limited noise at values worked out by hand, the
// ridged and cellular bumps against the formulas written out in double precision, and the pruned
// cell search against a brute-force search over a larger neighbourhood.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "materials/ward/ward_noise.h"
#include "stub_services.h"

namespace {

using ksi::Float3;
using ksi::Float4;
using kestrel::testing::StubServices;

const ksi::BumpDirections kAxes{{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}};
constexpr double kNoiseMean = 0.2160714;

TEST(WardNoise, FilteredNoiseByTypeLevelAndThresholds) {
    // The host noise is -0.3 + 0.05 x + 0.01 phase, sampled at x = 1, 2, 4 for octaves 0, 1, 2.
    StubServices services;
    services.noise4 = [](const Float4& p) { return -0.3f + 0.05f * p.x + 0.01f * p.w; };
    struct Case {
        const char* what;
        ksi::NoiseBand band;  // levels, blur, type, phase, lo, hi
        double expected;
    };
    const Case cases[] = {
        {"plain", {2.0f, 0.1f, 0, 0.0f, 0.0f, 0.0f}, 0.375},  // (n + 1) / 2
        {"plain with phase", {2.0f, 0.1f, 0, 2.0f, 0.0f, 0.0f}, 0.385},
        // Levels 2.5: octaves 1 and 2 whole, the third at half weight: -0.25 - 0.2/2 - 0.5 0.1/4
        {"fractal sum", {2.5f, 0.1f, 1, 0.0f, 0.0f, 0.0f}, (1.0 - 0.3625) * 0.5},
        {"turbulence", {2.5f, 0.1f, 2, 0.0f, 0.0f, 0.0f}, 0.3625},
        {"unknown type", {2.5f, 0.1f, 7, 0.0f, 0.0f, 0.0f}, 0.0},
        // Below one level the value fades towards the mean: f = (L + 3) / 4 = 0.5.
        {"fading", {-1.0f, 0.1f, 0, 0.0f, 0.0f, 0.0f}, 0.5 * kNoiseMean + 0.5 * 0.375},
        {"averaged out", {-4.0f, 0.1f, 0, 0.0f, 0.0f, 0.0f}, kNoiseMean},
        // 0.375 lies on the straight part of the ramp from 0.2 to 0.6.
        {"thresholds", {2.0f, 0.1f, 0, 0.0f, 0.2f, 0.6f}, 0.175 / 0.4},
        // Within the blur of a threshold the ramp rounds off: t = (v - (lo - w)) / 2w = 0.875 below,
        // (3 - 2t) t^2 lin; t = 0.375 above, lin (1 - s) + s with s = (3 - 2t) t^2.
        {"lower corner", {2.0f, 0.1f, 0, 0.0f, 0.3f, 0.7f}, 1.25 * 0.765625 * 0.1875},
        {"upper corner", {2.0f, 0.1f, 0, 0.0f, 0.0f, 0.4f}, 0.9375 * (1 - 0.31640625) + 0.31640625},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_NEAR(ksi::filteredNoise(&services, Float3(1.0f, 0.0f, 0.0f), c.band), c.expected, 1e-6);
    }
}

// The ridge of a host noise value n, shaped near the middle and the top of y = n/2 + 1/2.
double ridgeOf(double n) {
    double y = 0.5 * n + 0.5;
    if (std::fabs(y) < 0.4) {
        double t = std::clamp((y + 0.4) / 0.8, 0.0, 1.0);
        y = (3 - 2 * t) * t * t * y;
    } else if (0.6 < y && y < 1.4) {
        double t = std::clamp((y - 0.6) / 0.8, 0.0, 1.0), s = (3 - 2 * t) * t * t;
        y = (1 - s) * y + s;
    }
    return (1 - 0.169518605) * kNoiseMean + 0.169518605 * y;
}

TEST(WardNoise, RidgedBumpIsTheGradientOfTheRidge) {
    // Noise n = x + 2 y: the three points put y in the lower shaping, the upper one, and between.
    StubServices services;
    services.noise4 = [](const Float4& p) { return p.x + 2.0f * p.y; };
    for (const Float3& q : {Float3(-0.6f, 0.0f, 0.0f), Float3(0.6f, 0.0f, 0.0f), Float3(0.1f, 0.0f, 0.0f)}) {
        SCOPED_TRACE(q.x);
        const double n = q.x, h0 = ridgeOf(n);
        Float3 r = ksi::ridgedNoiseBump(&services, q, kAxes);
        EXPECT_NEAR(r.x, (ridgeOf(n + 0.1) - h0) * 10, 1e-4);
        EXPECT_NEAR(r.y, (ridgeOf(n + 0.2) - h0) * 10, 1e-4);
        EXPECT_EQ(r.z, 0.0f);
    }
}

// A feature point per cell, each component in [-1, 1] (half cells), from a hash of the centre.
Float3 hashedFeature(const Float3& c) {
    auto h = [](float x, float y, float z, uint32_t salt) {
        uint32_t v = (static_cast<uint32_t>(static_cast<int32_t>(std::floor(x))) * 73856093u) ^
                     (static_cast<uint32_t>(static_cast<int32_t>(std::floor(y))) * 19349663u) ^
                     (static_cast<uint32_t>(static_cast<int32_t>(std::floor(z))) * 83492791u) ^ salt;
        v ^= v >> 13;
        v *= 0x5bd1e995u;
        v ^= v >> 15;
        return static_cast<float>(v & 0xffffu) / 32767.5f - 1.0f;
    };
    return {h(c.x, c.y, c.z, 1u), h(c.x, c.y, c.z, 2u), h(c.x, c.y, c.z, 3u)};
}

struct Cells {
    float f1, f2;
    Float3 e;
};

Cells bruteForceCells(Float3 p) {
    Cells best{1e10f, 1e10f, Float3(0.0f)};
    Float3 base(std::floor(p.x), std::floor(p.y), std::floor(p.z));
    for (int i = -2; i <= 2; ++i) {
        for (int j = -2; j <= 2; ++j) {
            for (int k = -2; k <= 2; ++k) {
                Float3 centre = base + Float3(0.5f) + Float3(float(i), float(j), float(k));
                Float3 d = p - (centre + 0.5f * hashedFeature(centre));
                float d2 = ksi::dot(d, d);
                if (d2 < best.f1) {
                    best = {d2, best.f1, d};
                } else if (d2 < best.f2) {
                    best.f2 = d2;
                }
            }
        }
    }
    return best;
}

// Five octaves of absolute noise, compressed towards 1.
double turbulenceOf(const StubServices& services, Float3 y) {
    double s = 0;
    for (int k = 0; k < 5; ++k) s += std::fabs(services.noise3(float(1 << k) * y)) / (1 << k);
    return s > 1 ? 1 : std::pow(s, 0.25);
}

TEST(WardNoise, CellularBumpShapesTheNearestCellAndAddsTurbulence) {
    StubServices services;
    services.feature = hashedFeature;
    services.noise3 = [](const Float3& p) { return 0.6f * std::sin(1.7f * p.x + 2.3f * p.y + 3.1f * p.z); };
    uint32_t state = 11u;
    auto uniform = [&]() {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) * (1.0f / 16777216.0f);
    };
    for (int n = 0; n < 60; ++n) {
        const Float3 q0(uniform() * 40.0f - 20.0f, uniform() * 40.0f - 20.0f, uniform() * 40.0f - 20.0f);
        SCOPED_TRACE(::testing::Message() << q0.x << " " << q0.y << " " << q0.z);
        const Cells c = bruteForceCells(0.285714f * q0);
        double e[3] = {c.e.x, c.e.y, c.e.z};
        const double m = (double(c.f2) - c.f1) * 10, a = 2.555556 * c.f1;
        double scale = (0 <= m && m < 1 ? m : 1) * 2.555556;
        if (a < 0 || a > 1.2) {
            scale = 0;
        } else if (a < 0.2) {
            scale *= 5 * a;
        } else if (1 < a) {
            scale *= 6 - 5 * a;
        }
        const double w = (a < 0 || a > 1) ? 1 : (a < 0.3 ? 1 - a / 0.3 : (a - 0.3) / 0.7);
        const Float3 x = (q0 * 100.0f) * 0.0005f;
        const double h0 = turbulenceOf(services, x);
        const Float3 steps[3] = {x + Float3(0.1f, 0.0f, 0.0f), x + Float3(0.0f, 0.1f, 0.0f), x + Float3(0.0f, 0.0f, 0.1f)};
        Float3 r = ksi::cellularBump(&services, q0, kAxes);
        const float got[3] = {r.x, r.y, r.z};
        for (int i = 0; i < 3; ++i) {
            const double g = (turbulenceOf(services, steps[i]) - h0) * 10;
            EXPECT_NEAR(got[i], (1 - h0) * scale * e[i] + (0.9 - w) * g, 2e-4) << "axis " << i;
        }
    }
}

TEST(CellSearch, MatchesABruteForceSearch) {
    StubServices services;
    uint32_t state = 7u;
    auto uniform = [&]() {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) * (1.0f / 16777216.0f);
    };
    for (int n = 0; n < 300; ++n) {
        Float3 p(uniform() * 20.0f - 10.0f, uniform() * 20.0f - 10.0f, uniform() * 20.0f - 10.0f);
        // The search asks the host only for cells whose box lies nearer than the second-nearest
        // point found so far.
        float f1 = 1e10f, f2 = 1e10f;
        services.feature = [&](const Float3& c) {
            const float offsets[3] = {c.x - 0.5f - std::floor(p.x), c.y - 0.5f - std::floor(p.y),
                                      c.z - 0.5f - std::floor(p.z)};
            const float fractions[3] = {p.x - std::floor(p.x), p.y - std::floor(p.y), p.z - std::floor(p.z)};
            float box = 0.0f;
            for (int a = 0; a < 3; ++a) {
                const float gap = offsets[a] < 0 ? fractions[a] : (offsets[a] > 0 ? 1.0f - fractions[a] : 0.0f);
                box += gap * gap;
            }
            EXPECT_LT(box, f2);
            Float3 d = p - (c + 0.5f * hashedFeature(c));
            const float d2 = ksi::dot(d, d);
            f2 = d2 < f1 ? f1 : std::min(f2, d2);
            f1 = std::min(f1, d2);
            return hashedFeature(c);
        };
        ksi::CellSearch found = ksi::searchCells(&services, p);
        const Cells expected = bruteForceCells(p);
        EXPECT_EQ(found.f1, expected.f1) << "at " << p.x << " " << p.y << " " << p.z;
        EXPECT_EQ(found.f2, expected.f2) << "at " << p.x << " " << p.y << " " << p.z;
        EXPECT_NEAR(ksi::dot(found.e, found.e), expected.f1, 1e-5f);
    }
}

}  // namespace
