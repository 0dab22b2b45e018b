// The legacy all-in-one material: the display switches, masking and
// transparency with their combinations, the light kinds, Fresnel and clear coat, bump frames,
// refraction and simulated thickness, graded reflections, shadow rays, and the evaluation and
// sampling slots driven with scripted random numbers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <utility>
#include <vector>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float2;
using ksi::Float3;
using ksi::Float4;

void expectNear3(Float3 actual, Float3 expected, float tolerance = 1e-6f) {
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.z, expected.z, tolerance);
}

Float3 argsVec(const std::vector<float>& args, std::size_t first) { return {args[first], args[first + 1], args[first + 2]}; }

// A MarigoldLegacy seen straight down -z at the origin from (0, 0, 1), lit by the lights a test
// adds, with no transparency unless a test turns it back on.
struct Legacy {
    kestrel::ShaderInstance shader = createShader("MarigoldLegacy");
    RecordingServices services;
    ksi::ShadingRecord record = presetRecord();

    explicit Legacy(bool opaque = true) {
        if (opaque) shader.set("transparencyMode", -1);
    }
    Float4 shade() {
        shader.material().shade(&services, &record);
        return record.outColor;
    }
    Float3 transmittance() {
        shader.material().shadowTransmittance(&services, &record);
        return record.outTransmittance;
    }
    void evaluate(Float3 L) {
        record.sampleDir = L;
        shader.material().evaluateBsdf(&services, &record);
    }
    void sample(float xi, Float2 xi2 = {0.5f, 0.5f}, bool diffuse = true, bool specular = true) {
        services.randomQueue = {xi, xi2.x, xi2.y};
        record.lobeRequest[0] = diffuse;
        record.lobeRequest[2] = specular;
        shader.material().sampleBsdf(&services, &record);
    }
    Legacy& with(std::initializer_list<std::pair<const char*, kestrel::ParamValue>> values) {
        for (const auto& [name, value] : values) shader.set(name, value);
        return *this;
    }
    // The normal the lighting was gathered about.
    Float3 lightingNormal() const { return argsVec(services.log.args("getLightSamples"), 4); }
};

TEST(MarigoldLegacyShade, MereShadowContributesNothingWhateverElseIsSet) {
    Legacy l;
    l.with({{"draw_mere_shadow", true}, {"showNormalsOnly", true}});
    const ksi::ShadingRecord before = l.record;
    l.shade();
    EXPECT_EQ(l.record.noContribution, 1);
    expectColor(l.record.outColor, before.outColor);
    EXPECT_TRUE(l.services.log.calls().empty());
}

// d = dot(rayDir, N); the alpha stays the host's and no service is called.
TEST(MarigoldLegacyShade, NormalDisplayColoursBySwitchAndSide) {
    struct Case {
        bool faceForward, faceLight;
        Float3 rayDir, geomNormal, expected;
    } const cases[] = {
        {true, false, {0, 0, -1}, {0, 0, 1}, {0.7f, 0.35f, 0.05f}},
        {true, false, {0.8f, 0, -0.6f}, {0, 0, 1}, {0.7f * 0.6f, 0.35f * 0.6f, 0.05f}},
        {false, true, {0.8f, 0, -0.6f}, {0, 0, 1}, {0.05f, 0.8f * 0.6f, 0.05f}},
        {false, false, {0.8f, 0, -0.6f}, {0, 0, 1}, {0.05f, 0.05f, -0.8f * -0.6f}},
        {false, false, {0.8f, 0, -0.6f}, {0, 0, -1}, {0.0f, 0.0f, 0.0f}},  // geometry turned away
    };
    for (const Case& c : cases) {
        Legacy l;
        l.with({{"showNormalsOnly", true}, {"faceForward", c.faceForward}, {"faceLight", c.faceLight}});
        l.record.rayDir = c.rayDir;
        l.record.geomNormal = c.geomNormal;
        expectColor(l.shade(), Float4(c.expected, 0.4f));
        EXPECT_TRUE(l.services.log.calls().empty());
    }
}

// The diffuse channel by mode, seen alone through selfIlluminance (Dt = Dc): constants untinted,
// texels tinted, the box's x face switched by triplanarXY, and no spherical mode here.
TEST(MarigoldLegacyChannels, DiffuseModesAtTheirBoundaries) {
    struct Case {
        const char* what;
        int mode;
        bool triplanarXY;
        Float3 position, normal;
        std::vector<Float2> lookups;
        Float3 color;
    } const cases[] = {
        {"none", -1, false, {0.1f, 0.2f, 0.3f}, {0, 0, 1}, {}, {0, 0, 0}},
        {"constant", 0, false, {0.1f, 0.2f, 0.3f}, {0, 0, 1}, {}, {0, 0, 1}},
        {"uv", 1, false, {0.1f, 0.2f, 0.3f}, {0, 0, 1}, {{0.25f, 0.75f}}, {0.5f, 0.125f, 2.0f}},
        {"planar", 2, false, {0.1f, 0.2f, 0.3f}, {0, 0, 1}, {{0.1f, 0.2f}}, {0.5f, 0.125f, 2.0f}},
        {"box x face, switch set", 3, true, {0.1f, 0.2f, 0.3f}, {1, 0, 0}, {{0.3f, 0.2f}}, {0.5f, 0.125f, 2.0f}},
        {"box x face, switch clear", 3, false, {0.1f, 0.2f, 0.3f}, {1, 0, 0}, {{0.2f, 0.3f}}, {0.5f, 0.125f, 2.0f}},
        {"cylindrical", 4, false, {0.5f, 1.5f, 0.2f}, {0, 0, 1}, {{0.5f * 2.0f, 0.2f}}, {0.5f, 0.125f, 2.0f}},
        {"spherical is not a legacy mode", 5, false, {0.1f, 0.2f, 0.3f}, {0, 0, 1}, {}, {0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Legacy l;
        RecordingImageTexture texture;
        texture.texel = {0.5f, 0.25f, 1.0f, 1.0f};
        l.shader.bindTexture("diffuseTexture", &texture);
        l.with({{"diffuseMode", c.mode}, {"triplanarXY", c.triplanarXY}, {"selfIlluminance", true},
                {"diffuseTextureTintColor", Float3(1.0f, 0.5f, 2.0f)}, {"diffuseAngularRepeat", 2.0f}});
        l.record.objectPosition = c.position;
        l.record.objectNormal = c.normal;
        ksi::writeVarying(l.record, 0, Float2(0.25f, 0.75f));
        expectFloat3(l.shade().xyz(), c.color);
        ASSERT_EQ(texture.lookups.size(), c.lookups.size());
        for (std::size_t i = 0; i < c.lookups.size(); ++i) EXPECT_EQ(texture.lookups[i], c.lookups[i]);
    }
}

// White masks, and planar masks outside their slab, discard the sample for shading and
// evaluation and pass the sampled path straight through; shadow rays ignore the slab.
TEST(MarigoldLegacyMask, CutAwayBySlotAndMode) {
    struct Case {
        const char* what;
        int mode;
        Float3 color;
        float z;
        Float3 texel;
        Float3 shadow;
    } const cases[] = {
        {"white constant", 0, {1, 1, 1}, 0.0f, {0, 0, 0}, {1, 1, 1}},
        {"planar above the slab", 2, {0, 0, 0}, 1.5f, {0.25f, 0.25f, 0.25f}, {0.25f, 0.25f, 0.25f}},
        {"planar below the slab", 2, {0, 0, 0}, -1.5f, {0.5f, 0.5f, 0.5f}, {0.5f, 0.5f, 0.5f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        RecordingImageTexture mask;
        mask.texel = Float4(c.texel, 1.0f);
        auto setUp = [&](Legacy& l) {
            l.with({{"maskingMode", c.mode}, {"maskingColor", c.color}});
            l.shader.bindTexture("maskingTexture", &mask);
            l.record.objectPosition = {0.1f, 0.2f, c.z};
        };
        Legacy shaded, evaluated, sampled, shadowed;
        for (Legacy* l : {&shaded, &evaluated, &sampled, &shadowed}) setUp(*l);
        shaded.shade();
        EXPECT_EQ(shaded.record.noContribution, 1);
        evaluated.evaluate({0, 0, 1});
        EXPECT_EQ(evaluated.record.noContribution, 1);
        sampled.sample(0.999f);
        EXPECT_EQ(sampled.record.sampleLobe, ksi::kLobeSpecularTransmission);
        expectFloat3(sampled.record.sampleDir, sampled.record.rayDir);
        expectFloat3(sampled.record.sampleWeight, {1, 1, 1});
        expectFloat3(shadowed.transmittance(), c.shadow);
    }
}

// Inverting applies to textured modes only; a mask may come from the texture's alpha.
TEST(MarigoldLegacyMask, InversionAndAlphaSourceReachTheBlend) {
    struct Case {
        int mode;
        bool invert, fromAlpha;
        Float3 mask;
    } const cases[] = {
        {0, true, false, {0.25f, 0.25f, 0.25f}},
        {1, true, false, {0.75f, 0.5f, 0.25f}},
        {1, false, true, {0.625f, 0.625f, 0.625f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mode);
        Legacy l;
        RecordingImageTexture texture;
        texture.texel = {0.25f, 0.5f, 0.75f, 0.625f};
        l.with({{"maskingMode", c.mode}, {"maskingColor", Float3(0.25f)}});
        l.shader.bindTexture("maskingTexture", &texture);
        l.with({{"maskingInvertTexture", c.invert}, {"maskingFromAlpha", c.fromAlpha}});
        // Diffuse black, no light: everything seen is the mask times what lies behind.
        l.shader.set("diffuseColor", Float3(0.0f));
        l.services.transmissionAnswer = {1.0f, 1.0f, 1.0f, 1.0f};
        const Float4 out = l.shade();
        expectFloat3(out.xyz(), c.mask);
        EXPECT_EQ(l.services.log.args("traceTransmission")[6], std::fmax(c.mask.x, std::fmax(c.mask.y, c.mask.z)));
        EXPECT_EQ(out.w, 1.0f);
    }
}

// Transparency that blocks highlights acts as a mask of the same amount: half shaded, half the
// colour behind, with no refraction trace.
TEST(MarigoldLegacyTransparency, BlockingHighlightsTurnsTransparencyIntoMask) {
    Legacy l(false);
    l.with({{"transparencyColor", Float3(0.5f)}, {"transparencyBlocksHighlights", true}});
    l.services.indirectAnswer = {0.2f, 0.4f, 0.6f};
    l.services.transmissionAnswer = {1.0f, 0.0f, 0.5f, 1.0f};
    const Float4 out = l.shade();
    expectFloat3(out.xyz(), {0.2f * 0.5f + 0.5f, 0.4f * 0.5f, 0.6f * 0.5f + 0.5f * 0.5f});
    EXPECT_EQ(l.services.log.count("traceGlossyTransmission"), 0);
    EXPECT_EQ(l.services.log.args("traceTransmission")[6], 0.5f);
    // The same for shadow rays: 1 - (1 - 0.5)(1 - 0).
    expectFloat3(l.transmittance(), {0.5f, 0.5f, 0.5f});
}

// Which transparency a thin surface traces with (the weight of the refraction trace).
TEST(MarigoldLegacyTransparency, SourcesAndInversion) {
    struct Case {
        const char* what;
        int diffuseMode;
        bool fromDiffuse, invert;
        float weight;
        float reflectivity = 0.0f, mask = 0.0f;  // with reflectLight the reflected share stays out
    } const cases[] = {
        {"constant", 0, false, false, 0.8f},
        {"constant inverted", 0, false, true, 1.0f - 0.8f},
        {"from the diffuse constant: opacity", 0, true, false, 1.0f - 0.8f},
        {"from the diffuse constant, inverted", 0, true, true, 0.8f},
        {"from the diffuse texture's alpha", 1, true, false, 1.0f - 0.375f},
        {"less the reflected and the masked light", 0, false, false, 0.5f * 0.8f * (1.0f - 0.25f), 0.25f, 0.5f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Legacy l(false);
        RecordingImageTexture diffuse;
        diffuse.texel = {0.1f, 0.2f, 0.3f, 0.375f};
        l.shader.bindTexture("diffuseTexture", &diffuse);
        l.with({{"diffuseMode", c.diffuseMode}, {"transparencyFromDiffuse", c.fromDiffuse},
                {"transparencyInvert", c.invert}, {"reflectLight", c.reflectivity > 0.0f},
                {"reflectivityColor", Float3(c.reflectivity)}, {"maskingColor", Float3(c.mask)}});
        l.shade();
        ASSERT_EQ(l.services.log.count("traceGlossyTransmission"), 1);
        EXPECT_EQ(l.services.log.args("traceGlossyTransmission")[7], c.weight);
    }
}

// A thin surface: front hits let the refracted colour through unabsorbed; back hits absorb over
// the distance from the ray origin, per channel, with -1 opaque.
TEST(MarigoldLegacyTransparency, ThinSurfaceAbsorbsOnlyFromInside) {
    struct Case {
        const char* what;
        bool front;
        Float3 absorbance;
        Float3 A;
    } const cases[] = {
        {"front", true, {-1, -1, -1}, {1, 1, 1}},
        {"inside, default absorbance", false, {-1, -1, -1}, {0, 0, 0}},
        {"inside, mixed absorbance", false, {0, 1, -1}, {1, std::exp(-2.0f), 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Legacy l(false);
        l.shader.set("absorbanceRGB", c.absorbance);
        l.record.frontFacing = c.front;
        l.record.rayOrigin = {0.0f, 0.0f, 2.0f};
        l.services.traceAnswer = {0.5f, 0.5f, 0.5f};
        l.services.indirectAnswer = {1.0f, 1.0f, 1.0f};
        const Float4 out = l.shade();
        // t = 0.8: K = (0.8 Tcol + 0.2 Dt) A, with Dt the indirect light I.
        const float k = 0.8f * 0.5f + (1.0f - 0.8f) * 1.0f;
        expectNear3(out.xyz(), c.A * k);
        EXPECT_EQ(out.w, 1.0f);
        expectFloat3(argsVec(l.services.log.args("traceGlossyTransmission"), 3), {0, 0, -1});
    }
}

// Snell's law: sin(theta_t) = sin(theta_i) / 1.5 entering, towards -N; leaving at a steep angle
// reflects totally, so the transparency turns into reflectivity and nothing is refracted.
TEST(MarigoldLegacyRefraction, BendsTowardsTheInsideAndReflectsTotally) {
    Legacy entering(false);
    entering.shader.set("refractiveIndex", 1.5f);
    entering.record.rayDir = {0.6f, 0.0f, -0.8f};
    entering.shade();
    const Float3 d = argsVec(entering.services.log.args("traceGlossyTransmission"), 3);
    expectNear3(d, {0.4f, 0.0f, -std::sqrt(1.0f - 0.16f)});

    Legacy leaving(false);
    leaving.shader.set("refractiveIndex", 1.5f);
    leaving.record.frontFacing = 0;
    leaving.record.normal = {0.0f, 0.0f, -1.0f};  // turned towards the viewer by the back-side flip
    leaving.record.rayDir = {0.8f, 0.0f, -0.6f};
    leaving.services.traceAnswer = {1.0f, 1.0f, 1.0f};
    const Float4 out = leaving.shade();
    EXPECT_EQ(leaving.services.log.count("traceGlossyTransmission"), 0);
    EXPECT_EQ(leaving.services.log.args("traceGlossyReflection")[7], 0.8f);
    expectFloat3(out.xyz(), {0, 0, 0});  // the default absorbance swallows everything inside
}

// A simulated slab of thickness s starts the continuation on its far side, straight on at
// refractive index 1 and along the refracted ray (length s / cos theta_t) otherwise. A ray in the
// surface's plane divides s by a zero cosine: the start goes to infinity along the ray, and 0 / 0
// leaves the other axes not a number.
TEST(MarigoldLegacyRefraction, SimulatedThicknessOffsetsTheContinuation) {
    const float cosT = std::sqrt(1.0f - 0.16f);
    const float inf = INFINITY, nan = NAN;
    struct Case {
        const char* what;
        float index;
        Float3 rayDir, start;
    } const cases[] = {
        {"straight", 1.0f, {0, 0, -1}, {0, 0, -0.1f}},
        {"bent", 1.5f, {0.6f, 0, -0.8f}, Float3(0.4f, 0, -cosT) * (0.1f / cosT)},
        {"straight, in the plane", 1.0f, {1, 0, 0}, {inf, nan, nan}},
        {"bent, in the plane", 1.5f, {1, 0, 0}, {inf, nan, nan}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Legacy l(false);
        l.with({{"simulatedThickness", 0.1f}, {"refractiveIndex", c.index}});
        l.record.rayDir = c.rayDir;
        l.shade();
        const auto& args = l.services.log.args("traceGlossyTransmission");
        const Float3 start = argsVec(args, 0);
        const float got[] = {start.x, start.y, start.z}, want[] = {c.start.x, c.start.y, c.start.z};
        for (int i = 0; i < 3; ++i) {
            if (std::isnan(want[i])) {
                EXPECT_TRUE(std::isnan(got[i])) << i;
            } else if (std::isinf(want[i])) {
                EXPECT_EQ(got[i], want[i]) << i;
            } else {
                EXPECT_NEAR(got[i], want[i], 1e-6f) << i;
            }
        }
        expectFloat3(argsVec(args, 3), c.rayDir);
    }

    // The slab absorbs along the offset: K = t Tcol + (1 - t) Dt with Tcol = Aslab T,
    // Aslab = (1, e^-0.1, 0), and Dt = 0.
    Legacy straight(false);
    straight.with({{"simulatedThickness", 0.1f}, {"absorbanceRGB", Float3(0.0f, 1.0f, -1.0f)}});
    straight.services.traceAnswer = {1.0f, 1.0f, 1.0f};
    expectNear3(straight.shade().xyz(), {0.8f, 0.8f * std::exp(-0.1f), 0.0f});
}

// At normal incidence with the light behind the eye the highlight is exactly the REG base (0.66):
// D = 1, G' = 1/cosV = 1, f = 0. Kind 1 lights feed the A sums, kind 1000001 lights no highlight.
TEST(MarigoldLegacyLights, KindsRouteDiffuseAndHighlights) {
    struct Case {
        int32_t kind;
        int iblDiffMode;
        Float3 expected;
    } const cases[] = {
        // K = rho (C1) + (1 - rho) Dt with rho = 0.5, R = 1, Dc = (0, 0, 1).
        {0, -1, {0.5f * 0.66f, 0.5f * 0.66f, 0.5f * 0.66f + 0.5f}},
        {1000001, -1, {0.0f, 0.0f, 0.5f}},
        {1, -1, {0.0f, 0.0f, 0.0f}},  // diffA only counts in IBLDiffMode 0 or 1; spec1A in IBLSpecMode 0 or 1
        {1, 1, {0.0f, 0.0f, 0.5f * 2.0f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "kind " << c.kind << " IBLDiffMode " << c.iblDiffMode);
        Legacy l;
        l.with({{"reflectivityColor", Float3(0.5f)}, {"reflectType", 1}, {"specular2Color", Float3(0.0f)},
                {"IBLDiffMode", c.iblDiffMode}, {"diffuseLightGainValue", 2.0f}});
        l.services.lights = {RecordingServices::makeLight({0, 0, 1}, {1, 1, 1}, Float3(1.0f), 1.0f, c.kind)};
        expectFloat3(l.shade().xyz(), c.expected);
        EXPECT_EQ(l.services.log.args("getLightSamples")[0], -1024.0f);
    }
}

// Kind 1 lights in shadow keep their colour where lit and take the shadow tint where shadowed.
TEST(MarigoldLegacyLights, ShadowTintOfPrimaryLights) {
    struct Case {
        float receiveShadow;
        Float3 expected;
    } const cases[] = {
        {1.0f, {0.5f * 0.2f + 0.5f, 0.5f * 0.4f + 0.5f, 0.5f * 0.6f + 0.5f}},
        {0.0f, {1.0f, 1.0f, 1.0f}},
    };
    for (const Case& c : cases) {
        Legacy l;
        l.with({{"receiveShadow", c.receiveShadow}, {"shadowColor", Float3(0.2f, 0.4f, 0.6f)},
                {"diffuseColor", Float3(1.0f)}, {"IBLDiffMode", 1}});
        l.services.lights = {RecordingServices::makeLight({0, 0, 1}, {1, 1, 1}, Float3(0.5f), 1.0f, 1)};
        expectNear3(l.shade().xyz(), c.expected);
    }
}

// Which terms the diffuse total sums: I indirect, diffA direct (kind 1), Ga occluded ambient.
TEST(MarigoldLegacyLights, IblDiffModesSumTheirTerms) {
    const float I = 0.125f, direct = 0.25f, ambient = 0.5f;
    struct Case {
        int mode;
        float expected;  // blue, with Dc = (0, 0, 1)
    } const cases[] = {{0, I + direct + ambient}, {1, I + direct}, {2, I + ambient}, {-1, I}, {7, I}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mode);
        Legacy l;
        l.shader.set("IBLDiffMode", c.mode);
        l.services.indirectAnswer = Float3(I);
        l.services.ambientIrradianceAnswer = Float3(ambient);
        l.services.lights = {RecordingServices::makeLight({0, 0, 1}, Float3(direct), Float3(1.0f), 1.0f, 1)};
        const Float4 out = l.shade();
        EXPECT_EQ(out.z, c.expected);
        EXPECT_EQ(out.x, c.mode == 0 || c.mode == 1 || c.mode == 2 ? 0.0f : I);
    }
}

// Baked occlusion from the vertex colour or a texture, or the host's query; the ambient-only
// display shows the darkest channel.
TEST(MarigoldLegacyOcclusion, AmbientOnlyShowsTheOcclusion) {
    struct Case {
        const char* what;
        bool precalc;
        int mode;
        float expected;
    } const cases[] = {
        {"vertex colour", true, 2, 0.25f},
        {"texture at uv1", true, 1, 0.375f},
        {"host query", false, 1, 0.5f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Legacy l;
        RecordingImageTexture ao;
        ao.texel = {0.375f, 0.0f, 0.0f, 1.0f};
        l.shader.bindTexture("ambientOcclusionTexture", &ao);
        l.with({{"usePrecalcAO", c.precalc}, {"ambientOcclusionMode", c.mode}, {"showAmbientOnly", true}});
        ksi::writeVarying(l.record, 40, Float4(0.25f, 0.0f, 0.0f, 1.0f));
        ksi::writeVarying(l.record, 8, Float2(0.3f, 0.7f));
        l.services.occlusionAnswer = {0.5f, 0.6f, 0.7f};
        expectColor(l.shade(), {c.expected, c.expected, c.expected, 1.0f});
        if (c.mode == 1 && c.precalc) {
            ASSERT_EQ(ao.lookups.size(), 1u);
            EXPECT_EQ(ao.lookups[0], Float2(0.3f, 0.7f));
        }
    }
}

// rho from the Fresnel quadruple at the view cosine, clamped to 0..1; the clear coat from its own
// quadruple, unclamped, reflecting the sharp trace.
TEST(MarigoldLegacyFresnel, ReflectivityAndClearCoat) {
    struct Case {
        Float3 rayDir;
        Float4 fresnel;
        float rho;
    } const cases[] = {
        {{0, 0, -1}, {0.04f, 0.96f, 5.0f, 1.0f}, 0.04f},
        {{0.8f, 0, -0.6f}, {0.04f, 0.96f, 5.0f, 1.0f}, std::pow(0.4f, 5.0f) * 0.96f + 0.04f},
        {{0.8f, 0, -0.6f}, {2.0f, 0.0f, 1.0f, 3.0f}, 1.0f},
        {{0.8f, 0, -0.6f}, {0.0f, 1.0f, 1.0f, 0.25f}, 0.25f},
    };
    for (const Case& c : cases) {
        Legacy l;
        l.with({{"useUniformReflectivity", false}, {"fresnel", c.fresnel}, {"specular2Color", Float3(0.0f)}});
        l.record.rayDir = c.rayDir;
        l.shade();
        EXPECT_NEAR(l.services.log.args("traceGlossyReflection")[7], c.rho, 1e-6f);
    }
    const float kappas[] = {0.5f, 1.5f};
    for (float kappa : kappas) {
        SCOPED_TRACE(kappa);
        Legacy l;
        l.shader.set("clearCoat_fresnel", Float4(kappa, 0.0f, 1.0f, 2.0f));
        l.services.traceAnswer = {0.2f, 0.4f, 0.6f};
        l.services.indirectAnswer = {0.1f, 0.1f, 0.1f};
        const Float4 out = l.shade();
        // K = kappa (CC x specular2Color) + (1 - kappa) Dt, Dt = I.
        expectNear3(out.xyz(), kappa * (Float3(0.2f, 0.4f, 0.6f) * 0.5f) + (1.0f - kappa) * Float3(0.1f));
        const auto& args = l.services.log.args("traceReflection");
        expectFloat3(argsVec(args, 3), {0, 0, 1});
        EXPECT_EQ(args[6], 1.0f);
    }
}

// The override image replaces the trace; its colour is graded: contrast about the pivot, then
// saturation (here 0: the weighted grey).
TEST(MarigoldLegacyReflection, OverrideImageIsLookedUpAndGraded) {
    Legacy l;
    RecordingImageTexture image;
    image.texel = {0.2f, 0.4f, 0.6f, 1.0f};
    l.shader.bindTexture("reflectOverride", &image);
    l.with({{"useReflectOverride", true}, {"reflectivityColor", Float3(1.0f)}, {"reflectType", 1},
            {"specular2Color", Float3(0.0f)}, {"globalIBLContrastValue", 0.5f},
            {"reflectIBLChannelSatValue", 0.0f}});
    l.record.rayDir = {0.6f, 0.0f, -0.8f};
    const Float4 out = l.shade();
    EXPECT_EQ(l.services.log.count("traceGlossyReflection"), 0);
    ASSERT_EQ(image.lookups.size(), 1u);
    const Float2 expectedUv = latLongOf(Float3(0.6f, 0.0f, 0.8f));
    EXPECT_NEAR(image.lookups[0].x, expectedUv.x, 1e-6f);
    EXPECT_NEAR(image.lookups[0].y, expectedUv.y, 1e-6f);
    const Float3 Y(0.5f * 0.2f + 0.5f, 0.5f * 0.4f + 0.5f, 0.5f * 0.6f + 0.5f);
    const float grey = 0.2125f * Y.x + 0.7154f * Y.y + 0.0721f * Y.z;
    expectNear3(out.xyz(), Float3(grey));
}

// The bump tilts the normal along its tangent pair: mode 1 from the tangent varyings, mode 2 from
// the rows of the inverse matrix. A constant bump, an unknown mode or a zero depth keeps N.
TEST(MarigoldLegacyBump, TangentPairsByMode) {
    const float h = std::sqrt(0.5f);
    struct Case {
        const char* what;
        int mode;
        float depth;
        Float3 expected;
    } const cases[] = {
        {"uv with tangent varyings", 1, 1.0f, {0.0f, -h, h}},
        {"planar", 2, 1.0f, {-h, 0.0f, h}},
        {"planar, zero depth", 2, 0.0f, {0, 0, 1}},
        {"constant", 0, 1.0f, {0, 0, 1}},
        {"unknown mode", 9, 1.0f, {0, 0, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Legacy l;
        RecordingImageTexture bump;
        bump.texel = {1.0f, 0.5f, 1.0f, 1.0f};  // bx = depth, by = 0, bz = 1
        l.shader.bindTexture("bumpTexture", &bump);
        l.with({{"bumpMode", c.mode}, {"bumpDepth", c.depth}});
        ksi::writeVarying(l.record, 16, Float3(0.0f, 1.0f, 0.0f));
        ksi::writeVarying(l.record, 28, Float3(1.0f, 0.0f, 0.0f));
        l.shade();
        expectNear3(l.lightingNormal(), c.expected);
    }
}

// Shadow rays: the transparency times what the Fresnel reflectivity lets through, absorbed only
// inside or through a simulated slab.
TEST(MarigoldLegacyShadow, TransmittanceByTransparencyReflectivityAndSide) {
    struct Case {
        const char* what;
        bool opaque, front;
        float thickness;
        Float3 reflectivity;
        Float3 expected;
    } const cases[] = {
        {"front", false, true, 0.0f, {0, 0, 0}, {0.8f, 0.8f, 0.8f}},
        {"inside", false, false, 0.0f, {0, 0, 0}, {0, 0, 0}},
        {"opaque", true, true, 0.0f, {0, 0, 0}, {0, 0, 0}},
        {"half reflective", false, true, 0.0f, {0.5f, 0.5f, 0.5f}, {0.5f * 0.8f, 0.5f * 0.8f, 0.5f * 0.8f}},
        {"slab, default absorbance", false, true, 0.1f, {0, 0, 0}, {0, 0, 0}},
        {"fully reflective: no absorption", false, false, 0.0f, {1, 1, 1}, {0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Legacy l(c.opaque);
        l.record.frontFacing = c.front;
        l.with({{"simulatedThickness", c.thickness}, {"reflectivityColor", c.reflectivity}});
        expectNear3(l.transmittance(), c.expected);
    }
    Legacy slab(false);
    slab.with({{"simulatedThickness", 2.0f}, {"absorbanceRGB", Float3(0.0f, 1.0f, -1.0f)}});
    expectNear3(slab.transmittance(), {0.8f, 0.8f * std::exp(-2.0f), 0.0f});
}

// evaluateBsdf adds the diffuse and the primary highlight to what the host holds, then masks.
TEST(MarigoldLegacyEvaluate, AddsToTheHostsWeightAndMasks) {
    Legacy l;
    l.evaluate({0, 0, 1});
    const Float3 once(0.8f, 0.9f, 1.1f + kInvPi);
    expectFloat3(l.record.sampleWeight, once);
    EXPECT_EQ(l.record.sampleCos, 1.0f);
    l.evaluate({0, 0, 1});
    expectFloat3(l.record.sampleWeight, {0.8f, 0.9f, once.z + kInvPi});

    // rho = 0.5, R = 1: the highlight 0.66 at normal incidence, over sampleCos 1, kept by 1 - m
    // per channel, or by 1 - max(m) when transparency blocks highlights (the same for a grey mask).
    for (bool blocking : {false, true}) {
        Legacy glossy;
        glossy.with({{"reflectivityColor", Float3(0.5f)}, {"reflectType", 1}, {"maskingColor", Float3(0.5f)},
                     {"transparencyBlocksHighlights", blocking}});
        glossy.record.sampleWeight = Float3(0.0f);
        glossy.evaluate({0, 0, 1});
        const Float3 added(0.5f * 0.66f, 0.5f * 0.66f, 0.5f * 0.66f + 0.5f * kInvPi);
        expectNear3(glossy.record.sampleWeight, added * 0.5f);
    }
}

// One random number picks the band: pass-through below M, then mirror, straight transmission and
// diffuse in proportion; lobes the host does not accept give no sample.
TEST(MarigoldLegacySample, BandsFollowTheScriptedNumber) {
    struct Case {
        const char* what;
        float xi;
        int lobe;
        Float3 dir, weight;
    } const cases[] = {
        // m = 0.5, rho = 0.25 with R = 1: Ps = 0.125, Pt = 0.75 x 0.5 x 0.8 = 0.3, and with
        // Dc = (0, 0, 0.5): Pd = 0.2 x 0.75 x 0.5 x 0.5 = 0.0375.
        {"pass-through", 0.49f, 32, {0.6f, 0, -0.8f}, {1, 1, 1}},
        {"mirror", 0.6f, 4, {0.6f, 0, 0.8f}, {1, 1, 1}},
        {"transmission", 0.9f, 32, {0.6f, 0, -0.8f}, {1, 1, 1}},
        {"diffuse", 0.95f, 1, {-std::sqrt(0.5f), 0, std::sqrt(0.5f)}, {0, 0, kInvPi}},
        {"past every band", 0.97f, 0, {}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Legacy l(false);
        l.with({{"maskingColor", Float3(0.5f)}, {"reflectivityColor", Float3(0.25f)}, {"reflectType", 1},
                {"diffuseColor", Float3(0.0f, 0.0f, 0.5f)}});
        l.record.rayDir = {0.6f, 0.0f, -0.8f};
        l.sample(c.xi);
        EXPECT_EQ(l.record.sampleLobe, c.lobe);
        if (c.lobe != 0) {
            expectNear3(l.record.sampleDir, c.dir);
            expectFloat3(l.record.sampleWeight, c.weight);
            EXPECT_EQ(l.record.sampleCos, 1.0f);
            EXPECT_EQ(l.record.samplePdf, 1.0f);
        }
    }
    // Refused specular lobes write the lobe code and nothing else.
    for (float xi : {0.6f, 0.9f}) {
        Legacy l(false);
        l.with({{"maskingColor", Float3(0.5f)}, {"reflectivityColor", Float3(0.25f)}, {"reflectType", 1}});
        const ksi::ShadingRecord before = l.record;
        l.sample(xi, {0.5f, 0.5f}, true, false);
        EXPECT_EQ(l.record.sampleLobe, ksi::kLobeNone);
        l.record.sampleLobe = before.sampleLobe;
        l.record.lobeRequest[0] = before.lobeRequest[0];
        expectUnchangedOutside(before, l.record, 0, 0);
    }
}

// The diffuse band draws a cosine-weighted direction about the record's normal.
TEST(MarigoldLegacySample, DiffuseDirectionsAboutTheNormal) {
    Legacy l;
    l.sample(0.3f, {0.25f, 0.5f});
    EXPECT_EQ(l.record.sampleLobe, ksi::kLobeDiffuseReflection);
    expectNear3(l.record.sampleDir, {0.0f, std::sqrt(0.5f), std::sqrt(0.5f)});
    expectFloat3(l.record.sampleWeight, {0.0f, 0.0f, kInvPi});

    // Below the pole the frame's second row turns round: (0, -1, 0).
    Legacy below;
    below.record.normal = {0.0f, 0.0f, -1.0f};
    below.record.frontFacing = 1;
    below.sample(0.3f, {0.25f, 1.0f});
    expectNear3(below.record.sampleDir, {0.0f, -1.0f, 0.0f});

    // Any normal: a unit direction whose cosine with the normal is sqrt(1 - xi2).
    const Float3 n = ksi::normalize(Float3(0.3f, -0.5f, 0.8f));
    for (Float2 xi2 : {Float2(0.1f, 0.2f), Float2(0.7f, 0.9f), Float2(0.45f, 0.05f)}) {
        Legacy tilted;
        tilted.record.normal = n;
        tilted.sample(0.3f, xi2);
        const Float3 d = tilted.record.sampleDir;
        EXPECT_NEAR(ksi::dot(d, d), 1.0f, 1e-5f);
        EXPECT_NEAR(ksi::dot(d, n), std::sqrt(1.0f - xi2.y), 1e-5f);
    }
    // The diffuse lobe refused: no sample and no second random draw.
    Legacy refused;
    refused.sample(0.3f, {0.25f, 0.5f}, false, true);
    EXPECT_EQ(refused.record.sampleLobe, ksi::kLobeNone);
    EXPECT_EQ(refused.services.log.count("random2D"), 0);
}

}  // namespace
