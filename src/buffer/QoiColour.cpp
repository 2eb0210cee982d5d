// The colour variant of the QOI stream: the standard QOI chunks for 3- and 4-channel pixels.
//
// The encoder's output is byte for byte that of every conforming QOI encoder, and the decoder
// reads any stream the way the QOI reference reader does, including streams that end early
// (the remaining pixels repeat the last one). Both work on pixels packed into one 32-bit word,
// r in the lowest byte and a in the highest, so that a comparison or copy is one operation.
#include <Vireo/QoiCodec.h>

#include <bit>
#include <climits>
#include <cstdlib>

#include "QoiStream.h"

namespace Vireo {
namespace {

static_assert(std::endian::native == std::endian::little, "pixels are packed by loading them in little-endian order");

constexpr unsigned char opIndex = 0x00, opDiff = 0x40, opLuma = 0x80, opRun = 0xC0, opRgb = 0xFE, opRgba = 0xFF;
constexpr int maximumRun = 62;
constexpr uint32_t opaqueBlack = 0xFF000000; // the previous pixel before the first

// (r * 3 + g * 5 + b * 7 + a * 11) mod 64 with one multiplication: the bytes are spread into
// 16-bit lanes (r at bit 0, b at 16, g at 32, a at 48) so that the multiplier's four factors
// meet in the top byte; the partial products below it stay under bit 54 and never carry in.
inline unsigned IndexPosition(uint32_t pixel) {
    const uint64_t spread = (pixel & 0x00FF00FFull) | (static_cast<uint64_t>(pixel & 0xFF00FF00u) << 24);
    return static_cast<unsigned>((spread * 0x0300070005000B00ull) >> 56) & 63;
}

template <int Channels> inline uint32_t LoadPixel(const unsigned char* at) {
    if constexpr (Channels == 4) return Qoi::Load32(at);
    else return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 | static_cast<uint32_t>(at[2]) << 16 | opaqueBlack;
}

// Reading four bytes for a three-byte pixel is cheaper than three single bytes, but only
// allowed where a fourth byte follows, i.e. not for the last pixel.
template <int Channels> inline uint32_t LoadInnerPixel(const unsigned char* at) {
    if constexpr (Channels == 4) return Qoi::Load32(at);
    else return Qoi::Load32(at) | opaqueBlack;
}

inline unsigned char* WriteRun(unsigned char* __restrict out, size_t run) {
    for (; run >= maximumRun; run -= maximumRun) *out++ = opRun | (maximumRun - 1);
    if (run > 0) *out++ = static_cast<unsigned char>(opRun | (run - 1));
    return out;
}

// Codes a pixel that differs from the previous one, with the first of these that fits: the
// index of recently seen pixels, a small difference, a luma difference, the full colour.
inline unsigned char* WriteChange(unsigned char* __restrict out, uint32_t pixel, uint32_t previous, uint32_t* __restrict index) {
    const unsigned position = IndexPosition(pixel);
    if (index[position] == pixel) {
        *out = static_cast<unsigned char>(opIndex | position);
        return out + 1;
    }
    index[position] = pixel;
    if ((pixel ^ previous) >> 24) { // alpha changed
        *out = opRgba;
        Qoi::Store32(out + 1, pixel);
        return out + 5;
    }
    const auto vr = static_cast<int8_t>(pixel - previous);
    const auto vg = static_cast<int8_t>((pixel >> 8) - (previous >> 8));
    const auto vb = static_cast<int8_t>((pixel >> 16) - (previous >> 16));
    if (static_cast<unsigned>(vr + 2) < 4 && static_cast<unsigned>(vg + 2) < 4 && static_cast<unsigned>(vb + 2) < 4) {
        *out = static_cast<unsigned char>(opDiff | (vr + 2) << 4 | (vg + 2) << 2 | (vb + 2));
        return out + 1;
    }
    const auto vgr = static_cast<int8_t>(vr - vg);
    const auto vgb = static_cast<int8_t>(vb - vg);
    if (static_cast<unsigned>(vg + 32) < 64 && static_cast<unsigned>(vgr + 8) < 16 && static_cast<unsigned>(vgb + 8) < 16) {
        out[0] = static_cast<unsigned char>(opLuma | (vg + 32));
        out[1] = static_cast<unsigned char>((vgr + 8) << 4 | (vgb + 8));
        return out + 2;
    }
    Qoi::Store32(out, pixel << 8 | opRgb); // 0xFE, r, g, b
    return out + 4;
}

template <int Channels> unsigned char* EncodeChunks(const unsigned char* __restrict in, size_t count, unsigned char* __restrict out) {
    uint32_t index[64] = {};
    uint32_t previous = opaqueBlack;
    size_t run = 0;
    // All pixels but the last may be loaded with a word read.
    const size_t inner = Channels == 4 ? count : count - 1;
    size_t i = 0;
    while (i < inner) {
        const uint32_t pixel = LoadInnerPixel<Channels>(in + i * Channels);
        if (pixel == previous) {
            // Measure the whole run at once; it is written when it ends.
            do {
                ++run;
                ++i;
            } while (i < inner && LoadInnerPixel<Channels>(in + i * Channels) == previous);
            continue;
        }
        if (run > 0) {
            out = WriteRun(out, run);
            run = 0;
        }
        out = WriteChange(out, pixel, previous, index);
        previous = pixel;
        ++i;
    }
    if (inner < count) {
        const uint32_t pixel = LoadPixel<Channels>(in + inner * Channels);
        if (pixel == previous) {
            ++run;
        } else {
            out = WriteRun(out, run);
            run = 0;
            out = WriteChange(out, pixel, previous, index);
        }
    }
    return WriteRun(out, run);
}

template <int Channels> inline void StorePixel(unsigned char* at, uint32_t pixel) {
    // Four bytes are stored even for three channels; the next pixel (or the block's spare
    // bytes) overwrites the fourth.
    Qoi::Store32(at, pixel);
}

// Adds the three signed byte differences packed in delta to r, g and b, each modulo 256,
// keeping alpha: lane-wise addition without carries between the bytes.
inline uint32_t AddToColour(uint32_t pixel, uint32_t delta) {
    const uint32_t sum = (pixel & 0x007F7F7F) + (delta & 0x007F7F7F);
    return (sum ^ ((pixel ^ delta) & 0x00808080)) | (pixel & 0xFF000000);
}

inline uint32_t PackDelta(int dr, int dg, int db) {
    return (static_cast<uint32_t>(dr) & 0xFF) | (static_cast<uint32_t>(dg) & 0xFF) << 8 | (static_cast<uint32_t>(db) & 0xFF) << 16;
}

template <int Channels>
void DecodeChunks(const unsigned char* __restrict in, const unsigned char* chunksEnd, unsigned char* __restrict out, size_t count) {
    uint32_t index[64] = {};
    uint32_t pixel = opaqueBlack;
    size_t i = 0;
    while (i < count) {
        if (in >= chunksEnd) {
            // The stream ended early: the remaining pixels repeat the last one.
            for (; i < count; ++i) StorePixel<Channels>(out + i * Channels, pixel);
            return;
        }
        const unsigned op = *in++;
        if (op < opDiff) {
            pixel = index[op];
        } else if (op < opLuma) {
            pixel = AddToColour(pixel, PackDelta((op >> 4 & 3) - 2, (op >> 2 & 3) - 2, (op & 3) - 2));
        } else if (op < opRun) {
            const int vg = static_cast<int>(op & 0x3F) - 32;
            const unsigned second = *in++;
            pixel = AddToColour(pixel, PackDelta(vg - 8 + static_cast<int>(second >> 4), vg, vg - 8 + static_cast<int>(second & 0x0F)));
        } else if (op < opRgb) {
            index[IndexPosition(pixel)] = pixel;
            const size_t run = (op & 0x3F) + 1;
            const size_t end = run < count - i ? i + run : count;
            for (; i < end; ++i) StorePixel<Channels>(out + i * Channels, pixel);
            continue;
        } else if (op == opRgb) {
            pixel = (Qoi::Load32(in) & 0x00FFFFFF) | (pixel & 0xFF000000);
            in += 3;
        } else {
            pixel = Qoi::Load32(in);
            in += 4;
        }
        index[IndexPosition(pixel)] = pixel;
        StorePixel<Channels>(out + i * Channels, pixel);
        ++i;
    }
}

} // namespace

void* qoi_colour_encode(const void* pixels, const qoi_desc* desc, int* outLength) {
    if (pixels == nullptr || desc == nullptr || outLength == nullptr || desc->width == 0 || desc->height == 0 ||
        (desc->channels != 3 && desc->channels != 4) || desc->colorspace > 1 || Qoi::IsTooLarge(desc->width, desc->height))
        return nullptr;

    const size_t count = static_cast<size_t>(desc->width) * desc->height;
    // No chunk is longer than its pixel plus one byte.
    auto* stream = static_cast<unsigned char*>(std::malloc(count * (desc->channels + 1) + Qoi::headerSize + Qoi::endMarkerSize));
    if (stream == nullptr) return nullptr;
    Qoi::WriteHeader(stream, *desc);

    const auto* in = static_cast<const unsigned char*>(pixels);
    unsigned char* end = desc->channels == 4 ? EncodeChunks<4>(in, count, stream + Qoi::headerSize)
                                             : EncodeChunks<3>(in, count, stream + Qoi::headerSize);
    Qoi::WriteEndMarker(end);
    const size_t length = static_cast<size_t>(end - stream) + Qoi::endMarkerSize;
    if (length > INT_MAX) { // only a near-limit image of incompressible RGBA gets here
        std::free(stream);
        return nullptr;
    }
    *outLength = static_cast<int>(length);
    return stream;
}

void* qoi_colour_decode(const void* data, int size, qoi_desc* desc, int channels) {
    if (data == nullptr || desc == nullptr || (channels != 0 && channels != 3 && channels != 4) ||
        size < Qoi::headerSize + Qoi::endMarkerSize)
        return nullptr;
    const auto* bytes = static_cast<const unsigned char*>(data);
    if (!Qoi::ReadHeader(bytes, *desc) || (desc->channels != 3 && desc->channels != 4)) return nullptr;
    if (channels == 0) channels = desc->channels;

    const size_t count = static_cast<size_t>(desc->width) * desc->height;
    // One spare byte lets every pixel be stored as a whole word, the last one included.
    auto* pixels = static_cast<unsigned char*>(std::malloc(count * channels + 1));
    if (pixels == nullptr) return nullptr;

    // An operation starts before the end marker and reads at most five bytes, so it never
    // leaves the stream.
    const unsigned char* chunks = bytes + Qoi::headerSize;
    const unsigned char* chunksEnd = bytes + size - Qoi::endMarkerSize;
    if (channels == 4) DecodeChunks<4>(chunks, chunksEnd, pixels, count);
    else DecodeChunks<3>(chunks, chunksEnd, pixels, count);
    return pixels;
}

} // namespace Vireo
