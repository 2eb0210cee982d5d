// The colour variant of the QOI stream: the standard QOI chunks for 3- and 4-channel pixels.
//
// The encoder's output is byte for byte that of every conforming QOI encoder, and the decoder
// reads any stream the way the QOI reference reader does, including streams that end early
// (the remaining pixels repeat the last one). The encoder works on pixels packed into one
// 32-bit word, r in the lowest byte and a in the highest, so that a comparison is one
// operation; the decoder on pixels spread into 16-bit lanes, where arithmetic is cheaper.
#include <Vireo/QoiCodec.h>

#include <array>
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

// A pixel spread into 16-bit lanes, r at bit 0, b at 16, g at 32 and a at 48. Lane-wise
// sums of bytes cannot carry into the next lane, so adding differences to all channels is
// one addition and one mask, and the index position is one multiplication.
constexpr uint64_t laneMask = 0x00FF00FF00FF00FFull;
constexpr uint64_t alphaLane = 0x00FF000000000000ull;

constexpr uint64_t Lanes(unsigned r, unsigned g, unsigned b, unsigned a) {
    return (r & 0xFF) | static_cast<uint64_t>(b & 0xFF) << 16 | static_cast<uint64_t>(g & 0xFF) << 32 |
           static_cast<uint64_t>(a & 0xFF) << 48;
}
inline uint64_t Spread(uint32_t pixel) { return (pixel & 0x00FF00FFull) | static_cast<uint64_t>(pixel & 0xFF00FF00u) << 24; }
inline uint32_t Pack(uint64_t spread) { return static_cast<uint32_t>(spread | spread >> 24); }

// (r * 3 + g * 5 + b * 7 + a * 11) mod 64: the multiplier's four factors meet the four lanes
// in the top byte; the partial products below it stay under bit 54 and never carry in.
inline unsigned IndexPosition(uint64_t spread) { return static_cast<unsigned>((spread * 0x0300070005000B00ull) >> 56) & 63; }
inline unsigned IndexPosition(uint32_t pixel) { return IndexPosition(Spread(pixel)); }

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
// On camera frames the choice is close to random from pixel to pixel, so every candidate is
// computed and the choice is made by selection rather than by branches; one 8-byte store
// writes whichever it is (the stream always has room: at least the end marker's 8 bytes are
// still to come).
inline unsigned char* WriteChange(unsigned char* __restrict out, uint32_t pixel, uint32_t previous, uint32_t* __restrict index) {
    const unsigned position = IndexPosition(pixel);
    const bool inIndex = index[position] == pixel;
    index[position] = pixel;

    const auto vr = static_cast<int8_t>(pixel - previous);
    const auto vg = static_cast<int8_t>((pixel >> 8) - (previous >> 8));
    const auto vb = static_cast<int8_t>((pixel >> 16) - (previous >> 16));
    const auto vgr = static_cast<int8_t>(vr - vg);
    const auto vgb = static_cast<int8_t>(vb - vg);
    const bool sameAlpha = (pixel ^ previous) < 0x01000000;
    const bool small = (static_cast<unsigned>(vr + 2) | static_cast<unsigned>(vg + 2) | static_cast<unsigned>(vb + 2)) < 4;
    const bool luma = static_cast<unsigned>(vg + 32) < 64 && (static_cast<unsigned>(vgr + 8) | static_cast<unsigned>(vgb + 8)) < 16;

    uint64_t code = opRgba | static_cast<uint64_t>(pixel) << 8;
    size_t length = 5;
    if (sameAlpha) {
        code = opRgb | static_cast<uint64_t>(pixel & 0x00FFFFFF) << 8;
        length = 4;
    }
    if (sameAlpha && luma) {
        code = (opLuma | (vg + 32)) | ((vgr + 8) << 4 | (vgb + 8)) << 8;
        length = 2;
    }
    if (sameAlpha && small) {
        code = opDiff | (vr + 2) << 4 | (vg + 2) << 2 | (vb + 2);
        length = 1;
    }
    if (inIndex) {
        code = opIndex | position;
        length = 1;
    }
    Qoi::Store64(out, code);
    return out + length;
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

// What the first byte of an operation adds to each lane: the differences of QOI_OP_DIFF, the
// green difference of QOI_OP_LUMA (with the -8 bias of its red and blue parts); nothing for
// the other kinds.
constexpr auto firstByteDeltas = [] {
    std::array<uint64_t, 256> deltas{};
    for (unsigned op = opDiff; op < opLuma; ++op) deltas[op] = Lanes((op >> 4 & 3) - 2, (op >> 2 & 3) - 2, (op & 3) - 2, 0);
    for (unsigned op = opLuma; op < opRun; ++op) {
        const unsigned green = (op & 0x3F) - 32;
        deltas[op] = Lanes(green - 8, green, green - 8, 0);
    }
    return deltas;
}();
// What the second byte of QOI_OP_LUMA adds to red and blue on top of the green difference.
constexpr auto secondByteDeltas = [] {
    std::array<uint64_t, 256> deltas{};
    for (unsigned byte = 0; byte < 256; ++byte) deltas[byte] = Lanes(byte >> 4, 0, byte & 0x0F, 0);
    return deltas;
}();

template <int Channels>
void DecodeChunks(const unsigned char* __restrict in, const unsigned char* chunksEnd, unsigned char* __restrict out, size_t count) {
    uint64_t index[64] = {};
    uint64_t pixel = Spread(opaqueBlack);
    size_t i = 0;
    // Each pixel is stored as a whole word, also for three channels: the next pixel, or the
    // block's spare byte, takes the fourth.
    while (i < count) {
        if (in >= chunksEnd) {
            // The stream ended early: the remaining pixels repeat the last one.
            for (; i < count; ++i) Qoi::Store32(out + i * Channels, Pack(pixel));
            return;
        }
        // Most frequent kinds first (QOI_OP_LUMA is three quarters of a noisy camera frame),
        // each with a fixed length: when the branch is predicted the next read does not wait
        // for this operation's byte. Selecting among all kinds without branches was slower,
        // for exactly that wait.
        const unsigned op = in[0];
        if (op - opLuma < opRun - opLuma) {
            pixel = (pixel + firstByteDeltas[op] + secondByteDeltas[in[1]]) & laneMask;
            in += 2;
        } else if (op == opRgb) {
            pixel = (Spread(Qoi::Load32(in + 1)) & ~alphaLane) | (pixel & alphaLane);
            in += 4;
        } else if (op >= opDiff && op < opLuma) {
            pixel = (pixel + firstByteDeltas[op]) & laneMask;
            ++in;
        } else if (op < opDiff) {
            pixel = index[op];
            ++in;
        } else if (op == opRgba) {
            pixel = Spread(Qoi::Load32(in + 1));
            in += 5;
        } else {
            ++in;
            index[IndexPosition(pixel)] = pixel;
            const size_t run = (op & 0x3F) + 1;
            const size_t end = run < count - i ? i + run : count;
            const uint32_t packed = Pack(pixel);
            for (; i < end; ++i) Qoi::Store32(out + i * Channels, packed);
            continue;
        }
        index[IndexPosition(pixel)] = pixel;
        Qoi::Store32(out + i * Channels, Pack(pixel));
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
