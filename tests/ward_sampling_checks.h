// Statistical checks shared by the Ward family's tests: a chi-square goodness-of-fit test of the
// glossy lobe sampler and the consistency of sampleBsdf with evaluateBsdf. Each takes the class
// and where its tangent varying sits in the record (the bitangent 12 bytes before it).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "recording_host.h"
#include "shading_checks.h"
#include "test_library.h"

namespace kestrel::testing {

using ksi::Float3;

// The density of reflected directions for Walter's sampling of the anisotropic Ward lobe:
// the half-vector density exp(-tan^2 (cos^2 phi / ax^2 + sin^2 phi / ay^2)) / (pi ax ay cos^3)
// times the Jacobian 1 / (4 h.o) of the reflection mapping.
inline double wardDensity(double ix, double iy, double iz, double lx, double ly, double lz, double ax, double ay) {
    double hx = lx - ix, hy = ly - iy, hz = lz - iz;
    double len = std::sqrt(hx * hx + hy * hy + hz * hz);
    hx /= len, hy /= len, hz /= len;
    if (hz <= 0 || lz <= 0) return 0;
    double e = std::exp(-((hx / ax) * (hx / ax) + (hy / ay) * (hy / ay)) / (hz * hz));
    double ho = -(hx * ix + hy * iy + hz * iz);
    return e / (4 * M_PI * ax * ay * ho * hz * hz * hz);
}

// Draws glossy-only samples from the class (a Ward-family material whose tangent varying sits at
// tangentOffset) for several roughnesses and views and checks them against the lobe density.
inline void expectDirectionsFollowTheLobeDensity(const std::string& className, int tangentOffset) {
    struct Set {
        float alphaX, anisotropy, theta;
    };
    const Set sets[] = {{0.2f, 1.0f, 0.2f}, {0.2f, 1.0f, 0.9f}, {0.2f, 1.0f, 1.3f},
                        {0.15f, 3.0f, 0.2f}, {0.15f, 3.0f, 0.9f}, {0.15f, 3.0f, 1.3f}};
    const int nMu = 16, nPhi = 32, samples = 20000;
    // Critical value at significance 1e-3 / 6 sets (z = 3.77), by the Wilson-Hilferty formula.
    auto critical = [](int df) {
        double a = 2.0 / (9.0 * df);
        return df * std::pow(1 - a + 3.77 * std::sqrt(a), 3);
    };
    uint32_t state = 2024u;
    auto uniform = [&]() {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) * (1.0f / 16777216.0f);
    };
    for (const Set& set : sets) {
        SCOPED_TRACE(::testing::Message() << "alpha " << set.alphaX << " anisotropy " << set.anisotropy << " theta "
                                        << set.theta);
        kestrel::ShaderInstance ward = createShader(className);
        ward.set("u_roughValue", set.alphaX);
        ward.set("u_anisotropyValue", set.anisotropy);
        const Float3 rayDir(std::sin(set.theta), 0.0f, -std::cos(set.theta));

        std::vector<double> observed(nMu * nPhi + 1, 0.0);
        for (int k = 0; k < samples; ++k) {
            RecordingServices services;
            services.randomQueue = {uniform(), uniform()};
            ksi::ShadingRecord record = presetRecord();
            record.rayDir = rayDir;
            ksi::writeVarying(record, tangentOffset, Float3(1.0f, 0.0f, 0.0f));
            acceptLobes(record, {ksi::kLobeSpecularReflection});
            ward.material().sampleBsdf(&services, &record);
            if (record.sampleLobe != 4) {
                observed.back() += 1;
                continue;
            }
            const Float3 d = record.sampleDir;
            int i = std::min(nMu - 1, static_cast<int>(d.z * nMu));
            double phi = std::atan2(d.y, d.x);
            if (phi < 0) phi += 2 * M_PI;
            int j = std::min(nPhi - 1, static_cast<int>(phi / (2 * M_PI) * nPhi));
            observed[i * nPhi + j] += 1;
        }

        // Expected counts: the density integrated over each cell (d omega = d mu d phi).
        std::vector<double> expected(nMu * nPhi + 1, 0.0);
        const int sub = 6;
        double total = 0;
        const double ay = static_cast<double>(set.alphaX) * set.anisotropy;
        for (int i = 0; i < nMu; ++i) {
            for (int j = 0; j < nPhi; ++j) {
                double sum = 0;
                for (int a = 0; a < sub; ++a) {
                    for (int b = 0; b < sub; ++b) {
                        double mu = (i + (a + 0.5) / sub) / nMu;
                        double phi = (j + (b + 0.5) / sub) / nPhi * 2 * M_PI;
                        double st = std::sqrt(1 - mu * mu);
                        sum += wardDensity(rayDir.x, rayDir.y, rayDir.z, st * std::cos(phi), st * std::sin(phi), mu,
                                           set.alphaX, ay);
                    }
                }
                double cell = sum / (sub * sub) * (1.0 / nMu) * (2 * M_PI / nPhi);
                expected[i * nPhi + j] = cell * samples;
                total += cell;
            }
        }
        expected.back() = std::fmax(0.0, 1.0 - total) * samples;

        // Pool the bins whose expectation is below 5 into one.
        double chi2 = 0, pooledObserved = 0, pooledExpected = 0;
        int bins = 0;
        for (std::size_t b = 0; b < expected.size(); ++b) {
            if (expected[b] < 5) {
                pooledObserved += observed[b];
                pooledExpected += expected[b];
                continue;
            }
            chi2 += (observed[b] - expected[b]) * (observed[b] - expected[b]) / expected[b];
            ++bins;
        }
        if (pooledExpected > 0) {
            chi2 += (pooledObserved - pooledExpected) * (pooledObserved - pooledExpected) / pooledExpected;
            ++bins;
        }
        EXPECT_LT(chi2, critical(bins - 1)) << bins << " bins";
    }
}


// The mean of weight x cosine / density over many mixture samples estimates the integral of the
// evaluated reflectance times the cosine (a midpoint quadrature). Diffuse is black: diffuse
// samples where the Ward exponential underflows are rejected by design.
inline void expectSamplingConsistentWithEvaluation(const std::string& className, int tangentOffset) {
    auto wardRecord = [tangentOffset](Float3 rayDir) {
        ksi::ShadingRecord record = presetRecord();
        record.rayDir = rayDir;
        ksi::writeVarying(record, tangentOffset, Float3(1.0f, 0.0f, 0.0f));
        ksi::writeVarying(record, tangentOffset - 12, Float3(0.0f, 1.0f, 0.0f));
        return record;
    };
    kestrel::ShaderInstance ward = createShader(className);
    ward.set("u_roughValue", 0.3f);
    ward.set("u_anisotropyValue", 0.6f);
    ward.set("u_cosineUsesBump", true);
    ward.set("u_brdf00Reflectivity", 0.6f);
    ward.set("u_brdfCurvePower", 5.0f);
    const Float3 rayDir(std::sin(0.6f), 0.0f, -std::cos(0.6f));
    RecordingServices quiet;
    const int nu = 256, nphi = 256;
    double integral = 0;
    for (int i = 0; i < nu; ++i) {
        for (int j = 0; j < nphi; ++j) {
            float mu = (i + 0.5f) / nu, phi = (j + 0.5f) / nphi * 6.2831853f, st = std::sqrt(1.0f - mu * mu);
            ksi::ShadingRecord record = wardRecord(rayDir);
            record.sampleDir = {st * std::cos(phi), st * std::sin(phi), mu};
            ward.material().evaluateBsdf(&quiet, &record);
            integral += record.sampleWeight.x * record.sampleCos * (1.0 / nu) * (6.283185307 / nphi);
        }
    }
    uint32_t state = 99u;
    auto uniform = [&]() {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) * (1.0f / 16777216.0f);
    };
    const int n = 40000;
    double sum = 0, sumSq = 0;
    for (int k = 0; k < n; ++k) {
        RecordingServices services;
        services.randomQueue = {uniform(), uniform(), uniform()};
        ksi::ShadingRecord record = wardRecord(rayDir);
        acceptLobes(record, {ksi::kLobeGlossyReflection});
        ward.material().sampleBsdf(&services, &record);
        double v = record.sampleLobe ? record.sampleWeight.x * record.sampleCos * record.samplePdf : 0.0;
        sum += v;
        sumSq += v * v;
    }
    double mean = sum / n, sigma = std::sqrt((sumSq / n - mean * mean) / n);
    EXPECT_NEAR(mean, integral, 4.0 * sigma + 0.01 * integral);
}

}  // namespace kestrel::testing
