// The mirror: its Fresnel curve, the reflection bent above the geometric surface for shading but
// not for sampling, and what sampling needs. The common inputs it shares are in tests/contract.
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

ksi::ShadingRecord mirrorRecord(Float3 rayDir = {0.0f, 0.0f, -1.0f}) {
    ksi::ShadingRecord record = presetRecord();
    record.rayDir = rayDir;
    acceptLobes(record, {ksi::kLobeSpecularReflection});
    return record;
}

kestrel::ShaderInstance whiteMirror() {
    kestrel::ShaderInstance mirror = createShader("kestrel_Mtl_Mirror");
    mirror.set("u_tintColor", Float3(1.0f, 0.5f, 0.25f));
    return mirror;
}

TEST(Mirror, DefaultsReflectNothing) {
    kestrel::ShaderInstance mirror = createShader("kestrel_Mtl_Mirror");
    RecordingServices services;
    services.traceAnswer = {0.7f, 0.7f, 0.7f};
    ksi::ShadingRecord record = mirrorRecord();
    mirror.material().shade(&services, &record);
    expectColor(record.outColor, {0.0f, 0.0f, 0.0f, 1.0f});
    mirror.material().sampleBsdf(&services, &record);
    expectFloat3(record.sampleWeight, Float3(0.0f));
    EXPECT_EQ(record.samplePdf, 1.0f);
    EXPECT_EQ(record.sampleLobe, ksi::kLobeSpecularReflection);
}

TEST(Mirror, FresnelRisesFromNormalToGrazingIncidence) {
    struct Case {
        Float3 rayDir;
        float cosine;
    };
    const float s = std::sqrt(0.75f);
    const Case cases[] = {{{0.0f, 0.0f, -1.0f}, 1.0f}, {{s, 0.0f, -0.5f}, 0.5f}};
    for (const Case& c : cases) {
        kestrel::ShaderInstance mirror = whiteMirror();
        RecordingServices services;
        services.traceAnswer = {0.5f, 0.5f, 0.5f};
        ksi::ShadingRecord record = mirrorRecord(c.rayDir);
        mirror.material().shade(&services, &record);
        const float F = 0.92f + (1.0f - 0.92f) * std::pow(1.0f - c.cosine, 5.0f);
        const Float3 w(F * 1.0f, F * 0.5f, F * 0.25f);
        expectColor(record.outColor, {w.x * 0.5f, w.y * 0.5f, w.z * 0.5f, 1.0f});
        // The reflection is traced from the point with the weight's largest channel.
        const auto& args = services.log.args("traceReflection");
        EXPECT_EQ(args[6], w.x);
        EXPECT_FLOAT_EQ(args[3], c.rayDir.x);
        EXPECT_FLOAT_EQ(args[5], -c.rayDir.z);
        EXPECT_EQ(services.log.count("ambientOcclusion"), 0) << "the mirror has no ambient term";
    }
    EXPECT_EQ(0.92f + (1.0f - 0.92f) * std::pow(1.0f, 5.0f), 1.0f) << "grazing reflects everything";
}

TEST(Mirror, ReflectionBelowTheGeometricSurfaceIsBentUpForShadingButNotForSampling) {
    // A shading normal tilted away from the geometric one sends the mirror ray under the surface.
    // The grazing ray leaves the bending quadratic a discriminant below 1.
    kestrel::ShaderInstance mirror = whiteMirror();
    const float s = std::sqrt(0.5f);
    for (Float3 rayDir : {Float3(s, 0.0f, -s), ksi::normalize(Float3(0.95f, 0.0f, -0.31225f))}) {
        RecordingServices shading;
        ksi::ShadingRecord bent = mirrorRecord(rayDir);
        bent.normal = ksi::normalize(Float3(0.6f, 0.0f, 0.8f));
        mirror.material().shade(&shading, &bent);
        const auto& args = shading.log.args("traceReflection");
        Float3 traced(args[3], args[4], args[5]);
        EXPECT_NEAR(ksi::dot(traced, bent.geomNormal), 0.05f, 1e-5f);
        EXPECT_NEAR(ksi::dot(traced, traced), 1.0f, 1e-5f);
    }
    RecordingServices services;
    ksi::ShadingRecord record = mirrorRecord({s, 0.0f, -s});
    record.normal = ksi::normalize(Float3(0.6f, 0.0f, 0.8f));

    mirror.material().sampleBsdf(&services, &record);
    const float cosine = -ksi::dot(record.rayDir, record.normal);
    EXPECT_EQ(record.sampleCos, cosine);
    expectFloat3(record.sampleDir, record.rayDir + 2.0f * cosine * record.normal);
    expectFloat3(record.sampleWeight, Float3(1.0f, 0.5f, 0.25f) * (1.0f / cosine));
}

TEST(Mirror, SampleNeedsTheSpecularRequestAndANonZeroCosine) {
    kestrel::ShaderInstance mirror = whiteMirror();
    RecordingServices services;
    ksi::ShadingRecord noRequest = mirrorRecord();
    noRequest.lobeRequest[2] = 0;
    ksi::ShadingRecord before = noRequest;
    mirror.material().sampleBsdf(&services, &noRequest);
    EXPECT_EQ(noRequest.sampleLobe, ksi::kLobeNone);
    noRequest.sampleLobe = before.sampleLobe;
    EXPECT_EQ(std::memcmp(&before, &noRequest, sizeof before), 0) << "only the lobe code is written";

    ksi::ShadingRecord grazing = mirrorRecord({1.0f, 0.0f, 0.0f});
    mirror.material().sampleBsdf(&services, &grazing);
    EXPECT_EQ(grazing.sampleLobe, ksi::kLobeNone);
}

}  // namespace
