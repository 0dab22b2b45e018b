// What the studio knows about each class: the declarations read from the loaded library (names,
// types, defaults) merged with the installed parameter catalogue (meanings, kinds, groups,
// ranges, mode labels) where one is present, and the checks every request goes through.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "plugin_library.h"
#include "parameter_value.h"

namespace kestrel::studio {

// A request the studio refuses: the HTTP status, one sentence for the user, and the parameter
// it is about (empty when it concerns the request as a whole), so the page shows it beside the
// control.
struct RequestError {
    int status = 400;
    std::string message;
    std::string parameter;
};

struct ParameterInfo {
    std::string name;
    ParamType type = ParamType::Float;
    nlohmann::ordered_json entry;  // what the page receives: declaration plus catalogue fields
    std::optional<std::pair<double, double>> hardRange;
};

struct ClassInfo {
    std::string name;
    std::string kind;  // "material", "light", "environment"
    nlohmann::ordered_json summary;  // name, kind, description
    std::vector<ParameterInfo> parameters;
    const ParameterInfo* find(const std::string& parameter) const;
};

class ClassCatalogue {
public:
    // Reads every class of the library; `cataloguePath` may name a missing file, in which case
    // the page falls back to widgets chosen by type. Throws std::runtime_error for a catalogue
    // file that is not valid JSON.
    ClassCatalogue(const PluginLibrary& library, const std::string& cataloguePath);

    bool hasCatalogue() const { return hasCatalogue_; }
    const ClassInfo* find(const std::string& className) const;
    // The material classes with name, kind and description, sorted by name.
    nlohmann::ordered_json materialList() const;
    // One class with every parameter, in declaration order.
    nlohmann::ordered_json classJson(const ClassInfo& info) const;

    // Checks one value against the declared type, finiteness and the hard range; texture values
    // must name one of `assets` (or be null). Returns the fault, if any.
    std::optional<RequestError> check(const ClassInfo& info, const std::string& parameter, const nlohmann::json& value,
                                      const std::vector<std::string>& assets) const;
    std::vector<std::string> parameterNames(const ClassInfo& info) const;

private:
    std::map<std::string, ClassInfo> classes_;
    bool hasCatalogue_ = false;
};

}  // namespace kestrel::studio
