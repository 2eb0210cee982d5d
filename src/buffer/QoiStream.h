// What the colour and grey QOI variants share: the header, the end marker, the size limit,
// and unaligned memory access for the coding loops.
#ifndef VIREO_SRC_BUFFER_QOISTREAM_H
#define VIREO_SRC_BUFFER_QOISTREAM_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <Vireo/QoiCodec.h>

namespace Vireo::Qoi {

constexpr int headerSize = 14;
constexpr int endMarkerSize = 8;
constexpr unsigned char endMarker[endMarkerSize] = {0, 0, 0, 0, 0, 0, 0, 1};
constexpr unsigned int magic = 0x716F6966; // "qoif"
// With at most five bytes per pixel a stream below this many pixels stays within an int.
constexpr uint32_t maximumPixels = 400000000;

// The size test both variants apply. Written as a division so that it cannot overflow; it
// also refuses a few images just below the limit (3 x 133333333), as every QOI reader does.
inline bool IsTooLarge(uint32_t width, uint32_t height) { return height >= maximumPixels / width; }

inline void WriteHeader(unsigned char* stream, const qoi_desc& desc) {
    int position = 0;
    qoi_write_32(stream, &position, magic);
    qoi_write_32(stream, &position, desc.width);
    qoi_write_32(stream, &position, desc.height);
    stream[position++] = desc.channels;
    stream[position++] = desc.colorspace;
}

// Fills desc from the header of a stream of at least headerSize bytes and checks what both
// variants check; the number of channels is left to the caller.
inline bool ReadHeader(const unsigned char* stream, qoi_desc& desc) {
    int position = 0;
    const unsigned int streamMagic = qoi_read_32(stream, &position);
    desc.width = qoi_read_32(stream, &position);
    desc.height = qoi_read_32(stream, &position);
    desc.channels = stream[position++];
    desc.colorspace = stream[position++];
    return streamMagic == magic && desc.width != 0 && desc.height != 0 && desc.colorspace <= 1 &&
           !IsTooLarge(desc.width, desc.height);
}

inline void WriteEndMarker(unsigned char* at) { std::memcpy(at, endMarker, endMarkerSize); }

// Unaligned native-order access; compilers turn these into single moves.
inline uint32_t Load32(const unsigned char* at) {
    uint32_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}
inline void Store32(unsigned char* at, uint32_t value) { std::memcpy(at, &value, sizeof value); }
inline void Store64(unsigned char* at, uint64_t value) { std::memcpy(at, &value, sizeof value); }

} // namespace Vireo::Qoi

#endif
