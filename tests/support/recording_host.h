// A test double of the renderer: render services and texture objects that log every call the
// shaders make, with its arguments, and answer with scripted values.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include <kestrel/kestrel.h>

namespace kestrel::testing {

// One call the library made into the host: the operation's name and its arguments flattened
// (vectors component by component, ints converted to float, in argument order).
struct HostCall {
    std::string operation;
    std::vector<float> args;
};

class CallLog {
public:
    void add(std::string operation, std::vector<float> args) { calls_.push_back({std::move(operation), std::move(args)}); }
    const std::vector<HostCall>& calls() const { return calls_; }
    int count(const std::string& operation) const;
    // The arguments of the n-th call of an operation; fails the test when there is none.
    const std::vector<float>& args(const std::string& operation, int n = 0) const;
    std::vector<std::string> operations() const;
    void clear() { calls_.clear(); }

private:
    std::vector<HostCall> calls_;
};

class RecordingServices final : public ksi::RenderServices {
public:
    CallLog log;

    // Scripted answers. Light samples are linked in list order when getLightSamples is called.
    std::vector<ksi::LightSample> lights;
    ksi::Float3 ambientIrradianceAnswer{0.0f, 0.0f, 0.0f};
    ksi::Float3 shadowAnswer{1.0f, 1.0f, 1.0f};
    ksi::Float3 traceAnswer{0.0f, 0.0f, 0.0f};  // traceRay, traceReflection, the glossy traces
    ksi::Float4 transmissionAnswer{0.0f, 0.0f, 0.0f, 1.0f};
    ksi::Float3 occlusionAnswer{1.0f, 1.0f, 1.0f};
    ksi::Float3 indirectAnswer{0.0f, 0.0f, 0.0f};
    // random() and random2D() take numbers from the queue, then fall back to randomDefault.
    std::deque<float> randomQueue;
    float randomDefault = 0.5f;
    float noiseAnswer = 0.5f;
    float latticeAnswer = 0.5f;
    ksi::Float3 cellFeatureAnswer{0.0f, 0.0f, 0.0f};
    // Optional hooks that replace the constant answers.
    std::function<ksi::Float3(const ksi::Float3& from, const ksi::Float3& to)> onTraceShadow;
    std::function<float(const ksi::Float4& point)> onNoise;
    std::function<float(const ksi::Float2& point)> onNoise2D;
    std::function<float(float x)> onNoise1D;
    std::function<ksi::Float3(const ksi::Float3& cell)> onCellFeaturePoint;
    std::function<float(const ksi::Float3& point)> onLatticeValue;

    // A light sample with the given direction, colour and shadow; shadowedColor = colour x shadow.
    static ksi::LightSample makeLight(ksi::Float3 direction, ksi::Float3 color, ksi::Float3 shadow = ksi::Float3(1.0f),
                                      float specularScale = 1.0f, int32_t kind = 0);

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
    float nextRandom();
};

// Texture objects that log each coordinate and answer with a fixed texel or a function of the
// coordinate. With writeAlpha false they leave the caller's alpha as it was.
class RecordingImageTexture final : public ksi::ImageTexture {
public:
    ksi::Float4 texel{0.0f, 0.0f, 0.0f, 1.0f};
    bool writeAlpha = true;
    std::function<ksi::Float4(ksi::Float2)> function;
    std::vector<ksi::Float2> lookups;
    void lookup(ksi::Float4* out, const ksi::Float2* uv) override;
};

class RecordingCubeTexture final : public ksi::CubeTexture {
public:
    ksi::Float4 texel{0.0f, 0.0f, 0.0f, 1.0f};
    std::function<ksi::Float4(ksi::Float3)> function;
    std::vector<ksi::Float3> lookups;
    void lookup(ksi::Float4* out, const ksi::Float3* direction) override;
};

class RecordingDataTexture final : public ksi::DataTexture {
public:
    ksi::Float4 texel{0.0f, 0.0f, 0.0f, 1.0f};
    std::function<ksi::Float4(float u, float v)> function;
    std::vector<ksi::Float2> fetches;
    void fetch(ksi::Float4* out, float u, float v) override;
};

}  // namespace kestrel::testing
