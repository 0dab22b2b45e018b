#include "look.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "name_match.h"

namespace kestrel::studio {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr int kMaxSamples = 1024;
constexpr int kMinSize = 16;
constexpr int kMaxSize = 1024;
constexpr int64_t kMaxSeed = 2147483647;

[[noreturn]] void fail(const std::string& message, const std::string& parameter = "") {
    throw RequestFailure(RequestError{400, message, parameter});
}

json readJsonFile(const fs::path& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot read '" + path.string() + "'");
    json document = json::parse(file, nullptr, false);
    if (document.is_discarded() || !document.is_object()) {
        throw std::runtime_error("'" + path.string() + "' is not a JSON object");
    }
    return document;
}

std::string choice(const json& stage, const char* key, const std::string& current,
                   const std::vector<std::string>& allowed) {
    if (!stage.contains(key)) return current;
    const json& value = stage[key];
    if (value.is_string() && std::find(allowed.begin(), allowed.end(), value.get<std::string>()) != allowed.end()) {
        return value.get<std::string>();
    }
    std::string list;
    for (const std::string& a : allowed) list += (list.empty() ? "'" : ", '") + a + "'";
    fail(std::string("stage.") + key + ": expected one of " + list, std::string("stage.") + key);
}

int64_t whole(const json& stage, const char* key, int64_t current, int64_t low, int64_t high) {
    if (!stage.contains(key)) return current;
    const json& value = stage[key];
    if (!value.is_number_integer() || value.get<int64_t>() < low || value.get<int64_t>() > high) {
        fail(std::string("stage.") + key + ": expected a whole number from " + std::to_string(low) + " to " +
                 std::to_string(high),
             std::string("stage.") + key);
    }
    return value.get<int64_t>();
}

Stage parseStage(const json& stage) {
    static const std::vector<std::string> kKeys = {"scene", "environment", "lights", "mode", "samples", "size", "seed"};
    Stage result;
    if (stage.is_null()) return result;
    if (!stage.is_object()) fail("stage: expected an object", "stage");
    for (const auto& [key, value] : stage.items()) {
        if (std::find(kKeys.begin(), kKeys.end(), key) == kKeys.end()) {
            fail("stage." + key + ": unknown stage setting" + didYouMean(key, kKeys), "stage." + key);
        }
    }
    result.scene = choice(stage, "scene", result.scene, {"gallery", "sphere"});
    result.environment = choice(stage, "environment", result.environment, {"sky", "plain", "none"});
    result.lights = choice(stage, "lights", result.lights, {"gallery", "key", "none"});
    result.mode = choice(stage, "mode", result.mode, {"shade", "path"});
    result.samples = static_cast<int>(whole(stage, "samples", result.samples, 1, kMaxSamples));
    result.size = static_cast<int>(whole(stage, "size", result.size, kMinSize, kMaxSize));
    result.seed = static_cast<uint32_t>(whole(stage, "seed", result.seed, 0, kMaxSeed));
    return result;
}

// Texture values name gallery images; the renderer gets their place in the assets folder.
json resolvedParameters(const json& parameters, const ClassInfo& info, const StageFiles& files) {
    json resolved = json::object();
    for (const auto& [name, value] : parameters.items()) {
        const ParameterInfo* p = info.find(name);
        const bool imageName = p && isTexture(p->type) && value.is_string();
        resolved[name] = imageName ? json((fs::path(files.assetsDirectory) / value.get<std::string>()).string()) : value;
    }
    return resolved;
}

json renderBlock(const Look& look, const json& stageRender) {
    json render = stageRender.is_object() ? stageRender : json::object();
    render["resolution"] = {look.stage.size, look.stage.size};
    render["spp"] = look.stage.samples;
    render["mode"] = look.stage.mode;
    render["seed"] = look.stage.seed;
    return render;
}

// The material's object: on the gallery stage where the class's preview puts it, otherwise a
// sphere at the origin.
json lookObject(const Look& look, const StageFiles& files, const json& material) {
    json object = {{"shape", "sphere"}, {"material", material}};
    if (look.stage.scene != "gallery") return object;
    object["shape"] = "materialBall";
    auto preview = files.previews.find(look.className);
    if (preview != files.previews.end()) {
        if (preview->second.contains("shape")) object["shape"] = preview->second["shape"];
        if (preview->second.contains("matrix")) object["matrix"] = preview->second["matrix"];
    }
    return object;
}

std::string imageName(const json& value, const std::string& parameter, const StageFiles& files) {
    const std::string name = fs::path(value.get<std::string>()).filename().string();
    if (std::find(files.assets.begin(), files.assets.end(), name) == files.assets.end()) {
        fail(parameter + ": '" + value.get<std::string>() + "' is not one of the gallery images" +
                 didYouMean(name, files.assets),
             parameter);
    }
    return name;
}

json importedStage(const json& document) {
    json stage = json::object();
    const json render = document.value("render", json::object());
    if (render.is_object()) {
        if (render.contains("mode")) stage["mode"] = render["mode"];
        if (render.contains("spp")) stage["samples"] = render["spp"];
        if (render.contains("seed")) stage["seed"] = render["seed"];
        if (render.contains("resolution") && render["resolution"].is_array() && !render["resolution"].empty()) {
            stage["size"] = render["resolution"][0];
        }
    }
    const json environment = document.value("environment", json());
    if (environment.is_null()) stage["environment"] = "none";
    else stage["environment"] = environment.value("parameters", json::object()).contains("reflectionLatlong") ? "sky" : "plain";
    const std::size_t lights = document.value("lights", json::array()).size();
    stage["lights"] = lights == 0 ? "none" : lights == 1 ? "key" : "gallery";
    stage["scene"] = document["objects"].size() > 1 ? "gallery" : "sphere";
    return stage;
}

}  // namespace

StageFiles StageFiles::read(const std::string& galleryDirectory) {
    StageFiles files;
    const fs::path directory(galleryDirectory);
    files.assetsDirectory = (directory / "assets").string();
    files.stage = readJsonFile(directory / "stage.json");
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory / "previews", error)) {
        if (entry.path().extension() == ".json") files.previews[entry.path().stem().string()] = readJsonFile(entry.path());
    }
    for (const auto& entry : fs::directory_iterator(files.assetsDirectory, error)) {
        if (entry.is_regular_file()) files.assets.push_back(entry.path().filename().string());
    }
    std::sort(files.assets.begin(), files.assets.end());
    if (files.assets.empty()) throw std::runtime_error("no gallery images in '" + files.assetsDirectory + "'");
    return files;
}

Look parseLook(const json& body, const ClassCatalogue& catalogue, const StageFiles& files) {
    if (!body.is_object()) fail("the request must be a JSON object");
    if (!body.contains("class") || !body["class"].is_string()) fail("class: expected the name of a material class", "class");
    Look look;
    look.className = body["class"].get<std::string>();
    const ClassInfo* info = catalogue.find(look.className);
    if (!info || info->kind != "material") {
        std::vector<std::string> names;
        for (const auto& entry : catalogue.materialList()) names.push_back(entry["name"].get<std::string>());
        fail("class: '" + look.className + "' is not a material class of the library" + didYouMean(look.className, names),
             "class");
    }
    const json parameters = body.value("parameters", json::object());
    if (!parameters.is_object()) fail("parameters: expected an object of name and value", "parameters");
    for (const auto& [name, value] : parameters.items()) {
        if (auto fault = catalogue.check(*info, name, value, files.assets)) throw RequestFailure(*fault);
    }
    look.parameters = parameters;
    look.stage = parseStage(body.value("stage", json()));
    return look;
}

json sceneDocument(const Look& look, const ClassCatalogue& catalogue, const StageFiles& files) {
    json document = json::object();
    const json& stage = files.stage;
    if (look.stage.scene == "gallery") {
        document["camera"] = stage.value("camera", json::object());
    } else {
        document["camera"] = {{"position", {0.0, -6.0, 1.2}}, {"lookAt", {0.0, 0.0, 0.0}}, {"up", {0.0, 0.0, 1.0}},
                              {"fov", 30}};
    }
    document["render"] = renderBlock(look, stage.value("render", json::object()));
    if (stage.contains("ambient")) document["ambient"] = stage["ambient"];
    if (look.stage.environment != "none" && stage.contains("environment")) {
        json environment = stage["environment"];
        if (look.stage.environment == "plain") environment["parameters"].erase("reflectionLatlong");
        for (auto& [name, value] : environment["parameters"].items()) {
            if (value.is_string()) value = (fs::path(files.assetsDirectory) / value.get<std::string>()).string();
        }
        document["environment"] = environment;
    }
    json lights = stage.value("lights", json::array());
    if (look.stage.lights == "none") lights = json::array();
    if (look.stage.lights == "key" && lights.size() > 1) lights = json::array({lights[0]});
    document["lights"] = lights;
    json objects = json::array();
    if (look.stage.scene == "gallery") objects = stage.value("objects", json::array());
    json material = {{"class", look.className}, {"parameters", json::object()}};
    if (const ClassInfo* info = catalogue.find(look.className)) {
        material["parameters"] = resolvedParameters(look.parameters, *info, files);
    }
    objects.push_back(lookObject(look, files, material));
    document["objects"] = objects;
    return document;
}

json importLook(const json& document, const ClassCatalogue& catalogue, const StageFiles& files) {
    if (!document.is_object() || !document.contains("objects") || !document["objects"].is_array() ||
        document["objects"].empty()) {
        fail("a scene to import needs an objects array whose last object holds the look");
    }
    const json material = document["objects"].back().value("material", json());
    if (!material.is_object() || !material.contains("class")) fail("the last object has no material class");
    json parameters = material.value("parameters", json::object());
    const ClassInfo* info = material["class"].is_string() ? catalogue.find(material["class"].get<std::string>()) : nullptr;
    if (info && parameters.is_object()) {
        for (auto& [name, value] : parameters.items()) {
            const ParameterInfo* p = info->find(name);
            if (p && isTexture(p->type) && value.is_string()) value = imageName(value, name, files);
        }
    }
    json look = {{"class", material["class"]}, {"parameters", parameters}, {"stage", importedStage(document)}};
    parseLook(look, catalogue, files);
    return look;
}

json startParameters(const std::string& className, const StageFiles& files) {
    auto preview = files.previews.find(className);
    if (preview == files.previews.end()) return json::object();
    return preview->second.value("parameters", json::object());
}

}  // namespace kestrel::studio
