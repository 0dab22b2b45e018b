// Kestrel Shaders SDK: the objects a host hands to the shaders.
//
// Shaders call these objects by virtual-slot position, so each interface below lists its
// functions in slot order, with a reserved placeholder at every position the shaders do not
// call. Slot 0 of each is a plain reserved function, not a destructor: the host owns these
// objects and destroys them through its own types, which is why the destructors are protected
// and non-virtual. A host implements an interface by deriving from it and overriding the used
// operations; the placeholders have empty bodies and are never called by the library.
#pragma once

#include <cstddef>
#include <cstdint>

#include "types.h"

namespace ksi {

class IShaderBase;

// Bits announced by declareParameters: which shading slots the host may call.
enum CapabilityMask : int32_t {
    kCapShade = 1,
    kCapShadowTransmittance = 2,
    kCapEvaluateBsdf = 4,
    kCapSampleBsdf = 8,
    kCapLight = 32,
    kCapEnvironment = 64,
};

// Type of a per-vertex value that a shader asks the host to deliver in the record.
enum VaryingType : int32_t {
    kVaryingFloat2 = 1,  // "uv", "uv1"
    kVaryingFloat3 = 2,  // "tangent", "bitangent"
    kVaryingFloat4 = 3,  // "vtxcolor"
};

// ---------------------------------------------------------------------------------------------
// Texture objects. A shader reaches them through a TextureHandle member; which of the three
// interfaces the object implements follows from how the parameter was declared
// (declareTexture, declareCubeTexture, declareDataTexture).

class TextureObject {
public:
    virtual void reservedSlot0() {}

protected:
    ~TextureObject() = default;
};

// Image texture, looked up at a uv coordinate.
class ImageTexture : public TextureObject {
public:
    // Overwrites *out (preset by the caller to (0, 0, 0, 1)) with the texel at *uv.
    virtual void lookup(Float4* out, const Float2* uv) = 0;

protected:
    ~ImageTexture() = default;
};

// Cube map, looked up with a direction.
class CubeTexture : public TextureObject {
public:
    virtual void lookup(Float4* out, const Float3* direction) = 0;

protected:
    ~CubeTexture() = default;
};

// Data texture, read at explicit coordinates (clipping planes, smoke density).
class DataTexture : public TextureObject {
public:
    virtual void fetch(Float4* out, float u, float v) = 0;

protected:
    ~DataTexture() = default;
};

// A reference to a host texture object. The shader never creates, copies deeply or frees the
// object and never reads the index; both belong to the host.
struct TextureHandle {
    TextureObject* object = nullptr;
    int32_t index = -1;
    int32_t reserved = 0;
};
static_assert(sizeof(TextureHandle) == 16);
static_assert(offsetof(TextureHandle, object) == 0 && offsetof(TextureHandle, index) == 8);

// ---------------------------------------------------------------------------------------------
// The registry a shader declares its capabilities, parameters and varyings to. Each declaration
// passes the address of the member that holds the value; the host writes values through it.

class ShaderParamRegistry {
public:
    virtual void reservedSlot0() {}
    virtual void declareCapabilities(IShaderBase* shader, int32_t mask) = 0;                    // 1
    virtual void declareBool(IShaderBase* shader, const char* name, bool* member) = 0;          // 2
    virtual void reservedSlot3() {}
    virtual void reservedSlot4() {}
    virtual void reservedSlot5() {}
    virtual void declareInt(IShaderBase* shader, const char* name, int32_t* member) = 0;        // 6
    virtual void reservedSlot7() {}
    virtual void reservedSlot8() {}
    virtual void reservedSlot9() {}
    virtual void declareFloat(IShaderBase* shader, const char* name, float* member) = 0;        // 10
    virtual void declareFloat2(IShaderBase* shader, const char* name, Float2* member) = 0;      // 11
    virtual void declareFloat3(IShaderBase* shader, const char* name, Float3* member) = 0;      // 12
    virtual void declareFloat4(IShaderBase* shader, const char* name, Float4* member) = 0;      // 13
    virtual void reservedSlot14() {}
    virtual void declareMatrix3(IShaderBase* shader, const char* name, Float3x3* member) = 0;   // 15
    virtual void declareMatrix4(IShaderBase* shader, const char* name, Float4x4* member) = 0;   // 16
    virtual void declareDataTexture(IShaderBase* shader, const char* name, TextureHandle* member) = 0;  // 17
    virtual void declareTexture(IShaderBase* shader, const char* name, TextureHandle* member) = 0;      // 18
    virtual void reservedSlot19() {}
    virtual void declareCubeTexture(IShaderBase* shader, const char* name, TextureHandle* member) = 0;  // 20
    virtual void reservedSlot21() {}
    virtual void reservedSlot22() {}
    virtual void reservedSlot23() {}
    virtual void reservedSlot24() {}
    virtual void reservedSlot25() {}
    virtual void reservedSlot26() {}
    virtual void reservedSlot27() {}
    virtual void reservedSlot28() {}
    virtual void reservedSlot29() {}
    virtual void reservedSlot30() {}
    virtual void reservedSlot31() {}
    virtual void reservedSlot32() {}
    virtual void reservedSlot33() {}
    virtual void reservedSlot34() {}
    virtual void reservedSlot35() {}
    virtual void reservedSlot36() {}
    virtual void reservedSlot37() {}
    virtual void reservedSlot38() {}
    virtual void reservedSlot39() {}
    virtual void declareVarying(IShaderBase* shader, int32_t type, const char* name, int32_t offset) = 0;  // 40

protected:
    ~ShaderParamRegistry() = default;
};

// ---------------------------------------------------------------------------------------------
// One node of the per-point light list that getLightSamples returns. Host-owned; shaders read it.

struct LightSample {
    Float3 direction;       // unit direction from the shaded point towards the light
    float specularScale;    // scale of this light's contribution to the specular terms
    Float3 shadowedColor;   // colour at the point with the shadow applied
    uint8_t hostReserved0[16];
    Float3 color;           // colour at the point without shadow (the light's outLightColor)
    Float3 shadow;          // shadow factor (the light's outLightShadow)
    uint8_t hostReserved1[4];
    int32_t kind;           // kLightKindNoSpecular: the specular loops skip this light
    const LightSample* next;  // null after the last
};
inline constexpr int32_t kLightKindNoSpecular = 1000001;
static_assert(offsetof(LightSample, direction) == 0);
static_assert(offsetof(LightSample, specularScale) == 12);
static_assert(offsetof(LightSample, shadowedColor) == 16);
static_assert(offsetof(LightSample, color) == 44);
static_assert(offsetof(LightSample, shadow) == 56);
static_assert(offsetof(LightSample, kind) == 72);
static_assert(offsetof(LightSample, next) == 80);

// ---------------------------------------------------------------------------------------------
// Everything a shader needs from the scene. Operations that return a vector fill the caller's
// out object and return a pointer to it.

class RenderServices {
public:
    virtual void reservedSlot0() {}
    virtual void reservedSlot1() {}
    virtual const LightSample* getLightSamples(int32_t selector, const Float3* position, const Float3* normal) = 0;  // 2
    virtual Float3* ambientIrradiance(Float3* out, const Float3* position, const Float3* normal) = 0;                 // 3
    virtual Float3* traceShadow(Float3* out, const Float3* from, const Float3* to) = 0;                              // 4
    virtual Float3* traceRay(Float3* out, int32_t rayType, const Float3* origin, const Float3* direction,
                             float weight) = 0;                                                                      // 5
    virtual Float3* traceReflection(Float3* out, const Float3* origin, const Float3* direction, float weight) = 0;    // 6
    virtual Float4* traceTransmission(Float4* out, const Float3* origin, const Float3* direction, float weight) = 0;  // 7
    virtual Float3* traceAnisotropicReflection(Float3* out, const Float3* origin, const Float3* direction,
                                               const Float3* tangent, const Float3* bitangent, float roughnessU,
                                               float roughnessV, float weight) = 0;                                  // 8
    virtual Float3* traceGlossyReflection(Float3* out, const Float3* origin, const Float3* direction, float roughness,
                                          float weight) = 0;                                                         // 9
    virtual void reservedSlot10() {}
    virtual Float3* traceGlossyTransmission(Float3* out, const Float3* origin, const Float3* direction,
                                            float roughness, float weight) = 0;                                      // 11
    virtual Float3* ambientOcclusion(Float3* out, const Float3* position, const Float3* normal, float weight) = 0;    // 12
    virtual Float3* indirectIrradiance(Float3* out, const Float3* position, const Float3* normal, float weight) = 0;  // 13
    virtual float random() = 0;                                                                                      // 14
    virtual Float2* random2D(Float2* out) = 0;                                                                       // 15
    virtual float noise(const Float4* point) = 0;                                                                    // 16
    virtual float noise3D(const Float3* point) = 0;                                                                  // 17
    virtual float noise2D(const Float2* point) = 0;                                                                  // 18
    virtual float noise1D(float x) = 0;                                                                              // 19
    virtual void reservedSlot20() {}
    virtual void reservedSlot21() {}
    virtual void reservedSlot22() {}
    virtual void reservedSlot23() {}
    virtual void reservedSlot24() {}
    virtual void reservedSlot25() {}
    virtual void reservedSlot26() {}
    virtual void reservedSlot27() {}
    virtual void reservedSlot28() {}
    virtual void reservedSlot29() {}
    virtual void reservedSlot30() {}
    virtual void reservedSlot31() {}
    virtual void reservedSlot32() {}
    virtual void reservedSlot33() {}
    virtual void reservedSlot34() {}
    virtual void reservedSlot35() {}
    virtual void reservedSlot36() {}
    virtual void reservedSlot37() {}
    virtual void reservedSlot38() {}
    virtual void reservedSlot39() {}
    virtual void reservedSlot40() {}
    virtual void reservedSlot41() {}
    virtual void reservedSlot42() {}
    virtual void reservedSlot43() {}
    virtual void reservedSlot44() {}
    virtual void reservedSlot45() {}
    virtual void reservedSlot46() {}
    virtual void reservedSlot47() {}
    virtual void reservedSlot48() {}
    virtual float latticeValue(const Float3* latticePoint) = 0;                                                      // 49
    virtual void reservedSlot50() {}
    virtual void reservedSlot51() {}
    virtual void reservedSlot52() {}
    virtual void reservedSlot53() {}
    virtual void reservedSlot54() {}
    virtual void reservedSlot55() {}
    virtual void reservedSlot56() {}
    // Offset of the cell's feature point from the cell centre, in half cells, each in [-1, 1].
    virtual Float3* cellFeaturePoint(Float3* out, const Float3* cellCentre) = 0;                                     // 57

protected:
    ~RenderServices() = default;
};

}  // namespace ksi
