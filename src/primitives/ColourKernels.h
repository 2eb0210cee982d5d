// Per-pixel colour kernels: grey to colour and back, channel reordering, 8 <-> 16-bit range
// scaling. Each exists as a scalar reference and as a vector fast path chosen at run time;
// both write identical bytes for every input and size. None allocates; none reads or
// writes outside the ranges its sizes give. Colour pixels are interleaved, 3 or 4 channels,
// and every ChannelOrder source is below the input's channel count (a source may repeat).
// Input and output must not overlap: the fast path loads input ahead of the output it stores.
//
// The weighted grey of three channels c0, c1, c2 (in the order given) is 0.299, 0.587 and
// 0.114 in 16-bit fixed point, rounded:
//   grey = (19595 * c0 + 38470 * c1 + 7471 * c2 + 32768) >> 16
// The weights sum to 65536, so equal channels give back their value. For 16-bit samples the
// sum needs 32 bits unsigned: at most 65535 * 65536 + 32768.
#ifndef VIREO_SRC_PRIMITIVES_COLOURKERNELS_H
#define VIREO_SRC_PRIMITIVES_COLOURKERNELS_H

#include <cstddef>
#include <cstdint>

namespace Vireo::Primitives {

// Which input channel becomes output channel 0, 1 and 2.
struct ChannelOrder {
    uint8_t source[3];
};

namespace Scalar {
// Grey replicated into channels 0-2; channel 3 (if any) is the fill value.
void GreyToColour(const uint8_t* grey, uint8_t* colour, unsigned channels, uint8_t fill, size_t pixels) noexcept;
void GreyToColour(const uint16_t* grey, uint16_t* colour, unsigned channels, uint16_t fill, size_t pixels) noexcept;
// The weighted grey of c0..c2 = colour[pixel * channels + order.source[0..2]].
void ColourToGrey(const uint8_t* colour, unsigned channels, ChannelOrder order, uint8_t* grey, size_t pixels) noexcept;
void ColourToGrey(const uint16_t* colour, unsigned channels, ChannelOrder order, uint16_t* grey, size_t pixels) noexcept;
// out[p * outChannels + k] = in[p * inChannels + order.source[k]] for k < 3; output
// channel 3 (if any) is the fill value.
void SwapChannels(const uint8_t* in, unsigned inChannels, uint8_t* out, unsigned outChannels, ChannelOrder order,
                  uint8_t fill, size_t pixels) noexcept;
void SwapChannels(const uint16_t* in, unsigned inChannels, uint16_t* out, unsigned outChannels, ChannelOrder order,
                  uint16_t fill, size_t pixels) noexcept;
// Full range, rounded: out = (in + 128) / 257, which is round(in * 255 / 65535).
void Scale16To8(const uint16_t* in, uint8_t* out, size_t samples) noexcept;
// Full range: out = in * 257.
void Scale8To16(const uint8_t* in, uint16_t* out, size_t samples) noexcept;
// out = uint8_t(in >> shift), shift 0-8: the top bits of a 10- or 12-bit container.
void Shift16To8(const uint16_t* in, uint8_t* out, unsigned shift, size_t samples) noexcept;
} // namespace Scalar

namespace Fast {
// Grey replicated into channels 0-2; channel 3 (if any) is the fill value.
void GreyToColour(const uint8_t* grey, uint8_t* colour, unsigned channels, uint8_t fill, size_t pixels) noexcept;
void GreyToColour(const uint16_t* grey, uint16_t* colour, unsigned channels, uint16_t fill, size_t pixels) noexcept;
// The weighted grey of c0..c2 = colour[pixel * channels + order.source[0..2]].
void ColourToGrey(const uint8_t* colour, unsigned channels, ChannelOrder order, uint8_t* grey, size_t pixels) noexcept;
void ColourToGrey(const uint16_t* colour, unsigned channels, ChannelOrder order, uint16_t* grey, size_t pixels) noexcept;
// out[p * outChannels + k] = in[p * inChannels + order.source[k]] for k < 3; output
// channel 3 (if any) is the fill value.
void SwapChannels(const uint8_t* in, unsigned inChannels, uint8_t* out, unsigned outChannels, ChannelOrder order,
                  uint8_t fill, size_t pixels) noexcept;
void SwapChannels(const uint16_t* in, unsigned inChannels, uint16_t* out, unsigned outChannels, ChannelOrder order,
                  uint16_t fill, size_t pixels) noexcept;
// Full range, rounded: out = (in + 128) / 257, which is round(in * 255 / 65535).
void Scale16To8(const uint16_t* in, uint8_t* out, size_t samples) noexcept;
// Full range: out = in * 257.
void Scale8To16(const uint8_t* in, uint16_t* out, size_t samples) noexcept;
// out = uint8_t(in >> shift), shift 0-8: the top bits of a 10- or 12-bit container.
void Shift16To8(const uint16_t* in, uint8_t* out, unsigned shift, size_t samples) noexcept;
// The instruction set the fast path runs with in this process ("AVX2", "SSE4", ...).
const char* ColourTargetName() noexcept;
} // namespace Fast

} // namespace Vireo::Primitives

#endif
