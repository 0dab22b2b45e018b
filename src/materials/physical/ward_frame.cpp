#include "materials/physical/ward_frame.h"

#include <cmath>

#include "frame/texture_lookup.h"
#include "materials/physical/ward_noise.h"

namespace ksi {

namespace {
constexpr int kUvOffset = 48, kTangentOffset = 36, kBitangentOffset = 24;

Float2 uvOf(const ShadingRecord& record) { return readVarying<Float2>(record, kUvOffset); }

Float4 mapAt(const TextureHandle& map, const Float3x3& transform, const ShadingRecord& record) {
    return lookupTexture(map, transformUv(uvOf(record), transform));
}

// Moves N along the map's red and green (used as they are) in the tangent plane.
void applyNormalMap(ShadingFrame& frame, Float4 texel, float amount) {
    frame.N = frame.N + amount * 3.33f * (texel.x * frame.T + texel.y * frame.B);
    frame.N = normalize(frame.N);
    orthonormalize(frame);
}

// The procedural perturbation of the normal, by mode; modes 0, 4 and out of range add nothing.
void applyProcedureMap(const WardParams& p, RenderServices* services, const ShadingRecord& record,
                       ShadingFrame& frame) {
    const int32_t mode = p.u_procedureMapEnable;
    const Float3 P = record.position;
    const BumpDirections current{frame.T, frame.B, frame.N};
    Float3 r;
    float amount = p.u_procedureMapAmount;
    if (mode == 1) {
        // Rotated so the noise does not line up with the world axes.
        Float3 q = P;
        float a = -0.5f;
        q = {q.x * std::cos(a) - q.y * std::sin(a), q.x * std::sin(a) + q.y * std::cos(a), q.z};
        a = 0.6f;
        q = {q.x * std::cos(a) + q.z * std::sin(a), q.y, -q.x * std::sin(a) + q.z * std::cos(a)};
        q = {q.x, q.y * std::cos(a) - q.z * std::sin(a), q.y * std::sin(a) + q.z * std::cos(a)};
        r = noiseBump(services, p.u_procedureMapTiling * q, current, 1.3f, 2.0f, 0, 0.0f, 0.0f, 1.0f, 1.0f);
        amount = amount * 0.5f;
    } else if (mode == 2 || mode == 3) {
        // These follow the raw tangent, bitangent and the unbumped normal.
        const BumpDirections raw{readVarying<Float3>(record, kTangentOffset),
                                 readVarying<Float3>(record, kBitangentOffset), record.normal};
        r = mode == 2 ? cellularBump(services, P * p.u_procedureMapTiling, raw)
                      : ridgedNoiseBump(services, P * p.u_procedureMapTiling * 0.02f * 10.0f, raw);
    } else if (mode >= 5 && mode <= 7) {
        r = noiseBump(services, p.u_procedureMapTiling * (100.0f * P), current, 150.0f, 5.0f, mode - 5, 1.5f, 0.2f,
                      0.9f, 0.901961f - 0.135294f);
    } else {
        return;
    }
    frame.N = frame.N + amount * (r.x * frame.T + r.y * frame.B + r.z * frame.N);
    orthonormalize(frame);
}
}  // namespace

float anisotropyRotation(const WardParams& p, const ShadingRecord& record) {
    if (!p.u_anisoRotationMapEnable) return p.u_anisoRotationValue;
    return mapAt(p.u_anisoRotationMap, p.u_anisoRotationTransform, record).x * p.u_anisoRotationAmount;
}

WardFrames assembleShadingFrame(const WardParams& p, RenderServices* services, const ShadingRecord& record) {
    ShadingFrame frame =
        tangentFrame(readVarying<Float3>(record, kTangentOffset), record.objectMatrix, record.normal);
    if (p.u_normal0MapEnable) {
        float a = p.u_normal0Amount;
        if (p.u_normal0AmountMapEnable) a = mapAt(p.u_normal0AmountMap, p.u_normal0AmountTransform, record).x * p.u_normal0Amount;
        applyNormalMap(frame, mapAt(p.u_normal0Map, p.u_normal0Transform, record), a);
    }
    const float rotation = anisotropyRotation(p, record);
    WardFrames frames;
    frames.lighting = frame;
    rotateTangent(frames.lighting, rotation);
    if (p.u_normal1MapEnable) {
        applyNormalMap(frame, mapAt(p.u_normal1Map, p.u_normal1Transform, record), p.u_normal1Amount);
    } else {
        applyProcedureMap(p, services, record, frame);
    }
    rotateTangent(frame, rotation);
    frames.bsdf = frame;
    return frames;
}

Float3 correctShadingNormal(Float3 V, Float3 Nr, Float3 Nb) {
    V = normalize(V);
    Nr = normalize(Nr);
    Nb = normalize(Nb);
    const float cb = dot(V, Nb), cr = dot(V, Nr);
    if (cb >= cr) return Nb;
    const float thetaB = std::acos(cb), thetaR = std::acos(cr);
    // Interpolate the angle to the view so the corrected normal never turns past grazing.
    const float theta = clamp((thetaB - thetaR) * cr + thetaR, 0.0f, 1.553343f);
    float s, c;
    if (std::fabs(thetaB) >= 0.08f) {
        s = std::sin(theta) / std::sin(thetaB);
        c = std::cos(theta) - s * cb;
    } else {
        s = cr;
        c = 1.0f - cr;
    }
    return normalize(s * Nb + c * V);
}

}  // namespace ksi
