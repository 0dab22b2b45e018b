// Reading a scene from its JSON description: camera, environment, lights and objects, each
// shader named by its class with parameters by their declared names, checked against what the
// class declares. Every fault is one SceneError naming the file and the place in it.
#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "plugin_library.h"
#include "render/scene.h"
#include "render/textures.h"
#include "render/tracer.h"

namespace kestrel::render {

class SceneError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct SceneSource {
    std::string fileName;       // for messages
    std::string baseDirectory;  // relative mesh and texture paths start here
};

// Parses a file's text; malformed JSON is a SceneError with the line and column.
nlohmann::json parseSceneText(const std::string& text, const std::string& fileName);
nlohmann::json readSceneFile(const std::string& path);

// Fills the scene (and commits it) and the render settings the file gives.
void loadScene(const nlohmann::json& document, const SceneSource& source, const PluginLibrary& library,
               TextureSet& textures, Scene& scene, RenderSettings& settings);

// Writes a parameter from its JSON value, checking the type and arity the class declares;
// texture parameters take a file path (or, for data textures, an array of texels). `place`
// names the value in messages.
void setParameter(ShaderInstance& shader, const std::string& name, const nlohmann::json& value,
                  const SceneSource& source, const std::string& place, TextureSet& textures);

// Gives matrices that the class left without a value the identity, as a host writes every
// declared parameter before shading.
void completeParameters(ShaderInstance& shader);

}  // namespace kestrel::render
