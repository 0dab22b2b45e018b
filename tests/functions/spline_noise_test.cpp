// The spline noise of the metals against a direct sum over its 27 lattice points with the
// quadratic B-spline weights, and the fleck value built on it.
#include <gtest/gtest.h>

#include <cmath>

#include "shading/metal_lobes.h"
#include "stub_services.h"

namespace {

using ksi::Float3;
using kestrel::testing::StubServices;

float latticeHash(const Float3& p) {
    uint32_t v = (static_cast<uint32_t>(static_cast<int32_t>(p.x)) * 73856093u) ^
                 (static_cast<uint32_t>(static_cast<int32_t>(p.y)) * 19349663u) ^
                 (static_cast<uint32_t>(static_cast<int32_t>(p.z)) * 83492791u);
    v ^= v >> 13;
    v *= 0x5bd1e995u;
    v ^= v >> 15;
    return static_cast<float>(v & 0xffffu) / 32767.5f - 1.0f;
}

// B-spline weights of one axis, written out from the quadratic basis (the shift away from the
// origin is made in single precision, as the shader makes it).
void weights(float x, double* base, double w[3], double dw[3]) {
    double c = x >= -39999.0f ? x + 40000.0f : -39998.0f - x;
    *base = std::floor(c - 0.5);
    double t = (c - 0.5) - *base;
    w[0] = 0.5 * (1 - t) * (1 - t), w[1] = 0.75 - (t - 0.5) * (t - 0.5), w[2] = 0.5 * t * t;
    dw[0] = -(1 - t), dw[1] = -2 * (t - 0.5), dw[2] = t;
}

TEST(SplineNoise, EqualsTheDirectSumOverItsLatticePoints) {
    StubServices services;
    services.lattice = latticeHash;
    const Float3 points[] = {{0.3f, 1.7f, -2.2f}, {10.5f, -4.25f, 0.0f}, {-39999.5f, 3.1f, 7.9f}};
    for (const Float3& x : points) {
        double bx, by, bz, wx[3], wy[3], wz[3], dx[3], dy[3], dz[3];
        weights(x.x, &bx, wx, dx);
        weights(x.y, &by, wy, dy);
        weights(x.z, &bz, wz, dz);
        double value = 0, gx = 0, gy = 0, gz = 0;
        for (int a = 0; a < 3; ++a)
            for (int b = 0; b < 3; ++b)
                for (int c = 0; c < 3; ++c) {
                    double v = latticeHash(Float3(float(bx + a), float(by + b), float(bz + c)));
                    value += v * wx[a] * wy[b] * wz[c];
                    gx += v * dx[a] * wy[b] * wz[c];
                    gy += v * wx[a] * dy[b] * wz[c];
                    gz += v * wx[a] * wy[b] * dz[c];
                }
        ksi::NoiseWithGradient n = ksi::splineNoise(&services, x);
        EXPECT_NEAR(n.value, value, 1e-5);
        EXPECT_NEAR(n.gradient.x, gx, 1e-5);
        EXPECT_NEAR(n.gradient.y, gy, 1e-5);
        EXPECT_NEAR(n.gradient.z, gz, 1e-5);
    }
}

TEST(SplineNoise, FleckValueIsTheNoiseAtTheJitteredCellRaisedToTheDensity) {
    StubServices services;
    services.lattice = latticeHash;
    const Float3 p(2.3f, -0.7f, 5.1f);
    ksi::NoiseWithGradient first = ksi::splineNoise(&services, p);
    Float3 q(std::floor(p.x + 2.0f * first.gradient.x), std::floor(p.y + 2.0f * first.gradient.y),
             std::floor(p.z + 2.0f * first.gradient.z));
    ksi::NoiseWithGradient second = ksi::splineNoise(&services, q);
    ksi::Fleck fleck = ksi::fleckValue(&services, p, 2.5f, 0.05f);
    EXPECT_EQ(fleck.value, std::pow(std::fabs(second.value), 2.5f));
    EXPECT_EQ(fleck.offset.x, second.gradient.x * 0.05f);
}

}  // namespace
