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

// The colour camera's Bayer formats (its sensor's filter is RG: red at even rows and columns).
bool IsBayerRG(uint32_t code) {
    switch (code) {
    case 0x01080009: case 0x0110000D: case 0x01100011: case 0x010A0058: case 0x010C0059: case 0x010C002B: return true;
    default: return false;
    }
}

// The component each byte of an 8-bit colour pixel holds (3: alpha), or nothing for formats
// without colour.
const uint32_t* ColourOrder(uint32_t code) {
    static const uint32_t rgb[] = {0, 1, 2}, bgr[] = {2, 1, 0}, bgra[] = {2, 1, 0, 3};
    switch (code) {
    case 0x02180014: return rgb;   // RGB8
    case 0x02180015: return bgr;   // BGR8
    case 0x02200017: return bgra;  // BGRa8
    default: return nullptr;
    }
}

// The filter component over a pixel of the mosaic: RG on even rows, GB on odd rows.
uint32_t FilterComponent(uint32_t rowParity, uint32_t columnParity) {
    if (rowParity == 0) return columnParity == 0 ? 0 : 1;
    return columnParity == 0 ? 1 : 2;
}

} // namespace

bool TestPattern::BarComponentOn(uint32_t position, uint32_t component) {
    // Red, green and blue bits of white, yellow, cyan, green, magenta, red, blue, black.
    static const uint8_t kBars[8] = {0b111, 0b110, 0b011, 0b010, 0b101, 0b100, 0b001, 0b000};
    return (kBars[(position / 32) % 8] >> (2 - component)) & 1;
}

TestPattern::TestPattern(uint32_t width, uint32_t pixelFormat, bool colourCamera) {
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

    m_pixelsPerStep = pixelsPerStep;
    m_mosaic = colourCamera && IsBayerRG(pixelFormat);
    const uint32_t* colourOrder = colourCamera ? ColourOrder(pixelFormat) : nullptr;

    // One row for every horizontal shift: steps + the pattern period; four of them for a mosaic.
    const uint32_t wideSteps = steps + kPeriodSteps;
    for (uint32_t variant = 0; variant < (m_mosaic ? 4u : 1u); ++variant) {
        std::vector<uint8_t>& wideRow = m_wideRows[variant];
        const uint32_t rowParity = variant / 2, shiftParity = variant % 2;
        wideRow.assign(size_t(wideSteps) * m_stepBytes, 0);
        for (uint32_t step = 0; step < wideSteps; ++step) {
            uint8_t* out = wideRow.data() + size_t(step) * m_stepBytes;
            uint32_t samples[4][4] = {};
            for (uint32_t pixel = 0; pixel < pixelsPerStep; ++pixel) {
                const uint32_t position = step * pixelsPerStep + pixel;
                if (m_mosaic) {
                    // The pixel lands at a column of this parity once the row is shifted.
                    const uint32_t component = FilterComponent(rowParity, (position ^ shiftParity) & 1);
                    samples[pixel][0] = BarComponentOn(position, component) ? maximum : 0;
                } else if (colourOrder != nullptr) {
                    for (uint32_t channel = 0; channel < channels; ++channel)
                        samples[pixel][channel] =
                            colourOrder[channel] == 3 || BarComponentOn(position, colourOrder[channel]) ? maximum : 0;
                } else {
                    PixelSamples(position, channels, maximum, samples[pixel]);
                }
            }
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
}

void TestPattern::Draw(uint8_t* destination, uint32_t height, uint64_t frameId) const {
    if (m_rowBytes == 0) return;
    for (uint32_t row = 0; row < height; ++row) {
        const size_t steps = size_t((row + frameId) % kPeriodSteps);
        const size_t variant = m_mosaic ? (row & 1) * 2 + ((steps * m_pixelsPerStep) & 1) : 0;
        std::memcpy(destination + size_t(row) * m_rowBytes, m_wideRows[variant].data() + steps * m_stepBytes, m_rowBytes);
    }
}

} // namespace VirtualGenTL
