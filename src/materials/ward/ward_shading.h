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

// The cosine that goes with a sampled or evaluated direction: local z when the bumped frame is
// to be used, otherwise against the surface normal.
inline float wardSampleCosine(const WardParams& p, Float3 sampleDir, Float3 normal, Float3 local) {
    return p.u_cosineUsesBump ? local.z : dot(sampleDir, normal);
}

// ---------------------------------------------------------------------------------------------
// The slots.

template <class Maps>
void wardShade(const WardParams& p, const Maps& maps, RenderServices* services, ShadingRecord* record) {
    constexpr bool kEarlier = Maps::kEarlierRevision;
    constexpr float kSpecularEpsilon = 0.00001f;
    const WardSurface surface = wardSurface<Maps>(*record);
    const VaryingLayout& layout = maps.layout();
    const SurfaceNormals normals{surface.normal, record->geomNormal, record->objectNormal};
    shadeWithCommonInputs(p.common, kEarlier ? nullptr : &p.tint, layout, true, services, record, normals, [&]() {
        MaterialTerms terms;
        const Float3 I = record->rayDir;
        const Float3 Pos = record->position;
        const bool front = surface.front;
        if (!kEarlier && outsideDecal(p, *record, layout)) {
            Float4 behind;
            services->traceTransmission(&behind, &Pos, &I, 1.0f);
            terms.added = behind.xyz();
            terms.attenuationColor = Float3(1.0f);
            return terms;
        }
        float kappa = 1.0f;
        Float3 passThrough(0.0f);
        if (p.u_cutoutMapEnable) {
            kappa = maps.cutout(p, services, *record);
            if (kappa != 1.0f) {
                Float4 behind;
                services->traceTransmission(&behind, &Pos, &I, 1.0f - kappa);
                passThrough = behind.xyz();
            }
            if (kappa == 0.0f) {
                terms.added = passThrough;
                terms.attenuationColor = Float3(1.0f);
                return terms;
            }
        }

        WardFrames frames = assembleShadingFrame(p, maps, surface.normal, services, *record);
        ShadingFrame F = frames.bsdf;
        F.N = correctShadingNormal(-I, surface.normal, F.N);
        orthonormalize(F);
        const Float3 Il = toLocal(F, I);
        const WardRoughness alpha = computeWardRoughness(p, *record, layout);
        const LobeWeights W = computeLobeWeights(p, maps, services, *record, true, false, -Il.z);
        const Float3 Ns = p.u_normal1AsShadingNormal ? F.N : frames.lighting.N;
        // The earlier revision lights the back side around the reversed normal.
        const Float3 Nback = kEarlier ? -Ns : Ns;

        // Refraction geometry, and whether light trapped inside reflects totally.
        float eta = 1.0f;
        if (p.u_transparency) eta = front ? record->outsideIorEntering / p.u_ior : p.u_ior / record->outsideIorLeaving;
        const float cn = std::fabs(dot(Ns, I));
        const float k = (cn * cn - 1.0f) * (eta * eta) + 1.0f;
        const Float3 refracted = (cn * eta - std::sqrt(k)) * Ns + eta * I;
        const bool totallyReflecting = !front && p.u_transparency && (k <= 0.000001f || isZero(refracted));

        Float3 Ld(0.0f), Ls(0.0f), Li(0.0f), Lr(0.0f), Lt(0.0f), La(0.0f);
        const LightSample* lights = services->getLightSamples(0, &Pos, &Ns);
        for (const LightSample* light = lights; light; light = light->next) {
            const Float3& colour = light->shadowedColor;
            if (isZero(colour)) continue;
            float w = horizonWeight(light->direction, Ns, light->specularScale);
            Ld += W.diffuse * colour * w;
            if (light->kind == kLightKindNoSpecular) continue;
            Float3 L = toLocal(F, light->direction);
            if (Il.z < 0.0f && L.z > 0.0f && maxComponent(W.specular) > kSpecularEpsilon) {
                Ls += wardBrdf(Il, L, Float3(0.0f), W.specular, alpha.x, alpha.y) * colour * w;
            }
        }
        LobeWeights back;
        Float3 Db(0.0f);
        if (!front) {
            // Lit from behind: translucency lets the lights through without a cosine.
            back = computeLobeWeights(p, maps, services, *record, false, false, -Il.z);
            Db = back.diffuse * back.transmissionTint;
            for (const LightSample* light = services->getLightSamples(0, &Pos, &Nback); light; light = light->next) {
                if (!isZero(light->shadowedColor)) Ld += Db * light->shadowedColor * light->specularScale;
            }
        }
        Li += metalIndirectDiffuse(services, W.diffuse, record->position, Ns, p.LatticeAODisable);
        if (!front) Li += metalIndirectDiffuse(services, Db, record->position, Nback, p.LatticeAODisable);

        if (front && maxComponent(W.specular) > kSpecularEpsilon && !p.u_reflectionHighlightOnly) {
            Float3 R = reflectClampedToSurface(I, record->geomNormal, F.N);
            Float3 seen;
            services->traceGlossyReflection(&seen, &Pos, &R, p.u_reflectGlossyValue, maxComponent(W.specular));
            Lr = seen * W.specular;
        }

        const Float3 Tw = front ? W.transmission : back.transmission;
        terms.attenuationColor = Tw;
        if (p.u_transparency && !isZero(Tw)) {
            Float3 direction = totallyReflecting ? reflectClampedToSurface(I, record->geomNormal, Ns) : refracted;
            if (!isZero(direction)) {
                float gloss = p.u_refractGlossyValue;
                if (p.u_refractGlossyMapEnable) {
                    gloss = glossyCurve(wardMapAt(p.u_refractGlossyMap, p.u_refractGlossyTransform, *record, layout).x *
                                        p.u_refractGlossyAmount);
                }
                Float3 seen;
                services->traceGlossyTransmission(&seen, &Pos, &direction, gloss, maxComponent(Tw));
                Lt = seen * Tw;
            }
        }

        La = p.u_additionalColor;
        if (p.u_additionalMapEnable) {
            La = p.u_additionalColor * p.u_additionalAmount *
                 saturate3(wardMapAt(p.u_additionalMap, p.u_additionalMapTransform, *record, layout).xyz());
        }
        if (p.u_cutoutMapEnable) {
            Ld *= kappa;
            Ls *= kappa;
            Li *= kappa;
            Lr *= kappa;
            La *= kappa;
            Lt = kappa * Lt + (1.0f - kappa) * passThrough;
        }
        // Added in the order diffuse, specular, (ambient through the AO step), reflection,
        // refraction, additional.
        terms.added = Ld + Ls;
        terms.ambient = Li;
        terms.trailing[0] = Lr;
        terms.trailing[1] = Lt;
        terms.trailing[2] = La;
        return terms;
    });
}

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

// Sampling and evaluation work in the BSDF frame as assembled (no view correction).
template <class Maps>
void wardEvaluateBsdf(const WardParams& p, const Maps& maps, RenderServices* services, ShadingRecord* record) {
    if (wardSampleGatedAway(p, maps, record)) return;
    const WardSurface surface = wardSurface<Maps>(*record);
    const ShadingFrame F = assembleShadingFrame(p, maps, surface.normal, services, *record).bsdf;
    const Float3 I = toLocal(F, record->rayDir);
    const Float3 L = toLocal(F, record->sampleDir);
    if (L.z <= 0.0f || I.z >= 0.0f) {
        record->sampleWeight = Float3(0.0f);
        record->sampleCos = 0.0f;
        return;
    }
    const WardRoughness alpha = computeWardRoughness(p, *record, maps.layout());
    const LobeWeights W = computeLobeWeights(p, maps, services, *record, true, false, -I.z);
    record->sampleCos = wardSampleCosine(p, record->sampleDir, surface.normal, L);
    if (record->sampleCos <= 0.0f) {
        record->sampleWeight = Float3(0.0f);
        record->sampleCos = 0.0f;
        return;
    }
    record->sampleWeight = wardBrdf(I, L, W.diffuse, W.specular, alpha.x, alpha.y);
}

// The specular refraction branch of sampleBsdf (current revision only); true when it drew the
// sample.
bool sampleWardRefraction(const WardParams& p, RenderServices* services, ShadingRecord* record,
                          const LobeWeights& W, float c);

template <class Maps>
void wardSampleBsdf(const WardParams& p, const Maps& maps, RenderServices* services, ShadingRecord* record) {
    constexpr bool kEarlier = Maps::kEarlierRevision;
    constexpr float kInvPiLiteral = 0.3183099f;
    if (wardSampleGatedAway(p, maps, record)) return;
    const WardSurface surface = wardSurface<Maps>(*record);
    const ShadingFrame F = assembleShadingFrame(p, maps, surface.normal, services, *record).bsdf;
    const Float3 I = toLocal(F, record->rayDir);
    if (I.z >= 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    const WardRoughness alpha = computeWardRoughness(p, *record, maps.layout());
    const float c = -I.z;
    const LobeWeights W = computeLobeWeights(p, maps, services, *record, true, false, c);
    const uint8_t* request = record->lobeRequest;

    if constexpr (!kEarlier) {
        if (p.u_transparency && sampleWardRefraction(p, services, record, W, c)) return;
    }

    if (!request[0] && !request[1]) {
        // Glossy only: the diffuse part is removed from the weight.
        Float2 u;
        services->random2D(&u);
        WardSample sample = sampleWardLobe(I, W.diffuse, W.specular, alpha.x, alpha.y, u);
        if (sample.pdf <= 0.0f || sample.direction.z < 0.0f) {
            record->sampleLobe = kLobeNone;
            return;
        }
        record->sampleDir = fromLocal(F, sample.direction);
        record->sampleCos = wardSampleCosine(p, record->sampleDir, surface.normal, sample.direction);
        record->sampleLobe = kLobeSpecularReflection;
        record->samplePdf = 1.0f / sample.pdf;
        record->sampleWeight = sample.value - W.diffuse * kInvPiLiteral;
        return;
    }

    // Diffuse and glossy mixture.
    float q = 0.5f;
    if (maxComponent(W.diffuse) == 0.0f) {
        q = 0.0f;
    } else if (maxComponent(W.specular) == 0.0f) {
        q = 1.0f;
    }
    const WardMixtureSample sample = sampleWardMixture(services, I, W.diffuse, W.specular, alpha.x, alpha.y, q);
    if (!sample.drawn) {
        record->sampleLobe = kLobeNone;
        return;
    }
    record->sampleDir = fromLocal(F, sample.direction);
    record->sampleCos = wardSampleCosine(p, record->sampleDir, surface.normal, sample.direction);
    if (record->sampleCos < 0.0f || sample.mixturePdf <= 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    record->sampleLobe = kLobeGlossyReflection;
    record->samplePdf = 1.0f / sample.mixturePdf;
    record->sampleWeight = sample.value;
}

}  // namespace ksi
