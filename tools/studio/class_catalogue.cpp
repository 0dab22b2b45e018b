#include "class_catalogue.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>

#include "catalogue_json.h"
#include "name_match.h"
#include "shader_instance.h"

namespace kestrel::studio {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

// Texel arrays for data textures stay small: the clipping map needs a handful.
constexpr std::size_t kMaxInlineTexels = 256;

// An entry of a list or map keyed by name: the catalogue may hold either shape.
const json* findNamed(const json& collection, const std::string& name) {
    if (collection.is_object()) {
        auto found = collection.find(name);
        return found == collection.end() ? nullptr : &*found;
    }
    if (!collection.is_array()) return nullptr;
    for (const json& entry : collection) {
        if (!entry.is_object()) continue;
        for (const char* key : {"name", "class"}) {
            auto id = entry.find(key);
            if (id != entry.end() && id->is_string() && *id == name) return &entry;
        }
    }
    return nullptr;
}

const json* catalogueClass(const json& catalogue, const std::string& name) {
    if (catalogue.is_object() && catalogue.contains("classes")) return findNamed(catalogue["classes"], name);
    return findNamed(catalogue, name);
}

// [low, high] with null for an open end, under "hard", "hardRange" or "range": {"hard": ...}.
std::optional<std::pair<double, double>> hardRangeOf(const json& entry) {
    const json* range = nullptr;
    for (const char* key : {"hard", "hardRange"}) {
        if (entry.contains(key)) range = &entry[key];
    }
    if (!range && entry.contains("range") && entry["range"].is_object() && entry["range"].contains("hard")) {
        range = &entry["range"]["hard"];
    }
    if (!range) return std::nullopt;
    auto bound = [](const json& v, double open) { return v.is_number() ? v.get<double>() : open; };
    if (range->is_array() && range->size() == 2) {
        return std::make_pair(bound((*range)[0], -DBL_MAX), bound((*range)[1], DBL_MAX));
    }
    if (range->is_object()) {
        return std::make_pair(bound(range->value("min", json()), -DBL_MAX), bound(range->value("max", json()), DBL_MAX));
    }
    return std::nullopt;
}

bool isFloatNumber(const json& value) {
    if (!value.is_number()) return false;
    double v = value.get<double>();
    return std::isfinite(v) && std::fabs(v) <= FLT_MAX;
}

// Numbers of a vector or matrix value, flattened; nullopt when the shape is wrong.
std::optional<std::vector<double>> numbersOf(const json& value, int count, bool rowsAllowed) {
    std::vector<double> numbers;
    if (!value.is_array()) return std::nullopt;
    const int size = static_cast<int>(std::lround(std::sqrt(count)));
    const bool rows = rowsAllowed && static_cast<int>(value.size()) == size && !value.empty() && value[0].is_array();
    for (const json& item : value) {
        if (rows) {
            if (!item.is_array() || static_cast<int>(item.size()) != size) return std::nullopt;
            for (const json& v : item) {
                if (!v.is_number()) return std::nullopt;
                numbers.push_back(v.get<double>());
            }
        } else {
            if (!item.is_number()) return std::nullopt;
            numbers.push_back(item.get<double>());
        }
    }
    if (static_cast<int>(numbers.size()) != count) return std::nullopt;
    return numbers;
}

std::string expected(ParamType type) {
    switch (type) {
    case ParamType::Bool: return "true or false";
    case ParamType::Int: return "a whole number";
    case ParamType::Float: return "a number";
    case ParamType::Float2: return "an array of 2 numbers";
    case ParamType::Float3: return "an array of 3 numbers";
    case ParamType::Float4: return "an array of 4 numbers";
    case ParamType::Matrix3: return "9 numbers or 3 rows of 3";
    case ParamType::Matrix4: return "16 numbers or 4 rows of 4";
    case ParamType::DataTexture: return "the name of a gallery image, an array of texels or null";
    default: return "the name of a gallery image or null";
    }
}

bool isTexelArray(const json& value) {
    if (!value.is_array() || value.empty() || value.size() > kMaxInlineTexels) return false;
    return std::all_of(value.begin(), value.end(), [](const json& texel) {
        return texel.is_array() && !texel.empty() && texel.size() <= 4 &&
               std::all_of(texel.begin(), texel.end(), isFloatNumber);
    });
}

// The numbers a value holds, or a fault for a value of the wrong shape.
std::optional<std::vector<double>> numericValue(const ParameterInfo& info, const json& value) {
    switch (info.type) {
    case ParamType::Bool: return value.is_boolean() ? std::optional(std::vector<double>{}) : std::nullopt;
    case ParamType::Int:
        if (!value.is_number_integer()) return std::nullopt;
        if (value.get<int64_t>() < std::numeric_limits<int32_t>::min() ||
            value.get<int64_t>() > std::numeric_limits<int32_t>::max()) {
            return std::nullopt;
        }
        return std::vector<double>{value.get<double>()};
    case ParamType::Float: return value.is_number() ? std::optional(std::vector<double>{value.get<double>()}) : std::nullopt;
    default: return numbersOf(value, componentCount(info.type), info.type == ParamType::Matrix3 || info.type == ParamType::Matrix4);
    }
}

std::string rangeText(const std::pair<double, double>& range) {
    auto text = [](double v) {
        if (std::fabs(v) == DBL_MAX) return std::string(v < 0 ? "-inf" : "inf");
        return formatFloat(static_cast<float>(v));
    };
    return "[" + text(range.first) + ", " + text(range.second) + "]";
}

ClassInfo readClass(const PluginLibrary& library, const std::string& name, const json* catalogue) {
    ShaderInstance shader(library.findClass(name));
    ClassInfo info;
    info.name = name;
    info.kind = kindName(shader.kind());
    info.summary = {{"name", name}, {"kind", info.kind}, {"summary", ""}, {"description", ""}};
    if (catalogue && catalogue->is_object()) {
        for (const auto& [key, value] : catalogue->items()) {
            if (key != "parameters" && key != "name" && key != "kind") info.summary[key] = value;
        }
    }
    const json* parameters = catalogue && catalogue->is_object() && catalogue->contains("parameters")
                                 ? &(*catalogue)["parameters"]
                                 : nullptr;
    for (const ParameterDeclaration& declaration : shader.declaration().parameters) {
        ParameterInfo parameter;
        parameter.name = declaration.name;
        parameter.type = declaration.type;
        parameter.entry = {{"name", declaration.name},
                           {"type", typeName(declaration.type)},
                           {"default", catalogue::valueJson(readValue(declaration.type, declaration.address))}};
        if (const json* entry = parameters ? findNamed(*parameters, declaration.name) : nullptr) {
            for (const auto& [key, value] : entry->items()) {
                if (!parameter.entry.contains(key)) parameter.entry[key] = value;
            }
            parameter.hardRange = hardRangeOf(*entry);
        }
        info.parameters.push_back(std::move(parameter));
    }
    return info;
}

}  // namespace

const ParameterInfo* ClassInfo::find(const std::string& parameter) const {
    for (const ParameterInfo& p : parameters) {
        if (p.name == parameter) return &p;
    }
    return nullptr;
}

ClassCatalogue::ClassCatalogue(const PluginLibrary& library, const std::string& cataloguePath) {
    json catalogue;
    std::ifstream file(cataloguePath);
    if (!cataloguePath.empty() && file) {
        catalogue = json::parse(file, nullptr, false);
        if (catalogue.is_discarded()) throw std::runtime_error("catalogue '" + cataloguePath + "' is not valid JSON");
        hasCatalogue_ = true;
    }
    for (const std::string& name : library.classNames()) {
        classes_.emplace(name, readClass(library, name, hasCatalogue_ ? catalogueClass(catalogue, name) : nullptr));
    }
}

const ClassInfo* ClassCatalogue::find(const std::string& className) const {
    auto found = classes_.find(className);
    return found == classes_.end() ? nullptr : &found->second;
}

ordered_json ClassCatalogue::materialList() const {
    ordered_json list = ordered_json::array();
    for (const auto& [name, info] : classes_) {
        if (info.kind != "material") continue;
        ordered_json entry;
        for (const char* key : {"name", "kind", "summary", "description", "toSee"}) {
            if (info.summary.contains(key)) entry[key] = info.summary[key];
        }
        list.push_back(entry);
    }
    return list;
}

ordered_json ClassCatalogue::classJson(const ClassInfo& info) const {
    ordered_json result = info.summary;
    result["parameters"] = ordered_json::array();
    for (const ParameterInfo& p : info.parameters) result["parameters"].push_back(p.entry);
    return result;
}

std::vector<std::string> ClassCatalogue::parameterNames(const ClassInfo& info) const {
    std::vector<std::string> names;
    for (const ParameterInfo& p : info.parameters) names.push_back(p.name);
    return names;
}

std::optional<RequestError> ClassCatalogue::check(const ClassInfo& info, const std::string& parameter,
                                                  const json& value, const std::vector<std::string>& assets) const {
    const ParameterInfo* p = info.find(parameter);
    if (!p) {
        return RequestError{400, "'" + parameter + "' is not a parameter of " + info.name +
                                     didYouMean(parameter, parameterNames(info)), parameter};
    }
    const std::string place = parameter + " (" + typeName(p->type) + ")";
    if (isTexture(p->type)) {
        if (value.is_null()) return std::nullopt;
        if (p->type == ParamType::DataTexture && isTexelArray(value)) return std::nullopt;
        if (value.is_string() && std::find(assets.begin(), assets.end(), value.get<std::string>()) != assets.end()) {
            return std::nullopt;
        }
        if (value.is_string()) {
            return RequestError{400, place + ": '" + value.get<std::string>() + "' is not one of the gallery images" +
                                         didYouMean(value.get<std::string>(), assets), parameter};
        }
        return RequestError{400, place + ": expected " + expected(p->type), parameter};
    }
    std::optional<std::vector<double>> numbers = numericValue(*p, value);
    if (!numbers) return RequestError{400, place + ": expected " + expected(p->type), parameter};
    for (double v : *numbers) {
        if (!std::isfinite(v) || std::fabs(v) > FLT_MAX) {
            return RequestError{400, place + ": every number must be finite and within the float range", parameter};
        }
        if (p->hardRange && (v < p->hardRange->first || v > p->hardRange->second)) {
            return RequestError{400, place + ": " + formatFloat(static_cast<float>(v)) + " is outside " +
                                         rangeText(*p->hardRange), parameter};
        }
    }
    return std::nullopt;
}

}  // namespace kestrel::studio
