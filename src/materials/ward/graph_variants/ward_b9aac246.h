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

inline constexpr ClassDoc kWard_b9aac246_Doc{
    "The earlier Ward revision with an image height map on the normal maps and noise between two brick patterns "
    "as the diffuse colour.",
    kWardGraphVariantDescription,
    "As for kestrel_Mtl_Ward (u_diffuseColor and u_brdfCurvePower), and to use the graph: u_diffuseMapEnable "
    "(the graph is the diffuse colour) and u_normal0MapEnable with u_normal0Amount (the graph is the height "
    "map), and write every node member: they are all 0 until the host sets them (an amount of 0 makes an image "
    "black, a Noise size of 0 is undefined).",
};

class kestrel_Mtl_Ward_b9aac246 final : public WardGraphVariant<Ward_b9aac246_Graphs> {};

}  // namespace ksi
