#include "render/render.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <OpenImageIO/imageio.h>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include "render/environment_light.h"

namespace kestrel::render {

namespace {

constexpr int kTileSize = 16;

// Set by requestStop, possibly from a signal handler: a lock-free atomic is safe there.
std::atomic<int> stopSignal_{0};
static_assert(std::atomic<int>::is_always_lock_free);

std::string lowerExtension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

float encodeSrgb(float x) {
    if (!(x > 0.0f)) return 0.0f;
    if (x >= 1.0f) return 1.0f;
    return x <= 0.0031308f ? 12.92f * x : 1.055f * std::pow(x, 1.0f / 2.4f) - 0.055f;
}

std::string formatDuration(double seconds) {
    char text[32];
    if (seconds < 60.0) std::snprintf(text, sizeof text, "%.1fs", seconds);
    else std::snprintf(text, sizeof text, "%dm%02ds", static_cast<int>(seconds) / 60, static_cast<int>(seconds) % 60);
    return text;
}

// Redraws a one-line bar on standard error a few times a second once the render has taken
// longer than a second; erases it at the end.
class ProgressBar {
public:
    ProgressBar(const ProgressOptions& options, int total) : options_(options), total_(total) {
        if (options_.enabled && ::isatty(STDERR_FILENO)) thread_ = std::thread([this] { run(); });
    }
    ~ProgressBar() {
        if (!thread_.joinable()) return;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            finished_ = true;
        }
        wake_.notify_all();
        thread_.join();
        if (shown_) std::fprintf(stderr, "\r%*s\r", 79, "");
    }
    void advance() { done_.fetch_add(1, std::memory_order_relaxed); }

private:
    void run() {
        const auto start = std::chrono::steady_clock::now();
        std::unique_lock<std::mutex> lock(mutex_);
        while (!wake_.wait_for(lock, std::chrono::milliseconds(250), [this] { return finished_; })) {
            double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            if (elapsed < 1.0) continue;
            double fraction = static_cast<double>(done_.load(std::memory_order_relaxed)) / std::max(total_, 1);
            double remaining = smoothedRemaining(elapsed, fraction);
            constexpr int kWidth = 30;
            int filled = static_cast<int>(fraction * kWidth);
            std::string bar(static_cast<std::size_t>(filled), '#');
            bar.resize(kWidth, '.');
            std::fprintf(stderr, "\r%s[%s] %3d%%  elapsed %s  remaining %s   ", options_.label.c_str(), bar.c_str(),
                         static_cast<int>(fraction * 100.0), formatDuration(elapsed).c_str(),
                         fraction > 0.0 ? formatDuration(remaining).c_str() : "?");
            std::fflush(stderr);
            shown_ = true;
        }
    }

    // The remaining time from the mean rate so far, smoothed so that tiles of uneven cost do
    // not make it jump: the previous estimate counted down, blended with the new one.
    double smoothedRemaining(double elapsed, double fraction) {
        if (!(fraction > 0.0)) return 0.0;
        double estimate = elapsed * (1.0 - fraction) / fraction;
        remaining_ = remaining_ < 0.0 ? estimate : 0.8 * std::max(remaining_ - (elapsed - lastElapsed_), 0.0) + 0.2 * estimate;
        lastElapsed_ = elapsed;
        return remaining_;
    }

    ProgressOptions options_;
    int total_;
    double remaining_ = -1.0, lastElapsed_ = 0.0;
    std::atomic<int> done_{0};
    std::mutex mutex_;
    std::condition_variable wake_;
    bool finished_ = false;
    bool shown_ = false;
    std::thread thread_;
};

// Spreads (seed, pixel) over the generator's state so neighbouring pixels start far apart.
uint64_t pixelSeed(uint64_t seed, uint64_t pixel) {
    uint64_t z = seed * 0x9E3779B97F4A7C15ULL + pixel + 0x632BE59BD9B4E019ULL;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

}  // namespace

void requestStop(int signal) noexcept { stopSignal_.store(signal); }

int stopSignal() noexcept { return stopSignal_.load(); }

RenderStats& RenderStats::operator+=(const RenderStats& other) {
    seconds += other.seconds;
    cameraSamples += other.cameraSamples;
    rays += other.rays;
    droppedSamples += other.droppedSamples;
    return *this;
}

namespace {

// The mean of a pixel's samples, drawn from the pixel's own random stream; samples that are
// not finite are left out and counted.
glm::vec4 renderPixel(Tracer& tracer, const RenderSettings& settings, int x, int y, uint64_t& dropped) {
    const uint64_t index = static_cast<uint64_t>(y) * static_cast<uint64_t>(settings.width) + static_cast<uint64_t>(x);
    pcg32 random(pixelSeed(settings.seed, index), index);
    glm::vec4 sum(0.0f);
    int kept = 0;
    for (int s = 0; s < settings.samplesPerPixel; ++s) {
        Sample sample = tracer.cameraSample(x, y, random);
        if (!sample.finite) {
            ++dropped;
            continue;
        }
        sum += sample.color;
        ++kept;
    }
    return kept > 0 ? sum / static_cast<float>(kept) : glm::vec4(0.0f);
}

void renderTile(Tracer& tracer, const RenderSettings& settings, int tile, Image& image, uint64_t& dropped) {
    const int tilesX = (image.width + kTileSize - 1) / kTileSize;
    const int x0 = (tile % tilesX) * kTileSize, y0 = (tile / tilesX) * kTileSize;
    for (int y = y0; y < std::min(y0 + kTileSize, image.height) && stopSignal() == 0; ++y) {
        for (int x = x0; x < std::min(x0 + kTileSize, image.width); ++x) {
            image.at(x, y) = renderPixel(tracer, settings, x, y, dropped);
        }
    }
}

}  // namespace

Image renderImage(const Scene& scene, const RenderSettings& settings, RenderStats& stats,
                  const ProgressOptions& progress) {
    Image image;
    image.width = settings.width;
    image.height = settings.height;
    image.pixels.assign(static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height), glm::vec4(0.0f));
    const int tiles = ((image.width + kTileSize - 1) / kTileSize) * ((image.height + kTileSize - 1) / kTileSize);
    std::atomic<uint64_t> rays{0}, dropped{0};
    const auto start = std::chrono::steady_clock::now();
    std::optional<EnvironmentLight> environmentLight;
    if (settings.integrator == Integrator::Path && scene.environment) {
        Tracer tabulating(scene, settings);
        environmentLight.emplace(tabulating);
    }
    {
        ProgressBar bar(progress, tiles);
        tbb::parallel_for(tbb::blocked_range<int>(0, tiles, 1), [&](const tbb::blocked_range<int>& range) {
            Tracer tracer(scene, settings, environmentLight ? &*environmentLight : nullptr);
            uint64_t droppedHere = 0;
            for (int tile = range.begin(); tile != range.end(); ++tile) {
                if (progress.cancel && progress.cancel->load(std::memory_order_relaxed)) break;
                if (stopSignal() != 0) break;
                renderTile(tracer, settings, tile, image, droppedHere);
                bar.advance();
            }
            rays.fetch_add(tracer.rayCount(), std::memory_order_relaxed);
            dropped.fetch_add(droppedHere, std::memory_order_relaxed);
        });
    }
    if (stopSignal() != 0) throw Interrupted("the render was interrupted");
    RenderStats here;
    here.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    here.cameraSamples = static_cast<uint64_t>(image.width) * static_cast<uint64_t>(image.height) *
                         static_cast<uint64_t>(settings.samplesPerPixel);
    here.rays = rays.load();
    here.droppedSamples = dropped.load();
    stats += here;
    return image;
}

std::string probeWritableDirectory(const std::string& directory) {
    const std::string probe =
        (std::filesystem::path(directory) / (".probe-" + std::to_string(::getpid()))).string();
    int fd = ::open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (fd < 0) return std::strerror(errno);
    ::close(fd);
    ::unlink(probe.c_str());
    return {};
}

bool isSupportedImagePath(const std::string& path) {
    std::string extension = lowerExtension(path);
    return extension == ".png" || extension == ".exr";
}

void writeImage(const Image& image, const std::string& path, ExrPrecision precision, const ImageMetadata& metadata) {
    const std::string extension = lowerExtension(path);
    if (!isSupportedImagePath(path)) {
        throw std::runtime_error("cannot write '" + path + "': the extension must be .png or .exr");
    }
    const bool png = extension == ".png";
    const int channels = png ? 3 : 4;
    std::vector<float> floats;
    std::vector<unsigned char> bytes;
    for (const glm::vec4& p : image.pixels) {
        for (int c = 0; c < channels; ++c) {
            if (png) bytes.push_back(static_cast<unsigned char>(std::lround(encodeSrgb(p[c]) * 255.0f)));
            else floats.push_back(p[c]);
        }
    }
    // The temporary keeps the real extension: OpenImageIO picks the format by it.
    std::filesystem::path target(path);
    std::filesystem::path temporary =
        target.parent_path() / (".tmp-" + std::to_string(::getpid()) + "-" + target.filename().string());
    OIIO::ImageSpec spec(image.width, image.height, channels,
                         png ? OIIO::TypeDesc::UINT8
                             : (precision == ExrPrecision::Half ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::FLOAT));
    if (png) spec.attribute("oiio:ColorSpace", "sRGB");
    else spec.attribute("oiio:ColorSpace", "Linear");
    for (const auto& [name, value] : metadata) spec.attribute("kestrel:" + name, value);
    auto output = OIIO::ImageOutput::create(temporary.string());
    bool ok = output && output->open(temporary.string(), spec) &&
              output->write_image(png ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::FLOAT,
                                  png ? static_cast<const void*>(bytes.data()) : static_cast<const void*>(floats.data()));
    std::string reason = output ? output->geterror() : OIIO::geterror();
    if (output) ok = output->close() && ok;
    std::error_code error;
    if (ok && stopSignal() != 0) {
        std::filesystem::remove(temporary, error);
        throw Interrupted("writing '" + path + "' was interrupted");
    }
    if (ok) std::filesystem::rename(temporary, target, error);
    if (!ok || error) {
        std::filesystem::remove(temporary, error);
        if (reason.empty()) reason = error ? error.message() : "the directory is not writable";
        throw std::runtime_error("cannot write '" + path + "': " + reason);
    }
}

std::string summaryLine(int width, int height, int samplesPerPixel, const RenderStats& stats) {
    double seconds = std::max(stats.seconds, 1e-9);
    char text[256];
    std::snprintf(text, sizeof text, "%dx%d, %d spp, %.2f s, %.2f M camera samples/s, %.2f M rays/s", width, height,
                  samplesPerPixel, stats.seconds, static_cast<double>(stats.cameraSamples) / seconds * 1e-6,
                  static_cast<double>(stats.rays) / seconds * 1e-6);
    std::string line = text;
    if (stats.droppedSamples > 0) {
        line += ", " + std::to_string(stats.droppedSamples) + " non-finite samples dropped";
    }
    return line;
}

}  // namespace kestrel::render
