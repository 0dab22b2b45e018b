// The metal: perforation patterns (seen through shadowTransmittance), the paths of evaluateBsdf
// and sampleBsdf that do not depend on the lobe's value, and a fully open cutout in shade.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float2;
using ksi::Float3;
using ksi::Float4;

constexpr int kUvOffset = 48;
constexpr int kTangentOffset = 36;

ksi::ShadingRecord metalRecord(Float2 uv = {0.0f, 0.0f}) {
    ksi::ShadingRecord record = presetRecord();
    ksi::writeVarying(record, kUvOffset, uv);
    ksi::writeVarying(record, kTangentOffset, Float3(1.0f, 0.0f, 0.0f));
    return record;
}

struct CutoutCase {
    const char* name;
    int pattern;
    float size, space;
    Float2 uv;
    float expectedTransmittance;  // 1 in a hole, 0 on metal
};

TEST(Metal, CutoutPatternsOpenHolesWhereTheirGeometrySays) {
    // With centre 0.5 and scale 1 the pattern point is uv / (size + space).
    const CutoutCase cases[] = {
        // Circles in a square grid: cells 2 uv units wide, hole radius 0.5 uv units.
        {"grid circle centre", 2, 1.0f, 1.0f, {1.0f, 1.0f}, 1.0f},
        {"grid circle inside rim", 2, 1.0f, 1.0f, {1.4f, 1.0f}, 1.0f},
        {"grid circle outside rim", 2, 1.0f, 1.0f, {1.6f, 1.0f}, 0.0f},
        {"grid cell corner", 2, 1.0f, 1.0f, {0.1f, 0.1f}, 0.0f},
        // Staggered circles: even columns shifted up by half a cell.
        {"staggered centre of a shifted column", 1, 0.5f, 0.5f, {0.5f, 1.0f}, 1.0f},
        {"staggered between centres", 1, 0.5f, 0.5f, {0.5f, 0.5f}, 0.0f},
        // Squares with bars of half-width 0.1, odd row pairs shifted by half a cell.
        {"square hole", 3, 0.8f, 0.2f, {0.5f, 0.5f}, 1.0f},
        {"square bar", 3, 0.8f, 0.2f, {0.05f, 0.5f}, 0.0f},
        {"shifted row bar", 3, 0.8f, 0.2f, {0.5f, 1.5f}, 0.0f},
        {"shifted row hole", 3, 0.8f, 0.2f, {1.0f, 1.5f}, 1.0f},
        // Diamond mesh: bars of half-width 0.1 along the cell's edges and diagonals.
        {"diamond opening", 4, 0.8f, 0.2f, {0.5f, 0.2f}, 1.0f},
        {"diamond crossing", 4, 0.8f, 0.2f, {0.5f, 0.5f}, 0.0f},
        // Hexagons: columns squeezed by sqrt(3)/2, so pattern point (0.5, 1.2) lies 0.2 from its
        // centre (hole) and (1, 1.25) halfway between two centres (the bar).
        {"hexagon hole", 6, 0.8f, 0.2f, {0.5f, 1.2f / 0.8660254f}, 1.0f},
        {"hexagon bar", 6, 0.8f, 0.2f, {1.0f, 1.25f / 0.8660254f}, 0.0f},
        {"solid pattern", 5, 0.8f, 0.2f, {0.5f, 0.5f}, 0.0f},
        {"unknown pattern", 9, 0.8f, 0.2f, {0.5f, 0.5f}, 0.0f},
        {"switched off", 0, 0.8f, 0.2f, {0.5f, 0.5f}, 0.0f},
        {"negative switch", -3, 0.8f, 0.2f, {0.5f, 0.5f}, 0.0f},
    };
    for (const CutoutCase& c : cases) {
        SCOPED_TRACE(c.name);
        kestrel::ShaderInstance metal = createShader("kestrel_Mtl_Metal");
        metal.set("u_cutoutsSwitcher", int32_t{c.pattern});
        metal.set("u_cutoutsSize", c.size);
        metal.set("u_cutoutsSpace", c.space);
        metal.set("u_cutoutsCenter", 0.5f);
        metal.set("u_uvDefScale", 1.0f);
        metal.set("u_otherScale", 1.0f);
        RecordingServices services;
        ksi::ShadingRecord record = metalRecord(c.uv);
        metal.material().shadowTransmittance(&services, &record);
        expectFloat3(record.outTransmittance, Float3(c.expectedTransmittance));
    }
}

TEST(Metal, CutoutMapTransmitsWhatItsMeanLeavesOpen) {
    kestrel::ShaderInstance metal = createShader("kestrel_Mtl_Metal");
    RecordingImageTexture map;
    map.texel = {0.3f, 0.6f, 0.9f, 1.0f};
    metal.set("u_cutoutsSwitcher", int32_t{7});
    metal.bindTexture("u_cutoutMap", &map);
    ksi::Float3x3 shift = ksi::Float3x3::identity();
    shift.m[6] = 0.25f;
    metal.set("u_cutoutTransform", shift);
    RecordingServices services;
    ksi::ShadingRecord record = metalRecord({0.5f, 0.5f});
    metal.material().shadowTransmittance(&services, &record);
    const float mean = (0.3f + 0.6f + 0.9f) * 0.3333333f;
    expectFloat3(record.outTransmittance, Float3(1.0f - mean));
    ASSERT_EQ(map.lookups.size(), 1u);
    EXPECT_EQ(map.lookups[0].x, 0.75f);
    EXPECT_EQ(map.lookups[0].y, 0.5f);
}

TEST(Metal, FullyOpenCutoutShowsOnlyWhatLiesBehind) {
    kestrel::ShaderInstance metal = createShader("kestrel_Mtl_Metal");
    metal.set("u_cutoutsSwitcher", int32_t{2});
    metal.set("u_cutoutsSize", 1.0f);
    metal.set("u_cutoutsSpace", 1.0f);
    RecordingServices services;
    services.transmissionAnswer = {0.2f, 0.4f, 0.6f, 0.5f};
    services.lights.push_back(RecordingServices::makeLight({0.0f, 0.0f, 1.0f}, Float3(1.0f)));
    ksi::ShadingRecord record = metalRecord({1.0f, 1.0f});
    metal.material().shade(&services, &record);
    // The hole's own transmission at full weight; no light, reflection or indirect query.
    ASSERT_EQ(services.log.count("traceTransmission"), 1);
    EXPECT_EQ(services.log.args("traceTransmission")[6], 1.0f);
    EXPECT_EQ(services.log.count("getLightSamples"), 0);
    EXPECT_EQ(services.log.count("traceAnisotropicReflection"), 0);
    EXPECT_EQ(services.log.count("ambientIrradiance"), 0);
    expectColor(record.outColor, {0.2f, 0.4f, 0.6f, 1.0f});
}

}  // namespace

namespace {

// Sampling agrees with evaluation: the mean of weight x cosine / density over many samples
// estimates the integral of the evaluated reflectance times the cosine over the hemisphere,
// which a midpoint quadrature gives independently. The diffuse colour is black: diffuse samples
// where the Ward exponential underflows are rejected by design, which would bias the estimate.
TEST(Metal, SamplingIsConsistentWithEvaluation) {
    kestrel::ShaderInstance metal = createShader("kestrel_Mtl_Metal");
    metal.set("u_roughValue", 0.35f);
    metal.set("u_anisotropyValue", 0.7f);
    metal.set("u_diffuseColor", Float3(0.0f));
    metal.set("u_specularColor", Float3(0.9f, 0.7f, 0.5f));
    metal.set("u_brdf00Reflectivity", 0.5f);
    metal.set("u_brdfCurvePower", 5.0f);
    metal.set("u_cosineUsesBump", true);
    const float s = std::sin(0.5f), c = std::cos(0.5f);
    const Float3 rayDir(s, 0.0f, -c);

    // Quadrature over (cos theta, phi) cells: d omega = d(cos theta) d phi.
    const int nu = 256, nphi = 256;
    double integral[3] = {0, 0, 0};
    RecordingServices quiet;
    for (int i = 0; i < nu; ++i) {
        for (int j = 0; j < nphi; ++j) {
            float mu = (static_cast<float>(i) + 0.5f) / nu;
            float phi = (static_cast<float>(j) + 0.5f) / nphi * 6.2831853f;
            float st = std::sqrt(1.0f - mu * mu);
            ksi::ShadingRecord record = metalRecord();
            record.rayDir = rayDir;
            record.sampleDir = {st * std::cos(phi), st * std::sin(phi), mu};
            metal.material().evaluateBsdf(&quiet, &record);
            const double cell = (1.0 / nu) * (6.283185307 / nphi);
            integral[0] += record.sampleWeight.x * record.sampleCos * cell;
            integral[1] += record.sampleWeight.y * record.sampleCos * cell;
            integral[2] += record.sampleWeight.z * record.sampleCos * cell;
            quiet.log.clear();
        }
    }

    // A fixed linear congruential stream keeps the test repeatable.
    uint32_t state = 12345u;
    auto uniform = [&]() {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) * (1.0f / 16777216.0f);
    };
    const int n = 40000;
    double sum[3] = {0, 0, 0}, sumSq[3] = {0, 0, 0};
    for (int k = 0; k < n; ++k) {
        RecordingServices services;
        services.randomQueue = {uniform(), uniform(), uniform()};
        ksi::ShadingRecord record = metalRecord();
        record.rayDir = rayDir;
        acceptLobes(record, {ksi::kLobeGlossyReflection});
        metal.material().sampleBsdf(&services, &record);
        double v[3] = {0, 0, 0};
        if (record.sampleLobe != 0) {
            v[0] = record.sampleWeight.x * record.sampleCos * record.samplePdf;
            v[1] = record.sampleWeight.y * record.sampleCos * record.samplePdf;
            v[2] = record.sampleWeight.z * record.sampleCos * record.samplePdf;
        }
        for (int ch = 0; ch < 3; ++ch) {
            sum[ch] += v[ch];
            sumSq[ch] += v[ch] * v[ch];
        }
    }
    for (int ch = 0; ch < 3; ++ch) {
        double mean = sum[ch] / n;
        double sigma = std::sqrt((sumSq[ch] / n - mean * mean) / n);
        EXPECT_NEAR(mean, integral[ch], 4.0 * sigma + 0.01 * integral[ch]) << "channel " << ch;
    }
}

}  // namespace
