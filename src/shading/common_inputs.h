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

// Ambient occlusion and masking: mode 1 reads occlusion from the texture at "uv1", mode 2 from
// the red of "vtxcolor" (both only with usePrecalcAO), anything else asks the host to trace it.
// The mask says how much of the surface is cut away, per channel (0 opaque, 1 gone).
#define KS_AMBIENT_OCCLUSION_INPUTS(G, P, T)                                                                      \
    G("ambient occlusion")                                                                                        \
    T(Texture, ambientOcclusionTexture, "Precalculated occlusion in the red channel at uv1, read in mode 1 when " \
      "usePrecalcAO is set.")                                                                                     \
    P(int32_t, ambientOcclusionMode, 0,                                                                           \
      mode("Where occlusion comes from; modes 1 and 2 only with usePrecalcAO.",                                   \
          "0 traced by the host (any value but 1 and 2); 1 red of ambientOcclusionTexture at uv1; 2 red of the "  \
          "vertex colour"))                                                                                       \
    P(float, ambientOcclusionFactor, 1.0f, weight("Strength of the occlusion: 0 none, 1 full."))                  \
    P(Float3, ambientOcclusionColor, (Float3{0.0f, 0.0f, 0.0f}), colour("Colour that full occlusion fades to."))  \
    P(ParamBool, usePrecalcAO, true,                                                                              \
      toggle("Lets modes 1 and 2 read precalculated occlusion; off, occlusion is always traced."))                \
    P(ParamBool, showAmbientOnly, false,                                                                          \
      toggle("Read by AmbientOnly only: shows the occlusion grey instead of white."))                             \
    P(ParamBool, usingRaytracedAO, false,                                                                         \
      toggle("Read by AmbientOnly only: shows traced occlusion too, not just modes 1 and 2."))

#define KS_MASKING_INPUTS(G, P, T)                                                                             \
    G("masking")                                                                                               \
    P(Float3, maskingColor, (Float3{0.0f, 0.0f, 0.0f}),                                                        \
      colour("Mask of mode 0 per channel: 0 keeps the surface, 1 cuts it away to what lies behind."))          \
    P(int32_t, maskingMode, 0,                                                                                 \
      mode("Source of the mask; values outside -1 to 4 mask nothing.",                                         \
          "-1 none; 0 maskingColor; 1 maskingTexture at uv through maskingUVMatrix; 2 planar projection, cut " \
          "outside z -1 to 1; 3 box projection; 4 cylindrical projection"))                                    \
    T(Texture, maskingTexture, "Mask of modes 1 to 4: red, green and blue cut each channel (alpha with "       \
      "maskingFromAlpha).")                                                                                    \
    P(Float4x4, maskingTextureMatrix, Float4x4::identity(),                                                    \
      matrix("Object space to projection space for modes 2 to 4 (row vectors, translation in the last row).")) \
    P(ParamBool, maskingInvertTexture, false, toggle("Inverts the mask of modes 1 to 4."))                     \
    P(float, maskingAngularRepeat, 1.0f,                                                                       \
      scalar("How often the texture repeats around the axis in mode 4.").soft(1, 8))                           \
    P(Float3x3, maskingUVMatrix, Float3x3::identity(),                                                         \
      matrix("Transform of uv in mode 1 (row vectors, translation in the third row)."))                        \
    P(ParamBool, maskingFromAlpha, false,                                                                      \
      toggle("Takes the mask from the texel's alpha (1 when no texture is bound) instead of its colour."))

struct CommonMaterialInputs {
    KS_BLOCK_MEMBERS(KS_AMBIENT_OCCLUSION_INPUTS)
    KS_BLOCK_MEMBERS(KS_MASKING_INPUTS)
};

// Declared by most materials right after the common inputs, as a member of their own block.
#define KS_LATTICE_AO_INPUT(G, P, T)                                                                               \
    G("ambient occlusion")                                                                                         \
    P(ParamBool, LatticeAODisable, false,                                                                          \
      toggle("Leaves the host's occlusion off the indirect diffuse light (Metal, MetallicPaint, the Ward family; " \
          "others ignore it)."))

// A list of clipping planes in a one-dimensional float texture: texel 0 holds the count n,
// texels 1 to n one plane (a, b, c, d) each; a point is kept when it lies on the positive side
// of every plane.
#define KS_GLOBAL_CLIP_INPUTS(G, P, T)                                                                           \
    G("clipping")                                                                                                \
    T(DataTexture, u_globalClippingMap, "Clipping planes: texel 0 holds the count n, texels 1 to n a plane (a, " \
      "b, c, d) each; points not on the positive side of every plane are cut away.")                             \
    P(ParamBool, u_globalClippingMapEnable, false, toggle("Switches the clipping-plane test on."))

struct GlobalClipInputs {
    KS_BLOCK_MEMBERS(KS_GLOBAL_CLIP_INPUTS)
};

// Multiplies the final colour's RGB; the fourth component is not used.
#define KS_COMMON_TINT_INPUTS(G, P, T)                                                                   \
    G("tint")                                                                                            \
    P(ParamBool, u_commonTintEnable, false, toggle("Multiplies the final colour by u_commonTintColor.")) \
    P(Float4, u_commonTintColor, (Float4{1.0f, 1.0f, 1.0f, 1.0f}),                                       \
      colour("Tint of the final colour's red, green and blue; the fourth component is not used."))

struct CommonTint {
    KS_BLOCK_MEMBERS(KS_COMMON_TINT_INPUTS)
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
    constexpr std::size_t at = offsetof(Block, common);
    return concatRows(shiftRows(KS_BLOCK_ROWS(CommonMaterialInputs, KS_AMBIENT_OCCLUSION_INPUTS), at),
                      std::array{varying(kVaryingFloat2, "uv1", uv1Offset),
                                 varying(kVaryingFloat4, "vtxcolor", vtxcolorOffset)},
                      shiftRows(KS_BLOCK_ROWS(CommonMaterialInputs, KS_MASKING_INPUTS), at));
}

// Item 16, for a Block that holds LatticeAODisable itself.
template <class Block>
constexpr auto latticeAORows() {
    return KS_BLOCK_ROWS(Block, KS_LATTICE_AO_INPUT);
}

// Items 17 and 18, for a Block with a GlobalClipInputs member named `clip`.
template <class Block>
constexpr std::array<Declaration, 2> globalClipRows() {
    return shiftRows(KS_BLOCK_ROWS(GlobalClipInputs, KS_GLOBAL_CLIP_INPUTS), offsetof(Block, clip));
}

// For a Block with a CommonTint member named `tint`.
template <class Block>
constexpr std::array<Declaration, 2> commonTintRows() {
    return shiftRows(KS_BLOCK_ROWS(CommonTint, KS_COMMON_TINT_INPUTS), offsetof(Block, tint));
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

// The least cosine between a reflected direction and the geometric surface.
inline constexpr float kMinReflectionCosine = 0.05f;

// The mirror direction r of I about N bent so that it meets G at exactly kMinReflectionCosine,
// for the mirror directions that leave the geometric surface at less than that.
Float3 bendReflectionToSurface(Float3 rayDirection, Float3 geometricNormal, Float3 normal);

// The mirror direction of I about N, bent where needed so that it leaves the geometric surface
// G at a cosine of at least kMinReflectionCosine (all three unit vectors, I pointing into the
// surface). The common case is inlined into the callers: called, the three directions crossed
// the call in pieces, which cost the callers' shade up to a tenth of its time.
inline Float3 reflectClampedToSurface(Float3 rayDirection, Float3 geometricNormal, Float3 normal) {
    const Float3 r = rayDirection - 2.0f * dot(normal, rayDirection) * normal;
    if (dot(geometricNormal, r) >= kMinReflectionCosine) return r;
    return bendReflectionToSurface(rayDirection, geometricNormal, normal);
}

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
