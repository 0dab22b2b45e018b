// Kestrel Shaders SDK: the shader class hierarchy as the host sees it.
//
// A host creates objects through the two exported functions of each class and drives them
// only through these virtual slots, by position. The order of declaration below is the slot
// order and must never change: slot 0 is the virtual destructor, then declareParameters,
// copyParameters, getRevision, getShaderKind, and the shading slots of each base. Lights and
// environments end after slot 5.
#pragma once

#include <cstdint>

#include "host_interfaces.h"
#include "shading_record.h"
#include "types.h"

namespace ksi {

// The interface version every class reports through <Class>_getAPIVersion.
inline constexpr int32_t kApiVersion = 2724;

enum ShaderKind : int32_t { kKindMaterial = 0, kKindLight = 1, kKindEnvironment = 2 };

class IShaderBase {
public:
    virtual ~IShaderBase() = default;                                      // 0
    // Announces the capability mask, then declares every parameter and varying in order.
    virtual void declareParameters(ShaderParamRegistry* registry) = 0;     // 1
    // Copies the whole parameter block of another object of the same class (handles shallowly).
    virtual void copyParameters(const IShaderBase* other) = 0;             // 2
    virtual int32_t getRevision() const = 0;                               // 3
    virtual int32_t getShaderKind() const = 0;                             // 4
};

class MaterialShader : public IShaderBase {
public:
    int32_t getRevision() const override { return 1; }
    int32_t getShaderKind() const override { return kKindMaterial; }
    virtual void shade(RenderServices* services, ShadingRecord* record) const = 0;           // 5
    virtual void shadowTransmittance(RenderServices*, ShadingRecord*) const {}                // 6
    virtual void evaluateBsdf(RenderServices*, ShadingRecord*) const {}                       // 7
    virtual void sampleBsdf(RenderServices*, ShadingRecord*) const {}                         // 8
    virtual void reservedSlot9(RenderServices*, ShadingRecord*) const {}                      // 9
};

class LightShader : public IShaderBase {
public:
    int32_t getRevision() const override { return 1; }
    int32_t getShaderKind() const override { return kKindLight; }
    // Writes the light's unshadowed colour and shadow factor for the record's point.
    virtual void shade(RenderServices* services, ShadingRecord* record) const = 0;           // 5
};

class EnvironmentShader : public IShaderBase {
public:
    int32_t getRevision() const override { return 1; }
    int32_t getShaderKind() const override { return kKindEnvironment; }
    // Writes the colour seen along a ray that leaves the scene.
    virtual void shade(RenderServices* services, ShadingRecord* record) const = 0;           // 5
};

// The two functions every class exports, as <Class>_getAPIVersion and <Class>_create.
using GetApiVersionFunction = int32_t (*)();
using CreateShaderFunction = IShaderBase* (*)();

}  // namespace ksi
