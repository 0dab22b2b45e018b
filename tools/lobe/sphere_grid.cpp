#include "sphere_grid.h"

#include <algorithm>
#include <cmath>

#include <glm/gtc/constants.hpp>

namespace kestrel::lobe {

namespace {

constexpr double kPi = glm::pi<double>();
// A cell holding this many points with one quarter empty is split further, so that cells the
// points cover only in part stay small.
constexpr int kEdgeCheck = 12;
// Densities that promise more than twice the points a cell holds (and ten more) mean the points
// cover only part of it.
constexpr double kOverstated = 2.0, kOverstatedSlack = 10.0;

// Polar angle and azimuth in [0, 2 pi) of a nonzero vector.
bool angles(glm::dvec3 d, double& theta, double& phi) {
    theta = phi = 0.0;
    const double length = glm::length(d);
    if (!(length > 0.0) || !std::isfinite(length)) return false;
    // atan2 rather than acos keeps the polar angle exact near the poles, where a float z has
    // lost the small angles.
    theta = std::atan2(std::hypot(d.x, d.y), d.z);
    phi = std::atan2(d.y, d.x);
    if (phi < 0.0) phi += 2.0 * kPi;
    return true;
}

double largest(glm::dvec3 v) { return std::max({std::abs(v.x), std::abs(v.y), std::abs(v.z)}); }

}  // namespace

double Cell::solidAngle() const { return (std::cos(theta0) - std::cos(theta1)) * (phi1 - phi0); }

glm::dvec3 Cell::centre() const {
    const double z = 0.5 * (std::cos(theta0) + std::cos(theta1)), phi = 0.5 * (phi0 + phi1);
    const double s = std::sqrt(std::max(0.0, 1.0 - z * z));
    return {s * std::cos(phi), s * std::sin(phi), z};
}

double Cell::size(bool* polar) const {
    const double halfPi = 0.5 * kPi;
    const double widest = theta0 <= halfPi && theta1 >= halfPi ? 1.0 : std::max(std::sin(theta0), std::sin(theta1));
    const double polarSide = theta1 - theta0, azimuthSide = (phi1 - phi0) * widest;
    if (polar) *polar = polarSide >= azimuthSide;
    return std::max(polarSide, azimuthSide);
}

std::array<Cell, 2> Cell::halves() const {
    bool polar = false;
    size(&polar);
    if (polar) {
        const double theta = 0.5 * (theta0 + theta1);
        return {Cell{theta0, theta, phi0, phi1}, Cell{theta, theta1, phi0, phi1}};
    }
    const double phi = 0.5 * (phi0 + phi1);
    return {Cell{theta0, theta1, phi0, phi}, Cell{theta0, theta1, phi, phi1}};
}

SphereGrid::SphereGrid(const std::vector<glm::dvec3>& points, int capacity, double minSize, int bands,
                       const std::vector<double>* density, double draws)
    : bands_(bands), sectors_(2 * bands), capacity_(capacity), minSize_(minSize), density_(density), draws_(draws) {
    const double dTheta = kPi / bands_, dPhi = 2.0 * kPi / sectors_;
    for (int b = 0; b < bands_; ++b) {
        for (int s = 0; s < sectors_; ++s) nodes_.push_back({{b * dTheta, (b + 1) * dTheta, s * dPhi, (s + 1) * dPhi}});
    }
    std::vector<std::vector<int>> byRoot(nodes_.size());
    for (int i = 0; i < static_cast<int>(points.size()); ++i) {
        double theta, phi;
        if (angles(points[static_cast<std::size_t>(i)], theta, phi)) byRoot[static_cast<std::size_t>(root(theta, phi))].push_back(i);
    }
    const int roots = static_cast<int>(byRoot.size());
    for (int r = 0; r < roots; ++r) split(r, points, std::move(byRoot[static_cast<std::size_t>(r)]));
}

int SphereGrid::root(double theta, double phi) const {
    const int b = std::min(static_cast<int>(theta / kPi * bands_), bands_ - 1);
    const int s = std::min(static_cast<int>(phi / (2.0 * kPi) * sectors_), sectors_ - 1);
    return b * sectors_ + s;
}

namespace {

// Half 0 or 1 of a cell that holds (theta, phi), in the order of Cell::halves.
int halfOf(const Cell& cell, double theta, double phi) {
    bool polar = false;
    cell.size(&polar);
    return polar ? (theta < 0.5 * (cell.theta0 + cell.theta1) ? 0 : 1) : (phi < 0.5 * (cell.phi0 + cell.phi1) ? 0 : 1);
}

// Whether the points leave one of the cell's four quarters of equal solid angle empty: a sign
// that where they can fall ends inside the cell.
bool emptyQuarter(const Cell& cell, const std::vector<glm::dvec3>& points, const std::vector<int>& indices) {
    const double z0 = std::cos(cell.theta0), z1 = std::cos(cell.theta1), zMid = 0.5 * (z0 + z1);
    const double phiMid = 0.5 * (cell.phi0 + cell.phi1);
    unsigned occupied = 0;
    for (int i : indices) {
        double theta, phi;
        angles(points[static_cast<std::size_t>(i)], theta, phi);
        occupied |= 1u << ((std::cos(theta) > zMid ? 0 : 2) + (phi < phiMid ? 0 : 1));
    }
    return occupied != 0xF;
}

}  // namespace

// The count the points' densities promise (their harmonic mean over the cell's solid angle)
// against the count the cell holds, with room for chance.
bool SphereGrid::overstated(const Cell& cell, const std::vector<int>& indices) const {
    if (!density_ || indices.size() < 2) return false;
    double reciprocalSum = 0.0;
    for (int i : indices) {
        const double p = (*density_)[static_cast<std::size_t>(i)];
        if (!(p > 0.0)) return false;
        reciprocalSum += 1.0 / p;
    }
    const double count = static_cast<double>(indices.size());
    return draws_ * cell.solidAngle() * count / reciprocalSum > kOverstated * count + kOverstatedSlack;
}

void SphereGrid::split(int node, const std::vector<glm::dvec3>& points, std::vector<int> indices) {
    const Cell cell = nodes_[static_cast<std::size_t>(node)].cell;
    const int count = static_cast<int>(indices.size());
    const bool crowded = count > capacity_ || (count >= kEdgeCheck && emptyQuarter(cell, points, indices)) ||
                         overstated(cell, indices);
    if (!crowded || cell.size() <= minSize_) {
        nodes_[static_cast<std::size_t>(node)].leaf = static_cast<int>(leaves_.size());
        leaves_.push_back(cell);
        return;
    }
    const int first = static_cast<int>(nodes_.size());
    nodes_[static_cast<std::size_t>(node)].firstChild = first;
    for (const Cell& half : cell.halves()) nodes_.push_back({half});
    std::vector<int> parts[2];
    for (int i : indices) {
        double theta, phi;
        angles(points[static_cast<std::size_t>(i)], theta, phi);
        parts[halfOf(cell, theta, phi)].push_back(i);
    }
    indices.clear();
    indices.shrink_to_fit();
    for (int h = 0; h < 2; ++h) split(first + h, points, std::move(parts[h]));
}

int SphereGrid::locate(glm::dvec3 direction, glm::dvec2* within) const {
    double theta, phi;
    if (!angles(direction, theta, phi)) return -1;
    int node = root(theta, phi);
    while (nodes_[static_cast<std::size_t>(node)].firstChild >= 0) {
        const Node& n = nodes_[static_cast<std::size_t>(node)];
        node = n.firstChild + halfOf(n.cell, theta, phi);
    }
    if (within) {
        const Cell& c = nodes_[static_cast<std::size_t>(node)].cell;
        const double z0 = std::cos(c.theta0), z1 = std::cos(c.theta1);
        within->x = std::clamp((z0 - std::cos(theta)) / (z0 - z1), 0.0, 1.0);
        within->y = std::clamp((phi - c.phi0) / (c.phi1 - c.phi0), 0.0, 1.0);
    }
    return nodes_[static_cast<std::size_t>(node)].leaf;
}

namespace {

struct Refiner {
    const std::function<glm::dvec3(glm::dvec3)>& f;
    double threshold;
    int maxDepth;
    long& evaluations;

    glm::dvec3 estimate(const Cell& cell) {
        ++evaluations;
        return f(cell.centre()) * cell.solidAngle();
    }
    // The cell's integral, given its midpoint estimate.
    glm::dvec3 refine(const Cell& cell, glm::dvec3 coarse, int depth) {
        if (depth >= maxDepth) return coarse;
        const std::array<Cell, 2> halves = cell.halves();
        const glm::dvec3 parts[2] = {estimate(halves[0]), estimate(halves[1])};
        const glm::dvec3 fine = parts[0] + parts[1];
        if (largest(fine - coarse) <= threshold) return fine;
        return refine(halves[0], parts[0], depth + 1) + refine(halves[1], parts[1], depth + 1);
    }
};

}  // namespace

glm::dvec3 integrateOverSphere(const SphereGrid& grid, const std::function<glm::dvec3(glm::dvec3)>& f,
                               double tolerance, int maxDepth, long& evaluations) {
    Refiner refiner{f, 0.0, maxDepth, evaluations};
    std::vector<glm::dvec3> coarse;
    glm::dvec3 total(0.0);
    for (const Cell& cell : grid.cells()) {
        coarse.push_back(refiner.estimate(cell));
        total += coarse.back();
    }
    refiner.threshold = tolerance * largest(total);
    glm::dvec3 sum(0.0);
    for (std::size_t i = 0; i < coarse.size(); ++i) sum += refiner.refine(grid.cells()[i], coarse[i], 0);
    return sum;
}

}  // namespace kestrel::lobe
