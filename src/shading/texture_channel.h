// Texture channels of the legacy material and the background geometry, and the masks of every
// material: a mode picks a constant colour or a texture looked up through a uv, planar, box,
// cylindrical or spherical projection.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/types.h"
#include "shading/projections.h"

namespace ksi {

// The channel mode of a constant colour; modes 1 to 5 are the projections, -1 gives nothing.
constexpr int32_t kModeConstant = 0;

// The members one channel is made of.
struct TextureChannel {
    int32_t mode;                // -1 none, 0 constant, 1 uv, 2 planar, 3 box, 4 cylindrical, 5 spherical
    Float3 color;                // the constant of mode 0
    const TextureHandle* texture;
    const Float4x4* matrix;      // object space to projection space (modes 2 to 5)
    float angularRepeat;         // mode 4
    const Float3x3* uvMatrix;    // mode 1
};

// The legacy material reads three tinted floats and modes up to 4; the background geometry reads
// the texel as it is, with the spherical mode.
enum class ChannelVariant : uint8_t { Legacy, FourFloat };

// What a textured mode takes from its texel: the colour, or the alpha as a grey.
enum class TexelRead : uint8_t { Color, AlphaAsGrey };

// Where the channel's point and normal are: the object-space point, the normal the box projection
// chooses its face by, and the "uv" varying.
struct ChannelPoint {
    Float3 P;
    Float3 N;
    Float2 uv;
};

struct ChannelResult {
    Float4 color;
    int axisU = 0, axisV = 1;                // box faces: which projected axes became (s, t)
    Float3 tangent{0.0f, 0.0f, 0.0f};        // cylindrical mode: around the axis
    Float3 bitangent{0.0f, 0.0f, 0.0f};
};

// A textured mode (1 to 5): the texel as it is, found through the mode's projection, with what
// the bump needs to know about that projection.
ChannelResult projectedTexel(const TextureChannel& channel, const ChannelPoint& at, BoxXFace xFace);

// Modes outside the variant's range give what mode -1 gives. The tint multiplies the legacy
// variant's texel colour (not its alpha read as grey, nor the constant).
// Inlined into its callers: called, its point came in and its result went back through memory,
// each written in pieces and read whole, stalls that cost the background geometry's shade up to
// a third of its time.
[[gnu::always_inline]] inline ChannelResult evaluateTextureChannel(const TextureChannel& channel,
                                                                   ChannelVariant variant, const ChannelPoint& at,
                                                                   TexelRead read, Float3 tint, BoxXFace xFace) {
    const int32_t lastMode = variant == ChannelVariant::FourFloat ? kProjectSpherical : kProjectCylindrical;
    ChannelResult result;
    if (channel.mode == kModeConstant) {
        result.color = Float4(channel.color, 1.0f);
        return result;
    }
    if (channel.mode < kModeConstant || channel.mode > lastMode) {
        result.color = Float4(Float3(0.0f), 1.0f);
        return result;
    }
    result = projectedTexel(channel, at, xFace);
    const Float4 texel = result.color;
    const bool fourFloat = variant == ChannelVariant::FourFloat;
    if (read == TexelRead::AlphaAsGrey) {
        result.color = fourFloat ? Float4(texel.w) : Float4(Float3(texel.w), 1.0f);
    } else {
        result.color = fourFloat ? texel : Float4(texel.xyz() * tint, 1.0f);
    }
    return result;
}

// A mask: (1, 1, 1) cuts the surface away, (0, 0, 0) keeps it. Textured modes can be inverted;
// the planar mode can also cut everything outside the slab -1 <= z' <= 1 of its projection.
struct MaskChannel {
    TextureChannel channel;  // modes -1 to 4
    TexelRead read;
    bool invert;
};

enum class PlanarSlab : uint8_t { Cut, Kept };

Float3 evaluateMaskChannel(const MaskChannel& mask, const ChannelPoint& at, BoxXFace xFace, PlanarSlab slab);

}  // namespace ksi
