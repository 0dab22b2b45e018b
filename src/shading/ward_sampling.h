// The sampleBsdf steps that every material built on the Ward reflectance model shares: a draw from
// the glossy lobe alone, or from the mixture of the diffuse and the glossy lobe, written to the
// record with the reciprocal of its density. Directions are local to `frame`; the view direction
// wi points into the surface, like the record's rayDir.
#pragma once

#include <cstdint>

#include "frame/host_interfaces.h"
#include "frame/shading_record.h"
#include "frame/types.h"
#include "shading/shading_frame.h"

namespace ksi {

// How a draw whose density or cosine is not a number ends. The Ward material's steps reject what
// fails "density at or below zero, cosine below zero", so a NaN stands; the metals keep only what
// passes "density above zero, cosine at least zero", so a NaN is dropped.
enum class NanDraw : uint8_t { Stands, Dropped };

// The cosine that goes with a sampled or evaluated direction: local z when the bumped frame is to
// be used, otherwise against the given normal.
inline float sampleCosine(Float3 sampleDir, Float3 normal, Float3 local, bool cosineUsesBump) {
    return cosineUsesBump ? local.z : dot(sampleDir, normal);
}

// Everything a Ward-model draw needs besides the host's random numbers.
struct WardDrawInputs {
    const ShadingFrame& frame;
    Float3 wi;                // local view direction, into the surface
    Float3 diffuse;           // D
    Float3 specular;          // S
    float alphaX, alphaY;     // roughness along the frame's tangent and bitangent
    Float3 cosineNormal;      // the normal sampleCos is taken against without the bump
    bool cosineUsesBump;
    NanDraw nanDraw;
};

// Only a specular-class sample is accepted: one draw from the Ward lobe, reported as lobe 4
// without its diffuse share D / pi.
void sampleGlossyOnly(RenderServices* services, ShadingRecord* record, const WardDrawInputs& in);

// One draw from the diffuse/glossy mixture, the diffuse lobe chosen with probability
// diffuseChance, reported as lobe 2 with the reciprocal of the mixture density.
void sampleDiffuseGlossyMixture(RenderServices* services, ShadingRecord* record, const WardDrawInputs& in,
                                float diffuseChance);

// The diffuse lobe's chance in the mixture: one half, with the lobe that has no colour never
// drawn. The Ward material tests the largest component of each colour, diffuse first; the metals
// test for an all-zero colour, specular last, so that a black surface draws diffusely.
inline float wardDiffuseChance(Float3 diffuse, Float3 specular) {
    if (maxComponent(diffuse) == 0.0f) return 0.0f;
    if (maxComponent(specular) == 0.0f) return 1.0f;
    return 0.5f;
}
inline float metalDiffuseChance(Float3 diffuse, Float3 specular) {
    float chance = 0.5f;
    if (isZero(diffuse)) chance = 0.0f;
    if (isZero(specular)) chance = 1.0f;
    return chance;
}

}  // namespace ksi
