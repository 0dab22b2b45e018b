// A chi-square goodness-of-fit test of the Ward lobe sampler: directions drawn by sampleBsdf
// (glossy-only request, so every sample comes from the lobe) are histogrammed over a grid in
// (cos theta, phi) and compared with the counts the lobe's density predicts, integrated over each
// cell. Bins with small expectations are pooled; failed draws form a bin of their own.
#include "ward_sampling_checks.h"

namespace {

TEST(WardSampling, DirectionsFollowTheLobeDensity) {
    kestrel::testing::expectDirectionsFollowTheLobeDensity("kestrel_Mtl_Ward", 36);
}

}  // namespace
