// Bit selection: an 8-bit image from a deeper one, taking a run of 8 bits that the caller
// chooses instead of the top 8 bits that conversion takes.
#include <Vireo/ImageFactory.h>

#include <cstring>
#include <memory>
#include <new>
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
    size_t samples;  // in the whole image, as its geometry has them
    Primitives::PackedLayout packed;
};

// The rule of a format's samples and how many the image's geometry holds: whatever follows
// the image in its buffer (a device frame's chunk trailer) is no sample.
Layout LayoutOf(uint64_t format, size_t width, size_t height) {
    const SampleLayout layout = StorageLayoutOf(format, width, height);
    Layout result{Family::None, layout.samples, layout.packed};
    switch (layout.storage) {
    case SampleLayout::Storage::Byte:
        // Subsampled layouts (YCbCr 4:2:2, 4:1:1) carry one sample per byte.
        if (layout.bits == 8) result.family = layout.channels == 1 ? Family::OneChannel8 : Family::MultiChannel8;
        break;
    case SampleLayout::Storage::Word:
        result.family = layout.bits == 10   ? Family::Container10
                        : layout.bits == 12 ? Family::Container12
                        : layout.bits == 16 ? Family::Sixteen
                                            : Family::None;
        break;
    case SampleLayout::Storage::Triple:
        result.family = Family::TwentyFour;
        break;
    case SampleLayout::Storage::Packed:
        result.family = layout.packed == Primitives::PackedLayout::P10        ? Family::P10
                        : layout.packed == Primitives::PackedLayout::Packed10 ? Family::Packed10
                                                                              : Family::Packed12;
        break;
    case SampleLayout::Storage::None:
        break;
    }
    return result;
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

void SelectInto(uint8_t* __restrict out, const uint8_t* __restrict in, const Layout& layout, int n) {
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
    case Family::Packed10: {
        // The low bits of the first sample of a group are read as the whole low nibble of the
        // middle byte, as the cameras' reference tools do. An odd sample count leaves the last
        // group a byte and a half, of which the image holds the first byte only: the missing
        // bits read as 0, and nothing past the image is touched.
        const size_t stored = count * 12 / 8;
        const size_t whole = std::min(count, stored / 3 * 2);
        for (size_t index = 0; index < whole; ++index) {
            const uint8_t* group = in + index / 2 * 3;
            const uint32_t sample = index % 2 == 0 ? uint32_t(group[0]) << 2 | (group[1] & 0x0F)
                                                   : uint32_t(group[2]) << 2 | (group[1] >> 4 & 0x03);
            out[index] = Select(sample, 2 - n);
        }
        if (whole < count) out[whole] = Select(uint32_t(in[whole / 2 * 3]) << 2, 2 - n);
        return;
    }
    case Family::P10:
    case Family::Packed12: {
        // Unpacked to most-significant-bit aligned 16-bit samples first, a row of groups at a time.
        const bool tenBits = layout.family == Family::P10;
        SampleLayout whole;
        whole.storage = SampleLayout::Storage::Packed;
        whole.packed = layout.packed;
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
    const uint64_t length = CheckSourceSize(image, name);
    size_t targetBits = 0;
    try {
        targetBits = GetBitsPerChannel(pixelFormat);
    } catch (const GenICam::GenericException&) {
    }
    if (targetBits != 8)
        VIREO_THROW_PLAIN(InvalidArgument, "Bit selection only available for 8-bit transformation", kUnit, name);
    const uint64_t source = image->GetPixelFormat();
    const Layout layout = LayoutOf(source, image->GetWidth(), image->GetHeight());
    if (layout.family == Family::None)
        VIREO_THROW_PLAIN(InvalidArgument,
                          std::string("Bit selection attempted but unavailable on pixel format ") + GetPixelFormatName(source),
                          kUnit, name);
    if (image->GetSizeFilled() < length)
        VIREO_THROW_PLAIN(InvalidArgument, "Image holds fewer bytes than its geometry needs", kUnit, name);
    return layout;
}

} // namespace

size_t SelectBitsLen(IImage* pImage, uint64_t pixelFormat, int bits) try {
    (void)bits;
    return CheckedLayout(pImage, pixelFormat, "SelectBitsLen").samples;
} catch (const std::bad_alloc&) {
    OutOfMemory("SelectBitsLen");
}

IImage* SelectBits(IImage* pImage, uint64_t pixelFormat, int bits) try {
    constexpr const char* name = "SelectBits";
    const Layout layout = CheckedLayout(pImage, pixelFormat, name);
    std::unique_ptr<uint8_t[]> block(NewBlock(layout.samples, true, name));
    SelectInto(block.get(), pImage->GetData(), layout, bits);
    auto* image = new Image(block.get(), layout.samples, pImage->GetWidth(), pImage->GetHeight(), pixelFormat);
    block.release();
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("SelectBits");
}

IImage* SelectBitsShallow(uint8_t* pDst, size_t dstLen, IImage* pImage, uint64_t pixelFormat, int bits) try {
    constexpr const char* name = "SelectBitsShallow";
    CheckInit(name);
    CheckParam(pDst, name);
    const Layout layout = CheckedLayout(pImage, pixelFormat, name);
    CheckLen(dstLen, layout.samples, name);
    SelectInto(pDst, pImage->GetData(), layout, bits);
    auto* image = new Image(pDst, layout.samples, pImage->GetWidth(), pImage->GetHeight(), pixelFormat);
    image->SetShallow(true);
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("SelectBitsShallow");
}

} // namespace Vireo::ImageFactory
