// The Ward lobe functions at points worked out independently: the concentric disk map in each of
// its regions, the direction pairs the lobe rejects, and one draw from the diffuse side of the
// sampling mixture, whose value and density follow from the Ward formulas in double precision.
#include <gtest/gtest.h>

#include <cmath>

#include "shading/ward_lobe.h"
#include "stub_services.h"

namespace {

using ksi::Float3;
using kestrel::testing::StubServices;

TEST(WardLobe, ConcentricDiskGivesEachRegionItsAngle) {
    // Every point lies at radius 0.5 of the disk, pulled in by 1e-6; (a, b) = (2 u1 - 1, 2 u2 - 1).
    struct Case {
        float u1, u2;
        double r, phi;
    };
    const Case cases[] = {
        {0.75f, 0.6f, 0.5, M_PI / 10},   // right: pi/4 * b/a with a = 0.5, b = 0.2
        {0.6f, 0.75f, 0.5, 0.4 * M_PI},  // top: pi/4 * (2 - a/b)
        {0.25f, 0.4f, 0.5, 1.1 * M_PI},  // left: pi/4 * (4 + b/a)
        {0.4f, 0.25f, 0.5, 1.4 * M_PI},  // bottom: pi/4 * (6 - a/b)
        {0.5f, 0.5f, 0.0, 0.0},          // centre
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.u1 << ", " << c.u2);
        ksi::DiskSample s = ksi::concentricDiskSample(c.u1, c.u2);
        const double r = c.r - 1e-6;
        EXPECT_NEAR(s.r, r, 1e-6);
        EXPECT_NEAR(s.x, r * std::cos(c.phi), 1e-6);
        EXPECT_NEAR(s.y, r * std::sin(c.phi), 1e-6);
    }
}

TEST(WardLobe, RejectedPairsReflectNothing) {
    const Float3 D(0.5f), S(0.5f);
    struct Case {
        const char* what;
        Float3 I, L;
    };
    const Case cases[] = {
        {"light below the surface", {0.0f, 0.0f, -1.0f}, {0.6f, 0.0f, -0.8f}},
        {"view leaving the surface", {0.0f, 0.0f, 1.0f}, {0.6f, 0.0f, 0.8f}},
        {"grazing view", {1.0f, 0.0f, -0.00005f}, {0.0f, 0.0f, 1.0f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Float3 value = ksi::wardBrdf(c.I, c.L, D, S, 0.3f, 0.2f);
        EXPECT_EQ(value.x, 0.0f);
        ksi::WardEvaluation evaluation = ksi::wardBrdfAndPdf(c.I, c.L, D, S, 0.3f, 0.2f);
        EXPECT_EQ(evaluation.value.x, 0.0f);
        EXPECT_EQ(evaluation.pdf, -1.0f);
    }
}

TEST(WardLobe, DiffuseDrawOfTheMixtureCarriesTheWardValueAndTheMixtureDensity) {
    // random() = 0.25 picks the diffuse side (chance 0.5); random2D() = (0.75, 0.6) lands on the
    // disk at radius 0.5 - 1e-6 and angle pi/10, lifted to the hemisphere.
    StubServices services;
    services.randoms = {0.25f, 0.75f, 0.6f};
    const double ax = 0.3, ay = 0.2, r = 0.5 - 1e-6, phi = M_PI / 10;
    const double I[3] = {std::sin(0.5), 0.0, -std::cos(0.5)};
    const double L[3] = {r * std::cos(phi), r * std::sin(phi), std::sqrt(1 - r * r)};
    const Float3 D(0.4f, 0.3f, 0.2f), S(0.6f);
    ksi::WardMixtureSample s =
        ksi::sampleWardMixture(&services, Float3(float(I[0]), float(I[1]), float(I[2])), D, S, 0.3f, 0.2f, 0.5f);

    double h[3] = {L[0] - I[0], L[1] - I[1], L[2] - I[2]};
    const double len = std::sqrt(h[0] * h[0] + h[1] * h[1] + h[2] * h[2]);
    for (double& c : h) c /= len;
    const double e = std::exp(-((h[0] / ax) * (h[0] / ax) + (h[1] / ay) * (h[1] / ay)) / (h[2] * h[2]));
    const double k = 1 / (std::sqrt(-I[2] * L[2]) * 4 * M_PI * ax * ay);
    const double hDotI = h[0] * I[0] + h[1] * I[1] + h[2] * I[2];
    const double pdf = e / (-hDotI * 4 * M_PI * ax * ay * h[2] * h[2] * h[2]);
    ASSERT_TRUE(s.drawn);
    EXPECT_NEAR(s.direction.x, L[0], 1e-6);
    EXPECT_NEAR(s.direction.y, L[1], 1e-6);
    EXPECT_NEAR(s.direction.z, L[2], 1e-6);
    EXPECT_NEAR(s.value.x, 0.4 / M_PI + 0.6 * k * e, 1e-5 * s.value.x);
    EXPECT_NEAR(s.value.z, 0.2 / M_PI + 0.6 * k * e, 1e-5 * s.value.z);
    EXPECT_NEAR(s.mixturePdf, 0.5 * pdf + 0.5 * L[2] / M_PI, 1e-5 * s.mixturePdf);
}

}  // namespace
