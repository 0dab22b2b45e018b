// The XRite car paint: the flake grid (count, edge weights, footprint), the
// glint and sparkle branches, the sRGB base, the Fresnel quadruple, the normal flips, solid mode,
// missing textures, masking, and hostile grid settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using kestrel::ParamValue;
using ksi::Float3;
using ksi::Float4;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// The sRGB curve written out from its definition.
float srgb(float x) { return x <= 0.0031308f ? 12.92f * x : 1.055f * std::pow(x, 0.41666666f) - 0.055f; }

// An XRite with recording textures bound as each test chooses, and a record looking straight down
// the -z axis at the origin from `distance` away.
struct Paint {
    kestrel::ShaderInstance shader = createShader("XRite");
    RecordingServices services;
    RecordingImageTexture flakes;
    RecordingCubeTexture diffuse, specular, reflect;
    ksi::ShadingRecord record = presetRecord();

    Paint() {
        record.position = {0.0f, 0.0f, 0.0f};
        record.rayOrigin = {0.0f, 0.0f, 1.0f};
    }
    void bindAll() {
        shader.bindTexture("flakeNormalTexture", &flakes);
        shader.bindTexture("diffuseCube", &diffuse);
        shader.bindTexture("specularCube", &specular);
        shader.bindTexture("reflectCube", &reflect);
    }
    // Fresnel F = 0 everywhere, so glints and base pass unweighted.
    void noFresnel() { shader.set("fresnel", Float4(0.0f, 0.0f, 1.0f, 1.0f)); }
    // A grid of g cells a side whatever the footprint: the eye is far enough to hit the cap.
    void gridOf(float g) {
        shader.set("maxFlakes", g);
        shader.set("flakeFactor", 1.0f);
        record.rayOrigin = {0.0f, 0.0f, 1.0e6f};
    }
    Float3 shade() {
        shader.material().shade(&services, &record);
        return record.outColor.xyz();
    }
    std::size_t cells() const { return flakes.lookups.size(); }
};

// The grid is count x count cells; a fractional size adds a partial row and column, a size within
// 0.0001 above a whole number does not. Cell (i, j) reads the flake map at
// (x ff + i s, ((z - floor z) / 16 + floor(128 y) / 128) 16 ff + j s).
TEST(XRiteFlakeGrid, CountAndCoordinatesAtWholeAndFractionalSizes) {
    struct Case {
        float g;
        int count;
    } const cases[] = {{3.0f, 3}, {3.5f, 4}, {3.00005f, 3}, {3.0002f, 4}, {0.5f, 1}, {1.0f, 1}, {0.0f, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "g " << c.g);
        Paint paint;
        paint.bindAll();
        paint.gridOf(c.g);
        paint.shader.set("flakeSize", 0.125f);
        paint.record.position = {0.3f, 0.02f, 2.75f};  // row code (0.75/16 + 2/128) x 16 = 1
        paint.record.rayOrigin = {0.3f, 0.02f, 1.0e6f};
        paint.shade();
        std::multiset<std::pair<float, float>> expected, actual;
        for (int i = 0; i < c.count; ++i)
            for (int j = 0; j < c.count; ++j) expected.insert({0.3f + i * 0.125f, 1.0f + j * 0.125f});
        for (const ksi::Float2& uv : paint.flakes.lookups) actual.insert({uv.x, uv.y});
        EXPECT_EQ(actual, expected);
    }
}

// One flake in the grid glints (its normal is the surface normal and the reflection cube reads
// 2 per channel); all others face away. The glint is its weight over the sum of all weights:
// first row and column weigh the fraction e, the corner e squared, every other cell 1.
TEST(XRiteFlakeGrid, EdgeWeightsOfTheFirstRowAndColumn) {
    struct Case {
        float g;
        int i, j;     // the glinting cell
        float q;      // its weight
        float total;  // the sum of all weights
    } const cases[] = {
        {3.5f, 0, 0, 0.25f, 12.25f}, {3.5f, 0, 2, 0.5f, 12.25f}, {3.5f, 3, 0, 0.5f, 12.25f},
        {3.5f, 3, 3, 1.0f, 12.25f},  {3.0f, 0, 0, 1.0f, 9.0f},   {3.0f, 2, 1, 1.0f, 9.0f},
        {2.25f, 0, 0, 0.0625f, 5.0625f}, {2.25f, 1, 0, 0.25f, 5.0625f}, {2.25f, 2, 2, 1.0f, 5.0625f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "g " << c.g << " cell " << c.i << "," << c.j);
        Paint paint;
        paint.bindAll();
        paint.gridOf(c.g);
        paint.noFresnel();
        paint.shader.set("coarseness", 1.0f);
        paint.shader.set("flakeColor", Float3(1.0f));
        paint.shader.set("flakeSize", 0.125f);  // cell (i, j) sits at (i/8, j/8)
        paint.flakes.function = [&](ksi::Float2 uv) {
            bool glints = uv.x * 8.0f == c.i && uv.y * 8.0f == c.j;
            return Float4(0.5f, 0.5f, glints ? 1.0f : 0.0f, 1.0f);
        };
        paint.reflect.texel = {2.0f, 2.0f, 2.0f, 1.0f};
        Float3 color = paint.shade();
        EXPECT_EQ(paint.reflect.lookups.size(), 1u);
        const float expected = 2.0f * c.q * (1.0f / (c.total + 0.01f));
        expectFloat3(color, Float3(expected));
    }
}

// The footprint in cells is 0.0025 x distance / (sqrt(cos) x flakeSize), capped by maxFlakes; at
// a view cosine below 0.0001 (grazing, or the back side) it is maxFlakes outright.
TEST(XRiteFlakeGrid, FootprintGrowsWithDistanceAndGrazingUpToTheCap) {
    struct Case {
        float distance, cosine;
        int count;  // with the defaults: flakeSize 1/512, maxFlakes 7, flakeFactor 4
    } const cases[] = {
        {1.0f, 1.0f, 6},        // w = 1.28, g = 5.12
        {2.0f, 1.0f, 11},       // w = 2.56
        {1.0f, 0.25f, 11},      // w = 1.28 / 0.5
        {10.0f, 1.0f, 28},      // w = 12.8, capped at 7
        {0.001f, 0.0001f, 1},   // w = 0.128 at the smallest cosine still measured
        {0.001f, 0.00009f, 28}, // grazing: the cap, however near
        {0.001f, -0.5f, 28},    // seen from behind
        {0.0f, 1.0f, 0},        // the eye on the point: nothing to gather
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "distance " << c.distance << " cos " << c.cosine);
        Paint paint;
        paint.bindAll();
        const float s = std::sqrt(1.0f - c.cosine * c.cosine);
        paint.record.rayDir = {s, 0.0f, -c.cosine};
        paint.record.rayOrigin = paint.record.position - c.distance * paint.record.rayDir;
        paint.shade();
        EXPECT_EQ(paint.cells(), static_cast<std::size_t>(c.count * c.count));
    }
}

// A flake glints only when its normal's z is strictly above contributionFactor.
TEST(XRiteFlakes, GlintNeedsNormalAboveTheContributionFactor) {
    struct Case {
        float factor, blue;
        bool glints;
    } const cases[] = {
        {0.75f, 0.75f, false}, {0.75f, std::nextafter(0.75f, 1.0f), true}, {0.75f, 0.5f, false},
        {0.2f, 0.2f, false},   {0.2f, 0.25f, true},                        {-2.0f, 0.0f, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "factor " << c.factor << " blue " << c.blue);
        Paint paint;
        paint.bindAll();
        paint.gridOf(2.0f);
        paint.shader.set("contributionFactor", c.factor);
        paint.flakes.texel = {0.5f, 0.5f, c.blue, 1.0f};
        paint.shade();
        EXPECT_EQ(paint.reflect.lookups.size(), c.glints ? 4u : 0u);
        EXPECT_EQ(paint.specular.lookups.size(), 4u) << "every cell sparkles";
    }
}

// Cube light up to a channel sum of 3 fades as (sum/3)^4 times the flake colour; brighter glints
// take the cube's colour (times specIntensity, which also scales the sum), brighter sparkle stays
// at the flake colour. A single cell, weight 1, normalised by 1/(1 + 0.01).
TEST(XRiteFlakes, GlintAndSparkleBranchesAroundACubeSumOfThree) {
    const float norm = 1.0f / (1.0f + 0.01f);
    struct Case {
        Float3 cube;
        float specIntensity;
        Float3 glint, sparkle;
    } const cases[] = {
        {{0.25f, 0.5f, 0.75f}, 1.0f, Float3(0.015625f), Float3(0.015625f)},  // sum 1.5: (1/2)^4
        {{0.5f, 1.0f, 1.5f}, 1.0f, Float3(0.25f), Float3(0.25f)},            // exactly 3: the fade branch
        {{0.25f, 0.5f, 0.75f}, 2.0f, Float3(0.25f), Float3(0.015625f)},      // 2 x 1.5 = 3 for the glint
        {{1.0f, 2.0f, 3.0f}, 1.0f, {0.25f, 0.5f, 0.75f}, Float3(0.25f)},     // sum 6
        {{0.25f, 0.5f, 0.75f}, 4.0f, {0.25f, 0.5f, 0.75f}, Float3(0.015625f)},  // 4 x 1.5 = 6
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "cube " << c.cube.x << "," << c.cube.y << "," << c.cube.z << " spec "
                                        << c.specIntensity);
        for (bool glint : {true, false}) {
            SCOPED_TRACE(glint ? "glint" : "sparkle");
            Paint paint;
            paint.gridOf(1.0f);
            paint.noFresnel();
            paint.shader.bindTexture("flakeNormalTexture", &paint.flakes);
            // Coarseness picks one of the two terms; each term's cube is the only one bound.
            paint.shader.set("coarseness", glint ? 1.0f : 0.0f);
            paint.shader.bindTexture(glint ? "reflectCube" : "specularCube", glint ? &paint.reflect : &paint.specular);
            paint.shader.set("specIntensity", c.specIntensity);
            paint.shader.set("flakeColor", Float3(0.25f));
            paint.shader.set("flakeColor2", Float3(0.125f));
            paint.shader.set("diffIntensity", 2.0f);  // scales the sparkle only
            paint.flakes.texel = {0.5f, 0.5f, 1.0f, 1.0f};
            paint.reflect.texel = paint.specular.texel = Float4(c.cube, 1.0f);
            Float3 color = paint.shade();
            Float3 expected = glint ? c.glint : c.sparkle;
            expectFloat3(color, {expected.x * norm, expected.y * norm, expected.z * norm});
        }
    }
}

// Sparkle adds at (1 - coarseness); glints at coarseness, under the coat's (1 - F) cubed; the
// sum is then dimmed by (1 - F) once more before the reflection is added.
TEST(XRiteFlakes, FlakesAddToTheBaseUnderTheCoat) {
    Paint paint;
    paint.bindAll();
    paint.gridOf(1.0f);
    paint.shader.set("xriteDiffuse", Float3(1.0f));
    paint.flakes.texel = {0.5f, 0.5f, 1.0f, 1.0f};
    paint.diffuse.texel = {0.25f, 0.25f, 0.25f, 1.0f};
    paint.reflect.texel = {2.0f, 2.0f, 2.0f, 1.0f};      // sum 6: flakeColor x 2
    paint.specular.texel = {0.5f, 1.0f, 1.5f, 1.0f};     // sum 3: flakeColor2 as it is
    paint.services.traceAnswer = Float3(0.5f);
    Float3 color = paint.shade();
    const float F = 0.04f, k = 0.656f, norm = 1.0f / 1.01f;
    const Float3 flakeColor{0.104f, 0.106f, 0.108f}, flakeColor2{0.0953f, 0.0958f, 0.0976f};
    const float coat = (1.0f - F) * (1.0f - F) * (1.0f - F);
    const float expected[] = {
        (srgb(0.25f) + (1.0f - k) * flakeColor2.x * norm + coat * k * 2.0f * flakeColor.x * norm) * (1.0f - F) + 0.5f * F,
        (srgb(0.25f) + (1.0f - k) * flakeColor2.y * norm + coat * k * 2.0f * flakeColor.y * norm) * (1.0f - F) + 0.5f * F,
        (srgb(0.25f) + (1.0f - k) * flakeColor2.z * norm + coat * k * 2.0f * flakeColor.z * norm) * (1.0f - F) + 0.5f * F,
    };
    EXPECT_FLOAT_EQ(color.x, expected[0]);
    EXPECT_FLOAT_EQ(color.y, expected[1]);
    EXPECT_FLOAT_EQ(color.z, expected[2]);
}

// The base is encoded with the sRGB curve; 0.0031308 still takes the straight line.
TEST(XRiteMaterial, BaseIsSrgbEncodedWithTheLinearPieceUpToItsBranchPoint) {
    const float above = std::nextafter(0.0031308f, 1.0f);
    Paint paint;
    paint.bindAll();
    paint.noFresnel();
    paint.shader.set("xriteIsSolid", true);
    paint.shader.set("xriteDiffuse", Float3(1.0f));
    paint.diffuse.texel = {0.0031308f, above, 0.5f, 1.0f};
    Float3 color = paint.shade();
    EXPECT_EQ(color.x, 12.92f * 0.0031308f);
    EXPECT_NEAR(color.x, 0.04045f, 1e-6f);
    EXPECT_EQ(color.y, 1.055f * std::pow(above, 0.41666666f) - 0.055f);
    EXPECT_NEAR(color.z, 0.7354f, 1e-4f);
}

// With only the traced reflection (answer 1), the colour is the Fresnel factor F at the view
// cosine Vl.z, which the host's frameMatrix carries: its third row is the view vector here.
TEST(XRiteMaterial, FresnelQuadrupleAtNormalAndGrazingView) {
    struct Case {
        Float3 view;
        Float4 fresnel;
        float F;
    } const cases[] = {
        {{0.0f, 0.0f, 1.0f}, {0.04f, 0.9f, 2.5f, 1.0f}, 0.04f},  // normal incidence
        {{0.0f, 1.0f, 0.0f}, {0.04f, 0.9f, 2.5f, 1.0f}, 0.94f},  // grazing
        {{0.0f, 0.0f, -1.0f}, {0.04f, 0.9f, 2.5f, 1.0f}, 0.94f}, // cosine clamped to 0
        {{0.0f, 0.6f, 0.8f}, {0.04f, 0.9f, 2.5f, 1.0f}, std::pow(1.0f - 0.8f, 2.5f) * 0.9f + 0.04f},
        {{0.0f, 1.0f, 0.0f}, {0.04f, 0.9f, 2.5f, 0.5f}, 0.5f},  // capped by the maximum
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "view " << c.view.y << "," << c.view.z);
        Paint paint;
        paint.shader.set("fresnel", c.fresnel);
        paint.services.traceAnswer = Float3(1.0f);
        float* third = &paint.record.frameMatrix.m[8];
        third[0] = c.view.x, third[1] = c.view.y, third[2] = c.view.z;
        Float3 color = paint.shade();
        EXPECT_FLOAT_EQ(color.x, c.F);
        EXPECT_EQ(color.x, color.y);
        EXPECT_EQ(color.x, color.z);
    }
}

// reverseNormal turns both normals; faceForward turns them on back-side hits whatever
// reverseNormal says. The light list and the diffuse cube see the turned normal, the Fresnel
// factor the turned object normal; the occlusion query uses the record's own normal.
TEST(XRiteMaterial, NormalFlipCombinations) {
    struct Case {
        bool reverseNormal, faceForward, backSide;
        float sign;
    } const cases[] = {
        {false, false, false, 1.0f}, {true, false, false, -1.0f}, {false, true, false, 1.0f},
        {true, true, false, -1.0f},  {false, false, true, 1.0f},  {true, false, true, -1.0f},
        {false, true, true, -1.0f},  {true, true, true, -1.0f},
    };
    const Float3 normal{0.0f, 0.6f, 0.8f};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "reverseNormal " << c.reverseNormal << " faceForward " << c.faceForward
                                        << (c.backSide ? " back" : " front"));
        Paint paint;
        paint.bindAll();
        paint.shader.set("reverseNormal", c.reverseNormal);
        paint.shader.set("faceForward", c.faceForward);
        paint.shader.set("xriteIsSolid", true);
        paint.services.traceAnswer = Float3(1.0f);
        paint.record.normal = normal;
        paint.record.rayDir = {0.0f, 0.0f, c.backSide ? 1.0f : -1.0f};
        // The view reaches the paint through frameMatrix unchanged; it meets the object normal
        // (0, 0, 1) head on from the front.
        Float3 color = paint.shade();

        const Float3 n = c.sign * normal;
        const auto& lightArgs = paint.services.log.args("getLightSamples");
        EXPECT_EQ(lightArgs[0], -2.0f);
        expectFloat3({lightArgs[4], lightArgs[5], lightArgs[6]}, n, "light list normal");
        ASSERT_EQ(paint.diffuse.lookups.size(), 1u);
        expectFloat3(paint.diffuse.lookups[0], {n.x, n.z, -n.y}, "diffuse cube direction (x, z, -y)");
        // Facing the view: F = 0.04; turned away, the clamped cosine gives 0.94.
        const bool facing = (c.sign > 0.0f) != c.backSide;
        EXPECT_FLOAT_EQ(color.x, facing ? 0.04f : 0.94f);
        const auto& aoArgs = paint.services.log.args("ambientOcclusion");
        const float towardsRay = c.backSide ? -1.0f : 1.0f;
        expectFloat3({aoArgs[3], aoArgs[4], aoArgs[5]}, towardsRay * normal, "occlusion direction");
    }
}

// Solid paint reads no flakes: clamp01(ao x (sRGB(Db) x (1 - F) + Er x F)). F is not bounded
// from below: a negative base brightens the paint and takes from the reflection.
TEST(XRiteMaterial, SolidModeIsBasePlusReflection) {
    Paint paint;
    paint.bindAll();
    paint.shader.set("xriteIsSolid", true);
    paint.shader.set("xriteDiffuse", Float3(0.5f, 1.0f, 2.0f));
    paint.shader.set("diffIntensity", 2.0f);
    paint.shader.set("fresnel", Float4(-0.2f, 0.0f, 1.0f, 1.0f));
    paint.diffuse.texel = {0.2f, 0.1f, 0.05f, 1.0f};  // Db = 0.2 in every channel
    paint.services.traceAnswer = {0.5f, 1.5f, -60.0f};
    paint.services.occlusionAnswer = Float3(0.5f);  // ao = 0.5 with a black occlusion colour
    Float3 color = paint.shade();
    EXPECT_TRUE(paint.flakes.lookups.empty());
    EXPECT_TRUE(paint.specular.lookups.empty());
    EXPECT_TRUE(paint.reflect.lookups.empty());
    const float F = -0.2f;
    EXPECT_FLOAT_EQ(color.x, 0.5f * (srgb(0.2f) * (1.0f - F) + 0.5f * F));
    EXPECT_FLOAT_EQ(color.y, 0.5f * (srgb(0.2f) * (1.0f - F) + 1.5f * F));
    EXPECT_EQ(color.z, 1.0f);
}

// Without a flake map every flake normal is (-1, -1, 0): no glint, sparkle only. Without cube
// maps, only the traced reflection remains.
TEST(XRiteMaterial, MissingFlakeMapOrCubes) {
    {
        SCOPED_TRACE("no flake map");
        Paint paint;
        paint.bindAll();
        paint.shader.bindTexture("flakeNormalTexture", nullptr);
        paint.gridOf(2.0f);
        paint.noFresnel();
        paint.shader.set("coarseness", 0.0f);
        paint.shader.set("flakeColor2", Float3(0.25f));
        paint.specular.texel = {2.0f, 2.0f, 2.0f, 1.0f};  // sum 6: the flake colour as it is
        Float3 color = paint.shade();
        EXPECT_TRUE(paint.reflect.lookups.empty());
        EXPECT_EQ(paint.specular.lookups.size(), 4u);
        expectFloat3(color, Float3(4.0f * 0.25f * (1.0f / (4.0f + 0.01f))));
    }
    {
        SCOPED_TRACE("no cubes");
        Paint paint;
        paint.shader.bindTexture("flakeNormalTexture", &paint.flakes);
        paint.flakes.texel = {0.5f, 0.5f, 1.0f, 1.0f};
        paint.services.traceAnswer = Float3(0.5f);
        Float3 color = paint.shade();
        EXPECT_FALSE(paint.flakes.lookups.empty());
        expectFloat3(color, Float3(0.5f * 0.04f));
    }
}

// Each flake mirrors the eye vector E = rayOrigin - position about its normal
// fn.x Tw + fn.y Bw + fn.z n, where Tw and Bw are the object-space tangents carried to world space
// by objectMatrix and renormalised; both flake cubes are read along that mirror direction R,
// addressed y-up as (R.x, R.z, -R.y).
TEST(XRiteFlakes, CubesAreReadAlongEachFlakesMirrorDirection) {
    struct Case {
        Float4 texel;  // flake normal encoded as colour
        Float3 R;
    } const cases[] = {
        {{0.5f, 0.5f, 1.0f, 1.0f}, {0.0f, 3.0f, 4.0f}},    // along n: the mirror of E about the surface
        {{1.0f, 0.5f, 0.0f, 1.0f}, {0.0f, 3.0f, -4.0f}},   // along Tw = (1, 0, 0)
        {{0.5f, 1.0f, 0.0f, 1.0f}, {0.0f, -3.0f, -4.0f}},  // along Bw = (0, -1, 0)
        {{1.0f, 1.0f, 0.0f, 1.0f}, {6.0f, -3.0f, -4.0f}},  // along Tw + Bw = (1, -1, 0)
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "texel " << c.texel.x << "," << c.texel.y << "," << c.texel.z);
        Paint paint;
        paint.bindAll();
        paint.gridOf(1.0f);
        paint.shader.set("contributionFactor", -1.0f);
        paint.flakes.texel = c.texel;
        paint.record.rayOrigin = {0.0f, -3.0f, 4.0f};
        paint.record.rayDir = {0.0f, 0.6f, -0.8f};
        // Object tangents T = (0, -1, 0), B = (-1, 0, 0) around the object normal (0, 0, 1), turned
        // a quarter about z and scaled by 2 on their way to world space.
        paint.record.objectMatrix = {{0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1}};
        paint.shade();
        ASSERT_EQ(paint.reflect.lookups.size(), 1u);
        ASSERT_EQ(paint.specular.lookups.size(), 1u);
        const Float3 cube{c.R.x, c.R.z, -c.R.y};
        expectFloat3(paint.reflect.lookups[0], cube, "reflection cube");
        expectFloat3(paint.specular.lookups[0], cube, "specular cube");
    }
}

TEST(XRiteMaterial, WritesOnlyRgbAndTracesTheMirrorRay) {
    Paint paint;
    paint.record.rayDir = {0.6f, 0.0f, -0.8f};
    paint.record.position = {1.0f, 2.0f, 3.0f};
    paint.record.rayOrigin = paint.record.position - 5.0f * paint.record.rayDir;
    const ksi::ShadingRecord before = paint.record;
    paint.shade();
    expectUnchangedOutside(before, paint.record, kRgbBegin, kRgbEnd);
    const auto& args = paint.services.log.args("traceReflection");
    expectFloat3({args[0], args[1], args[2]}, {1.0f, 2.0f, 3.0f}, "origin");
    expectFloat3({args[3], args[4], args[5]}, {0.6f, 0.0f, 0.8f}, "mirror direction");
    EXPECT_EQ(args[6], 1.0f);
    EXPECT_EQ(paint.services.log.count("traceTransmission"), 0);
}

// Beyond the shared masking step (tests/contract): the blend leaves the alpha alone, and shadow
// rays pass by the mask, all the way for a full one.
TEST(XRiteMaterial, MaskingKeepsTheAlphaAndPassesShadowsByTheMask) {
    for (Float3 mask : {Float3(1.0f), Float3(0.25f, 0.5f, 0.0f)}) {
        Paint paint;
        paint.shader.set("maskingColor", mask);
        paint.services.transmissionAnswer = {0.8f, 0.4f, 0.2f, 0.0f};
        paint.shade();
        EXPECT_EQ(paint.record.outColor.w, kPresetAlpha);
        paint.shader.material().shadowTransmittance(&paint.services, &paint.record);
        expectFloat3(paint.record.outTransmittance, mask);
    }
}

// Hostile grid settings finish with a bounded grid: at most 256 cells a side, none for NaN or
// negative sizes.
TEST(XRiteFlakeGrid, HostileSettingsStayBounded) {
    struct Case {
        const char* what;
        float maxFlakes, flakeFactor, flakeSize, distance;
        bool grazing;  // the view too flat to measure a footprint: the grid is maxFlakes outright
        int count;
    } const cases[] = {
        {"huge maxFlakes", 1.0e30f, 4.0f, 0.001953125f, 1.0e6f, false, 256},
        {"infinite maxFlakes", kInf, 4.0f, 0.001953125f, 1.0e6f, false, 256},
        {"NaN maxFlakes", kNaN, 4.0f, 0.001953125f, 1.0f, false, 6},  // no cap: the footprint stands
        {"NaN maxFlakes, grazing", kNaN, 4.0f, 0.001953125f, 1.0f, true, 0},
        {"infinite maxFlakes, grazing", kInf, 4.0f, 0.001953125f, 1.0f, true, 256},
        {"negative maxFlakes", -7.0f, 4.0f, 0.001953125f, 1.0e6f, false, 0},
        {"huge flakeFactor", 7.0f, 1.0e30f, 0.001953125f, 1.0e6f, false, 256},
        {"infinite flakeFactor", 7.0f, kInf, 0.001953125f, 1.0e6f, false, 256},
        {"-infinite flakeFactor", 7.0f, -kInf, 0.001953125f, 1.0e6f, false, 0},
        {"NaN flakeFactor", 7.0f, kNaN, 0.001953125f, 1.0e6f, false, 0},
        {"zero flakeSize", 7.0f, 4.0f, 0.0f, 1.0f, false, 28},
        {"zero flakeSize, eye on the point", 7.0f, 4.0f, 0.0f, 0.0f, false, 0},
        {"negative flakeSize", 7.0f, 4.0f, -0.001953125f, 1.0f, false, 0},
        {"just under the bound", 63.875f, 4.0f, 0.001953125f, 1.0e6f, false, 256},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Paint paint;
        paint.bindAll();
        paint.shader.set("maxFlakes", c.maxFlakes);
        paint.shader.set("flakeFactor", c.flakeFactor);
        paint.shader.set("flakeSize", c.flakeSize);
        paint.record.rayOrigin = {0.0f, 0.0f, c.distance};
        if (c.grazing) paint.record.rayDir = {1.0f, 0.0f, 0.0f};
        paint.shade();
        EXPECT_EQ(paint.cells(), static_cast<std::size_t>(c.count) * static_cast<std::size_t>(c.count));
    }
}

}  // namespace
