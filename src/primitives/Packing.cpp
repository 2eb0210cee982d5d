// The public packing and unpacking functions: argument checks, then the fast path on the
// whole frame at once.
#include <Vireo/Packing.h>

#include <cstdint>
#include <limits>
#include <string>

#include "../transport/Errors.h"
#include "PackedSamples.h"

namespace Vireo {
namespace {

using Primitives::PackedLayout;

struct Frame {
    size_t pixels;
    unsigned plainBits;
};

// The frame's size, once the arguments are known to describe buffers that can exist and do
// not overlap (the kernels read ahead of what they write, so an overlap would corrupt the
// result silently).
Frame CheckFrame(const uint8_t* source, const uint8_t* destination, size_t width, size_t height, size_t bitsPerPixel,
                 PackedLayout layout, bool packing, const char* unit, const char* function) {
    if (source == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "source is nullptr.", unit, function);
    if (destination == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "destination is nullptr.", unit, function);
    if (width == 0) VIREO_THROW_PLAIN(InvalidArgument, "width must be > 0.", unit, function);
    if (height == 0) VIREO_THROW_PLAIN(InvalidArgument, "height must be > 0.", unit, function);
    if (bitsPerPixel != 8 && bitsPerPixel != 16)
        VIREO_THROW_PLAIN(InvalidArgument, "bitsPerPixel must be 8 or 16, not " + std::to_string(bitsPerPixel) + ".",
                          unit, function);
    // Two bytes per pixel must not wrap around.
    if (height > std::numeric_limits<size_t>::max() / 2 / width)
        VIREO_THROW_PLAIN(InvalidArgument,
                          "width x height (" + std::to_string(width) + " x " + std::to_string(height) +
                              ") is too large.",
                          unit, function);
    const Frame frame{width * height, static_cast<unsigned>(bitsPerPixel)};
    const size_t plainBytes = Primitives::PlainBytes(frame.plainBits, frame.pixels);
    const size_t packedBytes = Primitives::PackedBytes(layout, frame.pixels);
    const auto from = reinterpret_cast<uintptr_t>(source);
    const auto to = reinterpret_cast<uintptr_t>(destination);
    const size_t sourceBytes = packing ? plainBytes : packedBytes;
    const size_t destinationBytes = packing ? packedBytes : plainBytes;
    if (from < to + destinationBytes && to < from + sourceBytes)
        VIREO_THROW_PLAIN(InvalidArgument, "source and destination overlap.", unit, function);
    return frame;
}

void Pack(PackedLayout layout, const uint8_t* source, uint8_t* destination, size_t width, size_t height,
          size_t bitsPerPixel, const char* function) {
    const Frame frame = CheckFrame(source, destination, width, height, bitsPerPixel, layout, true, "Packing", function);
    Primitives::Fast::Pack(layout, frame.plainBits, source, destination, frame.pixels);
}

void Unpack(PackedLayout layout, const uint8_t* source, uint8_t* destination, size_t width, size_t height,
            size_t bitsPerPixel, const char* function) {
    const Frame frame =
        CheckFrame(source, destination, width, height, bitsPerPixel, layout, false, "Unpacking", function);
    Primitives::Fast::Unpack(layout, frame.plainBits, source, destination, frame.pixels);
}

} // namespace

namespace Packing {

void To10p(const uint8_t* source, uint8_t* destination, size_t width, size_t height, size_t bitsPerPixel) {
    Pack(PackedLayout::P10, source, destination, width, height, bitsPerPixel, "To10p");
}

void To10Packed(const uint8_t* source, uint8_t* destination, size_t width, size_t height, size_t bitsPerPixel) {
    Pack(PackedLayout::Packed10, source, destination, width, height, bitsPerPixel, "To10Packed");
}

void To12p(const uint8_t* source, uint8_t* destination, size_t width, size_t height, size_t bitsPerPixel) {
    Pack(PackedLayout::P12, source, destination, width, height, bitsPerPixel, "To12p");
}

void To12Packed(const uint8_t* source, uint8_t* destination, size_t width, size_t height, size_t bitsPerPixel) {
    Pack(PackedLayout::Packed12, source, destination, width, height, bitsPerPixel, "To12Packed");
}

} // namespace Packing

namespace Unpacking {

void From10p(const uint8_t* source, uint8_t* destination, size_t width, size_t height, size_t bitsPerPixel) {
    Unpack(PackedLayout::P10, source, destination, width, height, bitsPerPixel, "From10p");
}

void From10Packed(const uint8_t* source, uint8_t* destination, size_t width, size_t height, size_t bitsPerPixel) {
    Unpack(PackedLayout::Packed10, source, destination, width, height, bitsPerPixel, "From10Packed");
}

void From12p(const uint8_t* source, uint8_t* destination, size_t width, size_t height, size_t bitsPerPixel) {
    Unpack(PackedLayout::P12, source, destination, width, height, bitsPerPixel, "From12p");
}

void From12Packed(const uint8_t* source, uint8_t* destination, size_t width, size_t height, size_t bitsPerPixel) {
    Unpack(PackedLayout::Packed12, source, destination, width, height, bitsPerPixel, "From12Packed");
}

} // namespace Unpacking

} // namespace Vireo
