// Texture channels of the legacy material and the background geometry: a mode picks a constant
// colour or a texture looked up through a uv, planar, box, cylindrical or spherical projection.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/types.h"

namespace ksi {

// The members one channel is made of.
struct TextureChannel {
    int32_t mode;                // -1 none, 0 constant, 1 uv, 2 planar, 3 box, 4 cylindrical, 5 spherical
    Float3 color;                // the constant of mode 0
    const TextureHandle* texture;
    const Float4x4* matrix;      // object space to projection space (modes 2 to 5)
    float angularRepeat;         // mode 4
    const Float3x3* uvMatrix;    // mode 1
};

// The legacy material reads three tinted floats and modes up to 4 with a switchable box x face;
// the background geometry reads the texel as it is, with the spherical mode and the x face (z, y).
enum class ChannelVariant { Legacy, FourFloat };

struct ChannelResult {
    Float4 color;
    int axisU = 0, axisV = 1;                // box faces: which projected axes became (s, t)
    Float3 tangent{0.0f, 0.0f, 0.0f};        // cylindrical mode: around the axis
    Float3 bitangent{0.0f, 0.0f, 0.0f};
};

// P, N: the object-space point and the normal the box projection chooses its face by; uv: the
// "uv" varying. Modes outside the variant's range give what mode -1 gives.
ChannelResult evaluateTextureChannel(const TextureChannel& channel, ChannelVariant variant, Float3 P, Float3 N,
                                     Float2 uv, bool alphaAsGrey, Float3 tint, bool boxSwitch);

}  // namespace ksi
