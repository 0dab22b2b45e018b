// XRite's shade cost, which is its flake grid: up to 28 x 28 cells with the defaults, each with a
// flake-map lookup and one or two cube lookups. The host answers every call with a constant, so
// the figures are the library's own work; "per_cell" divides the time by the grid's cells, and
// "allocations" counts heap allocations made while shading (expected 0).
#include <benchmark/benchmark.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "plugin_library.h"
#include "shader_instance.h"

namespace {

std::atomic<long> gAllocations{0};

}  // namespace

// Counting replacements of the global allocation functions; the library binds to them too. GCC
// cannot see that these free() calls pair with the malloc() above.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

namespace {

using ksi::Float2;
using ksi::Float3;
using ksi::Float4;

// A flake whose normal is the surface normal, so every cell glints: the full three lookups.
class ConstantImage final : public ksi::ImageTexture {
public:
    Float4 texel{0.5f, 0.5f, 1.0f, 1.0f};
    void lookup(Float4* out, const Float2*) override { *out = texel; }
};

// Cube light below a channel sum of 3, so both flake terms take their power branch.
class ConstantCube final : public ksi::CubeTexture {
public:
    Float4 texel{0.5f, 0.5f, 0.5f, 1.0f};
    void lookup(Float4* out, const Float3*) override { *out = texel; }
};

class ConstantServices final : public ksi::RenderServices {
public:
    const ksi::LightSample* getLightSamples(int32_t, const Float3*, const Float3*) override { return nullptr; }
    Float3* ambientIrradiance(Float3* out, const Float3*, const Float3*) override { return fill(out); }
    Float3* traceShadow(Float3* out, const Float3*, const Float3*) override { return fill(out); }
    Float3* traceRay(Float3* out, int32_t, const Float3*, const Float3*, float) override { return fill(out); }
    Float3* traceReflection(Float3* out, const Float3*, const Float3*, float) override { return fill(out); }
    Float4* traceTransmission(Float4* out, const Float3*, const Float3*, float) override {
        *out = Float4(0.5f, 0.5f, 0.5f, 1.0f);
        return out;
    }
    Float3* traceAnisotropicReflection(Float3* out, const Float3*, const Float3*, const Float3*, const Float3*, float,
                                       float, float) override {
        return fill(out);
    }
    Float3* traceGlossyReflection(Float3* out, const Float3*, const Float3*, float, float) override { return fill(out); }
    Float3* traceGlossyTransmission(Float3* out, const Float3*, const Float3*, float, float) override {
        return fill(out);
    }
    Float3* ambientOcclusion(Float3* out, const Float3*, const Float3*, float) override {
        *out = Float3(1.0f);
        return out;
    }
    Float3* indirectIrradiance(Float3* out, const Float3*, const Float3*, float) override { return fill(out); }
    float random() override { return 0.5f; }
    Float2* random2D(Float2* out) override {
        *out = Float2(0.5f);
        return out;
    }
    float noise(const Float4*) override { return 0.5f; }
    float noise3D(const Float3*) override { return 0.5f; }
    float noise2D(const Float2*) override { return 0.5f; }
    float noise1D(float) override { return 0.5f; }
    float latticeValue(const Float3*) override { return 0.5f; }
    Float3* cellFeaturePoint(Float3* out, const Float3*) override {
        *out = Float3(0.0f);
        return out;
    }

private:
    static Float3* fill(Float3* out) {
        *out = Float3(0.25f);
        return out;
    }
};

const kestrel::PluginLibrary& library() {
    static const kestrel::PluginLibrary loaded(KESTREL_BENCH_LIBRARY_PATH);
    return loaded;
}

// A camera ray straight down onto the surface at the origin from `distance` away.
ksi::ShadingRecord recordAt(float distance) {
    ksi::ShadingRecord record;
    std::memset(&record, 0, sizeof record);
    record.rayOrigin = {0.1f, 0.2f, distance};
    record.rayDir = {0.0f, 0.0f, -1.0f};
    record.position = {0.1f, 0.2f, 0.0f};
    record.normal = record.geomNormal = record.objectNormal = {0.0f, 0.0f, 1.0f};
    record.frameMatrix = ksi::Float4x4::identity();
    record.objectMatrix = ksi::Float4x4::identity();
    record.rayType = ksi::kRayCamera;
    record.frontFacing = 1;
    return record;
}

// distance 1 with the defaults: a footprint of 1.28 cells, 6 x 6 after flakeFactor 4; distance
// 100 reaches the cap, 28 x 28.
void shadePaint(benchmark::State& state, float distance, bool solid, int cells) {
    kestrel::ShaderInstance paint(library().findClass("XRite"));
    ConstantImage flakes;
    ConstantCube cube;
    paint.bindTexture("flakeNormalTexture", &flakes);
    paint.bindTexture("diffuseCube", &cube);
    paint.bindTexture("specularCube", &cube);
    paint.bindTexture("reflectCube", &cube);
    paint.set("xriteIsSolid", solid);
    ConstantServices services;
    const ksi::MaterialShader& material = paint.material();
    ksi::ShadingRecord record = recordAt(distance);

    const long before = gAllocations.load();
    for (auto _ : state) {
        material.shade(&services, &record);
        benchmark::DoNotOptimize(record.outColor);
        benchmark::ClobberMemory();
    }
    state.counters["allocations"] = static_cast<double>(gAllocations.load() - before);
    state.counters["cells"] = cells;
    if (cells > 0) {
        state.counters["per_cell"] = benchmark::Counter(
            cells, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    }
}

void BM_XRiteShadeNear(benchmark::State& state) { shadePaint(state, 1.0f, false, 36); }
void BM_XRiteShadeFar(benchmark::State& state) { shadePaint(state, 100.0f, false, 784); }
void BM_XRiteShadeSolid(benchmark::State& state) { shadePaint(state, 100.0f, true, 0); }

BENCHMARK(BM_XRiteShadeNear);
BENCHMARK(BM_XRiteShadeFar);
BENCHMARK(BM_XRiteShadeSolid);

}  // namespace

BENCHMARK_MAIN();
