// Whether directions were drawn with the density the sampler reports, tested with Pearson's
// chi-square. The host can ask a material for its density only at a direction the material drew,
// so the expected count of a cell comes from the densities reported by an independent batch of
// draws: within a cell, the mean reciprocal density of those draws is the cell's solid angle over
// its probability (exactly so when the reported density is the true one), whatever the shape of
// the density inside the cell.
#pragma once

#include <vector>

#include <glm/glm.hpp>

namespace kestrel::lobe {

struct DensityTest {
    double statistic = 0.0;
    int degreesOfFreedom = 0;
    double pValue = 1.0;
    // The integral of the reported density over the cells the draws cover, and the share of
    // all attempts that landed there: equal when the density includes the probability of
    // choosing the lobe (and of failing), the mass larger when it leaves that out.
    double reportedMass = 0.0, interiorShare = 0.0;
    // The share of the lobe's draws in cells it covers only in part, left out of the test.
    double boundaryShare = 0.0;
};

// The probability that a chi-square variable with `dof` degrees of freedom exceeds `statistic`.
double chiSquareUpperTail(double statistic, int dof);

// `observed`: directions of one batch of a lobe's draws; `reference` and `density`: directions
// and reported densities of another batch of the same lobe, drawn in `referenceAttempts`
// attempts. Cells come from the reference directions (about `capacity` each); cells expecting
// fewer than five draws are pooled.
DensityTest testDensity(const std::vector<glm::dvec3>& observed, const std::vector<glm::dvec3>& reference,
                        const std::vector<double>& density, long referenceAttempts, int capacity);

}  // namespace kestrel::lobe
