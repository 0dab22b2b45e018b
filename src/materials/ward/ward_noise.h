// Procedural normal perturbations of the Ward family: band-limited host noise (filteredNoise)
// and its gradient (noiseBump), ridged noise, and cells with turbulence.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/types.h"

namespace ksi {

// The three directions the gradients are taken along.
struct BumpDirections {
    Float3 d1, d2, d3;
};

struct NoiseBand {
    float levels;  // L: octaves the filter width allows (below -3 the noise has averaged out)
    float blur;    // w: the smoothRamp width
    int32_t type;  // 0 plain, 1 fractal sum, 2 turbulence (absolute values)
    float phase;
    float lo, hi;  // thresholds, applied when lo < hi
};

float filteredNoise(RenderServices* services, Float3 x, const NoiseBand& band);

// Gradient of filteredNoise at q / size over 0.1 steps along the directions, times k.
Float3 noiseBump(RenderServices* services, Float3 q, const BumpDirections& d, float size, float levels, int32_t type,
                 float phase, float lo, float hi, float k);

// Gradient of ridged noise at q (procedure mode 3).
Float3 ridgedNoiseBump(RenderServices* services, Float3 q, const BumpDirections& d);

// Nearest and second-nearest feature points of the cells around p: squared distances and the
// vector from the nearest point to p.
struct CellSearch {
    float f1, f2;
    Float3 e;
};
CellSearch searchCells(RenderServices* services, Float3 p);

// Cellular bump with turbulence at q0 (procedure mode 2).
Float3 cellularBump(RenderServices* services, Float3 q0, const BumpDirections& d);

}  // namespace ksi
