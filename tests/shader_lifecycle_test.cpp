// What every exported class shares: copyParameters copies each declared parameter (texture
// handles shallowly), destruction leaves host textures alone, bool parameters accept any
// nonzero byte, and material slots left out of the capability mask do nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "recording_host.h"
#include "test_library.h"

namespace {

using kestrel::ParamType;
using kestrel::ParamValue;
using kestrel::testing::createShader;
using kestrel::testing::library;
using kestrel::testing::presetRecord;
using kestrel::testing::RecordingServices;

// A texture object that fails the test on any call; its bytes show whether anything wrote to it.
class UntouchableTexture final : public ksi::ImageTexture {
public:
    void lookup(ksi::Float4*, const ksi::Float2*) override { ADD_FAILURE() << "texture looked up"; }
};

// A value of the parameter's type that differs from any default and from every other
// parameter's value (it is built from the parameter's position).
ParamValue distinctValue(const kestrel::ParameterDeclaration& p, std::size_t position, const ParamValue& current) {
    const float base = 100.0f + 16.0f * static_cast<float>(position);
    float values[16];
    for (int i = 0; i < 16; ++i) values[i] = base + static_cast<float>(i) + 0.25f;
    switch (p.type) {
        case ParamType::Bool: return !std::get<bool>(current);
        case ParamType::Int: return static_cast<int32_t>(1000 + position);
        case ParamType::Float: return values[0];
        case ParamType::Float2: return ksi::Float2(values[0], values[1]);
        case ParamType::Float3: return ksi::Float3(values[0], values[1], values[2]);
        case ParamType::Float4: return ksi::Float4(values[0], values[1], values[2], values[3]);
        case ParamType::Matrix3: {
            ksi::Float3x3 m;
            std::memcpy(m.m, values, sizeof m.m);
            return m;
        }
        case ParamType::Matrix4: {
            ksi::Float4x4 m;
            std::memcpy(m.m, values, sizeof m.m);
            return m;
        }
        default: return ksi::TextureHandle{};  // textures are bound separately
    }
}

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

TEST(ShaderLifecycle, CopyParametersCopiesEveryParameter) {
    for (const std::string& name : library().classNames()) {
        SCOPED_TRACE(name);
        std::deque<UntouchableTexture> textures;
        std::vector<unsigned char> textureBytes;
        {
            kestrel::ShaderInstance source = createShader(name);
            const auto& parameters = source.declaration().parameters;
            for (std::size_t i = 0; i < parameters.size(); ++i) {
                const auto& p = parameters[i];
                if (kestrel::isTexture(p.type)) {
                    textures.emplace_back();
                    source.bindTexture(p.name, &textures.back(), static_cast<int32_t>(500 + i));
                } else {
                    source.set(p.name, distinctValue(p, i, source.get(p.name)));
                }
            }
            for (const UntouchableTexture& t : textures) {
                const auto* bytes = reinterpret_cast<const unsigned char*>(&t);
                textureBytes.insert(textureBytes.end(), bytes, bytes + sizeof t);
            }

            kestrel::ShaderInstance copy = createShader(name);
            copy.copyParametersFrom(source);
            std::size_t textureIndex = 0;
            for (std::size_t i = 0; i < parameters.size(); ++i) {
                const auto& p = parameters[i];
                SCOPED_TRACE(p.name);
                ParamValue copied = copy.get(p.name);
                EXPECT_TRUE(sameBytes(copied, source.get(p.name))) << "copied " << kestrel::formatValue(copied);
                if (kestrel::isTexture(p.type)) {
                    const auto& handle = std::get<ksi::TextureHandle>(copied);
                    EXPECT_EQ(handle.object, &textures[textureIndex++]) << "the same host object, not a copy";
                    EXPECT_EQ(handle.index, static_cast<int32_t>(500 + i));
                }
            }
            // Both objects are destroyed here, each holding every texture.
        }
        std::vector<unsigned char> after;
        for (const UntouchableTexture& t : textures) {
            const auto* bytes = reinterpret_cast<const unsigned char*>(&t);
            after.insert(after.end(), bytes, bytes + sizeof t);
        }
        EXPECT_EQ(after, textureBytes) << "destruction wrote to a host texture";
    }
}

TEST(ShaderLifecycle, FreshObjectsHaveUnsetTextures) {
    for (const std::string& name : library().classNames()) {
        SCOPED_TRACE(name);
        kestrel::ShaderInstance shader = createShader(name);
        for (const auto& p : shader.declaration().parameters) {
            if (!kestrel::isTexture(p.type)) continue;
            const auto handle = std::get<ksi::TextureHandle>(shader.get(p.name));
            EXPECT_EQ(handle.object, nullptr) << p.name;
            EXPECT_EQ(handle.index, -1) << p.name;
        }
    }
}

// A host may write any nonzero byte for true: every slot must read such a byte as true,
// without undefined behaviour, and give what a true written as 1 gives.
TEST(ShaderLifecycle, BoolParametersReadAnyNonzeroByteAsTrue) {
    for (const std::string& name : library().classNames()) {
        SCOPED_TRACE(name);
        kestrel::ShaderInstance one = createShader(name);
        kestrel::ShaderInstance other = createShader(name);
        bool anyBool = false;
        for (const auto& p : one.declaration().parameters) {
            if (p.type != ParamType::Bool) continue;
            anyBool = true;
            one.set(p.name, true);
            const unsigned char byte = 0xA5;
            std::memcpy(other.parameter(p.name).address, &byte, 1);
        }
        if (!anyBool) continue;
        for (int32_t capability : {ksi::kCapShade, ksi::kCapShadowTransmittance, ksi::kCapEvaluateBsdf,
                                   ksi::kCapSampleBsdf}) {
            if (!one.can(capability)) continue;
            for (int32_t rayType : {1, 2, 4, 16, 32}) {
                SCOPED_TRACE(testing::Message() << "capability " << capability << " rayType " << rayType);
                RecordingServices servicesOne, servicesOther;
                ksi::ShadingRecord recordOne = presetRecord(), recordOther = presetRecord();
                recordOne.rayType = recordOther.rayType = rayType;
                kestrel::testing::callSlot(one, capability, &servicesOne, &recordOne);
                kestrel::testing::callSlot(other, capability, &servicesOther, &recordOther);
                EXPECT_EQ(std::memcmp(&recordOne, &recordOther, sizeof recordOne), 0);
                EXPECT_EQ(servicesOne.log.operations(), servicesOther.log.operations());
            }
        }
    }
}

// Slots 6 to 9 that a material does not announce keep the empty body: no write, no host call.
TEST(ShaderLifecycle, UnannouncedMaterialSlotsDoNothing) {
    using Slot = void (ksi::MaterialShader::*)(ksi::RenderServices*, ksi::ShadingRecord*) const;
    struct SlotEntry {
        int32_t bit;  // 0: never announced
        Slot slot;
        const char* name;
    } const slots[] = {
        {ksi::kCapShadowTransmittance, &ksi::MaterialShader::shadowTransmittance, "shadowTransmittance"},
        {ksi::kCapEvaluateBsdf, &ksi::MaterialShader::evaluateBsdf, "evaluateBsdf"},
        {ksi::kCapSampleBsdf, &ksi::MaterialShader::sampleBsdf, "sampleBsdf"},
        {0, &ksi::MaterialShader::reservedSlot9, "reserved slot 9"},
    };
    for (const std::string& name : library().classNames()) {
        kestrel::ShaderInstance shader = createShader(name);
        if (shader.kind() != ksi::kKindMaterial) continue;
        for (const SlotEntry& entry : slots) {
            if (entry.bit != 0 && shader.can(entry.bit)) continue;
            SCOPED_TRACE(name + " " + entry.name);
            for (int32_t rayType : {1, 2, 16}) {
                RecordingServices services;
                ksi::ShadingRecord record = presetRecord();
                record.rayType = rayType;
                record.sampleDir = {0.0f, 0.6f, 0.8f};
                for (uint8_t& request : record.lobeRequest) request = 1;
                const ksi::ShadingRecord before = record;
                (shader.material().*entry.slot)(&services, &record);
                EXPECT_EQ(std::memcmp(&before, &record, sizeof record), 0);
                EXPECT_TRUE(services.log.calls().empty());
            }
        }
    }
}

}  // namespace
