// A look as the page edits it: a material class, the parameters set on it and the stage it is
// shown on. It becomes a scene document that the reference renderer reads unchanged, which is
// also what the page exports; an imported scene becomes a look again.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "class_catalogue.h"

namespace kestrel::studio {

// A RequestError on its way to the response.
class RequestFailure : public std::runtime_error {
public:
    explicit RequestFailure(RequestError error) : std::runtime_error(error.message), error_(std::move(error)) {}
    const RequestError& error() const { return error_; }

private:
    RequestError error_;
};

struct Stage {
    std::string scene = "gallery";        // "gallery": the gallery's floor and camera; "sphere": a plain sphere
    std::string environment = "sky";      // "sky", "plain" (background colour only) or "none"
    std::string lights = "gallery";       // "gallery" (key and rim), "key" or "none"
    std::string mode = "shade";           // "shade" or "path"
    int samples = 16;
    int size = 256;                       // square image
    uint32_t seed = 0;
};

struct Look {
    std::string className;
    nlohmann::json parameters = nlohmann::json::object();
    Stage stage;
};

// The gallery files the stage is built from; textures are chosen among `assets` by name.
struct StageFiles {
    std::string assetsDirectory;
    nlohmann::json stage;                         // gallery/stage.json
    std::map<std::string, nlohmann::json> previews;  // gallery/previews/<Class>.json by class
    std::vector<std::string> assets;              // file names in assetsDirectory

    // Reads the gallery folder; throws std::runtime_error naming a missing or faulty file.
    static StageFiles read(const std::string& galleryDirectory);
};

// Reads {"class", "parameters", "stage"} and checks every value; throws RequestFailure.
Look parseLook(const nlohmann::json& body, const ClassCatalogue& catalogue, const StageFiles& files);

// The scene file of the look, texture names turned into paths inside the assets folder.
nlohmann::json sceneDocument(const Look& look, const ClassCatalogue& catalogue, const StageFiles& files);

// The look of a scene file that sceneDocument wrote (or one shaped like it): the class and
// parameters of the last object's material and the stage settings. Texture paths are reduced
// to the gallery image they name, and nothing the document names is opened. Throws
// RequestFailure for a document it cannot read as a look.
nlohmann::json importLook(const nlohmann::json& document, const ClassCatalogue& catalogue, const StageFiles& files);

// The parameters a class starts with in the studio: its gallery preview's, where it has one.
nlohmann::json startParameters(const std::string& className, const StageFiles& files);

}  // namespace kestrel::studio
