// kestrel-catalogue: writes catalogue.json at build time. Names, order, types and defaults come
// from the built library through the registry, exactly as a host sees them; meanings, kinds,
// ranges, labels and groups from the parameter lists in the class headers. Names each declared
// parameter that has no explanation and each mode without labels.
#include <cmath>
#include <string>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include <CLI/CLI.hpp>

#include "catalogue_json.h"
#include "class_sources.h"

namespace {

using kestrel::catalogue::ordered_json;
using kestrel::catalogue::ParamDoc;

ordered_json rangeJson(bool has, const float (&range)[2]) {
    if (!has) return nullptr;
    ordered_json ends = ordered_json::array();
    for (float end : range) {
        ends.push_back(std::isinf(end) ? ordered_json(nullptr) : ordered_json(std::stod(kestrel::formatFloat(end))));
    }
    return ends;
}

// "0 none; 1 uv texture" as [{value 0, label "none"}, {value 1, label "uv texture"}].
ordered_json labelsJson(const std::string& labels) {
    ordered_json out = ordered_json::array();
    std::istringstream items(labels);
    for (std::string item; std::getline(items, item, ';');) {
        std::istringstream words(item);
        int value = 0;
        std::string label;
        if (!(words >> value)) continue;
        std::getline(words >> std::ws, label);
        out.push_back({{"value", value}, {"label", label}});
    }
    return out;
}

void writeDoc(ordered_json& p, const ParamDoc& doc) {
    p["meaning"] = doc.meaning;
    p["kind"] = doc.kind;
    p["unit"] = doc.unit.empty() ? ordered_json(nullptr) : ordered_json(doc.unit);
    p["group"] = doc.group;
    p["labels"] = labelsJson(doc.labels);
    p["hardRange"] = rangeJson(doc.hasHard, doc.hardEnds);
    p["softRange"] = rangeJson(doc.hasSoft, doc.softEnds);
    p["drivenBy"] = doc.drivenBy.empty() ? ordered_json(nullptr) : ordered_json(doc.drivenBy);
}

// Every node of a class's graphs as (path, type), from the graph JSON.
void collectNodes(const ordered_json& node, std::map<std::string, std::string>& nodes) {
    nodes[node.at("path")] = node.at("type");
    for (const auto& port : node.at("ports")) {
        if (!port.at("node").is_null()) collectNodes(port.at("node"), nodes);
    }
}

const kestrel::catalogue::NodeTypeSource* nodeType(const std::string& type) {
    for (const auto& source : kestrel::catalogue::nodeTypeSources()) {
        if (type == source.type) return &source;
    }
    return nullptr;
}

// A graph member's explanation: the member of its node's type, grouped under the node's path.
bool documentNodeMember(ordered_json& p, const std::map<std::string, std::string>& nodes) {
    const std::string name = p.at("name");
    for (const auto& [path, type] : nodes) {
        if (name.rfind(path, 0) != 0) continue;
        const std::string suffix = name.substr(path.size());
        const auto* source = nodeType(type);
        if (!source) continue;
        for (const ParamDoc& member : source->members) {
            if (member.name != suffix) continue;
            writeDoc(p, member);
            p["group"] = path.substr(path.find('_', 1) + 1);
            p["node"] = {{"type", type}, {"path", path}, {"suffix", suffix}};
            return true;
        }
    }
    return false;
}

ordered_json documentedClass(const kestrel::ShaderInstance& shader, std::vector<std::string>& errors) {
    ordered_json c = kestrel::catalogue::declaredClass(shader);
    const kestrel::catalogue::ClassSource* source = nullptr;
    for (const auto& s : kestrel::catalogue::classSources()) {
        if (shader.className() == s.name) source = &s;
    }
    if (!source) {
        errors.push_back(shader.className() + ": no ClassDoc");
        return c;
    }
    c["summary"] = source->summary;
    c["description"] = source->description;
    c["toSee"] = source->toSee;
    c["graph"] = source->graph;
    std::map<std::string, std::string> nodes;
    for (const auto& input : source->graph) collectNodes(input.at("node"), nodes);
    for (auto& p : c["parameters"]) {
        const ParamDoc* doc = nullptr;
        // The last list that explains a name wins, so a class may restate a shared member.
        for (const ParamDoc& d : source->params) {
            if (d.name == p.at("name")) doc = &d;
        }
        if (doc) writeDoc(p, *doc);
        else if (!documentNodeMember(p, nodes)) errors.push_back(shader.className() + "." + p.at("name").get<std::string>() + ": no explanation");
        if (p.at("meaning").get<std::string>().empty() || p.at("kind").get<std::string>().empty() ||
            p.at("group").get<std::string>().empty()) {
            errors.push_back(shader.className() + "." + p.at("name").get<std::string>() + ": meaning, kind or group empty");
        }
        if (p.at("kind") == "mode" && p.at("labels").empty()) {
            errors.push_back(shader.className() + "." + p.at("name").get<std::string>() + ": a mode without labels");
        }
    }
    c["groups"] = kestrel::catalogue::groupsOf(c.at("parameters"));
    return c;
}

ordered_json nodeTypesJson() {
    ordered_json types = ordered_json::array();
    for (const auto& source : kestrel::catalogue::nodeTypeSources()) {
        ordered_json members = ordered_json::array();
        for (const ParamDoc& doc : source.members) {
            ordered_json m;
            writeDoc(m, doc);
            members.push_back({{"suffix", doc.name}, {"type", doc.type}, {"meaning", m["meaning"]},
                               {"kind", m["kind"]}, {"unit", m["unit"]}, {"labels", m["labels"]},
                               {"hardRange", m["hardRange"]}, {"softRange", m["softRange"]}});
        }
        types.push_back({{"type", source.type}, {"description", source.description}, {"ports", source.ports},
                         {"members", members}});
    }
    return types;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Writes the catalogue of a Kestrel Shaders library: every class and parameter explained."};
    std::string libraryPath = kestrel::PluginLibrary::defaultPath();
    std::string output;
    app.add_option("--library", libraryPath, "Shader library whose declarations to read");
    app.add_option("-o,--output", output, "catalogue.json to write")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        kestrel::PluginLibrary library(libraryPath);
        ordered_json classes = ordered_json::array();
        std::vector<std::string> errors;
        for (const std::string& name : kestrel::catalogue::sortedClassNames(library)) {
            kestrel::ShaderInstance shader(library.findClass(name));
            classes.push_back(documentedClass(shader, errors));
        }
        // Gaps are reported, not fatal: the build still gives a catalogue to look at, and the
        // test suite fails until every parameter is explained.
        for (const std::string& error : errors) std::cerr << "kestrel-catalogue: warning: " << error << "\n";
        const std::string text = kestrel::catalogue::document(classes, nodeTypesJson()).dump(1) + "\n";
        // Rewrite only on change, so that what depends on the file rebuilds only when it must.
        std::ifstream existing(output);
        const std::string old((std::istreambuf_iterator<char>(existing)), std::istreambuf_iterator<char>());
        if (old != text) std::ofstream(output) << text;
    } catch (const std::exception& error) {
        std::cerr << "kestrel-catalogue: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
