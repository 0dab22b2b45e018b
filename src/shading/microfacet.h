// GGX (Trowbridge-Reitz) microfacet functions in the local frame (z along the normal), with a
// the GGX parameter (alpha squared), for reflection and for refraction between indices eta1
// (the side of wo) and eta2 (the side of l).
#pragma once

#include "frame/types.h"

namespace ksi {

// Smith masking of direction v for microfacet normal m: 0 when v sees the back of m.
float ggxMasking(Float3 v, Float3 m, float a);

// Microfacet distribution D(m), normalised so that the integral of D(m) m.z over the
// hemisphere is 1.
float ggxDistribution(Float3 m, float a);

// Reflection BRDF D G / (4 |l.z wo.z|) about the half vector.
float ggxReflectance(Float3 wo, Float3 l, float a);

// Refraction BTDF with the Jacobian of the refraction mapping.
float ggxTransmittance(Float3 wo, Float3 l, float a, float eta1, float eta2);

}  // namespace ksi
