// The catalogue document (docs/catalogue.md): classes as a host sees them through the registry,
// with the explanations the generator wrote from the sources. Shared by kestrel-catalogue, which
// writes catalogue.json, and kestrel-info, which reads it.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "parameter_value.h"
#include "plugin_library.h"
#include "shader_instance.h"

namespace kestrel::catalogue {

using nlohmann::ordered_json;

inline constexpr int kFormatVersion = 1;

// A declared value as JSON: shortest decimals for floats, matrices as rows, textures null.
ordered_json valueJson(const ParamValue& value);

// The class as it declares itself: name, kind, capabilities, slots, parameters (index, name,
// type, default), varyings; every explanation field present and empty.
ordered_json declaredClass(const ShaderInstance& shader);

// Fills the explanation fields of `declared` from a documented class of a catalogue, matching
// parameters by name, and recomputes its groups. Returns the parameters the catalogue does not
// explain (all of them when `documented` is null).
std::vector<std::string> addDocs(ordered_json& declared, const ordered_json* documented);

// The class of that name in a catalogue document, or null.
const ordered_json* findClass(const ordered_json& catalogue, const std::string& name);

// Group names in order of first appearance among the class's parameters.
ordered_json groupsOf(const ordered_json& parameters);

// The document around the classes, which are sorted by name here.
ordered_json document(ordered_json classes, ordered_json nodeTypes);

// The library's classes sorted by name (the loader lists them by export symbol).
std::vector<std::string> sortedClassNames(const PluginLibrary& library);

}  // namespace kestrel::catalogue
