// kestrel-info: the catalogue of a shader library. Without a class name it lists every class
// the library exports, sorted by name; with class names it explains each one: what it is for,
// what to set to see anything, its graph, and its parameters in declaration order by group
// with type, default, meaning, labels and ranges. Names, types and defaults come from the
// library itself; the explanations from the catalogue installed beside it.
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "catalogue_json.h"
#include "catalogue_text.h"
#include "command_line.h"

namespace {

using kestrel::catalogue::ordered_json;

using kestrel::tools::kExitBadInput;
using kestrel::tools::kExitBadUsage;
constexpr std::size_t kDefaultWidth = 100;

// The terminal's width, or COLUMNS, or 100 when neither is known (a pipe).
std::size_t terminalWidth() {
    winsize size{};
    if (isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    if (const char* columns = std::getenv("COLUMNS")) {
        const long value = std::strtol(columns, nullptr, 10);
        if (value > 0) return static_cast<std::size_t>(value);
    }
    return kDefaultWidth;
}

// The catalogue beside the tool (../share/kestrel/catalogue.json), or an empty one.
ordered_json readCatalogue(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        std::cerr << "kestrel-info: no catalogue at '" << path << "'; showing declarations without explanations\n";
        return {{"classes", ordered_json::array()}, {"nodeTypes", ordered_json::array()}};
    }
    return ordered_json::parse(file);
}

std::string defaultCataloguePath() {
    const std::filesystem::path tool = std::filesystem::read_symlink("/proc/self/exe");
    return (tool.parent_path().parent_path() / "share" / "kestrel" / "catalogue.json").string();
}

// Every named class (all of them when none is named), as a host sees it, with explanations.
ordered_json describedClasses(const kestrel::PluginLibrary& library, const ordered_json& catalogue,
                              std::vector<std::string> names) {
    if (names.empty()) names = kestrel::catalogue::sortedClassNames(library);
    std::vector<kestrel::ShaderClass> classes;
    for (const std::string& name : names) classes.push_back(library.findClass(name));  // throws before any output
    ordered_json described = ordered_json::array();
    for (const kestrel::ShaderClass& shaderClass : classes) {
        kestrel::ShaderInstance shader(shaderClass);
        ordered_json c = kestrel::catalogue::declaredClass(shader);
        kestrel::catalogue::addDocs(c, kestrel::catalogue::findClass(catalogue, shader.className()));
        described.push_back(std::move(c));
    }
    return described;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Lists the shader classes of a Kestrel Shaders library, or explains the named classes."};
    std::vector<std::string> classNames;
    std::string libraryPath = kestrel::PluginLibrary::defaultPath();
    std::string cataloguePath = defaultCataloguePath();
    std::string markdownDirectory;
    bool json = false;
    std::size_t width = terminalWidth();
    app.add_option("class", classNames, "Classes to explain (default: list every class)");
    app.add_option("--library", libraryPath, "Shader library to read (default: the one installed beside this tool)");
    app.add_option("--catalogue", cataloguePath, "catalogue.json with the explanations (default: ../share/kestrel/)");
    app.add_flag("--json", json, "Print the catalogue document (docs/catalogue.md) for the classes");
    app.add_option("--markdown", markdownDirectory, "Write the material reference pages into this directory");
    app.add_option("--width", width, "Wrap text at this width (default: the terminal's)")->check(CLI::Range(40, 1000));
    if (auto status = kestrel::tools::parseCommandLine(app, "kestrel-info", argc, argv)) return *status;

    std::unique_ptr<kestrel::PluginLibrary> library;
    try {
        library = std::make_unique<kestrel::PluginLibrary>(libraryPath);
    } catch (const kestrel::LoadError& error) {
        std::cerr << "kestrel-info: " << error.what() << "\n";
        return kExitBadInput;
    }
    if (library->classNames().empty()) {
        std::cerr << "kestrel-info: " << libraryPath << ": exports no shader class (no pair of <Class>_create and "
                  << "<Class>_getAPIVersion); is it a Kestrel Shaders library?\n";
        return kExitBadInput;
    }
    const ordered_json catalogue = readCatalogue(cataloguePath);
    try {
        const bool list = classNames.empty() && !json && markdownDirectory.empty();
        ordered_json classes = describedClasses(*library, catalogue, classNames);
        ordered_json document = kestrel::catalogue::document(classes, catalogue.at("nodeTypes"));
        if (!markdownDirectory.empty()) {
            kestrel::catalogue::writeMaterialPages(document, markdownDirectory);
        } else if (json) {
            document["library"] = library->path();
            std::cout << document.dump(2) << "\n";
        } else if (list) {
            std::cout << classes.size() << " shader classes in " << library->path() << "\n\n"
                      << kestrel::catalogue::listText(classes, width);
        } else {
            for (std::size_t i = 0; i < classes.size(); ++i) {
                const int version = library->findClass(classes[i].at("name")).apiVersion;
                std::cout << (i ? "\n" : "") << kestrel::catalogue::classText(classes[i], version, width);
            }
        }
    } catch (const kestrel::LoadError& error) {
        std::cerr << "kestrel-info: " << error.what() << "\n";
        return kExitBadUsage;
    }
    return 0;
}
