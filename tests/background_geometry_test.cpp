// The background geometry: per-ray-type answers, shadow catching on upward-facing parts, the
// grading, and the texture channel's projections seen through the lookups it makes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float2;
using ksi::Float3;
using ksi::Float4;

ksi::ShadingRecord backdropRecord(float normalZ = 0.5f) {
    ksi::ShadingRecord record = presetRecord();
    record.normal = ksi::normalize(Float3(std::sqrt(1.0f - normalZ * normalZ), 0.0f, normalZ));
    record.normal.z = normalZ;
    return record;
}

TEST(BackgroundGeometry, DefaultsShowWhiteAndBackFacesNothing) {
    kestrel::ShaderInstance backdrop = createShader("BackgroundGeometry");
    RecordingServices services;
    ksi::ShadingRecord record = backdropRecord();
    backdrop.material().shade(&services, &record);
    expectColor(record.outColor, {1.0f, 1.0f, 1.0f, 1.0f});
    EXPECT_EQ(services.log.count("getLightSamples"), 0) << "a steep part catches no shadow";

    ksi::ShadingRecord back = backdropRecord();
    back.frontFacing = 0;
    const ksi::ShadingRecord before = back;
    backdrop.material().shade(&services, &back);
    EXPECT_EQ(back.noContribution, 1);
    back.noContribution = 0;
    EXPECT_EQ(std::memcmp(&before, &back, sizeof back), 0);
}

TEST(BackgroundGeometry, DiffuseAlphaDecidesTransparency) {
    struct Case {
        float alpha;
        bool dropped;
        int traces;
        float expectedRed;
    };
    // Graded colour 0.8 blended with a traced 0.2 by the alpha.
    const Case cases[] = {{0.04f, true, 0, 0.0f}, {0.5f, false, 1, 0.8f * 0.5f + 0.5f * 0.2f},
                          {1.5f, false, 0, 0.8f}};
    for (const Case& c : cases) {
        kestrel::ShaderInstance backdrop = createShader("BackgroundGeometry");
        RecordingImageTexture texture;
        texture.texel = {0.8f, 0.8f, 0.8f, c.alpha};
        backdrop.bindTexture("diffuseTexture", &texture);
        backdrop.set("diffuseMode", int32_t{1});
        RecordingServices services;
        services.transmissionAnswer = {0.2f, 0.2f, 0.2f, 1.0f};
        ksi::ShadingRecord record = backdropRecord();
        backdrop.material().shade(&services, &record);
        EXPECT_EQ(record.noContribution, c.dropped ? 1 : 0);
        EXPECT_EQ(services.log.count("traceTransmission"), c.traces);
        if (!c.dropped) {
            EXPECT_FLOAT_EQ(record.outColor.x, c.expectedRed);
        }
    }
}

TEST(BackgroundGeometry, ReflectionRaysSeeTheOverride) {
    kestrel::ShaderInstance backdrop = createShader("BackgroundGeometry");
    backdrop.set("globalIBLGainValue", 2.0f);
    RecordingServices services;
    for (int rayType : {2, 4}) {
        ksi::ShadingRecord record = backdropRecord();
        record.rayType = rayType;
        backdrop.material().shade(&services, &record);
        expectColor(record.outColor, {0.0f, 0.0f, 0.0f, 1.0f});
    }
    RecordingImageTexture sky;
    sky.texel = {0.5f, 0.25f, 0.125f, 0.0f};
    backdrop.bindTexture("reflectLatlong", &sky);
    ksi::ShadingRecord record = backdropRecord();
    record.rayType = 2;
    record.rayDir = {1.0f, 0.0f, 0.0f};
    backdrop.material().shade(&services, &record);
    expectColor(record.outColor, {1.0f, 0.5f, 0.25f, 1.0f});
    ASSERT_EQ(sky.lookups.size(), 1u);
    EXPECT_EQ(sky.lookups[0].x, 0.25f);
    EXPECT_EQ(sky.lookups[0].y, 0.5f);
    // A continuation through a matte sees the backdrop itself, graded by the same gain.
    ksi::ShadingRecord matte = backdropRecord();
    matte.rayType = 4;
    matte.throughMatte = 1;
    backdrop.material().shade(&services, &matte);
    expectColor(matte.outColor, {2.0f, 2.0f, 2.0f, 1.0f});
}

TEST(BackgroundGeometry, UpwardPartsCatchShadows) {
    kestrel::ShaderInstance backdrop = createShader("BackgroundGeometry");
    RecordingServices services;
    services.lights.push_back(RecordingServices::makeLight({0, 0, 1}, {2.0f, 1.0f, 1.0f}, Float3(0.5f)));
    ksi::ShadingRecord record = backdropRecord(0.95f);
    backdrop.material().shade(&services, &record);
    // m = 2, s = 1, A = 0.5: visibility 0.25, full intensity towards black.
    expectColor(record.outColor, {0.25f, 0.25f, 0.25f, 1.0f});

    backdrop.set("draw_mere_shadow", true);
    backdrop.material().shade(&services, &record);
    EXPECT_EQ(record.outColor.w, 1.0f) << "shadowed enough to be drawn";
    services.lights.clear();
    backdrop.material().shade(&services, &record);
    EXPECT_EQ(record.outColor.w, 0.0f) << "no shadow: transparent";

    // Exactly 0.9 catches no shadow but blocks shadow rays.
    RecordingServices quiet;
    ksi::ShadingRecord edge = backdropRecord(0.9f);
    backdrop.material().shade(&quiet, &edge);
    EXPECT_EQ(quiet.log.count("getLightSamples"), 0);
    edge.rayType = 16;
    backdrop.material().shadowTransmittance(&quiet, &edge);
    expectFloat3(edge.outTransmittance, Float3(0.0f));
    for (int rayType : {1, 4}) {
        edge.rayType = rayType;
        backdrop.material().shadowTransmittance(&quiet, &edge);
        expectFloat3(edge.outTransmittance, Float3(1.0f));
    }
}

TEST(BackgroundGeometry, GainColourTintsTheGreyAndReplacesTheGainValue) {
    kestrel::ShaderInstance backdrop = createShader("BackgroundGeometry");
    backdrop.set("diffuseColor", Float3(0.5f, 1.0f, 0.25f));
    backdrop.set("globalIBLGainSource", int32_t{1});
    backdrop.set("globalIBLGainColor", Float3(1.0f, 0.0f, 0.0f));
    backdrop.set("globalIBLGainValue", 7.0f);
    RecordingServices services;
    ksi::ShadingRecord record = backdropRecord();
    backdrop.material().shade(&services, &record);
    const float grey = 0.2125f * 0.5f + 0.7154f * 1.0f + 0.0721f * 0.25f;
    expectColor(record.outColor, {grey, 0.0f, 0.0f, 1.0f});
}

TEST(BackgroundGeometry, TextureChannelProjections) {
    struct Case {
        const char* name;
        int mode;
        Float3 point;
        Float3 normal;
        Float2 expected;
    };
    const Case cases[] = {
        {"uv", 1, {9, 9, 9}, {0, 0, 1}, {0.25f, 0.75f}},
        {"planar", 2, {0.3f, 0.6f, 0.9f}, {0, 0, 1}, {0.3f, 0.6f}},
        {"box x face reads (z, y)", 3, {0.3f, 0.6f, 0.9f}, {1, 0, 0}, {0.9f, 0.6f}},
        {"box x wins a tie with y", 3, {0.3f, 0.6f, 0.9f}, {0.5f, 0.5f, 0}, {0.9f, 0.6f}},
        {"box y face", 3, {0.3f, 0.6f, 0.9f}, {0, 0.5f, 0.5f}, {0.3f, 0.9f}},
        {"box z face", 3, {0.3f, 0.6f, 0.9f}, {0.5f, 0, 0.5f}, {0.3f, 0.6f}},
        {"cylindrical", 4, {0.5f, 1.5f, 0.2f}, {0, 0, 1}, {0.5f, 0.2f}},
        {"spherical", 5, {1.5f, 0.5f, 0.5f}, {0, 0, 1}, {0.25f, 0.5f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kestrel::ShaderInstance backdrop = createShader("BackgroundGeometry");
        RecordingImageTexture texture;
        backdrop.bindTexture("diffuseTexture", &texture);
        backdrop.set("diffuseMode", int32_t{c.mode});
        RecordingServices services;
        ksi::ShadingRecord record = backdropRecord();
        record.objectPosition = c.point;
        record.normal = c.normal;
        ksi::writeVarying(record, 0, Float2(0.25f, 0.75f));
        backdrop.material().shade(&services, &record);
        ASSERT_EQ(texture.lookups.size(), 1u);
        EXPECT_FLOAT_EQ(texture.lookups[0].x, c.expected.x);
        EXPECT_FLOAT_EQ(texture.lookups[0].y, c.expected.y);
    }
}

TEST(BackgroundGeometry, ContinuationGoesStraightOn) {
    kestrel::ShaderInstance backdrop = createShader("BackgroundGeometry");
    RecordingServices services;
    ksi::ShadingRecord record = backdropRecord();
    record.rayDir = {0.6f, 0.0f, -0.8f};
    backdrop.material().sampleBsdf(&services, &record);
    expectFloat3(record.sampleDir, record.rayDir);
    expectFloat3(record.sampleWeight, Float3(1.0f));
    EXPECT_EQ(record.sampleLobe, ksi::kLobeSpecularReflection);
    EXPECT_EQ(record.samplePdf, 1.0f);
}

}  // namespace
