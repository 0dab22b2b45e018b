#include "catalogue_json.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kestrel::catalogue {

namespace {

// The shortest decimal that reads back as the float: 0.1 rather than the double nearest to
// 0.1f, 0.10000000149011612.
ordered_json floatJson(float value) {
    if (!std::isfinite(value)) return value;
    return std::strtod(formatFloat(value).c_str(), nullptr);
}

ordered_json floatsJson(const float* values, int count) {
    ordered_json array = ordered_json::array();
    for (int i = 0; i < count; ++i) array.push_back(floatJson(values[i]));
    return array;
}

ordered_json matrixJson(const float* values, int size) {
    ordered_json rows = ordered_json::array();
    for (int row = 0; row < size; ++row) rows.push_back(floatsJson(values + row * size, size));
    return rows;
}

// The shading slots a capability mask announces, in slot order.
ordered_json slotsOf(int32_t mask) {
    ordered_json slots = ordered_json::array();
    for (const std::string& name : capabilityNames(mask)) {
        if (name != "light" && name != "environment") slots.push_back(name);
    }
    if (mask & (ksi::kCapLight | ksi::kCapEnvironment)) slots.push_back("shade");
    return slots;
}

const char* const kDocFields[] = {"meaning", "kind", "unit", "group", "labels", "hardRange", "softRange",
                                  "drivenBy", "node"};
const char* const kClassDocFields[] = {"summary", "description", "toSee", "graph"};

}  // namespace

ordered_json valueJson(const ParamValue& value) {
    struct Visitor {
        ordered_json operator()(bool v) const { return v; }
        ordered_json operator()(int32_t v) const { return v; }
        ordered_json operator()(float v) const { return floatJson(v); }
        ordered_json operator()(const ksi::Float2& v) const { return floatsJson(&v.x, 2); }
        ordered_json operator()(const ksi::Float3& v) const { return floatsJson(&v.x, 3); }
        ordered_json operator()(const ksi::Float4& v) const { return floatsJson(&v.x, 4); }
        ordered_json operator()(const ksi::Float3x3& v) const { return matrixJson(v.m, 3); }
        ordered_json operator()(const ksi::Float4x4& v) const { return matrixJson(v.m, 4); }
        ordered_json operator()(const ksi::TextureHandle& v) const {
            return v.object ? ordered_json("bound") : ordered_json(nullptr);
        }
    };
    return std::visit(Visitor{}, value);
}

ordered_json declaredClass(const ShaderInstance& shader) {
    const ShaderDeclaration& declaration = shader.declaration();
    ordered_json parameters = ordered_json::array();
    int index = 1;
    for (const ParameterDeclaration& p : declaration.parameters) {
        parameters.push_back({{"index", index++},
                              {"name", p.name},
                              {"type", typeName(p.type)},
                              {"default", valueJson(readValue(p.type, p.address))},
                              {"meaning", ""},
                              {"kind", ""},
                              {"unit", nullptr},
                              {"group", ""},
                              {"labels", ordered_json::array()},
                              {"hardRange", nullptr},
                              {"softRange", nullptr},
                              {"drivenBy", nullptr},
                              {"node", nullptr}});
    }
    ordered_json varyings = ordered_json::array();
    for (const VaryingDeclaration& v : declaration.varyings) {
        varyings.push_back({{"name", v.name}, {"type", varyingTypeName(v.type)}, {"offset", v.offset}});
    }
    return {{"name", shader.className()},
            {"kind", kindName(shader.kind())},
            {"capabilities", {{"mask", declaration.capabilities}, {"names", capabilityNames(declaration.capabilities)}}},
            {"slots", slotsOf(declaration.capabilities)},
            {"summary", ""},
            {"description", ""},
            {"toSee", ""},
            {"groups", ordered_json::array()},
            {"parameterCount", declaration.parameters.size()},
            {"parameters", parameters},
            {"varyings", varyings},
            {"graph", ordered_json::array()}};
}

ordered_json groupsOf(const ordered_json& parameters) {
    ordered_json groups = ordered_json::array();
    for (const auto& p : parameters) {
        const ordered_json& group = p.at("group");
        if (!group.get<std::string>().empty() && std::find(groups.begin(), groups.end(), group) == groups.end()) {
            groups.push_back(group);
        }
    }
    return groups;
}

std::vector<std::string> addDocs(ordered_json& declared, const ordered_json* documented) {
    std::vector<std::string> missing;
    if (documented) {
        for (const char* field : kClassDocFields) declared[field] = documented->at(field);
    }
    for (auto& p : declared["parameters"]) {
        const ordered_json* source = nullptr;
        if (documented) {
            for (const auto& q : documented->at("parameters")) {
                if (q.at("name") == p.at("name")) source = &q;
            }
        }
        if (!source || source->at("meaning").get<std::string>().empty()) {
            missing.push_back(p.at("name"));
            continue;
        }
        for (const char* field : kDocFields) p[field] = source->at(field);
    }
    declared["groups"] = groupsOf(declared.at("parameters"));
    return missing;
}

const ordered_json* findClass(const ordered_json& catalogue, const std::string& name) {
    for (const auto& c : catalogue.at("classes")) {
        if (c.at("name") == name) return &c;
    }
    return nullptr;
}

ordered_json document(ordered_json classes, ordered_json nodeTypes) {
    std::sort(classes.begin(), classes.end(),
              [](const ordered_json& a, const ordered_json& b) { return a.at("name") < b.at("name"); });
    return {{"format", "kestrel-catalogue"},
            {"formatVersion", kFormatVersion},
            {"apiVersion", ksi::kApiVersion},
            {"classes", std::move(classes)},
            {"nodeTypes", std::move(nodeTypes)}};
}

std::vector<std::string> sortedClassNames(const PluginLibrary& library) {
    std::vector<std::string> names = library.classNames();
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace kestrel::catalogue
