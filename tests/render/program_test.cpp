// kestrel-render run as a user runs it: exit status, messages, and no output after a fault.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>

#include "render_fixture.h"
#include "test_library.h"

namespace kestrel::testing {
namespace {

struct ProgramRun {
    int status;
    std::string output;  // standard output and error
};

ProgramRun runRenderer(const std::string& arguments) {
    std::string command = std::string(KESTREL_RENDER_PATH) + " --library '" + libraryPath() + "' --quiet " + arguments + " 2>&1";
    ProgramRun run{-1, ""};
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    std::array<char, 4096> buffer;
    while (std::fgets(buffer.data(), buffer.size(), pipe)) run.output += buffer.data();
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

const char* kTinyScene = R"({
  "render": {"resolution": [8, 6], "spp": 1},
  "lights": [{"class": "znPointLight", "position": [0, -2, 3]}],
  "objects": [{"shape": "box", "material": {"class": "kestrel_Mtl_Solid"}}]
})";

TEST(Program, RendersASceneAndReportsFigures) {
    TemporaryDirectory directory;
    std::string scene = directory.write("scene.json", kTinyScene);
    ProgramRun run = runRenderer("'" + scene + "' -o '" + directory.file("out.exr") + "' --spp 2 --threads 1");
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(std::filesystem::is_regular_file(directory.file("out.exr")));
    EXPECT_NE(run.output.find("8x6, 2 spp, "), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("M camera samples/s"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("M rays/s"), std::string::npos) << run.output;
}

TEST(Program, SceneFaultGivesOneMessageAndNoOutput) {
    TemporaryDirectory directory;
    std::string text = kTinyScene;
    text.replace(text.find("kestrel_Mtl_Solid"), 17, "kestrel_Mtl_Slid");
    std::string scene = directory.write("scene.json", text);
    ProgramRun run = runRenderer("'" + scene + "' -o '" + directory.file("out.png") + "'");
    EXPECT_EQ(run.status, 1);
    // One line: the program, the file, the place, the fault and the close matches.
    EXPECT_EQ(run.output.rfind("kestrel-render: " + scene +
                                   ": objects[0].material.class: unknown shader class 'kestrel_Mtl_Slid' in '" +
                                   libraryPath() + "'; did you mean 'kestrel_Mtl_Solid'",
                               0),
              0u)
        << run.output;
    EXPECT_EQ(run.output.find('\n'), run.output.size() - 1) << run.output;
    EXPECT_FALSE(std::filesystem::exists(directory.file("out.png")));
}

TEST(Program, MissingLibraryIsReported) {
    TemporaryDirectory directory;
    std::string scene = directory.write("scene.json", kTinyScene);
    std::string command = std::string(KESTREL_RENDER_PATH) + " --library /nonexistent/libkestrel_shaders.so '" + scene +
                          "' -o '" + directory.file("out.png") + "' 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::array<char, 4096> buffer{};
    std::string output;
    while (std::fgets(buffer.data(), buffer.size(), pipe)) output += buffer.data();
    EXPECT_NE(pclose(pipe), 0);
    EXPECT_NE(output.find("shader library '/nonexistent/libkestrel_shaders.so' does not exist"), std::string::npos)
        << output;
    EXPECT_FALSE(std::filesystem::exists(directory.file("out.png")));
}

// The gallery renders every material class: those with a preview file with its parameters,
// the others with their defaults; nothing beyond the class itself is needed.
TEST(Program, GalleryCoversEveryMaterialClass) {
    TemporaryDirectory directory;
    std::filesystem::copy_file(std::string(KESTREL_GALLERY_SOURCE_DIR) + "/stage.json", directory.file("stage.json"));
    std::filesystem::create_directories(directory.path() / "previews");
    directory.write("previews/kestrel_Mtl_Solid.json", R"({"parameters": {"patchState": 2}})");
    ProgramRun run = runRenderer("--gallery --gallery-dir '" + directory.path().string() + "' --resolution 16x12 --spp 1 -o '" +
                          directory.file("sheet.png") + "'");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(std::filesystem::is_regular_file(directory.file("sheet.png")));
    int materials = 0;
    for (const std::string& name : library().classNames()) {
        if (createShader(name).kind() != ksi::kKindMaterial) continue;
        ++materials;
        EXPECT_TRUE(std::filesystem::is_regular_file(directory.path() / "sheet-previews" / (name + ".png"))) << name;
    }
    EXPECT_NE(run.output.find("gallery of " + std::to_string(materials) + " materials"), std::string::npos) << run.output;
}

TEST(Program, FaultyPreviewStopsTheGalleryBeforeAnyOutput) {
    TemporaryDirectory directory;
    std::filesystem::copy_file(std::string(KESTREL_GALLERY_SOURCE_DIR) + "/stage.json", directory.file("stage.json"));
    std::filesystem::create_directories(directory.path() / "previews");
    directory.write("previews/kestrel_Mtl_Unlit.json", R"({"parameters": {"diffuseColour": [1, 0, 0]}})");
    ProgramRun run = runRenderer("--gallery --gallery-dir '" + directory.path().string() + "' --resolution 8x6 --spp 1 -o '" +
                          directory.file("sheet.png") + "'");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find("kestrel_Mtl_Unlit.json: objects[1].material.parameters.diffuseColour: kestrel_Mtl_Unlit "
                              "has no parameter 'diffuseColour'; did you mean 'diffuseColor'?"),
              std::string::npos)
        << run.output;
    EXPECT_FALSE(std::filesystem::exists(directory.file("sheet.png")));
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "sheet-previews" / "kestrel_Mtl_Unlit.png"));
}

}  // namespace
}  // namespace kestrel::testing
