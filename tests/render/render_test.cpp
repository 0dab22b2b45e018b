// The renderer against values known without it: closed forms of the light shaders and the
// preview materials, a furnace for the path integrator, determinism across thread counts, and
// non-finite colours kept out of the image.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include <glm/gtc/noise.hpp>

#include <OpenImageIO/imageio.h>
#include <tbb/global_control.h>

#include "render/hash_noise.h"
#include "render_fixture.h"

namespace kestrel::testing {
namespace {

using nlohmann::json;

render::Image renderScene(const LoadedScene& loaded, render::RenderStats& stats) {
    return render::renderImage(loaded.scene, loaded.settings, stats, {.enabled = false, .label = ""});
}

// Camera straight down onto a plane at z = 0 through so narrow a cone that every ray meets
// the plane head-on (the cosine rounds to exactly 1).
json headOnScene(const json& material) {
    json scene = json::parse(R"({
      "camera": {"position": [0, 0, 5], "lookAt": [0, 0, 0], "up": [0, 1, 0], "fov": 0.001},
      "render": {"resolution": [8, 6], "spp": 2},
      "objects": [{"shape": "plane", "matrix": [[4,0,0,0],[0,4,0,0],[0,0,1,0],[0,0,0,1]]}]
    })");
    scene["objects"][0]["material"] = material;
    return scene;
}

// The host's 4D noise is tabled for speed; it must stay glm's Perlin noise to the last bit, near
// and far from the origin, on lattice points and off them, and past the tabled range.
TEST(HostNoise, FourDimensionalNoiseIsGlmsToTheLastBit) {
    std::mt19937 random(7);
    for (float scale : {0.5f, 3.0f, 40.0f, 300.0f, 5000.0f, 4.2e6f, 1e9f}) {
        std::uniform_real_distribution<float> coordinate(-scale, scale);
        for (int i = 0; i < 20000; ++i) {
            glm::vec4 p(coordinate(random), coordinate(random), coordinate(random), coordinate(random));
            if (i % 4 == 1) p = glm::floor(p);
            if (i % 4 == 2) p = glm::floor(p) + 0.5f;
            const float expected = std::clamp(0.5f * glm::perlin(p) + 0.5f, 0.0f, 1.0f);
            const float actual = render::unsignedNoise(p);
            ASSERT_EQ(std::memcmp(&expected, &actual, sizeof actual), 0)
                << p.x << " " << p.y << " " << p.z << " " << p.w << ": " << actual << " vs " << expected;
        }
    }
}

TEST(Render, SolidSeenHeadOnIsExactlyItsColour) {
    auto loaded = loadScene(headOnScene({{"class", "kestrel_Mtl_Solid"}, {"parameters", {{"patchState", 2}}}}));
    render::RenderStats stats;
    render::Image image = renderScene(*loaded, stats);
    for (const glm::vec4& p : image.pixels) {
        // Solid leaves alpha to the host, which presets 1.
        EXPECT_EQ(p, glm::vec4(0.85f, 0.85f, 0.85f, 1.0f));
    }
    EXPECT_EQ(stats.cameraSamples, 8u * 6u * 2u);
    EXPECT_EQ(stats.droppedSamples, 0u);
}

TEST(Render, RaysThatLeaveSeeTheEnvironmentBackground) {
    auto loaded = loadScene(json::parse(R"({
      "render": {"resolution": [4, 3], "spp": 1},
      "environment": {"class": "kestrel_Env_Default", "parameters": {"backgroundColor": [0.25, 0.5, 0.75]}}
    })"));
    render::RenderStats stats;
    for (const glm::vec4& p : renderScene(*loaded, stats).pixels) EXPECT_EQ(p, glm::vec4(0.25f, 0.5f, 0.75f, 0.0f));
}

// A point at the origin facing up, lit from (0, 0, 5).
struct LightAtOrigin {
    std::unique_ptr<LoadedScene> loaded;
    std::unique_ptr<render::Tracer> tracer;
    const ksi::LightSample* samples(glm::vec3 point = glm::vec3(0.0f)) {
        ksi::Float3 p(point.x, point.y, point.z), n(0.0f, 0.0f, 1.0f);
        return tracer->getLightSamples(0, &p, &n);
    }
};

LightAtOrigin lightAtOrigin(const json& light, const json& objects = json::array()) {
    json scene = {{"lights", json::array({light})}, {"objects", objects}};
    LightAtOrigin result;
    result.loaded = loadScene(scene);
    result.tracer = std::make_unique<render::Tracer>(result.loaded->scene, result.loaded->settings);
    return result;
}

const json kPointLight = json::parse(R"({"class": "znPointLight", "position": [0, 0, 5],
    "parameters": {"color": [1, 0.5, 0.25], "attenuationFactors": [10, 2, 0]}})");

TEST(LightSamples, UnoccludedPointLightGivesItsAttenuatedColour) {
    LightAtOrigin setup = lightAtOrigin(kPointLight);
    const ksi::LightSample* sample = setup.samples();
    ASSERT_NE(sample, nullptr);
    // Distance 5, reference 10, exponent 2: 1 - (5/10)^2 = 0.75.
    EXPECT_EQ(sample->color.x, 0.75f);
    EXPECT_EQ(sample->color.y, 0.375f);
    EXPECT_EQ(sample->color.z, 0.1875f);
    EXPECT_EQ(sample->shadow.x, 1.0f);
    EXPECT_EQ(sample->shadowedColor.z, 0.1875f);
    EXPECT_EQ(sample->direction.z, 1.0f);  // towards the light
    EXPECT_EQ(sample->specularScale, 1.0f);
    EXPECT_EQ(sample->next, nullptr);
}

TEST(LightSamples, SpotLightSeesTheCosineOffItsAxis) {
    // Axis straight down; the point (3, 0, 1) lies 4 below and 3 aside: distance 5, cosine 0.8.
    json spot = json::parse(R"({"class": "znSpotLight", "position": [3, 0, 5], "axis": [0, 0, -1],
        "parameters": {"color": [2, 2, 2], "attenuationFactors": [10, 1, 2], "cosPenumbra": 0.5, "cosUmbra": 0.7}})");
    LightAtOrigin setup = lightAtOrigin(spot);
    const ksi::LightSample* sample = setup.samples(glm::vec3(0.0f, 0.0f, 1.0f));
    ASSERT_NE(sample, nullptr);
    // Cone factor 1 (0.8 >= 0.7), distance factor 1 - 5/10 = 0.5, axis factor 0.8^2.
    const float cosine = 4.0f / 5.0f;
    EXPECT_NEAR(sample->color.x, 2.0f * (0.5f * std::pow(cosine, 2.0f)), 1e-6f);
    // A point outside the cone gets no sample at all.
    EXPECT_EQ(setup.samples(glm::vec3(30.0f, 0.0f, 0.0f)), nullptr);
}

TEST(LightSamples, ShadowsGoThroughWhatTransmits) {
    const json occluderMatrix = json::parse("[[1,0,0,0],[0,1,0,0],[0,0,1,0],[0,0,2.5,1]]");
    // An opaque box between point and light.
    json solid = {{{"shape", "box"}, {"matrix", occluderMatrix}, {"material", {{"class", "kestrel_Mtl_Solid"}}}}};
    LightAtOrigin blocked = lightAtOrigin(kPointLight, solid);
    ASSERT_NE(blocked.samples(), nullptr);
    EXPECT_EQ(blocked.samples()->shadow.x, 0.0f);
    EXPECT_EQ(blocked.samples()->shadowedColor.x, 0.0f);
    EXPECT_EQ(blocked.samples()->color.x, 0.75f);
    // Unlit never casts shadows: its transmittance is 1 for every ray.
    json unlit = {{{"shape", "box"}, {"matrix", occluderMatrix}, {"material", {{"class", "kestrel_Mtl_Unlit"}}}}};
    LightAtOrigin through = lightAtOrigin(kPointLight, unlit);
    EXPECT_EQ(through.samples()->shadow.x, 1.0f);
}

TEST(PathIntegrator, FurnaceReturnsTheEnvironment) {
    TemporaryDirectory directory;
    writeConstantImage(directory.file("grey.exr"), 8, 4, 3, 0.5f);
    // A white diffuse sphere in a uniform environment reflects exactly the environment's
    // radiance, whichever of the two strategies (environment or BSDF sampling) finds it.
    auto loaded = loadScene(json::parse(R"({
      "camera": {"position": [0, -4, 0], "lookAt": [0, 0, 0], "fov": 25},
      "render": {"resolution": [8, 8], "spp": 64, "mode": "path"},
      "environment": {"class": "kestrel_Env_Default",
                      "parameters": {"reflectionLatlong": "grey.exr", "backgroundColor": [0.5, 0.5, 0.5]}},
      "objects": [{"shape": "sphere", "material": {"class": "kestrel_Mtl_Ward",
                   "parameters": {"u_diffuseColor": [1, 1, 1], "u_reflectivity": 0}}}]
    })"),
                            directory.path().string());
    render::RenderStats stats;
    glm::vec4 mean(0.0f);
    for (const glm::vec4& p : renderScene(*loaded, stats).pixels) mean += p / 64.0f;
    EXPECT_NEAR(mean.x, 0.5f, 0.01f);
    EXPECT_NEAR(mean.z, 0.5f, 0.01f);
}

// Point and spot light on a diffuse plane and nothing else (no ambient, no environment): the
// two integrators compute the same transport, so they must give the same image.
TEST(Integrators, ShadeAndPathAgreeOnDirectLight) {
    json scene = json::parse(R"({
      "camera": {"position": [0, -4, 3], "lookAt": [0, 0, 0], "fov": 45},
      "render": {"resolution": [16, 12], "spp": 128},
      "lights": [
        {"class": "znPointLight", "position": [-1, -1, 2],
         "parameters": {"color": [1, 0.9, 0.8], "attenuationFactors": [20, 2, 0]}},
        {"class": "znSpotLight", "position": [1.5, 0, 2.5], "axis": [-0.4, 0, -1],
         "parameters": {"color": [0.5, 0.6, 0.9], "attenuationFactors": [20, 2, 1], "cosPenumbra": 0.8}}],
      "objects": [{"shape": "plane", "matrix": [[20,0,0,0],[0,20,0,0],[0,0,1,0],[0,0,0,1]],
        "material": {"class": "MarigoldLegacy",
                     "parameters": {"transparencyMode": -1, "diffuseColor": [0.6, 0.5, 0.4]}}}]
    })");
    render::Image images[2];
    for (int mode = 0; mode < 2; ++mode) {
        scene["render"]["mode"] = mode == 0 ? "shade" : "path";
        auto loaded = loadScene(scene);
        render::RenderStats stats;
        images[mode] = renderScene(*loaded, stats);
    }
    glm::vec3 means[2]{glm::vec3(0.0f), glm::vec3(0.0f)};
    for (std::size_t i = 0; i < images[0].pixels.size(); ++i) {
        const glm::vec3 shade(images[0].pixels[i]), path(images[1].pixels[i]);
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(path[c], shade[c], 0.05f * shade[c] + 0.002f) << "pixel " << i;
        means[0] += shade;
        means[1] += path;
    }
    EXPECT_GT(means[0].x, 0.1f * static_cast<float>(images[0].pixels.size()));
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(means[1][c], means[0][c], 0.01f * means[0][c]);
}

json randomScene(const char* mode) {
    json scene = json::parse(R"({
      "camera": {"position": [0, -5, 2], "lookAt": [0, 0, 0.8], "fov": 35},
      "render": {"resolution": [24, 16], "spp": 3, "occlusionSamples": 2, "seed": 7},
      "ambient": [0.1, 0.1, 0.1],
      "environment": {"class": "kestrel_Env_Default"},
      "lights": [{"class": "znPointLight", "position": [-2, -2, 4],
                  "parameters": {"color": [1, 1, 1], "attenuationFactors": [20, 2, 0]}}],
      "objects": [
        {"shape": "materialBall", "material": {"class": "kestrel_Mtl_AmbientOnly",
            "parameters": {"showAmbientOnly": true, "usingRaytracedAO": true}}},
        {"shape": "plane", "matrix": [[4,0,0,0],[0,4,0,0],[0,0,1,0],[0,0,0,1]],
         "material": {"class": "kestrel_Mtl_ShadowPlane"}}]
    })");
    scene["render"]["mode"] = mode;
    return scene;
}

class Determinism : public ::testing::TestWithParam<const char*> {};

TEST_P(Determinism, SameSeedSameBytesWithOneOrTwoThreads) {
    auto loaded = loadScene(randomScene(GetParam()));
    render::RenderStats stats;
    render::Image one, two;
    {
        tbb::global_control threads(tbb::global_control::max_allowed_parallelism, 1);
        one = renderScene(*loaded, stats);
    }
    {
        tbb::global_control threads(tbb::global_control::max_allowed_parallelism, 2);
        two = renderScene(*loaded, stats);
    }
    ASSERT_EQ(one.pixels.size(), two.pixels.size());
    EXPECT_EQ(std::memcmp(one.pixels.data(), two.pixels.data(), one.pixels.size() * sizeof(glm::vec4)), 0);
    // The image does depend on the seed: the occlusion is sampled.
    loaded->settings.seed = 8;
    render::Image other = renderScene(*loaded, stats);
    EXPECT_NE(std::memcmp(one.pixels.data(), other.pixels.data(), one.pixels.size() * sizeof(glm::vec4)), 0);
}

INSTANTIATE_TEST_SUITE_P(Integrators, Determinism, ::testing::Values("shade", "path"));

TEST(Render, NonFiniteColoursAreDroppedAndCounted) {
    auto loaded = loadScene(headOnScene({{"class", "kestrel_Mtl_Unlit"}}));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    loaded->scene.materials[0].shader->set("diffuseColor", ksi::Float3(nan, 0.0f, 0.0f));
    render::RenderStats stats;
    render::Image image = renderScene(*loaded, stats);
    EXPECT_EQ(stats.droppedSamples, 8u * 6u * 2u);
    for (const glm::vec4& p : image.pixels) EXPECT_EQ(p, glm::vec4(0.0f));
    EXPECT_NE(render::summaryLine(8, 6, 2, stats).find("96 non-finite samples dropped"), std::string::npos);
}

TEST(ImageOutput, PngIsSrgbAndExrIsLinear) {
    TemporaryDirectory directory;
    render::Image image;
    image.width = 2;
    image.height = 1;
    image.pixels = {glm::vec4(0.5f, 0.0f, 1.0f, 1.0f), glm::vec4(2.0f, -1.0f, 0.0031308f, 0.25f)};
    render::writeImage(image, directory.file("out.png"));
    render::writeImage(image, directory.file("out.exr"), render::ExrPrecision::Float);
    auto png = OIIO::ImageInput::open(directory.file("out.png"));
    ASSERT_TRUE(png);
    EXPECT_EQ(png->spec().nchannels, 3);
    unsigned char bytes[6];
    ASSERT_TRUE(png->read_image(0, 0, 0, 3, OIIO::TypeDesc::UINT8, bytes));
    // sRGB of 0.5 is 0.7354 -> 188; out-of-range values clamp.
    EXPECT_EQ(bytes[0], 188);
    EXPECT_EQ(bytes[1], 0);
    EXPECT_EQ(bytes[2], 255);
    EXPECT_EQ(bytes[3], 255);
    EXPECT_EQ(bytes[4], 0);
    EXPECT_EQ(bytes[5], 10);  // 0.0031308 x 12.92 = 0.04045 -> 10.3
    auto exr = OIIO::ImageInput::open(directory.file("out.exr"));
    ASSERT_TRUE(exr);
    float floats[8];
    ASSERT_TRUE(exr->read_image(0, 0, 0, 4, OIIO::TypeDesc::FLOAT, floats));
    EXPECT_EQ(floats[4], 2.0f);
    EXPECT_EQ(floats[5], -1.0f);
    EXPECT_EQ(floats[7], 0.25f);
}

TEST(ImageOutput, FailedWriteLeavesNoFile) {
    TemporaryDirectory directory;
    render::Image image;
    image.width = 1;
    image.height = 1;
    image.pixels = {glm::vec4(1.0f)};
    EXPECT_THROW(render::writeImage(image, directory.file("missing/out.png")), std::runtime_error);
    EXPECT_THROW(render::writeImage(image, directory.file("out.tiff")), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

}  // namespace
}  // namespace kestrel::testing
