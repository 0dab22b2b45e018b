// Pieces the metal and the metallic paint share: sparkling flecks from a smooth lattice noise,
// the indirect diffuse term, and the sampling of a diffuse lobe mixed with a Ward lobe.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/shading_record.h"
#include "frame/types.h"
#include "shading/shading_frame.h"

namespace ksi {

struct NoiseWithGradient {
    float value;
    Float3 gradient;
};

// Quadratic B-spline interpolation of the host's lattice values over the 3x3x3 lattice points
// around x, with its analytic gradient.
NoiseWithGradient splineNoise(RenderServices* services, Float3 x);

struct Fleck {
    float value;    // phi: how strongly a fleck shows here
    Float3 offset;  // gradient-based offset, scaled
};

// Flecks: the lattice noise is sampled once to jitter the point into a lattice cell, then again
// at the cell corner; the value raised to `density` keeps only the strongest cells bright.
Fleck fleckValue(RenderServices* services, Float3 p, float density, float scale);

// Ambient plus indirect light times the diffuse colour, darkened by the host's occlusion unless
// latticeAODisable is set.
Float3 metalIndirectDiffuse(RenderServices* services, Float3 diffuse, Float3 position, Float3 normal,
                            bool latticeAODisable);

// The diffuse/Ward mixture sampling of the metals: the diffuse lobe with probability pd (0.5; 0
// without diffuse colour, 1 without specular colour), the Ward lobe otherwise, reported as lobe 2
// with the reciprocal of the mixture density. cosineUsesBump picks the local cosine over the one
// with the record's normal. Writes sampleDir, sampleCos, sampleWeight, samplePdf, sampleLobe.
void sampleDiffuseWardMixture(RenderServices* services, ShadingRecord* record, const ShadingFrame& frame, Float3 wi,
                              Float3 diffuse, Float3 specular, float alphaU, float alphaV, bool cosineUsesBump);

// The cosine that goes with a sampled or evaluated direction: local z when the bumped frame is
// to be used, otherwise against the record's shading normal.
inline float metalSampleCosine(const ShadingRecord& record, Float3 local, bool cosineUsesBump) {
    return cosineUsesBump ? local.z : dot(record.sampleDir, record.normal);
}

}  // namespace ksi
