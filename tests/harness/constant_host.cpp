#include "constant_host.h"

#include <cmath>
#include <cstring>

namespace kestrel::harness {

namespace {

constexpr ksi::Float4 kTexels[4] = {
    {0.8f, 0.4f, 0.2f, 1.0f}, {0.2f, 0.6f, 0.3f, 0.5f}, {0.5f, 0.5f, 0.9f, 1.0f}, {0.1f, 0.1f, 0.1f, 0.25f}};

// Index 0 or 1 of a wrapped coordinate; anything not finite reads 0.
int wrapIndex(float coordinate) {
    if (!std::isfinite(coordinate)) return 0;
    const float f = coordinate - std::floor(coordinate);
    return f < 0.5f ? 0 : 1;
}

}  // namespace

ConstantServices::ConstantServices() {
    std::memset(&light_, 0, sizeof light_);
    // A light above and to the side of the surface, so diffuse and specular terms both see it.
    light_.direction = {0.267261f, 0.534522f, 0.801784f};
    light_.specularScale = 1.0f;
    light_.color = {1.0f, 0.9f, 0.8f};
    light_.shadow = {1.0f, 1.0f, 1.0f};
    light_.shadowedColor = light_.color;
    light_.kind = 0;
    light_.next = nullptr;
}

const ksi::LightSample* ConstantServices::getLightSamples(int32_t, const ksi::Float3*, const ksi::Float3*) {
    return &light_;
}
ksi::Float3* ConstantServices::ambientIrradiance(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*) {
    *out = {0.1f, 0.1f, 0.1f};
    return out;
}
ksi::Float3* ConstantServices::traceShadow(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*) {
    *out = {1.0f, 1.0f, 1.0f};
    return out;
}
ksi::Float3* ConstantServices::traceRay(ksi::Float3* out, int32_t, const ksi::Float3*, const ksi::Float3*, float) {
    *out = {0.3f, 0.4f, 0.5f};
    return out;
}
ksi::Float3* ConstantServices::traceReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) {
    *out = {0.3f, 0.4f, 0.5f};
    return out;
}
ksi::Float4* ConstantServices::traceTransmission(ksi::Float4* out, const ksi::Float3*, const ksi::Float3*, float) {
    *out = {0.3f, 0.4f, 0.5f, 1.0f};
    return out;
}
ksi::Float3* ConstantServices::traceAnisotropicReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*,
                                                          const ksi::Float3*, const ksi::Float3*, float, float, float) {
    *out = {0.3f, 0.4f, 0.5f};
    return out;
}
ksi::Float3* ConstantServices::traceGlossyReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float,
                                                     float) {
    *out = {0.3f, 0.4f, 0.5f};
    return out;
}
ksi::Float3* ConstantServices::traceGlossyTransmission(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float,
                                                       float) {
    *out = {0.3f, 0.4f, 0.5f};
    return out;
}
ksi::Float3* ConstantServices::ambientOcclusion(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) {
    *out = {0.9f, 0.9f, 0.9f};
    return out;
}
ksi::Float3* ConstantServices::indirectIrradiance(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) {
    *out = {0.2f, 0.2f, 0.2f};
    return out;
}
float ConstantServices::random() { return 0.375f; }
ksi::Float2* ConstantServices::random2D(ksi::Float2* out) {
    *out = {0.375f, 0.625f};
    return out;
}
float ConstantServices::noise(const ksi::Float4*) { return 0.5f; }
float ConstantServices::noise3D(const ksi::Float3*) { return 0.5f; }
float ConstantServices::noise2D(const ksi::Float2*) { return 0.5f; }
float ConstantServices::noise1D(float) { return 0.5f; }
float ConstantServices::latticeValue(const ksi::Float3*) { return 0.25f; }
ksi::Float3* ConstantServices::cellFeaturePoint(ksi::Float3* out, const ksi::Float3*) {
    *out = {0.1f, -0.2f, 0.3f};
    return out;
}

void TinyImageTexture::lookup(ksi::Float4* out, const ksi::Float2* uv) {
    *out = kTexels[wrapIndex(uv->x) + 2 * wrapIndex(uv->y)];
}

void TinyCubeTexture::lookup(ksi::Float4* out, const ksi::Float3* direction) {
    *out = kTexels[(direction->x >= 0.0f ? 0 : 1) + (direction->y >= 0.0f ? 0 : 2)];
}

void TinyDataTexture::fetch(ksi::Float4* out, float u, float v) { *out = kTexels[wrapIndex(u) + 2 * wrapIndex(v)]; }

}  // namespace kestrel::harness
