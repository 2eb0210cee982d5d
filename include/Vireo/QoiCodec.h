// The QOI codec of compressed camera frames.
//
// A stream is a 14-byte header ("qoif", width, height, channels, colour space; numbers
// big-endian), the chunks, and an end marker of seven 0x00 bytes and one 0x01. Three- and
// four-channel pixels use the standard QOI colour chunks, so that any QOI tool reads them;
// single-channel pixels (mono and Bayer frames) use the SDK's own grey chunks under the same
// header, which code one byte per pixel instead of expanding it to RGB first.
//
// Every function reports failure by a null result and never throws. Blocks returned are
// allocated with malloc; the caller releases them with free.
#ifndef VIREO_QOICODEC_H
#define VIREO_QOICODEC_H

#include <cstdint>

#include <Vireo/Config.h>

namespace Vireo {

// Describes the pixels given to an encoder, or the stream read by a decoder.
struct qoi_desc {
    uint32_t width;
    uint32_t height;
    uint8_t channels;   // 1, 3 or 4
    uint8_t colorspace; // 0 or 1; carried through the stream, never interpreted
};

// Encodes width x height pixels of desc->channels interleaved bytes each. Channels 3 and 4
// give a colour stream, anything else is left to the grey encoder (which accepts only 1).
// On success *outLength is the stream length including header and end marker.
VIREO_API void* qoi_encode(const void* pixels, const qoi_desc* desc, int* outLength);

// Decodes a colour or grey stream of size bytes and fills *desc from its header. channels is
// the number of channels wanted per output pixel: 0 (as stored), 3 or 4 for colour streams,
// 0 or 1 for grey streams.
VIREO_API void* qoi_decode(const void* data, int size, qoi_desc* desc, int channels);

// The two variants on their own. Images of width * height at or above 400 000 000 pixels
// (tested as height >= 400000000 / width) are refused.
VIREO_API void* qoi_colour_encode(const void* pixels, const qoi_desc* desc, int* outLength);
VIREO_API void* qoi_colour_decode(const void* data, int size, qoi_desc* desc, int channels);
VIREO_API void* qoi_grey_encode(const void* pixels, const qoi_desc* desc, int* outLength);
// A grey stream may pass over output bytes without writing them (the "skip" chunk); those
// bytes of the returned block are left as malloc gave them.
VIREO_API void* qoi_grey_decode(const void* data, int size, qoi_desc* desc, int channels);

// Write or read one big-endian 32-bit number at bytes + *position and advance *position by 4.
VIREO_API void qoi_write_32(unsigned char* bytes, int* position, unsigned int value);
VIREO_API unsigned int qoi_read_32(const unsigned char* bytes, int* position);

} // namespace Vireo

#endif
