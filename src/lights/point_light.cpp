#include "lights/point_light.h"

#include "frame/exports.h"
#include "lights/light_shadow.h"

namespace ksi {

namespace {
constexpr auto kDeclarations = KS_BLOCK_ROWS(PointLightParams, KS_POINT_LIGHT_PARAMETERS);
}  // namespace

void znPointLight::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapLight, &params, kDeclarations);
}

void znPointLight::shade(RenderServices* services, ShadingRecord* record) const {
    // Beyond the range the light writes nothing at all (the test is strictly greater).
    if (record->lightDistance > params.range) return;
    writeLightShadow(services, record, params.castShadows);
    record->outLightColor = params.color * distanceAttenuation(record->lightDistance, params.attenuationFactors);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(znPointLight)
