// No shading slot of any class allocates: every announced slot of every exported class, with
// the default and the feature-heavy parameters, is called under an allocation counter.
#include <cstdlib>

#include <gtest/gtest.h>

#include "allocation_counter.h"
#include "shading_cases.h"

namespace kestrel {
namespace {

using harness::ParameterSet;

TEST(AllocationCounter, SeesOperatorNewAndMalloc) {
    allocation::startCounting();
    int* volatile object = new int(3);
    delete object;
    EXPECT_EQ(allocation::stopCounting(), 1);
    if (!allocation::countsMalloc()) GTEST_SKIP() << "malloc belongs to the sanitizer runtime here";
    allocation::startCounting();
    void* volatile block = std::malloc(24);
    std::free(block);
    EXPECT_EQ(allocation::stopCounting(), 1);
}

TEST(ShadingAllocations, NoSlotOfAnyClassAllocates) {
    harness::TinyTextures textures;
    harness::ConstantServices services;
    int slotsChecked = 0;
    for (const std::string& className : harness::exportedClasses()) {
        for (ParameterSet set : harness::kParameterSets) {
            auto shader = harness::makeShader(className, set, textures);
            const ksi::ShadingRecord prepared = harness::realisticRecord(*shader);
            for (const harness::SlotInfo& slot : harness::announcedSlots(*shader)) {
                ksi::ShadingRecord record = prepared;
                allocation::startCounting();
                harness::callSlot(*shader, slot.capability, &services, &record);
                record = prepared;
                harness::callSlot(*shader, slot.capability, &services, &record);
                EXPECT_EQ(allocation::stopCounting(), 0)
                    << className << "::" << slot.name << " with the " << harness::parameterSetName(set) << " parameters";
                ++slotsChecked;
            }
        }
    }
    EXPECT_GT(slotsChecked, 0);
}

}  // namespace
}  // namespace kestrel
