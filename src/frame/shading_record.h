// Kestrel Shaders SDK: the per-sample record exchanged between host and shader.
//
// The host owns the record, fills the inputs, presets the outputs and clears noContribution
// before each call; a shading slot writes only the outputs its algorithm reaches, so every
// output it does not write keeps the host's preset. The byte layout is part of the contract:
// every field offset is pinned below, and the hostReserved bytes may hold host data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "types.h"

namespace ksi {

// rayType codes.
enum RayType : int32_t {
    kRayCamera = 1,
    kRaySecondary = 2,
    kRayContinuation = 4,  // a camera ray continued through a see-through surface when throughMatte is set
    kRayShadow = 16,
    kRayEnvironmentProbe = 32,
};

// sampleLobe codes; lobeRequest[i] accepts the lobe 1 << i.
enum LobeCode : int32_t {
    kLobeNone = 0,
    kLobeDiffuseReflection = 1,
    kLobeGlossyReflection = 2,
    kLobeSpecularReflection = 4,
    kLobeDiffuseTransmission = 8,
    kLobeGlossyTransmission = 16,
    kLobeSpecularTransmission = 32,
};

// Whether the host accepts a sample of this lobe: lobeRequest holds the answer for code 1 << i
// in byte i.
constexpr bool lobeRequested(const uint8_t (&lobeRequest)[6], LobeCode lobe) {
    for (int i = 0; i < 6; ++i) {
        if ((1 << i) == lobe) return lobeRequest[i] != 0;
    }
    return false;
}

// Whether any reflection lobe (codes 1, 2, 4), or any transmission lobe (8, 16, 32), is accepted.
constexpr bool reflectionRequested(const uint8_t (&lobeRequest)[6]) {
    return lobeRequest[0] || lobeRequest[1] || lobeRequest[2];
}
constexpr bool transmissionRequested(const uint8_t (&lobeRequest)[6]) {
    return lobeRequest[3] || lobeRequest[4] || lobeRequest[5];
}

inline constexpr int kVaryingsOffset = 504;
inline constexpr int kVaryingsSize = 64;

struct ShadingRecord {
    Float3 rayOrigin;             //   0 origin of the incoming ray
    Float3 rayDir;                //  12 unit direction, pointing into the surface
    Float3 position;              //  24 hit point, world space
    Float3 normal;                //  36 unit shading normal, world space
    Float3 geomNormal;            //  48 unit geometric normal, world space
    Float3 objectPosition;        //  60 hit point, object space
    Float3 objectNormal;          //  72 normal, object space
    uint8_t hostReserved0[12];
    Float2 screenPos;             //  96 raster position, pixels
    int32_t screenSize[2];        // 104 image width and height, pixels
    float outsideIorEntering;     // 112 index on the outer side when frontFacing is set
    float outsideIorLeaving;      // 116 index on the outer side when frontFacing is clear
    Float4x4 frameMatrix;         // 120 host transform
    Float4x4 objectMatrix;        // 184 object to world
    uint8_t hostReserved1[72];
    int32_t rayType;              // 320 RayType
    uint8_t hostReserved2[12];
    uint8_t frontFacing;          // 336 nonzero: the ray enters the object
    uint8_t hostReserved3[3];
    Float4 outColor;              // 340 shade output, RGBA
    Float3 outTransmittance;      // 356 shadowTransmittance output
    Float3 sampleDir;             // 368 sampled direction, or the direction to evaluate
    Float3 sampleWeight;          // 380 RGB weight of the sample, or the BSDF value
    float sampleCos;              // 392 cosine belonging to sampleDir
    float samplePdf;              // 396 reciprocal of the sampling density (1 for a single direction)
    int32_t sampleLobe;           // 400 LobeCode of the sample, 0 when none was drawn
    uint8_t lobeRequest[6];       // 404 nonzero: the host accepts lobe 1 << i
    uint8_t hostReserved4[6];
    Float3 lightPosition;         // 416 light sample position
    Float3 lightAxis;             // 428 unit spot axis
    Float3 lightDir;              // 440 unit direction between light and point
    float lightDistance;          // 452 distance between light and point
    Float3 outLightColor;         // 456 light shade output: unshadowed colour
    Float3 outLightShadow;        // 468 light shade output: shadow factor
    uint8_t throughMatte;         // 480 with rayType 4: the ray continues a camera ray
    uint8_t noContribution;       // 481 set by a slot whose surface contributes nothing
    uint8_t hostReserved5[22];
    uint8_t varyings[kVaryingsSize];  // 504 each declared varying at its declared offset
};

static_assert(offsetof(ShadingRecord, rayOrigin) == 0);
static_assert(offsetof(ShadingRecord, rayDir) == 12);
static_assert(offsetof(ShadingRecord, position) == 24);
static_assert(offsetof(ShadingRecord, normal) == 36);
static_assert(offsetof(ShadingRecord, geomNormal) == 48);
static_assert(offsetof(ShadingRecord, objectPosition) == 60);
static_assert(offsetof(ShadingRecord, objectNormal) == 72);
static_assert(offsetof(ShadingRecord, screenPos) == 96);
static_assert(offsetof(ShadingRecord, screenSize) == 104);
static_assert(offsetof(ShadingRecord, outsideIorEntering) == 112);
static_assert(offsetof(ShadingRecord, outsideIorLeaving) == 116);
static_assert(offsetof(ShadingRecord, frameMatrix) == 120);
static_assert(offsetof(ShadingRecord, objectMatrix) == 184);
static_assert(offsetof(ShadingRecord, rayType) == 320);
static_assert(offsetof(ShadingRecord, frontFacing) == 336);
static_assert(offsetof(ShadingRecord, outColor) == 340);
static_assert(offsetof(ShadingRecord, outTransmittance) == 356);
static_assert(offsetof(ShadingRecord, sampleDir) == 368);
static_assert(offsetof(ShadingRecord, sampleWeight) == 380);
static_assert(offsetof(ShadingRecord, sampleCos) == 392);
static_assert(offsetof(ShadingRecord, samplePdf) == 396);
static_assert(offsetof(ShadingRecord, sampleLobe) == 400);
static_assert(offsetof(ShadingRecord, lobeRequest) == 404);
static_assert(offsetof(ShadingRecord, lightPosition) == 416);
static_assert(offsetof(ShadingRecord, lightAxis) == 428);
static_assert(offsetof(ShadingRecord, lightDir) == 440);
static_assert(offsetof(ShadingRecord, lightDistance) == 452);
static_assert(offsetof(ShadingRecord, outLightColor) == 456);
static_assert(offsetof(ShadingRecord, outLightShadow) == 468);
static_assert(offsetof(ShadingRecord, throughMatte) == 480);
static_assert(offsetof(ShadingRecord, noContribution) == 481);
static_assert(offsetof(ShadingRecord, varyings) == kVaryingsOffset);
static_assert(sizeof(ShadingRecord) == 568);

// Reads or writes a varying at its declared byte offset in the varyings area. The copy keeps the
// access free of alignment and aliasing assumptions; it compiles to plain loads and stores.
template <class T>
inline T readVarying(const ShadingRecord& record, int offset) {
    T value;
    std::memcpy(&value, record.varyings + offset, sizeof(T));
    return value;
}
// A Float3 is read lane by lane. Copied whole, its twelve bytes went through the stack as an
// 8-byte and a 4-byte piece and came back as three floats, and the loads that straddle the pieces
// waited for the stores: a stall at the head of every frame built from a tangent.
template <>
inline Float3 readVarying<Float3>(const ShadingRecord& record, int offset) {
    float lane[3];
    for (int i = 0; i < 3; ++i) std::memcpy(&lane[i], record.varyings + offset + 4 * i, sizeof(float));
    return Float3(lane[0], lane[1], lane[2]);
}
template <class T>
inline void writeVarying(ShadingRecord& record, int offset, const T& value) {
    std::memcpy(record.varyings + offset, &value, sizeof(T));
}

}  // namespace ksi
