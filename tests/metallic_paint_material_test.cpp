// The metallic paint: the topcoat's mirror sample (independent of the base lobe), its Fresnel
// share, and the normals it orients for shading.
#include <gtest/gtest.h>

#include <cmath>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float3;

ksi::ShadingRecord paintRecord(Float3 rayDir) {
    ksi::ShadingRecord record = presetRecord();
    record.rayDir = rayDir;
    ksi::writeVarying(record, 36, Float3(1.0f, 0.0f, 0.0f));
    return record;
}

float topcoatShare(float cosine) { return 0.7f * std::pow(1.0f - cosine, 5.0f) + 0.3f; }

TEST(MetallicPaint, OnlyASpecularRequestAlwaysTakesTheTopcoatMirror) {
    kestrel::ShaderInstance paint = createShader("kestrel_Mtl_MetallicPaint");
    const float s = std::sqrt(0.5f);
    RecordingServices services;
    services.randomQueue = {0.999f};
    ksi::ShadingRecord record = paintRecord({s, 0.0f, -s});
    acceptLobes(record, {ksi::kLobeSpecularReflection});
    paint.material().sampleBsdf(&services, &record);
    EXPECT_EQ(record.sampleLobe, ksi::kLobeSpecularReflection);
    const float c = std::fmin(std::fmax(s, 0.0f), 1.0f);
    expectFloat3(record.sampleWeight, Float3(topcoatShare(c)));
    EXPECT_EQ(record.samplePdf, 1.0f);
    EXPECT_EQ(record.sampleCos, 1.0f);
    EXPECT_FLOAT_EQ(record.sampleDir.x, s);
    EXPECT_FLOAT_EQ(record.sampleDir.z, s);
}

TEST(MetallicPaint, WithTheBaseRequestedTheTopcoatTakesItsFresnelShare) {
    kestrel::ShaderInstance paint = createShader("kestrel_Mtl_MetallicPaint");
    RecordingServices services;
    services.randomQueue = {0.0f};
    ksi::ShadingRecord record = paintRecord({0.0f, 0.0f, -1.0f});
    acceptLobes(record, {ksi::kLobeGlossyReflection});
    paint.material().sampleBsdf(&services, &record);
    // Head-on the share is 0.3: the mirror sample carries 1 / 0.3 as its reciprocal density.
    EXPECT_EQ(record.sampleLobe, ksi::kLobeSpecularReflection);
    expectFloat3(record.sampleWeight, Float3(0.3f));
    EXPECT_EQ(record.samplePdf, 1.0f / 0.3f);
    expectFloat3(record.sampleDir, Float3(0.0f, 0.0f, 1.0f));
}

TEST(MetallicPaint, BaseSamplesAreGlossyOrRejected) {
    kestrel::ShaderInstance paint = createShader("kestrel_Mtl_MetallicPaint");
    RecordingServices services;
    services.randomQueue = {0.9f, 0.2f, 0.3f, 0.4f};
    ksi::ShadingRecord record = paintRecord({0.0f, 0.0f, -1.0f});
    acceptLobes(record, {ksi::kLobeDiffuseReflection});
    paint.material().sampleBsdf(&services, &record);
    EXPECT_TRUE(record.sampleLobe == ksi::kLobeGlossyReflection || record.sampleLobe == ksi::kLobeNone);
    if (record.sampleLobe == ksi::kLobeGlossyReflection) {
        EXPECT_GT(record.samplePdf, 0.0f);
        EXPECT_GE(record.sampleDir.z, 0.0f);
    }
}

TEST(MetallicPaint, ShadingSeesNormalsOrientedTowardsTheRay) {
    // From behind, with reverseNormal and faceForward, every normal the shade uses faces the ray:
    // the light query and the occlusion query receive the turned normal.
    for (bool reverse : {false, true}) {
        SCOPED_TRACE(reverse);
        kestrel::ShaderInstance paint = createShader("kestrel_Mtl_MetallicPaint");
        paint.set("reverseNormal", reverse);
        paint.set("faceForward", true);
        RecordingServices services;
        ksi::ShadingRecord record = paintRecord({0.0f, 0.0f, 1.0f});  // arrives from below
        const ksi::ShadingRecord before = record;
        paint.material().shade(&services, &record);
        const auto& query = services.log.args("getLightSamples");
        EXPECT_EQ(query[6], -1.0f) << "the light list is asked for at the turned normal";
        EXPECT_EQ(std::memcmp(&before.normal, &record.normal, sizeof(Float3)), 0) << "the record is not changed";
    }
}

}  // namespace
