// Bit selection: an 8-bit image from a deeper one, taking a run of 8 bits that the caller
// chooses instead of the top 8 bits that conversion takes.
#include <Vireo/ImageFactory.h>

#include <cstring>
#include <memory>
#include <string>
#include <algorithm>
#include <vector>

#include <GenICam.h>
#include <Vireo/Image.h>
#include <Vireo/PixelFormat.h>

#include "../primitives/PackedSamples.h"
#include "../transport/Errors.h"
#include "FactoryChecks.h"
#include "SampleBlocks.h"

namespace Vireo::ImageFactory {
namespace {

constexpr const char* kUnit = "ImageFactory";

// The source layouts bit selection knows, each with its own rule.
enum class Family {
    OneChannel8,    // v >> n
    MultiChannel8,  // v shifted right by (32 - n) mod 32: unchanged for n = 0, else 0
    Container10,    // (v & 0x3FF) >> (6 - n)
    P10,            // sample >> (2 - n)
    Packed10,       // sample >> (2 - n), the middle byte's low nibble taken whole
    Container12,    // (v & 0xFFF0) >> (4 - n)
    Packed12,       // sample >> (4 - n), 12p and 12Packed
    Sixteen,        // v >> (8 - n)
    TwentyFour,     // (v & 0xFFFFFF) >> (16 - n)
    None,
};

struct Layout {
    Family family;
    size_t samples;  // in the whole image
};

bool EndsWith(const std::string& text, const char* tail) {
    const size_t length = std::strlen(tail);
    return text.size() >= length && text.compare(text.size() - length, length, tail) == 0;
}

Layout LayoutOf(uint64_t format, size_t width, size_t height, size_t length) {
    size_t channels = 0, bitsPerChannel = 0;
    try {
        channels = GetNumChannels(format);
        bitsPerChannel = GetBitsPerChannel(format);
    } catch (const GenICam::GenericException&) {
        return {Family::None, 0};  // a format without geometry has no rule either
    }
    const size_t bitsPerPixel = GetBitsPerPixel(format);
    const std::string name = GetPixelFormatName(format);
    // 10- and 12-bit samples either sit in 16-bit words or are packed without padding (10p,
    // 12p, 10Packed, BGR12p).
    const bool packed = bitsPerPixel < 16 * channels;
    const size_t pixelSamples = width * height * channels;
    switch (bitsPerChannel) {
    case 8:
        // Subsampled layouts (YCbCr 4:2:2, 4:1:1) carry one sample per byte.
        return {channels == 1 ? Family::OneChannel8 : Family::MultiChannel8, length};
    case 10:
        if (channels != 1) return {Family::None, 0};
        if (!packed) return {Family::Container10, length / 2};
        return {EndsWith(name, "Packed") ? Family::Packed10 : Family::P10, pixelSamples};
    case 12:
        if (channels > 3) return {Family::None, 0};
        return packed ? Layout{Family::Packed12, pixelSamples} : Layout{Family::Container12, length / 2};
    case 16:
        return {Family::Sixteen, length / 2};
    case 24:
        return {Family::TwentyFour, length / 3};
    default:
        return {Family::None, 0};
    }
}

// value >> shift for the usual shifts; a shift below 0 (a selection above the sample's own
// bits) moves the value up instead. Either way the result is truncated to 8 bits.
inline uint8_t Select(uint32_t value, int shift) {
    return uint8_t(shift >= 0 ? value >> shift : value << -shift);
}

// out[i] = the 8 bits of sample i (Sample: uint8_t or uint16_t, masked) at `shift`, with the
// shift's direction decided once so that the loop vectorises.
template <class Sample>
void SelectAll(uint8_t* __restrict out, const Sample* __restrict in, size_t count, int shift, uint16_t mask) {
    // Sixteen-bit lanes: wide enough for every sample here, and the widest lanes that x86 shifts
    // in bulk without emulation.
    if (shift >= 0) {
        const unsigned down = unsigned(shift);
        for (size_t index = 0; index < count; ++index) out[index] = uint8_t(uint16_t(in[index] & mask) >> down);
    } else {
        const unsigned up = unsigned(-shift);
        for (size_t index = 0; index < count; ++index) out[index] = uint8_t(uint16_t(in[index] & mask) << up);
    }
}

// Little-endian 16-bit samples at any alignment.
void SelectWords(uint8_t* __restrict out, const uint8_t* __restrict in, size_t count, int shift, uint16_t mask) {
    constexpr size_t kBlock = 4096;
    uint16_t words[kBlock];
    for (size_t first = 0; first < count; first += kBlock) {
        const size_t block = std::min(kBlock, count - first);
        std::memcpy(words, in + 2 * first, 2 * block);  // the host is little-endian, as the samples
        SelectAll(out + first, words, block, shift, mask);
    }
}

void SelectInto(uint8_t* __restrict out, const uint8_t* __restrict in, const Layout& layout, uint64_t format, int n) {
    const size_t count = layout.samples;
    switch (layout.family) {
    case Family::OneChannel8:
        SelectAll(out, in, count, n, 0xFF);
        return;
    case Family::MultiChannel8: {
        const unsigned shift = unsigned(32 - n) % 32u;
        for (size_t index = 0; index < count; ++index) out[index] = uint8_t(shift == 0 ? in[index] : 0);
        return;
    }
    case Family::Container10:
    case Family::Container12:
    case Family::Sixteen: {
        const uint16_t mask = layout.family == Family::Container10 ? 0x3FF : layout.family == Family::Container12 ? 0xFFF0 : 0xFFFF;
        const int shift = layout.family == Family::Container10 ? 6 - n : layout.family == Family::Container12 ? 4 - n : 8 - n;
        SelectWords(out, in, count, shift, mask);
        return;
    }
    case Family::TwentyFour:
        for (size_t index = 0; index < count; ++index)
            out[index] = Select(uint32_t(in[3 * index] | in[3 * index + 1] << 8 | in[3 * index + 2] << 16), 16 - n);
        return;
    case Family::Packed10:
        // The low bits of the first sample of a group are read as the whole low nibble of the
        // middle byte, as the cameras' reference tools do.
        for (size_t index = 0; index < count; ++index) {
            const uint8_t* group = in + index / 2 * 3;
            const uint32_t sample = index % 2 == 0 ? uint32_t(group[0]) << 2 | (group[1] & 0x0F)
                                                   : uint32_t(group[2]) << 2 | (group[1] >> 4 & 0x03);
            out[index] = Select(sample, 2 - n);
        }
        return;
    case Family::P10:
    case Family::Packed12: {
        // Unpacked to most-significant-bit aligned 16-bit samples first, a row of groups at a time.
        const bool tenBits = layout.family == Family::P10;
        const Primitives::PackedLayout packedLayout =
            tenBits ? Primitives::PackedLayout::P10
                    : (EndsWith(GetPixelFormatName(format), "Packed") ? Primitives::PackedLayout::Packed12
                                                                      : Primitives::PackedLayout::P12);
        SampleLayout whole;
        whole.storage = SampleLayout::Storage::Packed;
        whole.packed = packedLayout;
        whole.samples = count;
        uint16_t samples[kSampleBlock];
        for (size_t first = 0; first < count; first += kSampleBlock) {
            const size_t block = std::min(kSampleBlock, count - first);
            UnpackRange(whole, 16, in, first, block, reinterpret_cast<uint8_t*>(samples));
            // The samples are most significant bit aligned: shift by the alignment too.
            const int shift = (tenBits ? 2 - n : 4 - n) + (tenBits ? 6 : 4);
            SelectAll(out + first, samples, block, shift, 0xFFFF);
        }
        return;
    }
    case Family::None:
        return;
    }
}

// The source's layout, or the failure that says why it cannot be selected from.
Layout CheckedLayout(IImage* image, uint64_t pixelFormat, const char* name) {
    CheckInit(name);
    if (image == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Image is null when selecting bits", kUnit, name);
    size_t targetBits = 0;
    try {
        targetBits = GetBitsPerChannel(pixelFormat);
    } catch (const GenICam::GenericException&) {
    }
    if (targetBits != 8)
        VIREO_THROW_PLAIN(InvalidArgument, "Bit selection only available for 8-bit transformation", kUnit, name);
    const uint64_t source = image->GetPixelFormat();
    const Layout layout = LayoutOf(source, image->GetWidth(), image->GetHeight(), image->GetSizeFilled());
    if (layout.family == Family::None)
        VIREO_THROW_PLAIN(InvalidArgument,
                          std::string("Bit selection attempted but unavailable on pixel format ") + GetPixelFormatName(source),
                          kUnit, name);
    return layout;
}

} // namespace

size_t SelectBitsLen(IImage* pImage, uint64_t pixelFormat, int bits) {
    (void)bits;
    return CheckedLayout(pImage, pixelFormat, "SelectBitsLen").samples;
}

IImage* SelectBits(IImage* pImage, uint64_t pixelFormat, int bits) {
    const Layout layout = CheckedLayout(pImage, pixelFormat, "SelectBits");
    std::unique_ptr<uint8_t[]> block(new uint8_t[layout.samples]());
    SelectInto(block.get(), pImage->GetData(), layout, pImage->GetPixelFormat(), bits);
    auto* image = new Image(block.get(), layout.samples, pImage->GetWidth(), pImage->GetHeight(), pixelFormat);
    block.release();
    return image;
}

IImage* SelectBitsShallow(uint8_t* pDst, size_t dstLen, IImage* pImage, uint64_t pixelFormat, int bits) {
    constexpr const char* name = "SelectBitsShallow";
    CheckParam(pDst, name);
    const Layout layout = CheckedLayout(pImage, pixelFormat, name);
    CheckLen(dstLen, layout.samples, name);
    SelectInto(pDst, pImage->GetData(), layout, pImage->GetPixelFormat(), bits);
    auto* image = new Image(pDst, layout.samples, pImage->GetWidth(), pImage->GetHeight(), pixelFormat);
    image->SetShallow(true);
    return image;
}

} // namespace Vireo::ImageFactory
