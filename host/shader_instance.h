// A created shader with its declarations recorded, and parameters set and read by name with
// their types checked: the piece of a host between the loader and the renderer.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <kestrel/kestrel.h>

#include "parameter_value.h"
#include "plugin_library.h"

namespace kestrel {

// A parameter that does not exist or a value of the wrong type; what() names the class, the
// parameter and what was expected.
class ParameterError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ParameterDeclaration {
    std::string name;
    ParamType type;
    void* address;  // the shader's member
};

struct VaryingDeclaration {
    int32_t type;  // ksi::VaryingType
    std::string name;
    int32_t offset;  // in the record's varyings area
};

// Everything one declareParameters call told the host, in call order.
struct ShaderDeclaration {
    int32_t capabilities = 0;
    bool capabilitiesFirst = false;  // declareCapabilities was the first call
    int capabilityCalls = 0;
    std::vector<ParameterDeclaration> parameters;
    std::vector<VaryingDeclaration> varyings;
    // Declarations that named another object than the one declaring.
    int foreignCalls = 0;
};

// The host's registry: records what one shader declares.
class DeclarationRecorder final : public ksi::ShaderParamRegistry {
public:
    explicit DeclarationRecorder(const ksi::IShaderBase* shader) : shader_(shader) {}
    ~DeclarationRecorder() = default;

    // Runs declareParameters on the shader and returns what it declared.
    static ShaderDeclaration record(ksi::IShaderBase* shader);

    const ShaderDeclaration& declaration() const { return declaration_; }

    void declareCapabilities(ksi::IShaderBase* shader, int32_t mask) override;
    void declareBool(ksi::IShaderBase* shader, const char* name, bool* member) override;
    void declareInt(ksi::IShaderBase* shader, const char* name, int32_t* member) override;
    void declareFloat(ksi::IShaderBase* shader, const char* name, float* member) override;
    void declareFloat2(ksi::IShaderBase* shader, const char* name, ksi::Float2* member) override;
    void declareFloat3(ksi::IShaderBase* shader, const char* name, ksi::Float3* member) override;
    void declareFloat4(ksi::IShaderBase* shader, const char* name, ksi::Float4* member) override;
    void declareMatrix3(ksi::IShaderBase* shader, const char* name, ksi::Float3x3* member) override;
    void declareMatrix4(ksi::IShaderBase* shader, const char* name, ksi::Float4x4* member) override;
    void declareDataTexture(ksi::IShaderBase* shader, const char* name, ksi::TextureHandle* member) override;
    void declareTexture(ksi::IShaderBase* shader, const char* name, ksi::TextureHandle* member) override;
    void declareCubeTexture(ksi::IShaderBase* shader, const char* name, ksi::TextureHandle* member) override;
    void declareVarying(ksi::IShaderBase* shader, int32_t type, const char* name, int32_t offset) override;

private:
    void add(ksi::IShaderBase* shader, const char* name, ParamType type, void* member);
    void note(ksi::IShaderBase* shader);

    const ksi::IShaderBase* shader_;
    ShaderDeclaration declaration_;
    bool anyCall_ = false;
};

class ShaderInstance {
public:
    // Creates an object of the class and records its declarations.
    explicit ShaderInstance(const ShaderClass& shaderClass);

    const std::string& className() const { return className_; }
    const ShaderDeclaration& declaration() const { return declaration_; }
    int32_t kind() const { return object_->getShaderKind(); }
    bool can(int32_t capability) const { return (declaration_.capabilities & capability) != 0; }

    ksi::IShaderBase* object() const { return object_.get(); }
    // The object as its base; throw std::logic_error when it is of another kind.
    const ksi::MaterialShader& material() const;
    const ksi::LightShader& light() const;
    const ksi::EnvironmentShader& environment() const;

    // The declaration of a parameter; throws ParameterError naming close matches.
    const ParameterDeclaration& parameter(const std::string& name) const;
    bool hasParameter(const std::string& name) const;
    std::vector<std::string> parameterNames() const;

    ParamValue get(const std::string& name) const;
    // Writes a value; throws ParameterError when the name is unknown or the type differs.
    void set(const std::string& name, const ParamValue& value);
    // Binds a host texture object to a texture parameter of any of the three texture kinds.
    void bindTexture(const std::string& name, ksi::TextureObject* object, int32_t index = 0);

    // Copies every parameter of another instance of the same class (texture handles shallowly).
    void copyParametersFrom(const ShaderInstance& other);

private:
    std::string className_;
    ShaderPtr object_;
    ShaderDeclaration declaration_;
};

}  // namespace kestrel
