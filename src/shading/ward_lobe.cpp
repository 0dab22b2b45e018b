#include "shading/ward_lobe.h"

#include <cmath>

namespace ksi {

namespace {
constexpr float kFourPi = 12.566372f;
constexpr float kMinCos = 0.0001f;
constexpr float kMinLobe = 0.000001f;

// The Ward exponential of an unnormalised or normalised half vector.
float wardExponential(Float3 h, float alphaX, float alphaY) {
    float hx = h.x / alphaX;
    float hy = h.y / alphaY;
    return std::exp(-(hx * hx + hy * hy) / (h.z * h.z));
}

// A roughness of zero (or NaN) has no glossy lobe: it would divide by zero. Such a lobe reflects
// diffusely only and is never sampled; every positive roughness is unaffected.
bool hasGlossyLobe(float alphaX, float alphaY) { return alphaX > 0.0f && alphaY > 0.0f; }

// 1 / (4 pi alphaX alphaY sqrt(cos_i cos_o)): the Ward normalisation.
float wardNormalisation(Float3 I, Float3 L, float alphaX, float alphaY) {
    return 1.0f / (std::sqrt(-I.z * L.z) * alphaX * kFourPi * alphaY);
}
}  // namespace

Float3 wardBrdf(Float3 I, Float3 L, Float3 D, Float3 S, float alphaX, float alphaY) {
    // The half vector, unnormalised: L plus the outgoing direction -I.
    Float3 h = L - I;
    bool valid = std::sqrt(dot(h, h)) > 0.0f && std::fabs(h.z) >= kMinCos && std::fabs(I.z) >= kMinCos &&
                 L.z > 0.0f && sign(L.z) != sign(I.z);
    if (!valid) return Float3(0.0f);
    if (!hasGlossyLobe(alphaX, alphaY)) return D * kInvPiLiteral;
    float e = wardExponential(h, alphaX, alphaY);
    if (e <= kMinLobe) return D * kInvPiLiteral;
    float k = wardNormalisation(I, L, alphaX, alphaY);
    return D * kInvPiLiteral + S * k * e;
}

WardSample sampleWardLobe(Float3 I, Float3 D, Float3 S, float alphaX, float alphaY, Float2 u) {
    const WardSample failed{Float3(0.0f), Float3(0.0f), -1.0f};
    if (!hasGlossyLobe(alphaX, alphaY)) return failed;
    // Azimuth of the half vector, stretched by the anisotropy.
    float phi0 = 6.283185f * u.x;
    float s = std::sin(phi0), c = std::cos(phi0);
    float t = s * alphaY / (c * alphaX);
    float cos2Phi = std::fmin(1.0f, 1.0f / (t * t + 1.0f));
    float sin2Phi = 1.0f - cos2Phi;
    float cosPhi = std::sqrt(cos2Phi);
    if (c < 0.0f) cosPhi = -cosPhi;
    float sinPhi = std::sqrt(sin2Phi);
    if (s < 0.0f) sinPhi = -sinPhi;

    // Elevation: the exponential at the half vector equals e by construction.
    float e = 1.0f - u.y;
    float cos2Theta = std::fmin(
        1.0f, 1.0f / (-std::log(e) / (cos2Phi / (alphaX * alphaX) + sin2Phi / (alphaY * alphaY)) + 1.0f));
    float cosTheta = std::sqrt(cos2Theta);
    float sinTheta = std::sqrt(1.0f - cos2Theta);
    Float3 h(sinTheta * cosPhi, sinTheta * sinPhi, cosTheta);
    if (std::sqrt(dot(h, h)) == 0.0f) return failed;

    float d = dot(I, h);
    Float3 L = I - 2.0f * d * h;
    if (!(L.z > 0.0f && std::fabs(d) >= kMinCos && std::fabs(I.z) >= kMinCos && sign(L.z) != sign(I.z))) return failed;
    float k = wardNormalisation(I, L, alphaX, alphaY);
    // Density of L: the half-vector density times the Jacobian 1 / (4 |dot(I, h)|).
    float pdf = e / (alphaX * kFourPi * alphaY * (-d) * cos2Theta * cosTheta);
    return {D * kInvPiLiteral + S * k * e, L, pdf};
}

WardEvaluation wardBrdfAndPdf(Float3 I, Float3 L, Float3 D, Float3 S, float alphaX, float alphaY) {
    Float3 h = normalize(L - I);
    if (isZero(h) || std::fabs(h.z) < kMinCos || std::fabs(I.z) < kMinCos || L.z <= 0.0f || sign(L.z) == sign(I.z)) {
        return {Float3(0.0f), -1.0f};
    }
    if (!hasGlossyLobe(alphaX, alphaY)) return {D * kInvPiLiteral, 0.0f};
    float e = wardExponential(h, alphaX, alphaY);
    if (e <= kMinLobe) return {D * kInvPiLiteral, 0.0f};
    float k = wardNormalisation(I, L, alphaX, alphaY);
    float pdf = e / (-dot(h, I) * kFourPi * alphaX * alphaY * h.z * (h.z * h.z));
    return {D * kInvPiLiteral + S * k * e, pdf};
}

DiskSample concentricDiskSample(float u1, float u2) {
    constexpr float kQuarterPi = 0.78539824f;
    float a = 2.0f * u1 - 1.0f;
    float b = 2.0f * u2 - 1.0f;
    float r, phi;
    if (a > -b && a > b) {
        r = a;
        phi = kQuarterPi * (b / a);
    } else if (a > -b) {
        r = b;
        phi = kQuarterPi * (2.0f - a / b);
    } else if (b > a) {
        r = -a;
        phi = kQuarterPi * (4.0f + b / a);
    } else if (b != 0.0f) {
        r = -b;
        phi = kQuarterPi * (6.0f - a / b);
    } else {
        r = -b;
        phi = 0.0f;
    }
    r = r - 0.000001f;
    return {std::cos(phi) * r, std::sin(phi) * r, r};
}

WardMixtureSample sampleWardMixture(RenderServices* services, Float3 I, Float3 D, Float3 S, float alphaX,
                                    float alphaY, float diffuseChance) {
    WardMixtureSample result{false, Float3(0.0f), Float3(0.0f), 0.0f};
    float pdf;
    if (services->random() <= diffuseChance) {
        Float2 u;
        services->random2D(&u);
        DiskSample disk = concentricDiskSample(u.x, u.y);
        // Cosine-weighted hemisphere direction from the disk.
        result.direction = Float3(disk.x, disk.y, std::sqrt(1.0f - disk.r * disk.r));
        WardEvaluation evaluation = wardBrdfAndPdf(I, result.direction, D, S, alphaX, alphaY);
        result.value = evaluation.value;
        pdf = evaluation.pdf;
    } else {
        Float2 u;
        services->random2D(&u);
        WardSample sample = sampleWardLobe(I, D, S, alphaX, alphaY, u);
        if (sample.direction.z < 0.0f) return result;
        result.value = sample.value;
        result.direction = sample.direction;
        pdf = sample.pdf;
    }
    if (!(pdf > 0.0f)) return result;
    // Density of the mixture: the Ward density and the cosine-weighted diffuse density z / pi.
    result.mixturePdf = (1.0f - diffuseChance) * pdf + result.direction.z * diffuseChance * 0.3183099f;
    result.drawn = true;
    return result;
}

}  // namespace ksi
