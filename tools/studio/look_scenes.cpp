#include "look_scenes.h"

#include "render/scene_file.h"
#include "shader_instance.h"

namespace kestrel::studio {

namespace {

using nlohmann::json;

// What a render request's settings may change without a reload.
constexpr const char* kImageKeys[] = {"resolution", "spp", "mode", "seed"};

json structureOf(const json& document) {
    json structure = document;
    for (const char* key : kImageKeys) structure["render"].erase(key);
    structure["objects"].back()["material"].erase("parameters");
    return structure;
}

void applyImageSettings(const json& render, render::RenderSettings& settings) {
    settings.width = render["resolution"][0].get<int>();
    settings.height = render["resolution"][1].get<int>();
    settings.samplesPerPixel = render["spp"].get<int>();
    settings.integrator = render["mode"] == "path" ? render::Integrator::Path : render::Integrator::Shade;
    settings.seed = render["seed"].get<uint64_t>();
}

}  // namespace

void LookScene::update(const json& document, const PluginLibrary& library, const std::string& assetsDirectory) {
    const render::SceneSource source{"look", assetsDirectory};
    json structureNow = structureOf(document);
    if (!scene || structureNow != structure) {
        structure = json();
        auto freshTextures = std::make_unique<render::TextureSet>();
        auto freshScene = std::make_unique<render::Scene>();
        render::loadScene(document, source, library, *freshTextures, *freshScene, settings);
        scene = std::move(freshScene);
        textures = std::move(freshTextures);
        structure = std::move(structureNow);
        return;
    }
    // The same steps as the scene reader: defaults completed, then the values in name order.
    const json& material = document["objects"].back()["material"];
    auto shader = std::make_unique<ShaderInstance>(library.findClass(material["class"].get<std::string>()));
    render::completeParameters(*shader);
    const json parameters = material.contains("parameters") ? material["parameters"] : json::object();
    for (const auto& [name, value] : parameters.items()) {
        render::setParameter(*shader, name, value, source, "objects.material.parameters." + name, *textures);
    }
    scene->materials.back().shader = std::move(shader);
    applyImageSettings(document["render"], settings);
}

std::shared_ptr<LookScene> LookScenes::get(const std::string& client) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = scenes_.begin(); it != scenes_.end(); ++it) {
        if (it->first == client) {
            scenes_.splice(scenes_.begin(), scenes_, it);
            return scenes_.front().second;
        }
    }
    scenes_.emplace_front(client, std::make_shared<LookScene>());
    if (scenes_.size() > capacity_) scenes_.pop_back();
    return scenes_.front().second;
}

}  // namespace kestrel::studio
