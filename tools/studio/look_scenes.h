// Loaded scenes kept per client between renders. An edit usually changes only the material's
// parameters, or the size and samples between the coarse and the full frame; rebuilding the
// stage's meshes, acceleration structures and textures for each would cost more than the coarse
// frame itself. The cached scene differs from a fresh load of the same document in nothing the
// render sees: the material is a new object with the same parameters set in the same order.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include <nlohmann/json.hpp>

#include "plugin_library.h"
#include "render/scene.h"
#include "render/textures.h"
#include "render/tracer.h"

namespace kestrel::studio {

struct LookScene {
    std::mutex busy;  // held while the scene is updated and rendered
    nlohmann::json structure;  // the document without what an update may change
    std::unique_ptr<render::TextureSet> textures;
    std::unique_ptr<render::Scene> scene;
    render::RenderSettings settings;

    // Makes the scene that of `document` (whose last object holds the look), reloading only
    // when more than the look's parameters and the image settings changed. Call with `busy`
    // held. Throws render::SceneError as loadScene does.
    void update(const nlohmann::json& document, const PluginLibrary& library, const std::string& assetsDirectory);
};

class LookScenes {
public:
    explicit LookScenes(std::size_t capacity) : capacity_(capacity) {}
    // The client's scene, created empty on first use; the least recently used beyond the
    // capacity are dropped (a render still holding one keeps it alive).
    std::shared_ptr<LookScene> get(const std::string& client);

private:
    std::mutex mutex_;
    std::size_t capacity_;
    std::list<std::pair<std::string, std::shared_ptr<LookScene>>> scenes_;  // most recent first
};

}  // namespace kestrel::studio
