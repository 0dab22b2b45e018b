// Point and spot lights: range, cone, attenuation and the shadow query, checked against the
// light formulas written out here step by step.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float3;

const Float3 kPresetColor{-1.0f, -2.0f, -3.0f};
const Float3 kPresetShadow{-4.0f, -5.0f, -6.0f};

// Every byte of the record except the two light outputs is as it was.
void expectOnlyLightOutputsChanged(const ksi::ShadingRecord& before, const ksi::ShadingRecord& after) {
    kestrel::testing::expectUnchangedOutside(before, after, offsetof(ksi::ShadingRecord, outLightColor),
                                             offsetof(ksi::ShadingRecord, outLightShadow) + sizeof(Float3));
}

// A light sample at distance d from the light, lightDir at cosine c off the axis (+z).
ksi::ShadingRecord lightRecord(float distance, float cosine) {
    ksi::ShadingRecord record = presetRecord();
    record.position = {1.0f, 2.0f, 3.0f};
    record.lightPosition = {4.0f, 5.0f, 6.0f};
    record.lightAxis = {0.0f, 0.0f, 1.0f};
    record.lightDir = {std::sqrt(std::fabs(1.0f - cosine * cosine)), 0.0f, cosine};
    record.lightDistance = distance;
    return record;
}

struct SpotParams {
    Float3 color{0.1f, 1.0f, 0.5f};
    float range = 10000.0f;
    Float3 attenuation{1.0f, 0.0f, 0.0f};
    float cosPenumbra = 0.9f;
    float cosUmbra = 0.95f;
};

// The spot light's colour, straight from its definition; false when the point is not lit.
bool referenceSpotColor(const SpotParams& p, float distance, float dotAxisDir, Float3* color) {
    if (distance > p.range) return false;
    float c = dotAxisDir < 0.0f ? 0.0f : (dotAxisDir > 1.0f ? 1.0f : dotAxisDir);
    if (p.cosPenumbra > c) return false;
    float f = 1.0f;
    if (!(c >= p.cosUmbra)) {
        float t = (c - p.cosPenumbra) / (p.cosUmbra - p.cosPenumbra);
        t = t < 0.0f ? 0.0f : (t > 1.0f ? 1.0f : t);
        f = (3.0f - 2.0f * t) * (t * t);
    }
    float a = 1.0f - std::pow(distance / p.attenuation.x, p.attenuation.y);
    a = a < 0.0f ? 0.0f : (a > 1.0f ? 1.0f : a);
    float axial = std::pow(c, p.attenuation.z);
    float k = a * axial;
    *color = {p.color.x * f * k, p.color.y * f * k, p.color.z * f * k};
    return true;
}

struct SpotCase {
    const char* name;
    SpotParams params;
    float distance;
    float cosine;
};

TEST(SpotLight, RangeConeAndAttenuation) {
    const float below1 = std::nextafter(1.0f, 0.0f);
    SpotParams lit;
    lit.attenuation = {10.0f, 2.0f, 0.0f};
    SpotParams axial = lit;
    axial.attenuation.z = 3.0f;
    axial.cosPenumbra = 0.5f;
    axial.cosUmbra = 1.0f;
    SpotParams wide = lit;
    wide.cosPenumbra = 0.0f;
    const SpotCase cases[] = {
        {"exactly at range is lit", {lit.color, 5.0f, lit.attenuation, 0.9f, 0.95f}, 5.0f, 1.0f},
        {"just beyond range", {lit.color, 5.0f, lit.attenuation, 0.9f, 0.95f}, std::nextafter(5.0f, 9.0f), 1.0f},
        {"cos exactly cosPenumbra: lit, black", lit, 5.0f, 0.9f},
        {"cos just below cosPenumbra", lit, 5.0f, std::nextafter(0.9f, 0.0f)},
        {"between the cosines", lit, 5.0f, 0.925f},
        {"between the cosines, exact halfway", axial, 5.0f, 0.75f},
        {"cos exactly cosUmbra", lit, 5.0f, 0.95f},
        {"inside the umbra", lit, 5.0f, below1},
        {"cosine above 1 is saturated", lit, 5.0f, 1.5f},
        {"negative cosine is saturated to 0", wide, 5.0f, -0.5f},
        {"off-axis exponent", axial, 5.0f, 0.8f},
        {"distance beyond the reference distance", lit, 20.0f, 1.0f},
        {"defaults: black", SpotParams{}, 3.0f, 1.0f},
    };
    for (const SpotCase& c : cases) {
        SCOPED_TRACE(c.name);
        kestrel::ShaderInstance spot = createShader("znSpotLight");
        spot.set("color", c.params.color);
        spot.set("range", c.params.range);
        spot.set("attenuationFactors", c.params.attenuation);
        spot.set("cosPenumbra", c.params.cosPenumbra);
        spot.set("cosUmbra", c.params.cosUmbra);
        RecordingServices services;
        services.shadowAnswer = {0.25f, 0.5f, 0.75f};
        ksi::ShadingRecord record = lightRecord(c.distance, 0.0f);
        record.lightDir = {0.0f, 0.0f, c.cosine};  // dot with the +z axis is exactly the cosine
        const ksi::ShadingRecord before = record;
        spot.light().shade(&services, &record);

        Float3 expected;
        if (!referenceSpotColor(c.params, c.distance, c.cosine, &expected)) {
            EXPECT_EQ(std::memcmp(&before, &record, sizeof record), 0) << "nothing is written";
            EXPECT_TRUE(services.log.calls().empty());
            continue;
        }
        expectFloat3(record.outLightColor, expected, "outLightColor");
        expectFloat3(record.outLightShadow, services.shadowAnswer, "outLightShadow");
        ASSERT_EQ(services.log.count("traceShadow"), 1);
        EXPECT_EQ(services.log.calls().size(), 1u);
        expectOnlyLightOutputsChanged(before, record);
    }
}

TEST(SpotLight, HandComputedValues) {
    kestrel::ShaderInstance spot = createShader("znSpotLight");
    spot.set("color", Float3(0.1f, 1.0f, 0.5f));
    spot.set("attenuationFactors", Float3(10.0f, 2.0f, 0.0f));
    RecordingServices services;
    ksi::ShadingRecord record = lightRecord(5.0f, 1.0f);
    spot.light().shade(&services, &record);
    expectFloat3(record.outLightColor, {0.1f * 0.75f, 0.75f, 0.5f * 0.75f}, "a = 0.75 inside the umbra");

    // cosines 0.5 and 1 with the point at 0.75: t = 0.5, f = 0.5; off-axis exponent 2: p = 0.5625.
    spot.set("cosPenumbra", 0.5f);
    spot.set("cosUmbra", 1.0f);
    spot.set("attenuationFactors", Float3(10.0f, 2.0f, 2.0f));
    spot.set("color", Float3(1.0f, 2.0f, 4.0f));
    record = lightRecord(5.0f, 0.0f);
    record.lightDir = {0.0f, 0.0f, 0.75f};
    spot.light().shade(&services, &record);
    const float k = 0.75f * 0.5625f;
    expectFloat3(record.outLightColor, {0.5f * k, 1.0f * k, 2.0f * k}, "penumbra and off-axis");
}

TEST(PointLight, AttenuationIgnoresTheCosineExponent) {
    struct Case {
        Float3 attenuation;
        float distance;
        float expected;  // distance factor
    } const cases[] = {
        {{10.0f, 2.0f, 0.0f}, 5.0f, 0.75f},
        {{10.0f, 2.0f, 7.0f}, 5.0f, 0.75f},   // z has no effect
        {{10.0f, 1.0f, 7.0f}, 20.0f, 0.0f},   // 1 - 2 saturates to 0
        {{1.0f, 0.0f, 0.0f}, 3.0f, 0.0f},     // defaults: black at every distance
        {{8.0f, 1.0f, 0.0f}, 10000.0f, 0.0f},  // exactly at the default range: lit (black)
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.distance);
        kestrel::ShaderInstance point = createShader("znPointLight");
        point.set("color", Float3(1.0f, 0.5f, 0.1f));
        point.set("attenuationFactors", c.attenuation);
        RecordingServices services;
        services.shadowAnswer = {0.5f, 0.25f, 0.125f};
        ksi::ShadingRecord record = lightRecord(c.distance, 0.3f);  // the cone plays no part
        const ksi::ShadingRecord before = record;
        point.light().shade(&services, &record);
        expectFloat3(record.outLightColor, {1.0f * c.expected, 0.5f * c.expected, 0.1f * c.expected}, "colour");
        expectFloat3(record.outLightShadow, services.shadowAnswer, "shadow");
        expectOnlyLightOutputsChanged(before, record);
    }
}

// What both lights share: the shadow query and its absence, and silence beyond the range.
TEST(Lights, ShadowQueryAndRange) {
    for (const char* name : {"znPointLight", "znSpotLight"}) {
        SCOPED_TRACE(name);
        kestrel::ShaderInstance light = createShader(name);
        light.set("attenuationFactors", Float3(10.0f, 1.0f, 0.0f));
        light.set("range", 50.0f);

        RecordingServices services;
        services.shadowAnswer = {0.125f, 0.25f, 0.5f};
        ksi::ShadingRecord record = lightRecord(5.0f, 1.0f);
        light.light().shade(&services, &record);
        ASSERT_EQ(services.log.count("traceShadow"), 1);
        const std::vector<float> expectedArgs = {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};  // from position to light
        EXPECT_EQ(services.log.args("traceShadow"), expectedArgs);
        expectFloat3(record.outLightShadow, services.shadowAnswer, "traced shadow");

        light.set("castShadows", false);
        services.log.clear();
        record = lightRecord(5.0f, 1.0f);
        light.light().shade(&services, &record);
        EXPECT_TRUE(services.log.calls().empty());
        expectFloat3(record.outLightShadow, Float3(1.0f), "unshadowed");
        EXPECT_GT(record.outLightColor.y, 0.0f);

        light.set("castShadows", true);
        record = lightRecord(std::nextafter(50.0f, 100.0f), 1.0f);
        const ksi::ShadingRecord before = record;
        light.light().shade(&services, &record);
        EXPECT_TRUE(services.log.calls().empty());
        EXPECT_EQ(std::memcmp(&before, &record, sizeof record), 0);
        expectFloat3(record.outLightColor, kPresetColor, "preset colour kept");
        expectFloat3(record.outLightShadow, kPresetShadow, "preset shadow kept");
    }
}

}  // namespace
