// The host's render services: everything the shaders ask of the scene, answered by tracing
// it with Embree, and the camera sample that hands each pixel sample to an integrator. The
// shade integrator is traceRadiance itself; the path integrator has a file of its own and
// reaches the scene through the queries below.
//
// One Tracer serves one thread at a time. Its random numbers come from the stream of the pixel
// being rendered, so an image does not depend on how pixels are spread over threads.
#pragma once

#include <cstdint>
#include <vector>

#include <glm/glm.hpp>
#include <pcg_random.hpp>

#include <kestrel/kestrel.h>

#include "render/scene.h"
#include "render/settings.h"

namespace kestrel::render {

// What one camera sample yields.
struct Sample {
    glm::vec4 color{0.0f};  // RGB and alpha
    bool finite = true;
};

// The type a ray carries, and whether it carries a camera ray on through a see-through
// surface (the record's throughMatte).
struct RayClass {
    int32_t type = ksi::kRayCamera;
    bool throughMatte = false;
};

class EnvironmentLight;

class Tracer final : public ksi::RenderServices {
public:
    // `environmentLight` serves the path integrator's light sampling of the environment; without
    // one, the environment is found by BSDF sampling alone.
    Tracer(const Scene& scene, const RenderSettings& settings, const EnvironmentLight* environmentLight = nullptr);

    // Renders one camera sample of pixel (x, y) with the pixel's own random stream.
    Sample cameraSample(int x, int y, pcg32& random);

    uint64_t rayCount() const { return rays_; }

    // Render services.
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
    float random() override;
    ksi::Float2* random2D(ksi::Float2* out) override;
    float noise(const ksi::Float4* point) override;
    float noise3D(const ksi::Float3* point) override;
    float noise2D(const ksi::Float2* point) override;
    float noise1D(float x) override;
    float latticeValue(const ksi::Float3* latticePoint) override;
    ksi::Float3* cellFeaturePoint(ksi::Float3* out, const ksi::Float3* cellCentre) override;

    // Scene queries for an integrator; every ray counts towards the statistics.
    const Scene& scene() const { return scene_; }
    const RenderSettings& settings() const { return settings_; }
    const EnvironmentLight* environmentLight() const { return environmentLight_; }
    float epsilon() const { return epsilon_; }
    bool intersect(const glm::vec3& origin, const glm::vec3& direction, float tNear, float tFar, SurfaceHit& hit);
    // Transmittance from a point (just off the surface being shaded) out of the scene along a
    // direction: the product of the shadowTransmittance of every surface on the way.
    glm::vec3 transmittanceTowards(const glm::vec3& origin, const glm::vec3& direction);
    // A fresh record for a slot call at the hit, reached along `direction` from `origin`.
    void fillRecord(ksi::ShadingRecord& record, const SurfaceHit& hit, const glm::vec3& origin,
                    const glm::vec3& direction, RayClass ray) const;
    // The environment's answer for a ray that leaves the scene (black without one).
    glm::vec4 environmentRadiance(const glm::vec3& direction, RayClass ray);
    // Makes the hit the surface being shaded: rays it asks for leave from just off its face.
    void enterSurface(int32_t rayType, const SurfaceHit& hit);
    // The material's shade one nesting level deeper, as a trace would call it.
    void shadeNested(const ksi::MaterialShader& shader, ksi::ShadingRecord& record);
    // A ray starting at the shaded surface's own point starts a little off the face, on the side
    // it leaves towards, so it cannot hit the facet it starts on; other origins stay.
    glm::vec3 leave(const glm::vec3& origin, const glm::vec3& direction) const;
    // A direction drawn cosine-weighted around a unit normal.
    glm::vec3 cosineDirection(const glm::vec3& normal);

private:
    // The ray that the material being shaded was reached by: transmission requests continue it.
    struct RayContext {
        RayClass ray;
        // The surface being shaded: rays that start on it leave from just off its face.
        bool onSurface = false;
        glm::vec3 position{0.0f};
        glm::vec3 geomNormal{0.0f};
    };

    glm::vec4 traceRadiance(glm::vec3 origin, glm::vec3 direction, RayClass ray, float weight);
    // The hit's material shaded for a trace at the given importance; false when it declined.
    bool shadeForTrace(const SurfaceHit& hit, const glm::vec3& origin, const glm::vec3& direction, RayClass ray,
                       float importance, glm::vec4& color);
    // Transmittance of the segment between two points, or from a point towards a direction.
    enum class SegmentEnd { Point, Infinity };
    glm::vec3 transmittance(const glm::vec3& from, const glm::vec3& to, SegmentEnd end);
    // A direction around `axis` drawn from a lobe with slopes scaled by (roughnessU, roughnessV).
    glm::vec3 glossyDirection(const glm::vec3& axis, const glm::vec3& tangent, float roughnessU, float roughnessV);
    // Continuation of a transmission request: a camera ray seen through a surface stays a
    // camera ray through the matte, everything else becomes a secondary ray.
    RayClass transmissionRay() const;

    const Scene& scene_;
    const RenderSettings& settings_;
    const EnvironmentLight* environmentLight_;
    pcg32* random_ = nullptr;
    float epsilon_;
    float occlusionDistance_;
    int depth_ = 0;
    float importance_ = 1.0f;
    RayContext context_;
    glm::vec2 screenPos_{0.0f};
    uint64_t rays_ = 0;
    // One light list per nesting depth: a material may still walk its list while a nested
    // shade asks for another.
    std::vector<std::vector<ksi::LightSample>> lightLists_;
};

}  // namespace kestrel::render
