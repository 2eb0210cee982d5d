#include <Vireo/Crc.h>

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

#include <GenICam.h>

namespace Vireo {
namespace {

// The textbook bytewise CRC-32, as an independent oracle.
uint32_t ReferenceCrc32(const uint8_t* data, size_t size) {
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> entries{};
        for (uint32_t index = 0; index < 256; ++index) {
            uint32_t value = index;
            for (int bit = 0; bit < 8; ++bit) value = (value & 1) ? 0xEDB88320u ^ (value >> 1) : value >> 1;
            entries[index] = value;
        }
        return entries;
    }();
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t index = 0; index < size; ++index) crc = table[(crc ^ data[index]) & 0xFF] ^ (crc >> 8);
    return crc ^ 0xFFFFFFFFu;
}

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
