// The loader's answers to files and classes that are not what a host needs: each error is one
// sentence that names the file and what was wrong.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "plugin_library.h"
#include "test_library.h"

namespace {

using kestrel::LoadError;
using kestrel::PluginLibrary;

const std::string kFakeLibrary = KESTREL_FAKE_LIBRARY_PATH;

// The error message of constructing a library from path, or "" when it loads.
std::string loadError(const std::string& path) {
    try {
        PluginLibrary library(path);
    } catch (const LoadError& error) {
        return error.what();
    }
    return "";
}

std::string findError(const PluginLibrary& library, const std::string& className) {
    try {
        library.findClass(className);
    } catch (const LoadError& error) {
        return error.what();
    }
    return "";
}

class ScratchDirectory : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "kestrel-loader-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        directory_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(directory_); }

    std::string file(const std::string& name, const std::string& contents) {
        std::string path = (directory_ / name).string();
        std::ofstream(path, std::ios::binary) << contents;
        return path;
    }
    std::filesystem::path directory_;
};

using LoaderFiles = ScratchDirectory;

TEST_F(LoaderFiles, RejectsFilesThatAreNotSharedLibraries) {
    std::ifstream real(kestrel::testing::libraryPath(), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(real)), std::istreambuf_iterator<char>());
    ASSERT_GT(bytes.size(), 4096u);
    struct Case {
        const char* name;
        std::string path;
        const char* expected;  // a piece of the message
    } const cases[] = {
        {"missing file", (directory_ / "absent.so").string(), "does not exist"},
        {"directory", directory_.string(), "not a regular file"},
        {"empty file", file("empty.so", ""), "not a 64-bit ELF shared library"},
        {"short text", file("short.so", "hello\n"), "not a 64-bit ELF shared library"},
        {"long text", file("long.so", std::string(200, 'x')), "not a 64-bit ELF shared library"},
        {"32-bit ELF", file("elf32.so", std::string("\x7f" "ELF\x01\x01\x01", 7) + std::string(100, '\0')),
         "not a 64-bit ELF shared library"},
        {"truncated library", file("truncated.so", bytes.substr(0, bytes.size() / 2)), "truncated"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string message = loadError(c.path);
        EXPECT_NE(message.find(c.path), std::string::npos) << message;
        EXPECT_NE(message.find(c.expected), std::string::npos) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << "one sentence: " << message;
    }
}

TEST(Loader, ListsOnlyClassesWithBothExports) {
    PluginLibrary fake(kFakeLibrary);
    EXPECT_EQ(fake.classNames(), (std::vector<std::string>{"znFutureLight", "znNullLight"}));
    EXPECT_EQ(fake.path(), kFakeLibrary);
}

TEST(Loader, ExplainsClassesItCannotUse) {
    PluginLibrary fake(kFakeLibrary);
    std::string future = findError(fake, "znFutureLight");
    EXPECT_NE(future.find("2725"), std::string::npos) << future;
    EXPECT_NE(future.find("2724"), std::string::npos) << future;
    EXPECT_NE(future.find(kFakeLibrary), std::string::npos) << future;

    std::string half = findError(fake, "znHalfLight");
    EXPECT_NE(half.find("znHalfLight_getAPIVersion"), std::string::npos) << half;

    kestrel::ShaderClass null = fake.findClass("znNullLight");
    try {
        null.instantiate();
        ADD_FAILURE() << "a factory yielding no object must be reported";
    } catch (const LoadError& error) {
        EXPECT_NE(std::string(error.what()).find("znNullLight_create"), std::string::npos) << error.what();
    }

    const PluginLibrary& real = kestrel::testing::library();
    std::string unknown = findError(real, "znPointLite");
    EXPECT_NE(unknown.find("unknown shader class 'znPointLite'"), std::string::npos) << unknown;
    EXPECT_NE(unknown.find("did you mean 'znPointLight'"), std::string::npos) << unknown;
    std::string far = findError(real, "Teapot");
    EXPECT_NE(far.find("unknown shader class 'Teapot'"), std::string::npos) << far;
    EXPECT_EQ(far.find("did you mean"), std::string::npos) << far;
}

}  // namespace
