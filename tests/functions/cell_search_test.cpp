// The pruned search over neighbouring cells finds the same nearest and second-nearest feature
// points as a brute-force search over a larger neighbourhood.
#include <gtest/gtest.h>

#include <cmath>

#include "materials/ward/ward_noise.h"
#include "stub_services.h"

namespace {

using ksi::Float3;
using kestrel::testing::StubServices;

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

TEST(CellSearch, MatchesABruteForceSearch) {
    StubServices services;
    services.feature = hashedFeature;
    uint32_t state = 7u;
    auto uniform = [&]() {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) * (1.0f / 16777216.0f);
    };
    for (int n = 0; n < 300; ++n) {
        Float3 p(uniform() * 20.0f - 10.0f, uniform() * 20.0f - 10.0f, uniform() * 20.0f - 10.0f);
        ksi::CellSearch found = ksi::searchCells(&services, p);
        float f1 = 1e10f, f2 = 1e10f;
        Float3 base(std::floor(p.x), std::floor(p.y), std::floor(p.z));
        for (int i = -2; i <= 2; ++i) {
            for (int j = -2; j <= 2; ++j) {
                for (int k = -2; k <= 2; ++k) {
                    Float3 centre = base + Float3(0.5f) + Float3(float(i), float(j), float(k));
                    Float3 feature = centre + 0.5f * hashedFeature(centre);
                    Float3 d = p - feature;
                    float d2 = ksi::dot(d, d);
                    if (d2 < f1) {
                        f2 = f1;
                        f1 = d2;
                    } else if (d2 < f2) {
                        f2 = d2;
                    }
                }
            }
        }
        EXPECT_EQ(found.f1, f1) << "at " << p.x << " " << p.y << " " << p.z;
        EXPECT_EQ(found.f2, f2) << "at " << p.x << " " << p.y << " " << p.z;
        EXPECT_NEAR(ksi::dot(found.e, found.e), f1, 1e-5f);
    }
}

}  // namespace
