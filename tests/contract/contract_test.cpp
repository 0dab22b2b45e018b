// What every exported class must do, run for each class the loader finds, so a new class is
// covered by adding nothing here: its declarations match the catalogue snapshot, copyParameters
// copies every member (textures shallowly), a slot writes only the outputs it may write and an
// unannounced slot nothing, the common inputs (masking, clipping, tint) behave alike, and hostile
// values never crash nor reach the inputs of the record.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "recording_host.h"
#include "shading_cases.h"
#include "test_library.h"

namespace {

using kestrel::ParamValue;
using PT = kestrel::ParamType;
using kestrel::ShaderInstance;
using kestrel::harness::announcedSlots;
using kestrel::harness::callSlot;
using kestrel::harness::realisticRecord;
using kestrel::testing::createShader;
using kestrel::testing::RecordingServices;
using ksi::Float3;
using ksi::Float4;
using ksi::ShadingRecord;

// ---------------------------------------------------------------------------------------------
// Helpers

bool sameBytes(const ParamValue& a, const ParamValue& b) {
    return a.index() == b.index() && std::visit(
                                         [&](const auto& x) {
                                             using T = std::decay_t<decltype(x)>;
                                             const T& y = std::get<T>(b);
                                             if constexpr (std::is_same_v<T, ksi::TextureHandle>)
                                                 return x.object == y.object && x.index == y.index;
                                             else
                                                 return std::memcmp(&x, &y, sizeof(T)) == 0;
                                         },
                                         a);
}

// Every float component of a numeric parameter set to v.
ParamValue filledWith(PT type, float v) {
    float f[16];
    for (float& x : f) x = v;
    switch (type) {
        case PT::Float: return v;
        case PT::Float2: return ksi::Float2(v, v);
        case PT::Float3: return Float3(v, v, v);
        case PT::Float4: return Float4(v, v, v, v);
        case PT::Matrix3: { ksi::Float3x3 m; std::memcpy(m.m, f, sizeof m.m); return m; }
        case PT::Matrix4: { ksi::Float4x4 m; std::memcpy(m.m, f, sizeof m.m); return m; }
        default: return v;
    }
}

// Byte ranges of the record a slot may write; everything else is the host's.
using Span = std::pair<std::size_t, std::size_t>;
std::vector<Span> writableSpans(int32_t kind, int32_t capability) {
    const Span flag{offsetof(ShadingRecord, noContribution), offsetof(ShadingRecord, noContribution) + 1};
    const Span color{offsetof(ShadingRecord, outColor), offsetof(ShadingRecord, outColor) + sizeof(Float4)};
    if (kind == ksi::kKindEnvironment) return {color};
    if (kind == ksi::kKindLight) return {{offsetof(ShadingRecord, outLightColor), offsetof(ShadingRecord, throughMatte)}};
    switch (capability) {
        case ksi::kCapShade: return {color, flag};
        case ksi::kCapShadowTransmittance:
            return {{offsetof(ShadingRecord, outTransmittance), offsetof(ShadingRecord, sampleDir)}, flag};
        case ksi::kCapEvaluateBsdf:
            return {{offsetof(ShadingRecord, sampleWeight), offsetof(ShadingRecord, lobeRequest)}, flag};
        default:  // sampleBsdf; a refracting material also records its index as the outer one of the next hit
            return {{offsetof(ShadingRecord, sampleDir), offsetof(ShadingRecord, lobeRequest)}, flag,
                    {offsetof(ShadingRecord, outsideIorLeaving), offsetof(ShadingRecord, frameMatrix)}};
    }
}

// The first byte outside the spans that differs, or -1.
long firstForeignWrite(const ShadingRecord& before, const ShadingRecord& after, const std::vector<Span>& spans) {
    const auto* a = reinterpret_cast<const unsigned char*>(&before);
    const auto* b = reinterpret_cast<const unsigned char*>(&after);
    for (std::size_t i = 0; i < sizeof before; ++i) {
        bool writable = false;
        for (const Span& s : spans) writable = writable || (i >= s.first && i < s.second);
        if (!writable && a[i] != b[i]) return static_cast<long>(i);
    }
    return -1;
}

constexpr int32_t kRayTypes[] = {ksi::kRayCamera, ksi::kRaySecondary, ksi::kRayContinuation, ksi::kRayShadow,
                                 ksi::kRayEnvironmentProbe};

// Services that answer with something to see: a white light overhead, grey traces and ambient.
void brightServices(RecordingServices& services) {
    services.lights = {RecordingServices::makeLight({0.0f, 0.0f, 1.0f}, Float3(1.0f))};
    services.ambientIrradianceAnswer = services.traceAnswer = services.indirectAnswer = Float3(0.5f);
}

// Lifts every colour parameter off black, so a tint or a blend has something to work on.
void colourEverything(ShaderInstance& shader) {
    for (const auto& p : shader.declaration().parameters) {
        const bool colour = p.name.find("olor") != std::string::npos && p.name.rfind("masking", 0) != 0 &&
                            p.name.rfind("ambientOcclusion", 0) != 0 && p.name.rfind("u_commonTint", 0) != 0;
        if (colour && p.type == PT::Float3) shader.set(p.name, Float3(0.8f, 0.6f, 0.4f));
    }
}

class Contract : public testing::TestWithParam<std::string> {
protected:
    ShaderInstance shader = createShader(GetParam());
};

// ---------------------------------------------------------------------------------------------
// Declarations

// The catalogue as kestrel-info prints it, without the library path, read once.
const nlohmann::json& currentCatalogue() {
    static const nlohmann::json current = [] {
        std::string command = "'";
        command.append(kestrel::testing::binaryDirectory()).append("/kestrel-info' --json --library '");
        command.append(kestrel::testing::libraryPath()).append("'");
        std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
        std::string text;
        char buffer[65536];
        for (std::size_t n; pipe && (n = fread(buffer, 1, sizeof buffer, pipe.get())) > 0;) text.append(buffer, n);
        nlohmann::json parsed = nlohmann::json::parse(text);
        parsed.erase("library");
        return parsed;
    }();
    return current;
}

const nlohmann::json& snapshot() {
    static const nlohmann::json loaded = nlohmann::json::parse(std::ifstream(KESTREL_CATALOGUE_SNAPSHOT));
    return loaded;
}

const nlohmann::json* classIn(const nlohmann::json& catalogue, const std::string& name) {
    for (const auto& c : catalogue.at("classes")) {
        if (c.at("name") == name) return &c;
    }
    return nullptr;
}

constexpr const char* kRegenerate = "if the change is meant, run cmake --build --preset release --target update-goldens "
                                    "and review the diff of tests/contract/catalogue.json";

// Names, order, types, defaults, varyings, capabilities and the explanations: any change shows
// here as a JSON patch against the checked-in snapshot.
TEST_P(Contract, DeclarationsMatchTheCatalogueSnapshot) {
    const nlohmann::json* expected = classIn(snapshot(), GetParam());
    const nlohmann::json* actual = classIn(currentCatalogue(), GetParam());
    ASSERT_NE(actual, nullptr) << "kestrel-info does not list the class";
    ASSERT_NE(expected, nullptr) << "no snapshot of the class; " << kRegenerate;
    EXPECT_EQ(*actual, *expected) << nlohmann::json::diff(*expected, *actual).dump(1) << "\n" << kRegenerate;
}

TEST(ContractCatalogue, SnapshotHoldsExactlyTheLibrarysClassesAndNodeTypes) {
    nlohmann::json expected = snapshot(), actual = currentCatalogue();
    std::vector<std::string> snapshotNames;
    for (const auto& c : expected.at("classes")) snapshotNames.push_back(c.at("name"));
    std::vector<std::string> names;
    for (const auto& c : actual.at("classes")) names.push_back(c.at("name"));
    EXPECT_EQ(names, snapshotNames) << kRegenerate;
    expected.erase("classes");
    actual.erase("classes");
    EXPECT_EQ(actual, expected) << nlohmann::json::diff(expected, actual).dump(1) << "\n" << kRegenerate;
}

// Members a declaration hands out lie after the table pointer and never overlap.
TEST_P(Contract, MembersNeverOverlap) {
    std::vector<std::pair<const char*, const char*>> spans;
    const char* object = reinterpret_cast<const char*>(shader.object());
    for (const auto& p : shader.declaration().parameters) {
        std::size_t size = kestrel::isTexture(p.type) ? sizeof(ksi::TextureHandle)
                           : p.type == PT::Bool ? 1
                                                       : 4 * kestrel::componentCount(p.type);
        const char* begin = static_cast<const char*>(p.address);
        EXPECT_GE(begin, object + sizeof(void*)) << p.name << " overlaps the virtual table pointer";
        for (const auto& [b, e] : spans) EXPECT_TRUE(begin + size <= b || begin >= e) << p.name << " overlaps";
        spans.emplace_back(begin, begin + size);
    }
}

// ---------------------------------------------------------------------------------------------
// Lifecycle

// A texture object that fails the test on any call; its bytes show whether anything wrote to it.
class UntouchableTexture final : public ksi::ImageTexture {
public:
    void lookup(ksi::Float4*, const ksi::Float2*) override { ADD_FAILURE() << "texture looked up"; }
};

// A value of the parameter's type that differs from any default and from every other
// parameter's value (it is built from the parameter's position).
ParamValue distinctValue(const kestrel::ParameterDeclaration& p, std::size_t position, const ParamValue& current) {
    if (p.type == PT::Bool) return !std::get<bool>(current);
    if (p.type == PT::Int) return static_cast<int32_t>(1000 + position);
    ParamValue value = filledWith(p.type, 0.0f);
    std::visit([&](auto& v) {
        auto* f = reinterpret_cast<float*>(&v);
        for (std::size_t i = 0; i < sizeof v / sizeof(float); ++i) f[i] = 100.25f + 16.0f * position + i;
    }, value);
    return value;
}

// Fresh textures are unset; the copy holds the same values and the same host texture objects,
// and destroying both objects leaves the host's textures alone.
TEST_P(Contract, CopyParametersCopiesEveryMemberAndTexturesShallowly) {
    std::deque<UntouchableTexture> textures;
    std::vector<unsigned char> textureBytes;
    auto bytesOfTextures = [&] {
        std::vector<unsigned char> bytes;
        for (const UntouchableTexture& t : textures) {
            const auto* b = reinterpret_cast<const unsigned char*>(&t);
            bytes.insert(bytes.end(), b, b + sizeof t);
        }
        return bytes;
    };
    {
        ShaderInstance source = createShader(GetParam());
        const auto& parameters = source.declaration().parameters;
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            const auto& p = parameters[i];
            if (kestrel::isTexture(p.type)) {
                const auto fresh = std::get<ksi::TextureHandle>(source.get(p.name));
                EXPECT_TRUE(fresh.object == nullptr && fresh.index == -1) << p.name << " is set before any bind";
                textures.emplace_back();
                source.bindTexture(p.name, &textures.back(), static_cast<int32_t>(500 + i));
            } else {
                source.set(p.name, distinctValue(p, i, source.get(p.name)));
            }
        }
        textureBytes = bytesOfTextures();
        ShaderInstance copy = createShader(GetParam());
        copy.copyParametersFrom(source);
        std::size_t textureIndex = 0;
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            const auto& p = parameters[i];
            const ParamValue copied = copy.get(p.name);
            EXPECT_TRUE(sameBytes(copied, source.get(p.name))) << p.name << " copied as " << kestrel::formatValue(copied);
            if (kestrel::isTexture(p.type)) {
                const auto& handle = std::get<ksi::TextureHandle>(copied);
                EXPECT_EQ(handle.object, &textures[textureIndex++]) << p.name << ": the host's object, not a copy";
                EXPECT_EQ(handle.index, static_cast<int32_t>(500 + i)) << p.name;
            }
        }
    }
    EXPECT_EQ(bytesOfTextures(), textureBytes) << "destruction wrote to a host texture";
}

// A host may write any nonzero byte for true: every slot must read it as a true written as 1.
TEST_P(Contract, BoolParametersReadAnyNonzeroByteAsTrue) {
    ShaderInstance other = createShader(GetParam());
    bool anyBool = false;
    for (const auto& p : shader.declaration().parameters) {
        if (p.type != PT::Bool) continue;
        anyBool = true;
        shader.set(p.name, true);
        const unsigned char byte = 0xA5;
        std::memcpy(other.parameter(p.name).address, &byte, 1);
    }
    if (!anyBool) GTEST_SKIP() << "no bool parameter";
    for (const auto& slot : announcedSlots(shader)) {
        for (int32_t rayType : kRayTypes) {
            SCOPED_TRACE(testing::Message() << slot.name << " rayType " << rayType);
            RecordingServices servicesOne, servicesOther;
            ShadingRecord one = realisticRecord(shader), two = realisticRecord(shader);
            one.rayType = two.rayType = rayType;
            callSlot(shader, slot.capability, &servicesOne, &one);
            callSlot(other, slot.capability, &servicesOther, &two);
            EXPECT_EQ(std::memcmp(&one, &two, sizeof one), 0);
            EXPECT_EQ(servicesOne.log.operations(), servicesOther.log.operations());
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Slots

// Slots 6 to 9 that a material does not announce keep the empty body: no write, no host call.
TEST_P(Contract, UnannouncedSlotsLeaveTheRecordUntouched) {
    if (shader.kind() != ksi::kKindMaterial) GTEST_SKIP() << "only materials have optional slots";
    using Slot = void (ksi::MaterialShader::*)(ksi::RenderServices*, ShadingRecord*) const;
    const std::pair<int32_t, Slot> slots[] = {
        {ksi::kCapShadowTransmittance, &ksi::MaterialShader::shadowTransmittance},
        {ksi::kCapEvaluateBsdf, &ksi::MaterialShader::evaluateBsdf},
        {ksi::kCapSampleBsdf, &ksi::MaterialShader::sampleBsdf},
        {0, &ksi::MaterialShader::reservedSlot9},  // never announced
    };
    for (const auto& [bit, slot] : slots) {
        if (bit != 0 && shader.can(bit)) continue;
        for (int32_t rayType : kRayTypes) {
            SCOPED_TRACE(testing::Message() << "capability " << bit << " rayType " << rayType);
            RecordingServices services;
            ShadingRecord record = realisticRecord(shader);
            record.rayType = rayType;
            const ShadingRecord before = record;
            (shader.material().*slot)(&services, &record);
            EXPECT_EQ(std::memcmp(&before, &record, sizeof record), 0);
            EXPECT_TRUE(services.log.calls().empty());
        }
    }
}

// With both parameter sets, every ray type and either side of the surface, each announced slot
// writes only its own outputs and noContribution; the inputs and the host's bytes stay as set.
TEST_P(Contract, AnnouncedSlotsWriteOnlyTheirOutputs) {
    kestrel::harness::TinyTextures textures;
    for (auto set : kestrel::harness::kParameterSets) {
        auto instance = kestrel::harness::makeShader(GetParam(), set, textures);
        for (const auto& slot : announcedSlots(*instance)) {
            for (int32_t rayType : kRayTypes) {
                for (uint8_t front : {0, 1}) {
                    RecordingServices services;
                    brightServices(services);
                    ShadingRecord record = realisticRecord(*instance);
                    record.rayType = rayType;
                    record.frontFacing = front;
                    const ShadingRecord before = record;
                    callSlot(*instance, slot.capability, &services, &record);
                    EXPECT_EQ(firstForeignWrite(before, record, writableSpans(instance->kind(), slot.capability)), -1)
                        << slot.name << ", " << kestrel::harness::parameterSetName(set) << ", rayType " << rayType
                        << ", frontFacing " << int(front) << ": byte offset written";
                }
            }
        }
    }
}

// Every float of every parameter NaN, infinite or huge, every mode far out of range, and records
// with NaN or infinite geometry: no slot crashes (the sanitizer build checks every operation),
// and still no slot writes outside its outputs.
TEST_P(Contract, HostileValuesNeverCrashNorReachTheInputs) {
    constexpr float kInf = std::numeric_limits<float>::infinity();
    const float hostileFloats[] = {std::numeric_limits<float>::quiet_NaN(), kInf, -kInf, 3.0e38f, -3.0e38f, 0.0f};
    const int32_t hostileInts[] = {-1000000, 1000000, -2, 99};
    kestrel::harness::TinyTextures textures;
    for (float v : hostileFloats) {
        for (int32_t mode : hostileInts) {
            auto instance = kestrel::harness::makeShader(GetParam(), kestrel::harness::ParameterSet::FeatureHeavy, textures);
            for (const auto& p : instance->declaration().parameters) {
                if (p.type == PT::Int) instance->set(p.name, mode);
                else if (p.type != PT::Bool && !kestrel::isTexture(p.type)) instance->set(p.name, filledWith(p.type, v));
            }
            for (bool hostileRecord : {false, true}) {
                for (const auto& slot : announcedSlots(*instance)) {
                    RecordingServices services;
                    ShadingRecord record = realisticRecord(*instance);
                    if (hostileRecord) {
                        record.rayDir = record.normal = Float3(v);
                        record.position = record.objectPosition = Float3(-v);
                        record.lightDistance = v;
                    }
                    const ShadingRecord before = record;
                    callSlot(*instance, slot.capability, &services, &record);
                    EXPECT_EQ(firstForeignWrite(before, record, writableSpans(instance->kind(), slot.capability)), -1)
                        << slot.name << " with " << v << " and mode " << mode;
                }
            }
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Common inputs

// Materials that declare the common block (the masking inputs right after the occlusion ones)
// and light a surface share the masking step; the utility displays (AmbientOnly) declare the
// block but show occlusion only, and the legacy material declares and masks by its own rules.
bool sharesTheMaskingStep(const ShaderInstance& shader) {
    const auto& parameters = shader.declaration().parameters;
    const int32_t lit = ksi::kCapShadowTransmittance | ksi::kCapEvaluateBsdf | ksi::kCapSampleBsdf;
    for (std::size_t i = 0; i + 1 < parameters.size(); ++i) {
        if (parameters[i].name == "usingRaytracedAO" && parameters[i + 1].name == "maskingColor") {
            return shader.kind() == ksi::kKindMaterial && (shader.declaration().capabilities & lit) != 0;
        }
    }
    return false;
}

// The mask per channel cuts the surface away to what lies behind: rgb blends by the mask, a full
// mask drops the sample before anything is traced. Modes and their edge cases as the shared
// masking step reads them.
TEST_P(Contract, MaskingBlendsWithWhatLiesBehind) {
    if (!sharesTheMaskingStep(shader)) GTEST_SKIP() << "no shared masking step";
    struct Case {
        const char* name;
        int mode;
        Float3 maskColor;
        bool fromAlpha;
        bool invert;
        Float3 objectPosition;
        Float3 expectedMask;  // (1, 1, 1): dropped
    };
    const Case cases[] = {
        {"constant per channel", 0, {0.25f, 0.5f, 0.75f}, false, false, {0, 0, 0}, {0.25f, 0.5f, 0.75f}},
        {"no inversion in mode 0", 0, {0.25f, 0.25f, 0.25f}, false, true, {0, 0, 0}, {0.25f, 0.25f, 0.25f}},
        {"full mask drops", 0, {1, 1, 1}, false, false, {0, 0, 0}, {1, 1, 1}},
        {"mode -1 ignores the colour", -1, {1, 1, 1}, false, true, {0, 0, 0}, {0, 0, 0}},
        {"out-of-range mode is no mask", 7, {1, 1, 1}, false, false, {0, 0, 0}, {0, 0, 0}},
        {"unbound texture reads black", 1, {0, 0, 0}, false, false, {0, 0, 0}, {0, 0, 0}},
        {"unbound texture alpha is opaque", 1, {0, 0, 0}, true, false, {0, 0, 0}, {1, 1, 1}},
        {"inverted unbound texture", 1, {0, 0, 0}, false, true, {0, 0, 0}, {1, 1, 1}},
        {"planar slab edge kept", 2, {0, 0, 0}, false, false, {0, 0, 1.0f}, {0, 0, 0}},
        {"planar outside the slab", 2, {0, 0, 0}, false, false, {0, 0, 1.5f}, {1, 1, 1}},
    };
    colourEverything(shader);
    const Float4 behind{0.2f, 0.4f, 0.6f, 0.3f};
    auto shade = [&](const Case& c, RecordingServices& services, Float3 objectPosition) {
        brightServices(services);
        services.transmissionAnswer = behind;
        ShadingRecord record = realisticRecord(shader);
        record.objectPosition = objectPosition;
        shader.set("maskingMode", int32_t{c.mode});
        shader.set("maskingColor", c.maskColor);
        shader.set("maskingFromAlpha", c.fromAlpha);
        shader.set("maskingInvertTexture", c.invert);
        shader.material().shade(&services, &record);
        return record;
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        RecordingServices plainServices, services;
        const ShadingRecord plain = shade({"", -1, {}, false, false, {}, {}}, plainServices, c.objectPosition);
        const ShadingRecord masked = shade(c, services, c.objectPosition);
        const Float3 m = c.expectedMask;
        if (m == Float3(1.0f)) {
            EXPECT_EQ(masked.noContribution, 1);
            const Float4 preset = realisticRecord(shader).outColor;
            EXPECT_EQ(std::memcmp(&masked.outColor, &preset, sizeof preset), 0) << "outColor keeps the preset";
            EXPECT_EQ(services.log.count("traceTransmission"), 0);
            continue;
        }
        const Float3 p = plain.outColor.xyz();
        EXPECT_EQ(masked.outColor.x, (1.0f - m.x) * p.x + m.x * behind.x);
        EXPECT_EQ(masked.outColor.y, (1.0f - m.y) * p.y + m.y * behind.y);
        EXPECT_EQ(masked.outColor.z, (1.0f - m.z) * p.z + m.z * behind.z);
        if (ksi::isZero(m)) {
            EXPECT_EQ(services.log.count("traceTransmission"), plainServices.log.count("traceTransmission"))
                << "no mask, nothing more traced";
        }
    }
}

// A one-dimensional texture of planes: texel 0 holds the count, here 2.7, so planes 1 and 2 are
// read at (i + 0.5) / 3.7; the plane z = -0.5 clips a point lying exactly on it. A clipped
// sample is dropped by evaluateBsdf and sampleBsdf before anything else is written.
TEST_P(Contract, GlobalClippingDropsBsdfSamplesOnTheCutSide) {
    if (!shader.hasParameter("u_globalClippingMapEnable")) GTEST_SKIP() << "no clipping map";
    kestrel::testing::RecordingDataTexture planes;
    planes.function = [](float u, float) { return u == 0.0f ? Float4(2.7f, 0, 0, 1) : Float4(0, 0, 1, 0.5f); };
    shader.bindTexture("u_globalClippingMap", &planes);
    for (int32_t capability : {ksi::kCapEvaluateBsdf, ksi::kCapSampleBsdf}) {
        if (!shader.can(capability)) continue;
        for (bool enabled : {false, true}) {
            for (float z : {-0.5f, -0.25f}) {
                SCOPED_TRACE(testing::Message() << "capability " << capability << " enabled " << enabled << " z " << z);
                shader.set("u_globalClippingMapEnable", enabled);
                planes.fetches.clear();
                RecordingServices services;
                ShadingRecord record = realisticRecord(shader);
                record.position = {0.0f, 0.0f, z};
                const ShadingRecord before = record;
                callSlot(shader, capability, &services, &record);
                const bool clipped = enabled && z == -0.5f;
                EXPECT_EQ(record.noContribution, clipped ? 1 : 0);
                if (clipped) {
                    record.noContribution = 0;
                    EXPECT_EQ(std::memcmp(&before, &record, sizeof before), 0) << "a clipped sample writes nothing else";
                    ASSERT_EQ(planes.fetches.size(), 2u) << "the first plane already clips";
                    EXPECT_EQ(planes.fetches[1].x, 1.5f / 3.7f);
                }
                if (enabled && !clipped) {
                    EXPECT_EQ(planes.fetches.size(), 3u) << "the count and both planes";
                }
            }
        }
        // Enabled without a texture, the map reads a count of 0 and clips nothing.
        shader.bindTexture("u_globalClippingMap", nullptr);
        RecordingServices services;
        ShadingRecord record = realisticRecord(shader);
        record.position = {-2.0f, -2.0f, -2.0f};
        callSlot(shader, capability, &services, &record);
        EXPECT_EQ(record.noContribution, 0) << "capability " << capability << " without a map";
        shader.bindTexture("u_globalClippingMap", &planes);
    }
}

// The common tint multiplies the shaded red, green and blue, never the alpha.
TEST_P(Contract, CommonTintMultipliesTheColourButNotItsAlpha) {
    if (!shader.hasParameter("u_commonTintEnable")) GTEST_SKIP() << "no common tint";
    colourEverything(shader);
    shader.set("u_commonTintColor", Float4(0.5f, 2.0f, 0.0f, 0.25f));
    ShadingRecord shaded[2];
    for (bool enabled : {false, true}) {
        shader.set("u_commonTintEnable", enabled);
        RecordingServices services;
        brightServices(services);
        shaded[enabled] = realisticRecord(shader);
        shader.material().shade(&services, &shaded[enabled]);
    }
    const Float4 plain = shaded[0].outColor, tinted = shaded[1].outColor;
    EXPECT_GT(plain.x, 0.0f) << "something to tint";
    EXPECT_EQ(tinted.x, plain.x * 0.5f);
    EXPECT_EQ(tinted.y, plain.y * 2.0f);
    EXPECT_EQ(tinted.z, 0.0f);
    EXPECT_EQ(tinted.w, plain.w);
}

std::string testName(const testing::TestParamInfo<std::string>& info) { return info.param; }
INSTANTIATE_TEST_SUITE_P(EveryClass, Contract, testing::ValuesIn(kestrel::harness::exportedClasses()), testName);

}  // namespace
