// What the opaque reflectors share at the edge of the hemisphere, as one table: evaluateBsdf is
// zero for a direction below the surface (and, where the class says so, for a ray arriving from
// behind), and sampleBsdf from behind draws nothing without asking the host for a number.
#include <gtest/gtest.h>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float3;

// A record with the tangent frame of the tangent materials: tangent +x at 36, bitangent +y at 24.
ksi::ShadingRecord framedRecord(Float3 rayDir, Float3 sampleDir) {
    ksi::ShadingRecord record = presetRecord();
    record.rayDir = rayDir;
    record.sampleDir = sampleDir;
    ksi::writeVarying(record, 36, Float3(1.0f, 0.0f, 0.0f));
    ksi::writeVarying(record, 24, Float3(0.0f, 1.0f, 0.0f));
    acceptLobes(record, {ksi::kLobeDiffuseReflection, ksi::kLobeGlossyReflection, ksi::kLobeSpecularReflection});
    return record;
}

TEST(OpaqueReflectors, NothingBelowTheSurfaceNorFromBehind) {
    struct Case {
        const char* className;
        bool evaluateFromBehindIsZero;
    } const cases[] = {
        {"kestrel_Mtl_Metal", true},
        {"kestrel_Mtl_MetallicPaint", false},
        {"kestrel_Mtl_Ward", false},
    };
    const Float3 down{0.0f, 0.0f, -1.0f}, up{0.0f, 0.0f, 1.0f};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.className);
        kestrel::ShaderInstance shader = createShader(c.className);
        RecordingServices services;
        ksi::ShadingRecord below = framedRecord(down, {0.0f, 0.6f, -0.8f});
        shader.material().evaluateBsdf(&services, &below);
        expectFloat3(below.sampleWeight, Float3(0.0f), "below");
        EXPECT_EQ(below.sampleCos, 0.0f);
        if (c.evaluateFromBehindIsZero) {
            ksi::ShadingRecord behind = framedRecord(up, {0.0f, 0.6f, 0.8f});
            shader.material().evaluateBsdf(&services, &behind);
            expectFloat3(behind.sampleWeight, Float3(0.0f), "from behind");
            EXPECT_EQ(behind.sampleCos, 0.0f);
        }
        services.log.clear();
        ksi::ShadingRecord sample = framedRecord(up, up);
        shader.material().sampleBsdf(&services, &sample);
        EXPECT_EQ(sample.sampleLobe, ksi::kLobeNone);
        EXPECT_EQ(services.log.count("random") + services.log.count("random2D"), 0);
    }
}

}  // namespace
