// Scenes for the renderer tests: loaded from JSON text through the scene-file reader into a
// real Embree scene, with files written to a fresh temporary directory.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "render/render.h"
#include "render/scene_file.h"

namespace kestrel::testing {

struct LoadedScene {
    render::TextureSet textures;
    render::Scene scene;
    render::RenderSettings settings;
};

// A directory removed with everything in it when the object goes.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    // Writes text to a file in the directory and returns its path.
    std::string write(const std::string& name, const std::string& text) const;

private:
    std::filesystem::path path_;
};

// Loads a scene document with relative paths taken from `base`; the message of a SceneError
// is left to propagate.
std::unique_ptr<LoadedScene> loadScene(const nlohmann::json& document, const std::string& base = "",
                                       const std::string& fileName = "test.json");

// Writes an image of constant RGB (any size, 1 to 4 channels) through OpenImageIO, as float
// channels or, quicker to write for large images, as bytes.
enum class Depth { Float, Byte };
void writeConstantImage(const std::string& path, int width, int height, int channels, float value,
                        Depth depth = Depth::Float);

}  // namespace kestrel::testing
