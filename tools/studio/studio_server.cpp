#include "studio_server.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "class_catalogue.h"
#include "look.h"
#include "look_scenes.h"
#include "name_match.h"
#include "plugin_library.h"
#include "render/render.h"
#include "render/scene_file.h"

namespace kestrel::studio {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::size_t kMaxClientIdLength = 64;
constexpr const char* kJson = "application/json";
// Clients whose loaded scene is kept: a few tabs each, for a handful of users at most.
constexpr std::size_t kCachedScenes = 16;

// The newest render request of each client; an older one still running is told to stop, and
// one older than the newest seen is stale from the outset.
class Supersession {
public:
    using Token = std::shared_ptr<std::atomic<bool>>;

    Token begin(const std::string& client, int64_t request) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (latest_.size() > kRememberedClients) std::erase_if(latest_, [](const auto& entry) { return !entry.second.token; });
        auto token = std::make_shared<std::atomic<bool>>(false);
        auto [found, added] = latest_.try_emplace(client);
        Entry& entry = found->second;
        if (!added && entry.request > request) {
            token->store(true);
            return token;
        }
        if (entry.token) entry.token->store(true);
        entry = {request, token};
        return token;
    }
    void end(const std::string& client, const Token& token) {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = latest_.find(client);
        if (found != latest_.end() && found->second.token == token) found->second.token.reset();
    }

private:
    static constexpr std::size_t kRememberedClients = 1024;
    struct Entry {
        int64_t request = 0;
        Token token;
    };
    std::mutex mutex_;
    std::map<std::string, Entry> latest_;
};

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read '" + path.string() + "'");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void sendError(httplib::Response& response, const RequestError& error) {
    response.status = error.status;
    json body = {{"error", error.message}};
    if (!error.parameter.empty()) body["parameter"] = error.parameter;
    response.set_content(body.dump(), kJson);
}

json parseBody(const httplib::Request& request) {
    json body = json::parse(request.body, nullptr, false);
    if (body.is_discarded()) throw RequestFailure(RequestError{400, "the request body is not valid JSON", ""});
    if (!body.is_object()) throw RequestFailure(RequestError{400, "the request body must be a JSON object", ""});
    return body;
}

// The tab a render belongs to and its place in that tab's sequence.
std::pair<std::string, int64_t> clientOf(const json& body) {
    const json client = body.value("client", json("anonymous"));
    const json request = body.value("request", json(0));
    if (!client.is_string() || client.get<std::string>().empty() || client.get<std::string>().size() > kMaxClientIdLength) {
        throw RequestFailure(RequestError{400, "client: expected a name of 1 to 64 characters", "client"});
    }
    if (!request.is_number_integer()) {
        throw RequestFailure(RequestError{400, "request: expected a whole number", "request"});
    }
    return {client.get<std::string>(), request.get<int64_t>()};
}

}  // namespace

struct StudioServer::Impl {
    explicit Impl(const StudioOptions& options)
        : library(options.libraryPath),
          catalogue(library, options.cataloguePath),
          files(StageFiles::read(options.galleryDirectory)),
          scratch(makeScratch()) {
        for (const char* name : {"index.html", "studio.css", "studio.js"}) {
            page[name] = readFile(fs::path(options.webDirectory) / name);
        }
        server.set_payload_max_length(options.maxBodyBytes);
        routes();
    }
    ~Impl() {
        std::error_code error;
        fs::remove_all(scratch, error);
    }

    static fs::path makeScratch() {
        std::string pattern = (fs::temp_directory_path() / "kestrel-studio-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot create a temporary folder for the frames");
        return pattern;
    }

    void routes();
    void staticFile(const std::string& route, const std::string& name, const char* type);
    void render(const httplib::Request& request, httplib::Response& response);
    // Renders the document and answers its PNG; false when a newer request superseded it.
    bool renderPng(const json& document, const std::string& client, const std::atomic<bool>& cancel,
                   httplib::Response& response);
    void guarded(const httplib::Request& request, httplib::Response& response,
                 void (Impl::*handler)(const httplib::Request&, httplib::Response&));
    void classDetail(const httplib::Request& request, httplib::Response& response);
    void exportScene(const httplib::Request& request, httplib::Response& response);
    void importScene(const httplib::Request& request, httplib::Response& response);

    PluginLibrary library;
    ClassCatalogue catalogue;
    StageFiles files;
    fs::path scratch;
    std::map<std::string, std::string> page;
    Supersession supersession;
    LookScenes scenes{kCachedScenes};
    std::atomic<uint64_t> frameCounter{0};
    httplib::Server server;
};

void StudioServer::Impl::staticFile(const std::string& route, const std::string& name, const char* type) {
    server.Get(route, [this, name, type](const httplib::Request&, httplib::Response& response) {
        response.set_content(page.at(name), type);
        response.set_header("Cache-Control", "no-store");
    });
}

void StudioServer::Impl::guarded(const httplib::Request& request, httplib::Response& response,
                                 void (Impl::*handler)(const httplib::Request&, httplib::Response&)) {
    try {
        (this->*handler)(request, response);
    } catch (const RequestFailure& failure) {
        sendError(response, failure.error());
    } catch (const render::SceneError& error) {
        sendError(response, {400, error.what(), ""});
    } catch (const std::exception& error) {
        sendError(response, {500, error.what(), ""});
    }
}

void StudioServer::Impl::routes() {
    staticFile("/", "index.html", "text/html; charset=utf-8");
    staticFile("/studio.css", "studio.css", "text/css; charset=utf-8");
    staticFile("/studio.js", "studio.js", "text/javascript; charset=utf-8");
    server.Get("/api/classes", [this](const httplib::Request&, httplib::Response& response) {
        response.set_content(json({{"classes", catalogue.materialList()}, {"catalogue", catalogue.hasCatalogue()}}).dump(), kJson);
    });
    server.Get(R"(/api/classes/([A-Za-z0-9_]+))", [this](const httplib::Request& request, httplib::Response& response) {
        guarded(request, response, &Impl::classDetail);
    });
    server.Get("/api/assets", [this](const httplib::Request&, httplib::Response& response) {
        response.set_content(json({{"images", files.assets}}).dump(), kJson);
    });
    server.Post("/api/render", [this](const httplib::Request& request, httplib::Response& response) {
        guarded(request, response, &Impl::render);
    });
    server.Post("/api/scene", [this](const httplib::Request& request, httplib::Response& response) {
        guarded(request, response, &Impl::exportScene);
    });
    server.Post("/api/import", [this](const httplib::Request& request, httplib::Response& response) {
        guarded(request, response, &Impl::importScene);
    });
    // Errors the library answers by itself (unknown route, body too large) get a message the
    // page can show too.
    server.set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (!response.body.empty()) return;
        const std::string message = response.status == 413 ? "the request body is larger than the studio accepts"
                                    : response.status == 404 ? "no such page or API route"
                                                             : "the request could not be served";
        response.set_content(json({{"error", message}}).dump(), kJson);
    });
}

void StudioServer::Impl::classDetail(const httplib::Request& request, httplib::Response& response) {
    const std::string name = request.matches[1];
    const ClassInfo* info = catalogue.find(name);
    if (!info) {
        std::vector<std::string> names = library.classNames();
        throw RequestFailure({404, "'" + name + "' is not a class of the library" + didYouMean(name, names), "class"});
    }
    nlohmann::ordered_json detail = catalogue.classJson(*info);
    detail["start"] = startParameters(name, files);
    response.set_content(detail.dump(), kJson);
}

void StudioServer::Impl::render(const httplib::Request& request, httplib::Response& response) {
    const json body = parseBody(request);
    const auto [client, sequence] = clientOf(body);
    const Look look = parseLook(body, catalogue, files);
    const json document = sceneDocument(look, catalogue, files);
    Supersession::Token token = supersession.begin(client, sequence);
    bool finished = false;
    try {
        finished = !token->load() && renderPng(document, client, *token, response);
    } catch (...) {
        supersession.end(client, token);
        throw;
    }
    supersession.end(client, token);
    if (!finished) throw RequestFailure({409, "superseded by a newer request of the same client", ""});
    response.set_header("X-Request", std::to_string(sequence));
}

bool StudioServer::Impl::renderPng(const json& document, const std::string& client, const std::atomic<bool>& cancel,
                                   httplib::Response& response) {
    const auto start = std::chrono::steady_clock::now();
    std::shared_ptr<LookScene> look = scenes.get(client);
    // The previous render of this client was told to stop; it finishes its current tiles first.
    std::lock_guard<std::mutex> lock(look->busy);
    if (cancel.load()) return false;
    look->update(document, library, files.assetsDirectory);
    const render::Scene& scene = *look->scene;
    const render::RenderSettings& settings = look->settings;
    render::RenderStats stats;
    render::ProgressOptions progress{false, "", &cancel};
    render::Image image = render::renderImage(scene, settings, stats, progress);
    if (cancel.load()) return false;
    // The frame goes through the renderer's own PNG writer, so an export rendered by
    // kestrel-render gives the same bytes.
    const fs::path frame = scratch / ("frame-" + std::to_string(frameCounter.fetch_add(1)) + ".png");
    render::writeImage(image, frame.string());
    std::string png = readFile(frame);
    std::error_code error;
    fs::remove(frame, error);
    const double milliseconds = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    response.set_header("X-Render-Milliseconds", std::to_string(static_cast<int>(milliseconds)));
    response.set_content(std::move(png), "image/png");
    return true;
}

void StudioServer::Impl::exportScene(const httplib::Request& request, httplib::Response& response) {
    const Look look = parseLook(parseBody(request), catalogue, files);
    response.set_content(sceneDocument(look, catalogue, files).dump(2), kJson);
}

void StudioServer::Impl::importScene(const httplib::Request& request, httplib::Response& response) {
    response.set_content(importLook(parseBody(request), catalogue, files).dump(), kJson);
}

StudioServer::StudioServer(const StudioOptions& options) : impl_(std::make_unique<Impl>(options)) {}
StudioServer::~StudioServer() = default;

int StudioServer::bind(const std::string& host, int port) {
    const int bound = port == 0 ? impl_->server.bind_to_any_port(host) : (impl_->server.bind_to_port(host, port) ? port : -1);
    if (bound <= 0) throw std::runtime_error("cannot listen on " + host + ":" + std::to_string(port) + " (in use, or not an address of this machine)");
    return bound;
}

void StudioServer::run() { impl_->server.listen_after_bind(); }
void StudioServer::stop() { impl_->server.stop(); }
bool StudioServer::hasCatalogue() const { return impl_->catalogue.hasCatalogue(); }

bool isLoopback(const std::string& host) {
    return host == "localhost" || host == "::1" || host.rfind("127.", 0) == 0;
}

}  // namespace kestrel::studio
