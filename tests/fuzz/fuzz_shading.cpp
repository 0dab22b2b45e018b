// libFuzzer target: any class, any parameter values, any record, any host answers. The input
// picks a class of the library, then every declared parameter is written through its declared
// address (switches and modes included), the record is filled field by field, and every call
// the shader makes into the host is answered from the rest of the input: light lists of any
// length, NaN and infinite colours, null texture objects and texture objects returning anything.
// Every slot the class announces is then called. The sanitizers (ASan, UBSan with
// float-cast-overflow) and libFuzzer's timeout turn crashes, undefined behaviour and unbounded
// loops into findings.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "shading_cases.h"

namespace {

using namespace kestrel;

// Turns the input into values, favouring the ones that break arithmetic.
class ValueSource {
public:
    explicit ValueSource(FuzzedDataProvider& in) : in_(in) {}

    float value() {
        static constexpr float kSpecial[16] = {
            0.0f, -0.0f, 1.0f, -1.0f, 0.5f, 2.0f, 1e-3f, 1e3f, 1e30f, -1e30f,
            std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
            std::numeric_limits<float>::quiet_NaN(), 1e-40f, std::numeric_limits<float>::max(),
            std::numeric_limits<float>::lowest()};
        const uint8_t selector = in_.ConsumeIntegral<uint8_t>();
        if (selector < 128) return kSpecial[selector % 16];
        if (selector < 224) return static_cast<float>(selector - 176) / 8.0f;  // -6 to 6 in eighths
        const uint32_t bits = in_.ConsumeIntegral<uint32_t>();
        float raw;
        std::memcpy(&raw, &bits, sizeof raw);
        return raw;
    }
    // Modes, switches stored as ints, counts: mostly small, sometimes anything.
    int32_t integer() {
        const uint8_t selector = in_.ConsumeIntegral<uint8_t>();
        if (selector < 224) return static_cast<int32_t>(selector % 12) - 2;
        return in_.ConsumeIntegral<int32_t>();
    }
    uint8_t byte() { return in_.ConsumeIntegral<uint8_t>(); }
    void fill(float* values, int count) {
        for (int i = 0; i < count; ++i) values[i] = value();
    }
    ksi::Float3 float3() {
        ksi::Float3 v;
        fill(&v.x, 3);
        return v;
    }
    ksi::Float4 float4() {
        ksi::Float4 v;
        fill(&v.x, 4);
        return v;
    }

private:
    FuzzedDataProvider& in_;
};

ValueSource* source = nullptr;  // the current input's values, for the host objects

class FuzzImageTexture final : public ksi::ImageTexture {
public:
    void lookup(ksi::Float4* out, const ksi::Float2*) override {
        if (source->byte() & 1) *out = source->float4();
    }
};
class FuzzCubeTexture final : public ksi::CubeTexture {
public:
    void lookup(ksi::Float4* out, const ksi::Float3*) override {
        if (source->byte() & 1) *out = source->float4();
    }
};
class FuzzDataTexture final : public ksi::DataTexture {
public:
    void fetch(ksi::Float4* out, float, float) override {
        if (source->byte() & 1) *out = source->float4();
    }
};

class FuzzServices final : public ksi::RenderServices {
public:
    // Light lists stay alive until the next input: a shader may keep a list while asking for another.
    std::vector<std::unique_ptr<ksi::LightSample[]>> lightLists;

    const ksi::LightSample* getLightSamples(int32_t, const ksi::Float3*, const ksi::Float3*) override {
        const uint8_t selector = source->byte();
        const int count = selector < 240 ? selector % 6 : 1 + (selector - 240) * 40;
        if (count == 0) return nullptr;
        std::unique_ptr<ksi::LightSample[]> list(new ksi::LightSample[count]);
        for (int i = 0; i < count; ++i) {
            ksi::LightSample& light = list[i];
            std::memset(&light, 0, sizeof light);
            light.direction = source->float3();
            light.specularScale = source->value();
            light.shadowedColor = source->float3();
            light.color = source->float3();
            light.shadow = source->float3();
            light.kind = (source->byte() & 1) ? ksi::kLightKindNoSpecular : source->integer();
            light.next = i + 1 < count ? &list[i + 1] : nullptr;
        }
        lightLists.push_back(std::move(list));
        return lightLists.back().get();
    }
    ksi::Float3* ambientIrradiance(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*) override { return answer(out); }
    ksi::Float3* traceShadow(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*) override { return answer(out); }
    ksi::Float3* traceRay(ksi::Float3* out, int32_t, const ksi::Float3*, const ksi::Float3*, float) override {
        return answer(out);
    }
    ksi::Float3* traceReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) override {
        return answer(out);
    }
    ksi::Float4* traceTransmission(ksi::Float4* out, const ksi::Float3*, const ksi::Float3*, float) override {
        *out = source->float4();
        return out;
    }
    ksi::Float3* traceAnisotropicReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, const ksi::Float3*,
                                            const ksi::Float3*, float, float, float) override {
        return answer(out);
    }
    ksi::Float3* traceGlossyReflection(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float, float) override {
        return answer(out);
    }
    ksi::Float3* traceGlossyTransmission(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float,
                                         float) override {
        return answer(out);
    }
    ksi::Float3* ambientOcclusion(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) override {
        return answer(out);
    }
    ksi::Float3* indirectIrradiance(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*, float) override {
        return answer(out);
    }
    float random() override { return source->value(); }
    ksi::Float2* random2D(ksi::Float2* out) override {
        out->x = source->value();
        out->y = source->value();
        return out;
    }
    float noise(const ksi::Float4*) override { return source->value(); }
    float noise3D(const ksi::Float3*) override { return source->value(); }
    float noise2D(const ksi::Float2*) override { return source->value(); }
    float noise1D(float) override { return source->value(); }
    float latticeValue(const ksi::Float3*) override { return source->value(); }
    ksi::Float3* cellFeaturePoint(ksi::Float3* out, const ksi::Float3*) override { return answer(out); }

private:
    ksi::Float3* answer(ksi::Float3* out) {
        *out = source->float3();
        return out;
    }
};

struct Objects {
    std::vector<std::unique_ptr<ShaderInstance>> shaders;  // one per class, parameters rewritten per input
    FuzzImageTexture image;
    FuzzCubeTexture cube;
    FuzzDataTexture data;
    FuzzServices services;
};

Objects& objects() {
    static Objects* created = [] {
        auto* o = new Objects;
        harness::TinyTextures unused;
        for (const std::string& name : harness::exportedClasses()) {
            o->shaders.push_back(harness::makeShader(name, harness::ParameterSet::Defaults, unused));
        }
        return o;
    }();
    return *created;
}

void writeParameter(const ParameterDeclaration& p, ValueSource& values, Objects& o) {
    switch (p.type) {
        case ParamType::Bool: *static_cast<uint8_t*>(p.address) = values.byte(); return;
        case ParamType::Int: {
            const int32_t v = values.integer();
            std::memcpy(p.address, &v, sizeof v);
            return;
        }
        case ParamType::Texture:
        case ParamType::CubeTexture:
        case ParamType::DataTexture: {
            ksi::TextureHandle handle;
            if (values.byte() & 1) {
                handle.object = p.type == ParamType::Texture       ? static_cast<ksi::TextureObject*>(&o.image)
                                : p.type == ParamType::CubeTexture ? static_cast<ksi::TextureObject*>(&o.cube)
                                                                   : static_cast<ksi::TextureObject*>(&o.data);
            }
            handle.index = values.integer();
            std::memcpy(p.address, &handle, sizeof handle);
            return;
        }
        default: {
            float components[16];
            const int count = componentCount(p.type);
            values.fill(components, count);
            std::memcpy(p.address, components, sizeof(float) * static_cast<size_t>(count));
            return;
        }
    }
}

ksi::ShadingRecord fuzzedRecord(ValueSource& values) {
    ksi::ShadingRecord record;
    float words[sizeof record / sizeof(float)];
    values.fill(words, static_cast<int>(sizeof record / sizeof(float)));
    std::memcpy(&record, words, sizeof record);
    record.rayType = (values.byte() & 1) ? values.integer() : (1 << (values.byte() % 6));
    record.frontFacing = values.byte();
    record.throughMatte = values.byte();
    record.noContribution = 0;
    for (uint8_t& accepted : record.lobeRequest) accepted = values.byte();
    return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Objects& o = objects();
    FuzzedDataProvider in(data, size);
    ValueSource values(in);
    source = &values;
    o.services.lightLists.clear();

    const ShaderInstance& shader = *o.shaders[in.ConsumeIntegralInRange<size_t>(0, o.shaders.size() - 1)];
    for (const ParameterDeclaration& p : shader.declaration().parameters) writeParameter(p, values, o);
    const ksi::ShadingRecord prepared = fuzzedRecord(values);
    for (const harness::SlotInfo& slot : harness::announcedSlots(shader)) {
        ksi::ShadingRecord record = prepared;
        harness::callSlot(shader, slot.capability, &o.services, &record);
    }
    source = nullptr;
    return 0;
}
