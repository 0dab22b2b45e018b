#include "lights/point_light.h"

#include "frame/exports.h"
#include "lights/light_shadow.h"

namespace ksi {

namespace {
constexpr Declaration kDeclarations[] = {
    KS_PARAM(PointLightParams, color),
    KS_PARAM(PointLightParams, castShadows),
    KS_PARAM(PointLightParams, range),
    KS_PARAM(PointLightParams, attenuationFactors),
};
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
