#include "density_test.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "sphere_grid.h"

namespace kestrel::lobe {

namespace {

constexpr double kEpsilon = 1e-15;
constexpr double kTiny = 1e-300;
constexpr int kMaxIterations = 100000;
// A cell expecting fewer draws than this joins the pooled cell.
constexpr double kMinExpected = 5.0;
// Cells no smaller than about a thousandth of a radian: finer ones would resolve the steps in
// which float arithmetic spaces the directions of the sharpest lobes, not their density.
constexpr double kMinCellSize = 0.0015;
constexpr int kBands = 16;
// A cell holding this many draws (of both batches) is checked for an empty quarter, and from
// the second count on for an empty sixteenth; a uniform density leaves one empty by chance
// less than once in a hundred cells.
constexpr double kQuarterCheck = 16.0, kSixteenthCheck = 128.0;
// A cell needs this many reference draws for its probability to be estimated at all.
constexpr double kMinReference = 8.0;

// What one cell collected. A cell that the lobe's draws cover only in part (where the sampler's
// support ends inside it) would have its probability overstated by the reciprocal densities,
// so such cells are left out: the test is of the cells the draws cover.
struct CellTally {
    double reference = 0.0, reciprocalSum = 0.0, reciprocalSquares = 0.0, observed = 0.0;
    uint16_t sixteenths = 0;  // bit 4 i + j: the draws reach sub-cell (i, j) of equal solid angle
    void occupy(glm::dvec2 within) {
        const int i = std::min(3, static_cast<int>(within.x * 4.0)), j = std::min(3, static_cast<int>(within.y * 4.0));
        sixteenths = static_cast<uint16_t>(sixteenths | (1u << (4 * i + j)));
    }
    // The relative variance of the cell's probability as estimated from its reference draws:
    // the spread of their reciprocal densities over their number (a ratio estimator's).
    double relativeVariance() const {
        if (reference < 2.0) return 0.0;
        const double mean = reciprocalSum / reference;
        const double variance = std::max(0.0, (reciprocalSquares - reference * mean * mean) / (reference - 1.0));
        return variance / (mean * mean) / reference;
    }
    bool usable() const { return reference >= kMinReference && std::isfinite(reciprocalSum) && interior(); }
    bool interior() const {
        const double draws = reference + observed;
        if (draws >= kSixteenthCheck) return sixteenths == 0xFFFF;
        if (draws < kQuarterCheck) return true;
        for (int q = 0; q < 4; ++q) {
            // The quarter (q / 2, q % 2) holds sub-cells whose rows are 2 (q / 2) .. +1.
            const uint16_t mask = static_cast<uint16_t>(0x33u << (8 * (q / 2) + 2 * (q % 2)));
            if ((sixteenths & mask) == 0) return false;
        }
        return true;
    }
};

// The regularised lower incomplete gamma function P(a, x) by its series, for x < a + 1.
double lowerGammaSeries(double a, double x) {
    double term = 1.0 / a, sum = term;
    for (int n = 1; n < kMaxIterations && std::abs(term) > std::abs(sum) * kEpsilon; ++n) {
        term *= x / (a + n);
        sum += term;
    }
    return sum * std::exp(-x + a * std::log(x) - std::lgamma(a));
}

// The regularised upper incomplete gamma function Q(a, x) by its continued fraction (modified
// Lentz), for x >= a + 1.
double upperGammaFraction(double a, double x) {
    double b = x + 1.0 - a, c = 1.0 / kTiny, d = 1.0 / b, h = d;
    for (int i = 1; i < kMaxIterations; ++i) {
        const double an = -i * (i - a);
        b += 2.0;
        d = an * d + b;
        if (std::abs(d) < kTiny) d = kTiny;
        c = b + an / c;
        if (std::abs(c) < kTiny) c = kTiny;
        d = 1.0 / d;
        const double delta = d * c;
        h *= delta;
        if (std::abs(delta - 1.0) < kEpsilon) break;
    }
    return std::exp(-x + a * std::log(x) - std::lgamma(a)) * h;
}

}  // namespace

double chiSquareUpperTail(double statistic, int dof) {
    if (dof <= 0 || !(statistic > 0.0)) return 1.0;
    if (!std::isfinite(statistic)) return 0.0;
    const double a = 0.5 * dof, x = 0.5 * statistic;
    return x < a + 1.0 ? 1.0 - lowerGammaSeries(a, x) : upperGammaFraction(a, x);
}

DensityTest testDensity(const std::vector<glm::dvec3>& observed, const std::vector<glm::dvec3>& reference,
                        const std::vector<double>& density, long referenceAttempts, int capacity) {
    DensityTest test;
    if (observed.empty() || reference.empty()) return test;
    const SphereGrid grid(reference, capacity, kMinCellSize, kBands, &density, static_cast<double>(referenceAttempts));
    std::vector<CellTally> cells(grid.cells().size());
    for (std::size_t i = 0; i < reference.size(); ++i) {
        glm::dvec2 within;
        const int c = grid.locate(reference[i], &within);
        if (c < 0) continue;
        CellTally& cell = cells[static_cast<std::size_t>(c)];
        cell.reference += 1.0;
        // A draw the sampler reports with zero density makes its cell's probability zero.
        const double reciprocal = density[i] > 0.0 ? 1.0 / density[i] : std::numeric_limits<double>::infinity();
        cell.reciprocalSum += reciprocal;
        cell.reciprocalSquares += reciprocal * reciprocal;
        cell.occupy(within);
    }
    for (const glm::dvec3& d : observed) {
        glm::dvec2 within;
        const int c = grid.locate(d, &within);
        if (c < 0) continue;
        cells[static_cast<std::size_t>(c)].observed += 1.0;
        cells[static_cast<std::size_t>(c)].occupy(within);
    }
    double interiorObserved = 0.0, interiorReference = 0.0;
    std::vector<double> probability(cells.size(), 0.0);
    for (std::size_t c = 0; c < cells.size(); ++c) {
        if (!cells[c].usable()) continue;
        probability[c] = grid.cells()[c].solidAngle() * cells[c].reference / cells[c].reciprocalSum;
        test.reportedMass += probability[c];
        interiorObserved += cells[c].observed, interiorReference += cells[c].reference;
    }
    test.interiorShare = interiorReference / static_cast<double>(referenceAttempts);
    test.boundaryShare = 1.0 - interiorReference / static_cast<double>(reference.size());
    if (!(test.reportedMass > 0.0)) {
        test.statistic = std::numeric_limits<double>::infinity(), test.pValue = 0.0;
        return test;
    }
    // Each cell's deviation is weighed by the Poisson variance of its count plus the variance of
    // its expected count, which comes from a finite batch too.
    double pooledObserved = 0.0, pooledExpected = 0.0, pooledVariance = 0.0;
    int bins = 0;
    for (std::size_t c = 0; c < cells.size(); ++c) {
        if (!cells[c].usable()) continue;
        const double expected = interiorObserved * probability[c] / test.reportedMass;
        const double variance = expected + expected * expected * cells[c].relativeVariance();
        if (expected < kMinExpected) {
            pooledObserved += cells[c].observed, pooledExpected += expected, pooledVariance += variance;
            continue;
        }
        test.statistic += (cells[c].observed - expected) * (cells[c].observed - expected) / variance;
        ++bins;
    }
    if (pooledExpected > 0.0) {
        test.statistic += (pooledObserved - pooledExpected) * (pooledObserved - pooledExpected) / pooledVariance;
        ++bins;
    }
    test.degreesOfFreedom = bins - 1;
    test.pValue = chiSquareUpperTail(test.statistic, test.degreesOfFreedom);
    return test;
}

}  // namespace kestrel::lobe
