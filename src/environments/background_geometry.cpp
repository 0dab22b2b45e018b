#include "environments/background_geometry.h"

#include "frame/exports.h"
#include "shading/latlong.h"
#include "shading/shadow_catch.h"
#include "shading/texture_channel.h"
#include "shading/weight_carrying_sample.h"

namespace ksi {

namespace {
using P = BackgroundGeometryParams;

constexpr auto kDeclarations = concatRows(KS_BLOCK_ROWS(P, KS_BACKGROUND_GEOMETRY_PARAMETERS),
                                          std::array{varying(kVaryingFloat2, "uv", 0),
                                                     varying(kVaryingFloat3, "tangent", 8),
                                                     varying(kVaryingFloat3, "bitangent", 20)});

// Parts whose normal is within about 25 degrees of straight up catch shadows and block them.
constexpr float kUpwardFacing = 0.9f;

Float3 grade(const P& p, Float3 x) {
    x = contrastAboutPivot(x, p.globalIBLContrastValue, p.globalIBLContrastPivot);
    Float3 gainColor(1.0f);
    float gain = 1.0f;
    if (p.globalIBLGainSource == 1) {
        gainColor = p.globalIBLGainColor;
    } else {
        gain = p.globalIBLGainValue;
    }
    if (p.diffuseTextureGainSource == 1) {
        gainColor = gainColor * p.diffuseTextureGainColor;
    } else {
        gain = gain * p.diffuseTextureGainValue;
    }
    // A gain colour tints the grey of the colour rather than the colour itself.
    if (p.globalIBLGainSource == 1 || p.diffuseTextureGainSource == 1) {
        x = gainColor * weightedGrey(x, kSurfaceGreyWeights);
    }
    x = x * gain;
    return saturateAboutGrey(x, p.globalIBLSatValue * p.diffuseTextureSatValue, kSurfaceGreyWeights);
}

// The light that reaches an upward-facing point of a geometry that receives shadows. Kept out of
// line: inlined, the shadow catch's loop and host calls took registers from the rest of shade,
// which then spilled and ran about 5 % slower with the feature parameters.
__attribute__((noinline)) Float3 receivedLight(const P& p, RenderServices* services, const ShadingRecord& record) {
    return shadowFactor(catchShadow(services, record), p.shadowColor, p.shadowIntensity);
}
}  // namespace

void BackgroundGeometry::declareParameters(ShaderParamRegistry* registry) {
    declareTable(registry, this, kCapShade | kCapShadowTransmittance | kCapSampleBsdf, &params, kDeclarations);
}

void BackgroundGeometry::shade(RenderServices* services, ShadingRecord* record) const {
    const P& p = params;
    if (!record->frontFacing) {
        record->noContribution = 1;
        return;
    }
    const TextureChannel diffuse{p.diffuseMode,          p.diffuseColor, &p.diffuseTexture, &p.diffuseTextureMatrix,
                                 p.diffuseAngularRepeat, &p.diffuseUVMatrix};
    const ChannelPoint at{record->objectPosition, record->normal, readVarying<Float2>(*record, 0)};
    const Float4 D =
        evaluateTextureChannel(diffuse, ChannelVariant::FourFloat, at, TexelRead::Color, Float3(1.0f), BoxXFace::ZY)
            .color;
    float a = D.w;
    if (a < 0.05f) {
        record->noContribution = 1;
        return;
    }
    Float4 behind(1.0f);
    if (a < 1.0f) {
        services->traceTransmission(&behind, &record->position, &record->rayDir, 1.0f);
    } else if (a > 1.0f) {
        a = 1.0f;
    }
    const int32_t rayType = record->rayType;
    if (p.useOverriddenReflection &&
        (rayType == kRaySecondary || (rayType == kRayContinuation && !record->throughMatte))) {
        Float4 texel = lookupLatLong(p.reflectLatlong, p.globalIBLMatrix, record->rayDir);
        record->outColor = Float4(texel.xyz() * p.globalIBLGainValue, 1.0f);
        return;
    }
    Float3 F(1.0f);
    if (p.receiveShadow != 0.0f && record->normal.z > kUpwardFacing) {
        F = receivedLight(p, services, *record);
    }
    // Whatever the bump mode, the base colour is the diffuse channel's.
    Float3 X = grade(p, D.xyz() * F);
    float alpha = 1.0f;
    if (p.draw_mere_shadow) alpha = maxComponent(F) < 0.7f ? 1.0f : 0.0f;
    record->outColor = Float4(X * a + (1.0f - a) * behind.xyz(), alpha);
}

// Only the upward-facing parts block the host's shadow rays.
void BackgroundGeometry::shadowTransmittance(RenderServices*, ShadingRecord* record) const {
    bool blocks = record->rayType == kRayShadow && !(kUpwardFacing > record->normal.z);
    record->outTransmittance = Float3(blocks ? 0.0f : 1.0f);
}

// The continuation goes straight on, whatever the host asked for.
void BackgroundGeometry::sampleBsdf(RenderServices*, ShadingRecord* record) const {
    writeWeightCarryingSample(*record, record->rayDir, Float3(1.0f), kLobeSpecularReflection);
}

}  // namespace ksi

KESTREL_EXPORT_SHADER(BackgroundGeometry)
