// Checks shared by the shading tests: exact colour comparison, "nothing but these bytes of the
// record changed", an environment's answer, and the lat-long coordinate written out from its
// definition.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <initializer_list>

#include <kestrel/kestrel.h>

#include "recording_host.h"
#include "shader_instance.h"

namespace kestrel::testing {

constexpr float kInvPi = 0.3183099f;
constexpr float kPresetAlpha = 0.4f;  // outColor's alpha in presetRecord()
constexpr std::size_t kRgbBegin = offsetof(ksi::ShadingRecord, outColor);
constexpr std::size_t kRgbEnd = kRgbBegin + 3 * sizeof(float);

inline void expectFloat3(ksi::Float3 actual, ksi::Float3 expected, const char* what = "") {
    EXPECT_EQ(actual.x, expected.x) << what;
    EXPECT_EQ(actual.y, expected.y) << what;
    EXPECT_EQ(actual.z, expected.z) << what;
}

// z of the unit direction S in the frame a bump leaves: the normal n = (nx, ny, 1), normalised or
// not, T = (1, 0, 0) less its component along n, and B = n x T, both normalised.
inline double cosineInTiltedFrame(std::array<double, 3> S, double nx, double ny, bool normalised) {
    using V = std::array<double, 3>;
    auto dot = [](V a, V b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; };
    auto unit = [&dot](V a) {
        const double l = std::sqrt(dot(a, a));
        return V{a[0] / l, a[1] / l, a[2] / l};
    };
    const V n = normalised ? unit({nx, ny, 1.0}) : V{nx, ny, 1.0};
    const V t = unit({1.0 - n[0] * n[0], -n[1] * n[0], -n[2] * n[0]});
    const V b = unit({n[1] * t[2] - n[2] * t[1], n[2] * t[0] - n[0] * t[2], n[0] * t[1] - n[1] * t[0]});
    return dot(S, n) / std::sqrt(dot(S, t) * dot(S, t) + dot(S, b) * dot(S, b) + dot(S, n) * dot(S, n));
}

inline void expectColor(ksi::Float4 actual, ksi::Float4 expected) {
    EXPECT_EQ(actual.x, expected.x);
    EXPECT_EQ(actual.y, expected.y);
    EXPECT_EQ(actual.z, expected.z);
    EXPECT_EQ(actual.w, expected.w);
}

// Marks the lobes the host accepts: lobeRequest holds the answer for code 1 << i in byte i.
inline void acceptLobes(ksi::ShadingRecord& record, std::initializer_list<ksi::LobeCode> lobes) {
    for (ksi::LobeCode lobe : lobes) {
        for (int i = 0; i < 6; ++i) {
            if ((1 << i) == lobe) record.lobeRequest[i] = 1;
        }
    }
}

// Every byte of the record outside [begin, end) is as it was.
inline void expectUnchangedOutside(const ksi::ShadingRecord& before, const ksi::ShadingRecord& after,
                                   std::size_t begin, std::size_t end) {
    const auto* a = reinterpret_cast<const unsigned char*>(&before);
    const auto* b = reinterpret_cast<const unsigned char*>(&after);
    EXPECT_EQ(std::memcmp(a, b, begin), 0) << "bytes before " << begin << " changed";
    EXPECT_EQ(std::memcmp(a + end, b + end, sizeof before - end), 0) << "bytes from " << end << " changed";
}

// Shades an environment with the record and returns outColor, checking that nothing else in the
// record changed and that no render service was called.
inline ksi::Float4 shadeEnvironment(const ShaderInstance& shader, ksi::ShadingRecord record) {
    RecordingServices services;
    const ksi::ShadingRecord before = record;
    shader.environment().shade(&services, &record);
    const std::size_t begin = offsetof(ksi::ShadingRecord, outColor);
    expectUnchangedOutside(before, record, begin, begin + sizeof(ksi::Float4));
    EXPECT_TRUE(services.log.calls().empty()) << "no render service is called";
    return record.outColor;
}

// The lat-long coordinate (u, t) of an already rotated direction v.
inline ksi::Float2 latLongOf(ksi::Float3 v) {
    return {std::atan2(-v.y, v.x) * 0.1591549f + 0.25f, std::asin(v.z) * 0.3183099f + 0.5f};
}

// The same for the direction d seen through the rotation m, where each row of m is dotted with d.
inline ksi::Float2 latLongOf(const ksi::Float3x3& m, ksi::Float3 d) {
    const float* r = m.m;
    float v[3];
    for (int i = 0; i < 3; ++i) v[i] = r[3 * i] * d.x + r[3 * i + 1] * d.y + r[3 * i + 2] * d.z;
    return latLongOf(ksi::Float3(v[0], v[1], v[2]));
}

}  // namespace kestrel::testing
