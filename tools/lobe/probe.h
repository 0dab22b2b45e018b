// One material at one point, seen from one incident direction: the record a renderer would hand
// to evaluateBsdf and sampleBsdf, in a frame where the tangent is x, the bitangent y and the
// normal z, so that world and local directions are the same vectors.
#pragma once

#include <array>
#include <cstdint>

#include <glm/glm.hpp>

#include <kestrel/kestrel.h>

#include "probe_services.h"
#include "shader_instance.h"

namespace kestrel::lobe {

// The lobe classes a host accepts, one byte per lobe code 1, 2, 4, 8, 16, 32.
using LobeRequest = std::array<uint8_t, 6>;
inline constexpr LobeRequest kEveryLobe = {1, 1, 1, 1, 1, 1};

// A unit direction from polar and azimuthal angles (radians) about the normal.
glm::dvec3 direction(double theta, double phi);

struct Evaluation {
    glm::dvec3 value{0.0};  // sampleWeight: the BSDF value per channel
    double cosine = 0.0;    // sampleCos
    bool dropped = false;   // noContribution
};

struct Draw {
    int lobe = 0;
    glm::dvec3 direction{0.0};
    glm::dvec3 weight{0.0};
    double cosine = 0.0;
    double reciprocalDensity = 0.0;  // samplePdf
    bool dropped = false;
    // What the host multiplies the arriving radiance by.
    glm::dvec3 throughput() const { return weight * (cosine * reciprocalDensity); }
};

class LobeProbe {
public:
    // `incoming` points from the surface towards where the ray came from.
    LobeProbe(const ShaderInstance& shader, glm::dvec3 incoming, const LobeRequest& request = kEveryLobe);

    bool canEvaluate() const { return canEvaluate_; }
    bool canSample() const { return canSample_; }
    glm::dvec3 incoming() const { return incoming_; }

    // The host presets the outputs to zero before each call, as a renderer does: the legacy
    // material adds to sampleWeight rather than writing it.
    Evaluation evaluate(ProbeServices& services, glm::dvec3 outgoing) const;
    Draw sample(ProbeServices& services) const;

private:
    const ksi::MaterialShader* material_;
    bool canEvaluate_, canSample_;
    glm::dvec3 incoming_;
    ksi::ShadingRecord record_;
};

}  // namespace kestrel::lobe
