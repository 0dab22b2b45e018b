// The library's export table and what every exported class reports about itself, checked
// against the catalogue of classes the library may hold.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

#include "test_library.h"

namespace {

using kestrel::testing::createShader;
using kestrel::testing::library;

struct CatalogueEntry {
    int32_t kind;
    int32_t mask;
};

// Every class the library may export, with its kind and capability mask.
const std::map<std::string, CatalogueEntry>& catalogue() {
    static const std::map<std::string, CatalogueEntry> entries = {
        {"BackgroundGeometry", {0, 11}},        {"kestrel_Mtl_AmbientOnly", {0, 1}},
        {"kestrel_Mtl_NormalsOnly", {0, 1}},    {"kestrel_Mtl_Solid", {0, 1}},
        {"kestrel_Mtl_Unlit", {0, 3}},          {"kestrel_Mtl_ShadowPlane", {0, 11}},
        {"kestrel_Mtl_Mirror", {0, 13}},        {"kestrel_Mtl_Dielectric", {0, 15}},
        {"kestrel_Mtl_Glazing", {0, 15}},       {"kestrel_Mtl_MetallicPaint", {0, 13}},
        {"kestrel_Mtl_Metal", {0, 15}},         {"kestrel_Mtl_Ward", {0, 15}},
        {"kestrel_Mtl_Ward_5ba0bfff", {0, 15}}, {"kestrel_Mtl_Ward_120b7820", {0, 15}},
        {"kestrel_Mtl_Ward_5592d496", {0, 15}}, {"kestrel_Mtl_Ward_33632204", {0, 15}},
        {"kestrel_Mtl_Ward_82261344", {0, 15}}, {"kestrel_Mtl_Ward_aa598cb4", {0, 15}},
        {"kestrel_Mtl_Ward_b9aac246", {0, 15}}, {"kestrel_Mtl_Ward_ccb3a2e6", {0, 15}},
        {"kestrel_Mtl_Ward_f05db29e", {0, 15}}, {"MarigoldLegacy", {0, 15}},
        {"XRite", {0, 3}},                      {"znSpotLight", {1, 32}},
        {"znPointLight", {1, 32}},              {"kestrel_Env_Default", {2, 64}},
        {"kestrel_Env_Backplate", {2, 64}},
    };
    return entries;
}

// Lines a shell command prints, or the test fails.
std::vector<std::string> commandLines(const std::string& command) {
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::vector<std::string> lines;
    if (!pipe) {
        ADD_FAILURE() << "cannot run " << command;
        return lines;
    }
    char buffer[4096];
    while (fgets(buffer, sizeof buffer, pipe.get())) {
        std::string line(buffer);
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

TEST(Catalogue, ExportsExactlyTwoSymbolsPerClassAndNothingElse) {
    // Read independently of the host loader, with binutils.
    std::set<std::string> symbols;
    for (const std::string& line : commandLines("nm -D --defined-only '" + kestrel::testing::libraryPath() + "'")) {
        auto space = line.rfind(' ');
        std::string type = line.size() > 17 ? line.substr(17, 1) : "";
        if (type == "w" || type == "v") continue;  // weak references the toolchain may add
        symbols.insert(line.substr(space + 1));
    }
    std::set<std::string> classes;
    for (const std::string& symbol : symbols) {
        bool known = false;
        for (const auto& [name, entry] : catalogue()) {
            if (symbol == name + "_create" || symbol == name + "_getAPIVersion") {
                classes.insert(name);
                known = true;
            }
        }
        EXPECT_TRUE(known) << "unexpected exported symbol " << symbol;
    }
    EXPECT_EQ(symbols.size(), 2 * classes.size()) << "every class exports both functions";
    EXPECT_GE(classes.size(), 7u);
    // The loader lists classes in the order of their symbols, where "Ward_5ba0bfff_create" sorts
    // before "Ward_create"; compare as sets.
    std::vector<std::string> listed = library().classNames();
    EXPECT_EQ(classes, std::set<std::string>(listed.begin(), listed.end()));
    EXPECT_EQ(listed.size(), classes.size()) << "no class is listed twice";
}

TEST(Catalogue, DependsOnlyOnTheStandardLibraries) {
    std::set<std::string> allowed = {"libstdc++.so.6", "libm.so.6", "libc.so.6", "libgcc_s.so.1",
                                     "ld-linux-x86-64.so.2", "libasan.so.8", "libubsan.so.1", "libtsan.so.2"};
    for (const std::string& line : commandLines("readelf -d '" + kestrel::testing::libraryPath() + "'")) {
        auto open = line.find("Shared library: [");
        if (open == std::string::npos) continue;
        std::string needed = line.substr(open + 17, line.find(']', open) - open - 17);
        EXPECT_TRUE(allowed.count(needed)) << "unexpected dependency " << needed;
    }
}

TEST(Catalogue, EveryClassReportsVersionRevisionKindAndMask) {
    for (const std::string& name : library().classNames()) {
        SCOPED_TRACE(name);
        kestrel::ShaderClass shaderClass = library().findClass(name);
        EXPECT_EQ(shaderClass.apiVersion, 2724);
        kestrel::ShaderInstance shader(shaderClass);
        const CatalogueEntry& expected = catalogue().at(name);
        EXPECT_EQ(shader.object()->getRevision(), 1);
        EXPECT_EQ(shader.kind(), expected.kind);
        const kestrel::ShaderDeclaration& declaration = shader.declaration();
        EXPECT_TRUE(declaration.capabilitiesFirst);
        EXPECT_EQ(declaration.capabilityCalls, 1);
        EXPECT_EQ(declaration.capabilities, expected.mask);
        EXPECT_EQ(declaration.foreignCalls, 0) << "every declaration names the declaring object";
    }
}

TEST(Catalogue, DeclaringTwiceRepeatsTheSameDeclarations) {
    for (const std::string& name : library().classNames()) {
        SCOPED_TRACE(name);
        kestrel::ShaderInstance shader = createShader(name);
        kestrel::ShaderDeclaration again = kestrel::DeclarationRecorder::record(shader.object());
        ASSERT_EQ(again.parameters.size(), shader.declaration().parameters.size());
        for (std::size_t i = 0; i < again.parameters.size(); ++i) {
            EXPECT_EQ(again.parameters[i].name, shader.declaration().parameters[i].name);
            EXPECT_EQ(again.parameters[i].address, shader.declaration().parameters[i].address);
        }
        EXPECT_EQ(again.varyings.size(), shader.declaration().varyings.size());
    }
}

// A catalogue default as the float components it stands for; the shortest decimals in the file
// read back to the exact floats.
std::vector<float> floatsOf(const nlohmann::json& value) {
    std::vector<float> floats;
    if (value.is_array()) {
        for (const auto& item : value) {
            for (float f : floatsOf(item)) floats.push_back(f);
        }
    } else if (value.is_number()) {
        floats.push_back(static_cast<float>(value.get<double>()));
    }
    return floats;
}

bool sameDefault(const nlohmann::json& catalogued, const kestrel::ParameterDeclaration& p) {
    const kestrel::ParamValue actual = kestrel::readValue(p.type, p.address);
    if (kestrel::isTexture(p.type)) return catalogued.is_null() && !std::get<ksi::TextureHandle>(actual).object;
    if (p.type == kestrel::ParamType::Bool) return catalogued == std::get<bool>(actual);
    if (p.type == kestrel::ParamType::Int) return catalogued == std::get<int32_t>(actual);
    const std::vector<float> expected = floatsOf(catalogued);
    if (static_cast<int>(expected.size()) != kestrel::componentCount(p.type)) return false;
    return std::visit([&](const auto& v) { return std::memcmp(&v, expected.data(), sizeof(float) * expected.size()) == 0; },
                      actual);
}

// The catalogue hosts get with the SDK says what the library declares through the registry, and
// explains every parameter: a meaning, a kind and a group, and a label for every mode value.
TEST(Catalogue, InstalledCatalogueMatchesTheDeclarationsAndExplainsEveryParameter) {
    std::ifstream file(KESTREL_CATALOGUE_PATH);
    ASSERT_TRUE(file) << KESTREL_CATALOGUE_PATH;
    const nlohmann::json catalogue = nlohmann::json::parse(file);
    std::vector<std::string> names;
    for (const auto& c : catalogue.at("classes")) names.push_back(c.at("name"));
    std::vector<std::string> sorted = library().classNames();
    std::sort(sorted.begin(), sorted.end());
    ASSERT_EQ(names, sorted) << "every class, sorted by name";
    for (const auto& c : catalogue.at("classes")) {
        SCOPED_TRACE(c.at("name").get<std::string>());
        kestrel::ShaderInstance shader = createShader(c.at("name"));
        const auto& declared = shader.declaration().parameters;
        EXPECT_EQ(c.at("capabilities").at("mask"), shader.declaration().capabilities);
        EXPECT_FALSE(c.at("summary").get<std::string>().empty() || c.at("toSee").get<std::string>().empty());
        ASSERT_EQ(c.at("parameters").size(), declared.size());
        for (std::size_t i = 0; i < declared.size(); ++i) {
            const auto& p = c.at("parameters")[i];
            SCOPED_TRACE(declared[i].name);
            EXPECT_EQ(p.at("name"), declared[i].name);
            EXPECT_EQ(p.at("type"), kestrel::typeName(declared[i].type));
            EXPECT_TRUE(sameDefault(p.at("default"), declared[i])) << p.at("default");
            for (const char* field : {"meaning", "kind", "group"}) EXPECT_FALSE(p.at(field).get<std::string>().empty()) << field;
            if (p.at("kind") == "mode") {
                EXPECT_FALSE(p.at("labels").empty());
                for (const auto& label : p.at("labels")) EXPECT_FALSE(label.at("label").get<std::string>().empty());
            }
        }
    }
}

}  // namespace
