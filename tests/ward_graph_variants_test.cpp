// The Ward graph variants: the UnifiedBitmap, Noise and Tile nodes at their boundary points seen
// through the material's outputs, the wiring of each graph, the earlier Ward revision's
// differences, and the Ward sampling statistics on one variant.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
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

// ---------------------------------------------------------------------------------------------
// Shading helpers

ksi::Float4x4 identity4() { return ksi::Float4x4::identity(); }

ksi::ShadingRecord variantRecord(Float2 uv = {0.5f, 0.5f}, Float3 rayDir = {0.0f, 0.0f, -1.0f}) {
    ksi::ShadingRecord record = presetRecord();
    record.rayDir = rayDir;
    ksi::writeVarying(record, 0, Float3(0.0f, 1.0f, 0.0f));
    ksi::writeVarying(record, 12, Float3(1.0f, 0.0f, 0.0f));
    ksi::writeVarying(record, 24, uv);
    return record;
}

// A variant whose evaluateBsdf at the normal is exactly D / pi: diffuse map on, no reflectivity.
kestrel::ShaderInstance diffuseVariant(const char* hash) {
    kestrel::ShaderInstance shader = createShader(std::string("kestrel_Mtl_Ward_") + hash);
    shader.set("u_diffuseMapEnable", true);
    shader.set("u_brdf00Reflectivity", 0.0f);
    shader.set("u_brdf90Reflectivity", 0.0f);
    return shader;
}

Float3 diffuseWeight(const kestrel::ShaderInstance& shader, RecordingServices& services, Float2 uv = {0.5f, 0.5f}) {
    ksi::ShadingRecord record = variantRecord(uv);
    record.sampleDir = {0.0f, 0.0f, 1.0f};
    shader.material().evaluateBsdf(&services, &record);
    return record.sampleWeight;
}

void setBitmap(kestrel::ShaderInstance& shader, const std::string& path, RecordingImageTexture* texture,
               float amount = 1.0f) {
    shader.set("_ward_" + path + "_UnifiedBitmap_xform", identity4());
    shader.bindTexture("_ward_" + path + "_UnifiedBitmap_texture", texture);
    shader.set("_ward_" + path + "_UnifiedBitmap_amount", amount);
}

void setNoise(kestrel::ShaderInstance& shader, const std::string& path, int32_t type, float lo, float hi,
              float levels = 1.0f, float size = 1.0f, float phase = 0.0f) {
    const std::string p = "_ward_" + path + "_Noise_";
    shader.set(p + "xform", identity4());
    shader.set(p + "type", type);
    shader.set(p + "size", size);
    shader.set(p + "thresholdLow", lo);
    shader.set(p + "thresholdHigh", hi);
    shader.set(p + "levels", levels);
    shader.set(p + "phase", phase);
}

// ---------------------------------------------------------------------------------------------
// Noise

// 120b7820: diffuse_color <- Noise(constant red, constant green); the host noise answers n.
struct NoiseCase {
    int32_t type;
    float levels, lo, hi, n;
    int expectedCalls;
    float v;  // the blend factor, worked out by hand
};

TEST(WardGraphVariants, NoiseShapesLevelsAndThresholds) {
    const NoiseCase cases[] = {
        // regular: ((2n - 1) + 1) / 2 = n
        {0, 7.0f, 0.0f, 1.0f, 0.75f, 1, 0.75f},
        // fractal, 2n - 1 = 0.5 per octave: 2.5 levels are three octaves 0.5 + 0.25 + 0.125
        {1, 2.5f, 0.0f, 1.0f, 0.75f, 3, (0.875f + 1.0f) * 0.5f},
        {1, 0.5f, 0.0f, 1.0f, 0.75f, 1, 0.75f},   // a fraction alone is one full octave
        {1, 0.0f, 0.0f, 1.0f, 0.75f, 0, 0.5f},    // no octave: the middle
        {1, -3.0f, 0.0f, 1.0f, 0.75f, 0, 0.5f},
        // turbulence takes |2n - 1| = 0.5 and is not remapped: 0.5 + 0.25
        {2, 2.0f, 0.0f, 1.0f, 0.25f, 2, 0.75f},
        {2, 0.0f, 0.0f, 1.0f, 0.25f, 0, 0.0f},
        {7, 2.0f, 0.0f, 1.0f, 0.25f, 0, 0.0f},    // unknown type
        // thresholds 0.25 and 0.75: below, above, inside
        {0, 1.0f, 0.25f, 0.75f, 0.125f, 1, 0.0f},
        {0, 1.0f, 0.25f, 0.75f, 0.875f, 1, 1.0f},
        {0, 1.0f, 0.25f, 0.75f, 0.625f, 1, 0.75f},
        // equal thresholds: the value itself stays, either side snaps
        {0, 1.0f, 0.5f, 0.5f, 0.5f, 1, 0.5f},
        {0, 1.0f, 0.5f, 0.5f, 0.375f, 1, 0.0f},
        {0, 1.0f, 0.5f, 0.5f, 0.625f, 1, 1.0f},
        // a level count that would never end is cut off
        {1, 1e30f, 0.0f, 2.0f, 0.5f, 64, 0.25f},
    };
    for (const NoiseCase& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " levels " << c.levels << " n " << c.n);
        kestrel::ShaderInstance shader = diffuseVariant("120b7820");
        setNoise(shader, "diffuse_color", c.type, c.lo, c.hi, c.levels);
        shader.set("_ward_diffuse_color_Noise_color1", Float4(1.0f, 0.0f, 0.0f, 1.0f));
        shader.set("_ward_diffuse_color_Noise_color2", Float4(0.0f, 1.0f, 0.0f, 1.0f));
        RecordingServices services;
        services.noiseAnswer = c.n;
        const Float3 weight = diffuseWeight(shader, services);
        EXPECT_EQ(services.log.count("noise"), c.expectedCalls);
        expectFloat3(weight, Float3((1.0f - c.v) * kInvPi, c.v * kInvPi, 0.0f));
    }
}

TEST(WardGraphVariants, NoiseSamplesTheTransformedObjectPointPerOctave) {
    kestrel::ShaderInstance shader = diffuseVariant("120b7820");
    setNoise(shader, "diffuse_color", 1, 0.0f, 1.0f, 2.5f, 4.0f, 0.375f);
    ksi::Float4x4 m = identity4();
    m.m[0] = 2.0f;   // x doubles
    m.m[12] = 1.0f;  // then moves by 1
    shader.set("_ward_diffuse_color_Noise_xform", m);
    RecordingServices services;
    ksi::ShadingRecord record = variantRecord();
    record.objectPosition = {1.5f, 2.0f, -4.0f};
    record.sampleDir = {0.0f, 0.0f, 1.0f};
    shader.material().evaluateBsdf(&services, &record);
    // p = ((2 * 1.5 + 1, 2, -4)) / 4 = (1, 0.5, -1), then frequencies 1, 2, 4.
    ASSERT_EQ(services.log.count("noise"), 3);
    for (int octave = 0; octave < 3; ++octave) {
        const float f = static_cast<float>(1 << octave);
        EXPECT_EQ(services.log.args("noise", octave), (std::vector<float>{f, 0.5f * f, -f, 0.375f}));
    }
}

// ---------------------------------------------------------------------------------------------
// Tile: f05db29e, diffuse_color <- Tile(brick <- UnifiedBitmap, mortar <- UnifiedBitmap).
// Counts 3.96875 and gaps 0.03125 make cells of exactly 1/4 with a gap of 1/8 cell, so bricks
// cover [0.125, 0.875] of each cell along u and v.

const Float4 kBrick(0.75f, 0.5f, 0.25f, 1.0f);
const Float4 kMortar(0.0f, 0.125f, 1.0f, 1.0f);

struct TileSetup {
    RecordingImageTexture brick, mortar;
    kestrel::ShaderInstance shader = diffuseVariant("f05db29e");
    TileSetup() {
        brick.texel = kBrick;
        mortar.texel = kMortar;
        setBitmap(shader, "diffuse_color_Tile_brickColor", &brick);
        setBitmap(shader, "diffuse_color_Tile_mortarColor", &mortar);
        const std::string p = "_ward_diffuse_color_Tile_";
        shader.set(p + "xform", identity4());
        shader.set(p + "verticalCount", 3.96875f);
        shader.set(p + "horizontalCount", 3.96875f);
        shader.set(p + "horizontalGap", 0.03125f);
        shader.set(p + "verticalGap", 0.03125f);
        shader.set(p + "perRow", int32_t{2});
        shader.set(p + "perColumn", int32_t{1});
        shader.set(p + "changeRow", 0.5f);
        shader.set(p + "changeColumn", 1.0f);
    }
    void set(const std::string& suffix, const kestrel::ParamValue& value) {
        shader.set("_ward_diffuse_color_Tile_" + suffix, value);
    }
    Float3 at(Float2 uv, float noise1 = 0.5f) {
        RecordingServices services;
        services.noiseAnswer = 0.5f;  // no edge jitter
        services.onNoise1D = [noise1](float) { return noise1; };
        return diffuseWeight(shader, services, uv);
    }
};

Float3 seen(Float4 c) { return Float3(c.x * kInvPi, c.y * kInvPi, c.z * kInvPi); }

TEST(WardGraphVariants, TileRowsShiftAndWrap) {
    struct Case {
        const char* what;
        Float2 uv;
        bool repeatX;
        Float3 expected;
        float horizontalCount = 3.96875f, horizontalGap = 0.03125f, randomShift = 0.0f, lineShift = 0.0f;
    };
    const Case cases[] = {
        {"brick centre", {0.125f, 0.125f}, false, seen(kBrick)},
        {"vertical joint", {0.01f, 0.125f}, false, seen(kMortar)},
        {"horizontal joint", {0.125f, 0.01f}, false, seen(kMortar)},
        // Row 1 is odd: shifted by half a brick, so u = 0.125 lands on a joint.
        {"odd row shifted", {0.125f, 0.375f}, false, seen(kMortar)},
        {"odd row brick", {0.25f, 0.375f}, false, seen(kBrick)},
        // u = 0.05 sits at 0.2 of a brick; the odd row's shift 0.25 + 0.5 carries it to 0.95, a joint.
        {"odd row line shift", {0.05f, 0.375f}, false, seen(kMortar), 3.96875f, 0.03125f, 0.0f, 0.25f},
        // u = 1 is inside; its whole part widens the edge filter past a cell, which leaves
        // 1 - 2 gaps of coverage on each axis: m = 0.75 * 0.75.
        {"u exactly 1 is inside", {1.0f, 0.125f}, false,
         seen(Float4(0.4375f * 0.0f + 0.5625f * 0.75f, 0.4375f * 0.125f + 0.5625f * 0.5f,
                     0.4375f * 1.0f + 0.5625f * 0.25f, 1.0f))},
        {"cut off past 1", {1.125f, 0.125f}, false, Float3(0.0f)},
        {"cut off below 0", {-0.875f, 0.125f}, false, Float3(0.0f)},
        {"wrapped past 1", {1.125f, 0.125f}, true, seen(kBrick)},
        {"wrapped below 0", {-0.99f, 0.125f}, true, seen(kMortar)},
        // Cells of 2 along u with a gap of 1/8 cell and a filter of 1/2 cell; the random shift
        // -0.5 x 0.875 puts u = 1 at 1/16 of a cell: the pulse rises (1/16 + 3/8) / (1/2) = 7/8 of
        // the way, so m = 7/8 x 3/4.
        {"filtered edge of a randomly shifted row", {1.0f, 0.125f}, false,
         seen(Float4(0.4921875f, 0.37109375f, 0.5078125f, 1.0f)), 0.25f, 0.25f, 0.875f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TileSetup tile;
        tile.set("repeatX", c.repeatX);
        tile.set("horizontalCount", c.horizontalCount);
        tile.set("horizontalGap", c.horizontalGap);
        tile.set("randomShift", c.randomShift);
        tile.set("lineShift", c.lineShift);
        expectFloat3(tile.at(c.uv), c.expected);
    }
}

TEST(WardGraphVariants, TileHolesAndVariance) {
    struct Case {
        const char* what;
        int32_t holes;
        float colorVariance, fadeVariance, noise1;
        Float3 expected;
    };
    const Case cases[] = {
        {"no holes", 0, 0.0f, 0.0f, 0.9f, seen(kBrick)},
        {"all holes", 100, 0.0f, 0.0f, 0.5f, seen(kMortar)},
        // tau = 1 / 4: sigma = 2 n - 1 is 0 (kept), 0.5 (hole), exactly tau (hole), -0.25 -> 1/16 (kept)
        {"sigma below tau", 3, 0.0f, 0.0f, 0.5f, seen(kBrick)},
        {"sigma above tau", 3, 0.0f, 0.0f, 0.75f, seen(kMortar)},
        {"sigma equal to tau", 3, 0.0f, 0.0f, 0.625f, seen(kMortar)},
        {"negative sigma squared", 3, 0.0f, 0.0f, 0.375f, seen(kBrick)},
        // 2n - 1 = -0.5: colour 1 - 0.5 * 4 clamps to 0; fade 1 - 0.5 = 0.5; both 0.75 * 0.5
        {"colour variance clamps", 0, 4.0f, 0.0f, 0.25f, Float3(0.0f)},
        {"colour clamps to one", 0, 4.0f, 0.0f, 0.75f, seen(Float4(1.0f, 1.0f, 0.75f, 1.0f))},
        {"fade variance", 0, 0.0f, 1.0f, 0.25f, seen(kBrick * 0.5f)},
        {"both variances", 0, 0.5f, 1.0f, 0.25f, seen(kBrick * 0.375f)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TileSetup tile;
        tile.set("holes", c.holes);
        tile.set("colorVariance", c.colorVariance);
        tile.set("fadeVariance", c.fadeVariance);
        expectFloat3(tile.at({0.125f, 0.125f}, c.noise1), c.expected);
    }
}

TEST(WardGraphVariants, TileRowAndColumnEdits) {
    // At (0.2, 0.375), one-based row 2: plain cells put u at 0.3 of a brick (inside); a row edit
    // halves the brick width, which moves u to 0.1 of a cell whose gap is now a quarter (joint).
    struct Case {
        const char* what;
        uint8_t rowEdit, columnEdit;
        int32_t perRow;
        Float2 uv;
        Float3 expected;
    };
    const Case cases[] = {
        {"no edit", 0, 0, 2, {0.2f, 0.375f}, seen(kBrick)},
        {"edited row", 1, 0, 2, {0.2f, 0.375f}, seen(kMortar)},
        {"row not a multiple", 1, 0, 3, {0.2f, 0.375f}, seen(kBrick)},
        {"row edit byte 2 disables", 2, 0, 2, {0.2f, 0.375f}, seen(kBrick)},
        {"column edit byte 2 disables", 1, 2, 2, {0.2f, 0.375f}, seen(kBrick)},
        {"count of zero is harmless", 1, 0, 0, {0.2f, 0.375f}, seen(kBrick)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TileSetup tile;
        tile.set("perRow", c.perRow);
        // The registry declares the edit flags as bytes; write the raw byte the host may send.
        *static_cast<uint8_t*>(tile.shader.parameter("_ward_diffuse_color_Tile_useRowEdit").address) = c.rowEdit;
        *static_cast<uint8_t*>(tile.shader.parameter("_ward_diffuse_color_Tile_useColumnEdit").address) = c.columnEdit;
        expectFloat3(tile.at(c.uv), c.expected);
    }
}

TEST(WardGraphVariants, TileIdentifiesBricksForItsRandomLookups) {
    // Four bricks of 1/4 per row: id = (column + 4) (row + 1) + seed + 0.5, except the brick that
    // wraps past the end of a row, which counts as column 0. The row's random shift is looked up
    // at row + 0.5 + seed first; holes look the id up once more before the colour and fade do.
    struct Case {
        const char* what;
        Float2 uv;
        int32_t holes;
        std::vector<float> lookups;
    };
    const Case cases[] = {
        {"first brick", {0.125f, 0.125f}, 0, {3.5f, 7.5f, 7.5f}},
        {"second brick", {0.375f, 0.125f}, 0, {3.5f, 8.5f, 8.5f}},
        {"wrapping brick of an odd row", {0.95f, 0.375f}, 0, {4.5f, 11.5f, 11.5f}},
        {"with holes", {0.125f, 0.125f}, 5, {3.5f, 7.5f, 7.5f, 7.5f}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TileSetup tile;
        tile.set("randomSeed", int32_t{3});
        tile.set("holes", c.holes);
        RecordingServices services;
        services.noiseAnswer = 0.5f;
        diffuseWeight(tile.shader, services, c.uv);
        std::vector<float> lookups;
        for (const HostCall& call : services.log.calls()) {
            if (call.operation == "noise1D") lookups.push_back(call.args[0]);
        }
        EXPECT_EQ(lookups, c.lookups);
        // The edge jitter looks up (u, v) and then (v, u), each over a seventeenth of a brick.
        EXPECT_NEAR(services.log.args("noise2D", 1)[0], c.uv.y * 68.0f, 1e-4f);
        EXPECT_NEAR(services.log.args("noise2D", 1)[1], c.uv.x * 68.0f, 1e-4f);
    }
}

// ---------------------------------------------------------------------------------------------
// UnifiedBitmap: 82261344 feeds the red of its cutout bitmap straight into the cutout value, so
// an opaque-otherwise surface transmits 1 - red.

TEST(WardGraphVariants, UnifiedBitmapPlacementAndAmount) {
    struct Case {
        const char* what;
        float row2u, row3u, amount;
        Float2 lookedUp;
        float transmittance;
    };
    // The texture's red is u' itself; uv is (0.25, 0.5).
    const Case cases[] = {
        {"identity", 0.0f, 0.0f, 1.0f, {0.25f, 0.5f}, 0.75f},
        {"third row translates", 0.5f, 0.0f, 1.0f, {0.75f, 0.5f}, 0.25f},
        {"fourth row translates", 0.0f, 0.5f, 1.0f, {0.75f, 0.5f}, 0.25f},
        {"both rows add", 0.25f, 0.5f, 1.0f, {1.0f, 0.5f}, 0.0f},
        {"amount scales", 0.0f, 0.0f, 0.5f, {0.25f, 0.5f}, 0.875f},
        {"amount zero", 0.0f, 0.0f, 0.0f, {0.25f, 0.5f}, 1.0f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kestrel::ShaderInstance shader = createShader("kestrel_Mtl_Ward_82261344");
        RecordingImageTexture texture;
        texture.function = [](Float2 uv) { return Float4(uv.x, 0.0f, 0.0f, 1.0f); };
        setBitmap(shader, "cutout_map", &texture, c.amount);
        ksi::Float4x4 m = identity4();
        m.m[8] = c.row2u;
        m.m[12] = c.row3u;
        shader.set("_ward_cutout_map_UnifiedBitmap_xform", m);
        shader.set("_ward_cutout_map_UnifiedBitmap_isCube", true);  // no effect
        shader.set("u_cutoutMapEnable", true);
        shader.set("u_cutoutAmount", 0.25f);  // the graph's own amount applies instead
        RecordingServices services;
        ksi::ShadingRecord record = variantRecord({0.25f, 0.5f});
        shader.material().shadowTransmittance(&services, &record);
        ASSERT_EQ(texture.lookups.size(), 1u);
        EXPECT_EQ(texture.lookups[0].x, c.lookedUp.x);
        EXPECT_EQ(texture.lookups[0].y, c.lookedUp.y);
        expectFloat3(record.outTransmittance, Float3(c.transmittance));
    }
}

// ---------------------------------------------------------------------------------------------
// Graph wiring

TEST(WardGraphVariants, EachPortReceivesItsChild) {
    // 33632204, diffuse: the root picks color2 (its noise is 1), the color2 Noise picks color1
    // (its noise is 0); the phases tell the nodes apart.
    kestrel::ShaderInstance shader = diffuseVariant("33632204");
    std::map<std::string, RecordingImageTexture> textures;
    float shade = 0.0625f;
    for (const char* a : {"color1", "color2"}) {
        for (const char* b : {"color1", "color2"}) {
            const std::string path = std::string("diffuse_color_Noise_") + a + "_Noise_" + b;
            textures[path].texel = Float4(shade, shade, shade, 1.0f);
            shade *= 2.0f;
            setBitmap(shader, path, &textures[path]);
        }
    }
    setNoise(shader, "diffuse_color", 0, 0.0f, 1.0f, 1.0f, 1.0f, 1.0f);
    setNoise(shader, "diffuse_color_Noise_color1", 0, 0.0f, 1.0f, 1.0f, 1.0f, 2.0f);
    setNoise(shader, "diffuse_color_Noise_color2", 0, 0.0f, 1.0f, 1.0f, 1.0f, 3.0f);
    RecordingServices services;
    services.onNoise = [](const Float4& p) { return p.w == 1.0f ? 1.0f : 0.0f; };
    // color2 -> color1 is the third texture: 0.0625 * 4.
    expectFloat3(diffuseWeight(shader, services), Float3(0.25f * kInvPi));
    // Every node ran once, children first: the four bitmaps, then the inner Noises, then the root.
    EXPECT_EQ(services.log.count("noise"), 3);
    EXPECT_EQ(services.log.args("noise", 2).back(), 1.0f);

    // b9aac246: Noise picks color1 (a Tile), whose brick comes from its brickColor bitmap.
    kestrel::ShaderInstance bricks = diffuseVariant("b9aac246");
    RecordingImageTexture brick, mortar, other;
    brick.texel = kBrick;
    mortar.texel = kMortar;
    other.texel = Float4(1.0f);
    setBitmap(bricks, "diffuse_color_Noise_color1_Tile_brickColor", &brick);
    setBitmap(bricks, "diffuse_color_Noise_color1_Tile_mortarColor", &mortar);
    setBitmap(bricks, "diffuse_color_Noise_color2_Tile_brickColor", &other);
    setBitmap(bricks, "diffuse_color_Noise_color2_Tile_mortarColor", &other);
    setNoise(bricks, "diffuse_color", 0, 0.0f, 1.0f);
    for (const char* port : {"color1", "color2"}) {
        const std::string p = std::string("_ward_diffuse_color_Noise_") + port + "_Tile_";
        bricks.set(p + "xform", identity4());
        bricks.set(p + "verticalCount", 3.96875f);
        bricks.set(p + "horizontalCount", 3.96875f);
        bricks.set(p + "horizontalGap", 0.03125f);
        bricks.set(p + "verticalGap", 0.03125f);
    }
    RecordingServices brickServices;
    brickServices.noiseAnswer = 0.5f;
    brickServices.onNoise = [](const Float4&) { return 0.0f; };
    expectFloat3(diffuseWeight(bricks, brickServices, {0.125f, 0.125f}), seen(kBrick));
    expectFloat3(diffuseWeight(bricks, brickServices, {0.01f, 0.125f}), seen(kMortar));
}

TEST(WardGraphVariants, DiffuseGraphOnlyWhenTheMapIsEnabled) {
    kestrel::ShaderInstance shader = diffuseVariant("120b7820");
    setNoise(shader, "diffuse_color", 0, 0.0f, 1.0f);
    shader.set("_ward_diffuse_color_Noise_color1", Float4(1.0f));
    shader.set("_ward_diffuse_color_Noise_color2", Float4(1.0f));
    shader.set("u_diffuseMapEnable", false);
    shader.set("u_diffuseColor", Float3(0.5f, 0.25f, 0.125f));
    RecordingServices services;
    expectFloat3(diffuseWeight(shader, services), Float3(0.5f, 0.25f, 0.125f) * kInvPi);
    EXPECT_EQ(services.log.count("noise"), 0);
    // Image fade 1 blends the graph in by its alpha times u_imageFade.
    shader.set("u_diffuseMapEnable", true);
    shader.set("u_imageFadeEnable", int32_t{1});
    shader.set("u_imageFade", 0.5f);
    shader.set("_ward_diffuse_color_Noise_color1", Float4(1.0f, 1.0f, 1.0f, 0.5f));
    services.noiseAnswer = 0.0f;
    const float f = 0.25f;
    expectFloat3(diffuseWeight(shader, services),
                 Float3(f * 1.0f + (1.0f - f) * 0.5f, f * 1.0f + (1.0f - f) * 0.25f, f * 1.0f + (1.0f - f) * 0.125f) *
                     kInvPi);
}

// The normal in the sample frame: with u_cosineUsesBump the sample cosine of the direction
// straight up is the bumped normal's z.
float bumpedCosine(const kestrel::ShaderInstance& shader, RecordingServices& services, Float2 uv) {
    ksi::ShadingRecord record = variantRecord(uv);
    record.sampleDir = {0.0f, 0.0f, 1.0f};
    shader.material().evaluateBsdf(&services, &record);
    return record.sampleCos;
}

TEST(WardGraphVariants, NormalMapsAreHeightMaps) {
    // Heights r + g + b = 10 u: a slope of -0.01 per step of 0.001 along u, so
    // N = (0, 0, 1) + (-0.01, 0, 0) * amount * 3.33, normalised.
    auto expectedCosine = [](float amount) {
        const float du = 10.0f * 0.5f - 10.0f * (0.5f + 0.001f);
        const float x = du * (amount * 3.33f);
        return 1.0f / std::sqrt(x * x + 1.0f);
    };
    RecordingImageTexture ramp;
    ramp.function = [](Float2 uv) { return Float4(10.0f * uv.x, 0.0f, 0.0f, 1.0f); };

    // A variant without a normal graph reads its texture as heights.
    kestrel::ShaderInstance texture = createShader("kestrel_Mtl_Ward_120b7820");
    texture.set("u_cosineUsesBump", true);
    texture.set("u_normal0MapEnable", true);
    texture.set("u_normal0Amount", 2.0f);
    texture.bindTexture("u_normal0Map", &ramp);
    RecordingServices services;
    EXPECT_NEAR(bumpedCosine(texture, services, {0.5f, 0.5f}), expectedCosine(2.0f), 2e-6f);
    // The current Ward would read red 5 as a tangent-space slope and tilt the normal far more.
    EXPECT_LT(expectedCosine(2.0f), 1.0f);

    // A bitmap graph feeds both normal maps, each with its own amount.
    kestrel::ShaderInstance graph = createShader("kestrel_Mtl_Ward_f05db29e");
    graph.set("u_cosineUsesBump", true);
    setBitmap(graph, "normal0_map", &ramp);
    graph.set("u_normal1MapEnable", true);
    graph.set("u_normal1Amount", 1.0f);
    EXPECT_NEAR(bumpedCosine(graph, services, {0.5f, 0.5f}), expectedCosine(1.0f), 2e-6f);

    // A Noise of constants does not vary with uv: the bump is flat.
    kestrel::ShaderInstance flat = createShader("kestrel_Mtl_Ward_5ba0bfff");
    flat.set("u_cosineUsesBump", true);
    flat.set("u_normal0MapEnable", true);
    flat.set("u_normal0Amount", 5.0f);
    setNoise(flat, "normal0_map", 0, 0.0f, 1.0f);
    flat.set("_ward_normal0_map_Noise_color1", Float4(0.0f));
    flat.set("_ward_normal0_map_Noise_color2", Float4(1.0f));
    services.noiseAnswer = 0.3f;
    EXPECT_EQ(bumpedCosine(flat, services, {0.5f, 0.5f}), 1.0f);
    EXPECT_EQ(services.log.count("noise"), 3) << "three height samples";
}

// ---------------------------------------------------------------------------------------------
// The earlier revision

TEST(WardGraphVariants, NormalFacesTheRayAndFrontFollowsTheGeometry) {
    kestrel::ShaderInstance variant = createShader("kestrel_Mtl_Ward_ccb3a2e6");
    kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
    for (kestrel::ShaderInstance* s : {&variant, &ward}) {
        s->set("u_diffuseColor", Float3(0.5f));
        s->set("u_brdf00Reflectivity", 0.0f);
        s->set("u_brdf90Reflectivity", 0.0f);
    }
    // Seen from below: the variant turns its normal to the ray and reflects diffusely.
    RecordingServices services;
    ksi::ShadingRecord below = variantRecord({0.5f, 0.5f}, {0.0f, 0.0f, 1.0f});
    below.sampleDir = {0.0f, 0.0f, -1.0f};
    ksi::writeVarying(below, 36, Float3(1.0f, 0.0f, 0.0f));  // the Ward's tangent
    ksi::ShadingRecord belowWard = below;
    variant.material().evaluateBsdf(&services, &below);
    ward.material().evaluateBsdf(&services, &belowWard);
    expectFloat3(below.sampleWeight, Float3(0.5f * kInvPi));
    EXPECT_EQ(below.sampleCos, 1.0f);
    expectFloat3(belowWard.sampleWeight, Float3(0.0f));

    // A record that claims back-facing for a ray against the geometric normal: the variant counts
    // it as front. Transparency 0.5, translucency 0.5, no reflectance and a black diffuse tint:
    // front transmits T x tint = 0.25, back (1 - t) times that.
    for (kestrel::ShaderInstance* s : {&variant, &ward}) {
        s->set("u_diffuseColor", Float3(0.0f));
        s->set("u_transparency", true);
        s->set("u_transparencyValue", 0.5f);
        s->set("u_translucencyValue", 0.5f);
    }
    ksi::ShadingRecord shadow = variantRecord();
    shadow.frontFacing = 0;
    ksi::writeVarying(shadow, 36, Float3(1.0f, 0.0f, 0.0f));
    ksi::ShadingRecord shadowWard = shadow;
    variant.material().shadowTransmittance(&services, &shadow);
    ward.material().shadowTransmittance(&services, &shadowWard);
    expectFloat3(shadow.outTransmittance, Float3(0.25f));
    expectFloat3(shadowWard.outTransmittance, Float3(0.125f));
}

TEST(WardGraphVariants, BackSideLightsWithTheReversedNormalAndSamplesNoRefraction) {
    kestrel::ShaderInstance variant = createShader("kestrel_Mtl_Ward_ccb3a2e6");
    variant.set("u_transparency", true);
    variant.set("u_transparencyValue", 0.5f);
    variant.set("u_translucencyValue", 0.5f);
    variant.set("u_diffuseColor", Float3(0.5f));
    RecordingServices services;
    services.lights.push_back(RecordingServices::makeLight({0, 0, 1}, Float3(1.0f)));
    // From below: the faced normal is -z, the back-side loop asks for lights about +z.
    ksi::ShadingRecord record = variantRecord({0.5f, 0.5f}, {0.0f, 0.0f, 1.0f});
    variant.material().shade(&services, &record);
    ASSERT_EQ(services.log.count("getLightSamples"), 2);
    const std::vector<float> front = services.log.args("getLightSamples", 0);
    const std::vector<float> back = services.log.args("getLightSamples", 1);
    ASSERT_EQ(front.size(), back.size());
    EXPECT_EQ(std::vector<float>(front.end() - 3, front.end()), (std::vector<float>{-0.0f, -0.0f, -1.0f}));
    EXPECT_EQ(std::vector<float>(back.end() - 3, back.end()), (std::vector<float>{0.0f, 0.0f, 1.0f}));
    EXPECT_GT(services.log.count("traceGlossyTransmission"), 0) << "shade still refracts";

    // A refraction request draws a reflection sample instead.
    for (float u : {0.0f, 0.5f, 0.99f}) {
        RecordingServices sampler;
        sampler.randomQueue = {u, 0.3f, 0.7f};
        ksi::ShadingRecord sample = variantRecord();
        acceptLobes(sample, {ksi::kLobeSpecularTransmission});
        acceptLobes(sample, {ksi::kLobeGlossyReflection});
        variant.material().sampleBsdf(&sampler, &sample);
        EXPECT_NE(sample.sampleLobe, ksi::kLobeSpecularTransmission);
    }
}

TEST(WardGraphVariants, SamplingMatchesTheLobeAndEvaluation) {
    expectDirectionsFollowTheLobeDensity("kestrel_Mtl_Ward_33632204", 12);
    expectSamplingConsistentWithEvaluation("kestrel_Mtl_Ward_33632204", 12);
}

}  // namespace
