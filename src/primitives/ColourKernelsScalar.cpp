// The scalar reference of the colour kernels, and the fast path's finish for the pixels
// that do not fill a vector. One template per kernel serves both sample sizes.
#include "ColourKernels.h"

namespace Vireo::Primitives {

namespace {

template <class Sample>
void GreyToColourOf(const Sample* grey, Sample* colour, unsigned channels, Sample fill, size_t pixels) {
    for (size_t p = 0; p < pixels; ++p, colour += channels) {
        colour[0] = colour[1] = colour[2] = grey[p];
        if (channels == 4) colour[3] = fill;
    }
}

// Unsigned 32-bit arithmetic throughout: 38470 * 65535 does not fit an int, and the largest
// sum, 65535 * 65536 + 32768, still fits 32 bits unsigned.
template <class Sample>
Sample WeightedGrey(Sample c0, Sample c1, Sample c2) {
    const uint32_t sum = 19595u * c0 + 38470u * c1 + 7471u * c2 + 32768u;
    return static_cast<Sample>(sum >> 16);
}

template <class Sample>
void ColourToGreyOf(const Sample* colour, unsigned channels, ChannelOrder order, Sample* grey, size_t pixels) {
    for (size_t p = 0; p < pixels; ++p, colour += channels)
        grey[p] = WeightedGrey(colour[order.source[0]], colour[order.source[1]], colour[order.source[2]]);
}

template <class Sample>
void SwapChannelsOf(const Sample* in, unsigned inChannels, Sample* out, unsigned outChannels, ChannelOrder order,
                    Sample fill, size_t pixels) {
    for (size_t p = 0; p < pixels; ++p, in += inChannels, out += outChannels) {
        for (unsigned k = 0; k < 3; ++k) out[k] = in[order.source[k]];
        if (outChannels == 4) out[3] = fill;
    }
}

} // namespace

namespace Scalar {

void GreyToColour(const uint8_t* grey, uint8_t* colour, unsigned channels, uint8_t fill, size_t pixels) noexcept {
    GreyToColourOf(grey, colour, channels, fill, pixels);
}

void GreyToColour(const uint16_t* grey, uint16_t* colour, unsigned channels, uint16_t fill, size_t pixels) noexcept {
    GreyToColourOf(grey, colour, channels, fill, pixels);
}

void ColourToGrey(const uint8_t* colour, unsigned channels, ChannelOrder order, uint8_t* grey, size_t pixels) noexcept {
    ColourToGreyOf(colour, channels, order, grey, pixels);
}

void ColourToGrey(const uint16_t* colour, unsigned channels, ChannelOrder order, uint16_t* grey,
                  size_t pixels) noexcept {
    ColourToGreyOf(colour, channels, order, grey, pixels);
}

void SwapChannels(const uint8_t* in, unsigned inChannels, uint8_t* out, unsigned outChannels, ChannelOrder order,
                  uint8_t fill, size_t pixels) noexcept {
    SwapChannelsOf(in, inChannels, out, outChannels, order, fill, pixels);
}

void SwapChannels(const uint16_t* in, unsigned inChannels, uint16_t* out, unsigned outChannels, ChannelOrder order,
                  uint16_t fill, size_t pixels) noexcept {
    SwapChannelsOf(in, inChannels, out, outChannels, order, fill, pixels);
}

void Scale16To8(const uint16_t* in, uint8_t* out, size_t samples) noexcept {
    for (size_t i = 0; i < samples; ++i) out[i] = static_cast<uint8_t>((in[i] + 128u) / 257u);
}

void Scale8To16(const uint8_t* in, uint16_t* out, size_t samples) noexcept {
    for (size_t i = 0; i < samples; ++i) out[i] = static_cast<uint16_t>(in[i] * 257u);
}

void Shift16To8(const uint16_t* in, uint8_t* out, unsigned shift, size_t samples) noexcept {
    for (size_t i = 0; i < samples; ++i) out[i] = static_cast<uint8_t>(in[i] >> shift);
}

} // namespace Scalar

} // namespace Vireo::Primitives
