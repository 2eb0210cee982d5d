#include <Vireo/Library.h>

#include <gtest/gtest.h>

#include <sys/sysinfo.h>

#include <cstdint>

namespace {

uint64_t Budget() {
    struct sysinfo machine {};
    sysinfo(&machine);
    return static_cast<uint64_t>(machine.totalram) * 4 / 5;
}

TEST(Version, IsTheReleaseNumber) { EXPECT_EQ(Vireo::GetVersion(), "1.0.0.10"); }

TEST(MaximumNumberOfBuffers, RefusesAZeroPacketSizeWithTheBareText) {
    try {
        Vireo::CalculateMaximumNumberOfBuffers(0);
        FAIL();
    } catch (const GenICam::RuntimeException& error) {
        EXPECT_STREQ(error.what(), "Cannot calculate maximum number of buffers with a packet size of 0");
    }
}

TEST(MaximumNumberOfBuffers, DividesEightyPercentOfRamByThePacketSize) {
    const uint64_t budget = Budget();
    EXPECT_EQ(Vireo::CalculateMaximumNumberOfBuffers(budget), 1u);
    EXPECT_EQ(Vireo::CalculateMaximumNumberOfBuffers(1), budget);
    EXPECT_EQ(Vireo::CalculateMaximumNumberOfBuffers(budget / 2), budget / (budget / 2));
    EXPECT_EQ(Vireo::CalculateMaximumNumberOfBuffers(5000000), budget / 5000000);
}

TEST(MaximumNumberOfBuffers, RefusesAPacketLargerThanTheBudget) {
    for (uint64_t packetSize : {Budget() + 1, uint64_t(SIZE_MAX)}) {
        try {
            Vireo::CalculateMaximumNumberOfBuffers(packetSize);
            FAIL();
        } catch (const GenICam::BadAllocException& error) {
            EXPECT_STREQ(error.what(), "Insufficient memory found while calculating maximum number of buffers "
                                       "(maximum number of buffers is 0)");
        }
    }
}

} // namespace
