// kestrel_Mtl_Ward_120b7820: the earlier Ward revision with noise of two constant colours as the diffuse colour.
#pragma once

#include "materials/ward/graph_variants/ward_graph_variant.h"

namespace ksi {

struct Ward_120b7820_Graphs {
    using Diffuse = nodes::Noise<nodes::ConstantColour, nodes::ConstantColour>;
    using Normal0 = nodes::NoGraph;
    using Cutout = nodes::NoGraph;
    static constexpr const char* kBlockOrder[] = {
        "diffuse_color_Noise",
    };
};

inline constexpr ClassDoc kWard_120b7820_Doc{
    "The earlier Ward revision with noise of two constant colours as the diffuse colour.",
    kWardGraphVariantDescription,
    "As for kestrel_Mtl_Ward (u_diffuseColor and u_brdfCurvePower), and to use the graph: u_diffuseMapEnable "
    "(the graph is the diffuse colour), and write every node member: they are all 0 until the host sets them (an "
    "amount of 0 makes an image black, a Noise size of 0 is undefined).",
};

class kestrel_Mtl_Ward_120b7820 final : public WardGraphVariant<Ward_120b7820_Graphs> {};

}  // namespace ksi
