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

inline constexpr ClassDoc kWard_f05db29e_Doc{
    "The earlier Ward revision with an image height map on the normal maps and a brick pattern of two images as "
    "the diffuse colour.",
    kWardGraphVariantDescription,
    "As for kestrel_Mtl_Ward (u_diffuseColor and u_brdfCurvePower), and to use the graph: u_diffuseMapEnable "
    "(the graph is the diffuse colour) and u_normal0MapEnable with u_normal0Amount (the graph is the height "
    "map), and write every node member: they are all 0 until the host sets them (an amount of 0 makes an image "
    "black, a Noise size of 0 is undefined).",
};

class kestrel_Mtl_Ward_f05db29e final : public WardGraphVariant<Ward_f05db29e_Graphs> {};

}  // namespace ksi
