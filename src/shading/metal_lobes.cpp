#include "shading/metal_lobes.h"

#include <cmath>


namespace ksi {

namespace {
// Per-axis quadratic B-spline weights and their derivatives at the lattice points i, i+1, i+2.
struct AxisWeights {
    float base;  // i
    float w[3];
    float dw[3];
};

AxisWeights axisWeights(float c) {
    // Shifting far from the origin keeps the lattice free of the sign change at 0.
    c = c >= -39999.0f ? c + 40000.0f : -39998.0f - c;
    AxisWeights a;
    a.base = std::floor(c - 0.5f);
    float t = (c - 0.5f) - a.base;
    a.w[0] = 0.5f * ((1.0f - t) * (1.0f - t));
    a.w[1] = 0.75f - (t - 0.5f) * (t - 0.5f);
    a.w[2] = 0.5f * (t * t);
    a.dw[0] = -(1.0f - t);
    a.dw[1] = -2.0f * (t - 0.5f);
    a.dw[2] = t;
    return a;
}
}  // namespace

NoiseWithGradient splineNoise(RenderServices* services, Float3 x) {
    const AxisWeights ax = axisWeights(x.x), ay = axisWeights(x.y), az = axisWeights(x.z);
    NoiseWithGradient n{0.0f, Float3(0.0f)};
    for (int a = 0; a < 3; ++a) {
        for (int b = 0; b < 3; ++b) {
            for (int c = 0; c < 3; ++c) {
                Float3 lattice(ax.base + static_cast<float>(a), ay.base + static_cast<float>(b),
                               az.base + static_cast<float>(c));
                float v = services->latticeValue(&lattice);
                n.value += v * (ax.w[a] * ay.w[b] * az.w[c]);
                n.gradient += Float3(v * (ax.dw[a] * ay.w[b] * az.w[c]), v * (ax.w[a] * ay.dw[b] * az.w[c]),
                                     v * (ax.w[a] * ay.w[b] * az.dw[c]));
            }
        }
    }
    return n;
}

Fleck fleckValue(RenderServices* services, Float3 p, float density, float scale) {
    Float3 g = splineNoise(services, p).gradient;
    Float3 q = floor3(p + 2.0f * g);
    NoiseWithGradient n = splineNoise(services, q);
    return {std::pow(std::fabs(n.value), density), n.gradient * scale};
}

Float3 metalIndirectDiffuse(RenderServices* services, Float3 diffuse, Float3 position, Float3 normal,
                            bool latticeAODisable) {
    if (isZero(diffuse)) return Float3(0.0f);
    const float weight = maxComponent(diffuse);
    Float3 ambient, indirect;
    services->ambientIrradiance(&ambient, &position, &normal);
    services->indirectIrradiance(&indirect, &position, &normal, weight);
    Float3 g = ambient + indirect;
    if (!latticeAODisable && !isZero(g)) {
        Float3 visibility;
        services->ambientOcclusion(&visibility, &position, &normal, weight);
        g *= visibility;
    }
    return g * diffuse;
}

}  // namespace ksi
