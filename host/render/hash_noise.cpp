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
int latticeMod(float whole) {
    const int m = static_cast<int>(whole) % PerlinTables::kHashes;
    return m < 0 ? m + PerlinTables::kHashes : m;
}

int nextMod(int m) { return m + 1 == PerlinTables::kHashes ? 0 : m + 1; }

// The corner hashes of one (z, w) pair for the four (x, y) corners, in glm's lane order
// (x0y0, x1y0, x0y1, x1y1).
struct CornerHashes {
    int lane[4];
};

CornerHashes hashesAt(const PerlinTables& t, const int (&xy)[4], int z, int w) {
    CornerHashes out{};
    for (int i = 0; i < 4; ++i) out.lane[i] = t.permute(t.permute(xy[i] + z) + w);
    return out;
}

// The four corners' gradients dotted with their offsets, lane by lane: each lane is glm's dot
// product ((gx·ox + gy·oy) + (gz·oz + gw·ow)), four at a time.
glm::vec4 cornerValues(const PerlinTables& t, const CornerHashes& h, const glm::vec4& offsetX, const glm::vec4& offsetY,
                       float offsetZ, float offsetW) {
    glm::vec4 gx, gy, gz, gw;
    for (int i = 0; i < 4; ++i) {
        const glm::vec4& g = t.gradientOf(h.lane[i]);
        gx[i] = g.x;
        gy[i] = g.y;
        gz[i] = g.z;
        gw[i] = g.w;
    }
    return (gx * offsetX + gy * offsetY) + (gz * offsetZ + gw * offsetW);
}

float tabledPerlin(const glm::vec4& position) {
    const PerlinTables& t = perlinTables();
    const glm::vec4 floor0 = glm::floor(position);
    const glm::vec4 f0 = position - floor0;  // glm's fract
    const glm::vec4 f1 = f0 - 1.0f;
    const int x0 = latticeMod(floor0.x), x1 = nextMod(x0), y0 = latticeMod(floor0.y), y1 = nextMod(y0);
    const int xy[4] = {t.permute(t.permute(x0) + y0), t.permute(t.permute(x1) + y0), t.permute(t.permute(x0) + y1),
                       t.permute(t.permute(x1) + y1)};
    const int z0 = latticeMod(floor0.z), z1 = nextMod(z0), w0 = latticeMod(floor0.w), w1 = nextMod(w0);
    const glm::vec4 offsetX(f0.x, f1.x, f0.x, f1.x), offsetY(f0.y, f0.y, f1.y, f1.y);
    const glm::vec4 n00 = cornerValues(t, hashesAt(t, xy, z0, w0), offsetX, offsetY, f0.z, f0.w);
    const glm::vec4 n01 = cornerValues(t, hashesAt(t, xy, z0, w1), offsetX, offsetY, f0.z, f1.w);
    const glm::vec4 n10 = cornerValues(t, hashesAt(t, xy, z1, w0), offsetX, offsetY, f1.z, f0.w);
    const glm::vec4 n11 = cornerValues(t, hashesAt(t, xy, z1, w1), offsetX, offsetY, f1.z, f1.w);
    const glm::vec4 fades = glm::detail::fade(f0);
    const glm::vec4 nzw = glm::mix(glm::mix(n00, n01, fades.w), glm::mix(n10, n11, fades.w), fades.z);
    const glm::vec2 nyzw = glm::mix(glm::vec2(nzw.x, nzw.y), glm::vec2(nzw.z, nzw.w), fades.y);
    return 2.2f * glm::mix(nyzw.x, nyzw.y, fades.x);
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
