// kestrel-gallery-assets: writes the images the material gallery uses into a directory.
#include <iostream>

#include <CLI/CLI.hpp>

#include "gallery_assets.h"

int main(int argc, char** argv) {
    CLI::App app{"Generates the images of the Kestrel material gallery (sky, checker, perforation, flakes, noise)."};
    std::string directory;
    app.add_option("directory", directory, "Directory to write into (created if missing)")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        kestrel::gallery::writeAssets(directory);
    } catch (const std::exception& error) {
        std::cerr << "kestrel-gallery-assets: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
