// kestrel-studio: interactive look development in the browser. Serves the page and renders the
// looks it sends with the shader library loaded as a production renderer loads it.
#include <csignal>
#include <filesystem>
#include <iostream>
#include <thread>

#include <CLI/CLI.hpp>

#include "plugin_library.h"
#include "studio_server.h"

namespace {

namespace fs = std::filesystem;

constexpr int kDefaultPort = 8642;

// <prefix>/share/kestrel beside the program, where the build and the install put the gallery,
// the page and the catalogue.
fs::path shareDirectory() {
    std::error_code error;
    fs::path program = fs::read_symlink("/proc/self/exe", error);
    return program.parent_path().parent_path() / "share" / "kestrel";
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Kestrel Studio: edit a material's parameters in the browser and watch it render."};
    kestrel::studio::StudioOptions options;
    options.libraryPath = kestrel::PluginLibrary::defaultPath();
    options.cataloguePath = (shareDirectory() / "catalogue.json").string();
    options.galleryDirectory = (shareDirectory() / "gallery").string();
    options.webDirectory = (shareDirectory() / "studio").string();
    std::string host = "127.0.0.1";
    int port = kDefaultPort;
    app.add_option("--port", port, "Port to listen on (0: any free port)")->check(CLI::Range(0, 65535));
    app.add_option("--host", host, "Address to listen on; anything but the loopback exposes the studio to the network");
    app.add_option("--library", options.libraryPath, "Shader library (default: the one installed beside this tool)");
    app.add_option("--catalogue", options.cataloguePath, "Parameter catalogue (default: the installed catalogue.json)");
    app.add_option("--gallery-dir", options.galleryDirectory, "Gallery folder with stage.json, previews/ and assets/");
    app.add_option("--web-dir", options.webDirectory, "Folder with the page's files");
    CLI11_PARSE(app, argc, argv);

    // Interrupts are taken by one thread that stops the server, so the frames' temporary
    // folder is removed on the way out.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        kestrel::studio::StudioServer server(options);
        const int bound = server.bind(host, port);
        if (!server.hasCatalogue()) {
            std::cerr << "kestrel-studio: no catalogue at '" << options.cataloguePath
                      << "': parameters get widgets by type, without meanings or ranges\n";
        }
        if (!kestrel::studio::isLoopback(host)) {
            std::cerr << "kestrel-studio: warning: listening on " << host
                      << ": the studio is exposed to every machine that reaches this address\n";
        }
        std::cout << "Kestrel Studio at http://" << (host.find(':') != std::string::npos ? "[" + host + "]" : host) << ":"
                  << bound << "/  (Ctrl+C stops it)" << std::endl;
        std::thread waiter([&] {
            int received = 0;
            sigwait(&signals, &received);
            server.stop();
        });
        server.run();
        pthread_kill(waiter.native_handle(), SIGTERM);
        waiter.join();
    } catch (const std::exception& error) {
        std::cerr << "kestrel-studio: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
