// The shading frames of the Ward material: normal maps, procedural perturbations and the
// anisotropy rotation, and the correction that keeps a bumped normal from facing away.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/shading_record.h"
#include "shading/common_inputs.h"
#include "shading/shading_frame.h"
#include "materials/ward/ward_material.h"

namespace ksi {

struct WardFrames {
    ShadingFrame bsdf;      // F: normal maps, procedure map and rotation
    ShadingFrame lighting;  // G: normal map 0 and rotation only
};

// A map of the Ward block looked up at the record's "uv" after its uv transform.
Float4 wardMapAt(const TextureHandle& map, const Float3x3& transform, const ShadingRecord& record,
                 const VaryingLayout& layout);

// Moves N along the map's red and green (used as they are) in the tangent plane, then
// renormalises the frame.
void applyTangentNormalMap(ShadingFrame& frame, Float4 texel, float amount);

// The procedural perturbation of the normal, by mode; modes 0, 4 and out of range add nothing.
// normal is the unbumped surface normal the cellular and ridged modes follow.
void applyProcedureMap(const WardParams& p, RenderServices* services, const ShadingRecord& record,
                       const VaryingLayout& layout, Float3 normal, ShadingFrame& frame);

// The anisotropy rotation angle in radians (map or value).
float anisotropyRotation(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout);

// The frames around the surface normal `normal`. The normal maps come from `maps` (see
// ward_shading.h), which decides whether they are tangent-space or height maps and whether a
// texture or a node graph feeds them.
template <class Maps>
WardFrames assembleShadingFrame(const WardParams& p, const Maps& maps, Float3 normal, RenderServices* services,
                                const ShadingRecord& record) {
    const VaryingLayout& layout = maps.layout();
    ShadingFrame frame = tangentFrame(readVarying<Float3>(record, layout.tangent), record.objectMatrix, normal);
    if (p.u_normal0MapEnable) {
        float a = p.u_normal0Amount;
        if (p.u_normal0AmountMapEnable) {
            a = wardMapAt(p.u_normal0AmountMap, p.u_normal0AmountTransform, record, layout).x * p.u_normal0Amount;
        }
        maps.applyNormalMap(frame, p.u_normal0Map, p.u_normal0Transform, a, services, record);
    }
    const float rotation = anisotropyRotation(p, record, layout);
    WardFrames frames;
    frames.lighting = frame;
    rotateTangent(frames.lighting, rotation);
    if (p.u_normal1MapEnable) {
        maps.applyNormalMap(frame, p.u_normal1Map, p.u_normal1Transform, p.u_normal1Amount, services, record);
    } else {
        applyProcedureMap(p, services, record, layout, normal, frame);
    }
    rotateTangent(frame, rotation);
    frames.bsdf = frame;
    return frames;
}

// Bends a bumped normal Nb back towards the view V where it tilts further from V than the
// surface normal Nr does, so bumps never show their back side.
Float3 correctShadingNormal(Float3 V, Float3 Nr, Float3 Nb);

}  // namespace ksi
