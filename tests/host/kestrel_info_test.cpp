// kestrel-info run as a user runs it: the catalogue, one class's parameters with defaults, the
// JSON form, and the errors (status, message on stderr, nothing on stdout).
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "test_library.h"

namespace {

using kestrel::testing::library;

struct ToolRun {
    int status;
    std::string out, err;
};

// Runs kestrel-info with the arguments (already quoted for the shell).
ToolRun kestrelInfo(const std::string& arguments) {
    static int counter = 0;
    const std::filesystem::path errFile = std::filesystem::temp_directory_path() /
                                          ("kestrel-info-" + std::to_string(getpid()) + "-" +
                                           std::to_string(counter++) + ".err");
    const std::string command = std::string("'") + KESTREL_INFO_PATH + "' " + arguments + " 2>'" +
                                errFile.string() + "'";
    ToolRun run{-1, "", ""};
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    char buffer[4096];
    std::size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) run.out.append(buffer, n);
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream err(errFile);
    run.err.assign(std::istreambuf_iterator<char>(err), std::istreambuf_iterator<char>());
    std::filesystem::remove(errFile);
    return run;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) result.push_back(line);
    return result;
}

TEST(KestrelInfo, ListsEveryClassOfTheLibraryBesideItSortedByName) {
    ToolRun run = kestrelInfo("");  // the default library: ../lib beside the tool
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    std::vector<std::string> sorted = library().classNames();
    std::sort(sorted.begin(), sorted.end());
    std::vector<std::string> listed;
    for (const std::string& line : lines(run.out)) {
        for (const std::string& name : sorted) {
            if (line.rfind(name + " ", 0) == 0) listed.push_back(name);
        }
    }
    EXPECT_EQ(listed, sorted) << run.out;

    ToolRun json = kestrelInfo("--json");
    ASSERT_EQ(json.status, 0) << json.err;
    auto parsed = nlohmann::json::parse(json.out);
    std::vector<std::string> names;
    for (const auto& entry : parsed.at("classes")) names.push_back(entry.at("name"));
    EXPECT_EQ(names, sorted);
}

TEST(KestrelInfo, DescribesParametersInOrderWithDefaults) {
    ToolRun run = kestrelInfo("--library '" + kestrel::testing::libraryPath() + "' kestrel_Env_Default");
    ASSERT_EQ(run.status, 0) << run.err;
    // Each parameter line: index, name, type, default.
    struct Expected {
        const char* name;
        const char* type;
        const char* value;
    } const expected[] = {
        {"IBLLuminanceFactors", "float3", "(0.2125, 0.7154, 0.0721)"},
        {"globalIBLMatrix", "matrix3", nullptr},
        {"reflectIBLContrast", "float2", "(0.5, 1)"},
        {"reflectIBLGainMode", "int", "0"},
        {"reflectIBLGain", "float3", "(1, 1, 1)"},
        {"reflectIBLSaturation", "float", "1"},
        {"backgroundColor", "float3", "(0, 0.5, 0.7)"},
        {"reflectionLatlong", "texture", "unset"},
        {"u_hasLightRepresentation", "bool", "false"},
        {"useBackgroundGeometry", "bool", "false"},
    };
    std::vector<std::string> parameterLines;
    for (const std::string& line : lines(run.out)) {
        std::istringstream words(line);
        int index = 0;
        if (words >> index && index == static_cast<int>(parameterLines.size()) + 1) parameterLines.push_back(line);
    }
    ASSERT_EQ(parameterLines.size(), std::size(expected)) << run.out;
    for (std::size_t i = 0; i < parameterLines.size(); ++i) {
        std::istringstream words(parameterLines[i]);
        std::string index, name, type;
        words >> index >> name >> type;
        std::string value;
        std::getline(words >> std::ws, value);
        EXPECT_EQ(name, expected[i].name);
        EXPECT_EQ(type, expected[i].type);
        if (expected[i].value) {
            EXPECT_EQ(value, expected[i].value) << name;
        }
    }
    EXPECT_NE(run.out.find("environment"), std::string::npos);
    EXPECT_NE(run.out.find("2724"), std::string::npos);
}

// One document shape whether one class or several are asked for (the schema test checks it).
TEST(KestrelInfo, JsonMatchesTheDeclarationsInOneShape) {
    const auto both = nlohmann::json::parse(kestrelInfo("--json znSpotLight kestrel_Env_Backplate").out);
    ASSERT_EQ(both.at("classes").size(), 2u);
    for (const char* name : {"znSpotLight", "kestrel_Env_Backplate"}) {
        SCOPED_TRACE(name);
        ToolRun run = kestrelInfo(std::string("--json ") + name);
        ASSERT_EQ(run.status, 0) << run.err;
        auto document = nlohmann::json::parse(run.out);
        EXPECT_EQ(document.at("apiVersion"), 2724);
        ASSERT_EQ(document.at("classes").size(), 1u);
        const auto& parsed = document.at("classes")[0];
        kestrel::ShaderInstance shader = kestrel::testing::createShader(name);
        EXPECT_EQ(parsed.at("name"), name);
        EXPECT_EQ(parsed.at("capabilities").at("mask"), shader.declaration().capabilities);
        const auto& parameters = parsed.at("parameters");
        ASSERT_EQ(parameters.size(), shader.declaration().parameters.size());
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            const auto& p = shader.declaration().parameters[i];
            EXPECT_EQ(parameters[i].at("name"), p.name);
            EXPECT_EQ(parameters[i].at("type"), kestrel::typeName(p.type));
        }
    }
    auto spot = nlohmann::json::parse(kestrelInfo("--json znSpotLight").out).at("classes")[0];
    EXPECT_EQ(spot.at("kind"), "light");
    EXPECT_EQ(spot.at("parameters")[0].at("default").dump(), "[0.1,1.0,0.5]") << "shortest decimals";
    EXPECT_EQ(spot.at("parameters")[3].at("default"), true);
    auto plate = nlohmann::json::parse(kestrelInfo("--json kestrel_Env_Backplate").out).at("classes")[0];
    EXPECT_TRUE(plate.at("parameters")[4].at("default").is_null()) << "an unset texture";
    EXPECT_EQ(plate.at("varyings").size(), 0u);
}

// The text explains: what to set, groups, meanings and mode labels, wrapped to the width asked for.
TEST(KestrelInfo, ExplainsEachParameterWrappedToTheWidth) {
    ToolRun run = kestrelInfo("--width 60 kestrel_Mtl_Solid kestrel_Mtl_Ward_f05db29e");
    ASSERT_EQ(run.status, 0) << run.err;
    for (const char* text : {"To see anything:", "\n  preview\n", "patchState", "2 light grey",
                             "Graph:\n  normal0_map <- UnifiedBitmap", "brickColor <- UnifiedBitmap"}) {
        EXPECT_NE(run.out.find(text), std::string::npos) << text << " missing from\n" << run.out;
    }
    for (const std::string& line : lines(run.out)) {
        if (line.rfind("       ", 0) == 0) {
            EXPECT_LE(line.size(), 60u) << line;
        }
    }
}

TEST(KestrelInfo, ErrorsGoToStderrWithNothingOnStdout) {
    struct Case {
        const char* arguments;
        int status;
        std::string message;
    } const cases[] = {
        {"znPointLite", 2, "did you mean 'znPointLight'"},
        {"znPointLight znPointLite", 2, "unknown shader class 'znPointLite'"},
        {"--json znPointLight Teapot", 2, "unknown shader class 'Teapot'"},
        {"--library /nonexistent", 1, "'/nonexistent' does not exist"},
        {"--library /nonexistent znPointLight", 1, "'/nonexistent' does not exist"},
        {"--library /lib/x86_64-linux-gnu/libm.so.6", 1, "libm.so.6: exports no shader class"},
        {"--jsn", 2, "--jsn"},
        {"--library '" KESTREL_FAKE_LIBRARY_PATH "' znFutureLight", 2, "API version 2725"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.arguments);
        ToolRun run = kestrelInfo(c.arguments);
        EXPECT_EQ(run.status, c.status);
        EXPECT_EQ(run.out, "");
        EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
        EXPECT_EQ(run.err.rfind("kestrel-info: ", 0), 0u) << run.err;
    }
}

}  // namespace
