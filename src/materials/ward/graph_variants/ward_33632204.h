// kestrel_Mtl_Ward_33632204: the earlier Ward revision with two levels of noise over four images, once on the normal maps and once as the diffuse colour.
#pragma once

#include "materials/ward/graph_variants/ward_graph_variant.h"

namespace ksi {

struct Ward_33632204_Graphs {
    using NoiseOfImages = nodes::Noise<nodes::UnifiedBitmap, nodes::UnifiedBitmap>;
    using NoiseOfNoises = nodes::Noise<NoiseOfImages, NoiseOfImages>;
    using Diffuse = NoiseOfNoises;
    using Normal0 = NoiseOfNoises;
    using Cutout = nodes::NoGraph;
    static constexpr const char* kBlockOrder[] = {
        "normal0_map_Noise_color1_Noise_color1_UnifiedBitmap",
        "normal0_map_Noise_color1_Noise_color2_UnifiedBitmap",
        "normal0_map_Noise_color2_Noise_color1_UnifiedBitmap",
        "normal0_map_Noise_color2_Noise_color2_UnifiedBitmap",
        "normal0_map_Noise",
        "normal0_map_Noise_color1_Noise",
        "normal0_map_Noise_color2_Noise",
        "diffuse_color_Noise_color1_Noise_color1_UnifiedBitmap",
        "diffuse_color_Noise_color1_Noise_color2_UnifiedBitmap",
        "diffuse_color_Noise_color2_Noise_color1_UnifiedBitmap",
        "diffuse_color_Noise_color2_Noise_color2_UnifiedBitmap",
        "diffuse_color_Noise",
        "diffuse_color_Noise_color1_Noise",
        "diffuse_color_Noise_color2_Noise",
    };
};

inline constexpr ClassDoc kWard_33632204_Doc{
    "The earlier Ward revision with two levels of noise over four images, once on the normal maps and once as "
    "the diffuse colour.",
    kWardGraphVariantDescription,
    "As for kestrel_Mtl_Ward (u_diffuseColor and u_brdfCurvePower), and to use the graph: u_diffuseMapEnable "
    "(the graph is the diffuse colour) and u_normal0MapEnable with u_normal0Amount (the graph is the height "
    "map), and write every node member: they are all 0 until the host sets them (an amount of 0 makes an image "
    "black, a Noise size of 0 is undefined).",
};

class kestrel_Mtl_Ward_33632204 final : public WardGraphVariant<Ward_33632204_Graphs> {};

}  // namespace ksi
