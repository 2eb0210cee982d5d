// Reading and writing the samples of an image a block at a time, whatever its layout: one
// byte, a 16-bit word, three bytes, or a packed 10- or 12-bit group per sample. The LUT and
// scaling operations work on the values and leave the layouts to this.
#ifndef VIREO_SRC_FACTORY_SAMPLEBLOCKS_H
#define VIREO_SRC_FACTORY_SAMPLEBLOCKS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "../primitives/PackedSamples.h"

namespace Vireo::ImageFactory {

struct SampleLayout {
    enum class Storage { Byte, Word, Triple, Packed, None } storage = Storage::None;
    unsigned bits = 0;      // significant bits of a sample: 8, 10, 12, 16 or 24
    size_t channels = 0;    // interleaved channels (1 for mono and Bayer)
    size_t samples = 0;     // in the whole image
    Primitives::PackedLayout packed = Primitives::PackedLayout::P12;
    // For subsampled YCbCr: the channel of each position of the repeating group (Y 0, Cb 1,
    // Cr 2); empty when channels simply interleave.
    std::string pattern;
};

// The layout of an image of this format and geometry; storage None for a format that has no
// sample layout here (floating point, 3D coordinates and the like).
SampleLayout SampleLayoutOf(uint64_t pixelFormat, size_t width, size_t height);
// The same for any format of integer samples, whatever they mean (3D coordinates included).
SampleLayout StorageLayoutOf(uint64_t pixelFormat, size_t width, size_t height);

// The channel of sample `index`.
inline size_t ChannelOf(const SampleLayout& layout, size_t index) {
    if (!layout.pattern.empty()) return size_t(layout.pattern[index % layout.pattern.size()] - '0');
    return layout.channels > 1 ? index % layout.channels : 0;
}

constexpr size_t kSampleBlock = 4096;  // samples; a multiple of every packed group

// Reads samples [first, first + count) of data into values (count <= kSampleBlock), least
// significant bit aligned.
void LoadSamples(const SampleLayout& layout, const uint8_t* data, size_t first, size_t count, uint32_t* values);
// Writes them back in the same layout; bits above the sample's width are dropped.
void StoreSamples(const SampleLayout& layout, uint8_t* data, size_t first, size_t count, const uint32_t* values);

// Packed samples [first, first + count) to or from plain 8- or 16-bit samples (most
// significant bit aligned), `first` a multiple of 4. An image's buffer ends after
// samples x bits / 8 bytes, rounded down, so its last group can be cut short: those samples
// get the bits the buffer has (the missing ones read as 0), and nothing is written past
// the buffer's end.
void UnpackRange(const SampleLayout& layout, unsigned plainBits, const uint8_t* data, size_t first, size_t count,
                 uint8_t* plain);
void PackRange(const SampleLayout& layout, unsigned plainBits, const uint8_t* plain, uint8_t* data, size_t first,
               size_t count);

} // namespace Vireo::ImageFactory

#endif
