// The Ward material: its glossy highlight at the mirror direction, light kinds, cutouts and
// decals, the reflectivity curve and image fade, refraction weights, the back side, the frame
// (normal maps, procedure maps, anisotropy rotation), and sampling consistent with evaluation.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"
#include "ward_sampling_checks.h"

namespace {

using namespace kestrel::testing;
using ksi::Float2;
using ksi::Float3;
using ksi::Float4;

ksi::ShadingRecord wardRecord(Float3 rayDir = {0.0f, 0.0f, -1.0f}) {
    ksi::ShadingRecord record = presetRecord();
    record.rayDir = rayDir;
    ksi::writeVarying(record, 36, Float3(1.0f, 0.0f, 0.0f));
    ksi::writeVarying(record, 24, Float3(0.0f, 1.0f, 0.0f));
    return record;
}

TEST(Ward, DefaultsShowOnlyTheGlossyLobeAtTheMirrorDirection) {
    kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
    RecordingServices services;
    services.lights.push_back(RecordingServices::makeLight({0, 0, 1}, {0.5f, 0.25f, 1.0f}));
    services.traceAnswer = {0.125f, 0.25f, 0.5f};
    ksi::ShadingRecord record = wardRecord();
    ward.material().shade(&services, &record);
    // Reflectivity 1 everywhere, black diffuse: e = 1 at the mirror direction, so the highlight
    // is the Ward normalisation 1 / (4 pi alphaX alphaY) for the default roughness 0.01.
    const float k = 1.0f / (std::sqrt(1.0f) * 0.01f * 12.566372f * 0.01f);
    const Float3 Ls = Float3(k) * Float3(0.5f, 0.25f, 1.0f) * 1.0f;
    const Float3 expected = Float3(0.0f) + Ls + Float3(0.125f, 0.25f, 0.5f);
    expectColor(record.outColor, Float4(expected, 1.0f));
    EXPECT_EQ(services.log.count("ambientIrradiance"), 0) << "no diffuse colour, no indirect query";
}

// Only an exactly zero roughness is degenerate. Negative values enter the lobe as they are: the
// negated pair gives the same lobe, a single negative one the glossy term with its sign.
TEST(Ward, OnlyAZeroRoughnessDropsTheGlossyLobe) {
    auto evaluate = [](float rough, float anisotropy) {
        kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
        ward.set("u_roughValue", rough);
        ward.set("u_anisotropyValue", anisotropy);
        RecordingServices services;
        ksi::ShadingRecord record = wardRecord();
        record.sampleDir = ksi::normalize(Float3(0.2f, 0.1f, 1.0f));
        ward.material().evaluateBsdf(&services, &record);
        return record.sampleWeight.x;
    };
    const float positive = evaluate(0.3f, 1.0f);
    EXPECT_GT(positive, 0.0f);
    EXPECT_EQ(evaluate(-0.3f, 1.0f), positive);
    EXPECT_EQ(evaluate(0.3f, -1.0f), -positive);
    EXPECT_EQ(evaluate(0.0f, 1.0f), 0.0f) << "no glossy lobe and a black diffuse layer";
}

TEST(Ward, LightsWithoutSpecularAddDiffuseOnly) {
    kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
    ward.set("u_diffuseColor", Float3(0.5f));
    ward.set("u_brdf90Reflectivity", 0.0f);
    ward.set("u_brdf00Reflectivity", 0.0f);
    ward.set("u_reflectionHighlightOnly", true);
    RecordingServices services;
    services.lights.push_back(RecordingServices::makeLight({0, 0, 1}, Float3(1.0f), Float3(1.0f), 1.0f, 1000001));
    ksi::ShadingRecord record = wardRecord();
    ward.material().shade(&services, &record);
    // F = 0: the whole diffuse colour, full light weight; indirect and ambient answers are zero.
    expectColor(record.outColor, {0.5f, 0.5f, 0.5f, 1.0f});
    EXPECT_EQ(services.log.count("traceGlossyReflection"), 0);
}

TEST(Ward, CutoutAndDecalPassWhatLiesBehind) {
    RecordingImageTexture zero;
    zero.texel = {0.0f, 0.0f, 0.0f, 1.0f};
    kestrel::ShaderInstance cut = createShader("kestrel_Mtl_Ward");
    cut.set("u_cutoutMapEnable", true);
    cut.bindTexture("u_cutoutMap", &zero);
    kestrel::ShaderInstance decal = createShader("kestrel_Mtl_Ward");
    decal.set("u_isDecal", true);
    ksi::Float4x4 shift = ksi::Float4x4::identity();
    shift.m[12] = 2.0f;  // moves the decal square away from uv (0, 0)
    decal.set("u_decalTransform", shift);
    for (kestrel::ShaderInstance* shader : {&cut, &decal}) {
        RecordingServices services;
        services.transmissionAnswer = {0.3f, 0.6f, 0.9f, 0.5f};
        services.lights.push_back(RecordingServices::makeLight({0, 0, 1}, Float3(1.0f)));
        ksi::ShadingRecord record = wardRecord();
        shader->material().shade(&services, &record);
        expectColor(record.outColor, {0.3f, 0.6f, 0.9f, 1.0f});
        EXPECT_EQ(services.log.count("getLightSamples"), 0);
        ksi::ShadingRecord shadow = wardRecord();
        shader->material().shadowTransmittance(&services, &shadow);
        expectFloat3(shadow.outTransmittance, Float3(1.0f));
    }
}

TEST(Ward, GlossyOnlySamplesExcludeTheDiffusePart) {
    kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
    ward.set("u_roughValue", 0.3f);
    ward.set("u_diffuseColor", Float3(0.5f));
    ward.set("u_brdf00Reflectivity", 0.5f);
    ward.set("u_brdf90Reflectivity", 0.5f);
    ward.set("u_cosineUsesBump", true);
    RecordingServices services;
    services.randomQueue = {0.3f, 0.4f};
    ksi::ShadingRecord record = wardRecord();
    acceptLobes(record, {ksi::kLobeSpecularReflection});
    ward.material().sampleBsdf(&services, &record);
    ASSERT_EQ(record.sampleLobe, ksi::kLobeSpecularReflection);
    // Evaluating the same direction gives diffuse / pi plus the lobe; the sample lacks the former.
    ksi::ShadingRecord evaluation = wardRecord();
    evaluation.sampleDir = record.sampleDir;
    ward.material().evaluateBsdf(&services, &evaluation);
    const float diffuse = 0.5f * (1.0f - 0.5f) * 0.3183099f;
    EXPECT_NEAR(evaluation.sampleWeight.x - record.sampleWeight.x, diffuse, 1e-4f * evaluation.sampleWeight.x);
}

// The diffuse weight of evaluateBsdf isolates F and the faded diffuse colour: the default
// roughness 0.01 leaves no glossy lobe at the normal for a view 0.6 rad off it, so the weight is
// D' (1 - F) / pi, with 1 - cos 0.6 = 0.1746644 feeding the reflectivity curve.
TEST(Ward, DiffuseWeightFollowsTheReflectivityCurveAndTheImageFade) {
    const double curve = 0.030507647;  // (1 - cos 0.6)^2
    RecordingImageTexture half, bright;
    half.texel = {0.5f, 0.5f, 0.5f, 1.0f};
    bright.texel = {1.6f, 1.6f, 1.6f, 1.0f};
    struct Case {
        const char* what;
        std::function<void(kestrel::ShaderInstance&)> configure;
        double F;
        Float3 faded;  // the diffuse colour after the image fade
    };
    auto curved = [](kestrel::ShaderInstance& w) {
        w.set("u_brdf00Reflectivity", 0.2f);
        w.set("u_brdf90Reflectivity", 0.8f);
        w.set("u_brdfCurvePower", 2.0f);
    };
    auto fade = [](int32_t mode) {
        return [mode](kestrel::ShaderInstance& w) {
            w.set("u_brdf90Reflectivity", 0.0f);
            w.set("u_brdf00Reflectivity", 0.0f);
            w.set("u_imageFadeEnable", mode);
            w.set("u_imageFade", 0.5f);
            w.set("u_imageFadeColor", Float3(0.8f));
            w.set("u_imageFadeAmount", 0.5f);
        };
    };
    const Float3 plain(0.3f, 0.7f, 0.3f);
    const Case cases[] = {
        {"curve", curved, 0.2 + 0.6 * curve, plain},
        {"brdf00 map times its amount", [&](kestrel::ShaderInstance& w) {
             curved(w);
             w.set("u_brdf00ReflectMapEnable", true);
             w.bindTexture("u_brdf00ReflectMap", &half);
             w.set("u_brdf00ReflectAmount", 0.6f);
         }, 0.3 + 0.5 * curve, plain},
        {"brdf90 map times its amount", [&](kestrel::ShaderInstance& w) {
             curved(w);
             w.set("u_brdf90ReflectMapEnable", true);
             w.bindTexture("u_brdf90ReflectMap", &half);
             w.set("u_brdf90ReflectAmount", 0.6f);
         }, 0.2 + 0.1 * curve, plain},
        // A map switched on with no texture bound reads black.
        {"unbound brdf00 map", [&](kestrel::ShaderInstance& w) {
             curved(w);
             w.set("u_brdf00ReflectMapEnable", true);
         }, 0.8 * curve, plain},
        {"reflectivity scale", [&](kestrel::ShaderInstance& w) {
             curved(w);
             w.set("u_reflectivity", 0.5f);
         }, 0.5 * (0.2 + 0.6 * curve), plain},
        // A white specular colour has luminance 1: the diffuse loses F once more.
        {"metal", [&](kestrel::ShaderInstance& w) {
             curved(w);
             w.set("u_isMetal", true);
         }, 0.2 + 0.6 * curve, plain * float(1 - (0.2 + 0.6 * curve))},
        // Overlay with K at strength 1/2: below 0.5 o = 2 b K, else 1 - 2 (1 - b)(1 - K); b' = b + (o - b)/2,
        // then b' + (b' K - b')/2.
        {"fade colour", fade(3), 0.0, {0.351f, 0.711f, 0.351f}},
        {"fade map times its amount", [&](kestrel::ShaderInstance& w) {
             fade(2)(w);
             w.bindTexture("u_imageFadeMap", &bright);
         }, 0.0, {0.351f, 0.711f, 0.351f}},
        {"fade grey 0.595125", fade(4), 0.0, {0.26202919f, 0.58105419f, 0.26202919f}},
        {"unknown fade fades to black", fade(9), 0.0, {0.075f, 0.275f, 0.075f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
        ward.set("u_diffuseColor", plain);
        c.configure(ward);
        RecordingServices services;
        ksi::ShadingRecord record = wardRecord({std::sin(0.6f), 0.0f, -std::cos(0.6f)});
        record.sampleDir = {0.0f, 0.0f, 1.0f};
        ward.material().evaluateBsdf(&services, &record);
        EXPECT_NEAR(record.sampleWeight.x, c.faded.x * (1 - c.F) * kInvPi, 1e-6);
        EXPECT_NEAR(record.sampleWeight.y, c.faded.y * (1 - c.F) * kInvPi, 1e-6);
    }
}

// Refraction samples: transparency T = 0.5, translucency 0.5, diffuse 0.2 (so the tint T + (1 - T)
// 0.2 = 0.6) and F = 0.2. A transmission-only request weighs 1 - F, then the transmission weight
// (1 - F) T tint = 0.24, then the tint times T in front or (1 - t) T behind.
TEST(Ward, TransparencyWeighsTheRefractedSample) {
    struct Case {
        const char* what;
        bool front;
        std::vector<ksi::LobeCode> lobes;
        float random, theta;
        int lobe;
        float weight;  // NaN where only the lobe matters
    };
    const float any = NAN;
    const Case cases[] = {
        {"transmission only, front", true, {ksi::kLobeSpecularTransmission}, 0.5f, 0.0f, 32, 0.8f * 0.24f * 0.3f},
        {"transmission only, behind", false, {ksi::kLobeSpecularTransmission}, 0.5f, 0.0f, 32, 0.8f * 0.24f * 0.15f},
        {"both, random above F", true, {ksi::kLobeSpecularReflection, ksi::kLobeSpecularTransmission}, 0.9f, 0.0f,
         32, 0.24f * 0.3f},
        {"both, random below F", true, {ksi::kLobeSpecularReflection, ksi::kLobeSpecularTransmission}, 0.1f, 0.0f,
         4, any},
        {"reflection only", true, {ksi::kLobeSpecularReflection}, 0.5f, 0.0f, 4, any},
        // Behind at 1 rad, eta 1.33: total internal reflection, weighed by the diffuse 0.2 (1 - F)(1 - T).
        {"total internal reflection", false, {ksi::kLobeSpecularTransmission}, 0.5f, 1.0f, 4, 0.8f * 0.08f * 0.15f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
        ward.set("u_transparency", true);
        ward.set("u_transparencyValue", 0.5f);
        ward.set("u_translucencyValue", 0.5f);
        ward.set("u_diffuseColor", Float3(0.2f));
        ward.set("u_brdf00Reflectivity", 0.2f);
        ward.set("u_brdf90Reflectivity", 0.2f);
        ward.set("u_roughValue", 0.3f);
        RecordingServices services;
        services.randomQueue = {c.random};
        ksi::ShadingRecord record = wardRecord({std::sin(c.theta), 0.0f, -std::cos(c.theta)});
        record.frontFacing = c.front;
        for (ksi::LobeCode lobe : c.lobes) acceptLobes(record, {lobe});
        ward.material().sampleBsdf(&services, &record);
        EXPECT_EQ(record.sampleLobe, c.lobe);
        if (!std::isnan(c.weight)) {
            EXPECT_NEAR(record.sampleWeight.x, c.weight, 1e-6f);
        }
        EXPECT_EQ(record.outsideIorLeaving, c.front ? 1.33f : 1.0f);
    }
}

// With u_cosineUsesBump the cosine of evaluateBsdf is the sample direction's z in the bumped frame.
TEST(Ward, NormalMapsAndProcedureMapsTiltTheFrame) {
    RecordingImageTexture tilt, amount;
    tilt.texel = {0.3f, 0.1f, 0.0f, 1.0f};
    amount.texel = {0.5f, 0.5f, 0.5f, 1.0f};
    struct Case {
        const char* what;
        std::function<void(kestrel::ShaderInstance&)> configure;
        double nx, ny;  // the normal (nx, ny, 1)
        bool unit;      // normal maps normalise it, procedure maps do not
    };
    const Case cases[] = {
        // a = 0.5 x 0.6 from the amount map; N + a 3.33 (r T + g B)
        {"normal map 0 with an amount map", [&](kestrel::ShaderInstance& w) {
             w.set("u_normal0MapEnable", true);
             w.bindTexture("u_normal0Map", &tilt);
             w.set("u_normal0AmountMapEnable", true);
             w.bindTexture("u_normal0AmountMap", &amount);
             w.set("u_normal0Amount", 0.6f);
         }, 0.3 * 3.33 * 0.3, 0.3 * 3.33 * 0.1, true},
        {"normal map 1", [&](kestrel::ShaderInstance& w) {
             w.set("u_normal1MapEnable", true);
             w.bindTexture("u_normal1Map", &tilt);
             w.set("u_normal1Amount", 0.5f);
         }, 0.5 * 3.33 * 0.3, 0.5 * 3.33 * 0.1, true},
        // Host noise 0.2 x: the plain band (n + 1) / 2 rises by 0.1 per unit along T, and mode 1
        // halves the amount 0.8.
        {"rotated noise bump", [](kestrel::ShaderInstance& w) {
             w.set("u_procedureMapEnable", int32_t{1});
             w.set("u_procedureMapAmount", 0.8f);
         }, 0.8 * 0.5 * 0.1, 0.0, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
        ward.set("u_cosineUsesBump", true);
        c.configure(ward);
        RecordingServices services;
        services.onNoise = [](const Float4& p) { return 0.2f * p.x; };
        ksi::ShadingRecord record = wardRecord();
        record.sampleDir = {0.48f, 0.36f, 0.8f};
        ward.material().evaluateBsdf(&services, &record);
        EXPECT_NEAR(record.sampleCos, cosineInTiltedFrame({0.48, 0.36, 0.8}, c.nx, c.ny, c.unit), 1e-6);
    }
}

// Each procedure map asks the host for noise at its own scaling of the world point P = (1, 0.5,
// 0.25) and the tiling 2; mode 1 first turns P by -0.5 rad about z, then 0.6 about y and x.
TEST(Ward, ProcedureMapsSampleTheHostNoiseAtTheirScaledPoint) {
    const double P[3] = {1.0, 0.5, 0.25};
    double r[3] = {P[0] * std::cos(-0.5) - P[1] * std::sin(-0.5), P[0] * std::sin(-0.5) + P[1] * std::cos(-0.5), P[2]};
    const double c = std::cos(0.6), s = std::sin(0.6);
    const double ry[3] = {r[0] * c + r[2] * s, r[1], -r[0] * s + r[2] * c};
    const double rotated[3] = {ry[0], ry[1] * c - ry[2] * s, ry[1] * s + ry[2] * c};
    struct Case {
        int32_t mode;
        const char* operation;
        double scale;  // of P, or of the rotated P for mode 1
        double phase;
    };
    const Case cases[] = {
        {1, "noise", 2 / 1.3, 0.0},           // noise bump of size 1.3
        {2, "noise3D", 2 * 100 * 0.0005, NAN},  // turbulence of the cellular bump
        {3, "noise", 2 * 0.02 * 10, 0.0},       // ridges
        {6, "noise", 2 * 100 / 150.0, 1.5},     // noise bump of size 150
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.mode);
        kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
        ward.set("u_procedureMapEnable", k.mode);
        ward.set("u_procedureMapTiling", Float3(2.0f));
        ward.set("u_procedureMapAmount", 1.0f);
        RecordingServices services;
        ksi::ShadingRecord record = wardRecord();
        record.position = {1.0f, 0.5f, 0.25f};
        record.sampleDir = {0.0f, 0.0f, 1.0f};
        ward.material().evaluateBsdf(&services, &record);
        const std::vector<float>& point = services.log.args(k.operation);
        const double* base = k.mode == 1 ? rotated : P;
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(point[i], k.scale * base[i], 1e-5) << "axis " << i;
        if (!std::isnan(k.phase)) {
            EXPECT_EQ(point[3], float(k.phase));
        }
    }
}

// The anisotropy rotation turns T and B about N: for I along -N and L at 0.3 rad in the x-z plane,
// the half vector L - I has (sin 0.3 cos r, -sin 0.3 sin r) in the turned frame, with alphaX 0.2 and
// alphaY 0.4; F = 1 leaves the Ward term alone.
TEST(Ward, AnisotropyRotationTurnsTheLobe) {
    RecordingImageTexture half;
    half.texel = {0.5f, 0.5f, 0.5f, 1.0f};
    for (bool map : {false, true}) {
        SCOPED_TRACE(map ? "map" : "value");
        kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
        ward.set("u_roughValue", 0.2f);
        ward.set("u_anisotropyValue", 2.0f);
        ward.set("u_anisoRotationValue", 0.4f);
        if (map) {
            ward.set("u_anisoRotationMapEnable", true);
            ward.bindTexture("u_anisoRotationMap", &half);
            ward.set("u_anisoRotationAmount", 0.8f);
        }
        RecordingServices services;
        ksi::ShadingRecord record = wardRecord();
        const double t = 0.3, rho = 0.4;
        record.sampleDir = {float(std::sin(t)), 0.0f, float(std::cos(t))};
        ward.material().evaluateBsdf(&services, &record);
        const double hx = std::sin(t) * std::cos(rho) / 0.2, hy = -std::sin(t) * std::sin(rho) / 0.4, hz = 1 + std::cos(t);
        const double expected = std::exp(-(hx * hx + hy * hy) / (hz * hz)) / (std::sqrt(std::cos(t)) * 4 * M_PI * 0.2 * 0.4);
        EXPECT_NEAR(record.sampleWeight.x, expected, 1e-5 * expected);
    }
}

// Lit from behind (frontFacing 0) with transparency T = 0.5, translucency t = 0.5, diffuse 0.5 and
// F = 0: the front loop adds D (1 - T) = 0.25 times the light's weight 0.5, the back loop adds
// D T t x tint (T + (1 - T) 0.5 = 0.75) times the specular scale 0.5 alone (no cosine).
TEST(Ward, BackSideAddsTheTranslucentDiffuseOfEachLight) {
    kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
    ward.set("u_transparency", true);
    ward.set("u_transparencyValue", 0.5f);
    ward.set("u_translucencyValue", 0.5f);
    ward.set("u_diffuseColor", Float3(0.5f));
    ward.set("u_brdf00Reflectivity", 0.0f);
    ward.set("u_brdf90Reflectivity", 0.0f);
    RecordingServices services;
    services.lights.push_back(RecordingServices::makeLight({0.6f, 0.0f, 0.8f}, Float3(1.0f), Float3(1.0f), 0.5f));
    ksi::ShadingRecord record = wardRecord();
    record.frontFacing = 0;
    ward.material().shade(&services, &record);
    const float expected = 0.25f * 0.5f + 0.125f * 0.75f * 0.5f;
    expectColor(record.outColor, {expected, expected, expected, 1.0f});
}

// Directions enter the local frame clamped per axis to [-1, 1], then normalised: the ray (3, 0, -2)
// becomes (1, 0, -1) / sqrt 2, whose mirror direction carries the whole Ward peak
// 1 / (cos 45 deg 4 pi alphaX alphaY) of the default roughness 0.01.
TEST(Ward, AnUnnormalisedRayIsClampedPerAxisBeforeNormalising) {
    kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
    RecordingServices services;
    ksi::ShadingRecord record = wardRecord({3.0f, 0.0f, -2.0f});
    const float s = std::sqrt(0.5f);
    record.sampleDir = {s, 0.0f, s};
    ward.material().evaluateBsdf(&services, &record);
    const double peak = 1 / (std::sqrt(0.5) * 4 * M_PI * 0.0001);
    EXPECT_NEAR(record.sampleWeight.x, peak, 1e-5 * peak);
}

// A roughness map holds a glossiness g: x = 1 - g maps to alpha by a quadratic below 0.5, a cubic
// below 0.9 and a line above. Seen head-on at the mirror direction the lobe is its peak
// 1 / (4 pi alpha^2).
TEST(Ward, RoughnessMapReadsAGlossiness) {
    const double x = 0.7;
    const double cubic = 24.1745 * x * x * x - 45.6128 * x * x + 28.605 * x - 5.72202;
    const struct {
        float gloss;
        double alpha;
    } cases[] = {{0.7f, 1.11078 * 0.09 - 0.225494 * 0.3 + 0.0505339}, {0.3f, cubic}, {0.05f, 0.05 * 3 + 0.7}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.gloss);
        RecordingImageTexture map;
        map.texel = {c.gloss, 0.0f, 0.0f, 1.0f};
        kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
        ward.set("u_roughMapEnable", true);
        ward.bindTexture("u_roughMap", &map);
        RecordingServices services;
        ksi::ShadingRecord record = wardRecord();
        record.sampleDir = {0.0f, 0.0f, 1.0f};
        ward.material().evaluateBsdf(&services, &record);
        // The cubic cancels terms near 20 down to 0.24, so single precision keeps about 5 digits.
        const double peak = 1 / (4 * M_PI * c.alpha * c.alpha);
        EXPECT_NEAR(record.sampleWeight.x, peak, 1e-4 * peak);
    }
}

TEST(Ward, SamplingIsConsistentWithEvaluation) {
    expectSamplingConsistentWithEvaluation("kestrel_Mtl_Ward", 36);
}

}  // namespace

namespace {

TEST(Ward, ZeroRoughnessHasNoGlossyLobeAndNoNaN) {
    kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
    ward.set("u_roughValue", 0.0f);
    ward.set("u_diffuseColor", Float3(0.5f));
    ward.set("u_brdf00Reflectivity", 0.5f);
    ward.set("u_brdf90Reflectivity", 0.5f);
    RecordingServices services;
    ksi::ShadingRecord record = wardRecord();
    record.sampleDir = {0.0f, 0.0f, 1.0f};  // exactly the mirror direction
    ward.material().evaluateBsdf(&services, &record);
    expectFloat3(record.sampleWeight, Float3(0.5f * (1.0f - 0.5f)) * 0.3183099f);
    ksi::ShadingRecord glossy = wardRecord();
    acceptLobes(glossy, {ksi::kLobeSpecularReflection});
    ward.material().sampleBsdf(&services, &glossy);
    EXPECT_EQ(glossy.sampleLobe, ksi::kLobeNone);
    services.lights.push_back(RecordingServices::makeLight({0, 0, 1}, Float3(1.0f)));
    ksi::ShadingRecord shaded = wardRecord();
    ward.material().shade(&services, &shaded);
    EXPECT_TRUE(std::isfinite(shaded.outColor.x) && std::isfinite(shaded.outColor.w));
}

}  // namespace
