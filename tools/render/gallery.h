// The material gallery: one preview scene per material class the library exports (the shared
// stage plus the class's preview parameters), and the labelled contact sheet of the results.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "plugin_library.h"
#include "render/render.h"

namespace kestrel::gallery {

struct Preview {
    std::string className;
    std::string source;     // the preview file, or the stage when the class has none
    nlohmann::json scene;   // the stage with the class's object added
    bool hasPreviewFile = false;
};

// The material classes of the library, each with its scene: gallery/stage.json plus
// gallery/previews/<Class>.json ({"shape", "matrix", "parameters"}), or the class's own
// defaults on a material ball when it has no preview file. Throws render::SceneError.
std::vector<Preview> previews(const PluginLibrary& library, const std::string& galleryDirectory);

// The previews side by side in rows, each under its class name.
render::Image contactSheet(const std::vector<std::string>& labels, const std::vector<render::Image>& images);

}  // namespace kestrel::gallery
