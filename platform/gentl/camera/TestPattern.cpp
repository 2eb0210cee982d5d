#include "TestPattern.h"

#include <cstring>

namespace VirtualGenTL {
namespace {

constexpr uint32_t kPeriodSteps = 256;  // the ramp repeats every 256 steps

uint32_t BitsPerPixel(uint32_t code) { return (code >> 16) & 0xFF; }

// Significant bits of one sample, from the format's name family.
uint32_t SampleBits(uint32_t code) {
    switch (code) {
    case 0x0110000D: case 0x01100003: case 0x010A0058: case 0x010A0046: case 0x010C0004: return 10;
    case 0x01100011: case 0x01100005: case 0x010C0059: case 0x010C0047: case 0x010C002B: case 0x010C0006: return 12;
    case 0x01100007: return 16;
    default: return 8;
    }
}

// Sample values of one pixel at horizontal position x (a ramp, with channel offsets so that
// colour formats are not grey).
void PixelSamples(uint32_t x, uint32_t channels, uint32_t maximum, uint32_t* samples) {
    for (uint32_t channel = 0; channel < channels; ++channel)
        samples[channel] = ((x + channel * 85) * (maximum + 1) / kPeriodSteps) % (maximum + 1);
}

} // namespace

TestPattern::TestPattern(uint32_t width, uint32_t pixelFormat) {
    const uint32_t bits = BitsPerPixel(pixelFormat);
    const uint32_t sampleBits = SampleBits(pixelFormat);
    const uint32_t maximum = (1u << sampleBits) - 1;
    const bool packed10p = bits == 10;                     // 4 pixels in 5 bytes, LSB first
    const bool packed12 = bits == 12;                      // 2 pixels in 3 bytes
    const bool gevPacked = packed12 && (pixelFormat & 0xFFFF) < 0x0030 && pixelFormat != 0x010C0047;
    const uint32_t channels = bits == 32 ? 4 : (bits == 24 ? 3 : (bits == 16 && sampleBits == 8 ? 2 : 1));

    uint32_t pixelsPerStep = 1;
    if (packed10p) pixelsPerStep = 4;
    else if (packed12) pixelsPerStep = 2;
    m_stepBytes = size_t(pixelsPerStep) * bits / 8;
    const uint32_t steps = (width + pixelsPerStep - 1) / pixelsPerStep;
    m_rowBytes = size_t(width) * bits / 8;

    // One row for every horizontal shift: steps + the pattern period.
    const uint32_t wideSteps = steps + kPeriodSteps;
    m_wideRow.assign(size_t(wideSteps) * m_stepBytes, 0);
    for (uint32_t step = 0; step < wideSteps; ++step) {
        uint8_t* out = m_wideRow.data() + size_t(step) * m_stepBytes;
        uint32_t samples[4][4] = {};
        for (uint32_t pixel = 0; pixel < pixelsPerStep; ++pixel)
            PixelSamples(step * pixelsPerStep + pixel, channels, maximum, samples[pixel]);
        if (packed10p) {
            // Four 10-bit samples in five bytes, least significant bits first.
            uint64_t packedBits = 0;
            for (uint32_t pixel = 0; pixel < 4; ++pixel) packedBits |= uint64_t(samples[pixel][0] & 0x3FF) << (10 * pixel);
            for (uint32_t byte = 0; byte < 5; ++byte) out[byte] = uint8_t(packedBits >> (8 * byte));
        } else if (packed12 && gevPacked) {
            // GigE Vision packing: the high bits of both pixels in the outer bytes, their low
            // bits in the middle byte (two bits each for 10-bit samples, four for 12-bit).
            const uint32_t lowBits = sampleBits - 8, lowMask = (1u << lowBits) - 1;
            const uint32_t first = samples[0][0], second = samples[1][0];
            out[0] = uint8_t(first >> lowBits);
            out[1] = uint8_t((first & lowMask) | ((second & lowMask) << 4));
            out[2] = uint8_t(second >> lowBits);
        } else if (packed12) {
            const uint32_t first = samples[0][0], second = samples[1][0];
            out[0] = uint8_t(first);
            out[1] = uint8_t((first >> 8) | ((second & 0xF) << 4));
            out[2] = uint8_t(second >> 4);
        } else if (sampleBits > 8) {
            for (uint32_t channel = 0; channel < channels; ++channel) {
                out[2 * channel] = uint8_t(samples[0][channel]);
                out[2 * channel + 1] = uint8_t(samples[0][channel] >> 8);
            }
        } else {
            for (uint32_t byte = 0; byte < m_stepBytes; ++byte) out[byte] = uint8_t(samples[0][byte % channels]);
        }
    }
}

void TestPattern::Draw(uint8_t* destination, uint32_t height, uint64_t frameId) const {
    if (m_rowBytes == 0) return;
    for (uint32_t row = 0; row < height; ++row) {
        const size_t shift = size_t((row + frameId) % kPeriodSteps) * m_stepBytes;
        std::memcpy(destination + size_t(row) * m_rowBytes, m_wideRow.data() + shift, m_rowBytes);
    }
}

} // namespace VirtualGenTL
