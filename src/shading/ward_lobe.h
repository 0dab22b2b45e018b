// The Ward reflectance model shared by the Ward family and the metals: a Lambert lobe plus an
// anisotropic Ward glossy lobe, evaluated and importance-sampled in the local shading frame
// (z along the normal; I, the incident direction, points into the surface).
#pragma once

#include "frame/host_interfaces.h"
#include "frame/types.h"

namespace ksi {

// A specular colour whose largest component is at or below this has no highlight worth a light
// loop or a traced reflection.
inline constexpr float kNegligibleSpecular = 0.00001f;

struct WardSample {
    Float3 value;      // reflectance for the sampled direction
    Float3 direction;  // local; meaningless when pdf < 0
    float pdf;         // density of the direction, -1 when no sample was drawn
};

struct WardEvaluation {
    Float3 value;
    float pdf;  // density sampleWardLobe would have drawn L with; -1 for an impossible pair
};

struct DiskSample {
    float x, y, r;
};

// Diffuse D / pi plus the anisotropic Ward lobe with roughness alphaX along the tangent and
// alphaY along the bitangent.
Float3 wardBrdf(Float3 I, Float3 L, Float3 D, Float3 S, float alphaX, float alphaY);

// Draws a half vector from the Ward distribution and reflects I about it.
WardSample sampleWardLobe(Float3 I, Float3 D, Float3 S, float alphaX, float alphaY, Float2 u);

WardEvaluation wardBrdfAndPdf(Float3 I, Float3 L, Float3 D, Float3 S, float alphaX, float alphaY);

// Shirley's concentric map of the unit square onto the unit disk, keeping strata adjacent; the
// radius is pulled in by 1e-6 so the hemisphere lift sqrt(1 - r^2) stays positive.
DiskSample concentricDiskSample(float u1, float u2);

struct WardMixtureSample {
    bool drawn;        // false when the draw fell below the surface or has no density
    Float3 direction;  // local
    Float3 value;      // reflectance for the direction
    float mixturePdf;  // density of the direction under the whole mixture
};

// One draw from the mixture of a cosine-weighted diffuse lobe, chosen with probability
// diffuseChance, and the Ward glossy lobe; the host supplies the lobe choice and the two
// coordinates.
WardMixtureSample sampleWardMixture(RenderServices* services, Float3 I, Float3 D, Float3 S, float alphaX,
                                    float alphaY, float diffuseChance);

}  // namespace ksi
