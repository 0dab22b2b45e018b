// A chi-square goodness-of-fit test of the Ward lobe sampler: directions drawn by sampleBsdf
// (glossy-only request, so every sample comes from the lobe) are histogrammed over a grid in
// (cos theta, phi) and compared with the counts the lobe's density predicts, integrated over each
// cell. Bins with small expectations are pooled; failed draws form a bin of their own.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "recording_host.h"
#include "test_library.h"

namespace {

using namespace kestrel::testing;
using ksi::Float3;

// The density of reflected directions for Walter's sampling of the anisotropic Ward lobe:
// the half-vector density exp(-tan^2 (cos^2 phi / ax^2 + sin^2 phi / ay^2)) / (pi ax ay cos^3)
// times the Jacobian 1 / (4 h.o) of the reflection mapping.
double wardDensity(double ix, double iy, double iz, double lx, double ly, double lz, double ax, double ay) {
    double hx = lx - ix, hy = ly - iy, hz = lz - iz;
    double len = std::sqrt(hx * hx + hy * hy + hz * hz);
    hx /= len, hy /= len, hz /= len;
    if (hz <= 0 || lz <= 0) return 0;
    double e = std::exp(-((hx / ax) * (hx / ax) + (hy / ay) * (hy / ay)) / (hz * hz));
    double ho = -(hx * ix + hy * iy + hz * iz);
    return e / (4 * M_PI * ax * ay * ho * hz * hz * hz);
}

TEST(WardSampling, DirectionsFollowTheLobeDensity) {
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
        SCOPED_TRACE(testing::Message() << "alpha " << set.alphaX << " anisotropy " << set.anisotropy << " theta "
                                        << set.theta);
        kestrel::ShaderInstance ward = createShader("kestrel_Mtl_Ward");
        ward.set("u_roughValue", set.alphaX);
        ward.set("u_anisotropyValue", set.anisotropy);
        const Float3 rayDir(std::sin(set.theta), 0.0f, -std::cos(set.theta));

        std::vector<double> observed(nMu * nPhi + 1, 0.0);
        for (int k = 0; k < samples; ++k) {
            RecordingServices services;
            services.randomQueue = {uniform(), uniform()};
            ksi::ShadingRecord record = presetRecord();
            record.rayDir = rayDir;
            ksi::writeVarying(record, 36, Float3(1.0f, 0.0f, 0.0f));
            record.lobeRequest[2] = 1;
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

}  // namespace
