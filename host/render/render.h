// Rendering a whole image in parallel tiles, and writing it out by file extension.
#pragma once

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
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

// A render or an image write that stopped because a stop was requested (an interrupt).
class Interrupted : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Asks every running render to stop at its next tile and every write to remove its temporary
// file instead of putting it in place. Safe to call from a signal handler; `signal` is kept.
void requestStop(int signal) noexcept;
// The signal given to requestStop, 0 while none was.
int stopSignal() noexcept;

struct RenderStats {
    double seconds = 0.0;
    uint64_t cameraSamples = 0;
    uint64_t rays = 0;
    uint64_t droppedSamples = 0;  // samples whose colour was not finite
    RenderStats& operator+=(const RenderStats& other);
};

// Progress reporting on standard error: a bar, shown once a render has run for a second, and
// only when standard error is a terminal (a log gets no carriage returns).
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
// Throws Interrupted when a stop is requested while it runs.
Image renderImage(const Scene& scene, const RenderSettings& settings, RenderStats& stats,
                  const ProgressOptions& progress = {});

enum class ExrPrecision { Half, Float };

// Writes PNG (sRGB, 8 bit, RGB) or EXR (linear RGBA, half or float) by the file's extension,
// through a temporary file beside it, so a failed or interrupted write leaves no partial file
// and an existing file at the path stays as it was. Throws std::runtime_error naming the file,
// or Interrupted.
// `metadata` (name, value) pairs are stored in the file as "kestrel:<name>" string attributes.
using ImageMetadata = std::vector<std::pair<std::string, std::string>>;
void writeImage(const Image& image, const std::string& path, ExrPrecision precision = ExrPrecision::Half,
                const ImageMetadata& metadata = {});
// Whether the extension is one writeImage knows (".png", ".exr", any case).
bool isSupportedImagePath(const std::string& path);
// Whether a file can be created in the directory, tried by creating and removing one: empty
// when it can, else the system's reason. Permissions alone do not tell (/proc, read-only mounts).
std::string probeWritableDirectory(const std::string& directory);

// "640x480, 16 spp, 2.41 s, 2.04 M camera samples/s, 9.87 M rays/s" and the dropped count.
std::string summaryLine(int width, int height, int samplesPerPixel, const RenderStats& stats);

}  // namespace kestrel::render
