// GGX functions against the microfacet model for reflection and refraction written out
// independently (Walter et al. 2007, in double precision with alpha_g^2 = a): the distribution D,
// the Smith masking G1, and the Jacobian of the refraction mapping.
#include <gtest/gtest.h>

#include <cmath>

#include "shading/microfacet.h"

namespace {

using ksi::Float3;

struct V {
    double x, y, z;
};
V toV(Float3 v) { return {v.x, v.y, v.z}; }
double dotV(V a, V b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
V normV(V a) {
    double l = std::sqrt(dotV(a, a));
    return {a.x / l, a.y / l, a.z / l};
}

double walterD(V m, double a) {
    if (m.z <= 0) return 0;
    double c2 = m.z * m.z, tan2 = (1 - c2) / c2;
    return a / (M_PI * c2 * c2 * (a + tan2) * (a + tan2));
}
double walterG1(V v, V m, double a) {
    if (dotV(v, m) / v.z <= 0) return 0;
    double tan2 = (1 - v.z * v.z) / (v.z * v.z);
    return 2 / (1 + std::sqrt(1 + a * tan2));
}

Float3 direction(float theta, float phi) {
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

TEST(Microfacet, DistributionIntegratesToOneOverProjectedArea) {
    for (float a : {0.01f, 0.1f, 0.5f, 1.0f}) {
        // Substituting m.z = cos theta: the integral of D m.z d omega over the hemisphere.
        const int n = 200000;
        double sum = 0;
        for (int i = 0; i < n; ++i) {
            double mu = (i + 0.5) / n;
            Float3 m(static_cast<float>(std::sqrt(1 - mu * mu)), 0.0f, static_cast<float>(mu));
            sum += ksi::ggxDistribution(m, a) * mu * (2 * M_PI / n);
        }
        EXPECT_NEAR(sum, 1.0, 2e-3) << "a = " << a;
    }
}

TEST(Microfacet, ReflectanceMatchesTheMicrofacetBrdfAndIsReciprocal) {
    const float a = 0.2f;
    const float thetas[] = {0.1f, 0.6f, 1.1f, 1.4f};
    for (float ti : thetas) {
        for (float to : thetas) {
            Float3 wo = direction(to, 0.3f), l = direction(ti, 2.5f);
            V h = normV({wo.x + l.x, wo.y + l.y, wo.z + l.z});
            double expected = walterD(h, a) * walterG1(toV(wo), h, a) * walterG1(toV(l), h, a) / (4 * wo.z * l.z);
            float value = ksi::ggxReflectance(wo, l, a);
            EXPECT_NEAR(value, expected, 1e-4 * expected + 1e-6);
            EXPECT_NEAR(value, ksi::ggxReflectance(l, wo, a), 1e-5f * value + 1e-7f) << "reciprocity";
        }
    }
}

TEST(Microfacet, TransmittanceMatchesTheMicrofacetBtdf) {
    const float a = 0.15f;
    const float eta1 = 1.0f, eta2 = 1.5f;
    for (float to : {0.2f, 0.7f, 1.2f}) {
        for (float ti : {2.0f, 2.5f, 2.9f}) {
            Float3 wo = direction(to, 0.4f), l = direction(ti, 3.3f);
            // Generalised half vector, towards the side of wo.
            V ht = normV({-(eta1 * wo.x + eta2 * l.x), -(eta1 * wo.y + eta2 * l.y), -(eta1 * wo.z + eta2 * l.z)});
            if (ht.z < 0) ht = {-ht.x, -ht.y, -ht.z};
            double io = dotV(toV(l), ht), oo = dotV(toV(wo), ht);
            double denom = eta1 * oo + eta2 * io;
            double expected = std::fabs(io * oo / (l.z * wo.z)) * eta2 * eta2 * walterG1(toV(wo), ht, a) *
                              walterG1(toV(l), ht, a) * walterD(ht, a) / (denom * denom);
            float value = ksi::ggxTransmittance(wo, l, a, eta1, eta2);
            EXPECT_NEAR(value, expected, 1e-4 * expected + 1e-6) << to << " " << ti;
        }
    }
}

TEST(Microfacet, MaskingIsZeroForBackfacingMicrofacets) {
    EXPECT_EQ(ksi::ggxMasking({0.0f, 0.6f, 0.8f}, {0.0f, -1.0f, 0.0f}, 0.3f), 0.0f);
    EXPECT_EQ(ksi::ggxMasking({0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f}, 0.3f), 1.0f);
    EXPECT_EQ(ksi::ggxDistribution({0.0f, 0.6f, -0.8f}, 0.3f), 0.0f);
}

}  // namespace
