#include "SampleBlocks.h"

#include <cstring>

#include <GenICam.h>
#include <Vireo/PixelFormat.h>

namespace Vireo::ImageFactory {
namespace {

bool Contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

// Whether 10- or 12-bit samples sit one to a 16-bit word rather than packed without padding.
// The bits of a pixel say so: a word for each channel (Mono12, RGB12, PolarizedDolpAolp_Mono12),
// or a single word where a pixel of the width is one sample of an interleaved multi-image
// format (DualMono10, QuadBayerRG12: 16 bits a pixel, the width counting every channel).
// Packed pixels hold 10 or 12 bits a sample (Mono10p, BGR12p, QuadMono10p; 12 for 10Packed),
// which is no whole number of words, except where the channels' packed samples happen to
// fill whole words (PolarizedAngles_0d_45d_90d_135d_Mono12p, RGBa12p: four 12-bit samples in
// 48 bits); subsampled YCbCr (YCbCr422_10: two words a pixel for three channels) is in words.
bool InWords(size_t bitsPerPixel, size_t channels, size_t bitsPerChannel) {
    if (bitsPerPixel % 16 != 0) return false;
    const size_t words = bitsPerPixel / 16;
    if (words == 1 || words == channels) return true;
    return bitsPerPixel != channels * bitsPerChannel;
}

} // namespace

SampleLayout SampleLayoutOf(uint64_t pixelFormat, size_t width, size_t height) {
    const std::string name = GetPixelFormatName(pixelFormat);
    // Compressed streams, floating-point values and event lists are no samples to map.
    if (name.rfind("QOI_", 0) == 0 || Contains(name, "32f") || Contains(name, "128f") || Contains(name, "Coord3D"))
        return SampleLayout{};
    return StorageLayoutOf(pixelFormat, width, height);
}

SampleLayout StorageLayoutOf(uint64_t pixelFormat, size_t width, size_t height) {
    SampleLayout layout;
    size_t channels = 0, bitsPerChannel = 0;
    try {
        channels = GetNumChannels(pixelFormat);
        bitsPerChannel = GetBitsPerChannel(pixelFormat);
    } catch (const GenICam::GenericException&) {
        return layout;
    }
    const std::string name = GetPixelFormatName(pixelFormat);
    const size_t bitsPerPixel = GetBitsPerPixel(pixelFormat);
    const size_t pixels = width * height;
    layout.bits = unsigned(bitsPerChannel);
    layout.channels = channels;
    // Subsampled YCbCr stores fewer samples than pixels x channels, in a fixed order.
    // Chroma first in the CbYYCrYY / UYYVYY and CbYCrY / UYVY orders.
    if (Contains(name, "411"))
        layout.pattern = Contains(name, "CbYYCrYY") || Contains(name, "UYYVYY") ? "100200" : "001002";
    else if (Contains(name, "422"))
        layout.pattern = Contains(name, "CbYCrY") || Contains(name, "UYVY") ? "1020" : "0102";
    const bool packed = (bitsPerChannel == 10 || bitsPerChannel == 12) && !InWords(bitsPerPixel, channels, bitsPerChannel);
    size_t storageBits = 0;
    if (packed) {
        layout.storage = SampleLayout::Storage::Packed;
        const bool packedPair = Contains(name, "Packed");  // 10Packed spends 12 bits a sample
        layout.packed = packedPair ? (bitsPerChannel == 10 ? Primitives::PackedLayout::Packed10
                                                           : Primitives::PackedLayout::Packed12)
                                   : (bitsPerChannel == 10 ? Primitives::PackedLayout::P10
                                                           : Primitives::PackedLayout::P12);
        storageBits = packedPair ? 12 : bitsPerChannel;
    } else {
        switch (bitsPerChannel) {
        case 8: layout.storage = SampleLayout::Storage::Byte; storageBits = 8; break;
        case 10:
        case 12:
        case 14:
        case 16: layout.storage = SampleLayout::Storage::Word; storageBits = 16; break;
        case 24: layout.storage = SampleLayout::Storage::Triple; storageBits = 24; break;
        default: return SampleLayout{};
        }
    }
    // Samples stored per pixel: the channels for colour, fewer for subsampled YCbCr, one where
    // a pixel of the width is a single sample of an interleaved multi-image format.
    layout.samples = pixels * bitsPerPixel / storageBits;
    return layout;
}

void LoadSamples(const SampleLayout& layout, const uint8_t* data, size_t first, size_t count, uint32_t* values) {
    const uint32_t mask = layout.bits >= 32 ? ~0u : (1u << layout.bits) - 1;
    switch (layout.storage) {
    case SampleLayout::Storage::Byte:
        for (size_t index = 0; index < count; ++index) values[index] = data[first + index];
        return;
    case SampleLayout::Storage::Word:
        for (size_t index = 0; index < count; ++index) {
            const uint8_t* word = data + 2 * (first + index);
            values[index] = uint32_t(word[0] | word[1] << 8) & mask;
        }
        return;
    case SampleLayout::Storage::Triple:
        for (size_t index = 0; index < count; ++index) {
            const uint8_t* triple = data + 3 * (first + index);
            values[index] = uint32_t(triple[0] | triple[1] << 8 | triple[2] << 16);
        }
        return;
    case SampleLayout::Storage::Packed: {
        uint16_t words[kSampleBlock];
        UnpackRange(layout, 16, data, first, count, reinterpret_cast<uint8_t*>(words));
        const unsigned align = 16 - layout.bits;
        for (size_t index = 0; index < count; ++index) values[index] = uint32_t(words[index] >> align);
        return;
    }
    case SampleLayout::Storage::None:
        return;
    }
}

void StoreSamples(const SampleLayout& layout, uint8_t* data, size_t first, size_t count, const uint32_t* values) {
    const uint32_t mask = layout.bits >= 32 ? ~0u : (1u << layout.bits) - 1;
    switch (layout.storage) {
    case SampleLayout::Storage::Byte:
        for (size_t index = 0; index < count; ++index) data[first + index] = uint8_t(values[index]);
        return;
    case SampleLayout::Storage::Word:
        for (size_t index = 0; index < count; ++index) {
            uint8_t* word = data + 2 * (first + index);
            const uint32_t value = values[index] & mask;
            word[0] = uint8_t(value);
            word[1] = uint8_t(value >> 8);
        }
        return;
    case SampleLayout::Storage::Triple:
        for (size_t index = 0; index < count; ++index) {
            uint8_t* triple = data + 3 * (first + index);
            triple[0] = uint8_t(values[index]);
            triple[1] = uint8_t(values[index] >> 8);
            triple[2] = uint8_t(values[index] >> 16);
        }
        return;
    case SampleLayout::Storage::Packed: {
        uint16_t words[kSampleBlock];
        const unsigned align = 16 - layout.bits;
        for (size_t index = 0; index < count; ++index) words[index] = uint16_t((values[index] & mask) << align);
        PackRange(layout, 16, reinterpret_cast<const uint8_t*>(words), data, first, count);
        return;
    }
    case SampleLayout::Storage::None:
        return;
    }
}

namespace {

// Bytes of the whole image's packed samples as its buffer holds them (rounded down).
size_t StoredBytes(const SampleLayout& layout) {
    const size_t bits = layout.packed == Primitives::PackedLayout::P10 ? 10 : 12;
    return layout.samples / 8 * bits + layout.samples % 8 * bits / 8;
}

// Samples in one packed group.
size_t GroupSamples(Primitives::PackedLayout layout) { return layout == Primitives::PackedLayout::P10 ? 4 : 2; }

} // namespace

void UnpackRange(const SampleLayout& layout, unsigned plainBits, const uint8_t* data, size_t first, size_t count,
                 uint8_t* plain) {
    using Primitives::PackedBytes;
    const size_t stored = StoredBytes(layout), whole = first + count;
    if (PackedBytes(layout.packed, whole) <= stored) {
        Primitives::Fast::Unpack(layout.packed, plainBits, data + PackedBytes(layout.packed, first), plain, count);
        return;
    }
    // The last group is cut short: unpack it from a copy padded with zeros.
    const size_t tailFirst = (whole - 1) / GroupSamples(layout.packed) * GroupSamples(layout.packed);
    const size_t before = tailFirst - first;
    Primitives::Fast::Unpack(layout.packed, plainBits, data + PackedBytes(layout.packed, first), plain, before);
    uint8_t group[8] = {};
    const size_t tailStart = PackedBytes(layout.packed, tailFirst);
    std::memcpy(group, data + tailStart, stored - tailStart);
    Primitives::Fast::Unpack(layout.packed, plainBits, group, plain + before * plainBits / 8, whole - tailFirst);
}

void PackRange(const SampleLayout& layout, unsigned plainBits, const uint8_t* plain, uint8_t* data, size_t first,
               size_t count) {
    using Primitives::PackedBytes;
    const size_t stored = StoredBytes(layout), whole = first + count;
    if (PackedBytes(layout.packed, whole) <= stored) {
        Primitives::Fast::Pack(layout.packed, plainBits, plain, data + PackedBytes(layout.packed, first), count);
        return;
    }
    const size_t tailFirst = (whole - 1) / GroupSamples(layout.packed) * GroupSamples(layout.packed);
    const size_t before = tailFirst - first;
    Primitives::Fast::Pack(layout.packed, plainBits, plain, data + PackedBytes(layout.packed, first), before);
    uint8_t group[8] = {};
    Primitives::Fast::Pack(layout.packed, plainBits, plain + before * plainBits / 8, group, whole - tailFirst);
    const size_t tailStart = PackedBytes(layout.packed, tailFirst);
    std::memcpy(data + tailStart, group, stored - tailStart);
}

} // namespace Vireo::ImageFactory
