#include "render/tracer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include <glm/gtc/constants.hpp>

#include "render/hash_noise.h"
#include "render/path_integrator.h"
#include "render/vectors.h"

namespace kestrel::render {

namespace {

// Surfaces a ray steps through (materials that decline the sample) before it answers black.
constexpr int kMaxSkippedSurfaces = 32;
// Surfaces a shadow segment multiplies through before it counts as blocked.
constexpr int kMaxShadowSurfaces = 16;

glm::vec4 outColor(const ksi::ShadingRecord& record) {
    return {record.outColor.x, record.outColor.y, record.outColor.z, record.outColor.w};
}

ksi::Float3* writeRgb(ksi::Float3* out, const glm::vec4& c) {
    *out = ksi::Float3(c.x, c.y, c.z);
    return out;
}

const Material& materialAt(const Scene& scene, const SurfaceHit& hit) {
    const Object& object = scene.objects[static_cast<std::size_t>(hit.object)];
    return scene.materials[static_cast<std::size_t>(object.material)];
}

}  // namespace

Tracer::Tracer(const Scene& scene, const RenderSettings& settings, const EnvironmentLight* environmentLight)
    : scene_(scene),
      settings_(settings),
      environmentLight_(environmentLight),
      epsilon_(1e-4f * scene.extent()),
      occlusionDistance_(settings.occlusionDistance > 0.0f ? settings.occlusionDistance : scene.extent()),
      lightLists_(static_cast<std::size_t>(std::max(settings.maxDepth, 1) + 2)) {}

bool Tracer::intersect(const glm::vec3& origin, const glm::vec3& direction, float tNear, float tFar, SurfaceHit& hit) {
    ++rays_;
    return scene_.intersect(origin, direction, tNear, tFar, hit);
}

glm::vec3 Tracer::transmittanceTowards(const glm::vec3& origin, const glm::vec3& direction) {
    return transmittance(origin, direction, SegmentEnd::Infinity);
}

// ---------------------------------------------------------------------------------------------
// Camera samples

Sample Tracer::cameraSample(int x, int y, pcg32& random) {
    random_ = &random;
    depth_ = 0;
    importance_ = 1.0f;
    context_ = RayContext{};

    const Camera& camera = scene_.camera;
    glm::vec3 forward = glm::normalize(camera.lookAt - camera.position);
    glm::vec3 right = glm::normalize(glm::cross(forward, camera.up));
    glm::vec3 up = glm::cross(right, forward);
    float jitterX = this->random(), jitterY = this->random();
    screenPos_ = glm::vec2(static_cast<float>(x) + jitterX, static_cast<float>(y) + jitterY);
    float tanHalf = std::tan(glm::radians(camera.fovDegrees) * 0.5f);
    float aspect = static_cast<float>(settings_.width) / static_cast<float>(settings_.height);
    float sx = (2.0f * screenPos_.x / static_cast<float>(settings_.width) - 1.0f) * tanHalf * aspect;
    float sy = (1.0f - 2.0f * screenPos_.y / static_cast<float>(settings_.height)) * tanHalf;
    glm::vec3 direction = glm::normalize(forward + sx * right + sy * up);

    Sample sample;
    sample.color = settings_.integrator == Integrator::Path
                       ? PathIntegrator(*this).radiance(camera.position, direction)
                       : traceRadiance(camera.position, direction, RayClass{ksi::kRayCamera}, 1.0f);
    for (int k = 0; k < 4; ++k) sample.finite = sample.finite && std::isfinite(sample.color[k]);
    return sample;
}

void Tracer::fillRecord(ksi::ShadingRecord& record, const SurfaceHit& hit, const glm::vec3& origin,
                        const glm::vec3& direction, RayClass ray) const {
    std::memset(&record, 0, sizeof record);
    const Object& object = scene_.objects[static_cast<std::size_t>(hit.object)];
    const Material& material = scene_.materials[static_cast<std::size_t>(object.material)];
    record.rayOrigin = toKsi(origin);
    record.rayDir = toKsi(direction);
    record.position = toKsi(hit.position);
    record.normal = toKsi(hit.normal);
    record.geomNormal = toKsi(hit.geomNormal);
    record.objectPosition = toKsi(hit.objectPosition);
    record.objectNormal = toKsi(hit.objectNormal);
    record.screenPos = ksi::Float2(screenPos_.x, screenPos_.y);
    record.screenSize[0] = settings_.width;
    record.screenSize[1] = settings_.height;
    record.outsideIorEntering = 1.0f;
    record.outsideIorLeaving = 1.0f;
    record.frameMatrix = ksi::Float4x4::identity();
    record.objectMatrix = object.objectMatrix;
    record.rayType = ray.type;
    record.frontFacing = glm::dot(direction, hit.geomNormal) < 0.0f ? 1 : 0;
    record.outColor = ksi::Float4(0.0f, 0.0f, 0.0f, 1.0f);
    record.outTransmittance = ksi::Float3(0.0f);
    record.outLightShadow = ksi::Float3(1.0f);
    std::memset(record.lobeRequest, 1, sizeof record.lobeRequest);
    record.throughMatte = ray.throughMatte ? 1 : 0;
    ksi::Float2 uv(hit.uv.x, hit.uv.y);
    if (material.uvOffset >= 0) ksi::writeVarying(record, material.uvOffset, uv);
    if (material.uv1Offset >= 0) ksi::writeVarying(record, material.uv1Offset, uv);
    if (material.tangentOffset >= 0) ksi::writeVarying(record, material.tangentOffset, toKsi(hit.tangent));
    if (material.bitangentOffset >= 0) ksi::writeVarying(record, material.bitangentOffset, toKsi(hit.bitangent));
    if (material.colorOffset >= 0) ksi::writeVarying(record, material.colorOffset, ksi::Float4(1.0f));
}

glm::vec4 Tracer::environmentRadiance(const glm::vec3& direction, RayClass ray) {
    if (!scene_.environment) return glm::vec4(0.0f);
    ksi::ShadingRecord record;
    std::memset(&record, 0, sizeof record);
    record.rayDir = toKsi(direction);
    record.rayType = ray.type;
    record.throughMatte = ray.throughMatte ? 1 : 0;
    record.screenPos = ksi::Float2(screenPos_.x, screenPos_.y);
    record.screenSize[0] = settings_.width;
    record.screenSize[1] = settings_.height;
    record.frameMatrix = ksi::Float4x4::identity();
    record.objectMatrix = ksi::Float4x4::identity();
    record.outColor = ksi::Float4(0.0f, 0.0f, 0.0f, 1.0f);
    scene_.environment->environment().shade(this, &record);
    return outColor(record);
}

void Tracer::enterSurface(int32_t rayType, const SurfaceHit& hit) {
    context_ = RayContext{.ray = {rayType}, .onSurface = true, .position = hit.position, .geomNormal = hit.geomNormal};
}

void Tracer::shadeNested(const ksi::MaterialShader& shader, ksi::ShadingRecord& record) {
    ++depth_;
    shader.shade(this, &record);
    --depth_;
}

// Radiance and alpha arriving along a ray. Surfaces whose material declines the sample
// (noContribution) are stepped through; nesting deeper than the depth limit, or a request
// whose accumulated importance falls below the cut-off, answers black.
glm::vec4 Tracer::traceRadiance(glm::vec3 origin, glm::vec3 direction, RayClass ray, float weight) {
    direction = unit(direction);
    float importance = importance_ * std::min(std::fabs(weight), 1.0f);
    if (isBlack(direction) || depth_ >= settings_.maxDepth || !(importance >= settings_.minWeight) ||
        !std::isfinite(origin.x + origin.y + origin.z)) {
        return glm::vec4(0.0f, 0.0f, 0.0f, 1.0f);
    }
    origin = leave(origin, direction);
    float tNear = ray.type == ksi::kRayCamera ? 0.0f : epsilon_;
    for (int skipped = 0; skipped < kMaxSkippedSurfaces; ++skipped) {
        SurfaceHit hit;
        if (!intersect(origin, direction, tNear, std::numeric_limits<float>::infinity(), hit)) {
            return environmentRadiance(direction, ray);
        }
        glm::vec4 color;
        if (shadeForTrace(hit, origin, direction, ray, importance, color)) return color;
        origin = hit.position;
        tNear = epsilon_;
    }
    return glm::vec4(0.0f, 0.0f, 0.0f, 1.0f);
}

bool Tracer::shadeForTrace(const SurfaceHit& hit, const glm::vec3& origin, const glm::vec3& direction, RayClass ray,
                           float importance, glm::vec4& color) {
    ksi::ShadingRecord record;
    fillRecord(record, hit, origin, direction, ray);
    const RayContext savedContext = context_;
    const float savedImportance = importance_;
    context_ = RayContext{.ray = ray, .onSurface = true, .position = hit.position, .geomNormal = hit.geomNormal};
    importance_ = importance;
    shadeNested(materialAt(scene_, hit).shader->material(), record);
    context_ = savedContext;
    importance_ = savedImportance;
    color = outColor(record);
    return !record.noContribution;
}

RayClass Tracer::transmissionRay() const {
    bool camera = context_.ray.type == ksi::kRayCamera ||
                  (context_.ray.type == ksi::kRayContinuation && context_.ray.throughMatte);
    return camera ? RayClass{ksi::kRayContinuation, true} : RayClass{ksi::kRaySecondary, false};
}

glm::vec3 Tracer::leave(const glm::vec3& origin, const glm::vec3& direction) const {
    if (!context_.onSurface || origin != context_.position) return origin;
    float side = glm::dot(direction, context_.geomNormal) >= 0.0f ? 1.0f : -1.0f;
    return origin + context_.geomNormal * (side * epsilon_);
}

// ---------------------------------------------------------------------------------------------
// Lights and shadows

const ksi::LightSample* Tracer::getLightSamples(int32_t, const ksi::Float3* position, const ksi::Float3*) {
    auto level = static_cast<std::size_t>(std::clamp(depth_, 0, static_cast<int>(lightLists_.size()) - 1));
    std::vector<ksi::LightSample>& list = lightLists_[level];
    list.clear();
    const glm::vec3 p = toGlm(*position);
    for (const Light& light : scene_.lights) {
        glm::vec3 offset = p - light.position;
        float distance = glm::length(offset);
        ksi::ShadingRecord record;
        std::memset(&record, 0, sizeof record);
        record.position = *position;
        record.lightPosition = toKsi(light.position);
        record.lightAxis = toKsi(light.axis);
        record.lightDir = toKsi(unit(offset));
        record.lightDistance = distance;
        record.outLightColor = ksi::Float3(0.0f);
        record.outLightShadow = ksi::Float3(1.0f);
        light.shader->light().shade(this, &record);
        // A light that does not reach the point writes nothing and stays black: leave it out.
        if (record.outLightColor == ksi::Float3(0.0f)) continue;
        ksi::LightSample sample{};
        sample.direction = toKsi(-unit(offset));
        sample.specularScale = light.specularScale;
        sample.color = record.outLightColor;
        sample.shadow = record.outLightShadow;
        sample.shadowedColor = record.outLightColor * record.outLightShadow;
        sample.kind = light.specular ? 0 : ksi::kLightKindNoSpecular;
        list.push_back(sample);
    }
    for (std::size_t i = 0; i + 1 < list.size(); ++i) list[i].next = &list[i + 1];
    return list.empty() ? nullptr : list.data();
}

// Product of the transmittances of every surface between two points. A material without a
// shadowTransmittance slot is opaque; one that declines the sample lets the ray through.
glm::vec3 Tracer::transmittance(const glm::vec3& from, const glm::vec3& to, SegmentEnd end) {
    const bool toInfinity = end == SegmentEnd::Infinity;
    glm::vec3 direction = toInfinity ? unit(to) : to - from;
    float distance = toInfinity ? std::numeric_limits<float>::infinity() : glm::length(direction);
    if (!toInfinity) direction = unit(direction);
    if (isBlack(direction) || !(distance > 2.0f * epsilon_)) return glm::vec3(1.0f);
    const glm::vec3 start = leave(from, direction);
    glm::vec3 result(1.0f);
    float tNear = epsilon_;
    const float tFar = toInfinity ? distance : distance - epsilon_;
    for (int i = 0; i < kMaxShadowSurfaces; ++i) {
        SurfaceHit hit;
        if (!intersect(start, direction, tNear, tFar, hit)) return result;
        const Material& material = materialAt(scene_, hit);
        if (!(material.capabilities & ksi::kCapShadowTransmittance)) return glm::vec3(0.0f);
        ksi::ShadingRecord record;
        fillRecord(record, hit, start, direction, RayClass{ksi::kRayShadow});
        material.shader->material().shadowTransmittance(this, &record);
        if (!record.noContribution) result *= toGlm(record.outTransmittance);
        if (isBlack(result)) return result;
        tNear = hit.distance + epsilon_;
    }
    return glm::vec3(0.0f);
}

ksi::Float3* Tracer::traceShadow(ksi::Float3* out, const ksi::Float3* from, const ksi::Float3* to) {
    *out = toKsi(transmittance(toGlm(*from), toGlm(*to), SegmentEnd::Point));
    return out;
}

// ---------------------------------------------------------------------------------------------
// Traced rays

ksi::Float3* Tracer::traceRay(ksi::Float3* out, int32_t rayType, const ksi::Float3* origin,
                              const ksi::Float3* direction, float weight) {
    // A continuation ray is a camera ray carried on through a see-through surface.
    RayClass ray{rayType, rayType == ksi::kRayContinuation};
    return writeRgb(out, traceRadiance(toGlm(*origin), toGlm(*direction), ray, weight));
}

ksi::Float3* Tracer::traceReflection(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                     float weight) {
    return writeRgb(out, traceRadiance(toGlm(*origin), toGlm(*direction), RayClass{ksi::kRaySecondary}, weight));
}

ksi::Float4* Tracer::traceTransmission(ksi::Float4* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                       float weight) {
    glm::vec4 c = traceRadiance(toGlm(*origin), toGlm(*direction), transmissionRay(), weight);
    *out = ksi::Float4(c.x, c.y, c.z, c.w);
    return out;
}

// Slopes drawn from a lobe whose width per axis is the roughness (a GGX-shaped spread of the
// tangent of the angle off the axis), so roughness 0 traces the direction itself.
glm::vec3 Tracer::glossyDirection(const glm::vec3& axis, const glm::vec3& tangentHint, float roughnessU,
                                  float roughnessV) {
    glm::vec3 d = unit(axis);
    if (isBlack(d)) return d;
    float ru = std::isfinite(roughnessU) ? std::clamp(std::fabs(roughnessU), 0.0f, 10.0f) : 0.0f;
    float rv = std::isfinite(roughnessV) ? std::clamp(std::fabs(roughnessV), 0.0f, 10.0f) : 0.0f;
    if (ru == 0.0f && rv == 0.0f) return d;
    glm::vec3 t = tangentHint - d * glm::dot(d, tangentHint), b;
    if (glm::length(t) > 1e-6f) {
        t = glm::normalize(t);
        b = glm::cross(d, t);
    } else {
        frameAround(d, t, b);
    }
    float u1 = std::min(random(), 0.999f), u2 = random();
    float spread = std::sqrt(u1 / (1.0f - u1));
    float phi = glm::two_pi<float>() * u2;
    return unit(d + t * (ru * spread * std::cos(phi)) + b * (rv * spread * std::sin(phi)));
}

ksi::Float3* Tracer::traceGlossyReflection(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                           float roughness, float weight) {
    glm::vec3 d = glossyDirection(toGlm(*direction), glm::vec3(1, 0, 0), roughness, roughness);
    return writeRgb(out, traceRadiance(toGlm(*origin), d, RayClass{ksi::kRaySecondary}, weight));
}

ksi::Float3* Tracer::traceAnisotropicReflection(ksi::Float3* out, const ksi::Float3* origin,
                                                const ksi::Float3* direction, const ksi::Float3* tangent,
                                                const ksi::Float3*, float roughnessU, float roughnessV, float weight) {
    glm::vec3 d = glossyDirection(toGlm(*direction), toGlm(*tangent), roughnessU, roughnessV);
    return writeRgb(out, traceRadiance(toGlm(*origin), d, RayClass{ksi::kRaySecondary}, weight));
}

ksi::Float3* Tracer::traceGlossyTransmission(ksi::Float3* out, const ksi::Float3* origin,
                                             const ksi::Float3* direction, float roughness, float weight) {
    glm::vec3 d = glossyDirection(toGlm(*direction), glm::vec3(1, 0, 0), roughness, roughness);
    return writeRgb(out, traceRadiance(toGlm(*origin), d, transmissionRay(), weight));
}

// ---------------------------------------------------------------------------------------------
// Ambient terms

glm::vec3 Tracer::cosineDirection(const glm::vec3& normal) {
    glm::vec3 t, b;
    frameAround(normal, t, b);
    float u1 = random(), u2 = random();
    float r = std::sqrt(u1), phi = glm::two_pi<float>() * u2;
    return unit(t * (r * std::cos(phi)) + b * (r * std::sin(phi)) + normal * std::sqrt(std::max(0.0f, 1.0f - u1)));
}

ksi::Float3* Tracer::ambientIrradiance(ksi::Float3* out, const ksi::Float3*, const ksi::Float3*) {
    *out = toKsi(scene_.ambient);
    return out;
}

ksi::Float3* Tracer::ambientOcclusion(ksi::Float3* out, const ksi::Float3* position, const ksi::Float3* normal,
                                      float) {
    glm::vec3 n = unit(toGlm(*normal)), p = toGlm(*position);
    const int samples = std::max(settings_.occlusionSamples, 1);
    if (isBlack(n) || !std::isfinite(p.x + p.y + p.z)) {
        *out = ksi::Float3(1.0f);
        return out;
    }
    int open = 0;
    for (int i = 0; i < samples; ++i) {
        ++rays_;
        glm::vec3 d = cosineDirection(n);
        if (!scene_.occluded(leave(p, d), d, epsilon_, occlusionDistance_)) ++open;
    }
    *out = ksi::Float3(static_cast<float>(open) / static_cast<float>(samples));
    return out;
}

// Cosine-weighted mean radiance over the hemisphere (irradiance over pi), one ray per call: a
// white diffuse surface lit only by it shows this value.
ksi::Float3* Tracer::indirectIrradiance(ksi::Float3* out, const ksi::Float3* position, const ksi::Float3* normal,
                                        float weight) {
    glm::vec3 n = unit(toGlm(*normal));
    if (isBlack(n)) {
        *out = ksi::Float3(0.0f);
        return out;
    }
    return writeRgb(out, traceRadiance(toGlm(*position), cosineDirection(n), RayClass{ksi::kRaySecondary}, weight));
}

// ---------------------------------------------------------------------------------------------
// Random numbers and noise

float Tracer::random() {
    // 24 bits: every value is exactly representable and below 1.
    return static_cast<float>((*random_)() >> 8) * (1.0f / 16777216.0f);
}

ksi::Float2* Tracer::random2D(ksi::Float2* out) {
    out->x = random();
    out->y = random();
    return out;
}

float Tracer::noise(const ksi::Float4* p) { return unsignedNoise(glm::vec4(p->x, p->y, p->z, p->w)); }

float Tracer::noise3D(const ksi::Float3* p) { return signedNoise(toGlm(*p)); }

float Tracer::noise2D(const ksi::Float2* p) { return unsignedNoise(glm::vec2(p->x, p->y)); }

float Tracer::noise1D(float x) { return unsignedNoise(x); }

float Tracer::latticeValue(const ksi::Float3* p) { return latticeHash(toGlm(*p)); }

ksi::Float3* Tracer::cellFeaturePoint(ksi::Float3* out, const ksi::Float3* cell) {
    *out = toKsi(cellHash(toGlm(*cell)));
    return out;
}

}  // namespace kestrel::render
