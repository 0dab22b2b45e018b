// The Noise node: blends two colours by the host's four-dimensional noise at the object-space
// point, shaped as regular, fractal or turbulent noise and remapped between two thresholds.
// Each colour is a constant of the node or the output of a child node.
#pragma once

#include <array>

#include "frame/host_interfaces.h"
#include "frame/types.h"
#include "textures/node_member.h"

namespace ksi {

#define KS_NOISE_LEADING_MEMBERS(G, P, T)                                                                         \
    G("noise")                                                                                                    \
    P(Float4x4, xform, {},                                                                                        \
      matrix("Transform of the object-space point before the noise (row vectors, translation in the last row).")) \
    P(int32_t, type, 0,                                                                                           \
      mode("Shape of the noise.", "0 regular; 1 fractal; 2 turbulence; 3 flat 0 (any other value)"))

#define KS_NOISE_TRAILING_MEMBERS(G, P, T)                                                                  \
    G("noise")                                                                                              \
    P(float, size, 0.0f, distance("Feature size: the point is divided by it.").soft(0.01f, 10))             \
    P(float, thresholdLow, 0.0f, weight("Noise value at and below which color1 shows alone."))              \
    P(float, thresholdHigh, 0.0f, weight("Noise value at and above which color2 shows alone."))             \
    P(float, levels, 0.0f,                                                                                  \
      count("Octaves of the fractal and turbulent types; fractions blend the last octave in.").soft(1, 10)) \
    P(float, phase, 0.0f, scalar("Fourth noise coordinate: changing it animates the pattern.").soft(0, 10))

// Written by the host before shading; zero until then. The constant colours, when declared, are
// members of the graph around the node (see node_graph.h).
struct NoiseParams {
    KS_BLOCK_MEMBERS(KS_NOISE_LEADING_MEMBERS)
    KS_BLOCK_MEMBERS(KS_NOISE_TRAILING_MEMBERS)
};

// Members before the constant colours and after them, in declaration order.
inline constexpr auto kNoiseLeadingMembers = KS_NODE_MEMBERS(NoiseParams, KS_NOISE_LEADING_MEMBERS);
inline constexpr auto kNoiseTrailingMembers = KS_NODE_MEMBERS(NoiseParams, KS_NOISE_TRAILING_MEMBERS);

// The colours of ports that no child node feeds, declared between the two lists above as
// members of the graph around the node; listed here for their explanations only.
#define KS_NOISE_COLOUR_PORTS(G, P, T)                                                               \
    G("noise")                                                                                       \
    P(Float4, color1, {}, colour("Colour where the remapped noise is 0 (port color1 unconnected).")) \
    P(Float4, color2, {}, colour("Colour where the remapped noise is 1 (port color2 unconnected)."))

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
