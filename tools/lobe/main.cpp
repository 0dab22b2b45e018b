// kestrel-lobe: the lobe inspector. With a class name it measures one lobe at one incident
// direction and plots it (reflectance over the hemisphere beside where sampleBsdf draws and the
// density it reports, a slice in the plane of incidence, the albedo over incident angles); with
// --certificate it measures every sampled lobe of the library and writes the certificate.
#include <spawn.h>
#include <sys/wait.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include <CLI/CLI.hpp>
#include <glm/gtc/constants.hpp>

#include "certificate.h"
#include "parameter_sets.h"
#include "plot_data.h"
#include "plugin_library.h"
#include "render/scene_file.h"
#include "render/textures.h"
#include "verdicts.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using namespace kestrel;

constexpr int kExitFailure = 1;
constexpr int kExitRegression = 3;

struct Options {
    std::string className;
    std::vector<std::string> overrides;
    std::string parameterSet = "default";
    std::string incident = "30,0";
    std::string outDirectory = ".";
    std::string plotter;
    bool dataOnly = false;
    bool certificate = false;
    std::string jsonPath, markdownPath, baselinePath;
    std::vector<std::string> classes;
    long samples = 0, albedoSamples = 0;
    uint64_t seed = 0;
    std::string libraryPath, galleryDirectory;
};

// The plotting script installed beside the program: <prefix>/share/kestrel/plot_lobe.py.
std::string defaultPlotter() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return (program.parent_path().parent_path() / "share" / "kestrel" / "plot_lobe.py").string();
}

// Writes through a temporary file beside the target, so a failed run leaves no partial file.
void writeText(const std::string& path, const std::string& text) {
    const std::string temporary = path + ".partial";
    std::ofstream out(temporary, std::ios::binary);
    out << text;
    out.close();
    if (!out) throw std::runtime_error(path + ": cannot write the file");
    fs::rename(temporary, path);
}

nlohmann::ordered_json readJson(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw std::runtime_error(path + ": cannot read the baseline certificate");
    try {
        return nlohmann::ordered_json::parse(in);
    } catch (const nlohmann::json::parse_error& error) {
        throw std::runtime_error(path + ": not a JSON certificate (" + error.what() + ")");
    }
}

// Debian's interpreter, whose packages hold matplotlib, unless KESTREL_PYTHON names another;
// python3 from the path when there is none.
std::string python() {
    if (const char* chosen = std::getenv("KESTREL_PYTHON")) return chosen;
    std::error_code error;
    return fs::exists("/usr/bin/python3", error) ? "/usr/bin/python3" : "python3";
}

void runPython(const std::string& script, const std::string& data, const std::string& directory) {
    std::vector<std::string> words = {python(), script, data, directory};
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawnp(&pid, words[0].c_str(), nullptr, nullptr, argv.data(), environ) != 0) {
        throw std::runtime_error("cannot start " + words[0] + " to plot (install python3-matplotlib)");
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error(script + " failed to plot " + data);
}

int plotLobe(const Options& options, const PluginLibrary& library) {
    const std::string gallery = options.galleryDirectory.empty() ? lobe::defaultGalleryDirectory() : options.galleryDirectory;
    render::TextureSet textures;
    const lobe::ParameterSet set = lobe::findParameterSet(options.className, options.parameterSet, gallery);
    auto shader = lobe::makeShader(library, options.className, set, options.overrides, gallery, textures);
    if (!shader->can(ksi::kCapEvaluateBsdf) && !shader->can(ksi::kCapSampleBsdf)) {
        throw std::runtime_error(options.className + " announces neither evaluateBsdf nor sampleBsdf: it has no lobe to plot");
    }
    lobe::PlotOptions plot;
    double theta = 0.0, phi = 0.0;
    char comma = 0, rest = 0;
    std::istringstream in(options.incident);
    if (!(in >> theta >> comma >> phi) || comma != ',' || (in >> rest) || theta < 0.0 || theta >= 90.0) {
        throw std::runtime_error("--incident '" + options.incident + "': expected THETA,PHI in degrees, THETA from 0 to below 90");
    }
    plot.theta = theta * glm::pi<double>() / 180.0, plot.phi = phi * glm::pi<double>() / 180.0;
    if (options.samples > 0) plot.samples = options.samples;
    nlohmann::ordered_json data = lobe::plotData(*shader, plot);
    data["set"] = set.name;
    data["parameters"] = set.parameters;
    for (const std::string& o : options.overrides) data["parameters"][o.substr(0, o.find('='))] = lobe::overrideValue(o.substr(o.find('=') + 1));
    fs::create_directories(options.outDirectory);
    std::ostringstream label;
    label << options.className << "-" << set.name;
    for (const std::string& o : options.overrides) label << "-" << o;
    label << "-" << theta;
    const std::string dataPath = (fs::path(options.outDirectory) / (label.str() + ".json")).string();
    writeText(dataPath, data.dump());
    if (!options.dataOnly) runPython(options.plotter.empty() ? defaultPlotter() : options.plotter, dataPath, options.outDirectory);
    std::cout << "wrote " << (options.dataOnly ? dataPath : (fs::path(options.outDirectory) / label.str()).string() + "-{hemisphere,slice,albedo}.png") << "\n";
    return 0;
}

int certify(const Options& options, const PluginLibrary& library) {
    lobe::CertificateOptions run;
    run.galleryDirectory = options.galleryDirectory.empty() ? lobe::defaultGalleryDirectory() : options.galleryDirectory;
    run.classes = options.classes;
    run.seed = options.seed;
    if (options.samples > 0) run.samples = options.samples, run.albedoSamples = std::max(1000L, options.samples / 10);
    if (options.albedoSamples > 0) run.albedoSamples = options.albedoSamples;
    const nlohmann::ordered_json certificate = lobe::runCertificate(library, run);
    if (!options.jsonPath.empty()) writeText(options.jsonPath, certificate.dump(1) + "\n");
    if (!options.markdownPath.empty()) writeText(options.markdownPath, lobe::certificateMarkdown(certificate));
    if (options.baselinePath.empty()) return 0;
    const std::vector<std::string> broken = lobe::regressions(readJson(options.baselinePath), certificate);
    for (const std::string& line : broken) std::cerr << "regression: " << line << "\n";
    std::cerr << broken.size() << " of the figures that hold in " << options.baselinePath << " fail now\n";
    return broken.empty() ? 0 : kExitRegression;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Plots the lobe of a Kestrel material, or certifies every sampled lobe of the library."};
    Options options;
    app.add_option("class", options.className, "Material class to plot");
    app.add_option("--set", options.overrides, "Parameter value NAME=VALUE (repeatable; JSON, a list 1,0.5,0, or a texture file)");
    app.add_option("--parameters", options.parameterSet, "Parameter set to start from: default or gallery (the class's gallery preview)");
    app.add_option("--incident", options.incident, "Incident direction THETA,PHI in degrees from the normal and the tangent (default 30,0)");
    app.add_option("--out", options.outDirectory, "Folder for the plots and their data (default: the current folder)");
    app.add_option("--plotter", options.plotter, "Plotting script (default: share/kestrel/plot_lobe.py beside the program)");
    app.add_flag("--data-only", options.dataOnly, "Write the plot data as JSON without plotting");
    app.add_flag("--certificate", options.certificate, "Certify every class that evaluates or samples a lobe");
    app.add_option("--json", options.jsonPath, "With --certificate: write the certificate as JSON");
    app.add_option("--markdown", options.markdownPath, "With --certificate: write the certificate's Markdown page");
    app.add_option("--check", options.baselinePath, "With --certificate: fail (exit 3) when a figure that holds in this certificate fails now");
    app.add_option("--class", options.classes, "With --certificate: only these classes (repeatable)");
    app.add_option("--samples", options.samples, "Draws per batch (certificate, default 100000) or for the histogram (plots, default 400000)");
    app.add_option("--albedo-samples", options.albedoSamples, "With --certificate: draws per angle of the albedo curve");
    app.add_option("--seed", options.seed, "With --certificate: draw other random numbers (the default 0 is the published certificate's)");
    app.add_option("--library", options.libraryPath, "Shader library (default: the one installed beside this tool)");
    app.add_option("--gallery-dir", options.galleryDirectory, "Gallery folder with previews/ and assets/ (default: the installed gallery)");
    CLI11_PARSE(app, argc, argv);
    try {
        if (options.certificate == !options.className.empty()) throw std::runtime_error("give either a class name or --certificate");
        PluginLibrary library(options.libraryPath.empty() ? PluginLibrary::defaultPath() : options.libraryPath);
        return options.certificate ? certify(options, library) : plotLobe(options, library);
    } catch (const std::exception& error) {
        std::cerr << "kestrel-lobe: " << error.what() << "\n";
        return kExitFailure;
    }
}
