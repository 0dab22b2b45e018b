#include "shading/texture_channel.h"

#include "frame/texture_lookup.h"

namespace ksi {

namespace {
constexpr int32_t kModeConstant = 0;

int32_t lastModeOf(ChannelVariant variant) {
    return variant == ChannelVariant::FourFloat ? kProjectSpherical : kProjectCylindrical;
}

// A textured mode (1 to 5): the texel as it is, found through the mode's projection, with what
// the bump needs to know about that projection.
ChannelResult projectedTexel(const TextureChannel& channel, const ChannelPoint& at, BoxXFace xFace) {
    ChannelResult r;
    Float2 st;
    if (channel.mode == kProjectUv) {
        st = transformUv(at.uv, *channel.uvMatrix);
    } else {
        const Float4 p = transformPoint(at.P, *channel.matrix);
        if (channel.mode == kProjectPlanar) {
            st = planarCoordinate(p);
        } else if (channel.mode == kProjectBox) {
            const BoxCoordinate box = boxCoordinate(p, transformDirection(at.N, *channel.matrix), xFace);
            st = box.st;
            r.axisU = box.axisU, r.axisV = box.axisV;
        } else if (channel.mode == kProjectCylindrical) {
            st = cylindricalCoordinate(p, channel.angularRepeat);
            r.tangent = cylindricalTangent(p);
            r.bitangent = kCylindricalBitangent;
        } else {
            st = sphericalCoordinate(p);
        }
    }
    r.color = lookupTexture(*channel.texture, st);
    return r;
}

ChannelResult constantResult(Float3 color) {
    ChannelResult r;
    r.color = Float4(color, 1.0f);
    return r;
}
}  // namespace

ChannelResult evaluateTextureChannel(const TextureChannel& channel, ChannelVariant variant, const ChannelPoint& at,
                                     TexelRead read, Float3 tint, BoxXFace xFace) {
    if (channel.mode == kModeConstant) return constantResult(channel.color);
    if (channel.mode < kModeConstant || channel.mode > lastModeOf(variant)) return constantResult(Float3(0.0f));

    ChannelResult result = projectedTexel(channel, at, xFace);
    const Float4 texel = result.color;
    const bool fourFloat = variant == ChannelVariant::FourFloat;
    if (read == TexelRead::AlphaAsGrey) {
        result.color = fourFloat ? Float4(texel.w) : Float4(Float3(texel.w), 1.0f);
    } else {
        result.color = fourFloat ? texel : Float4(texel.xyz() * tint, 1.0f);
    }
    return result;
}

Float3 evaluateMaskChannel(const MaskChannel& mask, const ChannelPoint& at, BoxXFace xFace, PlanarSlab slab) {
    const TextureChannel& channel = mask.channel;
    const int32_t mode = channel.mode;
    Float3 m(0.0f);
    if (mode == kModeConstant) {
        m = channel.color;
    } else if (mode > kModeConstant && mode <= kProjectCylindrical) {
        const Float4 texel = projectedTexel(channel, at, xFace).color;
        m = mask.read == TexelRead::AlphaAsGrey ? Float3(texel.w) : texel.xyz();
    }
    if (mask.invert && mode >= kProjectUv) m = Float3(1.0f) - m;
    // The planar projection covers the slab -1 <= z' <= 1; everything outside it is cut away.
    if (slab == PlanarSlab::Cut && m != Float3(1.0f) && mode == kProjectPlanar) {
        const float z = transformPoint(at.P, *channel.matrix).z;
        if (z < -1.0f || z > 1.0f) m = Float3(1.0f);
    }
    return m;
}

}  // namespace ksi
