// The single-channel ("grey") variant of the QOI stream, for mono and Bayer frames.
//
// Each chunk is a tag byte, kind in the top two bits and n in the low six, and its payload:
//   11 run         n+1 copies of the previous pixel, no payload
//   10 literal     n+1 pixel bytes
//   01 difference  n+1 bytes, each two pixels: previous + (high nibble - 8), then that pixel
//                  + (low nibble - 8), both modulo 256
//   00 skip        one output position passed over, no payload
// The previous pixel starts at 0. The encoder writes at most 62 entries per chunk and never
// writes skips; the decoder accepts what any writer of the format may produce.
#include <Vireo/QoiCodec.h>

#include <cstdlib>
#include <cstring>

#include "QoiStream.h"

namespace Vireo {
namespace {

enum ChunkKind : unsigned char { skipChunk = 0x00, differenceChunk = 0x40, literalChunk = 0x80, runChunk = 0xC0 };
constexpr int maximumEntries = 62;

inline bool IsSmallStep(int from, int to) { return static_cast<unsigned>(to - from + 8) < 16; }

// How pixel i continues from the previous pixel: repeat it, start a pair of small steps, or
// stand on its own. A pair needs a next pixel, so the last pixel is never a pair.
inline ChunkKind Classify(const unsigned char* pixels, size_t i, size_t count, int previous) {
    const int current = pixels[i];
    if (current == previous) return runChunk;
    if (i + 1 < count && IsSmallStep(previous, current) && IsSmallStep(current, pixels[i + 1])) return differenceChunk;
    return literalChunk;
}

} // namespace

void* qoi_grey_encode(const void* pixels, const qoi_desc* desc, int* outLength) {
    if (pixels == nullptr || desc == nullptr || outLength == nullptr || desc->width == 0 || desc->height == 0 ||
        desc->channels != 1 || desc->colorspace > 1 || Qoi::IsTooLarge(desc->width, desc->height))
        return nullptr;

    const size_t count = static_cast<size_t>(desc->width) * desc->height;
    // Two bytes per pixel covers the worst case: a one-pixel literal chunk (two bytes) can
    // only follow a chunk of another kind, which costs at most one byte per pixel.
    auto* stream = static_cast<unsigned char*>(std::malloc(count * 2 + Qoi::headerSize + Qoi::endMarkerSize));
    if (stream == nullptr) return nullptr;
    Qoi::WriteHeader(stream, *desc);

    const auto* __restrict in = static_cast<const unsigned char*>(pixels);
    unsigned char* __restrict out = stream + Qoi::headerSize;

    // The first chunk is a literal that opens with the first pixel.
    ChunkKind kind = literalChunk;
    unsigned char* tag = out++;
    *out++ = in[0];
    int previous = in[0];
    int entries = 1;
    size_t i = 1;
    for (;;) {
        // Extend the open chunk while the pixels keep its kind; each loop tests only what
        // its kind needs.
        switch (kind) {
        case runChunk:
            while (entries < maximumEntries && i < count && in[i] == previous) {
                ++i;
                ++entries;
            }
            break;
        case literalChunk:
            while (entries < maximumEntries && i < count && Classify(in, i, count, previous) == literalChunk) {
                previous = in[i++];
                *out++ = static_cast<unsigned char>(previous);
                ++entries;
            }
            break;
        case differenceChunk:
            while (entries < maximumEntries && i < count && Classify(in, i, count, previous) == differenceChunk) {
                const int first = in[i], second = in[i + 1];
                *out++ = static_cast<unsigned char>((first - previous + 8) << 4 | (second - first + 8));
                previous = second;
                i += 2;
                ++entries;
            }
            break;
        case skipChunk:
            break;
        }
        *tag = static_cast<unsigned char>(kind | (entries - 1));
        if (i == count) break;
        kind = Classify(in, i, count, previous);
        tag = out++;
        entries = 0;
    }

    Qoi::WriteEndMarker(out);
    out += Qoi::endMarkerSize;
    *outLength = static_cast<int>(out - stream);
    return stream;
}

void* qoi_grey_decode(const void* data, int size, qoi_desc* desc, int channels) {
    if (data == nullptr || desc == nullptr || channels > 1 || size < Qoi::headerSize + Qoi::endMarkerSize)
        return nullptr;
    const auto* bytes = static_cast<const unsigned char*>(data);
    if (!Qoi::ReadHeader(bytes, *desc) || desc->channels != 1) return nullptr;

    const size_t total = static_cast<size_t>(desc->width) * desc->height;
    // Not cleared: a skip chunk leaves its byte as it is.
    auto* pixels = static_cast<unsigned char*>(std::malloc(total));
    if (pixels == nullptr) return nullptr;

    const unsigned char* __restrict in = bytes + Qoi::headerSize;
    const unsigned char* const chunksEnd = bytes + size - Qoi::endMarkerSize;
    unsigned char* __restrict out = pixels;
    size_t produced = 0;
    int previous = 0;
    while (in < chunksEnd) {
        const unsigned tag = *in++;
        const size_t n = (tag & 0x3F) + 1;
        switch (tag & 0xC0) {
        case runChunk: {
            const size_t fitting = n < total - produced ? n : total - produced;
            std::memset(out + produced, previous, fitting);
            produced += n;
            break;
        }
        case literalChunk: {
            if (n > static_cast<size_t>(chunksEnd - in)) goto truncated;
            const size_t fitting = n < total - produced ? n : total - produced;
            std::memcpy(out + produced, in, fitting);
            previous = in[n - 1];
            in += n;
            produced += n;
            break;
        }
        case differenceChunk: {
            if (n > static_cast<size_t>(chunksEnd - in)) goto truncated;
            if (2 * n <= total - produced) {
                unsigned char* __restrict at = out + produced;
                for (size_t k = 0; k < n; ++k) {
                    const int first = previous + (in[k] >> 4) - 8;
                    previous = first + (in[k] & 0x0F) - 8;
                    at[2 * k] = static_cast<unsigned char>(first);
                    at[2 * k + 1] = static_cast<unsigned char>(previous);
                }
            } else {
                // The chunk overshoots the image: keep what fits.
                for (size_t k = 0; k < n; ++k) {
                    const int first = previous + (in[k] >> 4) - 8;
                    previous = first + (in[k] & 0x0F) - 8;
                    if (produced + 2 * k < total) out[produced + 2 * k] = static_cast<unsigned char>(first);
                    if (produced + 2 * k + 1 < total) out[produced + 2 * k + 1] = static_cast<unsigned char>(previous);
                }
            }
            previous &= 0xFF;
            in += n;
            produced += 2 * n;
            break;
        }
        default: // skip
            ++produced;
            break;
        }
        if (produced >= total) return pixels;
    }
truncated:
    std::free(pixels);
    return nullptr;
}

} // namespace Vireo
