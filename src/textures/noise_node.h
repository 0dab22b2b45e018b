// The Noise node: blends two colours by the host's four-dimensional noise at the object-space
// point, shaped as regular, fractal or turbulent noise and remapped between two thresholds.
// Each colour is a constant of the node or the output of a child node.
#pragma once

#include <array>

#include "frame/host_interfaces.h"
#include "frame/types.h"
#include "textures/node_member.h"

namespace ksi {

// Written by the host before shading; zero until then. The constant colours, when declared, are
// members of the graph around the node (see node_graph.h).
struct NoiseParams {
    Float4x4 xform{};
    int32_t type = 0;  // 0 regular, 1 fractal, 2 turbulence, anything else flat 0
    float size = 0.0f;
    float thresholdLow = 0.0f;
    float thresholdHigh = 0.0f;
    float levels = 0.0f;  // octaves of types 1 and 2, fractional values allowed
    float phase = 0.0f;   // fourth noise coordinate
};

// Members before the constant colours and after them, in declaration order.
inline constexpr std::array kNoiseLeadingMembers{
    KS_NODE_MEMBER(NoiseParams, xform, "_xform"),
    KS_NODE_MEMBER(NoiseParams, type, "_type"),
};
inline constexpr std::array kNoiseTrailingMembers{
    KS_NODE_MEMBER(NoiseParams, size, "_size"),
    KS_NODE_MEMBER(NoiseParams, thresholdLow, "_thresholdLow"),
    KS_NODE_MEMBER(NoiseParams, thresholdHigh, "_thresholdHigh"),
    KS_NODE_MEMBER(NoiseParams, levels, "_levels"),
    KS_NODE_MEMBER(NoiseParams, phase, "_phase"),
};

// Full octaves beyond this many add less than a float's precision to the sum: the cap binds only
// for an absurd level count, and keeps a garbage value from hanging a render.
inline constexpr float kMaxNoiseOctaves = 64.0f;

// The scalar noise value before the threshold remap.
float noiseValue(const NoiseParams& node, RenderServices* services, Float3 objectPoint);

// The weight of color2 against color1: the noise value at objectPoint remapped between the
// thresholds.
float noiseBlendWeight(const NoiseParams& node, RenderServices* services, Float3 objectPoint);

// (1 - v) color1 + v color2 per channel, v the remapped noise value at objectPoint. The colours
// are evaluated before the noise, so the host sees a graph's calls children first.
inline Float4 evaluateNoise(const NoiseParams& node, RenderServices* services, Float3 objectPoint, Float4 color1,
                            Float4 color2) {
    const float v = noiseBlendWeight(node, services, objectPoint);
    return (1.0f - v) * color1 + v * color2;
}

}  // namespace ksi
