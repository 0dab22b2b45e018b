// The studio's HTTP server: the page's static files, the class list and catalogue, the gallery
// images by name, renders of a look as PNG, and scene export and import. Renders for one client
// (a browser tab) supersede each other: a newer request cancels the one in flight.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace kestrel::studio {

struct StudioOptions {
    std::string libraryPath;
    std::string cataloguePath;     // may name a missing file: widgets then follow the types
    std::string galleryDirectory;  // stage.json, previews/, assets/
    std::string webDirectory;      // index.html, studio.css, studio.js
    std::size_t maxBodyBytes = 1 << 20;
};

class StudioServer {
public:
    // Loads the library, the catalogue, the gallery and the page; throws std::runtime_error
    // (or LoadError) naming what is missing.
    explicit StudioServer(const StudioOptions& options);
    ~StudioServer();
    StudioServer(const StudioServer&) = delete;
    StudioServer& operator=(const StudioServer&) = delete;

    // Binds the address; port 0 takes a free port. Returns the port; throws std::runtime_error
    // when the address cannot be bound.
    int bind(const std::string& host, int port);
    // Serves until stop() is called from another thread (or a signal handler's thread).
    void run();
    void stop();
    bool hasCatalogue() const;

    struct Impl;

private:
    std::unique_ptr<Impl> impl_;
};

// Whether the address is a loopback one (127.0.0.0/8, ::1, localhost).
bool isLoopback(const std::string& host);

}  // namespace kestrel::studio
