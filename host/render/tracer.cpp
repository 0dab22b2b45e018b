#include "render/tracer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <glm/gtc/constants.hpp>
#include <glm/gtc/noise.hpp>

namespace kestrel::render {

namespace {

glm::vec3 toGlm(const ksi::Float3& v) { return {v.x, v.y, v.z}; }
ksi::Float3 toKsi(const glm::vec3& v) { return {v.x, v.y, v.z}; }

bool isBlack(const glm::vec3& c) { return c.x == 0.0f && c.y == 0.0f && c.z == 0.0f; }
float luminance(const glm::vec3& c) { return 0.212671f * c.x + 0.71516f * c.y + 0.072169f * c.z; }

// Unit vector or zero; never NaN for a finite input.
glm::vec3 unit(const glm::vec3& v) {
    float length = glm::length(v);
    return length > 0.0f && std::isfinite(length) ? v / length : glm::vec3(0.0f);
}

// Two unit vectors completing n to an orthonormal frame.
void frameAround(const glm::vec3& n, glm::vec3& t, glm::vec3& b) {
    glm::vec3 a = std::fabs(n.x) < 0.9f ? glm::vec3(1, 0, 0) : glm::vec3(0, 1, 0);
    t = glm::normalize(glm::cross(a, n));
    b = glm::cross(n, t);
}

// Bits of a lattice coordinate, for hashing without converting floats to integers (which
// overflows for huge or non-finite inputs).
uint32_t latticeKey(float x) {
    float f = std::floor(x) + 0.0f;  // -0 and +0 hash alike
    uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    return bits;
}

uint32_t mix(uint32_t h) {
    h ^= h >> 16;
    h *= 0x7feb352dU;
    h ^= h >> 15;
    h *= 0x846ca68bU;
    h ^= h >> 16;
    return h;
}

uint32_t hash3(uint32_t a, uint32_t b, uint32_t c) { return mix(a ^ mix(b ^ mix(c + 0x9e3779b9U))); }

// [-1, 1] from a hash.
float signedUnit(uint32_t h) { return static_cast<float>(h >> 8) * (2.0f / 16777216.0f) - 1.0f; }

float unsignedPerlin(float p) { return std::clamp(0.5f * p + 0.5f, 0.0f, 1.0f); }

}  // namespace

Tracer::Tracer(const Scene& scene, const RenderSettings& settings)
    : scene_(scene),
      settings_(settings),
      epsilon_(1e-4f * scene.extent()),
      occlusionDistance_(settings.occlusionDistance > 0.0f ? settings.occlusionDistance : scene.extent()),
      lightLists_(static_cast<std::size_t>(std::max(settings.maxDepth, 1) + 2)) {}

bool Tracer::intersect(const glm::vec3& origin, const glm::vec3& direction, float tNear, float tFar, SurfaceHit& hit) {
    ++rays_;
    return scene_.intersect(origin, direction, tNear, tFar, hit);
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
                       ? pathSample(camera.position, direction)
                       : traceRadiance(camera.position, direction, ksi::kRayCamera, false, 1.0f);
    for (int k = 0; k < 4; ++k) sample.finite = sample.finite && std::isfinite(sample.color[k]);
    return sample;
}

void Tracer::fillRecord(ksi::ShadingRecord& record, const SurfaceHit& hit, const glm::vec3& origin,
                        const glm::vec3& direction, int32_t rayType, bool throughMatte) const {
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
    record.rayType = rayType;
    record.frontFacing = glm::dot(direction, hit.geomNormal) < 0.0f ? 1 : 0;
    record.outColor = ksi::Float4(0.0f, 0.0f, 0.0f, 1.0f);
    record.outTransmittance = ksi::Float3(0.0f);
    record.outLightShadow = ksi::Float3(1.0f);
    std::memset(record.lobeRequest, 1, sizeof record.lobeRequest);
    record.throughMatte = throughMatte ? 1 : 0;
    ksi::Float2 uv(hit.uv.x, hit.uv.y);
    if (material.uvOffset >= 0) ksi::writeVarying(record, material.uvOffset, uv);
    if (material.uv1Offset >= 0) ksi::writeVarying(record, material.uv1Offset, uv);
    if (material.tangentOffset >= 0) ksi::writeVarying(record, material.tangentOffset, toKsi(hit.tangent));
    if (material.bitangentOffset >= 0) ksi::writeVarying(record, material.bitangentOffset, toKsi(hit.bitangent));
    if (material.colorOffset >= 0) ksi::writeVarying(record, material.colorOffset, ksi::Float4(1.0f));
}

glm::vec4 Tracer::environmentRadiance(const glm::vec3& direction, int32_t rayType, bool throughMatte) {
    if (!scene_.environment) return glm::vec4(0.0f);
    ksi::ShadingRecord record;
    std::memset(&record, 0, sizeof record);
    record.rayDir = toKsi(direction);
    record.rayType = rayType;
    record.throughMatte = throughMatte ? 1 : 0;
    record.screenPos = ksi::Float2(screenPos_.x, screenPos_.y);
    record.screenSize[0] = settings_.width;
    record.screenSize[1] = settings_.height;
    record.frameMatrix = ksi::Float4x4::identity();
    record.objectMatrix = ksi::Float4x4::identity();
    record.outColor = ksi::Float4(0.0f, 0.0f, 0.0f, 1.0f);
    scene_.environment->environment().shade(this, &record);
    return {record.outColor.x, record.outColor.y, record.outColor.z, record.outColor.w};
}

// Radiance and alpha arriving along a ray. Surfaces whose material declines the sample
// (noContribution) are stepped through; nesting deeper than the depth limit, or a request
// whose accumulated importance falls below the cut-off, answers black.
glm::vec4 Tracer::traceRadiance(glm::vec3 origin, glm::vec3 direction, int32_t rayType, bool throughMatte,
                                float weight) {
    direction = unit(direction);
    float importance = importance_ * std::min(std::fabs(weight), 1.0f);
    if (isBlack(direction) || depth_ >= settings_.maxDepth || !(importance >= settings_.minWeight) ||
        !std::isfinite(origin.x + origin.y + origin.z)) {
        return glm::vec4(0.0f, 0.0f, 0.0f, 1.0f);
    }
    constexpr int kMaxSkippedSurfaces = 32;
    origin = leave(origin, direction);
    float tNear = rayType == ksi::kRayCamera ? 0.0f : epsilon_;
    for (int skipped = 0; skipped < kMaxSkippedSurfaces; ++skipped) {
        SurfaceHit hit;
        if (!intersect(origin, direction, tNear, std::numeric_limits<float>::infinity(), hit)) {
            return environmentRadiance(direction, rayType, throughMatte);
        }
        const Object& object = scene_.objects[static_cast<std::size_t>(hit.object)];
        const Material& material = scene_.materials[static_cast<std::size_t>(object.material)];
        ksi::ShadingRecord record;
        fillRecord(record, hit, origin, direction, rayType, throughMatte);

        const RayContext savedContext = context_;
        const float savedImportance = importance_;
        context_ = RayContext{rayType, throughMatte, true, hit.position, hit.geomNormal};
        importance_ = importance;
        ++depth_;
        material.shader->material().shade(this, &record);
        --depth_;
        context_ = savedContext;
        importance_ = savedImportance;

        if (!record.noContribution) {
            return {record.outColor.x, record.outColor.y, record.outColor.z, record.outColor.w};
        }
        origin = hit.position;
        tNear = epsilon_;
    }
    return glm::vec4(0.0f, 0.0f, 0.0f, 1.0f);
}

Tracer::RayContext Tracer::transmissionContext() const {
    bool camera = context_.rayType == ksi::kRayCamera ||
                  (context_.rayType == ksi::kRayContinuation && context_.throughMatte);
    return camera ? RayContext{ksi::kRayContinuation, true} : RayContext{ksi::kRaySecondary, false};
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
glm::vec3 Tracer::transmittance(const glm::vec3& from, const glm::vec3& to, bool toInfinity) {
    glm::vec3 direction = toInfinity ? unit(to) : to - from;
    float distance = toInfinity ? std::numeric_limits<float>::infinity() : glm::length(direction);
    if (!toInfinity) direction = unit(direction);
    if (isBlack(direction) || !(distance > 2.0f * epsilon_)) return glm::vec3(1.0f);
    const glm::vec3 start = leave(from, direction);
    glm::vec3 result(1.0f);
    float tNear = epsilon_;
    const float tFar = toInfinity ? distance : distance - epsilon_;
    constexpr int kMaxSurfaces = 16;
    for (int i = 0; i < kMaxSurfaces; ++i) {
        SurfaceHit hit;
        if (!intersect(start, direction, tNear, tFar, hit)) return result;
        const Object& object = scene_.objects[static_cast<std::size_t>(hit.object)];
        const Material& material = scene_.materials[static_cast<std::size_t>(object.material)];
        if (!(material.capabilities & ksi::kCapShadowTransmittance)) return glm::vec3(0.0f);
        ksi::ShadingRecord record;
        fillRecord(record, hit, start, direction, ksi::kRayShadow, false);
        material.shader->material().shadowTransmittance(this, &record);
        if (!record.noContribution) result *= toGlm(record.outTransmittance);
        if (isBlack(result)) return result;
        tNear = hit.distance + epsilon_;
    }
    return glm::vec3(0.0f);
}

ksi::Float3* Tracer::traceShadow(ksi::Float3* out, const ksi::Float3* from, const ksi::Float3* to) {
    *out = toKsi(transmittance(toGlm(*from), toGlm(*to), false));
    return out;
}

// ---------------------------------------------------------------------------------------------
// Traced rays

ksi::Float3* Tracer::traceRay(ksi::Float3* out, int32_t rayType, const ksi::Float3* origin,
                              const ksi::Float3* direction, float weight) {
    // A continuation ray is a camera ray carried on through a see-through surface.
    glm::vec4 c = traceRadiance(toGlm(*origin), toGlm(*direction), rayType, rayType == ksi::kRayContinuation, weight);
    *out = ksi::Float3(c.x, c.y, c.z);
    return out;
}

ksi::Float3* Tracer::traceReflection(ksi::Float3* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                     float weight) {
    glm::vec4 c = traceRadiance(toGlm(*origin), toGlm(*direction), ksi::kRaySecondary, false, weight);
    *out = ksi::Float3(c.x, c.y, c.z);
    return out;
}

ksi::Float4* Tracer::traceTransmission(ksi::Float4* out, const ksi::Float3* origin, const ksi::Float3* direction,
                                       float weight) {
    RayContext next = transmissionContext();
    glm::vec4 c = traceRadiance(toGlm(*origin), toGlm(*direction), next.rayType, next.throughMatte, weight);
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
    glm::vec4 c = traceRadiance(toGlm(*origin), d, ksi::kRaySecondary, false, weight);
    *out = ksi::Float3(c.x, c.y, c.z);
    return out;
}

ksi::Float3* Tracer::traceAnisotropicReflection(ksi::Float3* out, const ksi::Float3* origin,
                                                const ksi::Float3* direction, const ksi::Float3* tangent,
                                                const ksi::Float3*, float roughnessU, float roughnessV, float weight) {
    glm::vec3 d = glossyDirection(toGlm(*direction), toGlm(*tangent), roughnessU, roughnessV);
    glm::vec4 c = traceRadiance(toGlm(*origin), d, ksi::kRaySecondary, false, weight);
    *out = ksi::Float3(c.x, c.y, c.z);
    return out;
}

ksi::Float3* Tracer::traceGlossyTransmission(ksi::Float3* out, const ksi::Float3* origin,
                                             const ksi::Float3* direction, float roughness, float weight) {
    glm::vec3 d = glossyDirection(toGlm(*direction), glm::vec3(1, 0, 0), roughness, roughness);
    RayContext next = transmissionContext();
    glm::vec4 c = traceRadiance(toGlm(*origin), d, next.rayType, next.throughMatte, weight);
    *out = ksi::Float3(c.x, c.y, c.z);
    return out;
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
    glm::vec4 c = traceRadiance(toGlm(*position), cosineDirection(n), ksi::kRaySecondary, false, weight);
    *out = ksi::Float3(c.x, c.y, c.z);
    return out;
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

float Tracer::noise(const ksi::Float4* p) { return unsignedPerlin(glm::perlin(glm::vec4(p->x, p->y, p->z, p->w))); }

float Tracer::noise3D(const ksi::Float3* p) { return glm::perlin(glm::vec3(p->x, p->y, p->z)); }

float Tracer::noise2D(const ksi::Float2* p) { return unsignedPerlin(glm::perlin(glm::vec2(p->x, p->y))); }

// Sampled off the lattice rows, so whole-number arguments (tile ids) still vary.
float Tracer::noise1D(float x) { return unsignedPerlin(glm::perlin(glm::vec2(x + 0.3183099f, 0.7071068f))); }

float Tracer::latticeValue(const ksi::Float3* p) {
    return signedUnit(hash3(latticeKey(p->x), latticeKey(p->y), latticeKey(p->z)));
}

ksi::Float3* Tracer::cellFeaturePoint(ksi::Float3* out, const ksi::Float3* cell) {
    uint32_t h = hash3(latticeKey(cell->x), latticeKey(cell->y), latticeKey(cell->z));
    out->x = signedUnit(mix(h + 1U));
    out->y = signedUnit(mix(h + 2U));
    out->z = signedUnit(mix(h + 3U));
    return out;
}

// ---------------------------------------------------------------------------------------------
// Path integrator

glm::vec4 Tracer::pathSample(glm::vec3 origin, glm::vec3 direction) {
    glm::vec3 radiance(0.0f), throughput(1.0f);
    float alpha = 1.0f;
    int32_t rayType = ksi::kRayCamera;
    // MIS state of the last bounce: whether an environment hit is weighted against light
    // sampling, and the proxy density the weight uses.
    bool weighEnvironment = false;
    float previousProxy = 0.0f, previousLightPdf = 0.0f;
    float tNear = 0.0f;
    constexpr int kMaxSkippedSurfaces = 32;
    int skipped = 0;

    for (int bounce = 0; bounce <= settings_.maxDepth;) {
        SurfaceHit hit;
        if (!intersect(origin, direction, tNear, std::numeric_limits<float>::infinity(), hit)) {
            glm::vec4 e = environmentRadiance(direction, rayType, false);
            float w = 1.0f;
            if (weighEnvironment) {
                float a = previousProxy * previousProxy, b = previousLightPdf * previousLightPdf;
                w = a + b > 0.0f ? a / (a + b) : 1.0f;
            }
            radiance += throughput * glm::vec3(e) * w;
            if (bounce == 0) alpha = e.w;
            break;
        }
        const Object& object = scene_.objects[static_cast<std::size_t>(hit.object)];
        const Material& material = scene_.materials[static_cast<std::size_t>(object.material)];
        const ksi::MaterialShader& shader = material.shader->material();
        ksi::ShadingRecord record;
        fillRecord(record, hit, origin, direction, rayType, false);

        // A material that cannot be sampled ends the path with its own shading.
        context_ = RayContext{rayType, false, true, hit.position, hit.geomNormal};
        if (!(material.capabilities & ksi::kCapSampleBsdf)) {
            ++depth_;
            shader.shade(this, &record);
            --depth_;
            if (record.noContribution && ++skipped < kMaxSkippedSurfaces) {
                origin = hit.position;
                tNear = epsilon_;
                continue;
            }
            if (!record.noContribution) {
                radiance += throughput * glm::vec3(record.outColor.x, record.outColor.y, record.outColor.z);
                if (bounce == 0) alpha = record.outColor.w;
            }
            break;
        }

        glm::vec3 facing = glm::dot(hit.normal, direction) < 0.0f ? hit.normal : -hit.normal;
        const bool canEvaluate = (material.capabilities & ksi::kCapEvaluateBsdf) != 0;
        auto evaluate = [&](const glm::vec3& towards, glm::vec3& value) {
            ksi::ShadingRecord r = record;
            r.sampleDir = toKsi(towards);
            r.sampleWeight = ksi::Float3(0.0f);
            r.sampleCos = 0.0f;
            shader.evaluateBsdf(this, &r);
            value = toGlm(r.sampleWeight) * r.sampleCos;
            return value;
        };
        // The host cannot ask a material for its density at a direction it did not draw, so
        // the weights use the luminance of f·cos as a stand-in density: both strategies use the
        // same function, so the weights still sum to one and the estimate stays unbiased.
        auto proxy = [](const glm::vec3& fCos) { return std::max(luminance(fCos), 0.0f); };

        if (canEvaluate) {
            // Point and spot lights, shadowed through the surfaces' transmittance.
            for (const ksi::LightSample* light = getLightSamples(0, &record.position, &record.normal); light;
                 light = light->next) {
                glm::vec3 f;
                evaluate(toGlm(light->direction), f);
                radiance += throughput * f * toGlm(light->shadowedColor);
            }
            // The environment, drawn by cosine around the facing normal.
            if (scene_.environment) {
                glm::vec3 w = cosineDirection(facing);
                float lightPdf = std::max(glm::dot(w, facing), 0.0f) * glm::one_over_pi<float>();
                glm::vec3 f;
                evaluate(w, f);
                if (lightPdf > 0.0f && !isBlack(f)) {
                    ++rays_;
                    if (!scene_.occluded(leave(hit.position, w), w, epsilon_, std::numeric_limits<float>::infinity())) {
                        glm::vec3 e(environmentRadiance(w, ksi::kRaySecondary, false));
                        float q = proxy(f);
                        float weight = lightPdf * lightPdf / (lightPdf * lightPdf + q * q);
                        radiance += throughput * f * e * (weight / lightPdf);
                    }
                }
            }
        }

        record.sampleLobe = ksi::kLobeNone;
        record.sampleWeight = ksi::Float3(0.0f);
        record.sampleCos = 0.0f;
        record.samplePdf = 0.0f;
        shader.sampleBsdf(this, &record);
        if (record.noContribution && ++skipped < kMaxSkippedSurfaces) {
            origin = hit.position;
            tNear = epsilon_;
            continue;
        }
        if (record.sampleLobe == ksi::kLobeNone || record.noContribution) break;
        glm::vec3 next = unit(toGlm(record.sampleDir));
        if (isBlack(next)) break;
        throughput *= toGlm(record.sampleWeight) * (record.sampleCos * record.samplePdf);
        if (isBlack(throughput)) break;

        const bool delta =
            record.sampleLobe == ksi::kLobeSpecularReflection || record.sampleLobe == ksi::kLobeSpecularTransmission;
        weighEnvironment = canEvaluate && !delta && scene_.environment;
        if (weighEnvironment) {
            glm::vec3 f;
            previousProxy = proxy(evaluate(next, f));
            previousLightPdf = std::max(glm::dot(next, facing), 0.0f) * glm::one_over_pi<float>();
            // Where the material's own evaluation is zero, light sampling cannot reach the
            // direction: the sample keeps its full weight.
            if (previousProxy == 0.0f) weighEnvironment = false;
        }

        // Russian roulette once the path has had a few bounces.
        ++bounce;
        if (bounce >= 3) {
            float survive = std::min(0.95f, std::max({throughput.x, throughput.y, throughput.z}));
            if (!(random() < survive)) break;
            throughput /= survive;
        }
        origin = leave(hit.position, next);
        direction = next;
        rayType = ksi::kRaySecondary;
        tNear = epsilon_;
        skipped = 0;
    }
    return glm::vec4(radiance, alpha);
}

}  // namespace kestrel::render
