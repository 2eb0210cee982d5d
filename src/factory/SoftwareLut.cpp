// Software look-up tables and scaled bit selection: per-sample operations over every layout
// that SampleBlocks reads.
#include <Vireo/ImageFactory.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <string>

#include <Vireo/Image.h>
#include <Vireo/PixelFormat.h>

#include "../transport/Errors.h"
#include "BitScaling.h"
#include "FactoryChecks.h"
#include "NoImplementation.h"
#include "SampleBlocks.h"

namespace Vireo::ImageFactory {
namespace {

constexpr const char* kUnit = "ImageFactory";

// The table lengths an image accepts: one table for every channel, or one per channel laid
// end to end; and the message that says so.
struct LutRule {
    size_t shared;
    size_t perChannel;  // 0 when only the shared table is accepted
    size_t entryBytes;
    const char* message;
};

// The rule of a layout, or null when the layout takes no table. Lengths and texts are those
// that applications were written against, including the two texts whose figures differ from
// the lengths accepted.
const LutRule* RuleOf(const SampleLayout& layout, uint64_t pixelFormat) {
    static const LutRule k8 = {256, 0, 1, "8-bit LUT requires 256-byte length ("};
    static const LutRule k10 = {2048, 0, 2, "10-bit LUT requires 2048 (1024 values, 2 bytes per value) length ("};
    static const LutRule k10Packed = {2048, 0, 2, "10-bit LUT requires 2048-byte (1024 values, 2 bytes per value) length ("};
    static const LutRule k12 = {8192, 0, 2, "12-bit LUT requires 8192-byte (4096 values, 2 bytes per value) length ("};
    static const LutRule k16 = {131072, 0, 2, "16-bit LUT requires 131,072-byte (65,536 values, 2 bytes per value) length ("};
    static const LutRule k24 = {50331648, 0, 3,
                                "24-bit LUT requires 50,331,648-byte (16,777,216 values, 3 bytes per value) length ("};
    static const LutRule k8x2 = {256, 512, 1,
                                 "8-bit 2-channel LUT requires 256-byte (channels same) or 512-byte (channels differ) length ("};
    static const LutRule k12x2 = {8192, 16384, 2,
                                  "12-bit 2-channel LUT requires 8192-byte (4096 values, 2 bytes per value, channels same) or "
                                  "16384 (channels differ) length ("};
    static const LutRule k8x3 = {256, 768, 1,
                                 "8-bit 3-channel LUT requires 256-byte (channels same) or 768-byte (channels differ) length ("};
    static const LutRule k12x3 = {8192, 24576, 2,
                                  "12-bit 3-channel LUT requires 8192-byte (4096 values, 2 bytes per value, channels same) or "
                                  "24,567-byte (channels differ) length ("};
    static const LutRule k16x3 = {131072, 393216, 2,
                                  "16-bit 3-channel LUT requires 131,072-byte (65,536 values, 2 bytes per value, channels "
                                  "same) or 393,216-byte (channels differ) length ("};
    // 50 bytes more than three tables: only that exact length passes, and the tables are its
    // first 150,994,944 bytes.
    static const LutRule k24x3 = {50331648, 150994994, 3,
                                  "24-bit 3-channel LUT requires 50,331,648-byte (16,777,216 values, 3 bytes per value, "
                                  "channels same) or 150,994,994-byte (channels differ) length ("};
    static const LutRule k8x4 = {256, 1024, 1,
                                 "8-bit 4-channel LUT requires 256-byte (channels same) or 1024-byte (channels differ) length ("};
    static const LutRule k12x4 = {8192, 32768, 2,
                                  "12-bit 4-channel LUT requires 8192-byte (4096 values, 2 bytes per value, channels same) or "
                                  "32,768-byte (channels differ) length ("};
    static const LutRule k16x4 = {131072, 524288, 2,
                                  "16-bit 4-channel LUT requires 524,288-byte (65,536 values, 2 bytes per value, channels "
                                  "same) or 524,288-byte (channels differ) length ("};
    const bool subsampled = !layout.pattern.empty();
    const bool packed10 = std::string(GetPixelFormatName(pixelFormat)).find("Packed") != std::string::npos;
    switch (layout.bits) {
    case 8:
        if (subsampled || layout.channels == 1) return &k8;
        return layout.channels == 2 ? &k8x2 : layout.channels == 3 ? &k8x3 : layout.channels == 4 ? &k8x4 : nullptr;
    case 10:
        return layout.channels == 1 ? (layout.storage == SampleLayout::Storage::Packed && packed10 ? &k10Packed : &k10)
                                    : nullptr;
    case 12:
        if (layout.channels == 1) return &k12;
        return layout.channels == 2 ? &k12x2 : layout.channels == 3 ? &k12x3 : layout.channels == 4 ? &k12x4 : nullptr;
    case 16:
        if (subsampled || layout.channels == 1) return &k16;
        return layout.channels == 3 ? &k16x3 : layout.channels == 4 ? &k16x4 : nullptr;
    case 24:
        if (layout.channels == 1) return &k24;
        return subsampled || layout.channels == 3 ? &k24x3 : nullptr;
    default:
        return nullptr;
    }
}

// A new owning image with the source's geometry and format, and room for its samples.
Image* PrepareImage(IImage* source, uint64_t pixelFormat, size_t length, const char* name) {
    std::unique_ptr<uint8_t[]> block(NewBlock(length, true, name));
    auto* image = new Image(block.get(), length, source->GetWidth(), source->GetHeight(), pixelFormat);
    block.release();
    return image;
}

} // namespace

IImage* ProcessSoftwareLUT(IImage* pImage, uint8_t* pLUT, size_t lutLength) try {
    constexpr const char* name = "ProcessSoftwareLUT";
    CheckInit(name);
    if (pImage == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Image is null when processing software LUT", kUnit, name);
    CheckParam(pLUT, name);
    const size_t length = size_t(CheckSourceSize(pImage, name));
    const uint64_t format = pImage->GetPixelFormat();
    const SampleLayout layout = SampleLayoutOf(format, pImage->GetWidth(), pImage->GetHeight());
    const LutRule* rule = layout.storage == SampleLayout::Storage::None ? nullptr : RuleOf(layout, format);
    if (rule == nullptr) ProcessSoftwareLUT_NoImpl(pImage, pLUT, lutLength, format);
    const bool perChannel = rule->perChannel != 0 && lutLength == rule->perChannel;
    if (lutLength != rule->shared && !perChannel)
        VIREO_THROW_PLAIN(InvalidArgument, rule->message + std::to_string(lutLength) + ")", kUnit, name);
    if (pImage->GetSizeFilled() < length)
        VIREO_THROW_PLAIN(InvalidArgument, "Image holds fewer bytes than its geometry needs", kUnit, name);

    Image* output = PrepareImage(pImage, format, length, name);
    const size_t tableBytes = rule->shared;
    const uint8_t* input = pImage->GetData();
    uint8_t* result = const_cast<uint8_t*>(output->GetData());
    // The common cases, one table for bytes or words, straight from sample to sample.
    if (!perChannel && layout.storage == SampleLayout::Storage::Byte) {
        for (size_t index = 0; index < layout.samples; ++index) result[index] = pLUT[input[index]];
        return output;
    }
    if (!perChannel && layout.storage == SampleLayout::Storage::Word) {
        const uint32_t mask = (1u << layout.bits) - 1;
        for (size_t index = 0; index < layout.samples; ++index) {
            const size_t entry = 2 * ((input[2 * index] | input[2 * index + 1] << 8) & mask);
            const uint32_t value = (pLUT[entry] | pLUT[entry + 1] << 8) & mask;
            result[2 * index] = uint8_t(value);
            result[2 * index + 1] = uint8_t(value >> 8);
        }
        return output;
    }
    uint32_t values[kSampleBlock];
    for (size_t first = 0; first < layout.samples; first += kSampleBlock) {
        const size_t count = std::min(kSampleBlock, layout.samples - first);
        LoadSamples(layout, input, first, count, values);
        for (size_t index = 0; index < count; ++index) {
            const uint8_t* table = pLUT + (perChannel ? ChannelOf(layout, first + index) * tableBytes : 0);
            const uint8_t* entry = table + size_t(values[index]) * rule->entryBytes;
            values[index] = rule->entryBytes == 1   ? entry[0]
                            : rule->entryBytes == 2 ? uint32_t(entry[0] | entry[1] << 8)
                                                    : uint32_t(entry[0] | entry[1] << 8 | entry[2] << 16);
        }
        StoreSamples(layout, result, first, count, values);
    }
    return output;
} catch (const std::bad_alloc&) {
    OutOfMemory("ProcessSoftwareLUT");
}

IImage* SelectBitsAndScale(IImage* pImage, uint64_t pixelFormat, double scale) {
    return SelectBitsAndScaleAt(pImage, pixelFormat, 0, scale);
}

IImage* SelectBitsAndScaleAt(IImage* pImage, uint64_t pixelFormat, size_t bits, double scale) try {
    constexpr const char* name = "SelectBitsAndScale";
    CheckInit(name);
    if (pImage == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Image is null when selecting bits", kUnit, name);
    const uint64_t length = CheckSourceSize(pImage, name);
    const uint64_t format = pImage->GetPixelFormat();
    const SampleLayout layout = SampleLayoutOf(format, pImage->GetWidth(), pImage->GetHeight());
    if (layout.storage == SampleLayout::Storage::None) SelectBitsAndScale_NoImpl(pImage, bits, scale, format);
    if (bits > 32)
        VIREO_THROW_PLAIN(InvalidArgument, "Bits per sample must be at most 32, not " + std::to_string(bits), kUnit, name);
    if (bits == 0) bits = layout.bits;
    if (pImage->GetSizeFilled() < length)
        VIREO_THROW_PLAIN(InvalidArgument, "Image holds fewer bytes than its geometry needs", kUnit, name);
    // A gain of 2^scale over the top 8 of the sample's significant bits.
    const double factor = std::exp2(scale - (double(bits) - 8.0));
    Image* output = PrepareImage(pImage, pixelFormat, layout.samples, name);
    uint8_t* result = const_cast<uint8_t*>(output->GetData());
    uint32_t values[kSampleBlock];
    for (size_t first = 0; first < layout.samples; first += kSampleBlock) {
        const size_t count = std::min(kSampleBlock, layout.samples - first);
        LoadSamples(layout, pImage->GetData(), first, count, values);
        for (size_t index = 0; index < count; ++index) {
            const double scaled = double(values[index]) * factor;
            result[first + index] = scaled > 255.0 ? 255 : uint8_t(scaled);
        }
    }
    return output;
} catch (const std::bad_alloc&) {
    OutOfMemory("SelectBitsAndScale");
}

} // namespace Vireo::ImageFactory
