#include "render_fixture.h"

#include <atomic>
#include <fstream>
#include <random>
#include <vector>

#include <gtest/gtest.h>
#include <OpenImageIO/imageio.h>
#include <unistd.h>

#include "test_library.h"

namespace kestrel::testing {

TemporaryDirectory::TemporaryDirectory() {
    static std::atomic<int> counter{0};
    path_ = std::filesystem::temp_directory_path() /
            ("kestrel-render-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    std::filesystem::create_directories(path_);
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

std::string TemporaryDirectory::write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ / name, std::ios::binary) << text;
    return file(name);
}

std::unique_ptr<LoadedScene> loadScene(const nlohmann::json& document, const std::string& base,
                                       const std::string& fileName) {
    auto loaded = std::make_unique<LoadedScene>();
    render::loadScene(document, {fileName, base}, library(), loaded->textures, loaded->scene, loaded->settings);
    return loaded;
}

void writeConstantImage(const std::string& path, int width, int height, int channels, float value, Depth depth) {
    std::vector<float> pixels(static_cast<std::size_t>(width * height * channels), value);
    auto output = OIIO::ImageOutput::create(path);
    OIIO::ImageSpec spec(width, height, channels, depth == Depth::Byte ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::FLOAT);
    ASSERT_TRUE(output && output->open(path, spec) && output->write_image(OIIO::TypeDesc::FLOAT, pixels.data()))
        << path;
    output->close();
}

}  // namespace kestrel::testing
