// Texture objects backed by OpenImageIO: image and cube textures answered by its TextureSystem
// (filtered, cached, safe to call from every render thread), data textures read whole into
// memory and fetched texel by texel.
#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <kestrel/kestrel.h>

#include "parameter_value.h"

namespace kestrel::render {

class TextureError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Data textures are kept whole in memory as RGBA floats: 4096 x 4096 texels (256 MB) at most.
constexpr std::size_t kMaxDataTexels = std::size_t{4096} * 4096;

// Owns every texture object of a scene; objects live as long as the set.
class TextureSet {
public:
    TextureSet();
    ~TextureSet();
    TextureSet(const TextureSet&) = delete;
    TextureSet& operator=(const TextureSet&) = delete;

    // The object for a file, of the kind a parameter of `type` expects (Texture, CubeTexture or
    // DataTexture); the same file and kind give the same object. Throws TextureError when the
    // file is missing, not a readable image, does not decode in full, or is a data texture
    // above kMaxDataTexels.
    ksi::TextureObject* open(const std::string& path, ParamType type);
    // A data texture holding the given RGBA rows (each row the same length).
    ksi::TextureObject* fromData(const std::vector<std::vector<ksi::Float4>>& rows);

    struct Impl;

private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace kestrel::render
