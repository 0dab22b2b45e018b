// The Tile node: a running-bond brick pattern in the "uv" plane. Bricks of the brick colour in
// mortar of the mortar colour, with shifted odd rows, random row offsets, jittered edges, per-
// brick colour and brightness variation, holes, and edits that rescale every n-th row or
// column. Randomness comes from the host's one- and two-dimensional noise.
#pragma once

#include <array>

#include "frame/host_interfaces.h"
#include "frame/types.h"
#include "textures/node_member.h"

namespace ksi {

// Written by the host before shading; zero until then.
struct TileParams {
    Float4x4 xform{};
    float verticalCount = 0.0f;    // rows per unit of v (with the gap)
    float horizontalCount = 0.0f;  // bricks per unit of u (with the gap)
    float colorVariance = 0.0f;
    float fadeVariance = 0.0f;
    float horizontalGap = 0.0f;
    float verticalGap = 0.0f;
    float edgeRoughness = 0.0f;  // jitter amplitude in thousandths
    int32_t randomSeed = 0;
    float lineShift = 0.0f;
    float randomShift = 0.0f;
    float changeRow = 0.0f;
    int32_t perRow = 0;
    ParamBool useColumnEdit;
    ParamBool useRowEdit;
    float changeColumn = 0.0f;
    int32_t perColumn = 0;
    int32_t holes = 0;  // 0 none ... 100 all mortar
    float brickHeight = 0.0f;  // declared and copied; the pattern does not read it
    float brickWidth = 0.0f;   // likewise
    ParamBool repeatX;
    ParamBool repeatY;
};

inline constexpr std::array kTileMembers{
    KS_NODE_MEMBER(TileParams, xform, "_xform"),
    KS_NODE_MEMBER(TileParams, verticalCount, "_verticalCount"),
    KS_NODE_MEMBER(TileParams, horizontalCount, "_horizontalCount"),
    KS_NODE_MEMBER(TileParams, colorVariance, "_colorVariance"),
    KS_NODE_MEMBER(TileParams, fadeVariance, "_fadeVariance"),
    KS_NODE_MEMBER(TileParams, horizontalGap, "_horizontalGap"),
    KS_NODE_MEMBER(TileParams, verticalGap, "_verticalGap"),
    KS_NODE_MEMBER(TileParams, edgeRoughness, "_edgeRoughness"),
    KS_NODE_MEMBER(TileParams, randomSeed, "_randomSeed"),
    KS_NODE_MEMBER(TileParams, lineShift, "_lineShift"),
    KS_NODE_MEMBER(TileParams, randomShift, "_randomShift"),
    KS_NODE_MEMBER(TileParams, changeRow, "_changeRow"),
    KS_NODE_MEMBER(TileParams, perRow, "_perRow"),
    KS_NODE_MEMBER(TileParams, useColumnEdit, "_useColumnEdit"),
    KS_NODE_MEMBER(TileParams, useRowEdit, "_useRowEdit"),
    KS_NODE_MEMBER(TileParams, changeColumn, "_changeColumn"),
    KS_NODE_MEMBER(TileParams, perColumn, "_perColumn"),
    KS_NODE_MEMBER(TileParams, holes, "_holes"),
    KS_NODE_MEMBER(TileParams, brickHeight, "_brickHeight"),
    KS_NODE_MEMBER(TileParams, brickWidth, "_brickWidth"),
    KS_NODE_MEMBER(TileParams, repeatX, "_repeatX"),
    KS_NODE_MEMBER(TileParams, repeatY, "_repeatY"),
};

struct BrickCoverage {
    float m;       // 1 inside a brick, 0 in the mortar
    float tileId;  // the brick's identifier, the argument of its random lookups
};

// The pattern at placed coordinates (u, v) in the unit square.
BrickCoverage brickPattern(const TileParams& node, RenderServices* services, float u, float v);

// The node's colour at "uv": mortar, or the brick colour varied per brick, by coverage; each
// channel clamped to [0, 1]. Outside the unit square without repeat the pattern is absent and
// the result is (0, 0, 0, 0).
Float4 evaluateTile(const TileParams& node, RenderServices* services, Float2 uv, Float4 brickColor,
                    Float4 mortarColor);

}  // namespace ksi
