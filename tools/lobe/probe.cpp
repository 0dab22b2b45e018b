#include "probe.h"

#include <cmath>
#include <cstring>
#include <string>

namespace kestrel::lobe {

namespace {

ksi::Float3 toKsi(glm::dvec3 v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}
glm::dvec3 toGlm(ksi::Float3 v) { return {v.x, v.y, v.z}; }

// The varyings a renderer delivers, by name: the tangent frame is the world frame, the uv a
// point inside the first texture tile, the vertex colour white.
void writeVaryings(const ShaderInstance& shader, ksi::ShadingRecord& record) {
    for (const VaryingDeclaration& varying : shader.declaration().varyings) {
        const int size = varying.type == ksi::kVaryingFloat2 ? 8 : varying.type == ksi::kVaryingFloat3 ? 12 : 16;
        if (varying.offset < 0 || varying.offset > ksi::kVaryingsSize - size) continue;
        if (varying.name == "uv" || varying.name == "uv1") {
            ksi::writeVarying(record, varying.offset, ksi::Float2(0.25f, 0.25f));
        } else if (varying.name == "tangent") {
            ksi::writeVarying(record, varying.offset, ksi::Float3(1.0f, 0.0f, 0.0f));
        } else if (varying.name == "bitangent") {
            ksi::writeVarying(record, varying.offset, ksi::Float3(0.0f, 1.0f, 0.0f));
        } else if (varying.name == "vtxcolor") {
            ksi::writeVarying(record, varying.offset, ksi::Float4(1.0f));
        }
    }
}

}  // namespace

glm::dvec3 direction(double theta, double phi) {
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

LobeProbe::LobeProbe(const ShaderInstance& shader, glm::dvec3 incoming, const LobeRequest& request)
    : material_(&shader.material()),
      canEvaluate_(shader.can(ksi::kCapEvaluateBsdf)),
      canSample_(shader.can(ksi::kCapSampleBsdf)),
      incoming_(incoming) {
    std::memset(&record_, 0, sizeof record_);
    record_.rayDir = toKsi(-incoming);
    record_.rayOrigin = toKsi(incoming);
    record_.position = ksi::Float3(0.0f);
    record_.normal = record_.geomNormal = record_.objectNormal = ksi::Float3(0.0f, 0.0f, 1.0f);
    record_.objectPosition = ksi::Float3(0.0f);
    record_.screenSize[0] = record_.screenSize[1] = 1;
    record_.outsideIorEntering = record_.outsideIorLeaving = 1.0f;
    record_.frameMatrix = record_.objectMatrix = ksi::Float4x4::identity();
    record_.rayType = ksi::kRayCamera;
    record_.frontFacing = 1;
    record_.outColor = ksi::Float4(0.0f, 0.0f, 0.0f, 1.0f);
    record_.outLightShadow = ksi::Float3(1.0f);
    std::memcpy(record_.lobeRequest, request.data(), request.size());
    writeVaryings(shader, record_);
}

Evaluation LobeProbe::evaluate(ProbeServices& services, glm::dvec3 outgoing) const {
    ksi::ShadingRecord record = record_;
    record.sampleDir = toKsi(outgoing);
    material_->evaluateBsdf(&services, &record);
    return {toGlm(record.sampleWeight), record.sampleCos, record.noContribution != 0};
}

Draw LobeProbe::sample(ProbeServices& services) const {
    ksi::ShadingRecord record = record_;
    material_->sampleBsdf(&services, &record);
    Draw draw;
    draw.dropped = record.noContribution != 0;
    draw.lobe = draw.dropped ? 0 : record.sampleLobe;
    if (draw.lobe == 0) return draw;
    draw.direction = toGlm(record.sampleDir);
    draw.weight = toGlm(record.sampleWeight);
    draw.cosine = record.sampleCos;
    draw.reciprocalDensity = record.samplePdf;
    return draw;
}

}  // namespace kestrel::lobe
