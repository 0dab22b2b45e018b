// XRite: measured metallic car paint. A very dark base lit by a diffuse cube map, flakes tiled in
// world space whose sharp glints and soft sparkle come from reflection and specular cube maps,
// and one traced mirror reflection, all weighted by a Fresnel quadruple. Flakes are gathered over
// a grid of cells that grows with distance and grazing angle, so they thin out far away.
#pragma once

#include "frame/parameter_table.h"
#include "shading/common_inputs.h"

namespace ksi {

struct XRiteParams {
    CommonMaterialInputs common;
    ParamBool reverseNormal = false;
    ParamBool faceForward = false;  // flip the normals on back-side hits
    Float3 xriteDiffuse{0.0049f, 0.0049f, 0.0045f};  // base colour, times the diffuse cube
    Float3 flakeColor{0.104f, 0.106f, 0.108f};       // sharp glints from the reflection cube
    Float3 flakeColor2{0.0953f, 0.0958f, 0.0976f};   // soft sparkle from the specular cube
    Float4 fresnel{0.04f, 0.9f, 2.5f, 1.0f};         // (base, scale, exponent, maximum)
    ParamBool xriteIsSolid = false;                  // no flakes: a solid paint
    float coarseness = 0.656f;                       // share of the glints against the sparkle
    float specIntensity = 1.0f;
    float diffIntensity = 1.0f;
    float contributionFactor = 0.75f;  // a flake glints only when its normal's z is above this
    float maxFlakes = 7.0f;            // footprint limit, in cells before flakeFactor
    float flakeFactor = 4.0f;          // cells per footprint unit, and the flake tiling density
    float flakeSize = 0.001953125f;    // 1/512: the step between neighbouring cells
    TextureHandle flakeNormalTexture;  // x and y as 2c - 1, z as the blue itself
    TextureHandle diffuseCube;
    TextureHandle specularCube;
    TextureHandle reflectCube;
};

class XRite final : public ParameterizedShader<MaterialShader, XRiteParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
    void shadowTransmittance(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
