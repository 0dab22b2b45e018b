// The slots of the Ward material, shared by its two revisions: the current kestrel_Mtl_Ward and
// the earlier revision the graph variants are built on. A Maps policy says what differs:
//
//   kEarlierRevision   the earlier revision has no global clip, decal or tint, orients the
//                      normal towards the ray, takes front from the geometric normal, lights the
//                      back side with the reversed normal and samples no refraction;
//   layout()           where the varyings sit in the record;
//   diffuseTexel()     the diffuse map's colour (already scaled) and alpha;
//   applyNormalMap()   one normal map onto a frame (tangent-space or height map, texture or graph);
//   cutout()           the cutout value.
//
// Everything else (frames, lobe weights, light loops, gathers, sampling) is one code path.
#pragma once

#include <cmath>

#include "frame/texture_lookup.h"
#include "shading/common_inputs.h"
#include "shading/light_fade.h"
#include "shading/metal_lobes.h"
#include "materials/ward/ward_frame.h"
#include "shading/ward_lobe.h"
#include "shading/ward_sampling.h"
#include "materials/ward/ward_material.h"

namespace ksi {

// The current revision's maps: host textures, tangent-space normal maps.
struct CurrentWardMaps {
    static constexpr bool kEarlierRevision = false;
    const VaryingLayout& layout() const { return kTangentMaterialVaryings; }
    Float4 diffuseTexel(const WardParams& p, RenderServices*, const ShadingRecord& record) const {
        Float4 texel = wardMapAt(p.u_diffuseMap, p.u_diffuseTransform, record, layout());
        return Float4(texel.xyz() * p.u_diffuseAmount, texel.w);
    }
    void applyNormalMap(ShadingFrame& frame, const TextureHandle& map, const Float3x3& transform, float amount,
                        RenderServices*, const ShadingRecord& record) const {
        applyTangentNormalMap(frame, wardMapAt(map, transform, record, layout()), amount);
    }
    float cutout(const WardParams& p, RenderServices*, const ShadingRecord& record) const {
        return wardMapAt(p.u_cutoutMap, p.u_cutoutTransform, record, layout()).x * p.u_cutoutAmount;
    }
};

// Which way the surface faces for this sample: the normal the frame is built around and
// whether the ray arrives at the front.
struct WardSurface {
    Float3 normal;
    bool front;
};

template <class Maps>
WardSurface wardSurface(const ShadingRecord& record) {
    if constexpr (Maps::kEarlierRevision) {
        // A ray exactly along the surface counts as arriving at the front.
        return {faceForwardNormal(record.normal, record.rayDir, record.geomNormal),
                dot(record.geomNormal, record.rayDir) <= 0.0f};
    } else {
        return {record.normal, record.frontFacing != 0};
    }
}

// ---------------------------------------------------------------------------------------------
// Inputs that do not depend on the revision.

struct WardRoughness {
    float x, y;
};

float glossToRoughness(float g);
WardRoughness computeWardRoughness(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout);
// Reflectivity from normal (r0) to grazing (r90) incidence along a power curve of the cosine.
float wardReflectivityAt(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout, float c);
float wardTransparencyAmount(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout);
float wardTranslucencyAmount(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout);
// The overlay blend of a fade colour into the base, faded in by f and then multiplied in by f.
Float3 overlayFade(Float3 base, Float3 blend, float f);
float glossyCurve(float x);
// Decals cover the unit square of their transformed uv; outside it the material is absent.
bool outsideDecal(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout);

struct LobeWeights {
    Float3 diffuse{0.0f, 0.0f, 0.0f};
    Float3 specular{0.0f, 0.0f, 0.0f};
    Float3 transmission{0.0f, 0.0f, 0.0f};
    Float3 transmissionTint{1.0f, 1.0f, 1.0f};
};

Float3 wardSpecularColor(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout);

// The split of the surface's colour between the lobes, from the specular colour S and the
// diffuse colour D (plain, map or graph) before the image fade.
LobeWeights wardLobeWeights(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout, Float3 S,
                            Float3 D, bool front, bool transmissionView, float cosine);

template <class Maps>
LobeWeights computeLobeWeights(const WardParams& p, const Maps& maps, RenderServices* services,
                               const ShadingRecord& record, bool front, bool transmissionView, float cosine) {
    const Float3 S = wardSpecularColor(p, record, maps.layout());
    Float3 D = p.u_diffuseColor;
    if (p.u_diffuseMapEnable) {
        Float4 texel = maps.diffuseTexel(p, services, record);
        Float3 c = texel.xyz();
        if (p.u_imageFadeEnable == 1) {
            float f = texel.w * p.u_imageFade;
            D = f * c + (1.0f - f) * p.u_diffuseColor;
        } else {
            D = c;
        }
    }
    return wardLobeWeights(p, record, maps.layout(), S, D, front, transmissionView, cosine);
}

// ---------------------------------------------------------------------------------------------
// shade, in steps. Local vectors follow the library's convention: the view direction wi points
// into the surface, like the record's rayDir (I in world space).

// What lies behind a decal's extent or a cutout's open part. A cutout kappa below 1 traces what
// shows through its open share; at 0 nothing else is left to shade.
struct WardCutout {
    float kappa = 1.0f;
    Float3 passThrough{0.0f, 0.0f, 0.0f};
};

// Fresh terms made to show only what lies behind the surface. Set in place: a whole
// MaterialTerms assigned here was stored piecewise and reloaded in wide blocks, a stall that cost
// a cut-out shade a sixth of its time.
inline void showOnlyBehind(MaterialTerms& terms, Float3 behind) {
    terms.added = behind;
    terms.attenuationColor = Float3(1.0f);
}

// The decal's extent and the cutout map: true (with the terms to return) when the surface is
// absent here, otherwise the cutout share to apply to every term.
template <class Maps>
bool wardAbsentHere(const WardParams& p, const Maps& maps, RenderServices* services, const ShadingRecord& record,
                    WardCutout& cutout, MaterialTerms& terms) {
    if (!Maps::kEarlierRevision && outsideDecal(p, record, maps.layout())) {
        Float4 behind;
        services->traceTransmission(&behind, &record.position, &record.rayDir, 1.0f);
        showOnlyBehind(terms, behind.xyz());
        return true;
    }
    if (!p.u_cutoutMapEnable) return false;
    cutout.kappa = maps.cutout(p, services, record);
    cutout.passThrough = seenThroughOpening(services, record, cutout.kappa);
    if (cutout.kappa != 0.0f) return false;
    showOnlyBehind(terms, cutout.passThrough);
    return true;
}

// Everything the lighting steps of shade share.
struct WardShadeSetup {
    ShadingFrame frame;  // the BSDF frame, its normal turned towards the view
    Float3 wi;           // local view direction
    WardRoughness alpha;
    LobeWeights weights;
    Float3 Ns;     // the normal lights and gathers use
    Float3 Nback;  // the normal the back side is lit around
    bool front;
};

template <class Maps>
WardShadeSetup wardShadeSetup(const WardParams& p, const Maps& maps, RenderServices* services,
                              const ShadingRecord& record, const WardSurface& surface) {
    const WardFrames frames = assembleShadingFrame(p, maps, surface.normal, services, record);
    WardShadeSetup s;
    s.frame = frames.bsdf;
    s.frame.N = correctShadingNormal(-record.rayDir, surface.normal, s.frame.N);
    orthonormalize(s.frame);
    s.wi = toLocal(s.frame, record.rayDir);
    s.alpha = computeWardRoughness(p, record, maps.layout());
    s.weights = computeLobeWeights(p, maps, services, record, true, false, -s.wi.z);
    s.Ns = p.u_normal1AsShadingNormal ? s.frame.N : frames.lighting.N;
    // The earlier revision lights the back side around the reversed normal.
    s.Nback = Maps::kEarlierRevision ? -s.Ns : s.Ns;
    s.front = surface.front;
    return s;
}

// Diffuse and Ward highlights from the host's lights on the front side.
struct DirectLight {
    Float3 diffuse{0.0f, 0.0f, 0.0f};
    Float3 specular{0.0f, 0.0f, 0.0f};
};
// The front lights and the reflection are inlined into shade: called, the light sums came back
// through memory and the setup was reread in pieces, which cost shade a twentieth of its time.
[[gnu::always_inline]] inline DirectLight wardFrontLights(RenderServices* services, const ShadingRecord& record,
                                                          const WardShadeSetup& s) {
    DirectLight direct;
    const bool specularActive = maxComponent(s.weights.specular) > kNegligibleSpecular;
    for (const LightSample* light = services->getLightSamples(0, &record.position, &s.Ns); light;
         light = light->next) {
        const Float3& colour = light->shadowedColor;
        if (isZero(colour)) continue;
        const float w = horizonWeight(light->direction, s.Ns, light->specularScale);
        direct.diffuse += s.weights.diffuse * colour * w;
        if (light->kind == kLightKindNoSpecular) continue;
        const Float3 L = toLocal(s.frame, light->direction);
        if (s.wi.z < 0.0f && L.z > 0.0f && specularActive) {
            direct.specular +=
                wardBrdf(s.wi, L, Float3(0.0f), s.weights.specular, s.alpha.x, s.alpha.y) * colour * w;
        }
    }
    return direct;
}

// Lit from behind: translucency lets the lights through without a cosine. Adds to the running
// diffuse sum, light by light, after the front lights.
void addWardBackLights(RenderServices* services, const ShadingRecord& record, const WardShadeSetup& s, Float3 Db,
                       Float3& diffuse);

// The traced glossy reflection of the front side, unless only highlights are wanted.
[[gnu::always_inline]] inline Float3 wardReflection(const WardParams& p, RenderServices* services,
                                                    const ShadingRecord& record, const WardShadeSetup& s) {
    const Float3& S = s.weights.specular;
    if (!s.front || !(maxComponent(S) > kNegligibleSpecular) || p.u_reflectionHighlightOnly) return Float3(0.0f);
    Float3 R = reflectClampedToSurface(record.rayDir, record.geomNormal, s.frame.N);
    Float3 seen;
    services->traceGlossyReflection(&seen, &record.position, &R, p.u_reflectGlossyValue, maxComponent(S));
    return seen * S;
}

// Light through the surface: refracted (or, trapped inside, totally reflected) and traced glossy.
Float3 wardRefraction(const WardParams& p, RenderServices* services, const ShadingRecord& record,
                      const VaryingLayout& layout, const WardShadeSetup& s, Float3 Tw);

// The additional colour, mapped when its map is on.
Float3 wardAdditional(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout);

template <class Maps>
void wardShade(const WardParams& p, const Maps& maps, RenderServices* services, ShadingRecord* record) {
    const WardSurface surface = wardSurface<Maps>(*record);
    const VaryingLayout& layout = maps.layout();
    const SurfaceNormals normals{surface.normal, record->geomNormal, record->objectNormal};
    const CommonTint* tint = Maps::kEarlierRevision ? nullptr : &p.tint;
    shadeWithCommonInputs(p.common, tint, layout, AmbientOcclusionStep::Applied, services, record, normals, [&]() {
        WardCutout cutout;
        MaterialTerms terms;
        if (wardAbsentHere(p, maps, services, *record, cutout, terms)) return terms;

        const WardShadeSetup s = wardShadeSetup(p, maps, services, *record, surface);
        DirectLight direct = wardFrontLights(services, *record, s);
        LobeWeights back;
        Float3 Db(0.0f);
        if (!s.front) {
            back = computeLobeWeights(p, maps, services, *record, false, false, -s.wi.z);
            Db = back.diffuse * back.transmissionTint;
            addWardBackLights(services, *record, s, Db, direct.diffuse);
        }
        Float3 indirect(0.0f);
        indirect += metalIndirectDiffuse(services, s.weights.diffuse, record->position, s.Ns, p.LatticeAODisable);
        if (!s.front) indirect += metalIndirectDiffuse(services, Db, record->position, s.Nback, p.LatticeAODisable);
        const Float3 Tw = s.front ? s.weights.transmission : back.transmission;
        Float3 reflection = wardReflection(p, services, *record, s);
        Float3 refraction = wardRefraction(p, services, *record, layout, s, Tw);
        Float3 additional = wardAdditional(p, *record, layout);
        if (p.u_cutoutMapEnable) {
            const float kappa = cutout.kappa;
            direct.diffuse *= kappa;
            direct.specular *= kappa;
            indirect *= kappa;
            reflection *= kappa;
            additional *= kappa;
            refraction = kappa * refraction + (1.0f - kappa) * cutout.passThrough;
        }
        // Added in the order diffuse, specular, (ambient through the AO step), reflection,
        // refraction, additional.
        terms.attenuationColor = Tw;
        terms.added = direct.diffuse + direct.specular;
        terms.ambient = indirect;
        terms.trailing[0] = reflection;
        terms.trailing[1] = refraction;
        terms.trailing[2] = additional;
        return terms;
    });
}

// ---------------------------------------------------------------------------------------------
// The other slots.

template <class Maps>
void wardShadowTransmittance(const WardParams& p, const Maps& maps, RenderServices* services, ShadingRecord* record) {
    constexpr bool kEarlier = Maps::kEarlierRevision;
    if (!kEarlier && outsideDecal(p, *record, maps.layout())) {
        record->outTransmittance = Float3(1.0f);
        return;
    }
    Float3 result(0.0f);
    if (p.u_cutoutMapEnable) {
        float kappa = maps.cutout(p, services, *record);
        if (kappa != 1.0f) result = Float3(1.0f - kappa);
    }
    if (p.u_transparency) {
        const WardSurface surface = wardSurface<Maps>(*record);
        Float3 n = surface.normal;
        if constexpr (!kEarlier) n = dot(record->rayDir, record->geomNormal) > 0.0f ? -record->normal : record->normal;
        result = computeLobeWeights(p, maps, services, *record, surface.front, true, -dot(record->rayDir, n))
                     .transmission;
    }
    record->outTransmittance = result;
}

// The current revision's gates before evaluating or sampling: the global clip (which marks the
// record itself) and the decal's extent. True when the sample goes no further.
template <class Maps>
bool wardSampleGatedAway(const WardParams& p, const Maps& maps, ShadingRecord* record) {
    if constexpr (Maps::kEarlierRevision) return false;
    if (clippedAway(p.clip, record)) return true;
    if (outsideDecal(p, *record, maps.layout())) {
        record->noContribution = 1;
        return true;
    }
    return false;
}

inline void writeNoReflectance(ShadingRecord* record) {
    record->sampleWeight = Float3(0.0f);
    record->sampleCos = 0.0f;
}

// Sampling and evaluation work in the BSDF frame as assembled (no view correction).
template <class Maps>
void wardEvaluateBsdf(const WardParams& p, const Maps& maps, RenderServices* services, ShadingRecord* record) {
    if (wardSampleGatedAway(p, maps, record)) return;
    const WardSurface surface = wardSurface<Maps>(*record);
    const ShadingFrame F = assembleShadingFrame(p, maps, surface.normal, services, *record).bsdf;
    const Float3 wi = toLocal(F, record->rayDir);
    const Float3 L = toLocal(F, record->sampleDir);
    if (L.z <= 0.0f || wi.z >= 0.0f) return writeNoReflectance(record);
    const WardRoughness alpha = computeWardRoughness(p, *record, maps.layout());
    const LobeWeights W = computeLobeWeights(p, maps, services, *record, true, false, -wi.z);
    record->sampleCos = sampleCosine(record->sampleDir, surface.normal, L, p.u_cosineUsesBump);
    if (record->sampleCos <= 0.0f) return writeNoReflectance(record);
    record->sampleWeight = wardBrdf(wi, L, W.diffuse, W.specular, alpha.x, alpha.y);
}

// The specular refraction branch of sampleBsdf (current revision only); true when it drew the
// sample.
bool sampleWardRefraction(const WardParams& p, RenderServices* services, ShadingRecord* record,
                          const LobeWeights& W, float c);

template <class Maps>
void wardSampleBsdf(const WardParams& p, const Maps& maps, RenderServices* services, ShadingRecord* record) {
    if (wardSampleGatedAway(p, maps, record)) return;
    const WardSurface surface = wardSurface<Maps>(*record);
    const ShadingFrame F = assembleShadingFrame(p, maps, surface.normal, services, *record).bsdf;
    const Float3 wi = toLocal(F, record->rayDir);
    if (wi.z >= 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    const WardRoughness alpha = computeWardRoughness(p, *record, maps.layout());
    const float c = -wi.z;
    const LobeWeights W = computeLobeWeights(p, maps, services, *record, true, false, c);
    if constexpr (!Maps::kEarlierRevision) {
        if (p.u_transparency && sampleWardRefraction(p, services, record, W, c)) return;
    }
    const WardDrawInputs draw{F,        wi, W.diffuse, W.specular, alpha.x, alpha.y, surface.normal,
                              p.u_cosineUsesBump, NanDraw::Stands};
    if (!lobeRequested(record->lobeRequest, kLobeDiffuseReflection) &&
        !lobeRequested(record->lobeRequest, kLobeGlossyReflection)) {
        sampleGlossyOnly(services, record, draw);
    } else {
        sampleDiffuseGlossyMixture(services, record, draw, wardDiffuseChance(W.diffuse, W.specular));
    }
}

}  // namespace ksi
