// kestrel-render run as a user runs it: exit status, messages, and no output after a fault.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sys/wait.h>

#include <OpenImageIO/imageio.h>

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
    // The settings travel with the image.
    auto input = OIIO::ImageInput::open(directory.file("out.exr"));
    ASSERT_TRUE(input);
    EXPECT_EQ(input->spec().get_string_attribute("kestrel:spp"), "2");
    EXPECT_EQ(input->spec().get_string_attribute("kestrel:mode"), "shade");
    EXPECT_EQ(input->spec().get_string_attribute("kestrel:library"), libraryPath());
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

std::string replaced(std::string text, const std::string& key, const std::string& value) {
    for (std::size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + value.size())) {
        text.replace(at, key.size(), value);
    }
    return text;
}

std::set<std::string> filesUnder(const std::filesystem::path& directory) {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) files.insert(entry.path().string());
    return files;
}

// Every bad input stops the program before it renders: one line "kestrel-render: ...", the
// status (1 a file the user named is unusable, 2 the command line is wrong), no file written
// and an existing output left as it was.
TEST(Program, BadInputStopsBeforeAnyOutput) {
    TemporaryDirectory directory;
    const std::string tiny = kTinyScene;
    directory.write("scene.json", tiny);
    directory.write("dup.json", replaced(tiny, R"("spp": 1)", R"("spp": 1, "spp": 2)"));
    directory.write("overflow.json", replaced(tiny, R"("spp": 1)", R"("spp": 1e999)"));
    directory.write("nan.obj", "v 0 0 0\nv 1 0 1e39\nv 0 1 0\nf 1 2 3\n");
    directory.write("mesh.json", replaced(tiny, R"("shape": "box")", R"("mesh": "nan.obj")"));
    writeConstantImage(directory.file("truncated.png"), 64, 64, 3, 0.5f, Depth::Byte);
    std::filesystem::resize_file(directory.file("truncated.png"), std::filesystem::file_size(directory.file("truncated.png")) / 2);
    directory.write("texture.json", replaced(tiny, R"({"class": "kestrel_Mtl_Solid"})",
                                             R"({"class": "kestrel_Mtl_Metal", "parameters": {"u_cutoutMap": "truncated.png"}})"));
    writeConstantImage(directory.file("big.png"), 4097, 4096, 1, 0.0f, Depth::Byte);
    directory.write("big.json", replaced(tiny, R"({"class": "kestrel_Mtl_Solid"})",
                                         R"({"class": "kestrel_Mtl_Ward", "parameters": {"u_globalClippingMap": "big.png"}})"));
    std::filesystem::create_directory(directory.path() / "folder.png");
    directory.write("keep.png", "the previous image");
    struct Case {
        const char* arguments;
        int status;
        const char* message;
    } const cases[] = {
        {"{dir}/scene.json -o {keep} --resolution 0x5", 2, "--resolution '0x5' is not WIDTHxHEIGHT"},
        {"{dir}/scene.json -o {keep} --spp many", 2, "--spp"},
        {"{dir}/scene.json -o {keep} --seed 3000000000", 2, "--seed"},
        {"{dir}/scene.json", 2, "give an output image with -o"},
        {"--gallery --class XRite {dir}/scene.json -o {keep}", 2, "give either a scene file or --gallery"},
        {"{dir}/scene.json -o {dir}/out.tiff", 2, "the extension must be .png or .exr"},
        {"{dir}/scene.json -o {dir}/folder.png", 1, "folder.png: is a directory, not an image file"},
        {"{dir}/scene.json -o /proc/out.png", 1, "/proc/out.png: cannot create files in '/proc'"},
        {"{dir} -o {keep}", 1, ": is a directory, not a scene file"},
        {"/dev/null -o {keep}", 1, "/dev/null: is not a regular file"},
        {"{dir}/dup.json -o {keep}", 1, "dup.json: render.spp: key 'spp' is given twice"},
        {"{dir}/overflow.json -o {keep}", 1, "overflow.json: not valid JSON: number overflow parsing '1e999'"},
        {"{dir}/mesh.json -o {keep}", 1, "objects[0].mesh: cannot read mesh"},
        {"{dir}/texture.json -o {keep}", 1, "u_cutoutMap: cannot read image"},
        {"{dir}/big.json -o {keep}", 1, "a data texture holds at most 16777216"},
        {"--gallery --gallery-dir {dir}/missing -o {keep}", 1, "stage.json: scene file does not exist"},
    };
    const std::set<std::string> before = filesUnder(directory.path());
    for (const Case& c : cases) {
        std::string arguments = replaced(replaced(c.arguments, "{keep}", directory.file("keep.png")), "{dir}", directory.path().string());
        ProgramRun run = runRenderer(arguments);
        EXPECT_EQ(run.status, c.status) << arguments << "\n" << run.output;
        EXPECT_EQ(run.output.rfind("kestrel-render: ", 0), 0u) << run.output;
        EXPECT_NE(run.output.find(c.message), std::string::npos) << arguments << "\n" << run.output;
        EXPECT_EQ(run.output.find('\n'), run.output.size() - 1) << run.output;
        EXPECT_EQ(filesUnder(directory.path()), before) << arguments;
    }
    std::ifstream kept(directory.file("keep.png"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "the previous image");
    EXPECT_EQ(runRenderer("--version").output.rfind("kestrel-render " KESTREL_VERSION, 0), 0u);
}

// An interrupt stops the render (sent until it takes effect: a background job starts with
// SIGINT ignored and the handler is set only once the program runs): one line, status 128 + signal, no temporary file left and the
// previous output untouched. The render is sized to take minutes on any machine, so the signal always lands mid-render.
// Waits until the background job has its SIGINT and SIGTERM handlers (bits 2 and 15 of the
// caught-signal mask), so that a slow start (a sanitizer build, a busy machine) cannot meet the
// default action of SIGTERM, then a little longer, so that the render is under way.
const char* const kWaitForHandlers =
    "while [ $(( 0x$(awk '/^SigCgt/ {print $2}' /proc/$!/status) & 0x4002 )) -ne 16386 ]; do sleep 0.1; done; sleep 0.5; ";

TEST(Program, InterruptStopsCleanly) {
    TemporaryDirectory directory;
    std::string scene = directory.write(
        "scene.json", replaced(kTinyScene, R"("resolution": [8, 6], "spp": 1)", R"("resolution": [512, 384], "spp": 4096)"));
    directory.write("out.png", "the previous image");
    for (const char* signal : {"INT", "TERM"}) {
        std::string command = std::string(KESTREL_RENDER_PATH) + " --library '" + libraryPath() + "' --quiet '" + scene +
                              "' -o '" + directory.file("out.png") + "' 2>'" + directory.file("err.txt") +
                              "' & " + kWaitForHandlers + "while kill -" + signal + " $! 2>/dev/null; do sleep 0.5; done; wait $!; echo $?";
        FILE* pipe = popen(command.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        std::array<char, 64> status{};
        ASSERT_NE(std::fgets(status.data(), status.size(), pipe), nullptr);
        pclose(pipe);
        EXPECT_EQ(std::atoi(status.data()), std::string(signal) == "INT" ? 130 : 143);
        std::ifstream err(directory.file("err.txt"));
        std::string message(std::istreambuf_iterator<char>(err), {});
        EXPECT_EQ(message, std::string("kestrel-render: the render was interrupted (SIG") + signal + "); nothing was written\n");
        std::filesystem::remove(directory.file("err.txt"));
        EXPECT_EQ(filesUnder(directory.path()), (std::set<std::string>{scene, directory.file("out.png")}));
    }
    std::ifstream kept(directory.file("out.png"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "the previous image");
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
