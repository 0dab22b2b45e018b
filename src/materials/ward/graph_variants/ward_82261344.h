// kestrel_Mtl_Ward_82261344: the earlier Ward revision with an image cutout and noise between two images as the diffuse colour.
#pragma once

#include "materials/ward/graph_variants/ward_graph_variant.h"

namespace ksi {

struct Ward_82261344_Graphs {
    using Diffuse = nodes::Noise<nodes::UnifiedBitmap, nodes::UnifiedBitmap>;
    using Normal0 = nodes::NoGraph;
    using Cutout = nodes::UnifiedBitmap;
    static constexpr const char* kBlockOrder[] = {
        "cutout_map_UnifiedBitmap",
        "diffuse_color_Noise",
        "diffuse_color_Noise_color1_UnifiedBitmap",
        "diffuse_color_Noise_color2_UnifiedBitmap",
    };
};

inline constexpr ClassDoc kWard_82261344_Doc{
    "The earlier Ward revision with an image cutout and noise between two images as the diffuse colour.",
    kWardGraphVariantDescription,
    "As for kestrel_Mtl_Ward (u_diffuseColor and u_brdfCurvePower), and to use the graph: u_diffuseMapEnable "
    "(the graph is the diffuse colour) and u_cutoutMapEnable (the graph is the cutout), and write every node "
    "member: they are all 0 until the host sets them (an amount of 0 makes an image black, a Noise size of 0 is "
    "undefined).",
};

class kestrel_Mtl_Ward_82261344 final : public WardGraphVariant<Ward_82261344_Graphs> {};

}  // namespace ksi
