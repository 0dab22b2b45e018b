// kestrel_Env_Backplate: answers per ray type, the flat, screen-pinned and camera backplate
// modes with their coordinates (seen through recording textures) and gains.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float2;
using ksi::Float3;
using ksi::Float4;

const Float3 kBackground{0.1f, 0.5f, 0.7f};
constexpr float kGlobalGain = 2.0f;
constexpr float kBackplateGain = 3.0f;

// A backplate with all three textures bound to recording objects and both gains set.
struct BackplateRig {
    kestrel::ShaderInstance shader = createShader("kestrel_Env_Backplate");
    RecordingImageTexture source, custom2D;
    RecordingCubeTexture cube;

    BackplateRig() {
        source.texel = {0.25f, 0.5f, 0.75f, 0.125f};
        custom2D.texel = {0.5f, 0.25f, 0.125f, 0.75f};
        cube.texel = {0.125f, 0.75f, 0.5f, 0.25f};
        shader.bindTexture("environmentSourceImage", &source);
        shader.bindTexture("custom2DBackground", &custom2D);
        shader.bindTexture("customCubeBackground", &cube);
        shader.set("backgroundColor", kBackground);
        shader.set("globalIBLGainValue", kGlobalGain);
        shader.set("backplateGainValue", kBackplateGain);
    }

    std::size_t lookups() const { return source.lookups.size() + custom2D.lookups.size() + cube.lookups.size(); }

    // Shades one ray; only outColor may change in the record.
    Float4 shade(int32_t rayType, uint8_t throughMatte = 0, Float2 screenPos = {320.0f, 240.0f},
                 Float3 direction = {1.0f, 0.0f, 0.0f}, int32_t width = 640, int32_t height = 480) {
        ksi::ShadingRecord record = presetRecord();
        record.rayType = rayType;
        record.throughMatte = throughMatte;
        record.screenPos = screenPos;
        record.screenSize[0] = width;
        record.screenSize[1] = height;
        record.rayDir = direction;
        return shadeEnvironment(shader, record);
    }
};

TEST(BackplateEnvironment, AnswerByRayType) {
    enum Answer { Black, Environment, Backplate, Background };
    struct Case {
        int32_t rayType;
        uint8_t throughMatte;
        bool lightRepresentation;
        Answer answer;
    } const cases[] = {
        {32, 0, true, Black},       {32, 0, false, Background}, {2, 0, false, Environment},
        {2, 1, true, Environment},  {4, 0, false, Environment}, {4, 1, false, Backplate},
        {1, 0, false, Backplate},   {1, 1, true, Backplate},    {16, 0, false, Background},
        {16, 0, true, Background},  {0, 0, false, Background},  {3, 1, false, Background},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "rayType " << c.rayType << " throughMatte " << int(c.throughMatte)
                                        << " u_hasLightRepresentation " << c.lightRepresentation);
        BackplateRig plate;
        plate.shader.set("backgroundMode", 7);  // unknown: yellow, to tell the backplate apart
        plate.shader.set("u_hasLightRepresentation", c.lightRepresentation);
        Float4 color = plate.shade(c.rayType, c.throughMatte);
        switch (c.answer) {
            case Black: expectColor(color, {0.0f, 0.0f, 0.0f, 1.0f}); break;
            case Environment:
                // Ungraded source texel times the global gain, alpha 0.
                expectColor(color, {0.25f * kGlobalGain, 0.5f * kGlobalGain, 0.75f * kGlobalGain, 0.0f});
                break;
            case Backplate:
                expectColor(color, {kBackplateGain * kGlobalGain, kBackplateGain * kGlobalGain, 0.0f, 0.0f});
                break;
            case Background: expectColor(color, {kBackground.x, kBackground.y, kBackground.z, 0.0f}); break;
        }
        EXPECT_EQ(plate.lookups(), c.answer == Environment ? 1u : 0u);
        if (c.answer == Environment) {
            ASSERT_EQ(plate.source.lookups.size(), 1u);
            EXPECT_EQ(plate.source.lookups[0].x, 0.25f);  // identity matrix, +x
            EXPECT_EQ(plate.source.lookups[0].y, 0.5f);
        }
    }
}

TEST(BackplateEnvironment, EnvironmentUsesTheGlobalMatrixAsAColumnProduct) {
    BackplateRig plate;
    const ksi::Float3x3 m{{0.3f, -0.8f, 0.1f, 0.9f, 0.2f, -0.4f, 0.05f, 0.6f, 0.7f}};
    const Float3 d{0.48f, -0.6f, 0.64f};
    plate.shader.set("globalIBLMatrix", m);
    plate.shade(2, 0, {0.0f, 0.0f}, d);
    ASSERT_EQ(plate.source.lookups.size(), 1u);
    EXPECT_EQ(plate.source.lookups[0].x, latLongOf(m, d).x);
    EXPECT_EQ(plate.source.lookups[0].y, latLongOf(m, d).y);
}

TEST(BackplateEnvironment, FlatModeIgnoresTheGains) {
    BackplateRig plate;
    for (uint8_t throughMatte : {0, 1}) {
        int32_t rayType = throughMatte ? 4 : 1;
        expectColor(plate.shade(rayType, throughMatte), {kBackground.x, kBackground.y, kBackground.z, 0.0f});
    }
    EXPECT_EQ(plate.lookups(), 0u);
    kestrel::ShaderInstance defaults = createShader("kestrel_Env_Backplate");
    RecordingServices services;
    ksi::ShadingRecord record = presetRecord();
    defaults.environment().shade(&services, &record);
    expectColor(record.outColor, {0.0f, 0.5f, 0.7f, 0.0f});
}

TEST(BackplateEnvironment, ScreenPinnedImage) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    struct Case {
        const char* name;
        Float2 renderSize, viewportSize, uvScale, uvOffset;
        Float2 pixel;
        int32_t width, height;
        bool inside;
        Float2 expected;  // the lookup coordinate, by hand
    } const cases[] = {
        // Viewport 512 x 256 rendered at 1024 x 512: positions are halved; h = viewport height.
        {"top right corner, bounds included", {-1, -1}, {512, 256}, {1.0f / 512, 1.0f / 256}, {0, 0}, {1024, 0},
         1024, 512, true, {1.0f, 1.0f}},
        {"bottom left corner", {-1, -1}, {512, 256}, {1.0f / 512, 1.0f / 256}, {0, 0}, {0, 512}, 1024, 512, true,
         {0.0f, 0.0f}},
        {"centre, vertical flip", {-1, -1}, {512, 256}, {1.0f / 512, 1.0f / 256}, {0, 0}, {256, 128}, 1024, 512,
         true, {0.25f, 0.75f}},
        {"just right of the image", {-1, -1}, {512, 256}, {1.0f / 512, 1.0f / 256}, {0, 0}, {1026, 256}, 1024,
         512, false, {}},
        {"just above the image", {-1, -1}, {512, 256}, {1.0f / 512, 1.0f / 256}, {0, 0}, {256, -2}, 1024, 512,
         false, {}},
        {"render height wins over the viewport", {9999, 100}, {512, 256}, {1.0f / 512, 1.0f / 256}, {0, 0},
         {512, 0}, 1024, 512, true, {0.5f, 100.0f / 256}},
        {"no viewport: no rescale, render height", {-1, 64}, {-1, -1}, {0.25f, 0.125f}, {0, 0}, {2, 60}, 1024,
         512, true, {0.5f, 0.5f}},
        {"viewport with one side unknown: no rescale", {-1, 8}, {512, 0}, {0.25f, 0.125f}, {0, 0}, {2, 4}, 1024,
         512, true, {0.5f, 0.5f}},
        {"both heights negative: h is the viewport's", {-1, -1}, {-1, -1}, {1, 1}, {0.5f, 1.5f}, {0.25f, 0.25f},
         640, 480, true, {0.75f, 0.25f}},
        {"offset moves the window", {-1, -1}, {512, 256}, {1.0f / 512, 1.0f / 256}, {-0.5f, 0.25f}, {1024, 512},
         1024, 512, true, {0.5f, 0.25f}},
        {"NaN position shows the background", {-1, -1}, {512, 256}, {1.0f / 512, 1.0f / 256}, {0, 0}, {nan, 0},
         1024, 512, false, {}},
        {"zero screen size: no crash, background", {-1, -1}, {512, 256}, {1.0f / 512, 1.0f / 256}, {0, 0}, {0, 0},
         0, 0, false, {}},
    };
    for (const Case& c : cases) {
        for (uint8_t throughMatte : {0, 1}) {
            SCOPED_TRACE(testing::Message() << c.name << (throughMatte ? ", continued camera ray" : ""));
            BackplateRig plate;
            plate.shader.set("backgroundMode", 2);
            plate.shader.set("render_size", c.renderSize);
            plate.shader.set("viewport_size", c.viewportSize);
            plate.shader.set("uv_scale", c.uvScale);
            plate.shader.set("uv_offset", c.uvOffset);
            Float4 color = plate.shade(throughMatte ? 4 : 1, throughMatte, c.pixel, {1, 0, 0}, c.width, c.height);
            Float3 rgb = c.inside ? Float3(0.5f, 0.25f, 0.125f) : kBackground;
            expectColor(color, {rgb.x * kGlobalGain * kBackplateGain, rgb.y * kGlobalGain * kBackplateGain,
                                rgb.z * kGlobalGain * kBackplateGain, 0.0f});
            ASSERT_EQ(plate.custom2D.lookups.size(), c.inside ? 1u : 0u);
            EXPECT_EQ(plate.lookups(), plate.custom2D.lookups.size());
            if (c.inside) {
                EXPECT_EQ(plate.custom2D.lookups[0].x, c.expected.x);
                EXPECT_EQ(plate.custom2D.lookups[0].y, c.expected.y);
            }
        }
    }
}

struct Camera {
    Float2 uvScale{1.0f, 1.0f}, uvOffset{0.0f, 0.0f};
    float closeUp = 1.0f, horizon = 0.0f;
    Float2 window{1.0f, 1.0f};
    ksi::Float4x4 transform = ksi::Float4x4::identity();
    ksi::Float3x3 rotation = ksi::Float3x3::identity();
};

// The backplate camera's view direction for a screen position, from its definition.
Float3 cameraDirection(const Camera& c, Float2 p) {
    float sx = p.x * c.uvScale.x + c.uvOffset.x;
    float sy = p.y * c.uvScale.y + c.uvOffset.y;
    float k = 1.0f / c.closeUp;
    float x = k * (2.0f * sx - 1.0f) * 0.5f * c.window.x;
    float y = k * (2.0f * (1.0f - sy) - 1.0f) * 0.5f * c.window.y + c.horizon;
    // Rows of the transform times (x, y, 1, 0); normalised unless zero.
    float d[3];
    for (int i = 0; i < 3; ++i) d[i] = c.transform.m[4 * i] * x + c.transform.m[4 * i + 1] * y + c.transform.m[4 * i + 2];
    float length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    if (length > 0.0f) {
        float reciprocal = 1.0f / length;
        for (float& component : d) component *= reciprocal;
    }
    // Then the row vector times the rotation's columns.
    float w[3];
    for (int j = 0; j < 3; ++j) {
        w[j] = d[0] * c.rotation.m[j] + d[1] * c.rotation.m[3 + j] + d[2] * c.rotation.m[6 + j];
    }
    return {w[0], w[1], w[2]};
}

TEST(BackplateEnvironment, CameraModesLookUpTheViewDirection) {
    Camera plain;
    plain.uvScale = {1.0f / 640, 1.0f / 480};
    Camera framed = plain;
    framed.closeUp = 2.0f;
    framed.horizon = 0.1f;
    framed.window = {1.5f, 0.75f};
    framed.uvOffset = {0.05f, -0.1f};
    // Not symmetric, with the fourth row and column set to values that must not take part.
    framed.transform = {{0.8f, 0.1f, 0.3f, 50.0f, -0.2f, 0.9f, 0.4f, 60.0f, 0.5f, -0.3f, 0.7f, 70.0f, 11.0f, 12.0f,
                         13.0f, 14.0f}};
    framed.rotation = {{0.0f, 1.0f, 0.0f, 0.0f, 0.0f, -1.0f, -1.0f, 0.0f, 0.0f}};
    Camera degenerate = plain;
    degenerate.transform = {{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1, 1}};  // d = 0 stays 0
    struct Case {
        const char* name;
        const Camera& camera;
        Float2 pixel;
    } const cases[] = {
        {"centre", plain, {320, 240}},          {"corner", plain, {0, 0}},
        {"framed centre", framed, {320, 240}},  {"framed corner", framed, {600, 20}},
        {"zero direction", degenerate, {100, 100}},
    };
    for (const Case& c : cases) {
        for (int32_t mode : {1, 3, 4}) {
            SCOPED_TRACE(testing::Message() << c.name << ", mode " << mode);
            BackplateRig plate;
            plate.shader.set("backgroundMode", mode);
            plate.shader.set("uv_scale", c.camera.uvScale);
            plate.shader.set("uv_offset", c.camera.uvOffset);
            plate.shader.set("backplateCloseUp", c.camera.closeUp);
            plate.shader.set("backplateHorizon", c.camera.horizon);
            plate.shader.set("camerawindowsize", c.camera.window);
            plate.shader.set("backplatetransform", c.camera.transform);
            plate.shader.set("backplateCubeRotation", c.camera.rotation);
            plate.shader.set("viewport_size", Float2(640.0f, 480.0f));  // same size: the rescale keeps p
            Float4 color = plate.shade(1, 0, c.pixel);
            const Float3 w = cameraDirection(c.camera, c.pixel);
            ASSERT_EQ(plate.lookups(), 1u);
            Float4 texel;
            if (mode == 3) {
                ASSERT_EQ(plate.cube.lookups.size(), 1u);
                EXPECT_EQ(plate.cube.lookups[0].x, w.x);
                EXPECT_EQ(plate.cube.lookups[0].y, w.z);
                EXPECT_EQ(plate.cube.lookups[0].z, -w.y);
                texel = plate.cube.texel;
            } else {
                const auto& lookups = mode == 1 ? plate.source.lookups : plate.custom2D.lookups;
                ASSERT_EQ(lookups.size(), 1u);
                EXPECT_EQ(lookups[0].x, latLongOf(w).x);
                EXPECT_EQ(lookups[0].y, latLongOf(w).y);
                texel = mode == 1 ? plate.source.texel : plate.custom2D.texel;
            }
            const float gain = kBackplateGain * kGlobalGain;
            expectColor(color, {texel.x * gain, texel.y * gain, texel.z * gain, 0.0f});
        }
    }
}

TEST(BackplateEnvironment, CameraHandComputedDirections) {
    BackplateRig plate;
    plate.shader.set("backgroundMode", 1);  // uv_scale (1, 1): positions are screen fractions
    plate.shade(1, 0, {0.5f, 0.5f});
    ASSERT_EQ(plate.source.lookups.size(), 1u);
    EXPECT_NEAR(plate.source.lookups[0].y, 1.0f, 1e-6f) << "screen centre looks straight along +z, up";

    // Close-up 2 halves the window, the horizon shift comes after it: top right corner gives
    // x = 0.25, y = 0.25 + 0.1.
    plate.shader.set("backplateCloseUp", 2.0f);
    plate.shader.set("backplateHorizon", 0.1f);
    plate.shade(1, 0, {1.0f, 0.0f});
    ASSERT_EQ(plate.source.lookups.size(), 2u);
    const float length = std::sqrt(0.25f * 0.25f + 0.35f * 0.35f + 1.0f);
    Float3 d{0.25f / length, 0.35f / length, 1.0f / length};
    EXPECT_NEAR(plate.source.lookups[1].x, std::atan2(-d.y, d.x) / (2.0f * float(M_PI)) + 0.25f, 1e-6f);
    EXPECT_NEAR(plate.source.lookups[1].y, std::asin(d.z) / float(M_PI) + 0.5f, 1e-6f);

    // Cube: w = (0, 1, 0) is looked up as (0, 0, -1). The rotation's last row is (0, 1, 0); its
    // last column (0, -1, 0) would give the opposite.
    plate.shader.set("backgroundMode", 3);
    plate.shader.set("backplateCloseUp", 1.0f);
    plate.shader.set("backplateHorizon", 0.0f);
    plate.shader.set("backplateCubeRotation", ksi::Float3x3{{1, 0, 0, 0, 0, -1, 0, 1, 0}});
    plate.shade(1, 0, {0.5f, 0.5f});
    ASSERT_EQ(plate.cube.lookups.size(), 1u);
    EXPECT_EQ(plate.cube.lookups[0].x, 0.0f);
    EXPECT_EQ(plate.cube.lookups[0].y, 0.0f);
    EXPECT_EQ(plate.cube.lookups[0].z, -1.0f);
}

TEST(BackplateEnvironment, UnknownModesShowYellowAndMissingImagesBlack) {
    for (int32_t mode : {5, 7, -1, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(mode);
        BackplateRig plate;
        plate.shader.set("backgroundMode", mode);
        const float gain = kBackplateGain * kGlobalGain;
        expectColor(plate.shade(1), {gain, gain, 0.0f, 0.0f});
        EXPECT_EQ(plate.lookups(), 0u);
    }
    for (int32_t mode : {1, 2, 3, 4}) {
        SCOPED_TRACE(mode);
        kestrel::ShaderInstance plate = createShader("kestrel_Env_Backplate");
        plate.set("backgroundMode", mode);
        plate.set("uv_scale", Float2(1.0f / 640, 1.0f / 480));
        plate.set("viewport_size", Float2(640.0f, 480.0f));
        RecordingServices services;
        ksi::ShadingRecord record = presetRecord();
        record.screenPos = {320.0f, 240.0f};
        plate.environment().shade(&services, &record);
        expectColor(record.outColor, {0.0f, 0.0f, 0.0f, 0.0f});
    }
}

}  // namespace
