// The parameter sets a lobe is examined in: the class's own defaults, and the parameters of its
// gallery preview (gallery/previews/<Class>.json) when it has one, written into the shader the
// way the gallery writes them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "plugin_library.h"
#include "render/textures.h"
#include "shader_instance.h"

namespace kestrel::lobe {

struct ParameterSet {
    std::string name;           // "default" or "gallery"
    std::string source;         // the preview file; empty for the defaults
    nlohmann::json parameters;  // name -> value, as a scene file writes them
};

// The gallery installed beside the program: <prefix>/share/kestrel/gallery.
std::string defaultGalleryDirectory();

// "default", then "gallery" when the class has a preview file with parameters. Throws
// render::SceneError for a preview file that is not valid JSON.
std::vector<ParameterSet> parameterSets(const std::string& className, const std::string& galleryDirectory);

// The set named `name` of the class; throws std::runtime_error naming the sets there are.
ParameterSet findParameterSet(const std::string& className, const std::string& name,
                              const std::string& galleryDirectory);

// A --set value: JSON when it parses ("0.5", "true", "[1, 0.5, 0]"), a comma-separated list of
// numbers as an array ("1,0.5,0"), anything else a string (a texture file in the gallery's
// assets).
nlohmann::json overrideValue(const std::string& text);

// A shader of the class with the matrices it leaves unset made the identity, then the set's
// parameters, then the overrides (NAME=VALUE). Texture files are read from the gallery's
// assets, which are generated when missing. Throws render::SceneError naming the parameter.
std::unique_ptr<ShaderInstance> makeShader(const PluginLibrary& library, const std::string& className,
                                           const ParameterSet& set, const std::vector<std::string>& overrides,
                                           const std::string& galleryDirectory, render::TextureSet& textures);

}  // namespace kestrel::lobe
