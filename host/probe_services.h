// Render services for probing a material's reflectance outside a renderer: an empty scene (no
// lights, black traces, no occlusion, zero noise) and the random numbers of one seeded PCG
// stream, so evaluateBsdf and sampleBsdf see nothing but the material and a probe can replay
// exactly the draws it made.
#pragma once

#include <cstdint>

#include <pcg_random.hpp>

#include <kestrel/kestrel.h>

namespace kestrel {

class ProbeServices final : public ksi::RenderServices {
public:
    ProbeServices(uint64_t seed, uint64_t stream) : random_(seed, stream) {}
    ~ProbeServices() = default;

    const ksi::LightSample* getLightSamples(int32_t selector, const ksi::Float3* position,
                                            const ksi::Float3* normal) override;
    ksi::Float3* ambientIrradiance(ksi::Float3* out, const ksi::Float3* position, const ksi::Float3* normal) override;
    ksi::Float3* traceShadow(ksi::Float3* out, const ksi::Float3* from, const ksi::Float3* to) override;
    ksi::Float3* traceRay(ksi::Float3* out, int32_t rayType, const ksi::Float3* origin, const ksi::Float3* direction,
                          float weight) override;
    ksi::Float3* traceReflection(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                 float weight) override;
    ksi::Float4* traceTransmission(ksi::Float4* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                   float weight) override;
    ksi::Float3* traceAnisotropicReflection(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                            const ksi::Float3* tangent, const ksi::Float3* bitangent, float roughnessU,
                                            float roughnessV, float weight) override;
    ksi::Float3* traceGlossyReflection(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                       float roughness, float weight) override;
    ksi::Float3* traceGlossyTransmission(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                         float roughness, float weight) override;
    ksi::Float3* ambientOcclusion(ksi::Float3* out, const ksi::Float3* position, const ksi::Float3* normal,
                                  float weight) override;
    ksi::Float3* indirectIrradiance(ksi::Float3* out, const ksi::Float3* position, const ksi::Float3* normal,
                                    float weight) override;
    // 24 random bits: every value is exactly representable and below 1, as in the renderer.
    float random() override;
    ksi::Float2* random2D(ksi::Float2* out) override;
    float noise(const ksi::Float4* point) override;
    float noise3D(const ksi::Float3* point) override;
    float noise2D(const ksi::Float2* point) override;
    float noise1D(float x) override;
    float latticeValue(const ksi::Float3* latticePoint) override;
    ksi::Float3* cellFeaturePoint(ksi::Float3* out, const ksi::Float3* cellCentre) override;

private:
    pcg32 random_;
};

}  // namespace kestrel
