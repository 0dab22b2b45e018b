#include "render/hash_noise.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include <glm/gtc/noise.hpp>

namespace kestrel::render {

namespace {

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

uint32_t cellKey(const glm::vec3& p) { return hash3(latticeKey(p.x), latticeKey(p.y), latticeKey(p.z)); }

// [-1, 1) from a hash.
float signedUnit(uint32_t h) { return static_cast<float>(h >> 8) * (2.0f / 16777216.0f) - 1.0f; }

float unsignedPerlin(float p) { return std::clamp(0.5f * p + 0.5f, 0.0f, 1.0f); }

// glm's 4D Perlin noise hashes each lattice corner with the polynomial (34x² + x) mod 289 and
// turns the hash into a normalised gradient; both are pure functions of whole numbers below 577
// (corner coordinates are reduced mod 289 first, and a hash plus a coordinate stays below 577).
// So they are tabulated once with glm's own operations, and a call only interpolates, in glm's
// order of operations: the value is glm's to the last bit, at a fraction of the cost.
class PerlinTables {
public:
    static constexpr int kHashes = 289;
    static constexpr int kPermuteInputs = 2 * kHashes - 1;

    PerlinTables() {
        for (int i = 0; i < kPermuteInputs; ++i) permuted_[i] = static_cast<int>(glm::detail::permute(glm::vec4(float(i))).x);
        for (int h = 0; h < kHashes; ++h) gradients_[h] = gradient(float(h));
    }
    int permute(int x) const { return permuted_[x]; }
    const glm::vec4& gradientOf(int hash) const { return gradients_[hash]; }

private:
    // glm's steps for one corner's gradient, on a vector holding the hash in every lane.
    static glm::vec4 gradient(float hash) {
        const glm::vec4 h(hash);
        glm::vec4 gx = h / 7.0f;
        glm::vec4 gy = glm::floor(gx) / 7.0f;
        glm::vec4 gz = glm::floor(gy) / 6.0f;
        gx = glm::fract(gx) - 0.5f;
        gy = glm::fract(gy) - 0.5f;
        gz = glm::fract(gz) - 0.5f;
        const glm::vec4 gw = glm::vec4(0.75f) - glm::abs(gx) - glm::abs(gy) - glm::abs(gz);
        const glm::vec4 sw = glm::step(gw, glm::vec4(0.0f));
        gx -= sw * (glm::step(0.0f, gx) - 0.5f);
        gy -= sw * (glm::step(0.0f, gy) - 0.5f);
        const glm::vec4 g(gx.x, gy.x, gz.x, gw.x);
        return g * glm::detail::taylorInvSqrt(glm::vec4(glm::dot(g, g))).x;
    }

    int permuted_[kPermuteInputs];
    glm::vec4 gradients_[kHashes];
};

const PerlinTables& perlinTables() {
    static const PerlinTables tables;
    return tables;
}

// Below this magnitude floor, +1 and mod 289 are exact on floats, so the corners are whole numbers
// in [0, 288]; beyond it (and for non-finite points) glm itself answers.
constexpr float kTabledRange = 4194304.0f;

bool tabled(const glm::vec4& p) {
    return std::fabs(p.x) < kTabledRange && std::fabs(p.y) < kTabledRange && std::fabs(p.z) < kTabledRange &&
           std::fabs(p.w) < kTabledRange;
}

// A whole-number coordinate mod 289 in [0, 288]: in the tabled range glm's float mod is exact, so
// it is the same number.
int latticeMod(int whole) {
    const int m = whole % PerlinTables::kHashes;
    return m < 0 ? m + PerlinTables::kHashes : m;
}

int nextMod(int m) { return m + 1 == PerlinTables::kHashes ? 0 : m + 1; }

// The interpolation runs four lanes at a time in the compiler's vector types (SSE on x86-64,
// NEON on ARM). Each lane performs glm's own operations in glm's order, and the build forbids
// fused multiply-adds, so the results are the same floats.
using Lanes = float __attribute__((vector_size(16)));
using IntLanes = int __attribute__((vector_size(16)));

Lanes load(const glm::vec4& v) {
    Lanes lanes;
    std::memcpy(&lanes, &v, sizeof lanes);
    return lanes;
}

Lanes splat(float x) { return Lanes{x, x, x, x}; }

// floor for |x| < 2^22: truncate, step down where that rounded up, and keep x's sign so that
// floor(-0) is -0 as std::floor gives.
Lanes floorTabled(Lanes x) {
    const Lanes truncated = __builtin_convertvector(__builtin_convertvector(x, IntLanes), Lanes);
    const Lanes down = __builtin_convertvector(-(truncated > x), Lanes);
    const IntLanes sign = reinterpret_cast<IntLanes>(x) & IntLanes{INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN};
    return reinterpret_cast<Lanes>(reinterpret_cast<IntLanes>(truncated - down) | sign);
}

// glm's mix(x, y, a) = x (1 - a) + y a, lane by lane.
Lanes mix(Lanes x, Lanes y, Lanes a) { return x * (1.0f - a) + y * a; }

// glm's fade: (t t t)(t (6 t - 15) + 10).
Lanes fade(Lanes t) { return (t * t * t) * (t * (t * 6.0f - 15.0f) + 10.0f); }

// Four corners' gradients (the corner hashes of one (z, w) pair for the (x, y) corners, in glm's
// lane order x0y0, x1y0, x0y1, x1y1) dotted with their offsets: each lane is glm's dot product
// ((gx·ox + gy·oy) + (gz·oz + gw·ow)). The four gradients are loaded whole and transposed.
Lanes cornerValues(const PerlinTables& t, const int (&hash)[4], Lanes offsetX, Lanes offsetY, Lanes offsetZ,
                   Lanes offsetW) {
    const Lanes a = load(t.gradientOf(hash[0])), b = load(t.gradientOf(hash[1]));
    const Lanes c = load(t.gradientOf(hash[2])), d = load(t.gradientOf(hash[3]));
    const Lanes abLow = __builtin_shufflevector(a, b, 0, 4, 1, 5), abHigh = __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const Lanes cdLow = __builtin_shufflevector(c, d, 0, 4, 1, 5), cdHigh = __builtin_shufflevector(c, d, 2, 6, 3, 7);
    const Lanes gx = __builtin_shufflevector(abLow, cdLow, 0, 1, 4, 5);
    const Lanes gy = __builtin_shufflevector(abLow, cdLow, 2, 3, 6, 7);
    const Lanes gz = __builtin_shufflevector(abHigh, cdHigh, 0, 1, 4, 5);
    const Lanes gw = __builtin_shufflevector(abHigh, cdHigh, 2, 3, 6, 7);
    return (gx * offsetX + gy * offsetY) + (gz * offsetZ + gw * offsetW);
}

float tabledPerlin(const glm::vec4& position) {
    const PerlinTables& t = perlinTables();
    const Lanes p = load(position);
    const Lanes floor0 = floorTabled(p);
    const Lanes f0 = p - floor0;  // glm's fract
    const Lanes f1 = f0 - 1.0f;
    const IntLanes whole = __builtin_convertvector(floor0, IntLanes);
    const int x0 = latticeMod(whole[0]), x1 = nextMod(x0), y0 = latticeMod(whole[1]), y1 = nextMod(y0);
    const int z0 = latticeMod(whole[2]), z1 = nextMod(z0), w0 = latticeMod(whole[3]), w1 = nextMod(w0);
    const int px0 = t.permute(x0), px1 = t.permute(x1);
    const int xy[4] = {t.permute(px0 + y0), t.permute(px1 + y0), t.permute(px0 + y1), t.permute(px1 + y1)};
    int h00[4], h01[4], h10[4], h11[4];
    for (int i = 0; i < 4; ++i) {
        const int xyz0 = t.permute(xy[i] + z0), xyz1 = t.permute(xy[i] + z1);
        h00[i] = t.permute(xyz0 + w0);
        h01[i] = t.permute(xyz0 + w1);
        h10[i] = t.permute(xyz1 + w0);
        h11[i] = t.permute(xyz1 + w1);
    }
    // Offsets of the (x, y) corners lane by lane; the z and w offsets are the same in all four.
    const Lanes offsetX = __builtin_shufflevector(f0, f1, 0, 4, 0, 4);
    const Lanes offsetY = __builtin_shufflevector(f0, f1, 1, 1, 5, 5);
    const Lanes z0Offset = splat(f0[2]), z1Offset = splat(f1[2]), w0Offset = splat(f0[3]), w1Offset = splat(f1[3]);
    const Lanes n00 = cornerValues(t, h00, offsetX, offsetY, z0Offset, w0Offset);
    const Lanes n01 = cornerValues(t, h01, offsetX, offsetY, z0Offset, w1Offset);
    const Lanes n10 = cornerValues(t, h10, offsetX, offsetY, z1Offset, w0Offset);
    const Lanes n11 = cornerValues(t, h11, offsetX, offsetY, z1Offset, w1Offset);
    const Lanes fades = fade(f0);
    const Lanes nzw = mix(mix(n00, n01, splat(fades[3])), mix(n10, n11, splat(fades[3])), splat(fades[2]));
    // (x0y0, x1y0) against (x0y1, x1y1) by the y fade, then the pair by the x fade.
    const Lanes nyzw = mix(nzw, __builtin_shufflevector(nzw, nzw, 2, 3, 2, 3), splat(fades[1]));
    return 2.2f * glm::mix(nyzw[0], nyzw[1], fades[0]);
}

}  // namespace

float unsignedNoise(const glm::vec4& point) {
    return unsignedPerlin(tabled(point) ? tabledPerlin(point) : glm::perlin(point));
}

float signedNoise(const glm::vec3& point) { return glm::perlin(point); }

float unsignedNoise(const glm::vec2& point) { return unsignedPerlin(glm::perlin(point)); }

// Sampled off the lattice rows, so whole-number arguments (tile ids) still vary.
float unsignedNoise(float x) { return unsignedNoise(glm::vec2(x + 0.3183099f, 0.7071068f)); }

float latticeHash(const glm::vec3& point) { return signedUnit(cellKey(point)); }

glm::vec3 cellHash(const glm::vec3& point) {
    uint32_t h = cellKey(point);
    return {signedUnit(mix(h + 1U)), signedUnit(mix(h + 2U)), signedUnit(mix(h + 3U))};
}

}  // namespace kestrel::render
