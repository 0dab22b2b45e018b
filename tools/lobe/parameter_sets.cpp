#include "parameter_sets.h"

#include <filesystem>
#include <stdexcept>

#include "gallery_assets.h"
#include "render/scene_file.h"

namespace kestrel::lobe {

namespace fs = std::filesystem;
using nlohmann::json;

std::string defaultGalleryDirectory() {
    std::error_code error;
    fs::path program = fs::read_symlink("/proc/self/exe", error);
    return (program.parent_path().parent_path() / "share" / "kestrel" / "gallery").string();
}

std::vector<ParameterSet> parameterSets(const std::string& className, const std::string& galleryDirectory) {
    std::vector<ParameterSet> sets = {{"default", "", json::object()}};
    const fs::path path = fs::path(galleryDirectory) / "previews" / (className + ".json");
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return sets;
    const json preview = render::readSceneFile(path.string());
    if (preview.is_object() && preview.contains("parameters") && preview["parameters"].is_object()) {
        sets.push_back({"gallery", path.string(), preview["parameters"]});
    }
    return sets;
}

ParameterSet findParameterSet(const std::string& className, const std::string& name,
                              const std::string& galleryDirectory) {
    std::string names;
    for (ParameterSet& set : parameterSets(className, galleryDirectory)) {
        if (set.name == name) return set;
        names += (names.empty() ? "" : ", ") + set.name;
    }
    throw std::runtime_error(className + " has no parameter set '" + name + "' (it has: " + names + ")");
}

json overrideValue(const std::string& text) {
    json value = json::parse(text, nullptr, false);
    if (!value.is_discarded()) return value;
    json list = json::array();
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        const std::string item = text.substr(start, comma - start);
        char* end = nullptr;
        const double number = std::strtod(item.c_str(), &end);
        if (item.empty() || end != item.c_str() + item.size()) return text;
        list.push_back(number);
        start = comma + 1;
    }
    return list;
}

std::unique_ptr<ShaderInstance> makeShader(const PluginLibrary& library, const std::string& className,
                                           const ParameterSet& set, const std::vector<std::string>& overrides,
                                           const std::string& galleryDirectory, render::TextureSet& textures) {
    const std::string assets = (fs::path(galleryDirectory) / "assets").string();
    if (!gallery::assetsPresent(assets)) gallery::writeAssets(assets);
    auto shader = std::make_unique<ShaderInstance>(library.findClass(className));
    render::completeParameters(*shader);
    const render::SceneSource source{set.source.empty() ? className + " defaults" : set.source, assets};
    for (const auto& [name, value] : set.parameters.items()) {
        render::setParameter(*shader, name, value, source, "parameters." + name, textures);
    }
    for (const std::string& assignment : overrides) {
        const std::size_t equals = assignment.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw std::runtime_error("--set '" + assignment + "': expected NAME=VALUE");
        }
        const std::string name = assignment.substr(0, equals);
        render::setParameter(*shader, name, overrideValue(assignment.substr(equals + 1)), {"--set", assets}, name,
                             textures);
    }
    return shader;
}

}  // namespace kestrel::lobe
