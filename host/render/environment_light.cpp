#include "render/environment_light.h"

#include <algorithm>
#include <cmath>

#include <glm/gtc/constants.hpp>

#include "render/tracer.h"
#include "render/vectors.h"

namespace kestrel::render {

namespace {

// Grid of the table: about 1.4 degrees a cell, each cell averaged from 2 x 2 directions.
constexpr int kWidth = 256;
constexpr int kHeight = 128;
constexpr int kSubsamples = 2;
constexpr float kFloorShare = 0.02f;

// The grid's own lat-long parameterisation: u around z, v from +z (v = 0) to -z (v = 1).
glm::vec3 gridDirection(float u, float v) {
    float phi = glm::two_pi<float>() * u, theta = glm::pi<float>() * v;
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

// The inverse of gridDirection for a unit direction: u in [0, 1), v in [0, 1].
glm::vec2 gridCoordinates(const glm::vec3& direction) {
    float u = std::atan2(direction.y, direction.x) / glm::two_pi<float>();
    float v = std::acos(std::clamp(direction.z, -1.0f, 1.0f)) / glm::pi<float>();
    return {u < 0.0f ? u + 1.0f : u, v};
}

float cellLuminance(Tracer& tracer, int row, int column) {
    float sum = 0.0f;
    for (int j = 0; j < kSubsamples; ++j) {
        for (int i = 0; i < kSubsamples; ++i) {
            float u = (static_cast<float>(column) + (static_cast<float>(i) + 0.5f) / kSubsamples) / kWidth;
            float v = (static_cast<float>(row) + (static_cast<float>(j) + 0.5f) / kSubsamples) / kHeight;
            float y = luminance(glm::vec3(tracer.environmentRadiance(gridDirection(u, v), {ksi::kRaySecondary})));
            // Negative or non-finite answers get no samples; BSDF sampling still reaches them.
            if (std::isfinite(y) && y > 0.0f) sum += y;
        }
    }
    return sum / static_cast<float>(kSubsamples * kSubsamples);
}

// Running sums of `values`, divided by their total: entries from 0 to 1.
std::vector<float> normalisedCdf(const float* values, int count, float& total) {
    std::vector<float> cdf(static_cast<std::size_t>(count) + 1, 0.0f);
    double sum = 0.0;
    for (int i = 0; i < count; ++i) {
        sum += values[i];
        cdf[static_cast<std::size_t>(i) + 1] = static_cast<float>(sum);
    }
    total = static_cast<float>(sum);
    for (float& c : cdf) c = total > 0.0f ? c / total : 0.0f;
    return cdf;
}

// The entry whose interval holds u, and u's place within it (0 to 1).
int invert(const float* cdf, int count, float u, float& within) {
    int index = static_cast<int>(std::upper_bound(cdf, cdf + count + 1, u) - cdf) - 1;
    index = std::clamp(index, 0, count - 1);
    while (index > 0 && !(cdf[index + 1] > cdf[index])) --index;  // never an empty interval
    float width = cdf[index + 1] - cdf[index];
    within = width > 0.0f ? std::clamp((u - cdf[index]) / width, 0.0f, 0.99999994f) : 0.5f;
    return index;
}

}  // namespace

EnvironmentLight::EnvironmentLight(Tracer& tracer) : weights_(static_cast<std::size_t>(kWidth * kHeight), 0.0f) {
    if (!tracer.scene().environment) return;
    std::vector<float> rowWeights(kHeight, 0.0f);
    columnCdf_.resize(static_cast<std::size_t>(kHeight * (kWidth + 1)));
    for (int row = 0; row < kHeight; ++row) {
        // Solid angle of a cell: proportional to the sine of its polar angle.
        float solidAngle = std::sin(glm::pi<float>() * (static_cast<float>(row) + 0.5f) / kHeight);
        float* cells = &weights_[static_cast<std::size_t>(row * kWidth)];
        for (int column = 0; column < kWidth; ++column) cells[column] = cellLuminance(tracer, row, column) * solidAngle;
        std::vector<float> cdf = normalisedCdf(cells, kWidth, rowWeights[static_cast<std::size_t>(row)]);
        std::copy(cdf.begin(), cdf.end(), columnCdf_.begin() + row * (kWidth + 1));
    }
    rowCdf_ = normalisedCdf(rowWeights.data(), kHeight, total_);
    if (total_ > 0.0f) addFloor();
}

// A small share of the samples spread by solid angle alone, so a bright spot that the
// table's 2 x 2 directions per cell missed can still be drawn: every direction has a density.
void EnvironmentLight::addFloor() {
    const float floor = kFloorShare * total_ / static_cast<float>(kWidth * kHeight);
    std::vector<float> rowWeights(kHeight, 0.0f);
    for (int row = 0; row < kHeight; ++row) {
        float solidAngle = std::sin(glm::pi<float>() * (static_cast<float>(row) + 0.5f) / kHeight);
        float* cells = &weights_[static_cast<std::size_t>(row * kWidth)];
        for (int column = 0; column < kWidth; ++column) cells[column] += floor * solidAngle;
        std::vector<float> cdf = normalisedCdf(cells, kWidth, rowWeights[static_cast<std::size_t>(row)]);
        std::copy(cdf.begin(), cdf.end(), columnCdf_.begin() + row * (kWidth + 1));
    }
    rowCdf_ = normalisedCdf(rowWeights.data(), kHeight, total_);
}

float EnvironmentLight::cellDensity(int row, int column, float sinTheta) const {
    // Probability of the cell over its area in (u, v), then over solid angle: dω = 2π² sin θ du dv.
    if (!(sinTheta > 0.0f)) return 0.0f;
    float probability = weights_[static_cast<std::size_t>(row * kWidth + column)] / total_;
    return probability * static_cast<float>(kWidth * kHeight) / (2.0f * glm::pi<float>() * glm::pi<float>() * sinTheta);
}

glm::vec3 EnvironmentLight::sample(float u1, float u2, float& density) const {
    float dv = 0.0f, du = 0.0f;
    int row = invert(rowCdf_.data(), kHeight, u1, dv);
    int column = invert(&columnCdf_[static_cast<std::size_t>(row * (kWidth + 1))], kWidth, u2, du);
    glm::vec3 direction =
        gridDirection((static_cast<float>(column) + du) / kWidth, (static_cast<float>(row) + dv) / kHeight);
    density = cellDensity(row, column, std::sqrt(std::max(0.0f, 1.0f - direction.z * direction.z)));
    return direction;
}

float EnvironmentLight::density(const glm::vec3& direction) const {
    if (!usable()) return 0.0f;
    glm::vec2 uv = gridCoordinates(direction);
    int column = std::clamp(static_cast<int>(uv.x * kWidth), 0, kWidth - 1);
    int row = std::clamp(static_cast<int>(uv.y * kHeight), 0, kHeight - 1);
    return cellDensity(row, column, std::sqrt(std::max(0.0f, 1.0f - direction.z * direction.z)));
}

}  // namespace kestrel::render
