// The UnifiedBitmap node: one image texture looked up at the "uv" coordinates after a 4x4
// placement, its colour scaled by an amount. The image leaf of the Ward graph variants; it feeds
// a material input (diffuse colour, normal map, cutout) or a colour input of another node.
#pragma once

#include <array>

#include "frame/host_interfaces.h"
#include "frame/texture_lookup.h"
#include "frame/types.h"
#include "textures/node_member.h"

namespace ksi {

// Written by the host before shading; zero until then (no meaningful defaults), and the handle
// starts with no object so an unwritten node reads as opaque black.
#define KS_UNIFIED_BITMAP_MEMBERS(G, P, T)                                                                    \
    G("image")                                                                                                \
    P(Float4x4, xform, {},                                                                                    \
      matrix("Placement of uv: (u, v, 1, 1) times the matrix, so the third and fourth rows both translate.")) \
    T(Texture, texture, "The image, looked up at the placed uv (opaque black when unbound).")                 \
    P(float, amount, 0.0f,                                                                                    \
      amount("Scales the texel's red, green and blue (alpha unchanged); 0 until the host sets it."))          \
    P(ParamBool, isCube, {}, toggle("Declared for compatibility; the lookup is always two-dimensional."))

struct UnifiedBitmapParams {
    KS_BLOCK_MEMBERS(KS_UNIFIED_BITMAP_MEMBERS)
};

inline constexpr auto kUnifiedBitmapMembers = KS_NODE_MEMBERS(UnifiedBitmapParams, KS_UNIFIED_BITMAP_MEMBERS);

// The placement of "uv": (u, v, 1, 1) times the matrix, so both the third and the fourth row
// act as translations.
inline Float2 placeUv(const Float4x4& xform, Float2 uv) {
    const float* m = xform.m;
    return {uv.x * m[0] + uv.y * m[4] + m[8] + m[12], uv.x * m[1] + uv.y * m[5] + m[9] + m[13]};
}

// The texel at the placed coordinates with its red, green and blue times the amount; alpha
// stays as looked up. Inline: graphs call it at every leaf of every evaluation.
inline Float4 evaluateBitmap(const UnifiedBitmapParams& node, Float2 uv) {
    const Float4 t = lookupTexture(node.texture, placeUv(node.xform, uv));
    const float a = node.amount;
    return {t.x * a, t.y * a, t.z * a, t.w};
}

}  // namespace ksi
