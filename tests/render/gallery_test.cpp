// The gallery's previews: a class with no preview file stands alone on the stage at its
// defaults; a preview file replaces the ball's shape and parameters and may add objects.
#include <gtest/gtest.h>

#include "gallery.h"
#include "render_fixture.h"
#include "test_library.h"

namespace {

using kestrel::testing::TemporaryDirectory;
using nlohmann::json;

const kestrel::gallery::Preview& previewOf(const std::vector<kestrel::gallery::Preview>& all, const std::string& name) {
    for (const auto& p : all) {
        if (p.className == name) return p;
    }
    throw std::runtime_error("no preview of " + name);
}

TEST(Gallery, PreviewFilesShapeTheBallAndMayAddObjects) {
    TemporaryDirectory directory;
    directory.write("stage.json", R"({"objects": [{"shape": "plane", "material": {"class": "kestrel_Mtl_Solid"}}]})");
    std::filesystem::create_directory(directory.path() / "previews");
    directory.write("previews/kestrel_Mtl_Unlit.json",
                    R"({"shape": "sphere", "parameters": {"color": [1, 0, 0]},
                        "objects": [{"shape": "box", "material": {"class": "kestrel_Mtl_Solid"}}]})");
    const auto all = kestrel::gallery::previews(kestrel::testing::library(), directory.path().string());

    const json& plain = previewOf(all, "kestrel_Mtl_Solid").scene["objects"];
    ASSERT_EQ(plain.size(), 2u);
    EXPECT_EQ(plain[1]["shape"], "materialBall");
    EXPECT_FALSE(plain[1]["material"].contains("parameters"));

    const json& shaped = previewOf(all, "kestrel_Mtl_Unlit").scene["objects"];
    ASSERT_EQ(shaped.size(), 3u);
    EXPECT_EQ(shaped[1]["shape"], "sphere");
    EXPECT_EQ(shaped[1]["material"]["parameters"]["color"], json::parse("[1, 0, 0]"));
    EXPECT_EQ(shaped[2]["shape"], "box");
    for (const auto& p : all) EXPECT_NE(p.className, "znPointLight") << "lights get no preview";
}

TEST(Gallery, PreviewWithObjectsThatAreNotAListIsRefused) {
    TemporaryDirectory directory;
    directory.write("stage.json", "{}");
    std::filesystem::create_directory(directory.path() / "previews");
    directory.write("previews/kestrel_Mtl_Unlit.json", R"({"objects": {"shape": "box"}})");
    try {
        kestrel::gallery::previews(kestrel::testing::library(), directory.path().string());
        FAIL() << "accepted";
    } catch (const kestrel::render::SceneError& error) {
        EXPECT_NE(std::string(error.what()).find("kestrel_Mtl_Unlit.json: objects: expected an array"), std::string::npos)
            << error.what();
    }
}

}  // namespace
