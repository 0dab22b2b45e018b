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

class kestrel_Mtl_Ward_5ba0bfff final : public WardGraphVariant<Ward_5ba0bfff_Graphs> {};

}  // namespace ksi
