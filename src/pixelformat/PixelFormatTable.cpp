#include "PixelFormatTable.h"

#include <algorithm>
#include <array>

#include <Vireo/PixelFormat.h>

namespace Vireo {
namespace {

constexpr bool Descriptor = true;
constexpr bool NoDescriptor = false;

constexpr PixelFormatInfo kUnsortedFormats[] = {
#define VIREO_PIXEL_FORMAT(name, channels, bitsPerChannel, bytesPerStep, pixelsPerStep, descriptor) \
    {name, #name, channels, bitsPerChannel, bytesPerStep, pixelsPerStep, descriptor},
#include "PixelFormatTable.inc"
#undef VIREO_PIXEL_FORMAT
};

constexpr size_t kFormatCount = std::size(kUnsortedFormats);

constexpr std::array<PixelFormatInfo, kFormatCount> SortByCode() {
    std::array<PixelFormatInfo, kFormatCount> formats{};
    std::copy(std::begin(kUnsortedFormats), std::end(kUnsortedFormats), formats.begin());
    std::sort(formats.begin(), formats.end(),
              [](const PixelFormatInfo& left, const PixelFormatInfo& right) { return left.code < right.code; });
    return formats;
}

constexpr std::array<PixelFormatInfo, kFormatCount> kFormats = SortByCode();

constexpr bool CodesAreUnique() {
    for (size_t index = 1; index < kFormats.size(); ++index)
        if (kFormats[index - 1].code == kFormats[index].code) return false;
    return true;
}
static_assert(CodesAreUnique(), "two pixel formats share a code");

// A row's step must hold exactly its pixels' bits, so that a typo in a row cannot survive.
constexpr bool StepsMatchBitsPerPixel() {
    for (const PixelFormatInfo& format : kFormats) {
        const uint64_t bitsPerPixel = (format.code >> 16) & 0xFF;
        if (uint64_t(format.bytesPerStep) * 8 != bitsPerPixel * format.pixelsPerStep) return false;
    }
    return true;
}
static_assert(StepsMatchBitsPerPixel(), "a pixel format's step disagrees with its bits per pixel");

} // namespace

const PixelFormatInfo* FindPixelFormat(uint64_t code) noexcept {
    const auto found = std::lower_bound(kFormats.begin(), kFormats.end(), code,
                                        [](const PixelFormatInfo& format, uint64_t value) { return format.code < value; });
    if (found == kFormats.end() || found->code != code) return nullptr;
    return &*found;
}

std::span<const PixelFormatInfo> AllPixelFormats() noexcept { return kFormats; }

} // namespace Vireo
