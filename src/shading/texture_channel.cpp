#include "shading/texture_channel.h"

#include "frame/texture_lookup.h"

namespace ksi {

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
