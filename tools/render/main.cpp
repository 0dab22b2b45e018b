// kestrel-render: the reference renderer. Renders a scene file with the shader library loaded
// as a production renderer loads it, or the gallery of every material class the library
// exports.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <limits>
#include <optional>

#include <CLI/CLI.hpp>
#include <tbb/global_control.h>

#include "command_line.h"
#include "gallery.h"
#include "gallery_assets.h"
#include "name_match.h"
#include "plugin_library.h"
#include "render/render.h"
#include "render/scene_file.h"

namespace {

namespace fs = std::filesystem;
using namespace kestrel;
using tools::UsageError;

struct Options {
    std::string scenePath;
    std::string outputPath;
    bool gallery = false;
    std::string galleryDirectory;
    std::string libraryPath = PluginLibrary::defaultPath();
    std::optional<int> spp;
    std::string resolution;
    std::optional<uint64_t> seed;
    int threads = 0;
    std::string mode;
    std::optional<int> maxDepth;
    bool exrFloat = false;
    bool bench = false;
    bool quiet = false;
    std::vector<std::string> classes;
};

// The gallery installed beside the program: <prefix>/share/kestrel/gallery.
std::string defaultGalleryDirectory() {
    std::error_code error;
    fs::path program = fs::read_symlink("/proc/self/exe", error);
    return (program.parent_path().parent_path() / "share" / "kestrel" / "gallery").string();
}

void applyOptions(const Options& options, render::RenderSettings& settings) {
    if (options.spp) settings.samplesPerPixel = *options.spp;
    if (options.seed) settings.seed = *options.seed;
    if (options.maxDepth) settings.maxDepth = *options.maxDepth;
    if (!options.mode.empty()) {
        settings.integrator = options.mode == "path" ? render::Integrator::Path : render::Integrator::Shade;
    }
    if (!options.resolution.empty()) {
        int width = 0, height = 0;
        char x = 0, rest = 0;
        if (std::sscanf(options.resolution.c_str(), "%d%c%d%c", &width, &x, &height, &rest) != 3 || x != 'x' ||
            width < 1 || height < 1 || width > 16384 || height > 16384) {
            throw UsageError("--resolution '" + options.resolution +
                                     "' is not WIDTHxHEIGHT with both from 1 to 16384 (for example 640x480)");
        }
        settings.width = width;
        settings.height = height;
    }
}

render::ExrPrecision precision(const Options& options) {
    return options.exrFloat ? render::ExrPrecision::Float : render::ExrPrecision::Half;
}

struct OutputFile {
    std::string path;
    const render::Image* image;
    render::ImageMetadata metadata;
};

// The settings an image was rendered with, stored in the file.
render::ImageMetadata renderMetadata(const PluginLibrary& library, const render::RenderSettings& settings,
                                     const std::string& className) {
    render::ImageMetadata metadata = {{"library", library.path()},
                                      {"spp", std::to_string(settings.samplesPerPixel)},
                                      {"seed", std::to_string(settings.seed)},
                                      {"mode", settings.integrator == render::Integrator::Path ? "path" : "shade"}};
    if (!className.empty()) metadata.emplace_back("class", className);
    return metadata;
}

// Writes every image or none: on a failure the ones already written are removed.
void writeAll(const std::vector<OutputFile>& files, render::ExrPrecision precision) {
    std::vector<std::string> written;
    try {
        for (const auto& [path, image, metadata] : files) {
            render::writeImage(*image, path, precision, metadata);
            written.push_back(path);
        }
    } catch (...) {
        std::error_code error;
        for (const std::string& path : written) fs::remove(path, error);
        throw;
    }
}

int renderScene(const Options& options, const PluginLibrary& library) {
    nlohmann::json document = render::readSceneFile(options.scenePath);
    render::SceneSource source{options.scenePath, fs::path(options.scenePath).parent_path().string()};
    render::TextureSet textures;
    render::Scene scene;
    render::RenderSettings settings;
    render::loadScene(document, source, library, textures, scene, settings);
    applyOptions(options, settings);

    render::RenderStats stats;
    render::Image image = render::renderImage(scene, settings, stats, {.enabled = !options.quiet, .label = ""});
    if (!options.outputPath.empty()) {
        writeAll({{options.outputPath, &image, renderMetadata(library, settings, "")}}, precision(options));
    }
    std::cerr << render::summaryLine(settings.width, settings.height, settings.samplesPerPixel, stats) << "\n";
    return 0;
}

// Keeps the previews of the classes named with --class; an unknown name is an error.
void selectClasses(const std::vector<std::string>& classes, std::vector<gallery::Preview>& previews) {
    if (classes.empty()) return;
    std::vector<std::string> known;
    for (const gallery::Preview& p : previews) known.push_back(p.className);
    for (const std::string& name : classes) {
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            throw UsageError("--class '" + name + "' is not a material class of the library" +
                                     didYouMean(name, known));
        }
    }
    std::erase_if(previews, [&](const gallery::Preview& p) {
        return std::find(classes.begin(), classes.end(), p.className) == classes.end();
    });
}

// One preview per file beside the contact sheet, in <sheet>-previews/<Class>.<ext>, then the sheet.
void writeGallery(const std::string& outputPath, const std::vector<gallery::Preview>& previews,
                  const std::vector<render::Image>& images, const render::Image& sheet,
                  const std::vector<render::ImageMetadata>& metadata, render::ExrPrecision precision) {
    const fs::path output(outputPath);
    const fs::path perClass = output.parent_path() / (output.stem().string() + "-previews");
    std::vector<OutputFile> files;
    for (std::size_t i = 0; i < images.size(); ++i) {
        files.push_back({(perClass / (previews[i].className + output.extension().string())).string(), &images[i], metadata[i]});
    }
    files.push_back({outputPath, &sheet, metadata.empty() ? render::ImageMetadata{} : metadata.front()});
    if (!files.back().metadata.empty()) files.back().metadata.pop_back();  // the sheet shows every class
    std::error_code error;
    fs::create_directories(perClass, error);
    if (error) throw std::runtime_error("cannot create '" + perClass.string() + "': " + error.message());
    writeAll(files, precision);
}

int renderGallery(const Options& options, const PluginLibrary& library) {
    const std::string directory = options.galleryDirectory.empty() ? defaultGalleryDirectory() : options.galleryDirectory;
    // Every preview is read before anything is written or rendered, so a missing stage or a
    // faulty preview file stops the gallery at once and leaves nothing behind.
    std::vector<gallery::Preview> previews = gallery::previews(library, directory);
    selectClasses(options.classes, previews);
    const std::string assets = (fs::path(directory) / "assets").string();
    if (!gallery::assetsPresent(assets)) gallery::writeAssets(assets);
    render::TextureSet textures;
    std::vector<std::unique_ptr<render::Scene>> scenes;
    std::vector<render::RenderSettings> settings(previews.size());
    for (std::size_t i = 0; i < previews.size(); ++i) {
        scenes.push_back(std::make_unique<render::Scene>());
        settings[i].width = 256;
        settings[i].height = 192;
        settings[i].samplesPerPixel = 16;
        render::loadScene(previews[i].scene, {previews[i].source, assets}, library, textures, *scenes.back(),
                          settings[i]);
        applyOptions(options, settings[i]);
    }

    std::vector<render::Image> images;
    std::vector<std::string> labels;
    std::vector<render::ImageMetadata> metadata;
    render::RenderStats total;
    for (std::size_t i = 0; i < previews.size(); ++i) {
        render::RenderStats stats;
        const std::string label = "[" + std::to_string(i + 1) + "/" + std::to_string(previews.size()) + "] ";
        images.push_back(render::renderImage(*scenes[i], settings[i], stats, {.enabled = !options.quiet, .label = label}));
        labels.push_back(previews[i].className + (previews[i].hasPreviewFile ? "" : " (defaults)"));
        metadata.push_back(renderMetadata(library, settings[i], previews[i].className));
        if (options.bench) {
            std::printf("%-28s %s\n", previews[i].className.c_str(),
                        render::summaryLine(settings[i].width, settings[i].height, settings[i].samplesPerPixel, stats).c_str());
        }
        total += stats;
    }
    if (!options.outputPath.empty()) {
        writeGallery(options.outputPath, previews, images, gallery::contactSheet(labels, images), metadata,
                     precision(options));
    }
    const render::RenderSettings& first = settings.empty() ? render::RenderSettings{} : settings.front();
    std::cerr << "gallery of " << previews.size() << " materials: "
              << render::summaryLine(first.width, first.height, first.samplesPerPixel, total) << "\n";
    return 0;
}

// Refuses an output the render could not be written to, before anything renders: a known
// extension, not a directory, in a directory where a file can be created.
void checkOutputPath(const std::string& path) {
    if (!render::isSupportedImagePath(path)) {
        throw UsageError("cannot write '" + path + "': the extension must be .png or .exr");
    }
    std::error_code error;
    if (fs::is_directory(path, error)) throw std::runtime_error(path + ": is a directory, not an image file");
    fs::path parent = fs::path(path).parent_path();
    if (parent.empty()) parent = ".";
    if (!fs::is_directory(parent, error)) {
        throw std::runtime_error(path + ": directory '" + parent.string() + "' does not exist");
    }
    if (std::string reason = render::probeWritableDirectory(parent.string()); !reason.empty()) {
        throw std::runtime_error(path + ": cannot create files in '" + parent.string() + "': " + reason);
    }
}

void checkUsage(const Options& options) {
    if (options.gallery == !options.scenePath.empty()) throw UsageError("give either a scene file or --gallery");
    if (!options.classes.empty() && !options.gallery) throw UsageError("--class only selects classes with --gallery");
    if (options.outputPath.empty() && !options.bench) throw UsageError("give an output image with -o");
    if (!options.outputPath.empty()) checkOutputPath(options.outputPath);
}

void addOptions(CLI::App& app, Options& options) {
    app.add_option("scene", options.scenePath, "Scene file (JSON)");
    app.add_option("-o,--output", options.outputPath, "Output image: .png (sRGB, 8 bit) or .exr (linear)");
    app.add_flag("--gallery", options.gallery, "Render one preview per material class and a contact sheet");
    app.add_option("--gallery-dir", options.galleryDirectory,
                   "Gallery folder with stage.json and previews/ (default: the installed gallery)");
    app.add_option("--library", options.libraryPath, "Shader library (default: the one installed beside this tool)");
    app.add_option("--spp", options.spp, "Samples per pixel")->check(CLI::Range(1, 1 << 20));
    app.add_option("--resolution", options.resolution, "Image size WIDTHxHEIGHT (a gallery preview's size with --gallery)");
    app.add_option("--seed", options.seed, "Seed of the pixels' random streams")
        ->check(CLI::Range(uint64_t{0}, static_cast<uint64_t>(std::numeric_limits<int>::max())));
    app.add_option("--threads", options.threads, "Render threads (default: all cores)")->check(CLI::Range(0, 1024));
    app.add_option("--mode", options.mode, "Integrator: shade (materials' shade) or path (path tracer)")
        ->check(CLI::IsMember({"shade", "path"}));
    app.add_option("--max-depth", options.maxDepth, "Nested traces (shade) or bounces (path)")->check(CLI::Range(1, 64));
    app.add_flag("--exr-float", options.exrFloat, "Write EXR as 32-bit float instead of half");
    app.add_flag("--bench", options.bench, "Print timing figures (per class with --gallery)");
    // One class per --class, so a scene file after it is not taken for a second class.
    app.add_option("--class", options.classes, "With --gallery: render only this class (repeatable)")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_flag("--quiet", options.quiet, "No progress bar");
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Renders a Kestrel scene file, or the gallery of every material class of the shader library."};
    Options options;
    addOptions(app, options);
    // An interrupt stops the render at the next row and the writes before they replace anything.
    std::signal(SIGINT, render::requestStop);
    std::signal(SIGTERM, render::requestStop);
    if (auto status = tools::parseCommandLine(app, "kestrel-render", argc, argv)) return *status;
    try {
        checkUsage(options);
        std::optional<tbb::global_control> threads;
        if (options.threads > 0) threads.emplace(tbb::global_control::max_allowed_parallelism, options.threads);
        PluginLibrary library(options.libraryPath);
        return options.gallery ? renderGallery(options, library) : renderScene(options, library);
    } catch (const render::Interrupted& error) {
        const int signal = render::stopSignal();
        std::cerr << "kestrel-render: " << error.what() << " (" << (signal == SIGINT ? "SIGINT" : "SIGTERM")
                  << "); nothing was written\n";
        return 128 + signal;
    } catch (const UsageError& error) {
        std::cerr << "kestrel-render: " << error.what() << "\n";
        return tools::kExitBadUsage;
    } catch (const std::exception& error) {
        std::cerr << "kestrel-render: " << error.what() << "\n";
        return tools::kExitBadInput;
    }
}
