#include "materials/physical/mirror_material.h"

#include <cmath>

#include "frame/exports.h"

namespace ksi {

namespace {
using P = MirrorParams;

constexpr auto kDeclarations =
    concatRows(commonInputRows<P>(), latticeAORows<P>(), globalClipRows<P>(),
               KS_BLOCK_ROWS(P, KS_MIRROR_PARAMETERS), commonTintRows<P>(),
               std::array{varying(kVaryingFloat2, "uv", 24)});

constexpr VaryingLayout kVaryings{.uv1 = 0, .vtxcolor = 8, .uv = 24};

// Schlick's curve from 0.92 at normal incidence to 1 at grazing.
float mirrorFresnel(float c) { return powerBlend(c, 5.0f, 0.92f, 1.0f); }
}  // namespace

void kestrel_Mtl_Mirror::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapEvaluateBsdf | kCapSampleBsdf, &params, kDeclarations);
}

void kestrel_Mtl_Mirror::shade(RenderServices* services, ShadingRecord* record) const {
    shadeWithCommonInputs(params.common, &params.tint, kVaryings, AmbientOcclusionStep::Skipped, services, record, [&]() {
        const Float3& I = record->rayDir;
        const Float3& N = record->normal;
        float F = mirrorFresnel(-dot(I, N));
        Float3 R = reflectClampedToSurface(I, record->geomNormal, N);
        Float3 w = F * params.u_tintColor;
        Float3 seen;
        services->traceReflection(&seen, &record->position, &R, maxComponent(w));
        MaterialTerms terms;
        terms.added = w * seen;
        return terms;
    });
}

// There is no finite reflectance to evaluate; only the clipping map applies.
void kestrel_Mtl_Mirror::evaluateBsdf(RenderServices*, ShadingRecord* record) const {
    clippedAway(params.clip, record);
}

void kestrel_Mtl_Mirror::sampleBsdf(RenderServices*, ShadingRecord* record) const {
    if (clippedAway(params.clip, record)) return;
    const Float3& I = record->rayDir;
    const Float3& N = record->normal;
    float cosine = -dot(I, N);
    // The weight carries 1 / cosine; a ray exactly along the surface has no mirror sample.
    if (!lobeRequested(record->lobeRequest, kLobeSpecularReflection) || cosine == 0.0f) {
        record->sampleLobe = kLobeNone;
        return;
    }
    record->sampleCos = cosine;
    record->sampleDir = I + 2.0f * cosine * N;
    record->sampleWeight = params.u_tintColor * (1.0f / cosine);
    record->samplePdf = 1.0f;
    record->sampleLobe = kLobeSpecularReflection;
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Mtl_Mirror)
