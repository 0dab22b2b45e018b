#include "shading/microfacet.h"

#include <cmath>

namespace ksi {

namespace {
constexpr float kPi = 3.141593f;
}

float ggxMasking(Float3 v, Float3 m, float a) {
    if (dot(v, m) * v.z <= 0.0f) return 0.0f;
    float z2 = v.z * v.z;
    float tan2 = (1.0f - z2) / z2;
    return 2.0f / (1.0f + std::sqrt(1.0f + a * tan2));
}

float ggxDistribution(Float3 m, float a) {
    if (m.z <= 0.0f) return 0.0f;
    float c2 = m.z * m.z;
    float t = (1.0f - c2) / c2 + a;
    return a / (kPi * (c2 * c2) * (t * t));
}

float ggxReflectance(Float3 wo, Float3 l, float a) {
    // The half vector, turned to the side of wo.
    Float3 h = normalize(wo + l) * sign(wo.z);
    float G = ggxMasking(wo, h, a) * ggxMasking(l, h, a);
    if (!(G > 0.0f)) return 0.0f;
    float value = G * ggxDistribution(h, a);
    if (!(value > 0.0f)) return 0.0f;
    return value / (4.0f * std::fabs(l.z * wo.z));
}

float ggxTransmittance(Float3 wo, Float3 l, float a, float eta1, float eta2) {
    // The generalised half vector of refraction.
    Float3 m = -normalize(eta1 * wo + eta2 * l);
    float G = ggxMasking(wo, m, a) * ggxMasking(l, m, a);
    if (!(G > 0.0f)) return 0.0f;
    float value = G * ggxDistribution(m, a);
    if (!(value > 0.0f)) return 0.0f;
    float ml = dot(m, l), mo = dot(m, wo);
    float denominator = eta2 * ml + eta1 * mo;
    return value * (std::fabs(ml * mo) * (eta2 * eta2) / (std::fabs(l.z * wo.z) * (denominator * denominator)));
}

}  // namespace ksi
