#include "gallery_assets.h"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>

#include <glm/glm.hpp>
#include <glm/gtc/constants.hpp>
#include <glm/gtc/noise.hpp>
#include <OpenImageIO/imageio.h>

namespace kestrel::gallery {

namespace {

using Pixel = std::function<glm::vec4(float u, float v)>;  // u, v in [0, 1), v = 0 the first row

void writeImage(const std::filesystem::path& path, int width, int height, int channels, bool floating,
                const Pixel& pixel) {
    std::vector<float> data;
    data.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * static_cast<std::size_t>(channels));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            glm::vec4 p = pixel((static_cast<float>(x) + 0.5f) / static_cast<float>(width),
                                (static_cast<float>(y) + 0.5f) / static_cast<float>(height));
            for (int c = 0; c < channels; ++c) data.push_back(floating ? p[c] : glm::clamp(p[c], 0.0f, 1.0f));
        }
    }
    std::filesystem::path temporary = path.parent_path() / (".tmp-" + path.filename().string());
    OIIO::ImageSpec spec(width, height, channels, floating ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8);
    auto output = OIIO::ImageOutput::create(temporary.string());
    bool ok = output && output->open(temporary.string(), spec) && output->write_image(OIIO::TypeDesc::FLOAT, data.data());
    std::string reason = output ? output->geterror() : OIIO::geterror();
    if (output) ok = output->close() && ok;
    std::error_code error;
    if (ok) std::filesystem::rename(temporary, path, error);
    if (!ok || error) {
        std::filesystem::remove(temporary, error);
        throw std::runtime_error("cannot write '" + path.string() + "': " + (reason.empty() ? error.message() : reason));
    }
}

uint32_t hash(uint32_t a, uint32_t b) {
    uint32_t h = a * 0x9E3779B1u ^ (b + 0x7F4A7C15u) * 0x85EBCA77u;
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    h ^= h >> 12;
    return h;
}
float unitHash(uint32_t a, uint32_t b) { return static_cast<float>(hash(a, b) >> 8) / 16777216.0f; }

// The lat-long direction of image coordinate (u, v), v = 0 the top row: the environments'
// z-up convention, +x at u = 0.25.
glm::vec3 latLongDirection(float u, float v) {
    float phi = (u - 0.25f) * glm::two_pi<float>();
    float elevation = (0.5f - v) * glm::pi<float>();
    return {std::cos(phi) * std::cos(elevation), -std::sin(phi) * std::cos(elevation), std::sin(elevation)};
}

glm::vec4 sky(float u, float v) {
    glm::vec3 d = latLongDirection(u, v);
    glm::vec3 colour;
    if (d.z >= 0.0f) {
        float k = std::pow(d.z, 0.4f);
        colour = glm::mix(glm::vec3(0.95f, 0.85f, 0.72f), glm::vec3(0.22f, 0.42f, 0.85f), k);
        // Soft clouds, so glossy reflections show their blur.
        float cloud = glm::perlin(glm::vec3(d.x * 4.0f, d.y * 4.0f, d.z * 8.0f)) * 0.5f + 0.5f;
        colour = glm::mix(colour, glm::vec3(1.0f), glm::smoothstep(0.55f, 0.8f, cloud) * 0.6f * k);
    } else {
        float k = std::pow(-d.z, 0.5f);
        colour = glm::mix(glm::vec3(0.45f, 0.40f, 0.35f), glm::vec3(0.12f, 0.11f, 0.10f), k);
    }
    // A sun high on the left and a large soft box on the right for clear highlights.
    glm::vec3 sun = glm::normalize(glm::vec3(-0.6f, -0.5f, 0.62f));
    if (glm::dot(d, sun) > std::cos(glm::radians(2.5f))) colour = glm::vec3(60.0f, 55.0f, 48.0f);
    float azimuth = std::atan2(d.y, d.x), elevation = std::asin(glm::clamp(d.z, -1.0f, 1.0f));
    if (std::fabs(azimuth - 0.3f) < 0.25f && std::fabs(elevation - 0.45f) < 0.18f) colour = glm::vec3(6.0f);
    return glm::vec4(colour, 1.0f);
}

glm::vec4 checker(float u, float v) {
    int cell = (static_cast<int>(u * 8.0f) + static_cast<int>(v * 8.0f)) % 2;
    return cell ? glm::vec4(0.85f, 0.82f, 0.75f, 1.0f) : glm::vec4(0.15f, 0.17f, 0.2f, 1.0f);
}

// White plate, round holes of transparent black on a 12 x 12 grid.
glm::vec4 perforation(float u, float v) {
    glm::vec2 cell = glm::fract(glm::vec2(u, v) * 12.0f) - 0.5f;
    bool hole = glm::length(cell) < 0.32f;
    return hole ? glm::vec4(0.0f) : glm::vec4(1.0f);
}

// Each 4 x 4 texel cell a random normal tilted up to 35 degrees, encoded as 0.5 + 0.5 n.
glm::vec4 flakes(float u, float v) {
    auto cx = static_cast<uint32_t>(u * 64.0f), cy = static_cast<uint32_t>(v * 64.0f);
    float tilt = glm::radians(35.0f) * std::sqrt(unitHash(cx, cy));
    float turn = glm::two_pi<float>() * unitHash(cy + 977u, cx);
    glm::vec3 n(std::sin(tilt) * std::cos(turn), std::sin(tilt) * std::sin(turn), std::cos(tilt));
    return glm::vec4(n * 0.5f + 0.5f, 1.0f);
}

glm::vec4 noise(float u, float v) {
    float n = 0.0f, amplitude = 0.5f, frequency = 4.0f;
    for (int octave = 0; octave < 4; ++octave) {
        // Periodic, so the texture tiles without seams.
        n += amplitude * glm::perlin(glm::vec2(u, v) * frequency, glm::vec2(frequency));
        amplitude *= 0.5f;
        frequency *= 2.0f;
    }
    float g = glm::clamp(0.5f + n, 0.0f, 1.0f);
    return glm::vec4(g, g, g, 1.0f);
}

// A height map of round bumps on a 10 x 10 grid, smooth domes for the height-map normal inputs.
glm::vec4 heights(float u, float v) {
    glm::vec2 cell = glm::fract(glm::vec2(u, v) * 10.0f) - 0.5f;
    float r = glm::length(cell) / 0.45f;
    float h = r < 1.0f ? std::sqrt(1.0f - r * r) : 0.0f;
    return glm::vec4(h, h, h, 1.0f);
}

// Terracotta speckled by a hash per texel, as brick faces for the tile graphs.
glm::vec4 brick(float u, float v) {
    auto cx = static_cast<uint32_t>(u * 128.0f), cy = static_cast<uint32_t>(v * 128.0f);
    float speckle = 0.8f + 0.4f * unitHash(cx + 31u, cy + 7u);
    return glm::vec4(glm::vec3(0.62f, 0.27f, 0.16f) * speckle, 1.0f);
}

struct Asset {
    const char* name;
    int width, height, channels;
    bool floating;
    glm::vec4 (*pixel)(float, float);
};

constexpr Asset kAssets[] = {
    {"sky.exr", 512, 256, 3, true, sky},
    {"checker.png", 256, 256, 3, false, checker},
    {"perforation.png", 256, 256, 4, false, perforation},
    {"flakes.png", 256, 256, 3, false, flakes},
    {"noise.png", 256, 256, 1, false, noise},
    {"heights.png", 256, 256, 1, false, heights},
    {"brick.png", 128, 128, 3, false, brick},
};

}  // namespace

std::vector<std::string> assetNames() {
    std::vector<std::string> names;
    for (const Asset& asset : kAssets) names.emplace_back(asset.name);
    return names;
}

void writeAssets(const std::string& directory) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) throw std::runtime_error("cannot create '" + directory + "': " + error.message());
    for (const Asset& asset : kAssets) {
        writeImage(std::filesystem::path(directory) / asset.name, asset.width, asset.height, asset.channels,
                   asset.floating, asset.pixel);
    }
}

bool assetsPresent(const std::string& directory) {
    std::error_code error;
    for (const Asset& asset : kAssets) {
        if (!std::filesystem::is_regular_file(std::filesystem::path(directory) / asset.name, error)) return false;
    }
    return true;
}

}  // namespace kestrel::gallery
