// kestrel_Mtl_Ward_f05db29e: the earlier Ward revision with an image height map on the normal maps and a brick pattern of two images as the diffuse colour.
#pragma once

#include "materials/ward/graph_variants/ward_graph_variant.h"

namespace ksi {

struct Ward_f05db29e_Graphs {
    using ImageBricks = nodes::Tile<nodes::UnifiedBitmap, nodes::UnifiedBitmap>;
    using Diffuse = ImageBricks;
    using Normal0 = nodes::UnifiedBitmap;
    using Cutout = nodes::NoGraph;
    static constexpr const char* kBlockOrder[] = {
        "normal0_map_UnifiedBitmap",
        "diffuse_color_Tile",
        "diffuse_color_Tile_brickColor_UnifiedBitmap",
        "diffuse_color_Tile_mortarColor_UnifiedBitmap",
    };
};

class kestrel_Mtl_Ward_f05db29e final : public WardGraphVariant<Ward_f05db29e_Graphs> {};

}  // namespace ksi
