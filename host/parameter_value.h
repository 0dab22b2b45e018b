// Parameter types and values as the host sees them: what a class declared, and the values the
// host reads from and writes into the declared members.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include <kestrel/kestrel.h>

namespace kestrel {

// One per registry declaration operation.
enum class ParamType {
    Bool,
    Int,
    Float,
    Float2,
    Float3,
    Float4,
    Matrix3,
    Matrix4,
    DataTexture,
    Texture,
    CubeTexture,
};

// Holds one parameter's value; texture parameters hold their handle.
using ParamValue = std::variant<bool, int32_t, float, ksi::Float2, ksi::Float3, ksi::Float4, ksi::Float3x3,
                                ksi::Float4x4, ksi::TextureHandle>;

// "bool", "int", "float", "float2", "float3", "float4", "matrix3", "matrix4", "data texture",
// "texture", "cube texture".
const char* typeName(ParamType type);
// "float2", "float3", "float4" for the varying types; "unknown" otherwise.
const char* varyingTypeName(int32_t varyingType);

bool isTexture(ParamType type);
// Number of floats (or 1 for bool and int) that a value of this type holds; 0 for textures.
int componentCount(ParamType type);

// Reads the value at a declared member's address, in that type's representation.
ParamValue readValue(ParamType type, const void* address);
// Writes a value through a declared member's address; the variant must hold the type's own
// alternative (the caller checks).
void writeValue(ParamType type, void* address, const ParamValue& value);
// Whether the variant's alternative is the one `type` stores.
bool holdsType(ParamType type, const ParamValue& value);

// Human-readable value: "true", "3", "0.5", "(1, 0.5, 0.1)", matrices by rows, a texture as
// "unset" when no object is bound. Floats print in their shortest exact form.
std::string formatValue(const ParamValue& value);
std::string formatFloat(float value);

// "material", "light", "environment" for a getShaderKind code.
const char* kindName(int32_t kind);
// The names of the CapabilityMask bits set in mask ("shade", "shadowTransmittance",
// "evaluateBsdf", "sampleBsdf", "light", "environment"), in bit order; unknown bits as numbers.
std::vector<std::string> capabilityNames(int32_t mask);

}  // namespace kestrel
