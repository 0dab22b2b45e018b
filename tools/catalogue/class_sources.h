// What the sources say about each class: its ClassDoc, the docs of the parameter lists it
// declares, and for a graph variant its compiled graphs. Gathered from the class headers by the
// catalogue generator; the names, order, types and defaults come from the library itself. This
// unit is compiled against the library's own headers, the rest of the generator against the
// SDK's copies, so nothing of the library's types crosses this interface.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "param_doc.h"

namespace kestrel::catalogue {

struct ClassSource {
    const char* name;
    const char* summary;
    const char* description;
    const char* toSee;
    std::vector<ParamDoc> params;  // every list the class declares, in any order
    nlohmann::ordered_json graph = nlohmann::ordered_json::array();
};

// A node type's members, explained once; graph members are named path + suffix.
struct NodeTypeSource {
    const char* type;
    const char* description;
    std::vector<const char*> ports;
    std::vector<ParamDoc> members;  // named by suffix
};

const std::vector<ClassSource>& classSources();
const std::vector<NodeTypeSource>& nodeTypeSources();

}  // namespace kestrel::catalogue
