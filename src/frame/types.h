// Kestrel Shaders SDK: value types shared by the host and the shaders, with their operations.
//
// Every type here is a plain run of 32-bit floats whose layout the host relies on. Matrices are
// row-major and multiply row vectors from the left: (u, v, 1) * Float3x3 for texture
// coordinates, (x, y, z, 1) * Float4x4 for points. All arithmetic is single precision and each
// operation is written in the exact order of its formula, so results are reproducible bit for
// bit; build with -ffp-contract=off and never with -ffast-math.
#pragma once

#include <cmath>
#include <cstdint>

namespace ksi {

struct Float2 {
    float x, y;
    Float2() = default;
    constexpr explicit Float2(float s) : x(s), y(s) {}
    constexpr Float2(float x_, float y_) : x(x_), y(y_) {}
};

struct Float3 {
    float x, y, z;
    Float3() = default;
    constexpr explicit Float3(float s) : x(s), y(s), z(s) {}
    constexpr Float3(float x_, float y_, float z_) : x(x_), y(y_), z(z_) {}
};

struct Float4 {
    float x, y, z, w;
    Float4() = default;
    constexpr explicit Float4(float s) : x(s), y(s), z(s), w(s) {}
    constexpr Float4(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}
    constexpr Float4(Float3 v, float w_) : x(v.x), y(v.y), z(v.z), w(w_) {}
    constexpr Float3 xyz() const { return {x, y, z}; }
};

// Row-major: the element of row i, column j is m[3i + j].
struct Float3x3 {
    float m[9];
    static constexpr Float3x3 identity() { return {{1, 0, 0, 0, 1, 0, 0, 0, 1}}; }
};

// Row-major: the element of row i, column j is m[4i + j]; a translation sits in the last row.
struct Float4x4 {
    float m[16];
    static constexpr Float4x4 identity() {
        return {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
    }
};

static_assert(sizeof(Float2) == 8 && sizeof(Float3) == 12 && sizeof(Float4) == 16);
static_assert(sizeof(Float3x3) == 36 && sizeof(Float4x4) == 64);

// Library-wide constants, as single-precision values.
inline constexpr float kTwoPi = 6.2831855f;       // 0x40C90FDB
inline constexpr float kHalfPi = 1.5707964f;      // 0x3FC90FDB
inline constexpr float kInvPi = 0.31830987f;      // 0x3EA2F983
inline constexpr float kDegToRad = 0.017453292f;  // 0x3C8EFA35
inline constexpr float kRadToDeg = 57.295776f;    // 0x42652EE0
inline constexpr float kInvTwoPi = 1.0f / kTwoPi;
// The lobe and mapping formulas are written with seven-digit literals of 2pi, 1/pi and 1/(2pi)
// that round to other floats than the constants above (one unit in the last place apart); both
// roundings are part of the results, so each has its own name.
inline constexpr float kTwoPiLiteral = 6.283185f;
inline constexpr float kInvPiLiteral = 0.3183099f;
inline constexpr float kInvTwoPiLiteral = 0.1591549f;

// ---------------------------------------------------------------------------------------------
// Float3
inline constexpr Float3 operator+(Float3 a, Float3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline constexpr Float3 operator-(Float3 a, Float3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline constexpr Float3 operator*(Float3 a, Float3 b) { return {a.x * b.x, a.y * b.y, a.z * b.z}; }
inline constexpr Float3 operator/(Float3 a, Float3 b) { return {a.x / b.x, a.y / b.y, a.z / b.z}; }
inline constexpr Float3 operator*(Float3 a, float s) { return {a.x * s, a.y * s, a.z * s}; }
inline constexpr Float3 operator*(float s, Float3 a) { return {s * a.x, s * a.y, s * a.z}; }
// One reciprocal, then three products: cheaper than three divisions, and what the formulas use.
inline constexpr Float3 operator/(Float3 a, float s) { return a * (1.0f / s); }
inline constexpr Float3 operator-(Float3 a) { return {-a.x, -a.y, -a.z}; }
inline constexpr Float3& operator+=(Float3& a, Float3 b) { return a = a + b; }
inline constexpr Float3& operator-=(Float3& a, Float3 b) { return a = a - b; }
inline constexpr Float3& operator*=(Float3& a, Float3 b) { return a = a * b; }
inline constexpr Float3& operator*=(Float3& a, float s) { return a = a * s; }
inline constexpr bool operator==(Float3 a, Float3 b) { return a.x == b.x && a.y == b.y && a.z == b.z; }
inline constexpr bool operator!=(Float3 a, Float3 b) { return !(a == b); }

inline constexpr float dot(Float3 a, Float3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline constexpr Float3 cross(Float3 a, Float3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline Float3 abs3(Float3 a) { return {std::fabs(a.x), std::fabs(a.y), std::fabs(a.z)}; }
inline constexpr Float3 lerp(Float3 a, Float3 b, float t) { return (1.0f - t) * a + t * b; }
inline constexpr Float3 lerp3(Float3 a, Float3 b, Float3 t) {
    return {(1.0f - t.x) * a.x + t.x * b.x, (1.0f - t.y) * a.y + t.y * b.y, (1.0f - t.z) * a.z + t.z * b.z};
}
inline constexpr float maxComponent(Float3 a) {
    float yz = a.y > a.z ? a.y : a.z;
    return a.x > yz ? a.x : yz;
}
inline constexpr float minComponent(Float3 a) {
    float yz = a.y < a.z ? a.y : a.z;
    return a.x < yz ? a.x : yz;
}
inline constexpr float averageComponent(Float3 a) { return (a.x + a.y + a.z) * 0.3333333f; }
inline constexpr float luminance(Float3 c) { return 0.212671f * c.x + 0.71516f * c.y + 0.072169f * c.z; }
inline constexpr bool isZero(Float3 a) { return a.x == 0.0f && a.y == 0.0f && a.z == 0.0f; }
inline Float3 normalize(Float3 a) {
    float length = std::sqrt(dot(a, a));
    if (length > 0.0f) return a * (1.0f / length);
    return a;
}
// i points towards the surface.
inline constexpr Float3 reflect(Float3 i, Float3 n) { return i - 2.0f * dot(i, n) * n; }
inline constexpr Float3 max3(Float3 a, Float3 b) {
    return {a.x > b.x ? a.x : b.x, a.y > b.y ? a.y : b.y, a.z > b.z ? a.z : b.z};
}
inline Float3 pow3(Float3 a, Float3 e) { return {std::pow(a.x, e.x), std::pow(a.y, e.y), std::pow(a.z, e.z)}; }
inline Float3 pow3(Float3 a, float e) { return {std::pow(a.x, e), std::pow(a.y, e), std::pow(a.z, e)}; }
inline Float3 log3(Float3 a) { return {std::log(a.x), std::log(a.y), std::log(a.z)}; }
inline Float3 sqrt3(Float3 a) { return {std::sqrt(a.x), std::sqrt(a.y), std::sqrt(a.z)}; }
inline Float3 floor3(Float3 a) { return {std::floor(a.x), std::floor(a.y), std::floor(a.z)}; }

// ---------------------------------------------------------------------------------------------
// Scalars

// The lower bound is tested first, so NaN passes through unchanged.
inline constexpr float clamp(float x, float lo, float hi) { return lo > x ? lo : (x > hi ? hi : x); }
inline constexpr float saturate(float x) { return clamp(x, 0.0f, 1.0f); }
inline constexpr float sign(float x) { return x < 0.0f ? -1.0f : (x > 0.0f ? 1.0f : 0.0f); }
inline constexpr float smoothstep(float e0, float e1, float x) {
    float t = saturate((x - e0) / (e1 - e0));
    return (3.0f - 2.0f * t) * (t * t);
}
inline constexpr float linearStep(float lo, float hi, float x) {
    if (lo > x) return 0.0f;
    if (x > hi) return 1.0f;
    float range = hi - lo;
    return range == 0.0f ? x : (x - lo) / range;
}
// Only f.x (reference distance) and f.y (exponent) take part.
inline float distanceAttenuation(float d, Float3 f) { return saturate(1.0f - std::pow(d / f.x, f.y)); }
// The reflectivity curve of every material: a at normal incidence (x = 1) to b at grazing
// incidence (x = 0) along (1 - x)^e, with the cosine x clamped to [0, 1].
inline float powerBlend(float x, float e, float a, float b) { return a + (b - a) * std::pow(1.0f - saturate(x), e); }

inline constexpr Float3 clamp3(Float3 x, Float3 lo, Float3 hi) {
    return {clamp(x.x, lo.x, hi.x), clamp(x.y, lo.y, hi.y), clamp(x.z, lo.z, hi.z)};
}
inline constexpr Float3 clamp3(Float3 x, float lo, float hi) {
    return {clamp(x.x, lo, hi), clamp(x.y, lo, hi), clamp(x.z, lo, hi)};
}
inline constexpr Float3 saturate3(Float3 x) { return clamp3(x, 0.0f, 1.0f); }

// n when i arrives against g, -n when with it, the zero vector when i is perpendicular to g.
inline constexpr Float3 faceForwardNormal(Float3 n, Float3 i, Float3 g) { return sign(dot(i, g)) * (-n); }

// ---------------------------------------------------------------------------------------------
// Float2 and Float4
inline constexpr Float2 operator+(Float2 a, Float2 b) { return {a.x + b.x, a.y + b.y}; }
inline constexpr Float2 operator-(Float2 a, Float2 b) { return {a.x - b.x, a.y - b.y}; }
inline constexpr Float2 operator*(Float2 a, Float2 b) { return {a.x * b.x, a.y * b.y}; }
inline constexpr Float2 operator*(Float2 a, float s) { return {a.x * s, a.y * s}; }
inline constexpr bool operator==(Float2 a, Float2 b) { return a.x == b.x && a.y == b.y; }

inline constexpr Float4 operator+(Float4 a, Float4 b) { return {a.x + b.x, a.y + b.y, a.z + b.z, a.w + b.w}; }
inline constexpr Float4 operator*(Float4 a, Float4 b) { return {a.x * b.x, a.y * b.y, a.z * b.z, a.w * b.w}; }
inline constexpr Float4 operator*(Float4 a, float s) { return {a.x * s, a.y * s, a.z * s, a.w * s}; }
inline constexpr Float4 operator*(float s, Float4 a) { return {s * a.x, s * a.y, s * a.z, s * a.w}; }
inline constexpr bool operator==(Float4 a, Float4 b) { return a.x == b.x && a.y == b.y && a.z == b.z && a.w == b.w; }
// Writes the first three components and leaves the fourth (alpha) as it was.
inline constexpr void setRgb(Float4& c, Float3 rgb) {
    c.x = rgb.x;
    c.y = rgb.y;
    c.z = rgb.z;
}
inline constexpr Float4 lerp4(Float4 a, Float4 b, Float4 t) {
    return {(1.0f - t.x) * a.x + t.x * b.x, (1.0f - t.y) * a.y + t.y * b.y, (1.0f - t.z) * a.z + t.z * b.z,
            (1.0f - t.w) * a.w + t.w * b.w};
}
inline constexpr Float4 clamp4(Float4 x, Float4 lo, Float4 hi) {
    return {clamp(x.x, lo.x, hi.x), clamp(x.y, lo.y, hi.y), clamp(x.z, lo.z, hi.z), clamp(x.w, lo.w, hi.w)};
}

// ---------------------------------------------------------------------------------------------
// Matrices: row vectors on the left.

// v * M: out_j = sum_i v_i * M[i][j].
inline constexpr Float3 operator*(Float3 v, const Float3x3& M) {
    const float* m = M.m;
    return {v.x * m[0] + v.y * m[3] + v.z * m[6], v.x * m[1] + v.y * m[4] + v.z * m[7],
            v.x * m[2] + v.y * m[5] + v.z * m[8]};
}
inline constexpr Float4 operator*(Float4 v, const Float4x4& M) {
    const float* m = M.m;
    return {v.x * m[0] + v.y * m[4] + v.z * m[8] + v.w * m[12], v.x * m[1] + v.y * m[5] + v.z * m[9] + v.w * m[13],
            v.x * m[2] + v.y * m[6] + v.z * m[10] + v.w * m[14],
            v.x * m[3] + v.y * m[7] + v.z * m[11] + v.w * m[15]};
}
// (u, v, 1) * M, keeping the first two components; the translation sits in the third row.
inline constexpr Float2 transformUv(Float2 uv, const Float3x3& M) {
    const float* m = M.m;
    return {uv.x * m[0] + uv.y * m[3] + m[6], uv.x * m[1] + uv.y * m[4] + m[7]};
}
// (x, y, z, 1) * M with the translation in the fourth row.
inline constexpr Float4 transformPoint(Float3 p, const Float4x4& M) {
    const float* m = M.m;
    return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12], p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
            p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14], p.x * m[3] + p.y * m[7] + p.z * m[11] + m[15]};
}
// A direction takes the upper-left 3x3 block only.
inline constexpr Float3 transformDirection(Float3 d, const Float4x4& M) {
    const float* m = M.m;
    return {d.x * m[0] + d.y * m[4] + d.z * m[8], d.x * m[1] + d.y * m[5] + d.z * m[9],
            d.x * m[2] + d.y * m[6] + d.z * m[10]};
}
inline constexpr Float3 row(const Float3x3& M, int i) { return {M.m[3 * i], M.m[3 * i + 1], M.m[3 * i + 2]}; }
inline constexpr Float4 row(const Float4x4& M, int i) {
    return {M.m[4 * i], M.m[4 * i + 1], M.m[4 * i + 2], M.m[4 * i + 3]};
}

}  // namespace ksi
