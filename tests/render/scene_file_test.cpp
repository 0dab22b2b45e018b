// Every fault in a scene file is one SceneError naming the file, the place in it and what was
// expected.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "render_fixture.h"

namespace kestrel::testing {
namespace {

using nlohmann::json;

// A valid scene with one object; cases replace a part of it.
json baseScene() {
    return json::parse(R"({
      "camera": {"position": [0, -4, 1], "lookAt": [0, 0, 0]},
      "lights": [{"class": "znPointLight", "position": [0, 0, 5]}],
      "objects": [{"shape": "sphere", "material": {"class": "kestrel_Mtl_Solid"}}]
    })");
}

std::string errorOf(const json& document, const std::string& base = "") {
    try {
        loadScene(document, base, "scene.json");
    } catch (const render::SceneError& error) {
        return error.what();
    }
    return "";
}

struct ErrorCase {
    const char* name;
    const char* pointer;  // JSON pointer of the replaced value
    const char* replacement;
    std::vector<std::string> expected;  // substrings of the message
};

// Test names already say which case failed; print the case by its name, not as raw bytes.
void PrintTo(const ErrorCase& c, std::ostream* out) { *out << c.name; }

class SceneFileErrors : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(SceneFileErrors, NameThePlaceAndWhatWasExpected) {
    const ErrorCase& c = GetParam();
    json document = baseScene();
    document[json::json_pointer(c.pointer)] = json::parse(c.replacement);
    std::string message = errorOf(document);
    ASSERT_FALSE(message.empty()) << "no error";
    EXPECT_EQ(message.rfind("scene.json: ", 0), 0u) << message;
    for (const std::string& part : c.expected) EXPECT_NE(message.find(part), std::string::npos) << message;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SceneFileErrors,
    ::testing::Values(
        ErrorCase{"UnknownClass", "/objects/0/material/class", R"("kestrel_Mtl_Sold")",
                  {"objects[0].material.class", "unknown shader class 'kestrel_Mtl_Sold'", "kestrel_Mtl_Solid"}},
        ErrorCase{"ClassOfAnotherKind", "/objects/0/material/class", R"("znPointLight")",
                  {"objects[0].material.class", "znPointLight is a light, not a material"}},
        ErrorCase{"UnknownParameter", "/objects/0/material/parameters", R"({"patchStat": 1})",
                  {"objects[0].material.parameters.patchStat", "has no parameter 'patchStat'", "did you mean 'patchState'",
                   "(kestrel-info kestrel_Mtl_Solid lists them)"}},
        ErrorCase{"WrongType", "/objects/0/material/parameters", R"({"patchState": 1.5})",
                  {"objects[0].material.parameters.patchState", "expected a whole number", "as int"}},
        ErrorCase{"WrongArity", "/lights/0/parameters", R"({"color": [1, 2]})",
                  {"lights[0].parameters.color", "expected an array of 3 numbers, found an array of 2", "as float3"}},
        ErrorCase{"BoolAsNumber", "/lights/0/parameters", R"({"castShadows": 1})",
                  {"lights[0].parameters.castShadows", "expected true or false"}},
        ErrorCase{"UnknownShape", "/objects/0/shape", R"("sphre")", {"objects[0].shape", "did you mean 'sphere'"}},
        ErrorCase{"UnknownKey", "/objects/0/matrx", R"([1])", {"objects[0].matrx", "unknown key", "'matrix'"}},
        ErrorCase{"BadMatrix", "/objects/0/matrix", R"([1, 0, 0])", {"objects[0].matrix", "4x4 matrix"}},
        ErrorCase{"SingularMatrix", "/objects/0/matrix", R"([0,0,0,0, 0,0,0,0, 0,0,0,0, 0,0,0,1])",
                  {"objects[0].matrix", "singular"}},
        ErrorCase{"MissingMaterial", "/objects/0", R"({"shape": "box"})", {"objects[0]", "missing 'material'"}},
        ErrorCase{"MissingMesh", "/objects/0", R"({"mesh": "nowhere.obj", "material": {"class": "kestrel_Mtl_Solid"}})",
                  {"objects[0].mesh", "nowhere.obj' does not exist"}},
        ErrorCase{"MissingTexture", "/environment",
                  R"({"class": "kestrel_Env_Default", "parameters": {"reflectionLatlong": "sky.exr"}})",
                  {"environment.parameters.reflectionLatlong", "sky.exr' does not exist"}},
        ErrorCase{"TextureForNumber", "/environment",
                  R"({"class": "kestrel_Env_Default", "parameters": {"reflectionLatlong": 3}})",
                  {"environment.parameters.reflectionLatlong", "expected an image file path"}},
        ErrorCase{"UnknownMode", "/render", R"({"mode": "paht"})", {"render.mode", "did you mean 'path'"}},
        ErrorCase{"CameraWithoutDirection", "/camera", R"({"position": [0, 0, 0], "lookAt": [0, 0, 0]})",
                  {"camera.lookAt", "looks at its own position"}}),
    [](const ::testing::TestParamInfo<ErrorCase>& info) { return info.param.name; });

TEST(SceneFile, JsonFaultsNameTheirPlaceInPlainWords) {
    const std::pair<const char*, const char*> cases[] = {
        {"{\n  \"camera\": {\n    \"fov\": 40,,\n  }\n}\n",
         "broken.json: line 3, column 15: not valid JSON in an object key: unexpected ','"},
        {"{\"camera\": {\"fov\": 30, \"fov\": 40}}", "broken.json: camera.fov: key 'fov' is given twice"},
        {"{\"camera\": {\"fov\": 1e999}}", "broken.json: not valid JSON: number overflow parsing '1e999'"},
    };
    for (const auto& [text, expected] : cases) {
        try {
            render::parseSceneText(text, "broken.json");
            ADD_FAILURE() << "no error for " << text;
        } catch (const render::SceneError& error) {
            EXPECT_EQ(std::string(error.what()).rfind(expected, 0), 0u) << error.what();
        }
    }
}

TEST(SceneFile, UnreadableImageAndBrokenMesh) {
    TemporaryDirectory directory;
    directory.write("fake.png", "this is not an image");
    directory.write("broken.obj", "v 0 0 0\nv 1 0 0\nf 1 2 7\n");
    json document = baseScene();
    document["environment"] = json::parse(R"({"class": "kestrel_Env_Default", "parameters": {"reflectionLatlong": "fake.png"}})");
    std::string message = errorOf(document, directory.path().string());
    EXPECT_NE(message.find("environment.parameters.reflectionLatlong: cannot read image"), std::string::npos) << message;

    document = baseScene();
    document["objects"][0] = json::parse(R"({"mesh": "broken.obj", "material": {"class": "kestrel_Mtl_Solid"}})");
    message = errorOf(document, directory.path().string());
    EXPECT_NE(message.find("objects[0].mesh: cannot read mesh"), std::string::npos) << message;
}

TEST(SceneFile, ObjMeshWithoutNormalsKeepsEdgesSharperThanTheCreaseAngle) {
    // A tent of two faces meeting at a right angle along a ridge. Below the crease angle the
    // shared corners are one vertex each with the mean of the face normals (straight up);
    // at the default 30 degrees the ridge stays sharp and each face keeps its own normal.
    TemporaryDirectory directory;
    directory.write("tent.obj", "v -1 0 0\nv 0 -1 1\nv 0 1 1\nv 1 0 0\nf 1 2 3\nf 3 2 4\n");
    struct Case {
        json object;
        std::size_t vertices;
        glm::vec3 ridge;
    };
    const float h = std::sqrt(0.5f);
    const Case cases[] = {
        {json::parse(R"({"mesh": "tent.obj", "creaseAngle": 100})"), 4, glm::vec3(0, 0, 1)},
        {json::parse(R"({"mesh": "tent.obj"})"), 6, glm::vec3(-h, 0, h)},
    };
    for (const Case& c : cases) {
        json document = baseScene();
        document["objects"][0] = c.object;
        document["objects"][0]["material"] = {{"class", "kestrel_Mtl_Solid"}};
        auto loaded = loadScene(document, directory.path().string());
        const render::Mesh& mesh = *loaded->scene.objects[0].mesh;
        EXPECT_EQ(mesh.positions.size(), c.vertices) << c.object;
        const glm::vec3 ridge = mesh.normals[mesh.indices[1]];
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(std::fabs(ridge[k]), std::fabs(c.ridge[k]), 1e-6f) << c.object;
    }
}

TEST(SceneFile, ObjMeshAndTexturesLoadWithRelativePaths) {
    TemporaryDirectory directory;
    directory.write("quad.obj", "v -1 -1 0\nv 1 -1 0\nv 1 1 0\nv -1 1 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nf 1/1 2/2 3/3 4/4\n");
    writeConstantImage(directory.file("grey.exr"), 4, 2, 3, 0.25f);
    json document = baseScene();
    document["objects"][0] = json::parse(R"({"mesh": "quad.obj", "material": {"class": "kestrel_Mtl_Solid"}})");
    document["environment"] = json::parse(R"({"class": "kestrel_Env_Default", "parameters": {"reflectionLatlong": "grey.exr"}})");
    auto loaded = loadScene(document, directory.path().string());
    ASSERT_EQ(loaded->scene.objects.size(), 1u);
    EXPECT_EQ(loaded->scene.objects[0].mesh->triangleCount(), 2u);
    // The quad gets smooth normals and tangents along +u from its uv.
    EXPECT_EQ(loaded->scene.objects[0].mesh->normals[0], glm::vec3(0, 0, 1));
    EXPECT_EQ(loaded->scene.objects[0].mesh->tangents[0], glm::vec3(1, 0, 0));
    ksi::TextureHandle handle = std::get<ksi::TextureHandle>(loaded->scene.environment->get("reflectionLatlong"));
    ASSERT_NE(handle.object, nullptr);
    ksi::Float4 texel(0.0f, 0.0f, 0.0f, 1.0f);
    ksi::Float2 uv(0.3f, 0.6f);
    static_cast<ksi::ImageTexture*>(handle.object)->lookup(&texel, &uv);
    EXPECT_FLOAT_EQ(texel.x, 0.25f);
    EXPECT_EQ(texel.w, 1.0f);  // a file without alpha leaves the caller's alpha
}

TEST(SceneFile, MatricesTheClassLeavesUnsetBecomeIdentity) {
    json document = baseScene();
    document["environment"] = json::parse(R"({"class": "kestrel_Env_Backplate"})");
    auto loaded = loadScene(document);
    ksi::Float4x4 m = std::get<ksi::Float4x4>(loaded->scene.environment->get("backplatetransform"));
    for (int i = 0; i < 16; ++i) EXPECT_EQ(m.m[i], i % 5 == 0 ? 1.0f : 0.0f);
}

TEST(SceneFile, InlineDataTextureIsFetchedTexelByTexel) {
    render::TextureSet textures;
    ksi::DataTexture* data = static_cast<ksi::DataTexture*>(
        textures.fromData({{ksi::Float4(2, 0, 0, 1), ksi::Float4(0, 0, 1, -3), ksi::Float4(5, 6, 7, 8)}}));
    ksi::Float4 texel(0.0f);
    data->fetch(&texel, 0.0f, 1.0f);
    EXPECT_EQ(texel.x, 2.0f);
    data->fetch(&texel, 0.5f, 1.0f);  // (1 + 0.5) / 3 -> the middle texel
    EXPECT_EQ(texel.w, -3.0f);
    data->fetch(&texel, 7.0f, -2.0f);  // clamped to the last texel
    EXPECT_EQ(texel.z, 7.0f);
}

}  // namespace
}  // namespace kestrel::testing
