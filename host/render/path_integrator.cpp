#include "render/path_integrator.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <glm/gtc/constants.hpp>

#include "render/environment_light.h"
#include "render/vectors.h"

namespace kestrel::render {

namespace {

// Surfaces a path steps through in a row (materials that decline the sample) before it ends.
constexpr int kMaxSkippedSurfaces = 32;
// Russian roulette starts once the path has had this many bounces.
constexpr int kRouletteBounce = 3;
constexpr float kMaxSurvival = 0.95f;
// f·cos counts as a glossy peak above this multiple of a white diffuse surface's cos/pi: a
// margin so that a diffuse lobe, rounded up by an ulp, never counts.
constexpr float kPeakOverDiffuse = 2.0f;

// The host's light convention: a light sample's colour is what a white diffuse surface facing
// the light shows (the materials' shade multiplies it by the diffuse colour and a cosine, with
// no 1/pi). As irradiance that is pi times the colour, which is what a BSDF value needs.
constexpr float kLightIrradianceScale = glm::pi<float>();

bool isDelta(int32_t lobe) { return lobe == ksi::kLobeSpecularReflection || lobe == ksi::kLobeSpecularTransmission; }

// How the environment light and BSDF sampling share one direction.
struct Shares {
    float light, bsdf;
};

// The power heuristic (exponent 2) from the two strategies' densities at a direction. The
// shares sum to one, so counting a direction from both strategies, each with its share,
// counts it once. Written with the ratio of the densities so a sun's large density cannot
// overflow the squares.
Shares powerHeuristic(float lightDensity, float bsdfDensity) {
    if (!(lightDensity > 0.0f)) return {0.0f, 1.0f};
    float ratio = bsdfDensity / lightDensity;
    float squared = ratio * ratio;
    if (!std::isfinite(squared)) return {0.0f, 1.0f};
    return {1.0f / (1.0f + squared), squared / (1.0f + squared)};
}

// The BSDF side of the weights, standing in for the material's own density, which the slots
// do not report: f·cos where it clearly exceeds a white diffuse surface's cos/pi (a glossy peak),
// since a sampler that follows a lobe reflecting at most all the light draws at least f·cos
// there; elsewhere 0, so light sampling keeps the broad part of every lobe. The library's
// samplers may decline broad directions their evaluation covers (Ward's diffuse branch where
// the Ward exponential underflows), and a BSDF share there would lose that light. Any
// stand-in keeps the estimate unbiased as long as both strategies compute it the same way at
// a direction, and evaluateBsdf depends on the direction alone.
float bsdfDensity(const glm::vec3& normal, const glm::vec3& direction, const glm::vec3& fCos) {
    float peak = luminance(fCos);
    float diffuse = std::fabs(glm::dot(normal, direction)) * glm::one_over_pi<float>();
    return peak > kPeakOverDiffuse * diffuse ? peak : 0.0f;
}

// Both strategies weigh a direction by the same function of the direction. Outside the peaks
// light sampling takes the direction whole without looking up its density, which is positive
// everywhere the light can draw (everywhere but the two poles).
Shares environmentShares(const EnvironmentLight& light, const ksi::ShadingRecord& record, const glm::vec3& direction,
                         const glm::vec3& fCos) {
    float q = bsdfDensity(toGlm(record.normal), direction, fCos);
    if (q == 0.0f) return {1.0f, 0.0f};
    return powerHeuristic(light.density(direction), q);
}

}  // namespace

glm::vec4 PathIntegrator::radiance(glm::vec3 origin, glm::vec3 direction) {
    origin_ = origin;
    direction_ = direction;
    const Scene& scene = tracer_.scene();
    while (bounce_ <= tracer_.settings().maxDepth) {
        Vertex vertex;
        if (!tracer_.intersect(origin_, direction_, tNear_, std::numeric_limits<float>::infinity(), vertex.hit)) {
            escape();
            break;
        }
        const Object& object = scene.objects[static_cast<std::size_t>(vertex.hit.object)];
        const Material& material = scene.materials[static_cast<std::size_t>(object.material)];
        vertex.shader = &material.shader->material();
        vertex.capabilities = material.capabilities;
        tracer_.fillRecord(vertex.record, vertex.hit, origin_, direction_, RayClass{rayType_});
        tracer_.enterSurface(rayType_, vertex.hit);

        // A material the host cannot both sample and evaluate ends the path with its shade.
        constexpr int32_t kScatters = ksi::kCapSampleBsdf | ksi::kCapEvaluateBsdf;
        glm::vec3 nextDirection(0.0f);
        Next next = (vertex.capabilities & kScatters) == kScatters ? scatter(vertex, nextDirection)
                                                                   : endWithShade(vertex);
        if (next == Next::End) break;
        if (next == Next::Bounce) {
            origin_ = tracer_.leave(vertex.hit.position, nextDirection);
            direction_ = nextDirection;
            rayType_ = ksi::kRaySecondary;
            tNear_ = tracer_.epsilon();
            skipped_ = 0;
        }
    }
    return glm::vec4(radiance_, alpha_);
}

// The ray leaves the scene: the environment, with the share BSDF sampling takes of the
// direction at the vertex the ray left.
void PathIntegrator::escape() {
    if (!(environmentShare_ > 0.0f)) return;
    glm::vec4 e = tracer_.environmentRadiance(direction_, RayClass{rayType_});
    radiance_ += throughput_ * glm::vec3(e) * environmentShare_;
    if (bounce_ == 0) alpha_ = e.w;
}

PathIntegrator::Next PathIntegrator::stepThrough(const SurfaceHit& hit) {
    if (++skipped_ >= kMaxSkippedSurfaces) return Next::End;
    origin_ = hit.position;
    tNear_ = tracer_.epsilon();
    return Next::StepThrough;
}

// A material that cannot be sampled or evaluated ends the path with its own shading.
PathIntegrator::Next PathIntegrator::endWithShade(Vertex& vertex) {
    ksi::ShadingRecord& record = vertex.record;
    tracer_.shadeNested(*vertex.shader, record);
    if (record.noContribution) return stepThrough(vertex.hit);
    radiance_ += throughput_ * glm::vec3(record.outColor.x, record.outColor.y, record.outColor.z);
    if (bounce_ == 0) alpha_ = record.outColor.w;
    return Next::End;
}

// f·cos towards a direction, from evaluateBsdf on a copy of the vertex's record.
glm::vec3 PathIntegrator::evaluate(const Vertex& vertex, const glm::vec3& towards) const {
    ksi::ShadingRecord r = vertex.record;
    r.sampleDir = toKsi(towards);
    r.sampleWeight = ksi::Float3(0.0f);
    r.sampleCos = 0.0f;
    vertex.shader->evaluateBsdf(&tracer_, &r);
    // A surface that declines the direction (clipped, masked) reflects nothing towards it.
    if (r.noContribution) return glm::vec3(0.0f);
    return toGlm(r.sampleWeight) * r.sampleCos;
}

// Point and spot lights, shadowed through the surfaces' transmittance.
void PathIntegrator::addLights(const Vertex& vertex) {
    const ksi::ShadingRecord& record = vertex.record;
    for (const ksi::LightSample* light = tracer_.getLightSamples(0, &record.position, &record.normal); light;
         light = light->next) {
        radiance_ += throughput_ * evaluate(vertex, toGlm(light->direction)) * (kLightIrradianceScale * toGlm(light->shadowedColor));
    }
}

// The environment, drawn from its own distribution, with the share light sampling takes of
// the direction. Directions the material evaluates as black are left to BSDF sampling whole.
void PathIntegrator::addEnvironmentLight(const Vertex& vertex) {
    const EnvironmentLight* light = tracer_.environmentLight();
    if (!light || !light->usable()) return;
    float u1 = tracer_.random(), u2 = tracer_.random();
    float lightPdf = 0.0f;
    glm::vec3 w = light->sample(u1, u2, lightPdf);
    glm::vec3 f = evaluate(vertex, w);
    if (!(lightPdf > 0.0f) || isBlack(f)) return;
    float share = environmentShares(*light, vertex.record, w, f).light;
    if (!(share > 0.0f)) return;
    glm::vec3 through = tracer_.transmittanceTowards(vertex.hit.position, w);
    if (isBlack(through)) return;
    glm::vec3 e = through * glm::vec3(tracer_.environmentRadiance(w, RayClass{ksi::kRaySecondary}));
    radiance_ += throughput_ * f * e * (share / lightPdf);
}

// The material draws the next direction first: a surface that declines the sample is not
// there for this path, so it neither receives light nor scatters. Otherwise the lights and
// the environment are gathered at the vertex and the drawn direction continues the path.
PathIntegrator::Next PathIntegrator::scatter(Vertex& vertex, glm::vec3& next) {
    ksi::ShadingRecord record = vertex.record;
    record.sampleLobe = ksi::kLobeNone;
    record.sampleWeight = ksi::Float3(0.0f);
    record.sampleCos = 0.0f;
    record.samplePdf = 0.0f;
    vertex.shader->sampleBsdf(&tracer_, &record);
    if (record.noContribution) return stepThrough(vertex.hit);
    addLights(vertex);
    addEnvironmentLight(vertex);
    if (record.sampleLobe == ksi::kLobeNone) return Next::End;
    next = unit(toGlm(record.sampleDir));
    if (isBlack(next)) return Next::End;
    throughput_ *= toGlm(record.sampleWeight) * (record.sampleCos * record.samplePdf);
    if (isBlack(throughput_)) return Next::End;
    rememberEnvironmentShare(vertex, next, record.sampleLobe);
    ++bounce_;
    return survivesRoulette() ? Next::Bounce : Next::End;
}

// The share of the environment BSDF sampling takes along the drawn direction, should the ray
// escape. Light sampling cannot produce a single direction (a mirror's, a clear glass's) or a
// direction the material evaluates as black (transmission the evaluation does not cover), so
// BSDF sampling keeps those whole; the rest it shares with light sampling.
void PathIntegrator::rememberEnvironmentShare(const Vertex& vertex, const glm::vec3& next, int32_t lobe) {
    const EnvironmentLight* light = tracer_.environmentLight();
    if (isDelta(lobe) || !light || !light->usable()) {
        environmentShare_ = 1.0f;
        return;
    }
    glm::vec3 f = evaluate(vertex, next);
    environmentShare_ = isBlack(f) ? 1.0f : environmentShares(*light, vertex.record, next, f).bsdf;
}

// Russian roulette once the path has had a few bounces.
bool PathIntegrator::survivesRoulette() {
    if (bounce_ < kRouletteBounce) return true;
    float survive = std::min(kMaxSurvival, std::max({throughput_.x, throughput_.y, throughput_.z}));
    if (!(tracer_.random() < survive)) return false;
    throughput_ /= survive;
    return true;
}

}  // namespace kestrel::render
