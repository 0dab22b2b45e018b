// The Ward material: its glossy highlight at the mirror direction, light kinds, cutouts and
// decals, the evaluate and sample paths, and sampling consistent with evaluation.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

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
