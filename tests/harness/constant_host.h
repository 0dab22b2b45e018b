// A renderer double that answers every call with a constant and logs nothing: the host of the
// benchmarks, the allocation test and the thread test, where the recording host's logging would
// dominate or race. One light, and tiny in-memory textures of the three kinds.
#pragma once

#include <kestrel/kestrel.h>

namespace kestrel::harness {

class ConstantServices final : public ksi::RenderServices {
public:
    ConstantServices();
    ~ConstantServices() = default;

    const ksi::LightSample* getLightSamples(int32_t selector, const ksi::Float3* position,
                                            const ksi::Float3* normal) override;
    ksi::Float3* ambientIrradiance(ksi::Float3* out, const ksi::Float3* position, const ksi::Float3* normal) override;
    ksi::Float3* traceShadow(ksi::Float3* out, const ksi::Float3* from, const ksi::Float3* to) override;
    ksi::Float3* traceRay(ksi::Float3* out, int32_t rayType, const ksi::Float3* origin, const ksi::Float3* direction,
                          float weight) override;
    ksi::Float3* traceReflection(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                 float weight) override;
    ksi::Float4* traceTransmission(ksi::Float4* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                   float weight) override;
    ksi::Float3* traceAnisotropicReflection(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                            const ksi::Float3* tangent, const ksi::Float3* bitangent, float roughnessU,
                                            float roughnessV, float weight) override;
    ksi::Float3* traceGlossyReflection(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                       float roughness, float weight) override;
    ksi::Float3* traceGlossyTransmission(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                         float roughness, float weight) override;
    ksi::Float3* ambientOcclusion(ksi::Float3* out, const ksi::Float3* position, const ksi::Float3* normal,
                                  float weight) override;
    ksi::Float3* indirectIrradiance(ksi::Float3* out, const ksi::Float3* position, const ksi::Float3* normal,
                                    float weight) override;
    float random() override;
    ksi::Float2* random2D(ksi::Float2* out) override;
    float noise(const ksi::Float4* point) override;
    float noise3D(const ksi::Float3* point) override;
    float noise2D(const ksi::Float2* point) override;
    float noise1D(float x) override;
    float latticeValue(const ksi::Float3* latticePoint) override;
    ksi::Float3* cellFeaturePoint(ksi::Float3* out, const ksi::Float3* cellCentre) override;

private:
    ksi::LightSample light_;
};

// A 2 x 2 texture held in memory, read with the nearest texel and wrapping. Coordinates that are
// not finite read texel 0.
class TinyImageTexture final : public ksi::ImageTexture {
public:
    ~TinyImageTexture() = default;
    void lookup(ksi::Float4* out, const ksi::Float2* uv) override;
};

class TinyCubeTexture final : public ksi::CubeTexture {
public:
    ~TinyCubeTexture() = default;
    void lookup(ksi::Float4* out, const ksi::Float3* direction) override;
};

class TinyDataTexture final : public ksi::DataTexture {
public:
    ~TinyDataTexture() = default;
    void fetch(ksi::Float4* out, float u, float v) override;
};

// One texture object of each kind, shared by every shader of a program.
struct TinyTextures {
    TinyImageTexture image;
    TinyCubeTexture cube;
    TinyDataTexture data;
};

}  // namespace kestrel::harness
