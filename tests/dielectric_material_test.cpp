// The dielectric and the glazing: Fresnel split of traced reflection and refraction, leaving the
// medium (absorption, total internal reflection), shadows, the sampling paths with scripted
// random numbers, and the glazing's highlights and evaluation against the microfacet model.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float3;
using ksi::Float4;

ksi::ShadingRecord glassRecord(Float3 rayDir = {0.0f, 0.0f, -1.0f}, bool front = true) {
    ksi::ShadingRecord record = presetRecord();
    record.rayDir = rayDir;
    record.frontFacing = front ? 1 : 0;
    record.outsideIorEntering = 1.0f;
    record.outsideIorLeaving = 1.0f;
    ksi::writeVarying(record, 36, Float3(1.0f, 0.0f, 0.0f));
    return record;
}

float schlick(float r0, float c) { return r0 + (1.0f - r0) * std::pow(1.0f - c, 5.0f); }

TEST(Dielectric, EnteringSplitsIntoReflectionAndStraightRefractionAtNormalIncidence) {
    kestrel::ShaderInstance glass = createShader("kestrel_Mtl_Dielectric");
    RecordingServices services;
    services.traceAnswer = {1.0f, 0.5f, 0.25f};
    ksi::ShadingRecord record = glassRecord();
    glass.material().shade(&services, &record);
    ASSERT_EQ(services.log.count("traceGlossyReflection"), 1);
    ASSERT_EQ(services.log.count("traceGlossyTransmission"), 1);
    const auto& reflect = services.log.args("traceGlossyReflection");
    EXPECT_EQ(reflect[7], 0.1f) << "weight of the reflection: F at normal incidence";
    const auto& refract = services.log.args("traceGlossyTransmission");
    EXPECT_FLOAT_EQ(refract[5], -1.0f) << "straight through at normal incidence";
    EXPECT_EQ(refract[7], 0.9f);
    expectColor(record.outColor, {0.1f * 1.0f + 0.9f * 1.0f, 0.1f * 0.5f + 0.9f * 0.5f, 0.1f * 0.25f + 0.9f * 0.25f,
                                  1.0f});
}

TEST(Dielectric, LeavingTheMediumRefractsOnlyAndAbsorbsAlongThePath) {
    kestrel::ShaderInstance glass = createShader("kestrel_Mtl_Dielectric");
    glass.set("u_falloffEnable", true);
    glass.set("u_absorptionCoef", Float3(0.5f, 0.0f, 0.25f));
    RecordingServices services;
    services.traceAnswer = {1.0f, 1.0f, 1.0f};
    ksi::ShadingRecord record = glassRecord({0.0f, 0.0f, -1.0f}, false);
    record.rayOrigin = {0.0f, 0.0f, 2.0f};  // two units through the glass
    glass.material().shade(&services, &record);
    EXPECT_EQ(services.log.count("traceGlossyReflection"), 0);
    ASSERT_EQ(services.log.count("traceGlossyTransmission"), 1);
    EXPECT_NEAR(record.outColor.x, std::pow(10.0f, -1.0f), 1e-6f);
    EXPECT_EQ(record.outColor.y, 1.0f);
    EXPECT_NEAR(record.outColor.z, std::pow(10.0f, -0.5f), 1e-6f);
}

TEST(Dielectric, TotalInternalReflectionWhenLeavingSteeply) {
    kestrel::ShaderInstance glass = createShader("kestrel_Mtl_Dielectric");
    const Float3 steep = ksi::normalize(Float3(0.9f, 0.0f, -0.3f));
    RecordingServices services;
    ksi::ShadingRecord record = glassRecord(steep, false);
    glass.material().shade(&services, &record);
    const auto& traced = services.log.args("traceGlossyTransmission");
    EXPECT_GE(traced[5], 0.05f - 1e-6f) << "the trapped ray continues along the bent mirror direction";

    // Sampling reflects with weight 1, or draws nothing when only transmission is accepted.
    RecordingServices sampler;
    ksi::ShadingRecord both = glassRecord(steep, false);
    acceptLobes(both, {ksi::kLobeSpecularReflection, ksi::kLobeSpecularTransmission});
    sampler.randomQueue = {0.99f};
    glass.material().sampleBsdf(&sampler, &both);
    EXPECT_EQ(both.sampleLobe, ksi::kLobeSpecularTransmission);
    expectFloat3(both.sampleWeight, Float3(1.0f));
    EXPECT_GT(both.sampleDir.z, 0.0f);

    ksi::ShadingRecord transmissionOnly = glassRecord(steep, false);
    acceptLobes(transmissionOnly, {ksi::kLobeSpecularTransmission});
    glass.material().sampleBsdf(&sampler, &transmissionOnly);
    EXPECT_EQ(transmissionOnly.sampleLobe, ksi::kLobeNone);
}

TEST(Dielectric, ShadowsPassTheUnreflectedPartAndAbsorbInside) {
    kestrel::ShaderInstance glass = createShader("kestrel_Mtl_Dielectric");
    glass.set("u_refractColor", Float3(1.0f, 0.5f, 1.0f));
    glass.set("u_absorptionCoef", Float3(1.0f, 0.0f, 0.0f));
    RecordingServices services;
    ksi::ShadingRecord outside = glassRecord();
    glass.material().shadowTransmittance(&services, &outside);
    expectFloat3(outside.outTransmittance, Float3(0.9f, 0.9f * 0.5f, 0.9f));
    // Inside, absorption applies even with u_falloffEnable off.
    ksi::ShadingRecord inside = glassRecord({0.0f, 0.0f, -1.0f}, false);
    inside.rayOrigin = {0.0f, 0.0f, 0.5f};
    glass.material().shadowTransmittance(&services, &inside);
    EXPECT_NEAR(inside.outTransmittance.x, 0.9f * std::pow(10.0f, -0.5f), 1e-6f);
    EXPECT_EQ(inside.outTransmittance.y, 0.9f * 0.5f);
}

TEST(Dielectric, SmoothSamplingFollowsTheRequestAndTheFresnelChoice) {
    const float s = std::sqrt(0.5f);
    const Float3 ray(s, 0.0f, -s);
    const float F = std::fmin(std::fmax(schlick(0.1f, s), 0.0f), 1.0f);
    struct Case {
        const char* name;
        bool reflection, transmission;
        float random;
        int lobe;
        float weight;
        bool reflected;
    };
    const Case cases[] = {
        {"both, random below F reflects", true, true, F * 0.5f, 32, 1.0f, true},
        {"both, random above F refracts", true, true, 0.99f, 32, 1.0f, false},
        {"reflection only", true, false, 0.5f, 32, F, true},
        {"transmission only", false, true, 0.5f, 32, 1.0f - F, false},
        {"nothing requested", false, false, 0.5f, 0, 0.0f, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        kestrel::ShaderInstance glass = createShader("kestrel_Mtl_Dielectric");
        RecordingServices services;
        services.randomQueue = {c.random};
        ksi::ShadingRecord record = glassRecord(ray);
        record.lobeRequest[2] = c.reflection;
        record.lobeRequest[5] = c.transmission;
        glass.material().sampleBsdf(&services, &record);
        EXPECT_EQ(record.sampleLobe, c.lobe);
        if (c.lobe == 0) continue;
        EXPECT_NEAR(record.sampleWeight.x, c.weight, 1e-6f);
        EXPECT_EQ(record.sampleCos, 1.0f);
        EXPECT_EQ(record.samplePdf, 1.0f);
        EXPECT_EQ(record.outsideIorLeaving, 1.52f) << "entering: the ray now travels in the glass";
        if (c.reflected) {
            EXPECT_NEAR(record.sampleDir.x, s, 1e-6f);
            EXPECT_NEAR(record.sampleDir.z, s, 1e-6f);
        } else {
            // Snell: sin t = sin i / 1.52.
            EXPECT_NEAR(record.sampleDir.x, s / 1.52f, 1e-5f);
            EXPECT_LT(record.sampleDir.z, 0.0f);
        }
    }
}

TEST(Dielectric, RoughSamplesAreGlossyWithABoundedWeight) {
    kestrel::ShaderInstance glass = createShader("kestrel_Mtl_Dielectric");
    glass.set("u_roughValue", 0.9f);
    for (float u1 : {0.1f, 0.5f, 0.95f}) {
        RecordingServices services;
        services.randomQueue = {u1, 0.3f, 0.0f};
        ksi::ShadingRecord record = glassRecord(ksi::normalize(Float3(0.6f, 0.0f, -0.8f)));
        acceptLobes(record, {ksi::kLobeGlossyReflection, ksi::kLobeGlossyTransmission});
        glass.material().sampleBsdf(&services, &record);
        if (record.sampleLobe == ksi::kLobeNone) continue;
        EXPECT_EQ(record.sampleLobe, ksi::kLobeGlossyTransmission);
        EXPECT_GE(record.sampleWeight.x, 0.0f);
        EXPECT_LE(record.sampleWeight.x, 4.0f);
    }
    // Reflection only with u = (0.5, 0): the microfacet normal leans atan(sqrt(a)) = atan(0.5) for
    // a = 0.5^2, and the normal view mirrors about it to (0.8, 0, 0.6).
    glass.set("u_roughValue", 0.5f);
    RecordingServices services;
    services.randomQueue = {0.5f, 0.0f};
    ksi::ShadingRecord record = glassRecord();
    acceptLobes(record, {ksi::kLobeSpecularReflection});
    glass.material().sampleBsdf(&services, &record);
    EXPECT_NEAR(record.sampleDir.x, 0.8f, 1e-6f);
    EXPECT_NEAR(record.sampleDir.z, 0.6f, 1e-6f);
}

TEST(Glazing, ConstantSplitBetweenReflectionAndStraightTransmission) {
    kestrel::ShaderInstance glazing = createShader("kestrel_Mtl_Glazing");
    RecordingServices services;
    ksi::ShadingRecord record = glassRecord();
    glazing.material().shadowTransmittance(&services, &record);
    expectFloat3(record.outTransmittance, Float3(1.0f - 0.1f * 0.1f / 1.0f));

    glazing.set("u_reflectance", 0.5f);
    glazing.set("u_level", 0.5f);
    RecordingImageTexture map;
    map.texel = {0.25f, 0.25f, 0.25f, 1.0f};
    glazing.bindTexture("u_transmittanceMap", &map);
    glazing.set("u_transmittanceMapEnable", true);
    services.traceAnswer = {1.0f, 1.0f, 1.0f};
    services.transmissionAnswer = {1.0f, 1.0f, 1.0f, 1.0f};
    const float s = std::sqrt(0.5f);
    ksi::ShadingRecord oblique = glassRecord({s, 0.0f, -s});
    glazing.material().shade(&services, &oblique);
    // p = 0.5; the map texel 0.25 to the power 1 / 0.5 gives 0.0625 of the light through.
    EXPECT_EQ(services.log.args("traceReflection")[6], 0.5f);
    const auto& through = services.log.args("traceTransmission");
    EXPECT_EQ(through[6], 0.5f * 0.0625f);
    EXPECT_FLOAT_EQ(through[3], s) << "straight through, unbent";
}

// The GGX reflectance and the transmittance between equal indices, written out in double
// precision from the microfacet model (a is the GGX parameter, used unsquared).
struct Ggx {
    double a;
    using V = std::array<double, 3>;
    static double dot(V u, V v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; }
    static V unit(V v, double sign = 1) {
        const double l = std::sqrt(dot(v, v)) * sign;
        return {v[0] / l, v[1] / l, v[2] / l};
    }
    double D(V m) const {
        const double c2 = m[2] * m[2], k = (1 - c2) / c2 + a;
        return m[2] <= 0 ? 0 : a / (M_PI * c2 * c2 * k * k);
    }
    double G1(V v, V m) const {
        return dot(v, m) * v[2] <= 0 ? 0 : 2 / (1 + std::sqrt(1 + a * (1 - v[2] * v[2]) / (v[2] * v[2])));
    }
    double reflectance(V wo, V l) const {
        const V h = unit({wo[0] + l[0], wo[1] + l[1], wo[2] + l[2]}, wo[2] < 0 ? -1 : 1);
        return G1(wo, h) * G1(l, h) * D(h) / (4 * std::fabs(l[2] * wo[2]));
    }
    double transmittance(V wo, V l) const {
        const V m = unit({wo[0] + l[0], wo[1] + l[1], wo[2] + l[2]}, -1);
        const double ml = dot(m, l), mo = dot(m, wo);
        return G1(wo, m) * G1(l, m) * D(m) * std::fabs(ml * mo) / (std::fabs(l[2] * wo[2]) * (ml + mo) * (ml + mo));
    }
};

// Highlights: with p = 1, the reflectance of a light at cosine 0.15, whose horizon ramp s = 0.5
// weighs (3 - 2s) s^2 = 0.5. evaluateBsdf from below the sheet with p = 0: the transmittance
// alone, which for equal indices is non-zero only when the view and the light share a side.
TEST(Glazing, HighlightsAndEvaluationFollowTheMicrofacetModel) {
    const Ggx ggx{0.3};
    const double sl = std::sqrt(1 - 0.15 * 0.15);
    kestrel::ShaderInstance glazing = createShader("kestrel_Mtl_Glazing");
    glazing.set("u_rough", 0.3f);
    glazing.set("u_reflectance", 1.0f);
    glazing.set("u_level", 1.0f);
    RecordingServices services;
    services.lights.push_back(RecordingServices::makeLight({float(sl), 0.0f, 0.15f}, Float3(1.0f)));
    ksi::ShadingRecord record = glassRecord();
    glazing.material().shade(&services, &record);
    const double highlight = ggx.reflectance({0, 0, 1}, {sl, 0, 0.15}) * 0.5;
    EXPECT_NEAR(record.outColor.x, highlight, 1e-5 * highlight);

    glazing.set("u_reflectance", 0.0f);
    const Ggx::V wo = Ggx::unit({-0.3, 0.0, -1.0}), l = Ggx::unit({0.4, 0.1, -1.0});
    ksi::ShadingRecord below = glassRecord({float(-wo[0]), float(-wo[1]), float(-wo[2])});
    below.sampleDir = {float(l[0]), float(l[1]), float(l[2])};
    glazing.material().evaluateBsdf(&services, &below);
    const double through = ggx.transmittance(wo, l);
    ASSERT_GT(through, 0.0);
    EXPECT_NEAR(below.sampleWeight.x, through, 1e-5 * through);
}

TEST(Glazing, ZeroLevelReflectsEverythingAndTransmitsNothing) {
    kestrel::ShaderInstance glazing = createShader("kestrel_Mtl_Glazing");
    glazing.set("u_level", 0.0f);
    RecordingImageTexture map;
    map.texel = {2.0f, 0.5f, 1.0f, 1.0f};  // above, below and at 1: powers of 1/0 would be inf, 0, 1
    glazing.bindTexture("u_transmittanceMap", &map);
    glazing.set("u_transmittanceMapEnable", true);
    RecordingServices services;
    services.traceAnswer = {1.0f, 1.0f, 1.0f};
    services.transmissionAnswer = {1.0f, 1.0f, 1.0f, 1.0f};
    ksi::ShadingRecord record = glassRecord();
    glazing.material().shadowTransmittance(&services, &record);
    expectFloat3(record.outTransmittance, Float3(0.0f));
    glazing.material().shade(&services, &record);
    EXPECT_EQ(services.log.args("traceReflection")[6], 1.0f);
    EXPECT_EQ(services.log.count("traceTransmission"), 0) << "nothing goes through, nothing is traced";
    for (float c : {record.outColor.x, record.outColor.y, record.outColor.z}) EXPECT_TRUE(std::isfinite(c));
}

TEST(Glazing, SamplingChoosesByTheReflectedFraction) {
    const float s = std::sqrt(0.5f);
    struct Case {
        bool reflection, transmission;
        float random;
        int lobe;
        float q;
    };
    const Case cases[] = {
        {true, true, 0.5f, 4, 1.0f},    // random exactly p reflects
        {true, true, 0.51f, 32, 1.0f},
        {true, false, 0.9f, 4, 0.5f},
        {false, true, 0.1f, 32, 0.5f},
    };
    for (const Case& c : cases) {
        kestrel::ShaderInstance glazing = createShader("kestrel_Mtl_Glazing");
        glazing.set("u_reflectance", 0.5f);
        glazing.set("u_level", 0.5f);
        glazing.set("u_reflectColor", Float3(1.0f, 0.5f, 0.25f));
        RecordingServices services;
        services.randomQueue = {c.random};
        ksi::ShadingRecord record = glassRecord({s, 0.0f, -s});
        record.lobeRequest[0] = c.reflection;
        record.lobeRequest[3] = c.transmission;
        glazing.material().sampleBsdf(&services, &record);
        EXPECT_EQ(record.sampleLobe, c.lobe);
        EXPECT_EQ(record.sampleCos, s);
        const Float3 tint = c.lobe == 4 ? Float3(1.0f, 0.5f, 0.25f) : Float3(1.0f);
        expectFloat3(record.sampleWeight, (c.q / s) * tint);
        EXPECT_FLOAT_EQ(record.sampleDir.z, c.lobe == 4 ? s : -s);
    }
}

}  // namespace

// A flat height map leaves the frame alone, but a slope that is not a number is not below the
// flatness threshold: it moves the normal, and the evaluation shows it.
TEST(Dielectric, NanBumpSlopeReachesTheNormal) {
    for (float height : {0.25f, std::nanf("")}) {
        RecordingImageTexture map;
        map.texel = {height, height, height, 1.0f};
        kestrel::ShaderInstance glass = createShader("kestrel_Mtl_Dielectric");
        glass.set("u_normal0MapEnable", true);
        glass.bindTexture("u_normal0Map", &map);
        glass.set("u_roughValue", 0.3f);
        RecordingServices services;
        ksi::ShadingRecord record = glassRecord();
        record.sampleDir = ksi::normalize(Float3(0.2f, 0.1f, 1.0f));
        glass.material().evaluateBsdf(&services, &record);
        EXPECT_EQ(std::isnan(record.sampleWeight.x), std::isnan(height)) << "height " << height;
    }
}
