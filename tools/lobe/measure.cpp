#include "measure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <unordered_map>

#include <glm/gtc/constants.hpp>

#include "sphere_grid.h"
#include "verdicts.h"

namespace kestrel::lobe {

namespace {

constexpr double kPi = glm::pi<double>();
// A lobe code whose two most frequent directions hold this share of its draws is a delta lobe.
constexpr double kDeltaShare = 0.99;
// A direction drawn this often in a continuous lobe is a spike, not a density.
constexpr long kRepeatedCount = 3;
// The quadrature starts from about this many cells fitted to the draws, whatever their number,
// so that its accuracy does not depend on the sample count; then it refines by error.
constexpr int kQuadratureCells = 4000, kQuadratureMinCapacity = 8;
constexpr double kQuadratureMinCell = 1e-4;  // radians
constexpr double kQuadratureTolerance = 2e-5;
constexpr int kQuadratureDepth = 8;
// Reciprocity pairs: a grid of reflected directions, polar bands by azimuth sectors.
constexpr int kReciprocityBands = 12, kReciprocitySectors = 24;
// Separate streams of one seed: the draws, and the host's answers during evaluation.
constexpr uint64_t kDrawStream = 1, kEvaluateStream = 2;

bool anyNan(glm::dvec3 v) { return std::isnan(v.x) || std::isnan(v.y) || std::isnan(v.z); }
bool anyInfinite(glm::dvec3 v) { return std::isinf(v.x) || std::isinf(v.y) || std::isinf(v.z); }
bool anyNegative(glm::dvec3 v) { return v.x < 0.0 || v.y < 0.0 || v.z < 0.0; }
bool finite(glm::dvec3 v) { return !anyNan(v) && !anyInfinite(v); }

// Counts a record once, by the worst thing about it; true when it is usable.
bool countInvalid(InvalidCounts& counts, glm::dvec3 product, double density) {
    if (anyNan(product) || std::isnan(density)) return ++counts.nan, false;
    if (anyInfinite(product) || std::isinf(density)) return ++counts.infinite, false;
    if (anyNegative(product) || density < 0.0) return ++counts.negative, false;
    return true;
}

struct Moments {
    glm::dvec3 sum{0.0}, squares{0.0};
    void add(glm::dvec3 v) { sum += v, squares += v * v; }
    glm::dvec3 mean(double n) const { return sum / n; }
    glm::dvec3 error(double n) const {
        glm::dvec3 m = mean(n);
        return glm::sqrt(glm::max(squares / n - m * m, glm::dvec3(0.0)) / n);
    }
};

// Exact equality of the directions a material wrote (floats widened without loss).
struct DirectionKey {
    std::array<float, 3> v;
    bool operator==(const DirectionKey& other) const { return v == other.v; }
};
struct DirectionHash {
    std::size_t operator()(const DirectionKey& key) const {
        uint32_t bits[3];
        std::memcpy(bits, key.v.data(), sizeof bits);
        return (static_cast<std::size_t>(bits[0]) * 0x9E3779B97F4A7C15ULL) ^ (bits[1] * 0xC2B2AE3D27D4EB4FULL) ^ bits[2];
    }
};

}  // namespace

std::vector<DeltaDirection> deltaDirections(const std::vector<Draw>& draws, const std::vector<std::size_t>& lobe,
                                            double attempts) {
    struct Tally {
        long count = 0;
        glm::dvec3 throughput{0.0};
        glm::dvec3 direction{0.0};
    };
    std::unordered_map<DirectionKey, Tally, DirectionHash> tallies;
    for (std::size_t i : lobe) {
        const Draw& d = draws[i];
        Tally& t = tallies[{{static_cast<float>(d.direction.x), static_cast<float>(d.direction.y),
                             static_cast<float>(d.direction.z)}}];
        ++t.count;
        t.throughput += d.throughput();
        t.direction = d.direction;
    }
    std::vector<Tally> sorted;
    for (const auto& entry : tallies) sorted.push_back(entry.second);
    std::sort(sorted.begin(), sorted.end(), [](const Tally& a, const Tally& b) { return a.count > b.count; });
    if (sorted.size() > 2) sorted.resize(2);
    long held = 0;
    for (const Tally& t : sorted) held += t.count;
    if (held < kDeltaShare * static_cast<double>(lobe.size())) return {};
    std::vector<DeltaDirection> result;
    for (const Tally& t : sorted) {
        result.push_back({t.direction, static_cast<double>(t.count) / attempts, t.throughput / static_cast<double>(t.count)});
    }
    return result;
}

double drawDensity(const Draw& draw, const Evaluation& e, bool implied) {
    if (!implied) return draw.reciprocalDensity > 0.0 ? 1.0 / draw.reciprocalDensity : 0.0;
    const glm::dvec3 t = draw.throughput();
    const double weight = t.x + t.y + t.z;
    if (!(weight > 0.0)) return 0.0;
    const glm::dvec3 f = e.value * e.cosine;
    return std::max(0.0, (f.x + f.y + f.z) / weight);
}

namespace {

// The largest relative gap over the channels between the draw's throughput and value x cosine
// x reciprocal density.
double relativeGap(const Draw& draw, const Evaluation& e) {
    const glm::dvec3 a = draw.throughput(), b = e.value * (e.cosine * draw.reciprocalDensity);
    double gap = 0.0;
    for (int c = 0; c < 3; ++c) {
        const double scale = std::max(std::abs(a[c]), std::abs(b[c]));
        if (scale > 1e-30) gap = std::max(gap, std::abs(a[c] - b[c]) / scale);
    }
    return gap;
}

// Marks the draws of a continuous lobe that share their exact direction with two or more
// others: single-precision rounding can map a range of random numbers to one direction (a
// half vector whose cosine rounds to 1 gives the exact mirror direction). Such a spike of
// finite size is no density; it is reported and kept out of the chi-square test.
std::vector<bool> repeatedDirections(const std::vector<Draw>& draws, const std::vector<std::size_t>& lobe,
                                     LobeFigures& figures) {
    std::unordered_map<DirectionKey, long, DirectionHash> counts;
    auto key = [&](std::size_t i) {
        const glm::dvec3 d = draws[i].direction;
        return DirectionKey{{static_cast<float>(d.x), static_cast<float>(d.y), static_cast<float>(d.z)}};
    };
    for (std::size_t i : lobe) ++counts[key(i)];
    std::vector<bool> repeated(lobe.size(), false);
    long most = 0, total = 0;
    for (std::size_t k = 0; k < lobe.size(); ++k) {
        const long n = counts[key(lobe[k])];
        if (n < kRepeatedCount) continue;
        repeated[k] = true;
        ++total;
        if (n > most) most = n, figures.repeatedDirection = draws[lobe[k]].direction;
    }
    figures.repeatedShare = lobe.empty() ? 0.0 : static_cast<double>(total) / static_cast<double>(lobe.size());
    return repeated;
}

// Draws before `firstReference` are the observed batch, the `referenceAttempts` after it the
// reference batch.
void continuousFigures(const LobeProbe& probe, const std::vector<Draw>& draws, const std::vector<std::size_t>& lobe,
                       std::size_t firstReference, long referenceAttempts, LobeFigures& figures,
                       InvalidCounts& evaluateInvalid) {
    figures.impliedDensity = std::all_of(lobe.begin(), lobe.end(), [&](std::size_t i) {
        return draws[i].reciprocalDensity == 1.0;
    });
    ProbeServices services(0, kEvaluateStream);
    std::vector<glm::dvec3> observed, reference;
    std::vector<double> densities;
    long gaps = 0;
    const std::vector<bool> repeated = repeatedDirections(draws, lobe, figures);
    for (std::size_t k = 0; k < lobe.size(); ++k) {
        const std::size_t i = lobe[k];
        const Draw& draw = draws[i];
        Evaluation e;
        if (probe.canEvaluate()) {
            e = probe.evaluate(services, draw.direction);
            countInvalid(evaluateInvalid, e.value * e.cosine, 0.0);
        }
        const double density = probe.canEvaluate() || !figures.impliedDensity ? drawDensity(draw, e, figures.impliedDensity) : 0.0;
        if (!(density > 0.0) || !std::isfinite(density)) ++figures.unusable;
        if (!figures.impliedDensity && probe.canEvaluate()) {
            const double gap = relativeGap(draw, e);
            figures.largestGap = std::max(figures.largestGap, gap);
            if (!(gap <= kGapTolerance)) ++gaps;
        }
        if (repeated[k]) continue;
        if (i < firstReference) {
            observed.push_back(draw.direction);
        } else {
            reference.push_back(draw.direction);
            densities.push_back(std::isfinite(density) ? density : 0.0);
        }
    }
    figures.gapShare = lobe.empty() ? 0.0 : static_cast<double>(gaps) / static_cast<double>(lobe.size());
    if (probe.canEvaluate() || !figures.impliedDensity) {
        const int capacity = std::max(20, static_cast<int>(reference.size() / 400));
        figures.density = testDensity(observed, reference, densities, referenceAttempts, capacity);
    }
}

}  // namespace

std::vector<Draw> drawMany(const LobeProbe& probe, long count, uint64_t seed) {
    ProbeServices services(seed, kDrawStream);
    std::vector<Draw> draws(static_cast<std::size_t>(count));
    for (Draw& d : draws) d = probe.sample(services);
    return draws;
}

InvalidCounts& InvalidCounts::operator+=(const InvalidCounts& other) {
    nan += other.nan, infinite += other.infinite, negative += other.negative;
    return *this;
}

glm::dvec3 reflectanceIntegral(const LobeProbe& probe, const std::vector<glm::dvec3>& directions,
                               InvalidCounts& invalid) {
    ProbeServices services(0, kEvaluateStream);
    const int capacity = std::max(kQuadratureMinCapacity, static_cast<int>(directions.size()) / kQuadratureCells);
    const SphereGrid grid(directions, capacity, kQuadratureMinCell);
    long evaluations = 0;
    auto valueTimesCosine = [&](glm::dvec3 w) {
        const Evaluation e = probe.evaluate(services, w);
        const glm::dvec3 f = e.value * e.cosine;
        if (e.dropped || !countInvalid(invalid, f, 0.0)) return glm::dvec3(0.0);
        return f;
    };
    return integrateOverSphere(grid, valueTimesCosine, kQuadratureTolerance, kQuadratureDepth, evaluations);
}

AngleFigures measureAngle(const ShaderInstance& shader, double theta, double phi, const LobeRequest& request,
                          long samples, uint64_t seed) {
    AngleFigures figures;
    figures.theta = theta, figures.phi = phi;
    const LobeProbe probe(shader, direction(theta, phi), request);
    figures.evaluates = probe.canEvaluate();
    const std::vector<Draw> draws = drawMany(probe, 2 * samples, seed);
    figures.attempts = static_cast<long>(draws.size());
    const double n = static_cast<double>(draws.size());

    Moments all, continuous;
    std::map<int, std::vector<std::size_t>> byLobe;
    std::vector<glm::dvec3> drawn;
    for (std::size_t i = 0; i < draws.size(); ++i) {
        const Draw& d = draws[i];
        figures.dropped += d.dropped;
        if (d.lobe == 0) {
            ++figures.noSample;
            continue;
        }
        if (!countInvalid(figures.sampleInvalid, d.throughput(), d.reciprocalDensity) && !finite(d.throughput())) continue;
        all.add(d.throughput());
        byLobe[d.lobe].push_back(i);
        if (finite(d.direction)) drawn.push_back(d.direction);
    }
    figures.albedo = all.mean(n), figures.albedoError = all.error(n);
    for (const auto& [code, lobe] : byLobe) {
        LobeFigures lobeFigures;
        lobeFigures.code = code;
        lobeFigures.share = static_cast<double>(lobe.size()) / n;
        for (std::size_t i : lobe) lobeFigures.albedo += draws[i].throughput() / n;
        lobeFigures.directions = deltaDirections(draws, lobe, n);
        lobeFigures.delta = !lobeFigures.directions.empty();
        if (!lobeFigures.delta) {
            continuousFigures(probe, draws, lobe, static_cast<std::size_t>(samples), samples, lobeFigures, figures.evaluateInvalid);
            for (std::size_t i : lobe) continuous.add(draws[i].throughput());
        }
        figures.lobes.push_back(std::move(lobeFigures));
    }
    // Draws that no lobe took count as zero throughput in the continuous mean.
    figures.sampled = continuous.mean(n), figures.sampledError = continuous.error(n);
    if (probe.canEvaluate()) figures.quadrature = reflectanceIntegral(probe, drawn, figures.evaluateInvalid);
    return figures;
}

std::vector<AlbedoPoint> albedoCurve(const ShaderInstance& shader, const LobeRequest& request,
                                     const std::vector<double>& thetas, long samples, uint64_t seed,
                                     bool withQuadrature) {
    std::vector<AlbedoPoint> curve;
    for (std::size_t k = 0; k < thetas.size(); ++k) {
        const LobeProbe probe(shader, direction(thetas[k], 0.0), request);
        const std::vector<Draw> draws = drawMany(probe, samples, seed + k);
        Moments moments;
        std::vector<glm::dvec3> drawn;
        for (const Draw& d : draws) {
            if (d.lobe == 0 || !finite(d.throughput())) continue;
            moments.add(d.throughput());
            if (finite(d.direction)) drawn.push_back(d.direction);
        }
        AlbedoPoint point;
        point.theta = thetas[k];
        point.mean = moments.mean(static_cast<double>(samples));
        point.error = moments.error(static_cast<double>(samples));
        InvalidCounts ignored;
        if (withQuadrature && probe.canEvaluate()) point.quadrature = reflectanceIntegral(probe, drawn, ignored);
        curve.push_back(point);
    }
    return curve;
}

ReciprocityFigures measureReciprocity(const ShaderInstance& shader, const std::vector<double>& thetas) {
    ReciprocityFigures figures;
    if (!shader.can(ksi::kCapEvaluateBsdf)) return figures;
    ProbeServices services(0, kEvaluateStream);
    std::vector<glm::dvec3> incoming;
    for (double theta : thetas) {
        incoming.push_back(direction(theta, 0.0));
        if (theta > 0.0) incoming.push_back(direction(theta, 0.25 * kPi));
    }
    for (const glm::dvec3& wi : incoming) {
        const LobeProbe forward(shader, wi);
        std::vector<glm::dvec3> outgoing = {{-wi.x, -wi.y, wi.z}};
        for (int b = 0; b < kReciprocityBands; ++b) {
            for (int s = 0; s < kReciprocitySectors; ++s) {
                outgoing.push_back(direction(std::acos(1.0 - (b + 0.5) / kReciprocityBands),
                                             (s + 0.5) * 2.0 * kPi / kReciprocitySectors));
            }
        }
        for (const glm::dvec3& wo : outgoing) {
            const Evaluation there = forward.evaluate(services, wo);
            const Evaluation back = LobeProbe(shader, wo).evaluate(services, wi);
            const bool thereUsable = countInvalid(figures.invalid, there.value, 0.0);
            const bool backUsable = countInvalid(figures.invalid, back.value, 0.0);
            if (!thereUsable || !backUsable) continue;
            ++figures.pairs;
            const glm::dvec3 gap = glm::abs(there.value - back.value), top = glm::max(there.value, back.value);
            const double worst = std::max({gap.x, gap.y, gap.z});
            figures.largestValue = std::max({figures.largestValue, top.x, top.y, top.z});
            if (worst > kReciprocityTolerance * std::max({top.x, top.y, top.z})) ++figures.nonReciprocal;
            if (worst > figures.largestError) {
                figures.largestError = worst;
                figures.worstIncoming = wi, figures.worstOutgoing = wo;
            }
        }
    }
    return figures;
}

}  // namespace kestrel::lobe
