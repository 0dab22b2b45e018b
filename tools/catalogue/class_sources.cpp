#include "class_sources.h"

#include "lights/point_light.h"
#include "lights/spot_light.h"

namespace kestrel::catalogue {

namespace {

// A class's entry: its ClassDoc's words and the docs of its lists.
ClassSource entry(const char* name, const ksi::ClassDoc& doc, std::vector<ParamDoc> params,
                  nlohmann::ordered_json graph = nlohmann::ordered_json::array()) {
    return {name, doc.summary, doc.description, doc.toSee, std::move(params), std::move(graph)};
}

template <class... Lists>
std::vector<ParamDoc> joined(Lists... lists) {
    std::vector<ParamDoc> all;
    (all.insert(all.end(), lists.begin(), lists.end()), ...);
    return all;
}

}  // namespace

const std::vector<ClassSource>& classSources() {
    static const std::vector<ClassSource> sources = {
        entry("znPointLight", ksi::kPointLightDoc, KS_BLOCK_DOCS(KS_POINT_LIGHT_PARAMETERS)),
        entry("znSpotLight", ksi::kSpotLightDoc, KS_BLOCK_DOCS(KS_SPOT_LIGHT_PARAMETERS)),
    };
    return sources;
}

const std::vector<NodeTypeSource>& nodeTypeSources() {
    static const std::vector<NodeTypeSource> sources = {};
    return sources;
}

}  // namespace kestrel::catalogue
