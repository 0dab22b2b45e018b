// kestrel_Mtl_Ward_b9aac246: the earlier Ward revision with an image height map on the normal maps and noise between two brick patterns as the diffuse colour.
#pragma once

#include "materials/ward/graph_variants/ward_graph_variant.h"

namespace ksi {

struct Ward_b9aac246_Graphs {
    using ImageBricks = nodes::Tile<nodes::UnifiedBitmap, nodes::UnifiedBitmap>;
    using Diffuse = nodes::Noise<ImageBricks, ImageBricks>;
    using Normal0 = nodes::UnifiedBitmap;
    using Cutout = nodes::NoGraph;
    static constexpr const char* kBlockOrder[] = {
        "normal0_map_UnifiedBitmap",
        "diffuse_color_Noise_color1_Tile_brickColor_UnifiedBitmap",
        "diffuse_color_Noise_color1_Tile_mortarColor_UnifiedBitmap",
        "diffuse_color_Noise_color2_Tile_brickColor_UnifiedBitmap",
        "diffuse_color_Noise_color2_Tile_mortarColor_UnifiedBitmap",
        "diffuse_color_Noise",
        "diffuse_color_Noise_color1_Tile",
        "diffuse_color_Noise_color2_Tile",
    };
};

class kestrel_Mtl_Ward_b9aac246 final : public WardGraphVariant<Ward_b9aac246_Graphs> {};

}  // namespace ksi
