// kestrel_Mtl_Ward_aa598cb4: the earlier Ward revision with noise between two images, once on the normal maps and once as the diffuse colour.
#pragma once

#include "materials/ward/graph_variants/ward_graph_variant.h"

namespace ksi {

struct Ward_aa598cb4_Graphs {
    using Diffuse = nodes::Noise<nodes::UnifiedBitmap, nodes::UnifiedBitmap>;
    using Normal0 = nodes::Noise<nodes::UnifiedBitmap, nodes::UnifiedBitmap>;
    using Cutout = nodes::NoGraph;
    static constexpr const char* kBlockOrder[] = {
        "normal0_map_Noise_color1_UnifiedBitmap",
        "normal0_map_Noise_color2_UnifiedBitmap",
        "normal0_map_Noise",
        "diffuse_color_Noise_color1_UnifiedBitmap",
        "diffuse_color_Noise_color2_UnifiedBitmap",
        "diffuse_color_Noise",
    };
};

class kestrel_Mtl_Ward_aa598cb4 final : public WardGraphVariant<Ward_aa598cb4_Graphs> {};

}  // namespace ksi
