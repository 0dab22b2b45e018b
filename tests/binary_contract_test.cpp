// The binary contract as a host written without our headers sees it: host objects whose virtual
// tables are plain arrays of function pointers at the contract's slot numbers, a record that is
// a block of bytes at the contract's offsets, and shader slots called by table index.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <typeinfo>
#include <string>
#include <utility>
#include <vector>

#include "test_library.h"

namespace {

using Fn = void (*)();

// One call a raw host object received.
struct RawCall {
    RawCall(int slot_, const void* shader_ = nullptr, std::string name_ = {}, const void* pointer_ = nullptr,
            std::vector<float> floats_ = {})
        : slot(slot_), shader(shader_), name(std::move(name_)), pointer(pointer_), floats(std::move(floats_)) {}
    int slot;
    const void* shader;  // registry calls: the declaring object
    std::string name;
    const void* pointer;  // member, out object or coordinate
    std::vector<float> floats;
    int32_t integer = 0;
};

// Every raw host object starts with its table pointer, like a C++ object with virtual functions.
struct RawObject {
    explicit RawObject(const Fn* table_) : table(table_) {}
    const Fn* table;
    std::vector<RawCall> calls;
};

template <int Slot>
void unexpectedSlot(RawObject* self) {
    self->calls.push_back({Slot});
}

// Slots 0 to N - 1, each recording an unexpected call, behind the two entries an Itanium ABI
// table carries before slot 0: the offset to the top of the object (0) and the type information,
// which the sanitizer's dynamic type check reads (the interface's own, as for a direct instance).
template <std::size_t N, std::size_t... I>
std::vector<Fn> unexpectedTable(const std::type_info& type, std::index_sequence<I...>) {
    return {nullptr, reinterpret_cast<Fn>(reinterpret_cast<std::uintptr_t>(&type)),
            reinterpret_cast<Fn>(&unexpectedSlot<static_cast<int>(I)>)...};
}
constexpr int kSlot0 = 2;  // position of slot 0 in those tables

// ShaderParamRegistry: 41 slots, the used ones at 1, 2, 6, 10-13, 15-18, 20 and 40.
void declareCapabilities(RawObject* self, void* shader, int32_t mask) {
    RawCall call{1, shader};
    call.integer = mask;
    self->calls.push_back(call);
}
template <int Slot>
void declareMember(RawObject* self, void* shader, const char* name, void* member) {
    self->calls.push_back({Slot, shader, name, member});
}
void declareVarying(RawObject* self, void* shader, int32_t type, const char* name, int32_t offset) {
    RawCall call{40, shader, name};
    call.integer = type;
    call.floats = {static_cast<float>(offset)};
    self->calls.push_back(call);
}
const Fn* registryTable() {
    static const std::vector<Fn> table = [] {
        std::vector<Fn> t = unexpectedTable<41>(typeid(ksi::ShaderParamRegistry), std::make_index_sequence<41>());
        t[kSlot0 + 1] = reinterpret_cast<Fn>(&declareCapabilities);
        for (auto [slot, fn] : std::initializer_list<std::pair<int, Fn>>{
                 {2, reinterpret_cast<Fn>(&declareMember<2>)},   {6, reinterpret_cast<Fn>(&declareMember<6>)},
                 {10, reinterpret_cast<Fn>(&declareMember<10>)}, {11, reinterpret_cast<Fn>(&declareMember<11>)},
                 {12, reinterpret_cast<Fn>(&declareMember<12>)}, {13, reinterpret_cast<Fn>(&declareMember<13>)},
                 {15, reinterpret_cast<Fn>(&declareMember<15>)}, {16, reinterpret_cast<Fn>(&declareMember<16>)},
                 {17, reinterpret_cast<Fn>(&declareMember<17>)}, {18, reinterpret_cast<Fn>(&declareMember<18>)},
                 {20, reinterpret_cast<Fn>(&declareMember<20>)}}) {
            t[kSlot0 + slot] = fn;
        }
        t[kSlot0 + 40] = reinterpret_cast<Fn>(&declareVarying);
        return t;
    }();
    return table.data() + kSlot0;
}

// RenderServices: 58 slots; lights may call only traceShadow at 4.
float* traceShadow(RawObject* self, float* out, const float* from, const float* to) {
    self->calls.push_back({4, nullptr, "", out, {from[0], from[1], from[2], to[0], to[1], to[2]}});
    out[0] = 0.25f, out[1] = 0.5f, out[2] = 0.75f;
    return out;
}
const Fn* servicesTable() {
    static const std::vector<Fn> table = [] {
        std::vector<Fn> t = unexpectedTable<58>(typeid(ksi::RenderServices), std::make_index_sequence<58>());
        t[kSlot0 + 4] = reinterpret_cast<Fn>(&traceShadow);
        return t;
    }();
    return table.data() + kSlot0;
}

// Texture object: slot 1 looks up; the coordinate has `components` floats (2 for an image,
// 3 for a cube map).
struct RawTexture : RawObject {
    RawTexture(const Fn* table_, int components_) : RawObject(table_), components(components_) {}
    int components;
};
void lookup(RawTexture* self, float* out, const float* coordinate) {
    RawCall call{1, nullptr, "", out, {out[0], out[1], out[2], out[3]}};
    call.floats.insert(call.floats.end(), coordinate, coordinate + self->components);
    self->calls.push_back(call);
    out[0] = 0.5f, out[1] = 0.25f, out[2] = 0.125f, out[3] = 0.0f;
}
template <class Interface>
const Fn* textureTable() {
    static const std::vector<Fn> table = [] {
        std::vector<Fn> t = unexpectedTable<2>(typeid(Interface), std::make_index_sequence<2>());
        t[kSlot0 + 1] = reinterpret_cast<Fn>(&lookup);
        return t;
    }();
    return table.data() + kSlot0;
}

// The shading record as bytes at the contract's offsets.
struct RawRecord {
    alignas(16) unsigned char bytes[568] = {};
    template <class T>
    void put(int offset, const T& value) { std::memcpy(bytes + offset, &value, sizeof value); }
    void put3(int offset, float x, float y, float z) {
        put(offset, x);
        put(offset + 4, y);
        put(offset + 8, z);
    }
    float at(int offset) const {
        float v;
        std::memcpy(&v, bytes + offset, sizeof v);
        return v;
    }
    std::vector<float> floats(int offset, int count) const {
        std::vector<float> v;
        for (int i = 0; i < count; ++i) v.push_back(at(offset + 4 * i));
        return v;
    }
};
enum Offset {
    kRayDir = 12, kPosition = 24, kScreenPos = 96, kScreenSize = 104, kRayType = 320, kOutColor = 340,
    kOutTransmittance = 356, kLightPosition = 416, kLightAxis = 428, kLightDir = 440, kLightDistance = 452,
    kOutLightColor = 456, kOutLightShadow = 468,
};

// A shader created through its export and driven only by table index (g++ lays the virtual
// destructor out as two entries, so contract slot n > 0 is index n + 1).
class RawShader {
public:
    explicit RawShader(const std::string& className) {
        using Create = void* (*)();
        auto create = reinterpret_cast<Create>(dlsym(library(), (className + "_create").c_str()));
        object_ = create ? create() : nullptr;
    }
    ~RawShader() {
        if (object_) entry<void (*)(void*)>(1)(object_);  // deleting destructor
    }
    RawShader(const RawShader&) = delete;
    RawShader& operator=(const RawShader&) = delete;

    void* object() const { return object_; }
    template <class F>
    F entry(int index) const { return reinterpret_cast<F>((*reinterpret_cast<Fn* const*>(object_))[index]); }

    void declareParameters(RawObject* registry) { entry<void (*)(void*, RawObject*)>(2)(object_, registry); }
    void copyParameters(const RawShader& other) { entry<void (*)(void*, const void*)>(3)(object_, other.object_); }
    int32_t revision() const { return entry<int32_t (*)(void*)>(4)(object_); }
    int32_t kind() const { return entry<int32_t (*)(void*)>(5)(object_); }
    // Contract slot 5 (shade) to 9 (reserved).
    void slot(int contractSlot, RawObject* services, RawRecord* record) const {
        entry<void (*)(void*, RawObject*, unsigned char*)>(contractSlot + 1)(object_, services, record->bytes);
    }

    // Declares into a raw registry and returns the member addresses by name.
    std::map<std::string, unsigned char*> members() {
        RawObject registry(registryTable());
        declareParameters(&registry);
        std::map<std::string, unsigned char*> result;
        for (const RawCall& call : registry.calls) {
            if (!call.name.empty()) result[call.name] = static_cast<unsigned char*>(const_cast<void*>(call.pointer));
        }
        return result;
    }

private:
    static void* library() {
        static void* handle = dlopen(kestrel::testing::libraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
        return handle;
    }
    void* object_ = nullptr;
};

template <class T>
void write(unsigned char* member, const T& value) {
    std::memcpy(member, &value, sizeof value);
}
void writeFloats(unsigned char* member, std::initializer_list<float> values) {
    std::memcpy(member, values.begin(), values.size() * sizeof(float));
}
void bindTexture(unsigned char* handle, RawTexture* texture) {
    void* pointer = texture;
    int32_t index = 3;
    std::memcpy(handle, &pointer, sizeof pointer);  // pointer first, then the 32-bit index
    std::memcpy(handle + 8, &index, sizeof index);
}

int registrySlot(kestrel::ParamType type) {
    switch (type) {
        case kestrel::ParamType::Bool: return 2;
        case kestrel::ParamType::Int: return 6;
        case kestrel::ParamType::Float: return 10;
        case kestrel::ParamType::Float2: return 11;
        case kestrel::ParamType::Float3: return 12;
        case kestrel::ParamType::Float4: return 13;
        case kestrel::ParamType::Matrix3: return 15;
        case kestrel::ParamType::Matrix4: return 16;
        case kestrel::ParamType::DataTexture: return 17;
        case kestrel::ParamType::Texture: return 18;
        case kestrel::ParamType::CubeTexture: return 20;
    }
    return -1;
}

TEST(BinaryContract, DeclarationsArriveAtTheRegistrySlots) {
    for (const std::string& name : kestrel::testing::library().classNames()) {
        SCOPED_TRACE(name);
        RawShader raw(name);
        ASSERT_NE(raw.object(), nullptr);
        RawObject registry(registryTable());
        raw.declareParameters(&registry);
        ASSERT_FALSE(registry.calls.empty());
        EXPECT_EQ(registry.calls[0].slot, 1) << "the capability mask comes first";

        // What the host library recorded through the SDK's declarations, as slots and offsets.
        kestrel::ShaderInstance shader = kestrel::testing::createShader(name);
        const auto& declaration = shader.declaration();
        std::size_t parameter = 0, varying = 0;
        const auto* base = static_cast<const unsigned char*>(raw.object());
        const auto* sdkBase = reinterpret_cast<const unsigned char*>(shader.object());
        for (std::size_t i = 1; i < registry.calls.size(); ++i) {
            const RawCall& call = registry.calls[i];
            SCOPED_TRACE(testing::Message() << "call " << i << " " << call.name);
            EXPECT_EQ(call.shader, raw.object());
            if (call.slot == 40) {
                ASSERT_LT(varying, declaration.varyings.size());
                const auto& v = declaration.varyings[varying++];
                EXPECT_EQ(call.name, v.name);
                EXPECT_EQ(call.integer, v.type);
                EXPECT_EQ(call.floats.at(0), static_cast<float>(v.offset));
                continue;
            }
            ASSERT_LT(parameter, declaration.parameters.size());
            const auto& p = declaration.parameters[parameter++];
            EXPECT_EQ(call.name, p.name);
            EXPECT_EQ(call.slot, registrySlot(p.type)) << "declared as " << kestrel::typeName(p.type);
            EXPECT_EQ(static_cast<const unsigned char*>(call.pointer) - base,
                      static_cast<const unsigned char*>(p.address) - sdkBase);
        }
        EXPECT_EQ(parameter, declaration.parameters.size());
        EXPECT_EQ(varying, declaration.varyings.size());

        // Slots 3 and 4: revision 1 and the kind that goes with the announced mask.
        const int32_t mask = registry.calls[0].integer;
        EXPECT_EQ(raw.revision(), 1);
        EXPECT_EQ(raw.kind(), (mask & 32) ? 1 : (mask & 64) ? 2 : 0);
    }
}

TEST(BinaryContract, LightsCallTraceShadowAtServicesSlot4) {
    for (const char* name : {"znPointLight", "znSpotLight"}) {
        SCOPED_TRACE(name);
        RawShader light(name);
        auto members = light.members();
        writeFloats(members.at("color"), {1.0f, 2.0f, 4.0f});
        writeFloats(members.at("attenuationFactors"), {10.0f, 1.0f, 0.0f});
        RawRecord record;
        record.put3(kPosition, 1.0f, 2.0f, 3.0f);
        record.put3(kLightPosition, 4.0f, 5.0f, 6.0f);
        record.put3(kLightAxis, 0.0f, 0.0f, 1.0f);
        record.put3(kLightDir, 0.0f, 0.0f, 1.0f);
        record.put(kLightDistance, 5.0f);
        RawObject services(servicesTable());
        light.slot(5, &services, &record);
        ASSERT_EQ(services.calls.size(), 1u);
        EXPECT_EQ(services.calls[0].slot, 4);
        EXPECT_EQ(services.calls[0].floats, (std::vector<float>{1, 2, 3, 4, 5, 6}));
        EXPECT_EQ(record.floats(kOutLightShadow, 3), (std::vector<float>{0.25f, 0.5f, 0.75f}));
        EXPECT_EQ(record.floats(kOutLightColor, 3), (std::vector<float>{0.5f, 1.0f, 2.0f}));
    }
}

TEST(BinaryContract, EnvironmentsLookUpAtTextureSlot1) {
    RawShader env("kestrel_Env_Default");
    RawTexture image(textureTable<ksi::ImageTexture>(), 2);
    bindTexture(env.members().at("reflectionLatlong"), &image);
    RawRecord record;
    record.put(kRayType, int32_t{2});
    record.put3(kRayDir, 1.0f, 0.0f, 0.0f);
    RawObject services(servicesTable());
    env.slot(5, &services, &record);
    EXPECT_TRUE(services.calls.empty());
    ASSERT_EQ(image.calls.size(), 1u);
    EXPECT_EQ(image.calls[0].slot, 1);
    EXPECT_EQ(image.calls[0].floats, (std::vector<float>{0, 0, 0, 1, 0.25f, 0.5f}));  // preset texel, (u, t)
    EXPECT_EQ(record.floats(kOutColor, 4), (std::vector<float>{0.5f, 0.25f, 0.125f, 1.0f}));

    RawShader plate("kestrel_Env_Backplate");
    RawTexture cube(textureTable<ksi::CubeTexture>(), 3);
    auto members = plate.members();
    bindTexture(members.at("customCubeBackground"), &cube);
    write(members.at("backgroundMode"), int32_t{3});
    record = RawRecord{};
    record.put(kRayType, int32_t{1});
    record.put(kScreenPos, 0.5f), record.put(kScreenPos + 4, 0.5f);
    record.put(kScreenSize, int32_t{1}), record.put(kScreenSize + 4, int32_t{1});
    plate.slot(5, &services, &record);
    ASSERT_EQ(cube.calls.size(), 1u);
    EXPECT_EQ(cube.calls[0].floats, (std::vector<float>{0, 0, 0, 1, 0, 1, 0}));  // straight up, as (x, z, -y)
    EXPECT_EQ(record.floats(kOutColor, 4), (std::vector<float>{0.5f, 0.25f, 0.125f, 0.0f}));
}

TEST(BinaryContract, MaterialSlotsAndCopyByPosition) {
    RawShader unlit("kestrel_Mtl_Unlit"), copy("kestrel_Mtl_Unlit");
    writeFloats(unlit.members().at("diffuseColor"), {0.1f, 0.2f, 0.3f});
    unsigned char* copied = copy.members().at("diffuseColor");
    copy.copyParameters(unlit);
    EXPECT_EQ(std::memcmp(copied, unlit.members().at("diffuseColor"), 12), 0);

    RawObject services(servicesTable());
    RawRecord record;
    record.put(kRayType, int32_t{1});
    copy.slot(5, &services, &record);
    EXPECT_EQ(record.floats(kOutColor, 4), (std::vector<float>{0.1f, 0.2f, 0.3f, 0.0f}));
    copy.slot(6, &services, &record);
    EXPECT_EQ(record.floats(kOutTransmittance, 3), (std::vector<float>{1, 1, 1}));
    const RawRecord before = record;
    for (int slot : {7, 8, 9}) copy.slot(slot, &services, &record);
    EXPECT_EQ(std::memcmp(before.bytes, record.bytes, sizeof record.bytes), 0);
    EXPECT_TRUE(services.calls.empty());
}

}  // namespace
