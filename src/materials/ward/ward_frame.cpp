#include "materials/ward/ward_frame.h"

#include <cmath>

#include "frame/texture_lookup.h"
#include "materials/ward/ward_noise.h"

namespace ksi {

Float4 wardMapAt(const TextureHandle& map, const Float3x3& transform, const ShadingRecord& record,
                 const VaryingLayout& layout) {
    return lookupTexture(map, transformUv(readVarying<Float2>(record, layout.uv), transform));
}

void applyTangentNormalMap(ShadingFrame& frame, Float4 texel, float amount) {
    frame.N = frame.N + amount * 3.33f * (texel.x * frame.T + texel.y * frame.B);
    frame.N = normalize(frame.N);
    orthonormalize(frame);
}

void applyProcedureMap(const WardParams& p, RenderServices* services, const ShadingRecord& record,
                       const VaryingLayout& layout, Float3 normal, ShadingFrame& frame) {
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
        const BumpDirections raw{readVarying<Float3>(record, layout.tangent),
                                 readVarying<Float3>(record, layout.bitangent), normal};
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
float anisotropyRotation(const WardParams& p, const ShadingRecord& record, const VaryingLayout& layout) {
    if (!p.u_anisoRotationMapEnable) return p.u_anisoRotationValue;
    return wardMapAt(p.u_anisoRotationMap, p.u_anisoRotationTransform, record, layout).x * p.u_anisoRotationAmount;
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
