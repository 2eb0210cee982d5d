#include <Vireo/Crc.h>

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include <GenICam.h>

#include "support/ReferenceCrc32.h"

namespace Vireo {
namespace {

using Testing::ReferenceCrc32;

TEST(Crc32, MatchesTheCheckValue) {
    const uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(CalculateCRC32(digits, sizeof digits), 0xCBF43926u);
}

TEST(Crc32, AgreesWithTheBytewiseDefinitionAtEveryLengthAndAlignment) {
    std::mt19937 random(7);
    std::vector<uint8_t> data(70000);
    for (auto& byte : data) byte = static_cast<uint8_t>(random());
    for (size_t offset = 0; offset < 16; ++offset) {
        for (size_t length : {size_t(1), size_t(2), size_t(15), size_t(16), size_t(63), size_t(64), size_t(65),
                              size_t(255), size_t(4097), size_t(65536)}) {
            EXPECT_EQ(CalculateCRC32(data.data() + offset, length), ReferenceCrc32(data.data() + offset, length))
                << "offset " << offset << " length " << length;
        }
    }
}

TEST(Crc32, RefusesNullDataAndZeroLength) {
    const uint8_t byte = 0;
    try {
        CalculateCRC32(nullptr, 4);
        FAIL();
    } catch (const GenICam::InvalidArgumentException& error) {
        EXPECT_STREQ(error.what(), "InvalidArgumentException: pData is nullptr. (Buffer, CalculateCRC32)");
    }
    try {
        CalculateCRC32(&byte, 0);
        FAIL();
    } catch (const GenICam::InvalidArgumentException& error) {
        EXPECT_STREQ(error.what(), "InvalidArgumentException: nBytes must be > 0. (Buffer, CalculateCRC32)");
    }
}

} // namespace
} // namespace Vireo
