// The figures of a material's lobes at one incident direction: what sampleBsdf draws, lobe by
// lobe, set against what evaluateBsdf says; the albedo over incident angles; the reciprocity of
// evaluateBsdf. Every figure comes from a seeded stream, so a run is repeatable bit for bit.
#pragma once

#include <cstdint>
#include <vector>

#include <glm/glm.hpp>

#include "density_test.h"
#include "probe.h"
#include "shader_instance.h"

namespace kestrel::lobe {

// Values a host cannot use: not a number, infinite, or negative (a negative weight, density or
// reflectance times cosine).
struct InvalidCounts {
    long nan = 0, infinite = 0, negative = 0;
    long total() const { return nan + infinite + negative; }
    InvalidCounts& operator+=(const InvalidCounts& other);
};

// One of the (at most two) directions of a delta lobe.
struct DeltaDirection {
    glm::dvec3 direction{0.0};
    double share = 0.0;            // of all attempts
    glm::dvec3 throughput{0.0};    // weight x cosine x reciprocal density of one such draw
};

struct LobeFigures {
    int code = 0;
    bool delta = false;
    double share = 0.0;        // of all attempts
    glm::dvec3 albedo{0.0};    // the lobe's part of the albedo
    std::vector<DeltaDirection> directions;  // delta lobes only
    // Continuous lobes. A lobe whose draws all report samplePdf 1 carries its density in its
    // weight; its density is then the one the weight implies, value x cosine / weight.
    bool impliedDensity = false;
    DensityTest density;
    double largestGap = 0.0;   // relative gap between the throughput and value x cosine / density
    double gapShare = 0.0;     // share of the lobe's draws whose gap exceeds the tolerance
    long unusable = 0;         // draws without a usable density (zero, negative, not finite)
    // Draws on exactly repeated directions (single-precision spikes), left out of the test.
    double repeatedShare = 0.0;
    glm::dvec3 repeatedDirection{0.0};
};

struct AngleFigures {
    double theta = 0.0, phi = 0.0;
    long attempts = 0, noSample = 0, dropped = 0;
    std::vector<LobeFigures> lobes;
    glm::dvec3 albedo{0.0}, albedoError{0.0};  // mean throughput and its standard error
    bool evaluates = false;
    // The continuous lobes' mean throughput against the quadrature of value x cosine.
    glm::dvec3 sampled{0.0}, sampledError{0.0}, quadrature{0.0};
    InvalidCounts sampleInvalid, evaluateInvalid;
};

// `count` draws from the probe with the seed's stream.
std::vector<Draw> drawMany(const LobeProbe& probe, long count, uint64_t seed);

// The directions of a lobe (the draws at the indices) when at most two of them hold nearly all
// its draws, with their share of `attempts`; empty for a continuous lobe.
std::vector<DeltaDirection> deltaDirections(const std::vector<Draw>& draws, const std::vector<std::size_t>& lobe,
                                            double attempts);

// The density a continuous lobe's draw stands for: the reported one, or the one its weight
// implies given the evaluation at its direction; 0 when the draw gives none.
double drawDensity(const Draw& draw, const Evaluation& evaluation, bool implied);

// Draws 2 x samples directions (one batch for the counts, one for the reference densities).
AngleFigures measureAngle(const ShaderInstance& shader, double theta, double phi, const LobeRequest& request,
                          long samples, uint64_t seed);

struct AlbedoPoint {
    double theta = 0.0;
    glm::dvec3 mean{0.0}, error{0.0};
    glm::dvec3 quadrature{0.0};  // of value x cosine, when the class evaluates and it was asked for
};

std::vector<AlbedoPoint> albedoCurve(const ShaderInstance& shader, const LobeRequest& request,
                                     const std::vector<double>& thetas, long samples, uint64_t seed,
                                     bool withQuadrature);

struct ReciprocityFigures {
    long pairs = 0, nonReciprocal = 0;
    double largestError = 0.0;  // max |f(wi, wo) - f(wo, wi)| over the pairs and channels
    double largestValue = 0.0;  // max f over the pairs and channels
    glm::dvec3 worstIncoming{0.0}, worstOutgoing{0.0};
    InvalidCounts invalid;
    double relativeError() const { return largestValue > 0.0 ? largestError / largestValue : 0.0; }
};

// Pairs of reflected directions: each incident angle at two azimuths against a grid over the
// hemisphere and the mirror direction.
ReciprocityFigures measureReciprocity(const ShaderInstance& shader, const std::vector<double>& thetas);

// The integral over the sphere of value x cosine seen from `probe`, on cells fitted to the
// directions given (where the lobe lives).
glm::dvec3 reflectanceIntegral(const LobeProbe& probe, const std::vector<glm::dvec3>& directions,
                               InvalidCounts& invalid);

}  // namespace kestrel::lobe
