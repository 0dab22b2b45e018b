// Texture-node graphs compiled into a material: each graph is a type built from the node
// templates below, its parameters one plain struct of nested node blocks, evaluated inline
// depth first (children before their parent, every use evaluated again). The two-dimensional
// nodes (UnifiedBitmap, Tile) read the "uv" coordinates, Noise the object-space point.
//
// The graph type also names its members: a node's path is the material input's path, then for
// each step down the node type and the port it feeds ("<input>_Noise_color1_UnifiedBitmap"); a
// member is the path followed by the node's suffix ("_amount"). The names and the declaration
// rows are built at compile time, in the block order the material lists.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/parameter_table.h"
#include "shading/bumps.h"
#include "shading/shading_frame.h"
#include "textures/noise_node.h"
#include "textures/tile_node.h"
#include "textures/unified_bitmap_node.h"

namespace ksi::nodes {

// Where a graph is evaluated.
struct NodeContext {
    RenderServices* services;
    Float2 uv;
    Float3 objectPoint;
};

enum class NodeKind : uint8_t { None, Constant, UnifiedBitmap, Noise, Tile };

// A material input with no graph: the material reads its own texture there.
struct NoGraph {
    static constexpr NodeKind kKind = NodeKind::None;
};

// An unconnected Noise colour: a Float4 member of the Noise block.
struct ConstantColour {
    static constexpr NodeKind kKind = NodeKind::Constant;
    Float4 value{0.0f, 0.0f, 0.0f, 0.0f};
};

struct UnifiedBitmap {
    static constexpr NodeKind kKind = NodeKind::UnifiedBitmap;
    UnifiedBitmapParams params;
};

template <class Color1, class Color2>
struct Noise {
    static constexpr NodeKind kKind = NodeKind::Noise;
    NoiseParams params;
    Color1 color1;
    Color2 color2;
};

template <class BrickColor, class MortarColor>
struct Tile {
    static constexpr NodeKind kKind = NodeKind::Tile;
    TileParams params;
    BrickColor brickColor;
    MortarColor mortarColor;
};

// ---------------------------------------------------------------------------------------------
// Evaluation

inline Float4 evaluateGraph(const ConstantColour& node, const NodeContext&) { return node.value; }

inline Float4 evaluateGraph(const UnifiedBitmap& node, const NodeContext& at) {
    return evaluateBitmap(node.params, at.uv);
}

template <class C1, class C2>
Float4 evaluateGraph(const Noise<C1, C2>& node, const NodeContext& at) {
    const Float4 c1 = evaluateGraph(node.color1, at);
    const Float4 c2 = evaluateGraph(node.color2, at);
    return evaluateNoise(node.params, at.services, at.objectPoint, c1, c2);
}

template <class B, class M>
Float4 evaluateGraph(const Tile<B, M>& node, const NodeContext& at) {
    const Float4 brick = evaluateGraph(node.brickColor, at);
    const Float4 mortar = evaluateGraph(node.mortarColor, at);
    return evaluateTile(node.params, at.services, at.uv, brick, mortar);
}

// The bump of a graph that feeds a normal-map input: heights r + g + b of the whole graph at
// transformUv(uv, transform) and 0.001 further in u and in v. The caller renormalises the frame.
// A graph whose leaves do not depend on "uv" (a Noise of constants) has no slope and leaves the
// normal alone.
template <class Graph>
void evaluateBitmapBump(const Graph& graph, RenderServices* services, Float3 objectPoint, Float2 uv,
                        const Float3x3& transform, ShadingFrame& frame, float amount) {
    bumpFromHeights(frame, transformUv(uv, transform), amount, [&](Float2 at) {
        const Float4 c = evaluateGraph(graph, NodeContext{services, at, objectPoint});
        return c.x + c.y + c.z;
    });
}

// ---------------------------------------------------------------------------------------------
// Names and declaration rows

inline constexpr std::size_t kMaxNodeName = 112;

struct NodeName {
    char text[kMaxNodeName]{};

    constexpr NodeName() = default;
    constexpr NodeName(const char* s) { append(s); }
    constexpr NodeName& append(const char* s) {
        std::size_t n = length();
        for (std::size_t i = 0; s[i] != '\0'; ++i) {
            if (n + 1 >= kMaxNodeName) throw "node name too long";
            text[n++] = s[i];
        }
        text[n] = '\0';
        return *this;
    }
    constexpr NodeName plus(const char* s) const {
        NodeName copy = *this;
        copy.append(s);
        return copy;
    }
    constexpr std::size_t length() const {
        std::size_t n = 0;
        while (text[n] != '\0') ++n;
        return n;
    }
    constexpr bool equals(const NodeName& other) const {
        for (std::size_t i = 0; i < kMaxNodeName; ++i) {
            if (text[i] != other.text[i]) return false;
            if (text[i] == '\0') return true;
        }
        return true;
    }
};

// One node of a graph: its path, kind and where its parameters sit in the material's block.
struct NodeSite {
    NodeName path;
    NodeKind kind = NodeKind::None;
    uint32_t offset = 0;         // of the node's parameter struct
    bool constantColour1 = false;  // Noise colours declared as members
    bool constantColour2 = false;
    uint32_t colour1Offset = 0;
    uint32_t colour2Offset = 0;
};

template <class Node>
constexpr std::size_t siteCount() {
    if constexpr (Node::kKind == NodeKind::UnifiedBitmap) return 1;
    else if constexpr (Node::kKind == NodeKind::Noise)
        return 1 + siteCount<decltype(Node::color1)>() + siteCount<decltype(Node::color2)>();
    else if constexpr (Node::kKind == NodeKind::Tile)
        return 1 + siteCount<decltype(Node::brickColor)>() + siteCount<decltype(Node::mortarColor)>();
    else return 0;
}

template <class Node>
constexpr std::size_t rowCount() {
    if constexpr (Node::kKind == NodeKind::UnifiedBitmap) {
        return kUnifiedBitmapMembers.size();
    } else if constexpr (Node::kKind == NodeKind::Noise) {
        using C1 = decltype(Node::color1);
        using C2 = decltype(Node::color2);
        return kNoiseLeadingMembers.size() + kNoiseTrailingMembers.size() + rowCount<C1>() + rowCount<C2>();
    } else if constexpr (Node::kKind == NodeKind::Tile) {
        return kTileMembers.size() + rowCount<decltype(Node::brickColor)>() + rowCount<decltype(Node::mortarColor)>();
    } else if constexpr (Node::kKind == NodeKind::Constant) {
        return 1;  // declared inside its Noise block
    } else {
        return 0;
    }
}

// Lists the nodes under `parentPath` (a material input's path or a port's path).
template <class Node, std::size_t N>
constexpr void collectSites(std::array<NodeSite, N>& sites, std::size_t& next, const NodeName& parentPath,
                            uint32_t offset) {
    if constexpr (Node::kKind == NodeKind::UnifiedBitmap) {
        sites[next++] = NodeSite{parentPath.plus("_UnifiedBitmap"), Node::kKind, offset};
    } else if constexpr (Node::kKind == NodeKind::Noise) {
        using C1 = decltype(Node::color1);
        using C2 = decltype(Node::color2);
        const NodeName path = parentPath.plus("_Noise");
        const auto o1 = static_cast<uint32_t>(offset + offsetof(Node, color1));
        const auto o2 = static_cast<uint32_t>(offset + offsetof(Node, color2));
        sites[next++] = NodeSite{path,
                                 Node::kKind,
                                 offset,
                                 C1::kKind == NodeKind::Constant,
                                 C2::kKind == NodeKind::Constant,
                                 o1,
                                 o2};
        collectSites<C1>(sites, next, path.plus("_color1"), o1);
        collectSites<C2>(sites, next, path.plus("_color2"), o2);
    } else if constexpr (Node::kKind == NodeKind::Tile) {
        const NodeName path = parentPath.plus("_Tile");
        sites[next++] = NodeSite{path, Node::kKind, offset};
        collectSites<decltype(Node::brickColor)>(sites, next, path.plus("_brickColor"),
                                                 static_cast<uint32_t>(offset + offsetof(Node, brickColor)));
        collectSites<decltype(Node::mortarColor)>(sites, next, path.plus("_mortarColor"),
                                                  static_cast<uint32_t>(offset + offsetof(Node, mortarColor)));
    }
}

// A member as declared: its full name, registry operation and offset in the material's block.
struct GraphMember {
    NodeName name;
    ParamKind kind;
    uint32_t offset;
};

template <std::size_t N, std::size_t M>
constexpr void appendMembers(std::array<GraphMember, N>& out, std::size_t& next, const NodeSite& site,
                             const std::array<NodeMember, M>& members) {
    for (const NodeMember& member : members) out[next++] = {site.path.plus(member.suffix), member.kind, site.offset + member.offset};
}

// One node's members in declaration order; a Noise node declares its unconnected colours
// between its leading and trailing members.
template <std::size_t N>
constexpr void appendSiteMembers(std::array<GraphMember, N>& members, std::size_t& next, const NodeSite& site) {
    if (site.kind == NodeKind::UnifiedBitmap) {
        appendMembers(members, next, site, kUnifiedBitmapMembers);
    } else if (site.kind == NodeKind::Tile) {
        appendMembers(members, next, site, kTileMembers);
    } else {
        appendMembers(members, next, site, kNoiseLeadingMembers);
        if (site.constantColour1) members[next++] = {site.path.plus("_color1"), ParamKind::Float4, site.colour1Offset};
        if (site.constantColour2) members[next++] = {site.path.plus("_color2"), ParamKind::Float4, site.colour2Offset};
        appendMembers(members, next, site, kNoiseTrailingMembers);
    }
}

// Where a material keeps the graph on one of its inputs: the input's path (the material's
// prefix and the input's name) and the offset of the graph's block in the material's block.
template <class Graph>
struct GraphRoot {
    const char* path;
    std::size_t offset;
};

// The members of every node of a material's graphs, in the material's block order. `blockOrder`
// lists the node paths after `prefix` in declaration order, every node exactly once; each root
// names the graph on one input (a NoGraph root adds nothing).
template <std::size_t K, class... Graphs>
constexpr auto graphMembers(const char* const (&blockOrder)[K], const char* prefix, GraphRoot<Graphs>... roots) {
    constexpr std::size_t kSites = (siteCount<Graphs>() + ...);
    constexpr std::size_t kRows = (rowCount<Graphs>() + ...);
    std::array<NodeSite, kSites> sites{};
    std::size_t count = 0;
    (collectSites<Graphs>(sites, count, NodeName(roots.path), static_cast<uint32_t>(roots.offset)), ...);
    if (K != kSites) throw "the block order must list every node once";

    std::array<GraphMember, kRows> members{};
    std::array<bool, kSites> used{};
    std::size_t next = 0;
    for (const char* listed : blockOrder) {
        const NodeName path = NodeName(prefix).plus(listed);
        std::size_t found = kSites;
        for (std::size_t i = 0; i < kSites; ++i) {
            if (sites[i].path.equals(path)) found = i;
        }
        if (found == kSites || used[found]) throw "block order names a node that is not in the graph, or twice";
        used[found] = true;
        appendSiteMembers(members, next, sites[found]);
    }
    return members;
}

// Declaration rows naming the members of a graphMembers table; the names stay in the table, so
// it must outlive the rows (a constexpr variable).
template <std::size_t N>
constexpr std::array<Declaration, N> graphRows(const std::array<GraphMember, N>& members) {
    std::array<Declaration, N> rows{};
    for (std::size_t i = 0; i < N; ++i) rows[i] = {members[i].kind, 0, members[i].name.text, members[i].offset};
    return rows;
}

}  // namespace ksi::nodes
