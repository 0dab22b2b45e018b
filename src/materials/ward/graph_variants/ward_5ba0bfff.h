// kestrel_Mtl_Ward_5ba0bfff: the earlier Ward revision with noise of two constant colours on the normal maps.
#pragma once

#include "materials/ward/graph_variants/ward_graph_variant.h"

namespace ksi {

struct Ward_5ba0bfff_Graphs {
    using Diffuse = nodes::NoGraph;
    using Normal0 = nodes::Noise<nodes::ConstantColour, nodes::ConstantColour>;
    using Cutout = nodes::NoGraph;
    static constexpr const char* kBlockOrder[] = {
        "normal0_map_Noise",
    };
};

inline constexpr ClassDoc kWard_5ba0bfff_Doc{
    "The earlier Ward revision with noise of two constant colours on the normal maps.",
    kWardGraphVariantDescription,
    "As for kestrel_Mtl_Ward (u_diffuseColor and u_brdfCurvePower), and to use the graph: u_normal0MapEnable "
    "with u_normal0Amount (the graph is the height map), and write every node member: they are all 0 until the "
    "host sets them (an amount of 0 makes an image black, a Noise size of 0 is undefined).",
};

class kestrel_Mtl_Ward_5ba0bfff final : public WardGraphVariant<Ward_5ba0bfff_Graphs> {};

}  // namespace ksi
