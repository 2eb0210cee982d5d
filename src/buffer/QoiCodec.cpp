// Entry points that pick the colour or grey variant, and the header's number format.
#include <Vireo/QoiCodec.h>

namespace Vireo {

void* qoi_encode(const void* pixels, const qoi_desc* desc, int* outLength) {
    if (desc != nullptr && (desc->channels == 3 || desc->channels == 4))
        return qoi_colour_encode(pixels, desc, outLength);
    return qoi_grey_encode(pixels, desc, outLength);
}

void* qoi_decode(const void* data, int size, qoi_desc* desc, int channels) {
    // The colour decoder refuses grey headers, so a stream is never read by the wrong one.
    if (void* pixels = qoi_colour_decode(data, size, desc, channels)) return pixels;
    return qoi_grey_decode(data, size, desc, channels);
}

void qoi_write_32(unsigned char* bytes, int* position, unsigned int value) {
    unsigned char* at = bytes + *position;
    at[0] = static_cast<unsigned char>(value >> 24);
    at[1] = static_cast<unsigned char>(value >> 16);
    at[2] = static_cast<unsigned char>(value >> 8);
    at[3] = static_cast<unsigned char>(value);
    *position += 4;
}

unsigned int qoi_read_32(const unsigned char* bytes, int* position) {
    const unsigned char* at = bytes + *position;
    *position += 4;
    return static_cast<unsigned int>(at[0]) << 24 | static_cast<unsigned int>(at[1]) << 16 |
           static_cast<unsigned int>(at[2]) << 8 | at[3];
}

} // namespace Vireo
