// Several threads shade, evaluate and sample the same object at once, each with its own record
// and services. Every thread must get the result a single thread gets, bit for bit; under
// ThreadSanitizer (the tsan preset) any race on the object is reported as well.
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "shading_cases.h"

namespace kestrel {
namespace {

using harness::ParameterSet;

constexpr int kThreads = 4;
constexpr int kRepetitions = 50;

class ConcurrentShading : public ::testing::TestWithParam<ParameterSet> {};

TEST_P(ConcurrentShading, EveryThreadGetsTheSingleThreadResult) {
    harness::TinyTextures textures;
    for (const std::string& className : harness::exportedClasses()) {
        auto shader = harness::makeShader(className, GetParam(), textures);
        const auto slots = harness::announcedSlots(*shader);
        const ksi::ShadingRecord prepared = harness::realisticRecord(*shader);

        std::vector<ksi::ShadingRecord> expected;
        harness::ConstantServices services;
        for (const harness::SlotInfo& slot : slots) {
            ksi::ShadingRecord record = prepared;
            harness::callSlot(*shader, slot.capability, &services, &record);
            expected.push_back(record);
        }

        std::vector<int> mismatches(kThreads, 0);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                harness::ConstantServices own;
                for (int n = 0; n < kRepetitions; ++n) {
                    // Each thread walks the slots from a different start, so different slots overlap.
                    for (size_t i = 0; i < slots.size(); ++i) {
                        const size_t s = (i + static_cast<size_t>(t)) % slots.size();
                        ksi::ShadingRecord record = prepared;
                        harness::callSlot(*shader, slots[s].capability, &own, &record);
                        if (std::memcmp(&record, &expected[s], sizeof record) != 0) ++mismatches[t];
                    }
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << className << ", thread " << t;
    }
}

INSTANTIATE_TEST_SUITE_P(ParameterSets, ConcurrentShading,
                         ::testing::Values(ParameterSet::Defaults, ParameterSet::FeatureHeavy),
                         [](const auto& info) { return std::string(harness::parameterSetName(info.param)); });

}  // namespace
}  // namespace kestrel
