// The catalogue for people: kestrel-info's text view, wrapped to a width, and the material
// reference pages of docs/materials/ in Markdown. Both read the class objects of
// catalogue_json.h.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace kestrel::catalogue {

// Words of text broken into lines of at most width characters after the indent.
std::vector<std::string> wrapped(const std::string& text, std::size_t indent, std::size_t width);

// A default as kestrel-info prints it: "true", "0.5", "(1, 0.5, 0.1)", matrices by rows, "unset".
std::string defaultText(const nlohmann::ordered_json& value);

// "0 to 1", "0 and above", "up to 1", or "" for no range.
std::string rangeText(const nlohmann::ordered_json& range);

// The class list, sorted by name, one line each.
std::string listText(const nlohmann::ordered_json& classes, std::size_t width);

// One class: header, what it is for, what to set, its graph, then its parameters by group with
// meaning, labels, ranges and driving textures, and its varyings.
std::string classText(const nlohmann::ordered_json& c, int apiVersion, std::size_t width);

// Writes README.md (the index) and one <Class>.md per class into directory; swatches are
// expected in directory/swatches/<Class>.png.
void writeMaterialPages(const nlohmann::ordered_json& catalogue, const std::filesystem::path& directory);

}  // namespace kestrel::catalogue
