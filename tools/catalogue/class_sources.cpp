#include "class_sources.h"

#include <array>
#include <tuple>

#include "environments/background_geometry.h"
#include "environments/backplate_environment.h"
#include "environments/default_environment.h"
#include "lights/point_light.h"
#include "lights/spot_light.h"
#include "materials/legacy/marigold_legacy_material.h"
#include "materials/legacy/xrite_material.h"
#include "materials/physical/dielectric_material.h"
#include "materials/physical/glazing_material.h"
#include "materials/physical/metal_material.h"
#include "materials/physical/metallic_paint_material.h"
#include "materials/physical/mirror_material.h"
#include "materials/utility/ambient_only_material.h"
#include "materials/utility/normals_only_material.h"
#include "materials/utility/shadow_plane_material.h"
#include "materials/utility/solid_material.h"
#include "materials/utility/unlit_material.h"
#include "materials/ward/graph_variants/ward_120b7820.h"
#include "materials/ward/graph_variants/ward_33632204.h"
#include "materials/ward/graph_variants/ward_5592d496.h"
#include "materials/ward/graph_variants/ward_5ba0bfff.h"
#include "materials/ward/graph_variants/ward_82261344.h"
#include "materials/ward/graph_variants/ward_aa598cb4.h"
#include "materials/ward/graph_variants/ward_b9aac246.h"
#include "materials/ward/graph_variants/ward_ccb3a2e6.h"
#include "materials/ward/graph_variants/ward_f05db29e.h"
#include "materials/ward/ward_material.h"
#include "shading/common_inputs.h"

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

// The inputs most materials share; a class that declares only some of them finds its own.
std::vector<ParamDoc> commonDocs() {
    return joined(KS_BLOCK_DOCS(KS_AMBIENT_OCCLUSION_INPUTS), KS_BLOCK_DOCS(KS_MASKING_INPUTS),
                  KS_BLOCK_DOCS(KS_LATTICE_AO_INPUT), KS_BLOCK_DOCS(KS_GLOBAL_CLIP_INPUTS),
                  KS_BLOCK_DOCS(KS_COMMON_TINT_INPUTS));
}

using nlohmann::ordered_json;
namespace nodes = ksi::nodes;

const char* nodeTypeName(nodes::NodeKind kind) {
    switch (kind) {
        case nodes::NodeKind::UnifiedBitmap: return "UnifiedBitmap";
        case nodes::NodeKind::Noise: return "Noise";
        case nodes::NodeKind::Tile: return "Tile";
        default: return "";
    }
}

std::vector<const char*> portsOf(nodes::NodeKind kind) {
    if (kind == nodes::NodeKind::Noise) return {"color1", "color2"};
    if (kind == nodes::NodeKind::Tile) return {"brickColor", "mortarColor"};
    return {};
}

// A node and what feeds each of its ports: the child node whose path continues this one's through
// the port, or the node's own constant colour.
template <std::size_t N>
ordered_json nodeJson(const std::array<nodes::NodeSite, N>& sites, const nodes::NodeSite& site) {
    const std::string path = site.path.text;
    ordered_json ports = ordered_json::array();
    int index = 0;
    for (const char* port : portsOf(site.kind)) {
        const std::string prefix = path + "_" + port + "_";
        ordered_json child = nullptr;
        for (const nodes::NodeSite& other : sites) {
            const std::string otherPath = other.path.text;
            if (otherPath.rfind(prefix, 0) == 0 && otherPath.find('_', prefix.size()) == std::string::npos) {
                child = nodeJson(sites, other);
            }
        }
        const bool constant = index++ == 0 ? site.constantColour1 : site.constantColour2;
        ports.push_back({{"port", port},
                         {"node", child},
                         {"constant", constant ? ordered_json(path + "_" + port) : ordered_json(nullptr)}});
    }
    return {{"type", nodeTypeName(site.kind)}, {"path", path}, {"ports", ports}};
}

template <class Graph>
void addGraphInput(ordered_json& graph, const nodes::GraphRoot<Graph>& root) {
    if constexpr (Graph::kKind != nodes::NodeKind::None) {
        std::array<nodes::NodeSite, nodes::siteCount<Graph>()> sites{};
        std::size_t count = 0;
        nodes::collectSites<Graph>(sites, count, nodes::NodeName(root.path), 0);
        graph.push_back({{"input", std::string(root.path).substr(std::string("_ward_").size())},
                         {"node", nodeJson(sites, sites[0])}});
    }
}

// A Ward graph variant: the Ward's own lists, and its graphs read from its Graphs type.
template <class Graphs>
ClassSource variant(const char* name, const ksi::ClassDoc& doc) {
    ordered_json graph = ordered_json::array();
    std::apply([&](const auto&... roots) { (addGraphInput(graph, roots), ...); }, ksi::kWardGraphRoots<Graphs>);
    return entry(name, doc,
                 joined(commonDocs(), KS_BLOCK_DOCS(KS_WARD_PARAMETERS), KS_BLOCK_DOCS(KS_WARD_GRAPH_VARIANT_MEANINGS)),
                 std::move(graph));
}

// A node type's members, named by their suffix.
std::vector<ParamDoc> suffixed(std::vector<ParamDoc> docs) {
    for (ParamDoc& doc : docs) doc.name = "_" + doc.name;
    return docs;
}

}  // namespace

const std::vector<ClassSource>& classSources() {
    static const std::vector<ClassSource> sources = {
        entry("znPointLight", ksi::kPointLightDoc, KS_BLOCK_DOCS(KS_POINT_LIGHT_PARAMETERS)),
        entry("znSpotLight", ksi::kSpotLightDoc, KS_BLOCK_DOCS(KS_SPOT_LIGHT_PARAMETERS)),
        entry("kestrel_Mtl_Solid", ksi::kSolidDoc, KS_BLOCK_DOCS(KS_SOLID_PARAMETERS)),
        entry("kestrel_Mtl_NormalsOnly", ksi::kNormalsOnlyDoc, KS_BLOCK_DOCS(KS_NORMALS_ONLY_PARAMETERS)),
        entry("kestrel_Mtl_Unlit", ksi::kUnlitDoc, KS_BLOCK_DOCS(KS_UNLIT_PARAMETERS)),
        entry("kestrel_Mtl_ShadowPlane", ksi::kShadowPlaneDoc, KS_BLOCK_DOCS(KS_SHADOW_PLANE_PARAMETERS)),
        entry("kestrel_Mtl_AmbientOnly", ksi::kAmbientOnlyDoc, commonDocs()),
        entry("kestrel_Env_Default", ksi::kDefaultEnvironmentDoc, KS_BLOCK_DOCS(KS_DEFAULT_ENVIRONMENT_PARAMETERS)),
        entry("kestrel_Env_Backplate", ksi::kBackplateEnvironmentDoc, KS_BLOCK_DOCS(KS_BACKPLATE_ENVIRONMENT_PARAMETERS)),
        entry("BackgroundGeometry", ksi::kBackgroundGeometryDoc, KS_BLOCK_DOCS(KS_BACKGROUND_GEOMETRY_PARAMETERS)),
        entry("kestrel_Mtl_Mirror", ksi::kMirrorDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_MIRROR_PARAMETERS))),
        entry("kestrel_Mtl_Dielectric", ksi::kDielectricDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_DIELECTRIC_PARAMETERS))),
        entry("kestrel_Mtl_Glazing", ksi::kGlazingDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_GLAZING_PARAMETERS))),
        entry("kestrel_Mtl_MetallicPaint", ksi::kMetallicPaintDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_METALLIC_PAINT_PARAMETERS), KS_BLOCK_DOCS(KS_PAINT_ORIENTATION_PARAMETERS))),
        entry("kestrel_Mtl_Metal", ksi::kMetalDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_METAL_PARAMETERS))),
        entry("kestrel_Mtl_Ward", ksi::kWardDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_WARD_PARAMETERS), KS_BLOCK_DOCS(KS_WARD_DECAL_PARAMETERS))),
        variant<ksi::Ward_120b7820_Graphs>("kestrel_Mtl_Ward_120b7820", ksi::kWard_120b7820_Doc),
        variant<ksi::Ward_33632204_Graphs>("kestrel_Mtl_Ward_33632204", ksi::kWard_33632204_Doc),
        variant<ksi::Ward_5592d496_Graphs>("kestrel_Mtl_Ward_5592d496", ksi::kWard_5592d496_Doc),
        variant<ksi::Ward_5ba0bfff_Graphs>("kestrel_Mtl_Ward_5ba0bfff", ksi::kWard_5ba0bfff_Doc),
        variant<ksi::Ward_82261344_Graphs>("kestrel_Mtl_Ward_82261344", ksi::kWard_82261344_Doc),
        variant<ksi::Ward_aa598cb4_Graphs>("kestrel_Mtl_Ward_aa598cb4", ksi::kWard_aa598cb4_Doc),
        variant<ksi::Ward_b9aac246_Graphs>("kestrel_Mtl_Ward_b9aac246", ksi::kWard_b9aac246_Doc),
        variant<ksi::Ward_ccb3a2e6_Graphs>("kestrel_Mtl_Ward_ccb3a2e6", ksi::kWard_ccb3a2e6_Doc),
        variant<ksi::Ward_f05db29e_Graphs>("kestrel_Mtl_Ward_f05db29e", ksi::kWard_f05db29e_Doc),
        entry("XRite", ksi::kXRiteDoc, joined(commonDocs(), KS_BLOCK_DOCS(KS_XRITE_PARAMETERS))),
        entry("MarigoldLegacy", ksi::kMarigoldLegacyDoc, KS_BLOCK_DOCS(KS_MARIGOLD_LEGACY_PARAMETERS)),
    };
    return sources;
}

const std::vector<NodeTypeSource>& nodeTypeSources() {
    static const std::vector<NodeTypeSource> sources = {
        {"UnifiedBitmap",
         "One image looked up at the placed uv, its colour scaled by an amount: the image leaf of a graph.",
         {},
         suffixed(KS_BLOCK_DOCS(KS_UNIFIED_BITMAP_MEMBERS))},
        {"Noise",
         "Blends color1 and color2 by the host's noise at the object-space point, shaped as regular, fractal or "
         "turbulent noise and remapped between two thresholds.",
         {"color1", "color2"},
         suffixed(joined(KS_BLOCK_DOCS(KS_NOISE_LEADING_MEMBERS), KS_BLOCK_DOCS(KS_NOISE_COLOUR_PORTS),
                         KS_BLOCK_DOCS(KS_NOISE_TRAILING_MEMBERS)))},
        {"Tile",
         "A running-bond brick pattern at uv: bricks of brickColor in mortar of mortarColor, with per-brick "
         "variation, jittered edges, holes and row and column edits.",
         {"brickColor", "mortarColor"},
         suffixed(KS_BLOCK_DOCS(KS_TILE_MEMBERS))},
    };
    return sources;
}

}  // namespace kestrel::catalogue
