// Shadow catching, shared by the shadow plane, the background geometry and the legacy material:
// how far the lights are blocked at a point and how that darkens it towards a shadow colour.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/shading_record.h"
#include "frame/types.h"

namespace ksi {

// The shadow colour seen at full shadow, scaled by intensity towards white: S' = k C + (1 - k).
inline Float3 shadowTint(Float3 shadowColor, float intensity) {
    return intensity * shadowColor + Float3(1.0f - intensity);
}

// What reaches a point from the host's lights (mode 0) and its ambient occlusion: total is the
// strength of the lights unshadowed (each light's strongest channel), lit their shadows, each
// weighted by the light's strongest shadowed channel.
struct CaughtShadow {
    float total = 0.0f;
    Float3 lit{0.0f};
    Float3 occlusion;
};

inline CaughtShadow catchShadow(RenderServices* services, const ShadingRecord& record) {
    CaughtShadow c;
    for (const LightSample* light = services->getLightSamples(0, &record.position, &record.normal); light;
         light = light->next) {
        c.total += maxComponent(light->color);
        const float strongest = maxComponent(light->color * light->shadow);
        c.lit += strongest * light->shadow;
    }
    // The host writes a local, not the result: a result whose member's address it is given
    // keeps the sums above in memory, stored and reloaded on every light.
    Float3 occlusion;
    services->ambientOcclusion(&occlusion, &record.position, &record.normal, 1.0f);
    c.occlusion = occlusion;
    return c;
}

// How much light reaches the point, as a colour: the lights' visibility V (white with no light)
// fading towards the shadow tint, times the occlusion fading towards the shadow colour itself.
inline Float3 shadowFactor(const CaughtShadow& c, Float3 shadowColor, float intensity) {
    const Float3 V = c.total != 0.0f ? c.lit / c.total : Float3(1.0f);
    const Float3 T = V + (Float3(1.0f) - V) * shadowTint(shadowColor, intensity);
    return T * (c.occlusion + (Float3(1.0f) - c.occlusion) * shadowColor);
}

}  // namespace ksi
