// Pieces the metal and the metallic paint share: sparkling flecks from a smooth lattice noise, and
// the indirect diffuse term (which the Ward material uses too).
#pragma once

#include "frame/host_interfaces.h"
#include "frame/types.h"

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

}  // namespace ksi
