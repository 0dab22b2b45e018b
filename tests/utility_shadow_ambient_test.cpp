// The ambient-only preview and the shadow-catching plane.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float3;
using ksi::Float4;

TEST(AmbientOnly, ShowsTheGreyOfTheRequestedOcclusion) {
    struct Case {
        const char* name;
        bool show, precalc, raytraced;
        int mode;
        Float3 colour;
        Float3 expected;
        int queries;
    };
    const Case cases[] = {
        {"defaults show white and ask nothing", false, true, false, 0, {0, 0, 0}, {1, 1, 1}, 0},
        // vertex colour red 0.25 with factor 1 and black occlusion colour: a = 0.75, value 0.25.
        {"vertex colour occlusion", true, true, false, 2, {0, 0, 0}, {0.25f, 0.25f, 0.25f}, 0},
        {"traced but not shown", true, true, false, 0, {0, 0, 0}, {1, 1, 1}, 1},
        // Traced visibility 0.5 towards (0, 0.5, 1): t = 0.5; the grey is the smallest channel.
        {"coloured occlusion becomes grey", true, true, true, 0, {0, 0.5f, 1}, {0.5f, 0.5f, 0.5f}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kestrel::ShaderInstance shader = createShader("kestrel_Mtl_AmbientOnly");
        shader.set("showAmbientOnly", c.show);
        shader.set("usePrecalcAO", c.precalc);
        shader.set("usingRaytracedAO", c.raytraced);
        shader.set("ambientOcclusionMode", int32_t{c.mode});
        shader.set("ambientOcclusionColor", c.colour);
        RecordingServices services;
        services.occlusionAnswer = Float3(0.5f);
        ksi::ShadingRecord record = presetRecord();
        ksi::writeVarying(record, 8, Float4(0.25f, 0.9f, 0.9f, 1.0f));
        shader.material().shade(&services, &record);
        expectColor(record.outColor, Float4(c.expected, 1.0f));
        EXPECT_EQ(services.log.count("ambientOcclusion"), c.queries);
        if (c.queries) {
            EXPECT_EQ(services.log.args("ambientOcclusion")[6], 1.0f) << "at full weight";
        }
    }
}

TEST(ShadowPlane, DarkensWhatLiesBehindByShadowAndOcclusion) {
    struct Case {
        const char* name;
        bool light;
        Float3 shadow;
        Float3 occlusion;
        float intensity;
        bool mereShadow;
        bool dropped;
        float factor;
        float alpha;
    };
    const Case cases[] = {
        {"unshadowed light, open sky: nothing to draw", true, {1, 1, 1}, {1, 1, 1}, 0.7f, false, true, 0, 0},
        {"no light, open sky", false, {1, 1, 1}, {1, 1, 1}, 0.7f, false, true, 0, 0},
        {"no light, half occluded", false, {1, 1, 1}, {0.5f, 0.5f, 0.5f}, 0.7f, false, false, 0.5f, 1},
        {"blocked light", true, {0, 0, 0}, {1, 1, 1}, 0.7f, true, false, 0.3f, 1},
        {"blocked light, weak intensity", true, {0, 0, 0}, {1, 1, 1}, 0.2f, true, false, 0.8f, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kestrel::ShaderInstance plane = createShader("kestrel_Mtl_ShadowPlane");
        plane.set("shadowIntensity", c.intensity);
        plane.set("draw_mere_shadow", c.mereShadow);
        RecordingServices services;
        if (c.light) services.lights.push_back(RecordingServices::makeLight({0, 0, 1}, Float3(1.0f), c.shadow));
        services.occlusionAnswer = c.occlusion;
        services.traceAnswer = {0.5f, 0.25f, 1.0f};
        ksi::ShadingRecord record = presetRecord();
        plane.material().shade(&services, &record);
        EXPECT_EQ(record.noContribution, c.dropped ? 1 : 0);
        if (c.dropped) {
            EXPECT_EQ(services.log.count("traceRay"), 0);
            continue;
        }
        EXPECT_NEAR(record.outColor.x, 0.5f * c.factor, 1e-6f);
        EXPECT_NEAR(record.outColor.z, 1.0f * c.factor, 1e-6f);
        EXPECT_EQ(record.outColor.w, c.alpha);
        EXPECT_EQ(services.log.args("traceRay")[0], 4.0f) << "a camera ray continues as a continuation ray";
        EXPECT_EQ(services.log.args("ambientOcclusion")[6], 1.0f) << "occlusion at full weight";
    }
}

TEST(ShadowPlane, NoReceiveMeansNoQueriesAndShadowsAreOpaqueOnlyToShadowRays) {
    kestrel::ShaderInstance plane = createShader("kestrel_Mtl_ShadowPlane");
    plane.set("receiveShadow", 0.0f);
    RecordingServices services;
    ksi::ShadingRecord record = presetRecord();
    plane.material().shade(&services, &record);
    EXPECT_EQ(record.noContribution, 1);
    EXPECT_TRUE(services.log.calls().empty());
    for (int rayType : {1, 2, 4, 16, 32}) {
        record.rayType = rayType;
        plane.material().shadowTransmittance(&services, &record);
        expectFloat3(record.outTransmittance, Float3(rayType == 16 ? 0.0f : 1.0f));
    }
    ksi::ShadingRecord sample = presetRecord();
    plane.material().sampleBsdf(&services, &sample);
    EXPECT_EQ(sample.sampleLobe, ksi::kLobeSpecularReflection) << "straight on even with nothing requested";
    expectFloat3(sample.sampleDir, sample.rayDir);
}

}  // namespace
