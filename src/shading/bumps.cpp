#include "shading/bumps.h"

#include <cmath>

#include "frame/texture_lookup.h"
#include "shading/smooth_ramp.h"

namespace ksi {

void applyHeightBump(ShadingFrame& frame, const TextureHandle& map, const Float3x3& transform, Float2 uv,
                     float uvScale, float amount) {
    bumpFromHeights(frame, transformUv(uv, transform) * uvScale, amount, [&](Float2 x) {
        Float4 texel = lookupTexture(map, x);
        return texel.x + texel.y + texel.z;
    });
}

Float3 noiseBumpGradient(RenderServices* services, Float3 q, const ShadingFrame& frame) {
    constexpr float kSize = 2.6f;
    // The blur of the threshold follows the filter width of a fixed (0.5, 0.5, 0.5) footprint.
    const float filterWidth = std::fmax(0.5f / kSize, 1e-5f);
    const float blur = std::fmin(0.2f * filterWidth, 0.4f);
    auto n = [&](Float3 x) {
        Float4 point(x, 0.0f);
        return smoothRamp((services->noise(&point) + 1.0f) * 0.5f, 0.0f, 1.0f, blur);
    };
    Float3 p = q * (1.0f / kSize);
    float centre = n(p);
    return {(n(p + 0.1f * frame.T) - centre) / 0.1f, (n(p + 0.1f * frame.B) - centre) / 0.1f,
            (n(p + 0.1f * frame.N) - centre) / 0.1f};
}

void applyNoiseBump(ShadingFrame& frame, RenderServices* services, Float3 position, Float3 tiling, float amount) {
    Float3 q = position;
    float a = 0.5f;  // about z
    q = {q.x * std::cos(a) + q.y * std::sin(a), -q.x * std::sin(a) + q.y * std::cos(a), q.z};
    a = -0.6f;  // about y
    q = {q.x * std::cos(a) - q.z * std::sin(a), q.y, q.x * std::sin(a) + q.z * std::cos(a)};
    a = -0.6f;  // about x
    q = {q.x, q.y * std::cos(a) + q.z * std::sin(a), -q.y * std::sin(a) + q.z * std::cos(a)};
    Float3 g = noiseBumpGradient(services, q * tiling, frame);
    frame.N += amount * (g.x * frame.T + g.y * frame.B + g.z * frame.N);
}

}  // namespace ksi
