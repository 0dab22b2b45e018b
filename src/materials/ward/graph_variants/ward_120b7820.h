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

class kestrel_Mtl_Ward_120b7820 final : public WardGraphVariant<Ward_120b7820_Graphs> {};

}  // namespace ksi
