// Texture projections of the legacy channels and the masks: how an object-space point, already
// carried into projection space by the channel's 4x4 matrix, becomes a texture coordinate.
// The uv mode needs none of these: it is transformUv of the "uv" varying.
#pragma once

#include <cmath>

#include "frame/types.h"
#include "shading/latlong.h"

namespace ksi {

// The channel modes that look a texture up (1 to 5), by the projection that gives their coordinate.
enum TextureProjection : int32_t {
    kProjectUv = 1, kProjectPlanar, kProjectBox, kProjectCylindrical, kProjectSpherical
};
static_assert(kProjectCylindrical == 4 && kProjectSpherical == 5);

// Planar: the projected x and y; the projected z is the depth of the projection's slab.
inline Float2 planarCoordinate(Float4 p) { return {p.x, p.y}; }

// How the box reads the face across x: (z, y), with three equal axes taking the z face, or
// (y, z), with three equal axes taking the y face.
enum class BoxXFace : uint8_t { ZY, YZ };

struct BoxCoordinate {
    Float2 st;
    int axisU, axisV;  // which projected axes became (s, t)
};

// Box: the face across the dominant axis of the projected normal n. Ties between x and y go to
// x, between y and z to y.
inline BoxCoordinate boxCoordinate(Float4 p, Float3 n, BoxXFace xFace) {
    const float ax = std::fabs(n.x), ay = std::fabs(n.y), az = std::fabs(n.z);
    const bool allEqual = ax == ay && ay == az;
    if (ax >= ay && ax > az) {
        if (xFace == BoxXFace::ZY) return {{p.z, p.y}, 2, 1};
        return {{p.y, p.z}, 1, 2};
    }
    if ((ay > ax && ay >= az) || (allEqual && xFace == BoxXFace::YZ)) return {{p.x, p.z}, 0, 2};
    return {{p.x, p.y}, 0, 1};
}

// Cylindrical: the angle around the projection's z axis through (0.5, 0.5), atan2 taking x
// first, repeated angularRepeat times; t is the projected z without offset.
inline Float2 cylindricalCoordinate(Float4 p, float angularRepeat) {
    return {(std::atan2(p.x - 0.5f, p.y - 0.5f) * kInvTwoPiLiteral + 0.5f) * angularRepeat, p.z};
}

// The direction around the cylinder's axis at p (not offset by the centre), and its axis.
inline Float3 cylindricalTangent(Float4 p) { return normalize(Float3(-p.y, p.x, 0.0f)); }
inline constexpr Float3 kCylindricalBitangent{0.0f, 0.0f, 1.0f};

// Spherical: the lat-long coordinate of the direction from the projection's centre.
inline Float2 sphericalCoordinate(Float4 p) {
    return latLongCoordinate(normalize(Float3(p.x - 0.5f, p.y - 0.5f, p.z - 0.5f)));
}

}  // namespace ksi
