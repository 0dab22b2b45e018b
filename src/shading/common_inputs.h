// The inputs every newer material opens its parameter block with (ambient occlusion, masking
// and two vertex varyings), the global clipping map and common tint most of them add, and the
// operations and shade sequence built on them. Each material embeds these blocks as members
// named `common`, `clip` and `tint` and declares them with the row groups below, so the names,
// order and defaults exist once.
#pragma once

#include <array>

#include "frame/host_interfaces.h"
#include "frame/parameter_table.h"
#include "frame/shading_record.h"
#include "frame/types.h"

namespace ksi {

struct CommonMaterialInputs {
    // Ambient occlusion: mode 1 reads it from the texture at "uv1", mode 2 from the red of
    // "vtxcolor" (both only with usePrecalcAO); anything else asks the host to trace it.
    TextureHandle ambientOcclusionTexture;
    int32_t ambientOcclusionMode = 0;
    float ambientOcclusionFactor = 1.0f;
    Float3 ambientOcclusionColor{0.0f, 0.0f, 0.0f};  // what full occlusion fades to
    ParamBool usePrecalcAO = true;
    ParamBool showAmbientOnly = false;   // read only by the ambient-only material
    ParamBool usingRaytracedAO = false;  // likewise
    // Masking: how much of the surface is cut away, per channel (0 opaque, 1 gone). Mode -1
    // none, 0 constant colour, 1 uv texture, 2 planar, 3 box, 4 cylindrical projection.
    Float3 maskingColor{0.0f, 0.0f, 0.0f};
    int32_t maskingMode = 0;
    TextureHandle maskingTexture;
    Float4x4 maskingTextureMatrix = Float4x4::identity();  // object space to projection space
    ParamBool maskingInvertTexture = false;
    float maskingAngularRepeat = 1.0f;
    Float3x3 maskingUVMatrix = Float3x3::identity();
    ParamBool maskingFromAlpha = false;
};

// A list of clipping planes in a one-dimensional float texture: texel 0 holds the count n,
// texels 1 to n one plane (a, b, c, d) each; a point is kept when it lies on the positive side
// of every plane.
struct GlobalClipInputs {
    TextureHandle u_globalClippingMap;
    ParamBool u_globalClippingMapEnable = false;
};

// Multiplies the final colour's RGB; the fourth component is not used.
struct CommonTint {
    ParamBool u_commonTintEnable = false;
    Float4 u_commonTintColor{1.0f, 1.0f, 1.0f, 1.0f};
};

// Where a class asked the host to put each varying in the record (offsets in the varyings area).
struct VaryingLayout {
    int32_t uv1 = 0;
    int32_t vtxcolor = 8;
    int32_t uv = 0;
    int32_t tangent = 0;
    int32_t bitangent = 0;
};

// ---------------------------------------------------------------------------------------------
// Declaration rows, for a Block holding a CommonMaterialInputs member named `common`.

// Items 1 to 7, the varyings "uv1" and "vtxcolor" (by default at offsets 0 and 8), items 8 to 15.
template <class Block>
constexpr std::array<Declaration, 17> commonInputRows(uint32_t uv1Offset = 0, uint32_t vtxcolorOffset = 8) {
    return {
        KS_TEXTURE_AT(Block, common.ambientOcclusionTexture, "ambientOcclusionTexture", ParamKind::Texture),
        KS_PARAM_AT(Block, common.ambientOcclusionMode, "ambientOcclusionMode"),
        KS_PARAM_AT(Block, common.ambientOcclusionFactor, "ambientOcclusionFactor"),
        KS_PARAM_AT(Block, common.ambientOcclusionColor, "ambientOcclusionColor"),
        KS_PARAM_AT(Block, common.usePrecalcAO, "usePrecalcAO"),
        KS_PARAM_AT(Block, common.showAmbientOnly, "showAmbientOnly"),
        KS_PARAM_AT(Block, common.usingRaytracedAO, "usingRaytracedAO"),
        varying(kVaryingFloat2, "uv1", uv1Offset),
        varying(kVaryingFloat4, "vtxcolor", vtxcolorOffset),
        KS_PARAM_AT(Block, common.maskingColor, "maskingColor"),
        KS_PARAM_AT(Block, common.maskingMode, "maskingMode"),
        KS_TEXTURE_AT(Block, common.maskingTexture, "maskingTexture", ParamKind::Texture),
        KS_PARAM_AT(Block, common.maskingTextureMatrix, "maskingTextureMatrix"),
        KS_PARAM_AT(Block, common.maskingInvertTexture, "maskingInvertTexture"),
        KS_PARAM_AT(Block, common.maskingAngularRepeat, "maskingAngularRepeat"),
        KS_PARAM_AT(Block, common.maskingUVMatrix, "maskingUVMatrix"),
        KS_PARAM_AT(Block, common.maskingFromAlpha, "maskingFromAlpha"),
    };
}

// Items 17 and 18, for a Block with a GlobalClipInputs member named `clip`.
template <class Block>
constexpr std::array<Declaration, 2> globalClipRows() {
    return {
        KS_TEXTURE_AT(Block, clip.u_globalClippingMap, "u_globalClippingMap", ParamKind::DataTexture),
        KS_PARAM_AT(Block, clip.u_globalClippingMapEnable, "u_globalClippingMapEnable"),
    };
}

// For a Block with a CommonTint member named `tint`.
template <class Block>
constexpr std::array<Declaration, 2> commonTintRows() {
    return {
        KS_PARAM_AT(Block, tint.u_commonTintEnable, "u_commonTintEnable"),
        KS_PARAM_AT(Block, tint.u_commonTintColor, "u_commonTintColor"),
    };
}

// The varyings "bitangent", "tangent" and "uv" of a material with a tangent frame, where the
// layout puts them (by default at 24, 36 and 48).
constexpr std::array<Declaration, 3> tangentVaryingRows(uint32_t bitangent = 24, uint32_t tangent = 36,
                                                        uint32_t uv = 48) {
    return {
        varying(kVaryingFloat3, "bitangent", bitangent),
        varying(kVaryingFloat3, "tangent", tangent),
        varying(kVaryingFloat2, "uv", uv),
    };
}
inline constexpr VaryingLayout kTangentMaterialVaryings{.uv1 = 0, .vtxcolor = 8, .uv = 48, .tangent = 36,
                                                        .bitangent = 24};

// ---------------------------------------------------------------------------------------------
// Operations

// The mask m at a point: (0, 0, 0) fully opaque, (1, 1, 1) fully cut away. Modes outside -1 to 4
// give no coordinate and are treated like -1 (no masking).
Float3 evaluateMasking(const CommonMaterialInputs& inputs, Float2 uv, Float3 objectPosition, Float3 objectNormal);

// The ambient-occlusion multiplier. attenuationColor is the caller's colour whose largest
// component dims the effect; weight is 1 minus the smallest mask component.
Float3 evaluateAmbientOcclusion(const CommonMaterialInputs& inputs, RenderServices* services, Float2 uv1,
                                Float4 vertexColor, Float3 attenuationColor, Float3 position, Float3 normal,
                                Float3 rayDirection, Float3 geometricNormal, float weight);

// Whether position lies on the kept side of every plane of the clipping map. At most
// kMaxClippingPlanes planes are read: the cap binds only for an absurd count, and keeps a garbage
// count texel from hanging a render.
inline constexpr float kMaxClippingPlanes = 4096.0f;
bool passesGlobalClip(const GlobalClipInputs& clip, Float3 position);

// The clip test that evaluateBsdf and sampleBsdf make first: true when the sample is clipped
// away, in which case noContribution is set and nothing else is to be written.
bool clippedAway(const GlobalClipInputs& clip, ShadingRecord* record);

// The mirror direction of I about N, bent where needed so that it leaves the geometric surface
// G at a cosine of at least 0.05 (all three unit vectors, I pointing into the surface).
Float3 reflectClampedToSurface(Float3 rayDirection, Float3 geometricNormal, Float3 normal);

// What lies behind the cut-away part of the surface, blended in by the mask m per channel:
// rgb = (1 - m) rgb + m behind.rgb, alpha = behind's. A zero mask traces nothing and returns the
// colour as it is.
Float4 blendWithTransmission(RenderServices* services, const ShadingRecord& record, Float3 mask, Float4 color);

// What shows through a cutout's open share 1 - kappa, traced straight through the surface; a
// closed cutout (kappa exactly 1) traces nothing and shows black.
Float3 seenThroughOpening(RenderServices* services, const ShadingRecord& record, float kappa);

// What a material's lighting step hands back to the shade sequence.
struct MaterialTerms {
    Float3 added{0.0f, 0.0f, 0.0f};             // sum of the terms that are simply added
    Float3 ambient{0.0f, 0.0f, 0.0f};           // the term multiplied by the AO colour
    Float3 attenuationColor{0.0f, 0.0f, 0.0f};  // dims the ambient occlusion
    // Terms added one by one after the ambient term, for a material whose sum is ordered so.
    Float3 trailing[3]{Float3(0.0f), Float3(0.0f), Float3(0.0f)};
};

// The common tail of shade: added + ambient x ao + trailing, the tint (when given and enabled),
// alpha 1, then the blend with what lies behind by the mask; writes outColor.
void finishMaterialShade(RenderServices* services, ShadingRecord* record, Float3 mask, const MaterialTerms& terms,
                         Float3 ao, const CommonTint* tint);

// The normals the shade sequence works with: the record's, or a material's own oriented copies.
struct SurfaceNormals {
    Float3 normal;
    Float3 geomNormal;
    Float3 objectNormal;
};

inline SurfaceNormals recordNormals(const ShadingRecord& record) {
    return {record.normal, record.geomNormal, record.objectNormal};
}

// Whether a material's shade darkens its ambient term by the ambient occlusion (a mirror has no
// ambient term to darken).
enum class AmbientOcclusionStep : uint8_t { Applied, Skipped };

// The whole shade sequence of the newer materials: mask (returning with noContribution when the
// sample is fully cut away), the material's lighting, ambient occlusion (when applied) and
// finishMaterialShade. lighting() returns MaterialTerms.
template <class Lighting>
void shadeWithCommonInputs(const CommonMaterialInputs& inputs, const CommonTint* tint, const VaryingLayout& layout,
                           AmbientOcclusionStep aoStep, RenderServices* services, ShadingRecord* record,
                           const SurfaceNormals& normals, Lighting&& lighting) {
    Float3 mask = evaluateMasking(inputs, readVarying<Float2>(*record, layout.uv), record->objectPosition,
                                  normals.objectNormal);
    if (mask == Float3(1.0f)) {
        record->noContribution = 1;
        return;
    }
    MaterialTerms terms = lighting();
    Float3 ao(1.0f);
    if (aoStep == AmbientOcclusionStep::Applied) {
        float weight = 1.0f - minComponent(mask);
        ao = evaluateAmbientOcclusion(inputs, services, readVarying<Float2>(*record, layout.uv1),
                                      readVarying<Float4>(*record, layout.vtxcolor), terms.attenuationColor,
                                      record->position, normals.normal, record->rayDir, normals.geomNormal, weight);
    }
    finishMaterialShade(services, record, mask, terms, ao, tint);
}

template <class Lighting>
void shadeWithCommonInputs(const CommonMaterialInputs& inputs, const CommonTint* tint, const VaryingLayout& layout,
                           AmbientOcclusionStep aoStep, RenderServices* services, ShadingRecord* record,
                           Lighting&& lighting) {
    shadeWithCommonInputs(inputs, tint, layout, aoStep, services, record, recordNormals(*record),
                          static_cast<Lighting&&>(lighting));
}

}  // namespace ksi
