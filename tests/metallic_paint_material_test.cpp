// The metallic paint: the topcoat's mirror sample (independent of the base lobe), its Fresnel
// share, the normals it orients for shading, shade's base, highlight and reflection terms, and
// the orange peel of the topcoat.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

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

// Under one light along the normal, seen head-on, with F = 0.2, base roughness 0.2 and the base
// colour B: diffuse (1 - F) B t, plus S = F t times the Ward peak 1 / (4 pi 0.2^2), plus S times
// the traced topcoat reflection. The topcoat at spread 0.5 leaves t = 1 - 0.3 x 0.5 head-on; a hue
// weight adds its share of the shifted colour at full light.
TEST(MetallicPaint, ShadeSumsBaseHighlightAndTopcoatReflection) {
    struct Case {
        const char* what;
        bool topcoat;
        float hueWeight;
        double t;
    };
    const Case cases[] = {{"plain", false, 0.0f, 1.0}, {"topcoat", true, 0.0f, 0.85}, {"hue shift", false, 0.5f, 1.0}};
    const double B[3] = {0.5, 0.25, 1.0}, shifted[3] = {0.2, 0.4, 0.6}, traced[3] = {0.1, 0.2, 0.3};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kestrel::ShaderInstance paint = createShader("kestrel_Mtl_MetallicPaint");
        paint.set("u_base00Reflectivity", 0.2f);
        paint.set("u_base90Reflectivity", 0.2f);
        paint.set("u_baseColor", ksi::Float4(0.5f, 0.25f, 1.0f, 1.0f));
        paint.set("u_baseRoughValue", 0.2f);
        paint.set("u_topcoatEnable", c.topcoat);
        paint.set("u_baseHighlightSpread", 0.5f);
        paint.set("u_hueWeight", c.hueWeight);
        paint.set("u_shiftedColor", Float3(0.2f, 0.4f, 0.6f));
        RecordingServices services;
        services.traceAnswer = {0.1f, 0.2f, 0.3f};
        services.lights.push_back(RecordingServices::makeLight({0.0f, 0.0f, 1.0f}, Float3(1.0f)));
        ksi::ShadingRecord record = paintRecord({0.0f, 0.0f, -1.0f});
        paint.material().shade(&services, &record);
        const double S = 0.2 * c.t, peak = 1 / (4 * M_PI * 0.04);
        const float got[3] = {record.outColor.x, record.outColor.y, record.outColor.z};
        for (int i = 0; i < 3; ++i) {
            const double diffuse = 0.8 * B[i] * c.t + c.hueWeight * shifted[i];
            EXPECT_NEAR(got[i], diffuse + S * peak + S * traced[i], 1e-5) << "channel " << i;
        }
    }
}

// The orange peel: host noise 0.2 x + 0.1 z, read as (n + 1) / 2 at the point 0.9 P / 2.6, rises by
// 0.1 per unit along T and 0.05 along N; half of that gradient moves the topcoat normal, which the
// light query receives, unnormalised.
TEST(MetallicPaint, OrangePeelRipplesTheTopcoatNormal) {
    kestrel::ShaderInstance paint = createShader("kestrel_Mtl_MetallicPaint");
    paint.set("u_finish", int32_t{1});
    paint.set("u_finishPeelamount", 0.5f);
    RecordingServices services;
    services.onNoise = [](const ksi::Float4& p) { return 0.2f * p.x + 0.1f * p.z; };
    ksi::ShadingRecord record = paintRecord({0.0f, 0.0f, -1.0f});
    record.position = {1.0f, 2.0f, 0.5f};
    paint.material().shade(&services, &record);
    const std::vector<float>& point = services.log.args("noise");
    EXPECT_NEAR(point[0], 0.9 / 2.6, 1e-6);
    EXPECT_NEAR(point[1], 1.8 / 2.6, 1e-6);
    const std::vector<float>& query = services.log.args("getLightSamples");
    EXPECT_NEAR(query[4], 0.5 * 0.1, 1e-5);
    EXPECT_NEAR(query[5], 0.0, 1e-5);
    EXPECT_NEAR(query[6], 1 + 0.5 * 0.05, 1e-5);
}

}  // namespace
