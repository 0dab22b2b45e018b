// The metal: perforation patterns (seen through shadowTransmittance), the paths of evaluateBsdf
// and sampleBsdf that do not depend on the lobe's value, a fully open cutout in shade, shade's
// terms under the switchers and flecks, and the box-pyramid bump.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
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

// shade under one light at 0.3 rad from the normal (full weight) seen along the normal, with
// roughness 0.2 x 0.4, F = 0.5, diffuse 0.4 and specular (0.8, 0.6, 0.4): the colour is the
// running diffuse D, plus S times the Ward lobe turned by rho, plus the traced reflection times
// its weight R. The switchers replace S by a map or the anodised grey and rescale D by
// 1 - luminance(S) + 0.5 before F splits them; flecks of value 0.5^2 add 0.25 (1 - F) to D and
// reflect with F.
TEST(Metal, ShadeSumsDiffuseHighlightsAndReflectionUnderItsSwitchers) {
    RecordingImageTexture brk;
    brk.texel = {0.5f, 0.5f, 0.5f, 1.0f};
    struct Case {
        const char* what;
        std::function<void(kestrel::ShaderInstance&)> configure;
        double D;
        Float3 S, R;
        double rho;
    };
    const Float3 S(0.4f, 0.3f, 0.2f);
    const Case cases[] = {
        {"plain", [](kestrel::ShaderInstance&) {}, 0.2, S, S, 0.0},
        // Noise 0.3 in all five octaves sums to 0.58125, past the ramp: the dark grey 0.098.
        {"anodised grey", [](kestrel::ShaderInstance& m) { m.set("u_reflectSwitcher", int32_t{4}); },
         0.5 * 0.4 * (1 - 0.098 + 0.5), Float3(0.5f * 0.4f * 0.098f), Float3(0.5f * 0.4f * 0.098f), 0.0},
        {"break map colours and turns the lobe", [&](kestrel::ShaderInstance& m) {
             m.set("u_reflectSwitcher", int32_t{3});
             m.set("u_anisoRotSwitcher", int32_t{3});
             m.set("u_breakMapEnable", true);
             m.bindTexture("u_breakMap", &brk);
         }, 0.2, Float3(0.1f), Float3(0.1f), 0.5 * 0.8},
        {"flecks", [](kestrel::ShaderInstance& m) {
             m.set("u_flecksEnable", true);
             m.set("u_flecksDensity", 2.0f);
         }, 0.2 + 0.25 * 0.5, S, Float3(0.5f), 0.0},
    };
    const double theta = 0.3;
    const Float3 traced(0.1f, 0.2f, 0.3f);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kestrel::ShaderInstance metal = createShader("kestrel_Mtl_Metal");
        metal.set("u_roughValue", 0.2f);
        metal.set("u_anisotropyValue", 2.0f);
        metal.set("u_brdf00Reflectivity", 0.5f);
        metal.set("u_brdf90Reflectivity", 0.5f);
        metal.set("u_brdfCurvePower", 1.0f);
        metal.set("u_diffuseColor", Float3(0.4f));
        metal.set("u_specularColor", Float3(0.8f, 0.6f, 0.4f));
        metal.set("u_reflMapAmount", 1.0f);
        metal.set("u_anisorotMapAmount", 0.8f);
        c.configure(metal);
        RecordingServices services;
        services.onNoise = [](const Float4&) { return 0.3f; };
        services.traceAnswer = traced;
        services.lights.push_back(
            RecordingServices::makeLight({float(std::sin(theta)), 0.0f, float(std::cos(theta))}, Float3(1.0f)));
        ksi::ShadingRecord record = metalRecord();
        metal.material().shade(&services, &record);
        const double hx = std::sin(theta) * std::cos(c.rho) / 0.2, hy = -std::sin(theta) * std::sin(c.rho) / 0.4;
        const double hz = 1 + std::cos(theta);
        const double lobe = std::exp(-(hx * hx + hy * hy) / (hz * hz)) / (std::sqrt(std::cos(theta)) * 4 * M_PI * 0.08);
        EXPECT_NEAR(record.outColor.x, c.D + c.S.x * lobe + c.R.x * traced.x, 1e-5);
        EXPECT_NEAR(record.outColor.y, c.D + c.S.y * lobe + c.R.y * traced.y, 1e-5);
        EXPECT_NEAR(record.outColor.z, c.D + c.S.z * lobe + c.R.z * traced.z, 1e-5);
    }
}

// The box pyramid rises by 2 per unit from the centre of its cell; at uv (1.7, 1.1), a point
// 0.35 right of the centre of the cell of uv / 2, half that slope along T tilts the normal to
// (0.3 x 1, 0, 1) for the pattern amount 0.3, unnormalised.
TEST(Metal, BoxPyramidBumpTiltsTheNormalByHalfItsSlope) {
    kestrel::ShaderInstance metal = createShader("kestrel_Mtl_Metal");
    metal.set("u_bumpSwitcher", int32_t{1});
    metal.set("u_patternAmount", 0.3f);
    metal.set("u_cosineUsesBump", true);
    metal.set("u_roughValue", 0.2f);
    metal.set("u_anisotropyValue", 1.0f);
    RecordingServices services;
    ksi::ShadingRecord record = metalRecord({1.7f, 1.1f});
    record.sampleDir = {0.48f, 0.36f, 0.8f};
    metal.material().evaluateBsdf(&services, &record);
    EXPECT_NEAR(record.sampleCos, cosineInTiltedFrame({0.48, 0.36, 0.8}, 0.3, 0.0, false), 1e-4);
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
