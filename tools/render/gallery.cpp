#include "gallery.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include "render/scene_file.h"
#include "shader_instance.h"

namespace kestrel::gallery {

namespace {

using nlohmann::json;

// The labels' font: DejaVu Sans from Debian's fonts-dejavu-core, which OpenImageIO's text
// rendering finds by name.
constexpr const char* kLabelFont = "DejaVuSans";

OIIO::ImageBuf toImageBuf(const render::Image& image) {
    OIIO::ImageBuf buffer(OIIO::ImageSpec(image.width, image.height, 4, OIIO::TypeDesc::FLOAT));
    buffer.set_pixels(OIIO::ROI(0, image.width, 0, image.height, 0, 1, 0, 4), OIIO::TypeDesc::FLOAT, image.pixels.data());
    return buffer;
}

render::Image fromImageBuf(const OIIO::ImageBuf& buffer) {
    render::Image image;
    image.width = buffer.spec().width;
    image.height = buffer.spec().height;
    image.pixels.resize(static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height));
    buffer.get_pixels(OIIO::ROI(0, image.width, 0, image.height, 0, 1, 0, 4), OIIO::TypeDesc::FLOAT, image.pixels.data());
    return image;
}

json readJson(const std::string& path) { return render::readSceneFile(path); }

}  // namespace

namespace {

bool isMaterialClass(const PluginLibrary& library, const std::string& className) {
    try {
        return ShaderInstance(library.findClass(className)).kind() == ksi::kKindMaterial;
    } catch (const LoadError& error) {
        throw render::SceneError(std::string("cannot add ") + className + " to the gallery: " + error.what());
    }
}

// Shapes the ball from a class's preview file and returns the further objects it adds.
json applyPreviewFile(const std::string& path, json& object) {
    json spec = readJson(path);
    static const std::vector<std::string> kKeys = {"shape", "matrix", "parameters", "objects", "note"};
    if (!spec.is_object()) throw render::SceneError(path + ": expected an object");
    for (const auto& [key, value] : spec.items()) {
        if (std::find(kKeys.begin(), kKeys.end(), key) == kKeys.end()) {
            throw render::SceneError(path + ": " + key + ": unknown key '" + key +
                                     "' (expected shape, matrix, parameters, objects or note)");
        }
    }
    if (spec.contains("shape")) object["shape"] = spec["shape"];
    if (spec.contains("matrix")) object["matrix"] = spec["matrix"];
    if (spec.contains("parameters")) object["material"]["parameters"] = spec["parameters"];
    // Further objects, written as in a scene file: the class in other modes beside the ball,
    // or something for a backdrop to catch the shadow of.
    if (!spec.contains("objects")) return json::array();
    if (!spec["objects"].is_array()) throw render::SceneError(path + ": objects: expected an array of objects");
    return spec["objects"];
}

}  // namespace

std::vector<Preview> previews(const PluginLibrary& library, const std::string& galleryDirectory) {
    const std::filesystem::path directory(galleryDirectory);
    const std::string stagePath = (directory / "stage.json").string();
    const json stage = readJson(stagePath);
    if (!stage.is_object()) throw render::SceneError(stagePath + ": expected an object");

    std::vector<Preview> result;
    for (const std::string& className : library.classNames()) {
        // Only materials get a preview; a class that fails to load is reported by the scene.
        if (!isMaterialClass(library, className)) continue;
        Preview preview;
        preview.className = className;
        preview.source = stagePath;
        json object = {{"shape", "materialBall"}, {"material", {{"class", className}}}};
        json extraObjects = json::array();
        const std::filesystem::path previewPath = directory / "previews" / (className + ".json");
        std::error_code error;
        if (std::filesystem::is_regular_file(previewPath, error)) {
            preview.source = previewPath.string();
            preview.hasPreviewFile = true;
            extraObjects = applyPreviewFile(preview.source, object);
        }
        preview.scene = stage;
        if (!preview.scene.contains("objects")) preview.scene["objects"] = json::array();
        preview.scene["objects"].push_back(object);
        for (const json& extra : extraObjects) preview.scene["objects"].push_back(extra);
        result.push_back(std::move(preview));
    }
    return result;
}

render::Image contactSheet(const std::vector<std::string>& labels, const std::vector<render::Image>& images) {
    if (images.empty()) return {};
    const int cellWidth = images.front().width, cellHeight = images.front().height;
    const int count = static_cast<int>(images.size());
    const int columns = std::max(1, std::min(count, static_cast<int>(std::ceil(std::sqrt(count * 1.5)))));
    const int rows = (count + columns - 1) / columns;
    const int fontSize = std::clamp(cellWidth / 16, 9, 16), labelHeight = fontSize + 8, gap = 4;
    const float background[4] = {0.012f, 0.012f, 0.014f, 1.0f}, ink[4] = {0.8f, 0.8f, 0.8f, 1.0f};
    OIIO::ImageBuf sheet(OIIO::ImageSpec(columns * (cellWidth + gap) + gap, rows * (cellHeight + labelHeight + gap) + gap, 4,
                                         OIIO::TypeDesc::FLOAT));
    OIIO::ImageBufAlgo::fill(sheet, background);
    for (int i = 0; i < count; ++i) {
        const int x0 = gap + (i % columns) * (cellWidth + gap);
        const int y0 = gap + (i / columns) * (cellHeight + labelHeight + gap);
        // The label in its real case, clipped to its cell.
        OIIO::ImageBuf label(OIIO::ImageSpec(cellWidth, labelHeight, 4, OIIO::TypeDesc::FLOAT));
        OIIO::ImageBufAlgo::fill(label, background);
        OIIO::ImageBufAlgo::render_text(label, 2, fontSize + 2, labels[static_cast<std::size_t>(i)], fontSize, kLabelFont, ink);
        OIIO::ImageBufAlgo::paste(sheet, x0, y0, 0, 0, label);
        // The preview, opaque.
        OIIO::ImageBuf preview = toImageBuf(images[static_cast<std::size_t>(i)]);
        const float opaque[4] = {1.0f, 1.0f, 1.0f, 0.0f}, one[4] = {0.0f, 0.0f, 0.0f, 1.0f};
        preview = OIIO::ImageBufAlgo::mad(preview, OIIO::cspan<float>(opaque, 4), OIIO::cspan<float>(one, 4));
        OIIO::ImageBufAlgo::paste(sheet, x0, y0 + labelHeight, 0, 0, preview);
    }
    return fromImageBuf(sheet);
}

}  // namespace kestrel::gallery
