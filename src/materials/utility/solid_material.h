// kestrel_Mtl_Solid: a preview material in a fixed tone chosen by the patch state, shaded by
// the viewing angle only. It ignores lights, textures and the side of the surface.
#pragma once

#include "frame/parameter_table.h"

namespace ksi {

#define KS_SOLID_PARAMETERS(G, P, T)                                                              \
    G("preview")                                                                                  \
    P(ParamBool, reverseNormal, false,                                                            \
      toggle("Declared for compatibility; the tone is the same on both sides whatever it says.")) \
    P(ParamBool, faceForward, false, toggle("Declared for compatibility; no effect."))            \
    P(int32_t, patchState, 0,                                                                     \
      mode("Base tone, scaled by the absolute cosine to the view.",                               \
          "0 mauve; 1 mauve; 2 light grey; 3 black (any other value)"))

struct SolidParams {
    KS_BLOCK_MEMBERS(KS_SOLID_PARAMETERS)
};

inline constexpr ClassDoc kSolidDoc{
    "A preview material: a fixed mauve or grey tone shaded by the viewing angle.",
    "Ignores lights, textures and the side of the surface: the tone chosen by patchState times the absolute "
    "cosine between the shading normal and the ray.",
    "Nothing: visible at its defaults (mauve). patchState outside 0 to 2 renders black.",
};

class kestrel_Mtl_Solid final : public ParameterizedShader<MaterialShader, SolidParams> {
public:
    void declareParameters(ShaderParamRegistry* registry) override;
    void shade(RenderServices* services, ShadingRecord* record) const override;
};

}  // namespace ksi
