#include "environments/default_environment.h"

#include "shading/latlong.h"
#include "frame/exports.h"

namespace ksi {

namespace {
constexpr auto kDeclarations = KS_BLOCK_ROWS(DefaultEnvironmentParams, KS_DEFAULT_ENVIRONMENT_PARAMETERS);

bool seesImage(const DefaultEnvironmentParams& p, const ShadingRecord& record) {
    if (p.useBackgroundGeometry) return record.rayType != kRayCamera;
    if (record.rayType == kRaySecondary) return true;
    return record.rayType == kRayContinuation && !record.throughMatte;
}
}  // namespace

void kestrel_Env_Default::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapEnvironment, &params, kDeclarations);
}

void kestrel_Env_Default::shade(RenderServices*, ShadingRecord* record) const {
    if (record->rayType == kRayEnvironmentProbe) {
        record->outColor = Float4(0.0f, 0.0f, 0.0f, 1.0f);
        return;
    }
    if (!seesImage(params, *record)) {
        record->outColor = Float4(params.backgroundColor, 0.0f);
        return;
    }
    Float4 texel = lookupLatLong(params.reflectionLatlong, params.globalIBLMatrix, record->rayDir);
    EnvironmentGrading grading{params.IBLLuminanceFactors, params.reflectIBLContrast, params.reflectIBLGainMode,
                               params.reflectIBLGain, params.reflectIBLSaturation};
    // The texel's own alpha is not used.
    record->outColor = Float4(gradeEnvironment(texel.xyz(), grading), 1.0f);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(kestrel_Env_Default)
