// The shading frames of the Ward material: normal maps, procedural perturbations and the
// anisotropy rotation, and the correction that keeps a bumped normal from facing away.
#pragma once

#include "frame/host_interfaces.h"
#include "frame/shading_record.h"
#include "materials/physical/shading_frame.h"
#include "materials/physical/ward_material.h"

namespace ksi {

struct WardFrames {
    ShadingFrame bsdf;      // F: normal maps, procedure map and rotation
    ShadingFrame lighting;  // G: normal map 0 and rotation only
};

WardFrames assembleShadingFrame(const WardParams& p, RenderServices* services, const ShadingRecord& record);

// The anisotropy rotation angle in radians (map or value).
float anisotropyRotation(const WardParams& p, const ShadingRecord& record);

// Bends a bumped normal Nb back towards the view V where it tilts further from V than the
// surface normal Nr does, so bumps never show their back side.
Float3 correctShadingNormal(Float3 V, Float3 Nr, Float3 Nb);

}  // namespace ksi
