// The Ward graph variants: the earlier revision of the Ward material with fixed texture-node
// graphs compiled in place of its diffuse map, its normal maps or its cutout map. A variant is
// data only: a Graphs description (the graph on each input and the order of the node blocks)
// and a class name that exports itself:
//
//   struct MyGraphs {
//       using Diffuse = nodes::Noise<nodes::UnifiedBitmap, nodes::UnifiedBitmap>;
//       using Normal0 = nodes::NoGraph;
//       using Cutout = nodes::NoGraph;
//       static constexpr const char* kBlockOrder[] = {"diffuse_color_Noise", ...};
//   };
//   class kestrel_Mtl_Ward_0123abcd final : public WardGraphVariant<MyGraphs> {};
//   KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward_0123abcd)   // in the class's source file
#pragma once

#include <cstddef>
#include <tuple>
#include <type_traits>

#include "materials/ward/ward_shading.h"
#include "textures/node_graph.h"

namespace ksi {

// What every variant's ClassDoc says of the family.
inline constexpr const char* kWardGraphVariantDescription =
    "The Ward material of an earlier revision with a fixed texture-node graph compiled in (see graph): normal "
    "maps are height maps, there is no clipping, decal or common tint, and sampling has no refraction branch. "
    "The node members are named by their path from the Ward input down the graph, and explained once per node "
    "type.";

// Where this revision reads a Ward member differently: its normal maps are height maps. For the
// explanations only; the members are the Ward's.
#define KS_WARD_GRAPH_VARIANT_MEANINGS(G, P, T)                                                                   \
    G("normal map 0")                                                                                             \
    T(Texture, u_normal0Map, "Height map (red + green + blue) of normal map 0, unless a normal0_map graph takes " \
      "its place.")                                                                                               \
    G("normal map 1")                                                                                             \
    T(Texture, u_normal1Map, "Height map (red + green + blue) of normal map 1, unless a normal0_map graph takes " \
      "its place.")

// The block: the Ward members first (so the Ward's own rows address them unchanged), then the
// node members of each input's graph. The clip, decal and tint members of the Ward block are
// neither declared nor read by this revision.
template <class Graphs>
struct WardGraphParams {
    WardParams ward;
    typename Graphs::Normal0 normal0;
    typename Graphs::Diffuse diffuse;
    typename Graphs::Cutout cutout;
};

// The variants keep their varyings at the front of the record's varyings area.
inline constexpr VaryingLayout kWardGraphVaryings{.uv1 = 32, .vtxcolor = 40, .uv = 24, .tangent = 12, .bitangent = 0};

// The earlier revision's maps: a graph where the variant has one, otherwise the Ward's texture;
// normal maps are height maps either way.
template <class Graphs>
struct WardGraphMaps {
    static constexpr bool kEarlierRevision = true;
    static constexpr bool kDiffuseGraph = Graphs::Diffuse::kKind != nodes::NodeKind::None;
    static constexpr bool kNormalGraph = Graphs::Normal0::kKind != nodes::NodeKind::None;
    static constexpr bool kCutoutGraph = Graphs::Cutout::kKind != nodes::NodeKind::None;

    const WardGraphParams<Graphs>& block;

    const VaryingLayout& layout() const { return kWardGraphVaryings; }
    Float2 uvOf(const ShadingRecord& record) const { return readVarying<Float2>(record, kWardGraphVaryings.uv); }
    nodes::NodeContext at(RenderServices* services, const ShadingRecord& record) const {
        return {services, uvOf(record), record.objectPosition};
    }

    // A graph's colour is used as it is: its leaves carry their own amounts.
    Float4 diffuseTexel(const WardParams& p, RenderServices* services, const ShadingRecord& record) const {
        if constexpr (kDiffuseGraph) {
            return nodes::evaluateGraph(block.diffuse, at(services, record));
        } else {
            Float4 texel = wardMapAt(p.u_diffuseMap, p.u_diffuseTransform, record, layout());
            return Float4(texel.xyz() * p.u_diffuseAmount, texel.w);
        }
    }

    // A normal0_map graph feeds both normal maps, each with its own transform and amount.
    void applyNormalMap(ShadingFrame& frame, const TextureHandle& map, const Float3x3& transform, float amount,
                        RenderServices* services, const ShadingRecord& record) const {
        if constexpr (kNormalGraph) {
            nodes::evaluateBitmapBump(block.normal0, services, record.objectPosition, uvOf(record), transform, frame,
                                      amount);
        } else {
            applyHeightBump(frame, map, transform, uvOf(record), 1.0f, amount);
        }
        frame.N = normalize(frame.N);
        orthonormalize(frame);
    }

    float cutout(const WardParams& p, RenderServices* services, const ShadingRecord& record) const {
        if constexpr (kCutoutGraph) {
            return nodes::evaluateGraph(block.cutout, at(services, record)).x;
        } else {
            return wardMapAt(p.u_cutoutMap, p.u_cutoutTransform, record, layout()).x * p.u_cutoutAmount;
        }
    }
};

// The Ward inputs a graph may feed, each named "_ward_" + the input, with where the block keeps
// its graph. The catalogue reads the graphs from here too.
template <class Graphs>
inline constexpr auto kWardGraphRoots = std::tuple{
    nodes::GraphRoot<typename Graphs::Normal0>{"_ward_normal0_map", offsetof(WardGraphParams<Graphs>, normal0)},
    nodes::GraphRoot<typename Graphs::Diffuse>{"_ward_diffuse_color", offsetof(WardGraphParams<Graphs>, diffuse)},
    nodes::GraphRoot<typename Graphs::Cutout>{"_ward_cutout_map", offsetof(WardGraphParams<Graphs>, cutout)}};

// Every node member, named by the input the graph feeds.
template <class Graphs>
inline constexpr auto kWardGraphMembers = std::apply(
    [](auto... roots) { return nodes::graphMembers(Graphs::kBlockOrder, "_ward_", roots...); },
    kWardGraphRoots<Graphs>);

template <class Graphs>
class WardGraphVariant : public ParameterizedShader<MaterialShader, WardGraphParams<Graphs>> {
    using Block = WardGraphParams<Graphs>;
    static_assert(std::is_standard_layout_v<Block> && offsetof(Block, ward) == 0);

    static constexpr auto kDeclarations = concatRows(
        tangentVaryingRows(kWardGraphVaryings.bitangent, kWardGraphVaryings.tangent, kWardGraphVaryings.uv),
        latticeAORows<WardParams>(),
        wardMemberRows<WardParams>(),
        nodes::graphRows(kWardGraphMembers<Graphs>),
        commonInputRows<WardParams>(kWardGraphVaryings.uv1, kWardGraphVaryings.vtxcolor));

    WardGraphMaps<Graphs> maps() const { return {this->params}; }

public:
    void declareParameters(ShaderParamRegistry* registry) override {
        declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapEvaluateBsdf | kCapSampleBsdf,
                     &this->params, kDeclarations);
    }
    void shade(RenderServices* services, ShadingRecord* record) const override {
        wardShade(this->params.ward, maps(), services, record);
    }
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override {
        wardShadowTransmittance(this->params.ward, maps(), services, record);
    }
    void evaluateBsdf(RenderServices* services, ShadingRecord* record) const override {
        wardEvaluateBsdf(this->params.ward, maps(), services, record);
    }
    void sampleBsdf(RenderServices* services, ShadingRecord* record) const override {
        wardSampleBsdf(this->params.ward, maps(), services, record);
    }
};

}  // namespace ksi
