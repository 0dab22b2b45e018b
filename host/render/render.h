// Rendering a whole image in parallel tiles, and writing it out by file extension.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include <glm/glm.hpp>

#include "render/scene.h"
#include "render/tracer.h"

namespace kestrel::render {

struct Image {
    int width = 0;
    int height = 0;
    std::vector<glm::vec4> pixels;  // linear RGBA, row by row from the top
    glm::vec4& at(int x, int y) { return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)]; }
    const glm::vec4& at(int x, int y) const {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }
};

struct RenderStats {
    double seconds = 0.0;
    uint64_t cameraSamples = 0;
    uint64_t rays = 0;
    uint64_t droppedSamples = 0;  // samples whose colour was not finite
    RenderStats& operator+=(const RenderStats& other);
};

// Progress reporting on standard error: a bar, shown once a render has run for a second.
struct ProgressOptions {
    bool enabled = true;
    std::string label;
    // Set by another thread to stop early: the tiles not yet started stay black. An interactive
    // host sets it when a newer request makes the image useless.
    const std::atomic<bool>* cancel = nullptr;
};

// Renders every pixel with its own random stream (seeded from the settings' seed and the
// pixel's index), so the image is the same whatever the number of threads. A sample whose
// colour is not finite is dropped and counted; the pixel averages the samples it kept.
Image renderImage(const Scene& scene, const RenderSettings& settings, RenderStats& stats,
                  const ProgressOptions& progress = {});

enum class ExrPrecision { Half, Float };

// Writes PNG (sRGB, 8 bit, RGB) or EXR (linear RGBA, half or float) by the file's extension,
// through a temporary file beside it, so a failed write leaves no partial file. Throws
// std::runtime_error naming the file.
void writeImage(const Image& image, const std::string& path, ExrPrecision precision = ExrPrecision::Half);
// Whether the extension is one writeImage knows (".png", ".exr", any case).
bool isSupportedImagePath(const std::string& path);

// "640x480, 16 spp, 2.41 s, 2.04 M camera samples/s, 9.87 M rays/s" and the dropped count.
std::string summaryLine(int width, int height, int samplesPerPixel, const RenderStats& stats);

}  // namespace kestrel::render
