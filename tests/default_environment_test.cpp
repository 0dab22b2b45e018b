// kestrel_Env_Default: which answer each ray type gets, the lat-long coordinate the image is
// looked up at (seen through a recording texture) and the grading steps in their order.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float2;
using ksi::Float3;
using ksi::Float4;

struct Environment {
    kestrel::ShaderInstance shader = createShader("kestrel_Env_Default");
    RecordingImageTexture image;

    Environment() { shader.bindTexture("reflectionLatlong", &image); }

    // Shades one ray and returns outColor; only outColor may change in the record.
    Float4 shade(int32_t rayType, Float3 direction = {1.0f, 0.0f, 0.0f}, uint8_t throughMatte = 0) {
        ksi::ShadingRecord record = presetRecord();
        record.rayType = rayType;
        record.rayDir = direction;
        record.throughMatte = throughMatte;
        return shadeEnvironment(shader, record);
    }
};

TEST(DefaultEnvironment, AnswerByRayType) {
    enum Answer { Background, Image, Black };
    struct Case {
        int32_t rayType;
        uint8_t throughMatte;
        bool useBackgroundGeometry;
        Answer answer;
    } const cases[] = {
        {1, 0, false, Background}, {1, 1, false, Background}, {2, 0, false, Image},  {2, 1, false, Image},
        {4, 0, false, Image},      {4, 1, false, Background}, {16, 0, false, Background},
        {0, 0, false, Background}, {3, 0, false, Background}, {32, 0, false, Black}, {32, 1, false, Black},
        {1, 0, true, Background},  {1, 1, true, Background},  {2, 0, true, Image},   {4, 0, true, Image},
        {4, 1, true, Image},       {16, 0, true, Image},      {0, 0, true, Image},   {32, 0, true, Black},
    };
    for (const Case& c : cases) {
        for (bool lightRepresentation : {false, true}) {  // declared, never read
            SCOPED_TRACE(testing::Message() << "rayType " << c.rayType << " throughMatte " << int(c.throughMatte)
                                            << " useBackgroundGeometry " << c.useBackgroundGeometry
                                            << " u_hasLightRepresentation " << lightRepresentation);
            Environment env;
            env.image.texel = {0.2f, 0.4f, 0.6f, 0.3f};  // its alpha is not used
            env.shader.set("backgroundColor", Float3(0.1f, 0.5f, 0.7f));
            env.shader.set("useBackgroundGeometry", c.useBackgroundGeometry);
            env.shader.set("u_hasLightRepresentation", lightRepresentation);
            Float4 color = env.shade(c.rayType, {1.0f, 0.0f, 0.0f}, c.throughMatte);
            switch (c.answer) {
                case Background: expectColor(color, {0.1f, 0.5f, 0.7f, 0.0f}); break;
                case Image: expectColor(color, {0.2f, 0.4f, 0.6f, 1.0f}); break;
                case Black: expectColor(color, {0.0f, 0.0f, 0.0f, 1.0f}); break;
            }
            EXPECT_EQ(env.image.lookups.size(), c.answer == Image ? 1u : 0u);
        }
    }
}

TEST(DefaultEnvironment, DefaultsAndMissingImage) {
    kestrel::ShaderInstance env = createShader("kestrel_Env_Default");
    RecordingServices services;
    ksi::ShadingRecord record = presetRecord();
    env.environment().shade(&services, &record);
    expectColor(record.outColor, {0.0f, 0.5f, 0.7f, 0.0f});
    record.rayType = 2;
    env.environment().shade(&services, &record);
    expectColor(record.outColor, {0.0f, 0.0f, 0.0f, 1.0f});
    // The missing image's texel is graded like any colour, and nothing is clamped.
    env.set("reflectIBLContrast", Float2(0.5f, 2.0f));
    env.environment().shade(&services, &record);
    expectColor(record.outColor, {-0.5f, -0.5f, -0.5f, 1.0f});
}

TEST(DefaultEnvironment, LatLongCoordinates) {
    const ksi::Float3x3 identity = ksi::Float3x3::identity();
    // Rows (0, 1, 0), (-1, 0, 0), (0, 0, 1): the matrix times the column vector sends +x to -y.
    const ksi::Float3x3 turn{{0, 1, 0, -1, 0, 0, 0, 0, 1}};
    const ksi::Float3x3 half{{0.5f, 0, 0, 0, 0.5f, 0, 0, 0, 0.5f}};
    struct Case {
        ksi::Float3x3 matrix;
        Float3 direction;
        Float2 expected;  // by hand
    } const cases[] = {
        {identity, {1.0f, 0.0f, 0.0f}, {0.25f, 0.5f}},
        {identity, {0.0f, 1.0f, 0.0f}, {0.0f, 0.5f}},
        {identity, {0.0f, -1.0f, 0.0f}, {0.5f, 0.5f}},
        {identity, {0.0f, 0.0f, 1.0f}, {0.25f, 1.0f}},
        {identity, {0.0f, 0.0f, -1.0f}, {0.25f, 0.0f}},
        {turn, {1.0f, 0.0f, 0.0f}, {0.5f, 0.5f}},
        {turn, {0.0f, 1.0f, 0.0f}, {0.25f, 0.5f}},
        {half, {0.0f, 0.0f, 1.0f}, {0.25f, 0.5f + 1.0f / 6.0f}},  // not normalised: asin(0.5)
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.direction.x << " " << c.direction.y << " " << c.direction.z);
        Environment env;
        env.shader.set("globalIBLMatrix", c.matrix);
        env.shade(2, c.direction);
        ASSERT_EQ(env.image.lookups.size(), 1u);
        EXPECT_NEAR(env.image.lookups[0].x, c.expected.x, 1e-6f);
        EXPECT_NEAR(env.image.lookups[0].y, c.expected.y, 1e-6f);
    }

    // An arbitrary matrix and direction, to the bit.
    const ksi::Float3x3 m{{0.3f, -0.8f, 0.1f, 0.9f, 0.2f, -0.4f, 0.05f, 0.6f, 0.7f}};
    const Float3 d{0.48f, -0.6f, 0.64f};
    Environment env;
    env.shader.set("globalIBLMatrix", m);
    env.shade(4, d);
    ASSERT_EQ(env.image.lookups.size(), 1u);
    EXPECT_EQ(env.image.lookups[0].x, latLongOf(m, d).x);
    EXPECT_EQ(env.image.lookups[0].y, latLongOf(m, d).y);
}

TEST(DefaultEnvironment, GradingStepsInOrder) {
    const float justAbove1 = std::nextafter(1.0f, 2.0f);
    const float pivot = 1.0e6f;
    struct Case {
        const char* name;
        Float2 contrast;
        int32_t gainMode;
        Float3 gain;
        float saturation;
        Float3 weights;
        Float4 texel;
        Float3 expected;
    } const cases[] = {
        {"contrast about the pivot", {0.5f, 2.0f}, 0, {1, 1, 1}, 1.0f, {0.2125f, 0.7154f, 0.0721f},
         {0.75f, 0.25f, 0.5f, 1}, {1.0f, 0.0f, 0.5f}},
        {"grey gain mode then gain", {0.5f, 1.0f}, 2, {1, 0, 0}, 1.0f, {0.2125f, 0.7154f, 0.0721f},
         {1, 1, 1, 1}, {1.0f * 0.2125f + 1.0f * 0.7154f + 1.0f * 0.0721f, 0.0f, 0.0f}},
        // Contrast (1, 0, 0.5), grey by red 1, gain (2, 3, 4), half saturation about red 2.
        {"all four steps in order", {0.5f, 2.0f}, 2, {2, 3, 4}, 0.5f, {1, 0, 0}, {0.75f, 0.25f, 0.5f, 1},
         {2.0f, 2.5f, 3.0f}},
        {"saturation 0 gives the grey of the gained colour", {0.5f, 1.0f}, 0, {2, 2, 2}, 0.0f,
         {0.25f, 0.5f, 0.25f}, {0.5f, 0.25f, 1.0f, 1}, {1.0f, 1.0f, 1.0f}},
        {"other gain modes keep the colour", {0.5f, 1.0f}, 1, {2, 4, 8}, 1.0f, {1, 0, 0},
         {0.5f, 0.25f, 1.0f, 1}, {1.0f, 1.0f, 8.0f}},
        {"gain mode 3", {0.5f, 1.0f}, 3, {2, 4, 8}, 1.0f, {1, 0, 0}, {0.5f, 0.25f, 1.0f, 1}, {1.0f, 1.0f, 8.0f}},
        {"gain mode -2", {0.5f, 1.0f}, -2, {2, 4, 8}, 1.0f, {1, 0, 0}, {0.5f, 0.25f, 1.0f, 1}, {1.0f, 1.0f, 8.0f}},
        {"contrast exactly 1 is skipped", {pivot, 1.0f}, 0, {1, 1, 1}, 1.0f, {1, 0, 0}, {0.5f, 0.25f, 1.0f, 1},
         {0.5f, 0.25f, 1.0f}},
        {"contrast just above 1 is applied", {pivot, justAbove1}, 0, {1, 1, 1}, 1.0f, {1, 0, 0},
         {0.5f, 0.25f, 1.0f, 1},
         {0.5f * justAbove1 + (1.0f - justAbove1) * pivot, 0.25f * justAbove1 + (1.0f - justAbove1) * pivot,
          1.0f * justAbove1 + (1.0f - justAbove1) * pivot}},
        {"saturation exactly 1 is skipped", {0.5f, 1.0f}, 0, {1, 1, 1}, 1.0f, {1, 0, 0}, {pivot, 0.0f, 0.5f, 1},
         {pivot, 0.0f, 0.5f}},
        {"saturation just above 1 is applied", {0.5f, 1.0f}, 0, {1, 1, 1}, justAbove1, {1, 0, 0},
         {pivot, 0.0f, 0.5f, 1},
         {pivot * justAbove1 + (1.0f - justAbove1) * pivot, 0.0f * justAbove1 + (1.0f - justAbove1) * pivot,
          0.5f * justAbove1 + (1.0f - justAbove1) * pivot}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Environment env;
        env.image.texel = c.texel;
        env.shader.set("reflectIBLContrast", c.contrast);
        env.shader.set("reflectIBLGainMode", c.gainMode);
        env.shader.set("reflectIBLGain", c.gain);
        env.shader.set("reflectIBLSaturation", c.saturation);
        env.shader.set("IBLLuminanceFactors", c.weights);
        expectColor(env.shade(2), {c.expected.x, c.expected.y, c.expected.z, 1.0f});
    }
}

}  // namespace
