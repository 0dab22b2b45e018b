#include "plot_data.h"

#include <algorithm>
#include <cmath>
#include <map>

#include <glm/gtc/constants.hpp>

#include "certificate.h"
#include "measure.h"

namespace kestrel::lobe {

namespace {

using nlohmann::ordered_json;

constexpr double kDegree = glm::pi<double>() / 180.0;
constexpr double kSliceStep = 0.25;  // degrees
constexpr int kAlbedoStep = 2;       // degrees
constexpr uint64_t kSeed = 20240601;

// The equal-area (Lambert azimuthal) map of a hemisphere onto the unit disk: radius r holds the
// directions at 1 - cos(theta) = r^2, so every pixel covers the same solid angle.
struct DiskMap {
    int resolution;
    double pixelSolidAngle() const { return 2.0 * (2.0 / resolution) * (2.0 / resolution); }
    // The direction at the centre of pixel (i, j), or nothing outside the disk.
    bool direction(int i, int j, double side, glm::dvec3& d) const {
        const double x = -1.0 + (i + 0.5) * 2.0 / resolution, y = -1.0 + (j + 0.5) * 2.0 / resolution;
        const double r2 = x * x + y * y;
        if (r2 > 1.0) return false;
        const double r = std::sqrt(r2), sinTheta = r * std::sqrt(2.0 - r2);
        d = r > 0.0 ? glm::dvec3(x / r * sinTheta, y / r * sinTheta, side * (1.0 - r2)) : glm::dvec3(0.0, 0.0, side);
        return true;
    }
    // The pixel a direction falls in, -1 for none; the side is the sign of z.
    int pixel(glm::dvec3 d) const {
        const double length = glm::length(d);
        if (!(length > 0.0) || !std::isfinite(length)) return -1;
        d /= length;
        const double s = std::sqrt(std::max(0.0, 1.0 - std::abs(d.z))), h = std::sqrt(d.x * d.x + d.y * d.y);
        const double x = h > 0.0 ? d.x / h * s : 0.0, y = h > 0.0 ? d.y / h * s : 0.0;
        const int i = std::min(resolution - 1, static_cast<int>((x + 1.0) * 0.5 * resolution));
        const int j = std::min(resolution - 1, static_cast<int>((y + 1.0) * 0.5 * resolution));
        return j * resolution + i;
    }
};

ordered_json vec(glm::dvec3 v) { return {number(v.x), number(v.y), number(v.z)}; }

ordered_json values(const std::vector<double>& v) {
    ordered_json a = ordered_json::array();
    for (double x : v) a.push_back(number(x));
    return a;
}

struct Hemispheres {
    std::vector<double> histogram[2], densitySum[2], densityCount[2];
};

// Draws, split into the continuous lobes' histogram and reported densities and the delta lobes'
// directions.
ordered_json binDraws(const LobeProbe& probe, const DiskMap& map, const PlotOptions& options, Hemispheres& h) {
    const std::vector<Draw> draws = drawMany(probe, options.samples, kSeed);
    const double n = static_cast<double>(draws.size());
    std::map<int, std::vector<std::size_t>> byLobe;
    for (std::size_t i = 0; i < draws.size(); ++i) {
        if (draws[i].lobe != 0) byLobe[draws[i].lobe].push_back(i);
    }
    ordered_json deltas = ordered_json::array();
    ProbeServices services(0, 2);
    for (const auto& [code, lobe] : byLobe) {
        const std::vector<DeltaDirection> delta = deltaDirections(draws, lobe, n);
        for (const DeltaDirection& d : delta) {
            deltas.push_back({{"code", code}, {"direction", vec(d.direction)}, {"share", number(d.share)}, {"throughput", vec(d.throughput)}});
        }
        if (!delta.empty()) continue;
        const bool implied = std::all_of(lobe.begin(), lobe.end(), [&](std::size_t i) { return draws[i].reciprocalDensity == 1.0; });
        for (std::size_t i : lobe) {
            const int p = map.pixel(draws[i].direction);
            if (p < 0) continue;
            const int side = draws[i].direction.z >= 0.0 ? 0 : 1;
            h.histogram[side][static_cast<std::size_t>(p)] += 1.0 / (n * map.pixelSolidAngle());
            Evaluation e;
            if (implied && probe.canEvaluate()) e = probe.evaluate(services, draws[i].direction);
            const double density = drawDensity(draws[i], e, implied);
            if (std::isfinite(density)) h.densitySum[side][static_cast<std::size_t>(p)] += density, h.densityCount[side][static_cast<std::size_t>(p)] += 1.0;
        }
    }
    return deltas;
}

ordered_json hemisphereMaps(const LobeProbe& probe, const PlotOptions& options) {
    const DiskMap map{options.resolution};
    const std::size_t pixels = static_cast<std::size_t>(options.resolution) * static_cast<std::size_t>(options.resolution);
    Hemispheres h;
    for (int side = 0; side < 2; ++side) {
        h.histogram[side].assign(pixels, 0.0), h.densitySum[side].assign(pixels, 0.0), h.densityCount[side].assign(pixels, 0.0);
    }
    ordered_json result = {{"resolution", options.resolution}, {"deltas", binDraws(probe, map, options, h)}};
    ProbeServices services(0, 2);
    for (int side = 0; side < 2; ++side) {
        std::vector<double> reflectance(pixels, NAN), density(pixels, NAN), histogram(pixels, NAN);
        for (int j = 0; j < options.resolution; ++j) {
            for (int i = 0; i < options.resolution; ++i) {
                glm::dvec3 d;
                if (!map.direction(i, j, side == 0 ? 1.0 : -1.0, d)) continue;
                const std::size_t p = static_cast<std::size_t>(j * options.resolution + i);
                if (probe.canEvaluate()) {
                    const Evaluation e = probe.evaluate(services, d);
                    const glm::dvec3 f = e.value * e.cosine;
                    reflectance[p] = e.dropped ? 0.0 : (f.x + f.y + f.z) / 3.0;
                }
                histogram[p] = h.histogram[side][p];
                density[p] = h.densityCount[side][p] > 0.0 ? h.densitySum[side][p] / h.densityCount[side][p] : 0.0;
            }
        }
        result[side == 0 ? "upper" : "lower"] = {{"reflectance", values(reflectance)}, {"histogram", values(histogram)}, {"density", values(density)}};
    }
    return result;
}

ordered_json slice(const LobeProbe& probe) {
    ordered_json angles = ordered_json::array(), rgb = ordered_json::array();
    if (!probe.canEvaluate()) return {{"angles", angles}, {"rgb", rgb}};
    ProbeServices services(0, 2);
    const glm::dvec3 in = probe.incoming();
    const double phi = std::atan2(in.y, in.x);
    for (double t = -180.0; t <= 180.0; t += kSliceStep) {
        // Positive angles lean towards the incident direction, negative ones towards the mirror.
        const Evaluation e = probe.evaluate(services, direction(t * kDegree, phi));
        angles.push_back(t);
        rgb.push_back(vec(e.dropped ? glm::dvec3(0.0) : e.value * e.cosine));
    }
    return {{"angles", angles}, {"rgb", rgb}};
}

ordered_json albedo(const ShaderInstance& shader, const PlotOptions& options) {
    std::vector<double> thetas;
    for (int d = 0; d < 90; d += kAlbedoStep) thetas.push_back(d * kDegree);
    const std::vector<AlbedoPoint> curve = albedoCurve(shader, options.request, thetas, options.albedoSamples, kSeed, true);
    ordered_json theta = ordered_json::array(), mean = ordered_json::array(), error = ordered_json::array(),
                 quadrature = ordered_json::array();
    for (const AlbedoPoint& p : curve) {
        theta.push_back(number(p.theta / kDegree));
        mean.push_back(vec(p.mean)), error.push_back(vec(p.error)), quadrature.push_back(vec(p.quadrature));
    }
    return {{"theta", theta}, {"mean", mean}, {"error", error}, {"quadrature", quadrature},
            {"evaluates", shader.can(ksi::kCapEvaluateBsdf)}};
}

}  // namespace

ordered_json plotData(const ShaderInstance& shader, const PlotOptions& options) {
    const LobeProbe probe(shader, direction(options.theta, options.phi), options.request);
    return {{"class", shader.className()}, {"theta", number(options.theta / kDegree)}, {"phi", number(options.phi / kDegree)},
            {"samples", options.samples}, {"evaluates", probe.canEvaluate()},
            {"maps", hemisphereMaps(probe, options)}, {"slice", slice(probe)}, {"albedo", albedo(shader, options)}};
}

}  // namespace kestrel::lobe
