// The mirror, and through it the common inputs every newer material shares: masking, the blend
// with what lies behind, the common tint, the clipping map and the reflection bent above the
// geometric surface.
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
    record.lobeRequest[2] = 1;
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
    EXPECT_EQ(record.sampleLobe, 4);
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
    kestrel::ShaderInstance mirror = whiteMirror();
    RecordingServices services;
    const float s = std::sqrt(0.5f);
    ksi::ShadingRecord record = mirrorRecord({s, 0.0f, -s});
    record.normal = ksi::normalize(Float3(0.6f, 0.0f, 0.8f));
    mirror.material().shade(&services, &record);
    const auto& args = services.log.args("traceReflection");
    Float3 traced(args[3], args[4], args[5]);
    EXPECT_NEAR(ksi::dot(traced, record.geomNormal), 0.05f, 1e-5f);
    EXPECT_NEAR(ksi::dot(traced, traced), 1.0f, 1e-5f);

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
    EXPECT_EQ(noRequest.sampleLobe, 0);
    noRequest.sampleLobe = before.sampleLobe;
    EXPECT_EQ(std::memcmp(&before, &noRequest, sizeof before), 0) << "only the lobe code is written";

    ksi::ShadingRecord grazing = mirrorRecord({1.0f, 0.0f, 0.0f});
    mirror.material().sampleBsdf(&services, &grazing);
    EXPECT_EQ(grazing.sampleLobe, 0);
}

TEST(Mirror, EvaluateOnlyAppliesTheClippingMap) {
    RecordingDataTexture planes;
    // Texel 0 holds the count 2.7: planes 1 and 2 are read at (i + 0.5) / 3.7.
    planes.function = [](float u, float) { return u == 0.0f ? Float4(2.7f, 0, 0, 1) : Float4(0, 0, 1, 0.5f); };
    for (bool enabled : {false, true}) {
        kestrel::ShaderInstance mirror = whiteMirror();
        mirror.bindTexture("u_globalClippingMap", &planes);
        mirror.set("u_globalClippingMapEnable", enabled);
        planes.fetches.clear();
        RecordingServices services;
        ksi::ShadingRecord record = mirrorRecord();
        record.position = {0.0f, 0.0f, -0.5f};  // exactly on the plane z = -0.5: clipped
        ksi::ShadingRecord before = record;
        mirror.material().evaluateBsdf(&services, &record);
        EXPECT_EQ(record.noContribution, enabled ? 1 : 0);
        record.noContribution = 0;
        EXPECT_EQ(std::memcmp(&before, &record, sizeof before), 0);
        if (enabled) {
            ASSERT_EQ(planes.fetches.size(), 2u) << "the first plane already clips";
            EXPECT_EQ(planes.fetches[1].x, 1.5f / 3.7f);
        }
    }
}

TEST(Mirror, MaskBlendsWithWhatLiesBehind) {
    struct Case {
        const char* name;
        int mode;
        Float3 maskColor;
        bool fromAlpha;
        bool invert;
        Float3 objectPosition;
        Float3 expectedMask;  // (1, 1, 1) means dropped
    };
    const Case cases[] = {
        {"constant quarter", 0, {0.25f, 0.25f, 0.25f}, false, false, {0, 0, 0}, {0.25f, 0.25f, 0.25f}},
        {"no inversion in mode 0", 0, {0.25f, 0.25f, 0.25f}, false, true, {0, 0, 0}, {0.25f, 0.25f, 0.25f}},
        {"mode -1 ignores the colour", -1, {1, 1, 1}, false, true, {0, 0, 0}, {0, 0, 0}},
        {"out-of-range mode is no mask", 7, {1, 1, 1}, false, false, {0, 0, 0}, {0, 0, 0}},
        {"unbound texture reads black", 1, {0, 0, 0}, false, false, {0, 0, 0}, {0, 0, 0}},
        {"unbound texture alpha is opaque", 1, {0, 0, 0}, true, false, {0, 0, 0}, {1, 1, 1}},
        {"inverted unbound texture", 1, {0, 0, 0}, false, true, {0, 0, 0}, {1, 1, 1}},
        {"planar slab edge kept", 2, {0, 0, 0}, false, false, {0, 0, 1.0f}, {0, 0, 0}},
        {"planar outside the slab", 2, {0, 0, 0}, false, false, {0, 0, 1.5f}, {1, 1, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kestrel::ShaderInstance mirror = whiteMirror();
        mirror.set("maskingMode", int32_t{c.mode});
        mirror.set("maskingColor", c.maskColor);
        mirror.set("maskingFromAlpha", c.fromAlpha);
        mirror.set("maskingInvertTexture", c.invert);
        RecordingServices services;
        services.traceAnswer = {0.5f, 0.5f, 0.5f};
        services.transmissionAnswer = {0.2f, 0.4f, 0.6f, 0.3f};
        ksi::ShadingRecord record = mirrorRecord();
        record.objectPosition = c.objectPosition;
        mirror.material().shade(&services, &record);
        const Float3 m = c.expectedMask;
        if (m == Float3(1.0f)) {
            EXPECT_EQ(record.noContribution, 1);
            EXPECT_EQ(services.log.count("traceReflection"), 0);
            continue;
        }
        const Float3 shaded(0.92f * 1.0f * 0.5f, 0.92f * 0.5f * 0.5f, 0.92f * 0.25f * 0.5f);
        if (ksi::isZero(m)) {
            EXPECT_EQ(services.log.count("traceTransmission"), 0);
            expectColor(record.outColor, Float4(shaded, 1.0f));
        } else {
            const Float3 behind(0.2f, 0.4f, 0.6f);
            expectColor(record.outColor, {(1.0f - m.x) * shaded.x + m.x * behind.x,
                                          (1.0f - m.y) * shaded.y + m.y * behind.y,
                                          (1.0f - m.z) * shaded.z + m.z * behind.z, 0.3f});
        }
    }
}

TEST(Mirror, CommonTintMultipliesTheColourButNotItsAlpha) {
    kestrel::ShaderInstance mirror = whiteMirror();
    mirror.set("u_commonTintEnable", true);
    mirror.set("u_commonTintColor", Float4(0.5f, 2.0f, 0.0f, 0.25f));
    RecordingServices services;
    services.traceAnswer = {1.0f, 1.0f, 1.0f};
    ksi::ShadingRecord record = mirrorRecord();
    mirror.material().shade(&services, &record);
    expectColor(record.outColor, {0.92f * 0.5f, 0.92f * 0.5f * 2.0f, 0.0f, 1.0f});
}

}  // namespace
