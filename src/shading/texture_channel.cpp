#include "shading/texture_channel.h"

#include <cmath>

#include "shading/latlong.h"
#include "frame/texture_lookup.h"

namespace ksi {

namespace {
ChannelResult constantResult(Float3 color, float alpha) {
    ChannelResult r;
    r.color = Float4(color, alpha);
    return r;
}
}  // namespace

ChannelResult evaluateTextureChannel(const TextureChannel& channel, ChannelVariant variant, Float3 P, Float3 N,
                                     Float2 uv, bool alphaAsGrey, Float3 tint, bool boxSwitch) {
    const bool fourFloat = variant == ChannelVariant::FourFloat;
    const int32_t mode = channel.mode;
    const int32_t lastMode = fourFloat ? 5 : 4;
    if (mode == 0) return constantResult(channel.color, 1.0f);
    if (mode < 0 || mode > lastMode) return constantResult(Float3(0.0f), 1.0f);

    ChannelResult result;
    Float2 st;
    if (mode == 1) {
        st = transformUv(uv, *channel.uvMatrix);
    } else {
        const Float4 p = transformPoint(P, *channel.matrix);
        if (mode == 2) {
            st = {p.x, p.y};
        } else if (mode == 3) {
            // The face across the dominant axis of the projected normal.
            const Float3 n = transformDirection(N, *channel.matrix);
            const float ax = std::fabs(n.x), ay = std::fabs(n.y), az = std::fabs(n.z);
            const bool xSwitch = boxSwitch || fourFloat;
            const bool allEqual = ax == ay && ay == az;
            if (ax >= ay && ax > az) {
                if (xSwitch) {
                    st = {p.z, p.y};
                    result.axisU = 2, result.axisV = 1;
                } else {
                    st = {p.y, p.z};
                    result.axisU = 1, result.axisV = 2;
                }
            } else if ((ay > ax && ay >= az) || (allEqual && !xSwitch)) {
                st = {p.x, p.z};
                result.axisU = 0, result.axisV = 2;
            } else {
                st = {p.x, p.y};
                result.axisU = 0, result.axisV = 1;
            }
        } else if (mode == 4) {
            // Angle around the projection's z axis through (0.5, 0.5), atan2 taking x first.
            st = {(std::atan2(p.x - 0.5f, p.y - 0.5f) * 0.1591549f + 0.5f) * channel.angularRepeat, p.z};
            result.tangent = normalize(Float3(-p.y, p.x, 0.0f));
            result.bitangent = {0.0f, 0.0f, 1.0f};
        } else {
            // Spherical: the lat-long coordinate of the direction from the projection's centre.
            st = latLongCoordinate(normalize(Float3(p.x - 0.5f, p.y - 0.5f, p.z - 0.5f)));
        }
    }
    const Float4 texel = lookupTexture(*channel.texture, st);
    if (alphaAsGrey) {
        result.color = fourFloat ? Float4(texel.w) : Float4(Float3(texel.w), 1.0f);
    } else {
        result.color = fourFloat ? texel : Float4(texel.xyz() * tint, 1.0f);
    }
    return result;
}

}  // namespace ksi
