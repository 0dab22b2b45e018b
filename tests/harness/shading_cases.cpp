#include "shading_cases.h"

#include <fstream>
#include <map>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "test_library.h"

namespace kestrel::harness {

namespace {

constexpr SlotInfo kMaterialSlots[] = {
    {ksi::kCapShade, "shade"},
    {ksi::kCapShadowTransmittance, "shadowTransmittance"},
    {ksi::kCapEvaluateBsdf, "evaluateBsdf"},
    {ksi::kCapSampleBsdf, "sampleBsdf"},
};

std::vector<float> numbers(const nlohmann::json& value, size_t count, const std::string& where) {
    std::vector<float> result;
    if (count == 1 && value.is_number()) {
        result.push_back(value.get<float>());
    } else if (value.is_array() && value.size() == count) {
        for (const auto& element : value) result.push_back(element.get<float>());
    } else {
        throw std::runtime_error(where + ": expected " + std::to_string(count) + " number(s)");
    }
    return result;
}

ParamValue overrideValue(ParamType type, const nlohmann::json& value, const std::string& where) {
    switch (type) {
        case ParamType::Bool:
            if (!value.is_boolean()) throw std::runtime_error(where + ": expected true or false");
            return value.get<bool>();
        case ParamType::Int:
            if (!value.is_number_integer()) throw std::runtime_error(where + ": expected an integer");
            return value.get<int32_t>();
        case ParamType::Float: return numbers(value, 1, where)[0];
        case ParamType::Float2: { auto v = numbers(value, 2, where); return ksi::Float2{v[0], v[1]}; }
        case ParamType::Float3: { auto v = numbers(value, 3, where); return ksi::Float3{v[0], v[1], v[2]}; }
        case ParamType::Float4: { auto v = numbers(value, 4, where); return ksi::Float4{v[0], v[1], v[2], v[3]}; }
        case ParamType::Matrix3: {
            auto v = numbers(value, 9, where);
            ksi::Float3x3 m;
            for (int i = 0; i < 9; ++i) m.m[i] = v[i];
            return m;
        }
        case ParamType::Matrix4: {
            auto v = numbers(value, 16, where);
            ksi::Float4x4 m;
            for (int i = 0; i < 16; ++i) m.m[i] = v[i];
            return m;
        }
        default: throw std::runtime_error(where + ": textures are bound by the generic set, not overridden");
    }
}

const nlohmann::json& overrides() {
    static const nlohmann::json loaded = [] {
        std::ifstream in(KESTREL_FEATURE_OVERRIDES_PATH);
        if (!in) throw std::runtime_error(std::string("cannot read ") + KESTREL_FEATURE_OVERRIDES_PATH);
        try {
            return nlohmann::json::parse(in);
        } catch (const nlohmann::json::exception& e) {
            throw std::runtime_error(std::string(KESTREL_FEATURE_OVERRIDES_PATH) + ": " + e.what());
        }
    }();
    return loaded;
}

void applyFeatureHeavy(ShaderInstance& shader, TinyTextures& textures) {
    for (const ParameterDeclaration& p : shader.declaration().parameters) {
        switch (p.type) {
            case ParamType::Bool: shader.set(p.name, true); break;
            case ParamType::Int: shader.set(p.name, int32_t{1}); break;
            case ParamType::Texture: shader.bindTexture(p.name, &textures.image); break;
            case ParamType::CubeTexture: shader.bindTexture(p.name, &textures.cube); break;
            case ParamType::DataTexture: shader.bindTexture(p.name, &textures.data); break;
            default: break;
        }
    }
    const auto entry = overrides().find(shader.className());
    if (entry == overrides().end()) return;
    for (const auto& [name, value] : entry->items()) {
        const std::string where = std::string(KESTREL_FEATURE_OVERRIDES_PATH) + ", " + shader.className() + "." + name;
        if (!shader.hasParameter(name)) throw std::runtime_error(where + ": no such parameter");
        shader.set(name, overrideValue(shader.parameter(name).type, value, where));
    }
}

}  // namespace

std::vector<SlotInfo> announcedSlots(const ShaderInstance& shader) {
    std::vector<SlotInfo> slots;
    if (shader.kind() != ksi::kKindMaterial) {
        slots.push_back(kMaterialSlots[0]);
        return slots;
    }
    for (const SlotInfo& slot : kMaterialSlots) {
        if (shader.can(slot.capability)) slots.push_back(slot);
    }
    return slots;
}

const char* parameterSetName(ParameterSet set) { return set == ParameterSet::Defaults ? "defaults" : "features"; }

const std::vector<std::string>& exportedClasses() { return testing::library().classNames(); }

std::unique_ptr<ShaderInstance> makeShader(const std::string& className, ParameterSet set, TinyTextures& textures) {
    return makeShader(testing::library(), className, set, textures);
}

std::unique_ptr<ShaderInstance> makeShader(const PluginLibrary& library, const std::string& className,
                                           ParameterSet set, TinyTextures& textures) {
    auto shader = std::make_unique<ShaderInstance>(library.findClass(className));
    if (set == ParameterSet::FeatureHeavy) applyFeatureHeavy(*shader, textures);
    return shader;
}

ksi::ShadingRecord realisticRecord(const ShaderInstance& shader) {
    ksi::ShadingRecord record = testing::presetRecord();
    // The camera looks down at the surface at about 30 degrees off the normal.
    record.rayOrigin = {0.0f, -1.0f, 1.732051f};
    record.rayDir = {0.0f, 0.5f, -0.866025f};
    record.position = {0.0f, 0.0f, 0.0f};
    record.objectPosition = {0.25f, 0.5f, 0.0f};
    record.screenPos = {320.5f, 240.5f};
    record.sampleDir = {0.267261f, 0.534522f, 0.801784f};
    record.sampleCos = 0.801784f;
    for (uint8_t& accepted : record.lobeRequest) accepted = 1;
    record.lightPosition = {1.0f, 2.0f, 3.0f};
    record.lightAxis = {-0.267261f, -0.534522f, -0.801784f};
    record.lightDir = {-0.267261f, -0.534522f, -0.801784f};
    record.lightDistance = 3.741657f;
    for (const VaryingDeclaration& v : shader.declaration().varyings) {
        if (v.offset < 0) continue;
        switch (v.type) {
            case ksi::kVaryingFloat2:
                if (v.offset + 8 <= ksi::kVaryingsSize) ksi::writeVarying(record, v.offset, ksi::Float2{0.3f, 0.7f});
                break;
            case ksi::kVaryingFloat3: {
                const ksi::Float3 value = v.name == "bitangent" ? ksi::Float3{0.0f, 1.0f, 0.0f} : ksi::Float3{1.0f, 0.0f, 0.0f};
                if (v.offset + 12 <= ksi::kVaryingsSize) ksi::writeVarying(record, v.offset, value);
                break;
            }
            case ksi::kVaryingFloat4:
                if (v.offset + 16 <= ksi::kVaryingsSize) {
                    ksi::writeVarying(record, v.offset, ksi::Float4{0.9f, 0.8f, 0.7f, 1.0f});
                }
                break;
            default: break;
        }
    }
    return record;
}

SlotFunction slotFunction(int32_t kind, int32_t capability) {
    using namespace ksi;
    if (kind == kKindLight && capability == kCapShade) {
        return [](const IShaderBase* s, RenderServices* v, ShadingRecord* r) { static_cast<const LightShader*>(s)->shade(v, r); };
    }
    if (kind == kKindEnvironment && capability == kCapShade) {
        return [](const IShaderBase* s, RenderServices* v, ShadingRecord* r) {
            static_cast<const EnvironmentShader*>(s)->shade(v, r);
        };
    }
    if (kind == kKindMaterial) {
        switch (capability) {
            case kCapShade:
                return [](const IShaderBase* s, RenderServices* v, ShadingRecord* r) {
                    static_cast<const MaterialShader*>(s)->shade(v, r);
                };
            case kCapShadowTransmittance:
                return [](const IShaderBase* s, RenderServices* v, ShadingRecord* r) {
                    static_cast<const MaterialShader*>(s)->shadowTransmittance(v, r);
                };
            case kCapEvaluateBsdf:
                return [](const IShaderBase* s, RenderServices* v, ShadingRecord* r) {
                    static_cast<const MaterialShader*>(s)->evaluateBsdf(v, r);
                };
            case kCapSampleBsdf:
                return [](const IShaderBase* s, RenderServices* v, ShadingRecord* r) {
                    static_cast<const MaterialShader*>(s)->sampleBsdf(v, r);
                };
            default: break;
        }
    }
    throw std::logic_error("no shading slot " + std::to_string(capability) + " for shader kind " + std::to_string(kind));
}

void callSlot(const ShaderInstance& shader, int32_t capability, ksi::RenderServices* services,
              ksi::ShadingRecord* record) {
    slotFunction(shader.kind(), capability)(shader.object(), services, record);
}

}  // namespace kestrel::harness
