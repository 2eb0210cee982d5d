// The textbook bytewise CRC-32 (IEEE 802.3): the independent oracle of the CRC tests and the
// slow anchor of the CRC benchmark.
#ifndef VIREO_TESTS_SUPPORT_REFERENCECRC32_H
#define VIREO_TESTS_SUPPORT_REFERENCECRC32_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace Vireo::Testing {

inline uint32_t ReferenceCrc32(const uint8_t* data, size_t size) {
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

} // namespace Vireo::Testing

#endif
