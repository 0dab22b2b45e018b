#include "materials/ward/ward_shading.h"

#include <cmath>

#include "shading/scattering.h"

namespace ksi {

float glossToRoughness(float g) {
    float x = 1.0f - clamp(g, 0.0f, 1.0f);
    if (x < 0.5f) return 1.11078f * (x * x) - 0.225494f * x + 0.0505339f;
    if (x < 0.9f) return 24.1745f * (x * x * x) - 45.6128f * (x * x) + 28.605f * x - 5.72202f;
    return (x - 0.9f) * 3.0f + 0.7f;
}

WardRoughness computeWardRoughness(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout) {
    float alphaX = p.u_roughValue;
    if (p.u_roughMapEnable) {
        alphaX = glossToRoughness(wardMapAt(p.u_roughMap, p.u_roughTransform, record, layout).x * p.u_roughAmount);
    }
    float a = p.u_anisotropyValue;
    if (p.u_anisotropyMapEnable) {
        a = wardMapAt(p.u_anisotropyMap, p.u_anisotropyTransform, record, layout).x * p.u_anisotropyAmount;
    }
    return {alphaX, a * alphaX};
}

float wardReflectivityAt(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout, float c) {
    float r0 = p.u_brdf00Reflectivity;
    if (p.u_brdf00ReflectMapEnable) {
        r0 = wardMapAt(p.u_brdf00ReflectMap, p.u_brdf00ReflectTransform, record, layout).x * p.u_brdf00ReflectAmount;
    }
    float r90 = p.u_brdf90Reflectivity;
    if (p.u_brdf90ReflectMapEnable) {
        r90 = wardMapAt(p.u_brdf90ReflectMap, p.u_brdf90ReflectTransform, record, layout).x * p.u_brdf90ReflectAmount;
    }
    return clamp(powerBlend(c, p.u_brdfCurvePower, r0, r90), 0.0f, 1.0f);
}

float wardTransparencyAmount(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout) {
    if (!p.u_transparency) return 0.0f;
    if (!p.u_transparencyMapEnable) return p.u_transparencyValue;
    const float f = p.u_transparencyFade;
    return (1.0f - f) * p.u_transparencyValue +
           wardMapAt(p.u_transparencyMap, p.u_transparencyTransform, record, layout).x * p.u_transparencyAmount * f;
}

float wardTranslucencyAmount(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout) {
    if (!p.u_transparency) return 0.0f;
    if (!p.u_translucencyMapEnable) return p.u_translucencyValue;
    return wardMapAt(p.u_translucencyMap, p.u_translucencyTransform, record, layout).x * p.u_translucencyAmount;
}

Float3 overlayFade(Float3 base, Float3 blend, float f) {
    auto channel = [f](float b, float k) {
        float o = b < 0.5f ? 2.0f * b * k : 1.0f - 2.0f * (1.0f - b) * (1.0f - k);
        float faded = b + (o - b) * f;
        float m = faded * k;
        return faded + (m - faded) * f;
    };
    return {channel(base.x, blend.x), channel(base.y, blend.y), channel(base.z, blend.z)};
}

float glossyCurve(float x) {
    if (std::fabs(x) <= 0.01f) return 1.0f;
    if (std::fabs(x - 1.0f) < 0.01f) return 0.0001f;
    return clamp(0.8082f * std::exp(-4.956f * x), 0.0001f, 1.0f);
}

bool outsideDecal(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout) {
    if (!p.u_isDecal) return false;
    const Float2 uv = readVarying<Float2>(record, layout.uv);
    const float* m = p.u_decalTransform.m;
    float u = uv.x * m[0] + uv.y * m[4] + 0.0f * m[8] + m[12];
    float v = uv.x * m[1] + uv.y * m[5] + 0.0f * m[9] + m[13];
    return !(u >= 0.0f && u <= 1.0f && v >= 0.0f && v <= 1.0f);
}

Float3 wardSpecularColor(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout) {
    if (!p.u_specularMapEnable) return p.u_specularColor;
    return saturate3(wardMapAt(p.u_specularMap, p.u_specularTransform, record, layout).xyz() * p.u_specularAmount);
}

LobeWeights wardLobeWeights(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout, Float3 S,
                            Float3 D, bool front, bool transmissionView, float cosine) {
    LobeWeights W;
    if (p.u_imageFadeEnable > 1) {
        Float3 K(0.0f);
        if (p.u_imageFadeEnable == 2) {
            K = wardMapAt(p.u_imageFadeMap, p.u_imageFadeTransform, record, layout).xyz() * p.u_imageFadeAmount;
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
    float F = (front || transmissionView) ? wardReflectivityAt(p, record, layout, c) * p.u_reflectivity : 0.0f;
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
    float t = wardTranslucencyAmount(p, record, layout);
    float T = wardTransparencyAmount(p, record, layout);
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

void addWardBackLights(RenderServices* services, const ShadingRecord& record, const WardShadeSetup& s, Float3 Db,
                       Float3& diffuse) {
    for (const LightSample* light = services->getLightSamples(0, &record.position, &s.Nback); light;
         light = light->next) {
        if (!isZero(light->shadowedColor)) diffuse += Db * light->shadowedColor * light->specularScale;
    }
}

Float3 wardRefraction(const WardParams& p, RenderServices* services, const ShadingRecord& record,
                      const VaryingLayout& layout, const WardShadeSetup& s, Float3 Tw) {
    if (!p.u_transparency || isZero(Tw)) return Float3(0.0f);
    const float eta = s.front ? record.outsideIorEntering / p.u_ior : p.u_ior / record.outsideIorLeaving;
    const Refraction refraction = refractAcross(record.rayDir, s.Ns, eta);
    // Light trapped inside reflects totally.
    const bool totallyReflecting =
        !s.front && (refraction.k <= kTotalReflectionLimit || isZero(refraction.direction));
    Float3 direction = totallyReflecting ? reflectClampedToSurface(record.rayDir, record.geomNormal, s.Ns)
                                         : refraction.direction;
    if (isZero(direction)) return Float3(0.0f);
    float gloss = p.u_refractGlossyValue;
    if (p.u_refractGlossyMapEnable) {
        gloss = glossyCurve(wardMapAt(p.u_refractGlossyMap, p.u_refractGlossyTransform, record, layout).x *
                            p.u_refractGlossyAmount);
    }
    Float3 seen;
    services->traceGlossyTransmission(&seen, &record.position, &direction, gloss, maxComponent(Tw));
    return seen * Tw;
}

Float3 wardAdditional(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout) {
    if (!p.u_additionalMapEnable) return p.u_additionalColor;
    return p.u_additionalColor * p.u_additionalAmount *
           saturate3(wardMapAt(p.u_additionalMap, p.u_additionalMapTransform, record, layout).xyz());
}

bool sampleWardRefraction(const WardParams& p, RenderServices* services, ShadingRecord* record,
                          const LobeWeights& W, float c) {
    const VaryingLayout& layout = kTangentMaterialVaryings;
    float eta;
    if (record->frontFacing) {
        eta = record->outsideIorEntering / p.u_ior;
        record->outsideIorLeaving = p.u_ior;
    } else {
        eta = p.u_ior / record->outsideIorLeaving;
    }
    const bool specularReflection = lobeRequested(record->lobeRequest, kLobeSpecularReflection);
    const bool specularTransmission = lobeRequested(record->lobeRequest, kLobeSpecularTransmission);
    bool refract = false;
    if (!specularReflection) {
        if (specularTransmission) {
            record->sampleWeight = Float3(1.0f - wardReflectivityAt(p, *record, layout, c));
            refract = true;
        }
    } else if (specularTransmission) {
        record->sampleWeight = Float3(1.0f);
        refract = services->random() > wardReflectivityAt(p, *record, layout, c);
    }
    if (!refract) return false;
    const Float3 I = record->rayDir;
    const Float3 N = record->normal;
    const Float3 T = refractedDirection(I, N, eta);
    record->sampleDir = T;
    record->sampleLobe = kLobeSpecularTransmission;
    if (isZero(T)) {
        // Total internal reflection.
        record->sampleDir = reflect(I, N);
        record->sampleCos = dot(record->sampleDir, N);
        record->sampleWeight *= W.diffuse;
        record->sampleLobe = kLobeSpecularReflection;
    } else {
        record->sampleWeight *= W.transmission;
        record->sampleCos = -dot(T, N);
    }
    record->samplePdf = 1.0f;
    float t = wardTranslucencyAmount(p, *record, layout);
    float Tamount = wardTransparencyAmount(p, *record, layout);
    Float3 tint = Float3(Tamount) + (1.0f - Tamount) * p.u_diffuseColor;
    tint *= record->frontFacing ? Tamount : (1.0f - t) * Tamount;
    record->sampleWeight *= tint;
    return true;
}

}  // namespace ksi
