// The studio's HTTP API, served in-process on a free loopback port and called as the page
// calls it.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "studio_server.h"
#include "test_library.h"

namespace kestrel::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// A catalogue in the installed format with one hard range, so range checks have something to
// refuse.
const char* kCatalogue = R"({"format": "kestrel-catalogue", "classes": [
  {"name": "kestrel_Mtl_Mirror", "summary": "A perfect mirror.",
   "parameters": [{"name": "u_tintColor", "kind": "colour", "hardRange": [0, null]}]}]})";

class Studio : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        cataloguePath_ = (fs::temp_directory_path() / ("studio-catalogue-" + std::to_string(::getpid()) + ".json")).string();
        std::ofstream(cataloguePath_) << kCatalogue;
        studio::StudioOptions options{libraryPath(), cataloguePath_, KESTREL_GALLERY_BUILD_DIR, KESTREL_STUDIO_WEB_DIR,
                                      64 * 1024};
        server_ = new studio::StudioServer(options);
        port_ = server_->bind("127.0.0.1", 0);
        thread_ = new std::thread([] { server_->run(); });
    }
    static void TearDownTestSuite() {
        server_->stop();
        thread_->join();
        delete thread_;
        delete server_;
        fs::remove(cataloguePath_);
    }

    static httplib::Client client() {
        httplib::Client c("127.0.0.1", port_);
        c.set_read_timeout(60, 0);
        return c;
    }
    static json look(const std::string& className, json parameters = json::object(), int size = 16) {
        return {{"class", className}, {"parameters", parameters}, {"stage", {{"size", size}, {"samples", 1}}}};
    }

    static studio::StudioServer* server_;
    static std::thread* thread_;
    static int port_;
    static std::string cataloguePath_;
};

studio::StudioServer* Studio::server_ = nullptr;
std::thread* Studio::thread_ = nullptr;
int Studio::port_ = 0;
std::string Studio::cataloguePath_;

struct Exchange {
    const char* what;
    const char* path;
    std::string body;  // GET when empty
    int status;
    const char* fragment;   // in the body
    const char* parameter;  // the control the page shows the message beside
};

TEST_F(Studio, AnswersEveryRequestWithItsStatusAndMessage) {
    auto render = [](json body) { return body.dump(); };
    const std::vector<Exchange> cases = {
        {"page", "/", "", 200, "Kestrel Studio", ""},
        {"unknown route", "/../../etc/passwd", "", 404, "no such page", ""},
        {"class list", "/api/classes", "", 200, "kestrel_Mtl_Ward_5ba0bfff", ""},
        {"class with catalogue", "/api/classes/kestrel_Mtl_Mirror", "", 200, "A perfect mirror.", ""},
        {"misspelt class", "/api/classes/kestrel_Mtl_Mirrr", "", 404, "did you mean 'kestrel_Mtl_Mirror'", "class"},
        {"gallery images", "/api/assets", "", 200, "perforation.png", ""},
        {"render", "/api/render", render(look("kestrel_Mtl_Mirror", {{"u_tintColor", {0.9, 0.9, 0.9}}})), 200, "PNG", ""},
        {"malformed body", "/api/render", "{\"class\": ", 400, "not valid JSON", ""},
        {"body not an object", "/api/render", "[1, 2]", 400, "must be a JSON object", ""},
        {"oversized body", "/api/render", std::string(65 * 1024, ' '), 413, "larger than the studio accepts", ""},
        {"unknown class", "/api/render", render(look("kestrel_Mtl_Mirrr")), 400, "did you mean", "class"},
        {"a light is no look", "/api/render", render(look("znPointLight")), 400, "not a material class", "class"},
        {"unknown parameter", "/api/render", render(look("kestrel_Mtl_Mirror", {{"u_tintColr", 1}})), 400,
         "did you mean 'u_tintColor'", "u_tintColr"},
        {"wrong type", "/api/render", render(look("kestrel_Mtl_Mirror", {{"u_tintColor", "red"}})), 400,
         "expected an array of 3 numbers", "u_tintColor"},
        {"int written as a fraction", "/api/render", render(look("kestrel_Mtl_Metal", {{"u_cutoutsSwitcher", 1.5}})), 400,
         "expected a whole number", "u_cutoutsSwitcher"},
        {"beyond the float range", "/api/render", render(look("kestrel_Mtl_Metal", {{"u_roughValue", 1e39}})), 400,
         "finite", "u_roughValue"},
        {"outside the hard range", "/api/render", render(look("kestrel_Mtl_Mirror", {{"u_tintColor", {-1, 0, 0}}})), 400,
         "outside [0, inf]", "u_tintColor"},
        {"texture by path", "/api/render", render(look("kestrel_Mtl_Metal", {{"u_cutoutMap", "/etc/passwd"}})), 400,
         "not one of the gallery images", "u_cutoutMap"},
        {"texture climbing out", "/api/render", render(look("kestrel_Mtl_Metal", {{"u_cutoutMap", "../stage.json"}})),
         400, "not one of the gallery images", "u_cutoutMap"},
        {"stage out of bounds", "/api/render", R"({"class": "kestrel_Mtl_Solid", "stage": {"samples": 0}})", 400,
         "from 1 to 1024", "stage.samples"},
        {"unknown stage setting", "/api/render", R"({"class": "kestrel_Mtl_Solid", "stage": {"smaples": 4}})", 400,
         "did you mean 'samples'", "stage.smaples"},
        {"import of a foreign path", "/api/import",
         R"({"objects": [{"shape": "sphere", "material": {"class": "kestrel_Mtl_Metal",
             "parameters": {"u_cutoutMap": "/home/someone/secret.png"}}}]})", 400, "not one of the gallery images",
         "u_cutoutMap"},
        {"import of a studio scene", "/api/import",
         R"({"render": {"resolution": [32, 32], "spp": 3}, "objects": [{"shape": "sphere", "material":
             {"class": "kestrel_Mtl_Metal", "parameters": {"u_cutoutMap": "/x/assets/perforation.png"}}}]})", 200,
         R"("u_cutoutMap":"perforation.png")", ""},
    };
    httplib::Client c = client();
    for (const Exchange& e : cases) {
        SCOPED_TRACE(e.what);
        auto result = e.body.empty() ? c.Get(e.path) : c.Post(e.path, e.body, "application/json");
        ASSERT_TRUE(result) << httplib::to_string(result.error());
        EXPECT_EQ(result->status, e.status) << result->body.substr(0, 300);
        EXPECT_NE(result->body.find(e.fragment), std::string::npos) << result->body.substr(0, 300);
        if (e.status >= 400) {
            json error = json::parse(result->body);
            EXPECT_EQ(error.value("parameter", ""), e.parameter);
        }
    }
}

// A newer request of the same tab stops the one in flight; one older than the newest started
// is refused without rendering; another tab is not affected.
TEST_F(Studio, NewerRequestOfTheSameClientCancelsTheOneInFlight) {
    json slow = look("kestrel_Mtl_Metal", json::object(), 256);
    slow["stage"]["samples"] = 1024;
    slow["client"] = "tab-1";
    slow["request"] = 1;
    const auto start = std::chrono::steady_clock::now();
    auto inFlight = std::async(std::launch::async, [&] { return client().Post("/api/render", slow.dump(), "application/json"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    json fast = look("kestrel_Mtl_Metal");
    fast["client"] = "tab-1";
    fast["request"] = 3;
    auto other = std::async(std::launch::async, [&] {
        json elsewhere = fast;
        elsewhere["client"] = "tab-2";
        elsewhere["request"] = 0;
        return client().Post("/api/render", elsewhere.dump(), "application/json");
    });
    auto newer = client().Post("/api/render", fast.dump(), "application/json");
    auto cancelled = inFlight.get();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ASSERT_TRUE(cancelled && newer);
    EXPECT_EQ(cancelled->status, 409) << cancelled->body;
    EXPECT_LT(seconds, 20.0);  // 256x256 at 1024 spp would take minutes
    EXPECT_EQ(newer->status, 200) << newer->body;
    EXPECT_EQ(newer->get_header_value("X-Request"), "3");
    auto stale = fast;
    stale["request"] = 2;
    auto refused = client().Post("/api/render", stale.dump(), "application/json");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->status, 409);
    auto otherTab = other.get();
    ASSERT_TRUE(otherTab);
    EXPECT_EQ(otherTab->status, 200);
    EXPECT_EQ(otherTab->body, newer->body);
}

// Several tabs at once each get their own look, and each frame is the one kestrel-render makes
// of the exported scene.
TEST_F(Studio, ConcurrentClientsGetTheImagesTheirExportsRenderTo) {
    const std::vector<json> looks = {
        look("kestrel_Mtl_Mirror", {{"u_tintColor", {0.9, 0.5, 0.2}}}, 24),
        look("kestrel_Mtl_Metal", {{"u_cutoutMap", "perforation.png"}, {"u_cutoutsSwitcher", 7}}, 24),
        look("kestrel_Mtl_Ward_5ba0bfff", json::object(), 24),
        look("MarigoldLegacy", {{"diffuseTexture", "checker.png"}, {"diffuseMode", 1}}, 24),
    };
    std::vector<std::future<httplib::Result>> frames;
    for (std::size_t i = 0; i < looks.size(); ++i) {
        json body = looks[i];
        body["client"] = "concurrent-" + std::to_string(i);
        frames.push_back(std::async(std::launch::async, [body] { return client().Post("/api/render", body.dump(), "application/json"); }));
    }
    const fs::path directory = fs::temp_directory_path() / ("studio-export-" + std::to_string(::getpid()));
    fs::create_directories(directory);
    for (std::size_t i = 0; i < looks.size(); ++i) {
        SCOPED_TRACE(looks[i]["class"].get<std::string>());
        auto frame = frames[i].get();
        auto scene = client().Post("/api/scene", looks[i].dump(), "application/json");
        ASSERT_TRUE(frame && scene);
        ASSERT_EQ(frame->status, 200) << frame->body;
        const fs::path scenePath = directory / "look.json", imagePath = directory / "look.png";
        std::ofstream(scenePath) << scene->body;
        const std::string command = std::string(KESTREL_RENDER_PATH) + " --quiet --library '" + libraryPath() + "' '" +
                                    scenePath.string() + "' -o '" + imagePath.string() + "' 2>&1";
        ASSERT_EQ(std::system(command.c_str()), 0);
        // The same pixels: the files' metadata name their own producer.
        const fs::path framePath = directory / "frame.png";
        std::ofstream(framePath, std::ios::binary) << frame->body;
        const std::string compare = "idiff -fail 0 -warn 0 '" + imagePath.string() + "' '" + framePath.string() + "' > /dev/null";
        EXPECT_EQ(std::system(compare.c_str()), 0) << "the export renders to another image";
    }
    fs::remove_all(directory);
}

}  // namespace
}  // namespace kestrel::testing
