#include "gallery.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "render/scene_file.h"
#include "shader_instance.h"

namespace kestrel::gallery {

namespace {

using nlohmann::json;

// A 5 x 7 pixel font for labels: upper-case letters, digits and a few signs (rows top to
// bottom, bit 4 the leftmost pixel). Lower case prints as upper case.
struct Glyph {
    char c;
    uint8_t rows[7];
};
constexpr Glyph kGlyphs[] = {
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}}, {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}}, {'D', {0x1E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x1E}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}}, {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}}, {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}}, {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}}, {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}}, {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}}, {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}}, {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}}, {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}}, {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}}, {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}}, {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}}, {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}}, {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}}, {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}}, {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}}, {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'_', {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x1F}}, {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}}, {'(', {0x02, 0x04, 0x08, 0x08, 0x08, 0x04, 0x02}},
    {')', {0x08, 0x04, 0x02, 0x02, 0x02, 0x04, 0x08}},
};

const Glyph* glyph(char c) {
    char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (const Glyph& g : kGlyphs) {
        if (g.c == upper) return &g;
    }
    return nullptr;
}

// Text at (x, y) in linear colour, each font pixel a scale x scale block; clipped to the image.
void drawText(render::Image& image, int x, int y, const std::string& text, int scale, glm::vec4 colour) {
    for (char c : text) {
        if (const Glyph* g = glyph(c)) {
            for (int row = 0; row < 7; ++row) {
                for (int column = 0; column < 5; ++column) {
                    if (!(g->rows[row] & (0x10 >> column))) continue;
                    for (int dy = 0; dy < scale; ++dy) {
                        for (int dx = 0; dx < scale; ++dx) {
                            int px = x + column * scale + dx, py = y + row * scale + dy;
                            if (px >= 0 && py >= 0 && px < image.width && py < image.height) image.at(px, py) = colour;
                        }
                    }
                }
            }
        }
        x += 6 * scale;
    }
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
    render::Image sheet;
    if (images.empty()) return sheet;
    const int cellWidth = images.front().width, cellHeight = images.front().height;
    const int count = static_cast<int>(images.size());
    const int columns = std::max(1, std::min(count, static_cast<int>(std::ceil(std::sqrt(count * 1.5)))));
    const int rows = (count + columns - 1) / columns;
    // Large letters when every label fits the cell at that size.
    std::size_t longest = 0;
    for (const std::string& label : labels) longest = std::max(longest, label.size());
    const int scale = static_cast<int>(longest) * 12 + 4 <= cellWidth ? 2 : 1;
    const int labelHeight = 7 * scale + 6, gap = 4;
    sheet.width = columns * (cellWidth + gap) + gap;
    sheet.height = rows * (cellHeight + labelHeight + gap) + gap;
    sheet.pixels.assign(static_cast<std::size_t>(sheet.width) * static_cast<std::size_t>(sheet.height),
                        glm::vec4(0.012f, 0.012f, 0.014f, 1.0f));
    for (int i = 0; i < count; ++i) {
        const int x0 = gap + (i % columns) * (cellWidth + gap);
        const int y0 = gap + (i / columns) * (cellHeight + labelHeight + gap);
        // Fit the label in its cell: drop characters from the front (the shared prefix).
        std::string label = labels[static_cast<std::size_t>(i)];
        const int fit = std::max(1, (cellWidth - 4) / (6 * scale));
        if (static_cast<int>(label.size()) > fit) label = ".." + label.substr(label.size() - static_cast<std::size_t>(fit - 2));
        drawText(sheet, x0 + 2, y0 + 3, label, scale, glm::vec4(0.8f, 0.8f, 0.8f, 1.0f));
        const render::Image& image = images[static_cast<std::size_t>(i)];
        for (int y = 0; y < std::min(cellHeight, image.height); ++y) {
            for (int x = 0; x < std::min(cellWidth, image.width); ++x) {
                glm::vec4 p = image.at(x, y);
                sheet.at(x0 + x, y0 + labelHeight + y) = glm::vec4(glm::vec3(p), 1.0f);
            }
        }
    }
    return sheet;
}

}  // namespace kestrel::gallery
