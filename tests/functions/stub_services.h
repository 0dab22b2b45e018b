// A minimal render-services object for testing shading functions directly.
#pragma once

#include <deque>
#include <functional>

#include "frame/host_interfaces.h"

namespace kestrel::testing {

using ksi::Float3;

// Services for the function tests: noise, feature points and lattice values from functions,
// random numbers from a queue (zero once it is empty); every other service answers zero.
class StubServices final : public ksi::RenderServices {
public:
    const ksi::LightSample* getLightSamples(int32_t, const Float3*, const Float3*) override { return nullptr; }
    Float3* ambientIrradiance(Float3* out, const Float3*, const Float3*) override { return zero(out); }
    Float3* traceShadow(Float3* out, const Float3*, const Float3*) override { return zero(out); }
    Float3* traceRay(Float3* out, int32_t, const Float3*, const Float3*, float) override { return zero(out); }
    Float3* traceReflection(Float3* out, const Float3*, const Float3*, float) override { return zero(out); }
    ksi::Float4* traceTransmission(ksi::Float4* out, const Float3*, const Float3*, float) override {
        *out = ksi::Float4(0.0f);
        return out;
    }
    Float3* traceAnisotropicReflection(Float3* out, const Float3*, const Float3*, const Float3*, const Float3*, float,
                                       float, float) override {
        return zero(out);
    }
    Float3* traceGlossyReflection(Float3* out, const Float3*, const Float3*, float, float) override { return zero(out); }
    Float3* traceGlossyTransmission(Float3* out, const Float3*, const Float3*, float, float) override {
        return zero(out);
    }
    Float3* ambientOcclusion(Float3* out, const Float3*, const Float3*, float) override { return zero(out); }
    Float3* indirectIrradiance(Float3* out, const Float3*, const Float3*, float) override { return zero(out); }
    float random() override { return next(); }
    ksi::Float2* random2D(ksi::Float2* out) override {
        const float u = next();
        *out = ksi::Float2(u, next());
        return out;
    }
    float noise(const ksi::Float4* point) override { return noise4 ? noise4(*point) : 0.0f; }
    float noise3D(const Float3* point) override { return noise3 ? noise3(*point) : 0.0f; }
    float noise2D(const ksi::Float2*) override { return 0.0f; }
    float noise1D(float) override { return 0.0f; }
    float latticeValue(const Float3* point) override { return lattice ? lattice(*point) : 0.0f; }
    Float3* cellFeaturePoint(Float3* out, const Float3* cell) override {
        *out = feature ? feature(*cell) : Float3(0.0f);
        return out;
    }
    std::function<Float3(const Float3&)> feature;
    std::function<float(const Float3&)> lattice;
    std::function<float(const ksi::Float4&)> noise4;
    std::function<float(const Float3&)> noise3;
    std::deque<float> randoms;

private:
    float next() {
        if (randoms.empty()) return 0.0f;
        const float u = randoms.front();
        randoms.pop_front();
        return u;
    }
    static Float3* zero(Float3* out) {
        *out = Float3(0.0f);
        return out;
    }
};


}  // namespace kestrel::testing
