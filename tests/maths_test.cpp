// The value-type helpers of the SDK at the edges where a plausible rewrite would differ: zero
// lengths, NaN, empty ranges, exact constants and the row-vector matrix convention.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include <kestrel/types.h>

#include "shading_checks.h"

namespace {

using kestrel::testing::expectFloat3;
using ksi::Float3;

TEST(Maths, ConstantsHaveTheirExactFloatBits) {
    EXPECT_EQ(std::bit_cast<uint32_t>(ksi::kTwoPi), 0x40C90FDBu);
    EXPECT_EQ(std::bit_cast<uint32_t>(ksi::kHalfPi), 0x3FC90FDBu);
    EXPECT_EQ(std::bit_cast<uint32_t>(ksi::kInvPi), 0x3EA2F983u);
    EXPECT_EQ(std::bit_cast<uint32_t>(ksi::kDegToRad), 0x3C8EFA35u);
    EXPECT_EQ(std::bit_cast<uint32_t>(ksi::kRadToDeg), 0x42652EE0u);
    volatile float twoPi = 6.2831855f;  // the reciprocal is taken in single precision
    EXPECT_EQ(ksi::kInvTwoPi, 1.0f / twoPi);
    // The average uses the truncated third 0x3EAAAAAA, not the rounded 0x3EAAAAAB.
    EXPECT_EQ(std::bit_cast<uint32_t>(ksi::averageComponent({1.0f, 0.0f, 0.0f})), 0x3EAAAAAAu);
}

TEST(Maths, NormalizeLeavesTheZeroVectorAlone) {
    expectFloat3(ksi::normalize({0.0f, 0.0f, 0.0f}), {0.0f, 0.0f, 0.0f});
    expectFloat3(ksi::normalize({0.0f, 3.0f, 4.0f}), {0.0f, 3.0f * (1.0f / 5.0f), 4.0f * (1.0f / 5.0f)});
}

TEST(Maths, DivisionByAScalarMultipliesByTheReciprocal) {
    volatile float s = 3.0f;
    Float3 q = Float3(5.0f, 7.0f, 11.0f) / s;
    float r = 1.0f / s;
    expectFloat3(q, {5.0f * r, 7.0f * r, 11.0f * r});
    EXPECT_NE(5.0f * r, 5.0f / s) << "pick operands where the two forms differ";
}

TEST(Maths, ClampTestsTheLowerBoundFirstAndPassesNaN) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(ksi::clamp(nan, 0.0f, 1.0f)));
    EXPECT_TRUE(std::isnan(ksi::saturate(nan)));
    EXPECT_EQ(ksi::clamp(0.5f, 1.0f, 0.0f), 1.0f);  // crossed bounds: the lower one wins
    EXPECT_EQ(ksi::clamp(2.0f, 1.0f, 0.0f), 0.0f);
    EXPECT_EQ(ksi::clamp(-2.0f, 0.0f, 1.0f), 0.0f);
}

TEST(Maths, SmoothstepEndsAndMidpoint) {
    EXPECT_EQ(ksi::smoothstep(1.0f, 3.0f, 0.0f), 0.0f);
    EXPECT_EQ(ksi::smoothstep(1.0f, 3.0f, 1.0f), 0.0f);
    EXPECT_EQ(ksi::smoothstep(1.0f, 3.0f, 2.0f), 0.5f);
    EXPECT_EQ(ksi::smoothstep(1.0f, 3.0f, 3.0f), 1.0f);
    EXPECT_EQ(ksi::smoothstep(1.0f, 3.0f, 9.0f), 1.0f);
    EXPECT_EQ(ksi::smoothstep(0.0f, 4.0f, 1.0f), (3.0f - 2.0f * 0.25f) * (0.25f * 0.25f));
}

TEST(Maths, LinearStepWithAnEmptyRange) {
    EXPECT_EQ(ksi::linearStep(0.5f, 0.5f, 0.25f), 0.0f);
    EXPECT_EQ(ksi::linearStep(0.5f, 0.5f, 0.75f), 1.0f);
    EXPECT_EQ(ksi::linearStep(0.5f, 0.5f, 0.5f), 0.5f);  // x itself
    EXPECT_EQ(ksi::linearStep(1.0f, 3.0f, 2.5f), 0.75f);
}

TEST(Maths, SignAndFaceForwardNormal) {
    EXPECT_EQ(ksi::sign(-0.0f), 0.0f);
    EXPECT_EQ(ksi::sign(std::numeric_limits<float>::quiet_NaN()), 0.0f);
    EXPECT_EQ(ksi::sign(-3.0f), -1.0f);
    const Float3 n{0.0f, 0.6f, 0.8f}, g{0.0f, 0.0f, 1.0f};
    expectFloat3(ksi::faceForwardNormal(n, {0.0f, 0.0f, -1.0f}, g), n);   // arriving against g
    expectFloat3(ksi::faceForwardNormal(n, {0.0f, 0.0f, 1.0f}, g), -n);   // arriving with g
    Float3 perpendicular = ksi::faceForwardNormal(n, {1.0f, 0.0f, 0.0f}, g);
    EXPECT_TRUE(ksi::isZero(perpendicular));
}

TEST(Maths, DistanceAttenuationUsesOnlyReferenceAndExponent) {
    EXPECT_EQ(ksi::distanceAttenuation(5.0f, {10.0f, 2.0f, 9.0f}), 0.75f);
    EXPECT_EQ(ksi::distanceAttenuation(0.5f, {10.0f, 0.0f, 0.0f}), 0.0f);  // pow(., 0) = 1
    EXPECT_EQ(ksi::distanceAttenuation(20.0f, {10.0f, 1.0f, 7.0f}), 0.0f);
    EXPECT_EQ(ksi::powerBlend(0.5f, 2.0f, 1.0f, 3.0f), 1.0f + 2.0f * 0.25f);
}

TEST(Maths, MatricesMultiplyRowVectorsFromTheLeft) {
    // Rows (1, 0, 0), (0, 1, 0), (tx, ty, 1): a 2-D translation.
    const ksi::Float3x3 translate{{1, 0, 0, 0, 1, 0, 0.25f, -2.0f, 1}};
    expectFloat3(Float3(3.0f, 5.0f, 1.0f) * translate, {3.25f, 3.0f, 1.0f});
    ksi::Float2 uv = ksi::transformUv({3.0f, 5.0f}, translate);
    EXPECT_EQ(uv.x, 3.25f);
    EXPECT_EQ(uv.y, 3.0f);

    const ksi::Float3x3 m{{1, 2, 3, 4, 5, 6, 7, 8, 9}};
    expectFloat3(Float3(1.0f, 10.0f, 100.0f) * m, {741.0f, 852.0f, 963.0f});
    EXPECT_EQ(ksi::row(m, 1).y, 5.0f);

    ksi::Float4x4 t = ksi::Float4x4::identity();
    t.m[1] = 2.0f;                                   // x feeds y
    t.m[12] = 10.0f, t.m[13] = 20.0f, t.m[14] = 30.0f;  // translation in the last row
    t.m[3] = 99.0f;                                  // fourth column: ignored by points' xyz
    ksi::Float4 p = ksi::transformPoint({1.0f, 1.0f, 1.0f}, t);
    EXPECT_EQ(p.x, 11.0f);
    EXPECT_EQ(p.y, 23.0f);
    EXPECT_EQ(p.z, 31.0f);
    expectFloat3(ksi::transformDirection({1.0f, 1.0f, 1.0f}, t), {1.0f, 3.0f, 1.0f});
    ksi::Float4 v = ksi::Float4(1.0f, 1.0f, 1.0f, 1.0f) * t;
    EXPECT_EQ(v.x, 11.0f);
    EXPECT_EQ(v.w, 100.0f);

    // Every entry distinct: out_j = sum_i v_i M[i][j], and a point takes 1 for its fourth component.
    const ksi::Float4x4 full{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
    const ksi::Float4 w = ksi::Float4(1.0f, 10.0f, 100.0f, 1000.0f) * full;
    const ksi::Float4 q = ksi::transformPoint({1.0f, 10.0f, 100.0f}, full);
    const float expected[2][4] = {{13951, 15062, 16173, 17284}, {964, 1076, 1188, 1300}};
    for (int k = 0; k < 2; ++k) {
        const ksi::Float4 got = k == 0 ? w : q;
        EXPECT_EQ(got.x, expected[k][0]);
        EXPECT_EQ(got.y, expected[k][1]);
        EXPECT_EQ(got.z, expected[k][2]);
        EXPECT_EQ(got.w, expected[k][3]);
    }
}

TEST(Maths, VectorHelpersFollowTheirFormulas) {
    expectFloat3(ksi::reflect({1.0f, 0.0f, -1.0f}, {0.0f, 0.0f, 1.0f}), {1.0f, 0.0f, 1.0f});
    expectFloat3(ksi::cross({1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}), {0.0f, 0.0f, 1.0f});
    expectFloat3(ksi::lerp(Float3(0.1f), Float3(0.7f), 1.0f), Float3(0.7f));
    EXPECT_EQ(ksi::maxComponent({1.0f, 3.0f, 2.0f}), 3.0f);
    EXPECT_FALSE(Float3(1.0f, 2.0f, 3.0f) == Float3(1.0f, 2.0f, 4.0f));
    EXPECT_TRUE(ksi::isZero({-0.0f, 0.0f, 0.0f}));
}

}  // namespace
