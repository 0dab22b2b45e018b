#include "catalogue_text.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>

namespace kestrel::catalogue {

using nlohmann::ordered_json;

namespace {

// Whether a default is an identity matrix (rows of 0 with 1 on the diagonal).
bool isIdentity(const ordered_json& value) {
    if (!value.is_array() || value.size() < 3 || !value[0].is_array()) return false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        for (std::size_t j = 0; j < value[i].size(); ++j) {
            if (value[i][j].get<double>() != (i == j ? 1.0 : 0.0)) return false;
        }
    }
    return true;
}

std::string joined(const ordered_json& words, const char* separator) {
    std::string text;
    for (const auto& word : words) text += (text.empty() ? "" : separator) + word.get<std::string>();
    return text;
}

std::string numberText(const ordered_json& value) {
    std::ostringstream out;
    out << value.get<double>();
    return out.str();
}

std::string labelsText(const ordered_json& labels) {
    std::string text;
    for (const auto& l : labels) {
        text += (text.empty() ? "" : "; ") + std::to_string(l.at("value").get<int>()) + " " +
                l.at("label").get<std::string>();
    }
    return text;
}

// Range, slider and driving texture in one line, or "".
std::string limitsText(const ordered_json& p) {
    std::string text;
    const std::string hard = rangeText(p.at("hardRange")), soft = rangeText(p.at("softRange"));
    if (!hard.empty()) text += "range " + hard;
    if (!soft.empty()) text += std::string(text.empty() ? "" : ", ") + "slider " + soft;
    if (!p.at("unit").is_null()) text += std::string(text.empty() ? "" : ", ") + "in " + p.at("unit").get<std::string>();
    if (!p.at("drivenBy").is_null()) {
        text += std::string(text.empty() ? "" : ", ") + "driven by " + p.at("drivenBy").get<std::string>();
    }
    return text;
}

void appendWrapped(std::string& out, const std::string& text, std::size_t indent, std::size_t width) {
    for (const std::string& line : wrapped(text, indent, width)) out += std::string(indent, ' ') + line + "\n";
}

void graphLines(std::string& out, const ordered_json& node, const std::string& feeds, std::size_t depth) {
    out += std::string(2 + 2 * depth, ' ') + feeds + " <- " + node.at("type").get<std::string>() + "  " +
           node.at("path").get<std::string>() + "\n";
    for (const auto& port : node.at("ports")) {
        if (!port.at("node").is_null()) {
            graphLines(out, port.at("node"), port.at("port"), depth + 1);
        } else if (!port.at("constant").is_null()) {
            out += std::string(4 + 2 * depth, ' ') + port.at("port").get<std::string>() + " <- constant " +
                   port.at("constant").get<std::string>() + "\n";
        }
    }
}

std::string parametersText(const ordered_json& c, std::size_t width) {
    std::size_t nameWidth = 4;
    for (const auto& p : c.at("parameters")) nameWidth = std::max(nameWidth, p.at("name").get<std::string>().size());
    std::string out = "\nParameters (" + std::to_string(c.at("parameters").size()) + "):\n";
    std::string group = "\x01";
    char line[512];
    for (const auto& p : c.at("parameters")) {
        if (p.at("group") != group) {
            group = p.at("group");
            out += "\n  " + group + "\n";
        }
        std::snprintf(line, sizeof line, "  %3d  %-*s  %-12s  %s\n", p.at("index").get<int>(), static_cast<int>(nameWidth),
                      p.at("name").get<std::string>().c_str(), p.at("type").get<std::string>().c_str(),
                      defaultText(p.at("default")).c_str());
        out += line;
        appendWrapped(out, p.at("meaning").get<std::string>(), 7, width);
        if (!p.at("labels").empty()) appendWrapped(out, "values: " + labelsText(p.at("labels")), 7, width);
        const std::string limits = limitsText(p);
        if (!limits.empty()) appendWrapped(out, limits, 7, width);
    }
    return out;
}

std::string markdownCell(std::string text) {
    std::string out;
    for (char ch : text) out += ch == '|' ? std::string("\\|") : std::string(1, ch);
    return out;
}

std::string parameterRow(const ordered_json& p) {
    std::string meaning = markdownCell(p.at("meaning"));
    if (!p.at("labels").empty()) {
        meaning += "<br>Values:";
        for (const auto& l : p.at("labels")) {
            meaning += " `" + std::to_string(l.at("value").get<int>()) + "` " + markdownCell(l.at("label")) + ";";
        }
        meaning.pop_back();
    }
    if (!p.at("drivenBy").is_null()) meaning += "<br>Driven by `" + p.at("drivenBy").get<std::string>() + "`.";
    std::string range = rangeText(p.at("hardRange"));
    const std::string soft = rangeText(p.at("softRange"));
    if (!soft.empty()) range += (range.empty() ? "" : "; ") + std::string("slider ") + soft;
    if (!p.at("unit").is_null()) range += (range.empty() ? "" : "; ") + p.at("unit").get<std::string>();
    return "| " + std::to_string(p.at("index").get<int>()) + " | `" + p.at("name").get<std::string>() + "` | " +
           p.at("type").get<std::string>() + " | " + markdownCell(defaultText(p.at("default"))) + " | " + range +
           " | " + meaning + " |\n";
}

void graphMarkdown(std::string& out, const ordered_json& node, const std::string& feeds, std::size_t depth) {
    out += std::string(2 * depth, ' ') + "- `" + feeds + "` ← " + node.at("type").get<std::string>() + " `" +
           node.at("path").get<std::string>() + "`\n";
    for (const auto& port : node.at("ports")) {
        if (!port.at("node").is_null()) {
            graphMarkdown(out, port.at("node"), port.at("port"), depth + 1);
        } else if (!port.at("constant").is_null()) {
            out += std::string(2 * depth + 2, ' ') + "- `" + port.at("port").get<std::string>() + "` ← constant `" +
                   port.at("constant").get<std::string>() + "`\n";
        }
    }
}

// Classes that sample or evaluate a lobe have a section in the certificates page; its anchor is the
// class name in lower case, as Markdown renderers derive it from the heading.
std::string certificateLink(const ordered_json& c) {
    const auto& slots = c.at("slots");
    const auto announces = [&](const char* slot) { return std::find(slots.begin(), slots.end(), slot) != slots.end(); };
    if (!announces("evaluateBsdf") && !announces("sampleBsdf")) return "";
    std::string anchor = c.at("name");
    std::transform(anchor.begin(), anchor.end(), anchor.begin(), [](unsigned char ch) { return std::tolower(ch); });
    return " [Lobe certificate](../certificates.md#" + anchor + ")";
}

std::string classPage(const ordered_json& c) {
    const std::string name = c.at("name");
    std::string out = "# " + name + "\n\n" + c.at("summary").get<std::string>() + "\n\n![" + name + "](swatches/" +
                      name + ".png)\n\n" + c.at("description").get<std::string>() + "\n\n**To see anything:** " +
                      c.at("toSee").get<std::string>() + "\n\n" + c.at("kind").get<std::string>() +
                      ", answers " + joined(c.at("slots"), ", ") + "; " + std::to_string(c.at("parameterCount").get<int>()) +
                      " parameters. [All classes](README.md)" + certificateLink(c) + "\n";
    if (!c.at("graph").empty()) {
        out += "\n## Graph\n\n";
        for (const auto& input : c.at("graph")) graphMarkdown(out, input.at("node"), input.at("input"), 0);
    }
    out += "\n## Parameters\n";
    std::string group = "\x01";
    for (const auto& p : c.at("parameters")) {
        if (p.at("group") != group) {
            group = p.at("group");
            out += "\n### " + group + "\n\n| # | parameter | type | default | range | meaning |\n|---|---|---|---|---|---|\n";
        }
        out += parameterRow(p);
    }
    if (!c.at("varyings").empty()) {
        out += "\n## Varyings\n\n| varying | type | offset |\n|---|---|---|\n";
        for (const auto& v : c.at("varyings")) {
            out += "| `" + v.at("name").get<std::string>() + "` | " + v.at("type").get<std::string>() + " | " +
                   std::to_string(v.at("offset").get<int>()) + " |\n";
        }
    }
    return out;
}

std::string indexPage(const ordered_json& catalogue) {
    std::string out =
        "# Material reference\n\nEvery shader class of the library: what it is for, what to set to see anything, and "
        "each parameter with its default, range, labels and meaning. Generated from the catalogue "
        "([format](../catalogue.md)); do not edit by hand. Regenerate the pages with\n\n"
        "```sh\nbuild/release/bin/kestrel-info --markdown docs/materials\n```\n\n"
        "and the swatches (gallery previews) with `scripts/render-swatches`. To try a class, name it and its "
        "parameters in a scene for `kestrel-render` ([scene format](../scene-format.md)).\n\n"
        "| | class | kind | parameters | what it is for |\n|---|---|---|---|---|\n";
    for (const auto& c : catalogue.at("classes")) {
        const std::string name = c.at("name");
        out += "| <img src=\"swatches/" + name + ".png\" width=\"80\"> | [" + name + "](" + name + ".md) | " +
               c.at("kind").get<std::string>() + " | " + std::to_string(c.at("parameterCount").get<int>()) + " | " +
               markdownCell(c.at("summary")) + " |\n";
    }
    return out;
}

}  // namespace

std::vector<std::string> wrapped(const std::string& text, std::size_t indent, std::size_t width) {
    const std::size_t room = width > indent + 20 ? width - indent : 20;
    std::vector<std::string> lines;
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > room) {
            lines.push_back(line);
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

std::string defaultText(const ordered_json& value) {
    if (value.is_null()) return "unset";
    if (isIdentity(value)) return "identity";
    if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
    if (value.is_number_integer()) return std::to_string(value.get<int>());
    if (value.is_number()) return numberText(value);
    if (value.is_string()) return value.get<std::string>();
    std::string text = "(";
    for (const auto& item : value) text += (text.size() > 1 ? ", " : "") + defaultText(item);
    return text + ")";
}

std::string rangeText(const ordered_json& range) {
    if (range.is_null()) return "";
    const bool low = !range[0].is_null(), high = !range[1].is_null();
    if (low && high) return numberText(range[0]) + " to " + numberText(range[1]);
    if (low) return numberText(range[0]) + " and above";
    if (high) return "up to " + numberText(range[1]);
    return "";
}

std::string listText(const ordered_json& classes, std::size_t width) {
    std::string out;
    char line[512];
    std::snprintf(line, sizeof line, "%-28s %-12s %6s  %-14s %s\n", "CLASS", "KIND", "PARAMS", "CAPABILITIES", "WHAT IT IS FOR");
    out += line;
    for (const auto& c : classes) {
        std::snprintf(line, sizeof line, "%-28s %-12s %6d  %-14s ", c.at("name").get<std::string>().c_str(),
                      c.at("kind").get<std::string>().c_str(), c.at("parameterCount").get<int>(),
                      std::to_string(c.at("capabilities").at("mask").get<int>()).c_str());
        std::string text = line;
        const std::string summary = c.at("summary");
        const std::size_t room = width > text.size() + 10 ? width - text.size() : 10;
        text += summary.size() > room ? summary.substr(0, room - 3) + "..." : summary;
        out += text + "\n";
    }
    return out;
}

std::string classText(const ordered_json& c, int apiVersion, std::size_t width) {
    std::string out = c.at("name").get<std::string>() + ": " + c.at("kind").get<std::string>() + ", capabilities " +
                      std::to_string(c.at("capabilities").at("mask").get<int>()) + " (" +
                      joined(c.at("capabilities").at("names"), ", ") + "), revision 1, API version " +
                      std::to_string(apiVersion) + "\n\n";
    appendWrapped(out, c.at("summary"), 0, width);
    out += "\n";
    appendWrapped(out, c.at("description"), 0, width);
    out += "\n";
    appendWrapped(out, "To see anything: " + c.at("toSee").get<std::string>(), 0, width);
    if (!c.at("graph").empty()) {
        out += "\nGraph:\n";
        for (const auto& input : c.at("graph")) graphLines(out, input.at("node"), input.at("input"), 0);
    }
    out += parametersText(c, width);
    out += "\nVaryings (" + std::to_string(c.at("varyings").size()) + "):\n";
    char line[256];
    for (const auto& v : c.at("varyings")) {
        std::snprintf(line, sizeof line, "       %-10s %-8s offset %d\n", v.at("name").get<std::string>().c_str(),
                      v.at("type").get<std::string>().c_str(), v.at("offset").get<int>());
        out += line;
    }
    return out;
}

void writeMaterialPages(const ordered_json& catalogue, const std::filesystem::path& directory) {
    std::filesystem::create_directories(directory);
    std::ofstream(directory / "README.md") << indexPage(catalogue);
    for (const auto& c : catalogue.at("classes")) {
        std::ofstream(directory / (c.at("name").get<std::string>() + ".md")) << classPage(c);
    }
}

}  // namespace kestrel::catalogue
