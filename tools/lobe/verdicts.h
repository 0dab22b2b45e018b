// Where a figure of the certificate stops being a detail and becomes something an integrator must
// know, and the sentence that says so. Every threshold is named here once; the certificate, its
// table and the regression check read them from here.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace kestrel::lobe {

// A continuous lobe whose chi-square p-value is below this does not draw with the density it
// reports. Small, because a certificate runs a few hundred tests and cells that a lobe's support
// cuts in slivers still read a little high.
inline constexpr double kDensityPValue = 1e-6;
// Sampled and evaluated reflectance agree when they differ by less than four standard errors of
// the sampled mean plus this share of the evaluated one (the quadrature's own error).
inline constexpr double kConsistencyTolerance = 0.01;
inline constexpr double kConsistencySigmas = 4.0;
// Relative gap between a draw's throughput and value x cosine / density that float rounding
// cannot explain: a sampler that keeps its random number for the Ward exponential while
// evaluateBsdf recomputes it differs by a few tenths of a per cent on a sharp lobe.
inline constexpr double kGapTolerance = 1e-2;
// Relative difference of f(wi, wo) and f(wo, wi) that counts as non-reciprocal.
inline constexpr double kReciprocityTolerance = 1e-3;
// An albedo above 1 + this (and four standard errors) reflects more than it receives.
inline constexpr double kEnergyTolerance = 1e-3;
// The reported density's mass over the lobe's share of the draws beyond which the density
// leaves out the probability of choosing the lobe.
inline constexpr double kMassTolerance = 0.02;

// The consistency verdict of an angle: {"relativeError", "tolerance", "consistent"}, from the
// sampled mean, its standard error and the quadrature (each [r, g, b]); null when the class
// does not evaluate or draws no continuous lobe.
nlohmann::ordered_json consistency(const nlohmann::ordered_json& angle);

// One line per fact an integrator must know about a parameter set of a class: energy gain,
// non-reciprocity, values that are not finite or negative, a density mismatch, a weight that
// disagrees with evaluateBsdf, a density that leaves out the lobe's choice.
std::vector<std::string> findings(const nlohmann::ordered_json& set);

// Figures that held in the baseline certificate and fail in the new one (same class, set,
// angle, lobe): a sampling that broke. Each entry names where.
std::vector<std::string> regressions(const nlohmann::ordered_json& baseline, const nlohmann::ordered_json& current);

}  // namespace kestrel::lobe
