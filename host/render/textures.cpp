#include "render/textures.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <OpenImageIO/imageio.h>
#include <OpenImageIO/texture.h>

namespace kestrel::render {

namespace {

// Image texture coordinates: uv (0, 0) is the image's lower-left corner and v runs up, so the
// file's first row is v = 1. Coordinates wrap, so a tiled uv transform repeats the image.
float wrapUnit(float x) { return x - std::floor(x); }

void writeTexel(ksi::Float4* out, const float* texel, int channels) {
    if (channels == 1) {
        *out = ksi::Float4(texel[0], texel[0], texel[0], 1.0f);
    } else if (channels == 2) {
        *out = ksi::Float4(texel[0], texel[0], texel[0], texel[1]);
    } else {
        out->x = texel[0];
        out->y = texel[1];
        out->z = texel[2];
        // A texture without alpha leaves the caller's alpha (1) in place.
        if (channels >= 4) out->w = texel[3];
    }
}

// Standard error silenced while an image is decoded: some decoders (libpng) print their own
// line before OpenImageIO reports the same fault, which the caller turns into one message.
class QuietStandardError {
public:
    QuietStandardError() : saved_(::dup(STDERR_FILENO)) {
        int null = ::open("/dev/null", O_WRONLY);
        if (null >= 0) {
            std::fflush(stderr);
            ::dup2(null, STDERR_FILENO);
            ::close(null);
        }
    }
    ~QuietStandardError() {
        if (saved_ < 0) return;
        std::fflush(stderr);
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
    }
    QuietStandardError(const QuietStandardError&) = delete;
    QuietStandardError& operator=(const QuietStandardError&) = delete;

private:
    int saved_;
};

// OpenImageIO keeps a per-thread record that remembers the last two tiles it read. A shader
// that reads several images in turn would evict them on every lookup and fall through to the
// shared cache each time, so each texture has a record of its own on each thread. A thread finds
// its records through a small list of its own, keyed by a number no texture reuses, so an entry
// left behind by a destroyed texture can never be taken for a live one; past that list, the
// texture's own table (one record per thread) answers.
class PerThreadRecords {
public:
    explicit PerThreadRecords(OIIO::TextureSystem* system) : system_(system), key_(nextKey()) {}
    ~PerThreadRecords() {
        for (const auto& [thread, record] : records_) system_->destroy_thread_info(record);
    }
    PerThreadRecords(const PerThreadRecords&) = delete;
    PerThreadRecords& operator=(const PerThreadRecords&) = delete;

    OIIO::TextureSystem::Perthread* local() {
        Entry* entries = threadEntries();
        for (int i = 0; i < kEntries; ++i) {
            if (entries[i].key == key_) return system_->get_perthread_info(entries[i].record);
        }
        // Not in this thread's list (first use, or pushed out by other textures): the record
        // takes the oldest entry's place.
        std::move_backward(entries, entries + kEntries - 1, entries + kEntries);
        entries[0] = {key_, ofThisThread()};
        return system_->get_perthread_info(entries[0].record);
    }

private:
    struct Entry {
        std::uint64_t key = 0;
        OIIO::TextureSystem::Perthread* record = nullptr;
    };
    static constexpr int kEntries = 16;

    static Entry* threadEntries() {
        thread_local Entry entries[kEntries];
        return entries;
    }
    static std::uint64_t nextKey() {
        static std::atomic<std::uint64_t> counter{0};
        return ++counter;
    }
    OIIO::TextureSystem::Perthread* ofThisThread() {
        std::lock_guard<std::mutex> lock(mutex_);
        OIIO::TextureSystem::Perthread*& record = records_[std::this_thread::get_id()];
        if (!record) record = system_->create_thread_info();
        return record;
    }

    OIIO::TextureSystem* system_;
    std::uint64_t key_;
    std::mutex mutex_;
    std::map<std::thread::id, OIIO::TextureSystem::Perthread*> records_;
};

// A bilinear lookup in the full-resolution image. The services pass no footprint (a point
// lookup, zero derivatives), which would pick the finest level anyway; saying so skips
// OpenImageIO's footprint and level computations, a sixth of the time of a lookup.
class FilteredTexture {
public:
    FilteredTexture(OIIO::TextureSystem* system, const std::string& path, int channels)
        : system_(system), handle_(system->get_texture_handle(OIIO::ustring(path))), records_(system),
          channels_(channels) {
        options_.swrap = OIIO::TextureOpt::WrapPeriodic;
        options_.twrap = OIIO::TextureOpt::WrapPeriodic;
        options_.interpmode = OIIO::TextureOpt::InterpBilinear;
        options_.mipmode = OIIO::TextureOpt::MipModeNoMIP;
    }

    // (s, t) in OpenImageIO's convention: t = 0 is the file's first row.
    void sample(ksi::Float4* out, float s, float t) {
        if (!std::isfinite(s) || !std::isfinite(t)) return;
        float texel[4] = {0.0f, 0.0f, 0.0f, 1.0f};
        OIIO::TextureOpt options = options_;
        if (!system_->texture(handle_, records_.local(), options, wrapUnit(s), wrapUnit(t), 0, 0, 0, 0,
                              std::min(channels_, 4), texel)) {
            return;
        }
        writeTexel(out, texel, channels_);
    }

private:
    OIIO::TextureSystem* system_;
    OIIO::TextureSystem::TextureHandle* handle_;
    PerThreadRecords records_;
    OIIO::TextureOpt options_;
    int channels_;
};

class ImageTextureObject final : public ksi::ImageTexture {
public:
    ImageTextureObject(OIIO::TextureSystem* system, const std::string& path, int channels)
        : texture_(system, path, channels) {}
    void lookup(ksi::Float4* out, const ksi::Float2* uv) override { texture_.sample(out, uv->x, 1.0f - uv->y); }

private:
    FilteredTexture texture_;
};

// A cube texture answered from a lat-long image. Cube maps are addressed y-up; the lat-long
// image follows the environments' z-up convention, so the direction is turned back to z-up
// first and a cube backplate and a lat-long environment made from the same image agree.
class CubeTextureObject final : public ksi::CubeTexture {
public:
    CubeTextureObject(OIIO::TextureSystem* system, const std::string& path, int channels)
        : texture_(system, path, channels) {}
    void lookup(ksi::Float4* out, const ksi::Float3* direction) override {
        const ksi::Float3& c = *direction;
        float length = std::sqrt(c.x * c.x + c.y * c.y + c.z * c.z);
        if (!(length > 0.0f) || !std::isfinite(length)) return;
        float x = c.x / length, y = -c.z / length, z = c.y / length;
        float u = std::atan2(-y, x) * 0.1591549f + 0.25f;
        float t = std::asin(std::clamp(z, -1.0f, 1.0f)) * 0.3183099f + 0.5f;
        texture_.sample(out, u, 1.0f - t);
    }

private:
    FilteredTexture texture_;
};

// Raw texels, fetched without filtering (clipping planes and densities are data, not colour):
// u picks the column, v the row with v = 0 the last row of the file; both clamp to the edge.
class DataTextureObject final : public ksi::DataTexture {
public:
    DataTextureObject(int width, int height, std::vector<ksi::Float4> texels)
        : width_(width), height_(height), texels_(std::move(texels)) {}
    void fetch(ksi::Float4* out, float u, float v) override {
        if (!std::isfinite(u) || !std::isfinite(v)) return;
        int column = index(u, width_);
        int row = height_ - 1 - index(v, height_);
        *out = texels_[static_cast<std::size_t>(row) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(column)];
    }

private:
    static int index(float x, int size) {
        float scaled = std::floor(x * static_cast<float>(size));
        if (!(scaled > 0.0f)) return 0;
        if (scaled >= static_cast<float>(size - 1)) return size - 1;
        return static_cast<int>(scaled);
    }
    int width_, height_;
    std::vector<ksi::Float4> texels_;
};

}  // namespace

struct TextureSet::Impl {
    OIIO::TextureSystem* system = nullptr;
    std::map<std::pair<std::string, int>, std::unique_ptr<ksi::TextureObject, void (*)(ksi::TextureObject*)>> objects;
    std::vector<std::unique_ptr<DataTextureObject>> inlineData;
};

namespace {
template <class T>
void destroyAs(ksi::TextureObject* object) {
    delete static_cast<T*>(object);
}
}  // namespace

TextureSet::TextureSet() : impl_(std::make_unique<Impl>()) {
    impl_->system = OIIO::TextureSystem::create(/*shared=*/false);
}

TextureSet::~TextureSet() {
    impl_->objects.clear();
    OIIO::TextureSystem::destroy(impl_->system);
}

ksi::TextureObject* TextureSet::open(const std::string& path, ParamType type) {
    auto key = std::make_pair(path, static_cast<int>(type));
    auto found = impl_->objects.find(key);
    if (found != impl_->objects.end()) return found->second.get();

    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) throw TextureError("image file '" + path + "' does not exist");
    auto input = OIIO::ImageInput::open(path);
    if (!input) {
        std::string reason = OIIO::geterror();
        throw TextureError("cannot read image '" + path + "': " + (reason.empty() ? "unknown format" : reason));
    }
    const OIIO::ImageSpec spec = input->spec();
    if (spec.width <= 0 || spec.height <= 0 || spec.nchannels <= 0) {
        throw TextureError("image '" + path + "' has no pixels");
    }

    // Every image is decoded in full once here, so a truncated or corrupt file stops the scene
    // with the decoder's reason instead of rendering black where the texture should be.
    const auto texelCount = static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(spec.height);
    if (type == ParamType::DataTexture && texelCount > kMaxDataTexels) {
        throw TextureError("image '" + path + "' decodes to " + std::to_string(spec.width) + " x " +
                           std::to_string(spec.height) + " texels; a data texture holds at most " +
                           std::to_string(kMaxDataTexels) + " (4096 x 4096), as it is kept whole in memory");
    }
    std::vector<float> pixels(texelCount * static_cast<std::size_t>(spec.nchannels));
    bool decoded = false;
    {
        QuietStandardError quiet;
        decoded = input->read_image(0, 0, 0, spec.nchannels, OIIO::TypeDesc::FLOAT, pixels.data());
    }
    if (!decoded) {
        std::string reason = input->geterror();
        while (!reason.empty() && reason.back() == '\n') reason.pop_back();
        std::replace(reason.begin(), reason.end(), '\n', ' ');
        throw TextureError("cannot read image '" + path + "': " + (reason.empty() ? "the file is damaged" : reason));
    }
    std::unique_ptr<ksi::TextureObject, void (*)(ksi::TextureObject*)> object(nullptr, destroyAs<ImageTextureObject>);
    if (type == ParamType::DataTexture) {
        std::vector<ksi::Float4> texels(texelCount, ksi::Float4(0.0f, 0.0f, 0.0f, 1.0f));
        for (std::size_t i = 0; i < texels.size(); ++i) {
            writeTexel(&texels[i], &pixels[i * static_cast<std::size_t>(spec.nchannels)], spec.nchannels);
        }
        object = {new DataTextureObject(spec.width, spec.height, std::move(texels)), destroyAs<DataTextureObject>};
    } else {
        input->close();
        if (type == ParamType::CubeTexture) {
            object = {new CubeTextureObject(impl_->system, path, spec.nchannels), destroyAs<CubeTextureObject>};
        } else {
            object = {new ImageTextureObject(impl_->system, path, spec.nchannels), destroyAs<ImageTextureObject>};
        }
    }
    ksi::TextureObject* result = object.get();
    impl_->objects.emplace(key, std::move(object));
    return result;
}

ksi::TextureObject* TextureSet::fromData(const std::vector<std::vector<ksi::Float4>>& rows) {
    std::vector<ksi::Float4> texels;
    for (const auto& row : rows) texels.insert(texels.end(), row.begin(), row.end());
    const int width = rows.empty() ? 0 : static_cast<int>(rows.front().size());
    if (width == 0) throw TextureError("a data texture needs at least one texel");
    impl_->inlineData.push_back(std::make_unique<DataTextureObject>(width, static_cast<int>(rows.size()), texels));
    return impl_->inlineData.back().get();
}

}  // namespace kestrel::render
