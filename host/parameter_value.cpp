#include "parameter_value.h"

#include <charconv>
#include <cstring>
#include <utility>

namespace kestrel {

const char* typeName(ParamType type) {
    switch (type) {
        case ParamType::Bool: return "bool";
        case ParamType::Int: return "int";
        case ParamType::Float: return "float";
        case ParamType::Float2: return "float2";
        case ParamType::Float3: return "float3";
        case ParamType::Float4: return "float4";
        case ParamType::Matrix3: return "matrix3";
        case ParamType::Matrix4: return "matrix4";
        case ParamType::DataTexture: return "data texture";
        case ParamType::Texture: return "texture";
        case ParamType::CubeTexture: return "cube texture";
    }
    return "unknown";
}

const char* varyingTypeName(int32_t varyingType) {
    switch (varyingType) {
        case ksi::kVaryingFloat2: return "float2";
        case ksi::kVaryingFloat3: return "float3";
        case ksi::kVaryingFloat4: return "float4";
        default: return "unknown";
    }
}

bool isTexture(ParamType type) {
    return type == ParamType::DataTexture || type == ParamType::Texture || type == ParamType::CubeTexture;
}

int componentCount(ParamType type) {
    switch (type) {
        case ParamType::Bool:
        case ParamType::Int:
        case ParamType::Float: return 1;
        case ParamType::Float2: return 2;
        case ParamType::Float3: return 3;
        case ParamType::Float4: return 4;
        case ParamType::Matrix3: return 9;
        case ParamType::Matrix4: return 16;
        default: return 0;
    }
}

namespace {
template <class T>
T load(const void* address) {
    T value;
    std::memcpy(&value, address, sizeof(T));
    return value;
}
template <class T>
void store(void* address, const ParamValue& value) {
    const T& v = std::get<T>(value);
    std::memcpy(address, &v, sizeof(T));
}
}  // namespace

ParamValue readValue(ParamType type, const void* address) {
    switch (type) {
        case ParamType::Bool: return *static_cast<const unsigned char*>(address) != 0;
        case ParamType::Int: return load<int32_t>(address);
        case ParamType::Float: return load<float>(address);
        case ParamType::Float2: return load<ksi::Float2>(address);
        case ParamType::Float3: return load<ksi::Float3>(address);
        case ParamType::Float4: return load<ksi::Float4>(address);
        case ParamType::Matrix3: return load<ksi::Float3x3>(address);
        case ParamType::Matrix4: return load<ksi::Float4x4>(address);
        default: return load<ksi::TextureHandle>(address);
    }
}

bool holdsType(ParamType type, const ParamValue& value) {
    switch (type) {
        case ParamType::Bool: return std::holds_alternative<bool>(value);
        case ParamType::Int: return std::holds_alternative<int32_t>(value);
        case ParamType::Float: return std::holds_alternative<float>(value);
        case ParamType::Float2: return std::holds_alternative<ksi::Float2>(value);
        case ParamType::Float3: return std::holds_alternative<ksi::Float3>(value);
        case ParamType::Float4: return std::holds_alternative<ksi::Float4>(value);
        case ParamType::Matrix3: return std::holds_alternative<ksi::Float3x3>(value);
        case ParamType::Matrix4: return std::holds_alternative<ksi::Float4x4>(value);
        default: return std::holds_alternative<ksi::TextureHandle>(value);
    }
}

void writeValue(ParamType type, void* address, const ParamValue& value) {
    switch (type) {
        case ParamType::Bool: *static_cast<unsigned char*>(address) = std::get<bool>(value) ? 1 : 0; break;
        case ParamType::Int: store<int32_t>(address, value); break;
        case ParamType::Float: store<float>(address, value); break;
        case ParamType::Float2: store<ksi::Float2>(address, value); break;
        case ParamType::Float3: store<ksi::Float3>(address, value); break;
        case ParamType::Float4: store<ksi::Float4>(address, value); break;
        case ParamType::Matrix3: store<ksi::Float3x3>(address, value); break;
        case ParamType::Matrix4: store<ksi::Float4x4>(address, value); break;
        default: store<ksi::TextureHandle>(address, value); break;
    }
}

std::string formatFloat(float value) {
    char buffer[32];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

namespace {
std::string formatFloats(const float* values, int count) {
    std::string text = "(";
    for (int i = 0; i < count; ++i) {
        if (i) text += ", ";
        text += formatFloat(values[i]);
    }
    return text + ")";
}

std::string formatMatrix(const float* values, int size) {
    std::string text = "(";
    for (int row = 0; row < size; ++row) {
        if (row) text += ", ";
        text += formatFloats(values + row * size, size);
    }
    return text + ")";
}
}  // namespace

std::string formatValue(const ParamValue& value) {
    struct Formatter {
        std::string operator()(bool v) const { return v ? "true" : "false"; }
        std::string operator()(int32_t v) const { return std::to_string(v); }
        std::string operator()(float v) const { return formatFloat(v); }
        std::string operator()(const ksi::Float2& v) const { return formatFloats(&v.x, 2); }
        std::string operator()(const ksi::Float3& v) const { return formatFloats(&v.x, 3); }
        std::string operator()(const ksi::Float4& v) const { return formatFloats(&v.x, 4); }
        std::string operator()(const ksi::Float3x3& v) const { return formatMatrix(v.m, 3); }
        std::string operator()(const ksi::Float4x4& v) const { return formatMatrix(v.m, 4); }
        std::string operator()(const ksi::TextureHandle& v) const {
            return v.object ? "bound (index " + std::to_string(v.index) + ")" : "unset";
        }
    };
    return std::visit(Formatter{}, value);
}

const char* kindName(int32_t kind) {
    switch (kind) {
        case ksi::kKindMaterial: return "material";
        case ksi::kKindLight: return "light";
        case ksi::kKindEnvironment: return "environment";
        default: return "unknown";
    }
}

std::vector<std::string> capabilityNames(int32_t mask) {
    static constexpr std::pair<int32_t, const char*> kBits[] = {
        {ksi::kCapShade, "shade"},           {ksi::kCapShadowTransmittance, "shadowTransmittance"},
        {ksi::kCapEvaluateBsdf, "evaluateBsdf"}, {ksi::kCapSampleBsdf, "sampleBsdf"},
        {ksi::kCapLight, "light"},           {ksi::kCapEnvironment, "environment"},
    };
    std::vector<std::string> names;
    uint32_t rest = static_cast<uint32_t>(mask);
    for (const auto& [bit, name] : kBits) {
        if (rest & static_cast<uint32_t>(bit)) {
            names.push_back(name);
            rest &= ~static_cast<uint32_t>(bit);
        }
    }
    for (int i = 0; i < 32; ++i) {
        if (rest & (1u << i)) names.push_back(std::to_string(1u << i));
    }
    return names;
}

}  // namespace kestrel
