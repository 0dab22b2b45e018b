// The perforation patterns of the metal material: 1 where the metal is solid, 0 in a hole,
// with soft edges where a pattern has them.
#pragma once

#include "frame/types.h"

namespace ksi {

enum CutoutPattern : int32_t {
    kCutoutStaggeredCircles = 1,
    kCutoutCircleGrid = 2,
    kCutoutShiftedSquares = 3,
    kCutoutDiamondMesh = 4,
    kCutoutSolid = 5,
    kCutoutHexagons = 6,
    kCutoutMap = 7,
};

struct CutoutShape {
    float center;  // pattern offset
    float size;    // hole size
    float space;   // bar width between holes
};

// Procedural patterns 1 to 6 at the pattern point of uv scaled by s; any other pattern is solid.
// (The map pattern, 7, is looked up by the caller.)
float proceduralCutout(int32_t pattern, Float2 uv, float scale, const CutoutShape& shape);

}  // namespace ksi
