// Lookups through a TextureHandle. Every lookup starts from the texel (0, 0, 0, 1) and skips
// the host call when no object is bound, so an unbound texture reads as opaque black and a host
// object that writes only RGB leaves alpha at 1.
#pragma once

#include "host_interfaces.h"
#include "types.h"

namespace ksi {

inline Float4 lookupTexture(const TextureHandle& handle, Float2 uv) {
    Float4 texel(0.0f, 0.0f, 0.0f, 1.0f);
    if (handle.object) static_cast<ImageTexture*>(handle.object)->lookup(&texel, &uv);
    return texel;
}

inline Float4 lookupCubeTexture(const TextureHandle& handle, Float3 direction) {
    Float4 texel(0.0f, 0.0f, 0.0f, 1.0f);
    if (handle.object) static_cast<CubeTexture*>(handle.object)->lookup(&texel, &direction);
    return texel;
}

inline Float4 fetchDataTexture(const TextureHandle& handle, float u, float v) {
    Float4 texel(0.0f, 0.0f, 0.0f, 1.0f);
    if (handle.object) static_cast<DataTexture*>(handle.object)->fetch(&texel, u, v);
    return texel;
}

}  // namespace ksi
