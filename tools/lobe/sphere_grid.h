// Cells over the whole sphere of directions, in polar angle about the normal and azimuth, made
// fine where directions crowd: the bins of the chi-square test and the cells of the reflectance
// quadrature. Sharp lobes need cells far smaller than any fixed grid can afford everywhere.
#pragma once

#include <array>
#include <functional>
#include <vector>

#include <glm/glm.hpp>

namespace kestrel::lobe {

struct Cell {
    double theta0, theta1, phi0, phi1;
    double solidAngle() const;
    // The direction at the middle of the cell's cosine and azimuth ranges (its centre of area).
    glm::dvec3 centre() const;
    // The longer side in radians on the sphere, and whether that is the polar one.
    double size(bool* polar = nullptr) const;
    // The two halves across the longer side, so that cells stay about square on the sphere (a
    // cell at a pole is a thin wedge, which only polar splits narrow).
    std::array<Cell, 2> halves() const;
};

class SphereGrid {
public:
    // Starts from `bands` polar bands (even, so that the horizon is a cell border) of 2 x bands
    // cells each and halves every cell that holds more than `capacity` of the points, down to
    // cells of `minSize` radians. With the points' densities (of `draws` draws), a cell is also
    // halved while those densities promise far more points than it holds: the points then
    // cover only part of it.
    SphereGrid(const std::vector<glm::dvec3>& points, int capacity, double minSize, int bands = 16,
               const std::vector<double>* density = nullptr, double draws = 0.0);

    const std::vector<Cell>& cells() const { return leaves_; }
    // The index of the cell holding the direction (which need not be of unit length); -1 when
    // it is not finite or zero. `within` receives where in the cell it lies, as shares of the
    // cell's cosine and azimuth ranges (so equal steps hold equal solid angles).
    int locate(glm::dvec3 direction, glm::dvec2* within = nullptr) const;

private:
    struct Node {
        Cell cell;
        int firstChild = -1;  // two consecutive nodes; -1 for a leaf
        int leaf = -1;
    };
    int root(double theta, double phi) const;
    void split(int node, const std::vector<glm::dvec3>& points, std::vector<int> indices);

    bool overstated(const Cell& cell, const std::vector<int>& indices) const;

    int bands_, sectors_, capacity_;
    double minSize_;
    const std::vector<double>* density_;
    double draws_;
    std::vector<Node> nodes_;
    std::vector<Cell> leaves_;
};

// The integral over the sphere of an RGB function of direction, by the midpoint rule on the
// grid's cells; a cell whose halves disagree with it by more than `tolerance` of the whole is
// replaced by its halves, at most `maxDepth` times. Counts the evaluations in `evaluations`.
glm::dvec3 integrateOverSphere(const SphereGrid& grid, const std::function<glm::dvec3(glm::dvec3)>& f,
                               double tolerance, int maxDepth, long& evaluations);

}  // namespace kestrel::lobe
