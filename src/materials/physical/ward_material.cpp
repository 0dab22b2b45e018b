#include "materials/physical/ward_material.h"

#include <cmath>

#include "frame/exports.h"
#include "frame/texture_lookup.h"
#include "materials/physical/light_fade.h"
#include "materials/physical/metal_lobes.h"
#include "materials/physical/ward_frame.h"

namespace ksi {

namespace {
using P = WardParams;

constexpr auto kDeclarations = concatRows(
    commonInputRows<P>(),
    tangentVaryingRows(), std::array{KS_PARAM(P, LatticeAODisable)},
    globalClipRows<P>(),
    std::array{
        KS_PARAM(P, u_procedureMapEnable), KS_PARAM(P, u_procedureMapTiling), KS_PARAM(P, u_procedureMapAmount),
        KS_DATA_TEXTURE(P, u_smokeMap), KS_PARAM(P, u_normal0MapEnable), KS_TEXTURE(P, u_normal0Map),
        KS_PARAM(P, u_normal0AmountMapEnable), KS_TEXTURE(P, u_normal0AmountMap), KS_PARAM(P, u_normal0AmountTransform),
        KS_PARAM(P, u_normal0Amount), KS_PARAM(P, u_normal0Transform), KS_PARAM(P, u_normal1MapEnable),
        KS_TEXTURE(P, u_normal1Map), KS_PARAM(P, u_normal1Amount), KS_PARAM(P, u_normal1Transform),
        KS_PARAM(P, u_normal1AsShadingNormal), KS_PARAM(P, u_diffuseMapEnable), KS_TEXTURE(P, u_diffuseMap),
        KS_PARAM(P, u_diffuseColor), KS_PARAM(P, u_diffuseTransform), KS_PARAM(P, u_diffuseAmount),
        KS_PARAM(P, u_imageFadeEnable), KS_PARAM(P, u_imageFade), KS_TEXTURE(P, u_imageFadeMap),
        KS_PARAM(P, u_imageFadeTransform), KS_PARAM(P, u_imageFadeAmount), KS_PARAM(P, u_imageFadeColor),
        KS_PARAM(P, u_specularMapEnable), KS_TEXTURE(P, u_specularMap), KS_PARAM(P, u_specularColor),
        KS_PARAM(P, u_specularTransform), KS_PARAM(P, u_specularAmount), KS_PARAM(P, u_roughMapEnable),
        KS_TEXTURE(P, u_roughMap), KS_PARAM(P, u_roughValue), KS_PARAM(P, u_roughTransform),
        KS_PARAM(P, u_roughAmount), KS_PARAM(P, u_reflectGlossyValue), KS_PARAM(P, u_refractGlossyMapEnable),
        KS_TEXTURE(P, u_refractGlossyMap), KS_PARAM(P, u_refractGlossyTransform), KS_PARAM(P, u_refractGlossyAmount),
        KS_PARAM(P, u_refractGlossyValue), KS_PARAM(P, u_anisotropyMapEnable), KS_TEXTURE(P, u_anisotropyMap),
        KS_PARAM(P, u_anisotropyValue), KS_PARAM(P, u_anisotropyTransform), KS_PARAM(P, u_anisotropyAmount),
        KS_PARAM(P, u_anisoRotationMapEnable), KS_TEXTURE(P, u_anisoRotationMap), KS_PARAM(P, u_anisoRotationValue),
        KS_PARAM(P, u_anisoRotationTransform), KS_PARAM(P, u_anisoRotationAmount), KS_PARAM(P, u_brdfCurvePower),
        KS_PARAM(P, u_brdf00ReflectMapEnable), KS_TEXTURE(P, u_brdf00ReflectMap), KS_PARAM(P, u_brdf00ReflectTransform),
        KS_PARAM(P, u_brdf00ReflectAmount), KS_PARAM(P, u_brdf00Reflectivity), KS_PARAM(P, u_brdf90ReflectMapEnable),
        KS_TEXTURE(P, u_brdf90ReflectMap), KS_PARAM(P, u_brdf90ReflectTransform), KS_PARAM(P, u_brdf90Reflectivity),
        KS_PARAM(P, u_brdf90ReflectAmount), KS_PARAM(P, u_reflectivity), KS_PARAM(P, u_isMetal),
        KS_PARAM(P, u_transparency), KS_PARAM(P, u_transparencyMapEnable), KS_TEXTURE(P, u_transparencyMap),
        KS_PARAM(P, u_transparencyValue), KS_PARAM(P, u_transparencyTransform), KS_PARAM(P, u_transparencyFade),
        KS_PARAM(P, u_ior), KS_PARAM(P, u_transparencyAmount), KS_PARAM(P, u_translucencyMapEnable),
        KS_TEXTURE(P, u_translucencyMap), KS_PARAM(P, u_translucencyValue), KS_PARAM(P, u_translucencyTransform),
        KS_PARAM(P, u_translucencyAmount), KS_PARAM(P, u_cutoutMapEnable), KS_TEXTURE(P, u_cutoutMap),
        KS_PARAM(P, u_cutoutTransform), KS_PARAM(P, u_cutoutAmount), KS_PARAM(P, u_additionalMapEnable),
        KS_TEXTURE(P, u_additionalMap), KS_PARAM(P, u_additionalColor), KS_PARAM(P, u_additionalMapTransform),
        KS_PARAM(P, u_additionalAmount), KS_PARAM(P, u_cosineUsesBump), KS_PARAM(P, u_reflectionHighlightOnly),
        KS_PARAM(P, u_isDecal), KS_PARAM(P, u_decalTransform),
    },
    commonTintRows<P>());

constexpr const VaryingLayout& kVaryings = kTangentMaterialVaryings;
constexpr float kInvPiLiteral = 0.3183099f;
constexpr float kSpecularEpsilon = 0.00001f;

Float2 uvOf(const ShadingRecord& record) { return readVarying<Float2>(record, kVaryings.uv); }

Float4 mapAt(const TextureHandle& map, const Float3x3& transform, const ShadingRecord& record) {
    return lookupTexture(map, transformUv(uvOf(record), transform));
}

float glossToRoughness(float g) {
    float x = 1.0f - clamp(g, 0.0f, 1.0f);
    if (x < 0.5f) return 1.11078f * (x * x) - 0.225494f * x + 0.0505339f;
    if (x < 0.9f) return 24.1745f * (x * x * x) - 45.6128f * (x * x) + 28.605f * x - 5.72202f;
    return (x - 0.9f) * 3.0f + 0.7f;
}

struct Roughness {
    float x, y;
};

Roughness computeRoughness(const P& p, const ShadingRecord& record) {
    float alphaX = p.u_roughValue;
    if (p.u_roughMapEnable) alphaX = glossToRoughness(mapAt(p.u_roughMap, p.u_roughTransform, record).x * p.u_roughAmount);
    float a = p.u_anisotropyValue;
    if (p.u_anisotropyMapEnable) a = mapAt(p.u_anisotropyMap, p.u_anisotropyTransform, record).x * p.u_anisotropyAmount;
    return {alphaX, a * alphaX};
}

// Reflectivity from normal (r0) to grazing (r90) incidence along a power curve of the cosine.
float reflectivityAt(const P& p, const ShadingRecord& record, float c) {
    float r0 = p.u_brdf00Reflectivity;
    if (p.u_brdf00ReflectMapEnable) r0 = mapAt(p.u_brdf00ReflectMap, p.u_brdf00ReflectTransform, record).x * p.u_brdf00ReflectAmount;
    float r90 = p.u_brdf90Reflectivity;
    if (p.u_brdf90ReflectMapEnable) r90 = mapAt(p.u_brdf90ReflectMap, p.u_brdf90ReflectTransform, record).x * p.u_brdf90ReflectAmount;
    c = clamp(c, 0.0f, 1.0f);
    return clamp(r0 + (r90 - r0) * std::pow(1.0f - c, p.u_brdfCurvePower), 0.0f, 1.0f);
}

float transparencyAmount(const P& p, const ShadingRecord& record) {
    if (!p.u_transparency) return 0.0f;
    if (!p.u_transparencyMapEnable) return p.u_transparencyValue;
    const float f = p.u_transparencyFade;
    return (1.0f - f) * p.u_transparencyValue +
           mapAt(p.u_transparencyMap, p.u_transparencyTransform, record).x * p.u_transparencyAmount * f;
}

float translucencyAmount(const P& p, const ShadingRecord& record) {
    if (!p.u_transparency) return 0.0f;
    if (!p.u_translucencyMapEnable) return p.u_translucencyValue;
    return mapAt(p.u_translucencyMap, p.u_translucencyTransform, record).x * p.u_translucencyAmount;
}

// The overlay blend of a fade colour into the base, faded in by f and then multiplied in by f.
Float3 overlayFade(Float3 base, Float3 blend, float f) {
    auto channel = [f](float b, float k) {
        float o = b < 0.5f ? 2.0f * b * k : 1.0f - 2.0f * (1.0f - b) * (1.0f - k);
        float faded = b + (o - b) * f;
        float m = faded * k;
        return faded + (m - faded) * f;
    };
    return {channel(base.x, blend.x), channel(base.y, blend.y), channel(base.z, blend.z)};
}

struct LobeWeights {
    Float3 diffuse{0.0f, 0.0f, 0.0f};
    Float3 specular{0.0f, 0.0f, 0.0f};
    Float3 transmission{0.0f, 0.0f, 0.0f};
    Float3 transmissionTint{1.0f, 1.0f, 1.0f};
};

LobeWeights computeLobeWeights(const P& p, const ShadingRecord& record, bool front, bool transmissionView,
                               float cosine) {
    LobeWeights W;
    Float3 S = p.u_specularColor;
    if (p.u_specularMapEnable) S = saturate3(mapAt(p.u_specularMap, p.u_specularTransform, record).xyz() * p.u_specularAmount);
    Float3 D = p.u_diffuseColor;
    if (p.u_diffuseMapEnable) {
        Float4 texel = mapAt(p.u_diffuseMap, p.u_diffuseTransform, record);
        Float3 c = texel.xyz() * p.u_diffuseAmount;
        if (p.u_imageFadeEnable == 1) {
            float f = texel.w * p.u_imageFade;
            D = f * c + (1.0f - f) * p.u_diffuseColor;
        } else {
            D = c;
        }
    }
    if (p.u_imageFadeEnable > 1) {
        Float3 K(0.0f);
        if (p.u_imageFadeEnable == 2) {
            K = mapAt(p.u_imageFadeMap, p.u_imageFadeTransform, record).xyz() * p.u_imageFadeAmount;
        } else if (p.u_imageFadeEnable == 3) {
            K = p.u_imageFadeColor;
        } else if (p.u_imageFadeEnable == 4) {
            // A fixed grey: the noise behind it is filtered down to its mean at this scale.
            constexpr float v = 0.2160714f;
            K = Float3((1.0f - v) * 0.58f + v * 0.65f);
        }
        D = overlayFade(D, K, p.u_imageFade);
    }
    float c = std::fmax(cosine, 0.0f);
    float F = (front || transmissionView) ? reflectivityAt(p, record, c) * p.u_reflectivity : 0.0f;
    if (p.u_isMetal) {
        // Metals tint their reflection with the base colour and lose diffuse to it.
        float lum = luminance(S);
        S = S * D;
        D = D * (1.0f - lum * F);
    }
    W.specular = S * F;
    W.diffuse = D * (1.0f - F);
    if (!p.u_transparency) {
        if (!front) W.diffuse = Float3(0.0f);
        return W;
    }
    float t = translucencyAmount(p, record);
    float T = transparencyAmount(p, record);
    W.transmissionTint = Float3(T) + (1.0f - T) * p.u_diffuseColor;
    if (!front) {
        W.diffuse = W.diffuse * T * t;
        W.transmission = (1.0f - t) * (1.0f - F) * T * W.transmissionTint;
    } else {
        W.diffuse = W.diffuse * (1.0f - T);
        W.transmission = (1.0f - F) * T * W.transmissionTint;
    }
    return W;
}

// Decals cover the unit square of their transformed uv; outside it the material is absent.
bool outsideDecal(const P& p, const ShadingRecord& record) {
    if (!p.u_isDecal) return false;
    const Float2 uv = uvOf(record);
    const float* m = p.u_decalTransform.m;
    float u = uv.x * m[0] + uv.y * m[4] + 0.0f * m[8] + m[12];
    float v = uv.x * m[1] + uv.y * m[5] + 0.0f * m[9] + m[13];
    return !(u >= 0.0f && u <= 1.0f && v >= 0.0f && v <= 1.0f);
}

float cutoutValue(const P& p, const ShadingRecord& record) {
    return mapAt(p.u_cutoutMap, p.u_cutoutTransform, record).x * p.u_cutoutAmount;
}

float glossyCurve(float x) {
    if (std::fabs(x) <= 0.01f) return 1.0f;
    if (std::fabs(x - 1.0f) < 0.01f) return 0.0001f;
    return clamp(0.8082f * std::exp(-4.956f * x), 0.0001f, 1.0f);
}

// Sampling and evaluation work in the BSDF frame as assembled (no view correction).
ShadingFrame bsdfFrame(const P& p, RenderServices* services, const ShadingRecord& record) {
    return assembleShadingFrame(p, services, record).bsdf;
}

// Ambient plus indirect light times a diffuse colour, darkened by the host's occlusion unless
// LatticeAODisable is set.
Float3 indirectDiffuse(const P& p, RenderServices* services, const ShadingRecord& record, Float3 D, Float3 normal) {
    return metalIndirectDiffuse(services, D, record.position, normal, p.LatticeAODisable);
}
}  // namespace

void kestrel_Mtl_Ward::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapEvaluateBsdf | kCapSampleBsdf, &params,
                 kDeclarations);
}

void kestrel_Mtl_Ward::shade(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    shadeWithCommonInputs(p.common, &p.tint, kVaryings, true, services, record, [&]() {
        MaterialTerms terms;
        const Float3 I = record->rayDir;
        const Float3 Pos = record->position;
        const bool front = record->frontFacing != 0;
        if (outsideDecal(p, *record)) {
            Float4 behind;
            services->traceTransmission(&behind, &Pos, &I, 1.0f);
            terms.added = behind.xyz();
            terms.attenuationColor = Float3(1.0f);
            return terms;
        }
        float kappa = 1.0f;
        Float3 passThrough(0.0f);
        if (p.u_cutoutMapEnable) {
            kappa = cutoutValue(p, *record);
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

        WardFrames frames = assembleShadingFrame(p, services, *record);
        ShadingFrame F = frames.bsdf;
        F.N = correctShadingNormal(-I, record->normal, F.N);
        orthonormalize(F);
        const Float3 Il = toLocal(F, I);
        const Roughness alpha = computeRoughness(p, *record);
        const LobeWeights W = computeLobeWeights(p, *record, true, false, -Il.z);
        const Float3 Ns = p.u_normal1AsShadingNormal ? F.N : frames.lighting.N;

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
            back = computeLobeWeights(p, *record, false, false, -Il.z);
            Db = back.diffuse * back.transmissionTint;
            for (const LightSample* light = services->getLightSamples(0, &Pos, &Ns); light; light = light->next) {
                if (!isZero(light->shadowedColor)) Ld += Db * light->shadowedColor * light->specularScale;
            }
        }
        Li += indirectDiffuse(p, services, *record, W.diffuse, Ns);
        if (!front) Li += indirectDiffuse(p, services, *record, Db, Ns);

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
                    gloss = glossyCurve(mapAt(p.u_refractGlossyMap, p.u_refractGlossyTransform, *record).x *
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
                 saturate3(mapAt(p.u_additionalMap, p.u_additionalMapTransform, *record).xyz());
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

void kestrel_Mtl_Ward::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    const P& p = params;
    if (outsideDecal(p, *record)) {
        record->outTransmittance = Float3(1.0f);
        return;
    }
    Float3 result(0.0f);
    if (p.u_cutoutMapEnable) {
        float kappa = cutoutValue(p, *record);
        if (kappa != 1.0f) result = Float3(1.0f - kappa);
    }
    if (p.u_transparency) {
        Float3 n = dot(record->rayDir, record->geomNormal) > 0.0f ? -record->normal : record->normal;
        result = computeLobeWeights(p, *record, record->frontFacing != 0, true, -dot(record->rayDir, n)).transmission;
    }
    record->outTransmittance = result;
}

void kestrel_Mtl_Ward::evaluateBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    if (outsideDecal(p, *record)) {
        record->noContribution = 1;
        return;
    }
    const ShadingFrame F = bsdfFrame(p, services, *record);
    const Float3 I = toLocal(F, record->rayDir);
    const Float3 L = toLocal(F, record->sampleDir);
    if (L.z <= 0.0f || I.z >= 0.0f) {
        record->sampleWeight = Float3(0.0f);
        record->sampleCos = 0.0f;
        return;
    }
    const Roughness alpha = computeRoughness(p, *record);
    const LobeWeights W = computeLobeWeights(p, *record, true, false, -I.z);
    record->sampleCos = metalSampleCosine(*record, L, p.u_cosineUsesBump);
    if (record->sampleCos <= 0.0f) {
        record->sampleWeight = Float3(0.0f);
        record->sampleCos = 0.0f;
        return;
    }
    record->sampleWeight = wardBrdf(I, L, W.diffuse, W.specular, alpha.x, alpha.y);
}

void kestrel_Mtl_Ward::sampleBsdf(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (clippedAway(p.clip, record)) return;
    if (outsideDecal(p, *record)) {
        record->noContribution = 1;
        return;
    }
    const ShadingFrame F = bsdfFrame(p, services, *record);
    const Float3 I = toLocal(F, record->rayDir);
    if (I.z >= 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    const Roughness alpha = computeRoughness(p, *record);
    const float c = -I.z;
    const LobeWeights W = computeLobeWeights(p, *record, true, false, c);
    const uint8_t* request = record->lobeRequest;

    if (p.u_transparency) {
        float eta;
        if (record->frontFacing) {
            eta = record->outsideIorEntering / p.u_ior;
            record->outsideIorLeaving = p.u_ior;
        } else {
            eta = p.u_ior / record->outsideIorLeaving;
        }
        bool refract = false;
        if (!request[2]) {
            if (request[5]) {
                record->sampleWeight = Float3(1.0f - reflectivityAt(p, *record, c));
                refract = true;
            }
        } else if (request[5]) {
            record->sampleWeight = Float3(1.0f);
            refract = services->random() > reflectivityAt(p, *record, c);
        }
        if (refract) {
            const Float3 wI = record->rayDir;
            const Float3 N = record->normal;
            float cn = std::fabs(dot(N, wI));
            float k = (cn * cn - 1.0f) * (eta * eta) + 1.0f;
            Float3 T(0.0f);
            if (k > 0.000001f) T = (cn * eta - std::sqrt(k)) * N + eta * wI;
            record->sampleDir = T;
            record->sampleLobe = kLobeSpecularTransmission;
            if (isZero(T)) {
                // Total internal reflection.
                record->sampleDir = wI - 2.0f * dot(N, wI) * N;
                record->sampleCos = dot(record->sampleDir, N);
                record->sampleWeight *= W.diffuse;
                record->sampleLobe = kLobeSpecularReflection;
            } else {
                record->sampleWeight *= W.transmission;
                record->sampleCos = -dot(T, N);
            }
            record->samplePdf = 1.0f;
            float t = translucencyAmount(p, *record);
            float Tamount = transparencyAmount(p, *record);
            Float3 tint = Float3(Tamount) + (1.0f - Tamount) * p.u_diffuseColor;
            tint *= record->frontFacing ? Tamount : (1.0f - t) * Tamount;
            record->sampleWeight *= tint;
            return;
        }
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
        record->sampleCos = metalSampleCosine(*record, sample.direction, p.u_cosineUsesBump);
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
    Float3 value, L;
    float pdf;
    if (services->random() <= q) {
        Float2 u;
        services->random2D(&u);
        DiskSample disk = concentricDiskSample(u.x, u.y);
        L = Float3(disk.x, disk.y, std::sqrt(1.0f - disk.r * disk.r));
        WardEvaluation evaluation = wardBrdfAndPdf(I, L, W.diffuse, W.specular, alpha.x, alpha.y);
        value = evaluation.value;
        pdf = evaluation.pdf;
    } else {
        Float2 u;
        services->random2D(&u);
        WardSample sample = sampleWardLobe(I, W.diffuse, W.specular, alpha.x, alpha.y, u);
        if (sample.direction.z < 0.0f) {
            record->sampleLobe = kLobeNone;
            return;
        }
        value = sample.value;
        L = sample.direction;
        pdf = sample.pdf;
    }
    if (pdf <= 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    record->sampleDir = fromLocal(F, L);
    record->sampleCos = metalSampleCosine(*record, L, p.u_cosineUsesBump);
    if (record->sampleCos < 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    float mixture = (1.0f - q) * pdf + q * L.z * kInvPiLiteral;
    if (mixture <= 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    record->sampleLobe = kLobeGlossyReflection;
    record->samplePdf = 1.0f / mixture;
    record->sampleWeight = value;
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_Ward)
