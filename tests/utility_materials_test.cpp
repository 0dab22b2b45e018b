// The preview materials Solid, NormalsOnly and Unlit: colours by patch state and facing, the
// viewing-angle shading, which outputs each slot writes and which ray types Unlit answers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float3;

constexpr std::size_t kRgbaEnd = kRgbBegin + 4 * sizeof(float);

// A record whose ray meets the normal (0, 0, 1) at |cos| = c, from above or below.
ksi::ShadingRecord viewRecord(float c, bool fromAbove) {
    ksi::ShadingRecord record = presetRecord();
    float s = std::sqrt(1.0f - c * c);
    record.rayDir = fromAbove ? Float3(s, 0.0f, -c) : Float3(s, 0.0f, c);
    record.frontFacing = fromAbove ? 1 : 0;
    return record;
}

float saturated(float x) { return x < 0.0f ? 0.0f : (x > 1.0f ? 1.0f : x); }

TEST(SolidMaterial, PatchColourScaledByTheViewCosine) {
    struct Case {
        int32_t patchState;
        Float3 base;
    } const cases[] = {
        {0, {0.69f, 0.58f, 0.69f}}, {1, {0.69f, 0.58f, 0.69f}}, {2, {0.85f, 0.85f, 0.85f}},
        {3, {0.0f, 0.0f, 0.0f}},    {7, {0.0f, 0.0f, 0.0f}},    {-1, {0.0f, 0.0f, 0.0f}},
        {INT32_MIN, {0.0f, 0.0f, 0.0f}},
    };
    for (const Case& c : cases) {
        for (float cosine : {1.0f, 0.5f, 0.0f}) {
            for (bool fromAbove : {true, false}) {
                for (bool flags : {false, true}) {  // reverseNormal and faceForward change nothing
                    SCOPED_TRACE(testing::Message() << "patchState " << c.patchState << " cos " << cosine
                                                    << (fromAbove ? " above" : " below") << " flags " << flags);
                    kestrel::ShaderInstance solid = createShader("kestrel_Mtl_Solid");
                    solid.set("patchState", c.patchState);
                    solid.set("reverseNormal", flags);
                    solid.set("faceForward", flags);
                    RecordingServices services;
                    ksi::ShadingRecord record = viewRecord(cosine, fromAbove);
                    const ksi::ShadingRecord before = record;
                    solid.material().shade(&services, &record);
                    EXPECT_EQ(record.outColor.x, saturated(c.base.x * cosine));
                    EXPECT_EQ(record.outColor.y, saturated(c.base.y * cosine));
                    EXPECT_EQ(record.outColor.z, saturated(c.base.z * cosine));
                    EXPECT_TRUE(services.log.calls().empty());
                    expectUnchangedOutside(before, record, kRgbBegin, kRgbEnd);  // alpha untouched
                }
            }
        }
    }
}

TEST(SolidMaterial, HandComputedColoursAndSaturation) {
    kestrel::ShaderInstance solid = createShader("kestrel_Mtl_Solid");
    RecordingServices services;
    solid.set("patchState", 1);
    ksi::ShadingRecord record = viewRecord(1.0f, true);
    solid.material().shade(&services, &record);
    EXPECT_EQ(record.outColor.x, 0.69f);
    EXPECT_EQ(record.outColor.y, 0.58f);
    EXPECT_EQ(record.outColor.w, kPresetAlpha);

    solid.set("patchState", 2);
    record = viewRecord(0.5f, false);
    solid.material().shade(&services, &record);
    EXPECT_EQ(record.outColor.x, 0.425f);

    // A normal longer than 1 gives |cos| = 1.5: mauve's red and blue saturate, its green not.
    solid.set("patchState", 0);
    record = viewRecord(1.0f, true);
    record.normal = {0.0f, 0.0f, 1.5f};
    solid.material().shade(&services, &record);
    EXPECT_EQ(record.outColor.x, 1.0f);
    EXPECT_EQ(record.outColor.y, 0.58f * 1.5f);
    EXPECT_EQ(record.outColor.z, 1.0f);
}

TEST(NormalsOnlyMaterial, SignalColourBySettingAndSide) {
    const Float3 green{0.05f, 0.8f, 0.05f}, olive{0.45f, 0.65f, 0.35f}, yellow{1.0f, 1.0f, 0.0f},
        blue{0.05f, 0.05f, 0.8f};
    struct Case {
        bool faceForward, faceLight, reverseNormal;
        uint8_t frontFacing;
        Float3 base;
    } const cases[] = {
        {true, true, false, 1, green},     {true, false, true, 0, green},    {false, true, false, 1, olive},
        {false, true, true, 0, olive},     {false, false, false, 1, blue},   {false, false, false, 0, yellow},
        {false, false, true, 1, yellow},   {false, false, true, 0, blue},    {false, false, false, 0xFF, blue},
        {false, false, true, 0x02, yellow},
    };
    for (const Case& c : cases) {
        for (float cosine : {1.0f, 0.25f}) {
            SCOPED_TRACE(testing::Message() << "faceForward " << c.faceForward << " faceLight " << c.faceLight
                                            << " reverseNormal " << c.reverseNormal << " frontFacing "
                                            << int(c.frontFacing) << " cos " << cosine);
            kestrel::ShaderInstance normals = createShader("kestrel_Mtl_NormalsOnly");
            normals.set("faceForward", c.faceForward);
            normals.set("faceLight", c.faceLight);
            normals.set("reverseNormal", c.reverseNormal);
            RecordingServices services;
            ksi::ShadingRecord record = viewRecord(cosine, true);
            record.frontFacing = c.frontFacing;
            const ksi::ShadingRecord before = record;
            normals.material().shade(&services, &record);
            EXPECT_EQ(record.outColor.x, c.base.x * cosine);
            EXPECT_EQ(record.outColor.y, c.base.y * cosine);
            EXPECT_EQ(record.outColor.z, c.base.z * cosine);
            EXPECT_EQ(record.outColor.w, 1.0f);
            EXPECT_TRUE(services.log.calls().empty());
            expectUnchangedOutside(before, record, kRgbBegin, kRgbaEnd);
        }
    }
}

TEST(UnlitMaterial, ShowsItsColourToCameraRaysOnly) {
    kestrel::ShaderInstance unlit = createShader("kestrel_Mtl_Unlit");
    RecordingServices services;
    ksi::ShadingRecord record = presetRecord();
    ksi::ShadingRecord before = record;
    unlit.material().shade(&services, &record);
    EXPECT_EQ(record.outColor.x, 1.0f);
    EXPECT_EQ(record.outColor.y, 1.0f);
    EXPECT_EQ(record.outColor.z, 0.0f);
    expectUnchangedOutside(before, record, kRgbBegin, kRgbEnd);

    unlit.set("diffuseColor", Float3(0.25f, -3.0f, 7.0f));  // passed through unclamped
    record = presetRecord();
    unlit.material().shade(&services, &record);
    EXPECT_EQ(record.outColor.x, 0.25f);
    EXPECT_EQ(record.outColor.y, -3.0f);
    EXPECT_EQ(record.outColor.z, 7.0f);

    for (int32_t rayType : {0, 2, 3, 4, 16, 32, -1}) {
        SCOPED_TRACE(rayType);
        record = presetRecord();
        record.rayType = rayType;
        record.throughMatte = 1;  // even a continued camera ray
        before = record;
        unlit.material().shade(&services, &record);
        EXPECT_EQ(record.noContribution, 1);
        const std::size_t flag = offsetof(ksi::ShadingRecord, noContribution);
        expectUnchangedOutside(before, record, flag, flag + 1);
    }
    EXPECT_TRUE(services.log.calls().empty());
}

TEST(UnlitMaterial, NeverCastsAShadow) {
    kestrel::ShaderInstance unlit = createShader("kestrel_Mtl_Unlit");
    unlit.set("diffuseColor", Float3(0.0f, 0.0f, 0.0f));
    RecordingServices services;
    for (int32_t rayType : {1, 2, 4, 16, 32}) {
        SCOPED_TRACE(rayType);
        ksi::ShadingRecord record = presetRecord();
        record.rayType = rayType;
        const ksi::ShadingRecord before = record;
        unlit.material().shadowTransmittance(&services, &record);
        EXPECT_EQ(record.outTransmittance.x, 1.0f);
        EXPECT_EQ(record.outTransmittance.y, 1.0f);
        EXPECT_EQ(record.outTransmittance.z, 1.0f);
        const std::size_t begin = offsetof(ksi::ShadingRecord, outTransmittance);
        expectUnchangedOutside(before, record, begin, begin + sizeof(Float3));
    }
    EXPECT_TRUE(services.log.calls().empty());
}

}  // namespace
