#include "lights/spot_light.h"

#include "frame/exports.h"
#include "lights/light_shadow.h"

namespace ksi {

namespace {
constexpr auto kDeclarations = KS_BLOCK_ROWS(SpotLightParams, KS_SPOT_LIGHT_PARAMETERS);
}  // namespace

void znSpotLight::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapLight, &params, kDeclarations);
}

void znSpotLight::shade(RenderServices* services, ShadingRecord* record) const {
    if (record->lightDistance > params.range) return;
    // Cosine of the angle between the spot axis and the line to the point.
    float cosAxis = saturate(dot(record->lightAxis, record->lightDir));
    // Outside the outer cone nothing is written; a cosine equal to cosPenumbra is inside.
    if (params.cosPenumbra > cosAxis) return;
    writeLightShadow(services, record, params.castShadows);

    float cone = cosAxis >= params.cosUmbra ? 1.0f : smoothstep(params.cosPenumbra, params.cosUmbra, cosAxis);
    float falloff = distanceAttenuation(record->lightDistance, params.attenuationFactors);
    float axial = std::pow(cosAxis, params.attenuationFactors.z);
    record->outLightColor = (params.color * cone) * (falloff * axial);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(znSpotLight)
