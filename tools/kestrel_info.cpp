// kestrel-info: the catalogue of a shader library. Without a class name it lists every class
// the library exports; with class names it prints each one's parameters in declaration order
// with type and default, and its varyings.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "command_line.h"
#include "parameter_value.h"
#include "plugin_library.h"
#include "shader_instance.h"

namespace {

using kestrel::ParamValue;
using nlohmann::ordered_json;

using kestrel::tools::kExitBadInput;
using kestrel::tools::kExitBadUsage;

// The shortest decimal that reads back as the float: 0.1 rather than the double nearest to
// 0.1f, 0.10000000149011612.
ordered_json floatJson(float value) {
    if (!std::isfinite(value)) return value;
    return std::strtod(kestrel::formatFloat(value).c_str(), nullptr);
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

std::string joined(const std::vector<std::string>& words, const char* separator) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
    return text;
}

ordered_json capabilitiesJson(int32_t mask) {
    return {{"mask", mask}, {"names", kestrel::capabilityNames(mask)}};
}

void listClasses(const kestrel::PluginLibrary& library, bool json) {
    ordered_json classes = ordered_json::array();
    std::vector<std::vector<std::string>> rows;
    for (const std::string& name : library.classNames()) {
        kestrel::ShaderInstance shader(library.findClass(name));
        const auto& declaration = shader.declaration();
        classes.push_back({{"name", name},
                           {"kind", kestrel::kindName(shader.kind())},
                           {"capabilities", capabilitiesJson(declaration.capabilities)},
                           {"parameterCount", declaration.parameters.size()}});
        rows.push_back({name, kestrel::kindName(shader.kind()), std::to_string(declaration.parameters.size()),
                        std::to_string(declaration.capabilities) + " (" +
                            joined(kestrel::capabilityNames(declaration.capabilities), ", ") + ")"});
    }
    if (json) {
        std::cout << ordered_json{{"library", library.path()}, {"classes", classes}}.dump(2) << "\n";
        return;
    }
    std::cout << rows.size() << " shader classes in " << library.path() << "\n\n";
    std::printf("%-28s %-12s %6s  %s\n", "CLASS", "KIND", "PARAMS", "CAPABILITIES");
    for (const auto& row : rows) {
        std::printf("%-28s %-12s %6s  %s\n", row[0].c_str(), row[1].c_str(), row[2].c_str(), row[3].c_str());
    }
}

ordered_json describeJson(const kestrel::ShaderInstance& shader) {
    const auto& declaration = shader.declaration();
    ordered_json parameters = ordered_json::array();
    for (const auto& p : declaration.parameters) {
        parameters.push_back({{"name", p.name},
                              {"type", kestrel::typeName(p.type)},
                              {"default", valueJson(kestrel::readValue(p.type, p.address))}});
    }
    ordered_json varyings = ordered_json::array();
    for (const auto& v : declaration.varyings) {
        varyings.push_back({{"name", v.name}, {"type", kestrel::varyingTypeName(v.type)}, {"offset", v.offset}});
    }
    return {{"name", shader.className()},
            {"kind", kestrel::kindName(shader.kind())},
            {"revision", shader.object()->getRevision()},
            {"capabilities", capabilitiesJson(declaration.capabilities)},
            {"parameters", parameters},
            {"varyings", varyings}};
}

void describeText(const kestrel::ShaderInstance& shader, int32_t apiVersion) {
    const auto& declaration = shader.declaration();
    std::cout << shader.className() << ": " << kestrel::kindName(shader.kind()) << ", capabilities "
              << declaration.capabilities << " (" << joined(kestrel::capabilityNames(declaration.capabilities), ", ")
              << "), revision " << shader.object()->getRevision() << ", API version " << apiVersion << "\n";
    std::size_t width = 4;
    for (const auto& p : declaration.parameters) width = std::max(width, p.name.size());
    std::cout << "\nParameters (" << declaration.parameters.size() << "):\n";
    int index = 1;
    for (const auto& p : declaration.parameters) {
        std::printf("  %3d  %-*s  %-12s  %s\n", index++, static_cast<int>(width), p.name.c_str(),
                    kestrel::typeName(p.type), kestrel::formatValue(kestrel::readValue(p.type, p.address)).c_str());
    }
    std::cout << "\nVaryings (" << declaration.varyings.size() << "):\n";
    for (const auto& v : declaration.varyings) {
        std::printf("       %-10s %-8s offset %d\n", v.name.c_str(), kestrel::varyingTypeName(v.type), v.offset);
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Lists the shader classes of a Kestrel Shaders library, or describes the named classes."};
    std::vector<std::string> classNames;
    std::string libraryPath = kestrel::PluginLibrary::defaultPath();
    bool json = false;
    app.add_option("class", classNames, "Classes to describe (default: list every class)");
    app.add_option("--library", libraryPath, "Shader library to read (default: the one installed beside this tool)");
    app.add_flag("--json", json, "Print JSON instead of text");
    if (auto status = kestrel::tools::parseCommandLine(app, "kestrel-info", argc, argv)) return *status;

    std::unique_ptr<kestrel::PluginLibrary> library;
    try {
        library = std::make_unique<kestrel::PluginLibrary>(libraryPath);
    } catch (const kestrel::LoadError& error) {
        std::cerr << "kestrel-info: " << error.what() << "\n";
        return kExitBadInput;
    }
    if (library->classNames().empty()) {
        std::cerr << "kestrel-info: " << libraryPath << ": exports no shader class (no pair of <Class>_create and "
                  << "<Class>_getAPIVersion); is it a Kestrel Shaders library?\n";
        return kExitBadInput;
    }

    try {
        if (classNames.empty()) {
            listClasses(*library, json);
            return 0;
        }
        // Resolve every class before printing anything, so an error leaves no partial output.
        std::vector<std::pair<std::unique_ptr<kestrel::ShaderInstance>, int32_t>> shaders;
        for (const std::string& name : classNames) {
            kestrel::ShaderClass shaderClass = library->findClass(name);
            shaders.emplace_back(std::make_unique<kestrel::ShaderInstance>(shaderClass), shaderClass.apiVersion);
        }
        if (json) {
            ordered_json out = ordered_json::array();
            for (const auto& [shader, version] : shaders) {
                ordered_json entry = describeJson(*shader);
                entry["apiVersion"] = version;
                out.push_back(entry);
            }
            std::cout << (out.size() == 1 ? out[0] : out).dump(2) << "\n";
        } else {
            for (std::size_t i = 0; i < shaders.size(); ++i) {
                if (i) std::cout << "\n";
                describeText(*shaders[i].first, shaders[i].second);
            }
        }
    } catch (const kestrel::LoadError& error) {
        std::cerr << "kestrel-info: " << error.what() << "\n";
        return kExitBadUsage;
    }
    return 0;
}
