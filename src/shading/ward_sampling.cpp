#include "shading/ward_sampling.h"

#include "shading/ward_lobe.h"

namespace ksi {

namespace {
// Whether a draw stands under the material's NaN rule: a positive density and a direction that
// does not point below the surface.
bool drawStands(NanDraw rule, float density, float height) {
    if (rule == NanDraw::Stands) return !(density <= 0.0f || height < 0.0f);
    return density > 0.0f && height >= 0.0f;
}

void writeDirection(ShadingRecord* record, const WardDrawInputs& in, Float3 local) {
    record->sampleDir = fromLocal(in.frame, local);
    record->sampleCos = sampleCosine(record->sampleDir, in.cosineNormal, local, in.cosineUsesBump);
}
}  // namespace

void sampleGlossyOnly(RenderServices* services, ShadingRecord* record, const WardDrawInputs& in) {
    Float2 u;
    services->random2D(&u);
    const WardSample sample = sampleWardLobe(in.wi, in.diffuse, in.specular, in.alphaX, in.alphaY, u);
    if (!drawStands(in.nanDraw, sample.pdf, sample.direction.z)) {
        record->sampleLobe = kLobeNone;
        return;
    }
    writeDirection(record, in, sample.direction);
    record->sampleLobe = kLobeSpecularReflection;
    record->samplePdf = 1.0f / sample.pdf;
    record->sampleWeight = sample.value - in.diffuse * kInvPiLiteral;
}

void sampleDiffuseGlossyMixture(RenderServices* services, ShadingRecord* record, const WardDrawInputs& in,
                                float diffuseChance) {
    const WardMixtureSample sample =
        sampleWardMixture(services, in.wi, in.diffuse, in.specular, in.alphaX, in.alphaY, diffuseChance);
    if (!sample.drawn) {
        record->sampleLobe = kLobeNone;
        return;
    }
    writeDirection(record, in, sample.direction);
    if (!drawStands(in.nanDraw, sample.mixturePdf, record->sampleCos)) {
        record->sampleLobe = kLobeNone;
        return;
    }
    record->sampleLobe = kLobeGlossyReflection;
    record->samplePdf = 1.0f / sample.mixturePdf;
    record->sampleWeight = sample.value;
}

}  // namespace ksi
