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

#define KS_TILE_MEMBERS(G, P, T)                                                                             \
    G("tile")                                                                                                \
    P(Float4x4, xform, {}, matrix("Placement of uv, as for UnifiedBitmap."))                                 \
    P(float, verticalCount, 0.0f, count("Rows of bricks per unit of v (with the gap).").soft(1, 20))         \
    P(float, horizontalCount, 0.0f, count("Bricks per unit of u (with the gap).").soft(1, 20))               \
    P(float, colorVariance, 0.0f, weight("Strength of the per-brick colour variation."))                     \
    P(float, fadeVariance, 0.0f, weight("Strength of the per-brick brightness variation."))                  \
    P(float, horizontalGap, 0.0f, scalar("Mortar width along u.").soft(0, 0.1f))                             \
    P(float, verticalGap, 0.0f, scalar("Mortar width along v.").soft(0, 0.1f))                               \
    P(float, edgeRoughness, 0.0f, scalar("Amplitude of the brick-edge jitter, in thousandths.").soft(0, 10)) \
    P(int32_t, randomSeed, 0, scalar("Offset of every random lookup: another seed, another pattern."))       \
    P(float, lineShift, 0.0f, scalar("Extra offset of every second row (0.5 a running bond).").soft(0, 1))   \
    P(float, randomShift, 0.0f, scalar("Amplitude of the random offset of each row.").soft(0, 1))            \
    P(float, changeRow, 0.0f, amount("Factor on the brick width in edited rows.").soft(0, 4))                \
    P(int32_t, perRow, 0, count("Edit every perRow-th row.").soft(0, 10))                                    \
    P(ParamBool, useColumnEdit, {}, toggle("Switches the column edit on."))                                  \
    P(ParamBool, useRowEdit, {}, toggle("Switches the row edit on."))                                        \
    P(float, changeColumn, 0.0f, amount("Factor on the row height in edited columns.").soft(0, 4))           \
    P(int32_t, perColumn, 0, count("Edit every perColumn-th column.").soft(0, 10))                           \
    P(int32_t, holes, 0, count("Hole density: 0 none, 100 everything mortar.").hard(0, 100).soft(0, 100))    \
    P(float, brickHeight, 0.0f, scalar("Declared for compatibility; the pattern does not read it."))         \
    P(float, brickWidth, 0.0f, scalar("Declared for compatibility; the pattern does not read it."))          \
    P(ParamBool, repeatX, {},                                                                                \
      toggle("Wraps u into 0-1 instead of cutting the pattern off outside the unit square."))                \
    P(ParamBool, repeatY, {}, toggle("Wraps v into 0-1 likewise."))

// Written by the host before shading; zero until then.
struct TileParams {
    KS_BLOCK_MEMBERS(KS_TILE_MEMBERS)
};

inline constexpr auto kTileMembers = KS_NODE_MEMBERS(TileParams, KS_TILE_MEMBERS);

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
