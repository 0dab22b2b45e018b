#include "shader_instance.h"

#include <algorithm>

#include "name_match.h"

namespace kestrel {

ShaderDeclaration DeclarationRecorder::record(ksi::IShaderBase* shader) {
    DeclarationRecorder recorder(shader);
    shader->declareParameters(&recorder);
    return recorder.declaration_;
}

void DeclarationRecorder::note(ksi::IShaderBase* shader) {
    if (shader != shader_) ++declaration_.foreignCalls;
    anyCall_ = true;
}

void DeclarationRecorder::add(ksi::IShaderBase* shader, const char* name, ParamType type, void* member) {
    note(shader);
    declaration_.parameters.push_back({name ? name : "", type, member});
}

void DeclarationRecorder::declareCapabilities(ksi::IShaderBase* shader, int32_t mask) {
    if (!anyCall_) declaration_.capabilitiesFirst = true;
    note(shader);
    declaration_.capabilities = mask;
    ++declaration_.capabilityCalls;
}
void DeclarationRecorder::declareBool(ksi::IShaderBase* s, const char* n, bool* m) { add(s, n, ParamType::Bool, m); }
void DeclarationRecorder::declareInt(ksi::IShaderBase* s, const char* n, int32_t* m) { add(s, n, ParamType::Int, m); }
void DeclarationRecorder::declareFloat(ksi::IShaderBase* s, const char* n, float* m) {
    add(s, n, ParamType::Float, m);
}
void DeclarationRecorder::declareFloat2(ksi::IShaderBase* s, const char* n, ksi::Float2* m) {
    add(s, n, ParamType::Float2, m);
}
void DeclarationRecorder::declareFloat3(ksi::IShaderBase* s, const char* n, ksi::Float3* m) {
    add(s, n, ParamType::Float3, m);
}
void DeclarationRecorder::declareFloat4(ksi::IShaderBase* s, const char* n, ksi::Float4* m) {
    add(s, n, ParamType::Float4, m);
}
void DeclarationRecorder::declareMatrix3(ksi::IShaderBase* s, const char* n, ksi::Float3x3* m) {
    add(s, n, ParamType::Matrix3, m);
}
void DeclarationRecorder::declareMatrix4(ksi::IShaderBase* s, const char* n, ksi::Float4x4* m) {
    add(s, n, ParamType::Matrix4, m);
}
void DeclarationRecorder::declareDataTexture(ksi::IShaderBase* s, const char* n, ksi::TextureHandle* m) {
    add(s, n, ParamType::DataTexture, m);
}
void DeclarationRecorder::declareTexture(ksi::IShaderBase* s, const char* n, ksi::TextureHandle* m) {
    add(s, n, ParamType::Texture, m);
}
void DeclarationRecorder::declareCubeTexture(ksi::IShaderBase* s, const char* n, ksi::TextureHandle* m) {
    add(s, n, ParamType::CubeTexture, m);
}
void DeclarationRecorder::declareVarying(ksi::IShaderBase* s, int32_t type, const char* n, int32_t offset) {
    note(s);
    declaration_.varyings.push_back({type, n ? n : "", offset});
}

ShaderInstance::ShaderInstance(const ShaderClass& shaderClass)
    : className_(shaderClass.name), object_(shaderClass.instantiate()) {
    declaration_ = DeclarationRecorder::record(object_.get());
}

const ksi::MaterialShader& ShaderInstance::material() const {
    if (kind() != ksi::kKindMaterial) throw std::logic_error(className_ + " is not a material");
    return *static_cast<const ksi::MaterialShader*>(object_.get());
}
const ksi::LightShader& ShaderInstance::light() const {
    if (kind() != ksi::kKindLight) throw std::logic_error(className_ + " is not a light");
    return *static_cast<const ksi::LightShader*>(object_.get());
}
const ksi::EnvironmentShader& ShaderInstance::environment() const {
    if (kind() != ksi::kKindEnvironment) throw std::logic_error(className_ + " is not an environment");
    return *static_cast<const ksi::EnvironmentShader*>(object_.get());
}

bool ShaderInstance::hasParameter(const std::string& name) const {
    return std::any_of(declaration_.parameters.begin(), declaration_.parameters.end(),
                       [&](const ParameterDeclaration& p) { return p.name == name; });
}

std::vector<std::string> ShaderInstance::parameterNames() const {
    std::vector<std::string> names;
    for (const ParameterDeclaration& p : declaration_.parameters) names.push_back(p.name);
    return names;
}

const ParameterDeclaration& ShaderInstance::parameter(const std::string& name) const {
    for (const ParameterDeclaration& p : declaration_.parameters) {
        if (p.name == name) return p;
    }
    throw ParameterError(className_ + " has no parameter '" + name + "'" + didYouMean(name, parameterNames()));
}

ParamValue ShaderInstance::get(const std::string& name) const {
    const ParameterDeclaration& p = parameter(name);
    return readValue(p.type, p.address);
}

namespace {
const char* valueTypeName(const ParamValue& value) {
    static constexpr ParamType kTypes[] = {ParamType::Bool,   ParamType::Int,     ParamType::Float,
                                           ParamType::Float2, ParamType::Float3,  ParamType::Float4,
                                           ParamType::Matrix3, ParamType::Matrix4, ParamType::Texture};
    return typeName(kTypes[value.index()]);
}

// "an int", "a float3": every type name but "int" starts with a consonant sound.
std::string withArticle(const char* typeName) {
    return (typeName[0] == 'i' ? "an " : "a ") + std::string(typeName);
}
}  // namespace

void ShaderInstance::set(const std::string& name, const ParamValue& value) {
    const ParameterDeclaration& p = parameter(name);
    bool textureMatch = isTexture(p.type) && std::holds_alternative<ksi::TextureHandle>(value);
    if (!textureMatch && !holdsType(p.type, value)) {
        throw ParameterError(className_ + " parameter '" + name + "' is " + withArticle(typeName(p.type)) + ", not " +
                             withArticle(valueTypeName(value)));
    }
    writeValue(p.type, p.address, value);
}

void ShaderInstance::bindTexture(const std::string& name, ksi::TextureObject* object, int32_t index) {
    const ParameterDeclaration& p = parameter(name);
    if (!isTexture(p.type)) {
        throw ParameterError(className_ + " parameter '" + name + "' is " + withArticle(typeName(p.type)) +
                             ", not a texture");
    }
    ksi::TextureHandle handle;
    handle.object = object;
    handle.index = index;
    writeValue(p.type, p.address, handle);
}

void ShaderInstance::copyParametersFrom(const ShaderInstance& other) {
    if (other.className_ != className_) {
        throw ParameterError("cannot copy the parameters of a " + other.className_ + " into a " + className_);
    }
    object_->copyParameters(other.object_.get());
}

}  // namespace kestrel
