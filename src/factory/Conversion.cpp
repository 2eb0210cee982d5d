// Pixel-format conversion. Conversions without a direct routine pass through one hub format,
// BGRa8: a "from" stage expands the source into it, a "to" stage reduces it into the target.
// Direct routines keep the full depth of mono formats beyond 8 bits.
#include <Vireo/ImageFactory.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include <Vireo/Image.h>
#include <Vireo/PixelFormat.h>

#include "../transport/Errors.h"
#include "FactoryChecks.h"
#include "FactoryState.h"
#include "SampleBlocks.h"

namespace Vireo {

std::mutex g_ippMutex;
uint8_t g_ippInit = 0;

namespace ImageFactory {
namespace {

constexpr const char* kUnit = "ImageFactory";
using F = PfncFormat;

[[noreturn]] void Fail(const std::string& message) { VIREO_THROW_PLAIN(Runtime, message, kUnit, "Convert"); }

std::string NameOf(uint64_t format) { return GetPixelFormatName(format); }

// --- the hub ------------------------------------------------------------------------------

// Grey into B, G and R; alpha 0.
void GreyToHub(const uint8_t* grey, uint8_t* hub, size_t pixels) {
    for (size_t index = 0; index < pixels; ++index) {
        hub[4 * index] = hub[4 * index + 1] = hub[4 * index + 2] = grey[index];
        hub[4 * index + 3] = 0;
    }
}

// Every sample of a mono layout reduced to its top 8 bits (24-bit samples too).
void MonoToGrey(const SampleLayout& layout, const uint8_t* source, uint8_t* grey) {
    uint32_t values[kSampleBlock];
    const unsigned shift = layout.bits - 8;
    for (size_t first = 0; first < layout.samples; first += kSampleBlock) {
        const size_t count = std::min(kSampleBlock, layout.samples - first);
        LoadSamples(layout, source, first, count, values);
        for (size_t index = 0; index < count; ++index) grey[first + index] = uint8_t(values[index] >> shift);
    }
}

// The stored channels weighted 0.299, 0.587 and 0.114 in stored order (blue, green, red),
// rounded to the nearest value.
void HubToGrey(const uint8_t* hub, uint8_t* grey, size_t pixels) {
    for (size_t index = 0; index < pixels; ++index) {
        const uint8_t* pixel = hub + 4 * index;
        grey[index] = uint8_t((299u * pixel[0] + 587u * pixel[1] + 114u * pixel[2] + 500u) / 1000u);
    }
}

bool IsMono(uint64_t format) {
    switch (F(format)) {
    case F::Mono8: case F::Mono10: case F::Mono12: case F::Mono16: case F::Mono24: case F::Mono10p:
    case F::Mono10Packed: case F::Mono12p: case F::Mono12Packed:
        return true;
    default:
        return false;
    }
}

// The colour of position (x, y) of a Bayer mosaic: 0 red, 1 green, 2 blue. The grid code
// numbers the patterns by their first two samples: 0 BGGR, 1 RGGB, 2 GBRG, 3 GRBG.
int MosaicColour(int grid, size_t x, size_t y) {
    static const int kPatterns[4][4] = {{2, 1, 1, 0}, {0, 1, 1, 2}, {1, 2, 0, 1}, {1, 0, 2, 1}};
    return kPatterns[grid][(y % 2) * 2 + (x % 2)];
}

int GridOf(const std::string& name) {
    if (name.compare(5, 2, "BG") == 0) return 0;
    if (name.compare(5, 2, "RG") == 0) return 1;
    if (name.compare(5, 2, "GB") == 0) return 2;
    return 3;  // GR
}

// Bilinear colour-filter-array interpolation of an 8-bit mosaic into BGRa8: each missing
// colour is the mean of the nearest samples of that colour (edges mirrored).
void DemosaicBilinear(const uint8_t* mosaic, uint8_t* hub, size_t width, size_t height, int grid) {
    const auto at = [&](long x, long y) {
        x = x < 0 ? -x : (x >= long(width) ? 2 * long(width) - 2 - x : x);
        y = y < 0 ? -y : (y >= long(height) ? 2 * long(height) - 2 - y : y);
        x = std::clamp(x, 0L, long(width) - 1);
        y = std::clamp(y, 0L, long(height) - 1);
        return std::pair<int, int>{mosaic[size_t(y) * width + size_t(x)], MosaicColour(grid, size_t(x), size_t(y))};
    };
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x) {
            unsigned sums[3] = {0, 0, 0}, counts[3] = {0, 0, 0};
            const int own = MosaicColour(grid, x, y);
            for (long dy = -1; dy <= 1; ++dy)
                for (long dx = -1; dx <= 1; ++dx) {
                    const auto [value, colour] = at(long(x) + dx, long(y) + dy);
                    // Green comes from the four direct neighbours only; the centre counts alone
                    // for its own colour.
                    if (colour == own && (dx != 0 || dy != 0)) continue;
                    if (colour == 1 && dx != 0 && dy != 0) continue;
                    sums[colour] += unsigned(value);
                    ++counts[colour];
                }
            uint8_t* pixel = hub + 4 * (y * width + x);
            for (int colour = 0; colour < 3; ++colour) {
                const uint8_t value = counts[colour] == 0 ? 0 : uint8_t((sums[colour] + counts[colour] / 2) / counts[colour]);
                pixel[2 - colour] = value;  // B, G, R
            }
            pixel[3] = 0;
        }
}

// YCbCr of ITU-R BT.601 with video range (Y 16-235, chroma 16-240), in 16-bit fixed point so
// that every build gives the same bytes.
uint8_t Clamp8(int value) { return uint8_t(std::clamp(value, 0, 255)); }

void YCbCrToBgr(int y, int cb, int cr, uint8_t* bgr) {
    const int luma = 76284 * (y - 16);  // 1.164
    cb -= 128;
    cr -= 128;
    constexpr int kHalf = 1 << 15;
    bgr[0] = Clamp8((luma + 132252 * cb + kHalf) >> 16);              // 2.018
    bgr[1] = Clamp8((luma - 53281 * cr - 25625 * cb + kHalf) >> 16);  // 0.813, 0.391
    bgr[2] = Clamp8((luma + 104595 * cr + kHalf) >> 16);              // 1.596
}

void BgrToYCbCr(const uint8_t* bgr, int& y, int& cb, int& cr) {
    const int b = bgr[0], g = bgr[1], r = bgr[2];
    constexpr int kHalf = 1 << 15;
    y = std::clamp((16843 * r + 33030 * g + 6423 * b + kHalf + (16 << 16)) >> 16, 0, 255);     // .257 .504 .098
    cb = std::clamp((-9699 * r - 19071 * g + 28770 * b + kHalf + (128 << 16)) >> 16, 0, 255);  // -.148 -.291 .439
    cr = std::clamp((28770 * r - 24117 * g - 4653 * b + kHalf + (128 << 16)) >> 16, 0, 255);   // .439 -.368 -.071
}

// Byte positions of Y0, Cb, Y1 and Cr in a 4-byte pair of 4:2:2 pixels.
struct PairLayout {
    int y0, cb, y1, cr;
};

bool PairLayoutOf(uint64_t format, PairLayout& layout) {
    switch (F(format)) {
    case F::YCbCr422_8:
    case F::YUV422_8:
        layout = {0, 1, 2, 3};  // Y Cb Y Cr
        return true;
    case F::YCbCr422_8_CbYCrY:
    case F::YUV422_8_UYVY:
        layout = {1, 0, 3, 2};  // Cb Y Cr Y
        return true;
    default:
        return false;
    }
}

// Byte positions of Y, Cb and Cr in a 3-byte 4:4:4 pixel.
bool TripleLayoutOf(uint64_t format, int& y, int& cb, int& cr) {
    switch (F(format)) {
    case F::YCbCr8: y = 0, cb = 1, cr = 2; return true;         // Y Cb Cr
    case F::YCbCr8_CbYCr:
    case F::YUV8_UYV: y = 1, cb = 0, cr = 2; return true;       // Cb Y Cr (U Y V)
    default: return false;
    }
}

// 4:1:1: four pixels in six bytes, their four luma values and one Cb and one Cr.
bool QuadLayoutOf(uint64_t format, int (&luma)[4], int& cb, int& cr) {
    switch (F(format)) {
    case F::YCbCr411_8: luma[0] = 0, luma[1] = 1, cb = 2, luma[2] = 3, luma[3] = 4, cr = 5; return true;  // Y Y Cb Y Y Cr
    case F::YCbCr411_8_CbYYCrYY:
    case F::YUV411_8_UYYVYY: cb = 0, luma[0] = 1, luma[1] = 2, cr = 3, luma[2] = 4, luma[3] = 5; return true;
    default: return false;
    }
}

// Source into BGRa8; false when the source has no from stage.
bool FromStage(uint64_t format, const uint8_t* source, uint8_t* hub, size_t width, size_t height,
               _EBayerAlgorithm algorithm) {
    const size_t pixels = width * height;
    const std::string name = NameOf(format);
    if (name.rfind("Bayer", 0) == 0 && name.size() >= 8) {
        // Deeper mosaics are reduced to their top 8 bits first.
        const SampleLayout layout = SampleLayoutOf(format, width, height);
        if (layout.storage == SampleLayout::Storage::None || layout.channels != 1) return false;
        std::unique_ptr<uint8_t[]> mosaic(new uint8_t[pixels]);
        MonoToGrey(layout, source, mosaic.get());
        if (algorithm == BayerAlgorithmAHD) Fail("Pixel format conversion from " + name + " with AHD not yet implemented");
        DemosaicBilinear(mosaic.get(), hub, width, height, GridOf(name));
        return true;
    }
    if (IsMono(format)) {
        const SampleLayout layout = SampleLayoutOf(format, width, height);
        std::unique_ptr<uint8_t[]> grey;
        const uint8_t* plane = source;
        if (format != uint64_t(F::Mono8)) {
            grey.reset(new uint8_t[pixels]);
            if (format == uint64_t(F::Mono16)) {
                // Full range: 65535 becomes 255.
                for (size_t index = 0; index < pixels; ++index)
                    grey[index] = uint8_t(((source[2 * index] | source[2 * index + 1] << 8) * 255u + 32767u) / 65535u);
            } else {
                MonoToGrey(layout, source, grey.get());
            }
            plane = grey.get();
        }
        GreyToHub(plane, hub, pixels);
        return true;
    }
    const bool rgb = format == uint64_t(F::RGB8), bgr = format == uint64_t(F::BGR8);
    if (rgb || bgr) {
        for (size_t index = 0; index < pixels; ++index) {
            const uint8_t* pixel = source + 3 * index;
            hub[4 * index] = rgb ? pixel[2] : pixel[0];
            hub[4 * index + 1] = pixel[1];
            hub[4 * index + 2] = rgb ? pixel[0] : pixel[2];
            hub[4 * index + 3] = 0;
        }
        return true;
    }
    int yAt = 0, cbAt = 0, crAt = 0;
    if (TripleLayoutOf(format, yAt, cbAt, crAt)) {
        for (size_t index = 0; index < pixels; ++index) {
            const uint8_t* bytes = source + 3 * index;
            YCbCrToBgr(bytes[yAt], bytes[cbAt], bytes[crAt], hub + 4 * index);
            hub[4 * index + 3] = 0;
        }
        return true;
    }
    int lumaAt[4] = {};
    if (QuadLayoutOf(format, lumaAt, cbAt, crAt)) {
        // Whole groups of four only: a pixel count that is not a multiple of four leaves its
        // last pixels black, as the stream has no chroma for them.
        for (size_t index = 0; index + 4 <= pixels; index += 4) {
            const uint8_t* bytes = source + 6 * (index / 4);
            for (size_t pixel = 0; pixel < 4; ++pixel) {
                YCbCrToBgr(bytes[lumaAt[pixel]], bytes[cbAt], bytes[crAt], hub + 4 * (index + pixel));
                hub[4 * (index + pixel) + 3] = 0;
            }
        }
        return true;
    }
    PairLayout pair{};
    if (PairLayoutOf(format, pair)) {
        for (size_t index = 0; index < pixels; ++index) {
            const uint8_t* bytes = source + 4 * (index / 2);
            // An odd last pixel stands alone in two bytes: its luma and the chroma byte that
            // comes first; the missing chroma is taken as neutral.
            const bool alone = index + 1 == pixels && index % 2 == 0;
            const int y = bytes[index % 2 == 0 ? pair.y0 : pair.y1];
            const int cb = !alone || pair.cb < 2 ? bytes[pair.cb] : 128;
            const int cr = !alone || pair.cr < 2 ? bytes[pair.cr] : 128;
            YCbCrToBgr(y, cb, cr, hub + 4 * index);
            hub[4 * index + 3] = 0;
        }
        return true;
    }
    const bool rgb16 = format == uint64_t(F::RGB16), bgr16 = format == uint64_t(F::BGR16);
    if (rgb16 || bgr16) {
        for (size_t index = 0; index < pixels; ++index) {
            const uint8_t* pixel = source + 6 * index;
            const auto scaled = [pixel](size_t channel) {
                return uint8_t(((pixel[2 * channel] | pixel[2 * channel + 1] << 8) * 255u + 32767u) / 65535u);
            };
            hub[4 * index] = scaled(rgb16 ? 2 : 0);
            hub[4 * index + 1] = scaled(1);
            hub[4 * index + 2] = scaled(rgb16 ? 0 : 2);
            hub[4 * index + 3] = 0;
        }
        return true;
    }
    return false;
}

// BGRa8 into the target; false when the target has no to stage.
bool ToStage(uint64_t format, const uint8_t* hub, uint8_t* target, size_t width, size_t height) {
    const size_t pixels = width * height;
    if (IsMono(format)) {
        if (format == uint64_t(F::Mono8)) {
            HubToGrey(hub, target, pixels);
            return true;
        }
        std::unique_ptr<uint8_t[]> grey(new uint8_t[pixels]);
        HubToGrey(hub, grey.get(), pixels);
        if (format == uint64_t(F::Mono16)) {
            // The grey value goes into the high byte; the low byte stays as it was.
            for (size_t index = 0; index < pixels; ++index) target[2 * index + 1] = grey[index];
            return true;
        }
        // The other depths: the grey value at the top of the sample.
        const SampleLayout layout = SampleLayoutOf(format, width, height);
        uint32_t values[kSampleBlock];
        const unsigned shift = layout.bits - 8;
        for (size_t first = 0; first < layout.samples; first += kSampleBlock) {
            const size_t count = std::min(kSampleBlock, layout.samples - first);
            for (size_t index = 0; index < count; ++index) values[index] = uint32_t(grey[first + index]) << shift;
            StoreSamples(layout, target, first, count, values);
        }
        return true;
    }
    int yAt = 0, cbAt = 0, crAt = 0;
    if (TripleLayoutOf(format, yAt, cbAt, crAt)) {
        for (size_t index = 0; index < pixels; ++index) {
            int y, cb, cr;
            BgrToYCbCr(hub + 4 * index, y, cb, cr);
            uint8_t* bytes = target + 3 * index;
            bytes[yAt] = uint8_t(y);
            bytes[cbAt] = uint8_t(cb);
            bytes[crAt] = uint8_t(cr);
        }
        return true;
    }
    int lumaAt[4] = {};
    if (QuadLayoutOf(format, lumaAt, cbAt, crAt)) {
        // Four pixels share their chroma: the mean of theirs. Whole groups only.
        for (size_t index = 0; index + 4 <= pixels; index += 4) {
            uint8_t* bytes = target + 6 * (index / 4);
            int cbSum = 0, crSum = 0;
            for (size_t pixel = 0; pixel < 4; ++pixel) {
                int y, cb, cr;
                BgrToYCbCr(hub + 4 * (index + pixel), y, cb, cr);
                bytes[lumaAt[pixel]] = uint8_t(y);
                cbSum += cb;
                crSum += cr;
            }
            bytes[cbAt] = uint8_t((cbSum + 2) / 4);
            bytes[crAt] = uint8_t((crSum + 2) / 4);
        }
        return true;
    }
    PairLayout pair{};
    if (PairLayoutOf(format, pair)) {
        // Two pixels share their chroma: the mean of both pixels' chroma.
        for (size_t index = 0; index + 1 < pixels + 1; index += 2) {
            int y0, cb0, cr0, y1 = 0, cb1 = 0, cr1 = 0;
            BgrToYCbCr(hub + 4 * index, y0, cb0, cr0);
            const bool both = index + 1 < pixels;
            if (both) BgrToYCbCr(hub + 4 * (index + 1), y1, cb1, cr1);
            uint8_t* bytes = target + 2 * index;
            bytes[pair.y0] = uint8_t(y0);
            // A pair of one pixel (odd count) carries only the first two bytes.
            if (!both) {
                bytes[pair.cb < 2 ? pair.cb : pair.cr] = uint8_t(pair.cb < 2 ? cb0 : cr0);
                break;
            }
            bytes[pair.y1] = uint8_t(y1);
            bytes[pair.cb] = uint8_t((cb0 + cb1 + 1) / 2);
            bytes[pair.cr] = uint8_t((cr0 + cr1 + 1) / 2);
        }
        return true;
    }
    // Channel order of the three-channel targets; RGB24 and BGR24 share one order on purpose.
    const bool toRgb = format == uint64_t(F::RGB8) || format == uint64_t(F::RGB16) ||
                       format == uint64_t(F::RGB24) || format == uint64_t(F::BGR24);
    const bool toBgr = format == uint64_t(F::BGR8) || format == uint64_t(F::BGR16);
    if (!toRgb && !toBgr) return false;
    const size_t bytes = format == uint64_t(F::RGB8) || format == uint64_t(F::BGR8) ? 1
                         : format == uint64_t(F::RGB16) || format == uint64_t(F::BGR16) ? 2
                                                                                         : 3;
    for (size_t index = 0; index < pixels; ++index) {
        const uint8_t* pixel = hub + 4 * index;
        const uint8_t channels[3] = {toRgb ? pixel[2] : pixel[0], pixel[1], toRgb ? pixel[0] : pixel[2]};
        for (size_t channel = 0; channel < 3; ++channel) {
            uint8_t* sample = target + (3 * index + channel) * bytes;
            // Wider samples: the 8-bit value over the full range (16 bits) or at the top (24 bits).
            if (bytes == 1) {
                sample[0] = channels[channel];
            } else if (bytes == 2) {
                const uint32_t wide = uint32_t(channels[channel]) * 257u;
                sample[0] = uint8_t(wide);
                sample[1] = uint8_t(wide >> 8);
            } else {
                sample[0] = 0;
                sample[1] = 0;
                sample[2] = channels[channel];
            }
        }
    }
    return true;
}

// --- direct routines ----------------------------------------------------------------------

// Mono formats beyond 8 bits convert among themselves through 16-bit, most significant bit
// aligned values, without losing depth.
bool MonoShortcut(uint64_t from, uint64_t to, const uint8_t* source, uint8_t* target, size_t width, size_t height) {
    static const uint64_t kDeep[] = {uint64_t(F::Mono10), uint64_t(F::Mono10p), uint64_t(F::Mono10Packed),
                                     uint64_t(F::Mono12), uint64_t(F::Mono12p), uint64_t(F::Mono12Packed),
                                     uint64_t(F::Mono16)};
    const auto deep = [](uint64_t format) { return std::find(std::begin(kDeep), std::end(kDeep), format) != std::end(kDeep); };
    if (!deep(from) || !deep(to)) return false;
    const SampleLayout in = SampleLayoutOf(from, width, height), out = SampleLayoutOf(to, width, height);
    uint32_t values[kSampleBlock];
    for (size_t first = 0; first < in.samples; first += kSampleBlock) {
        const size_t count = std::min(kSampleBlock, in.samples - first);
        LoadSamples(in, source, first, count, values);
        for (size_t index = 0; index < count; ++index)
            values[index] = (values[index] << (16 - in.bits)) >> (16 - out.bits);
        StoreSamples(out, target, first, count, values);
    }
    return true;
}

bool IsBayer(uint64_t format) { return NameOf(format).rfind("Bayer", 0) == 0; }

bool HoldsSeveralImages(uint64_t format) {
    const std::string name = NameOf(format);
    return name.rfind("Dual", 0) == 0 || name.rfind("Quad", 0) == 0 || name.rfind("Polarized", 0) == 0;
}

// One conversion into `target` (zeroed, ConvertLen bytes).
void StandardProcess(IImage* source, uint8_t* target, uint64_t to, _EBayerAlgorithm algorithm) {
    std::lock_guard lock(g_ippMutex);
    g_ippInit = 1;
    const uint64_t from = source->GetPixelFormat();
    const size_t width = source->GetWidth(), height = source->GetHeight();
    const uint8_t* data = source->GetData();
    if (from == to) {
        std::memcpy(target, data, size_t(ExpectedLength(width, height, to)));
        return;
    }
    if (IsBayer(from) && algorithm != BayerAlgorithmBilinear && algorithm != BayerAlgorithmAHD)
        Fail("Conversion error, unknown algorithm");
    if (MonoShortcut(from, to, data, target, width, height)) return;
    if (to == uint64_t(F::BGRa8)) {
        if (!FromStage(from, data, target, width, height, algorithm))
            Fail("Pixel format conversion from " + NameOf(from) + " not yet implemented");
        return;
    }
    if (IsBayer(to)) Fail("To pixel format " + NameOf(to) + " not available, reverse bayer interpolation not supported");
    if (HoldsSeveralImages(to))
        Fail("To pixel format " + NameOf(to) + " not supported due to multiple-channel ambiguity");
    std::unique_ptr<uint8_t[]> hub(new uint8_t[4 * width * height]());
    if (!FromStage(from, data, hub.get(), width, height, algorithm))
        Fail("Pixel format conversion from " + NameOf(from) + " not yet implemented");
    if (!ToStage(to, hub.get(), target, width, height))
        Fail("Pixel format conversion to " + NameOf(to) + " not yet implemented");
}

} // namespace

size_t ConvertLen(IImage* pImage, uint64_t pixelFormat) {
    CheckInit("ConvertLen");
    CheckParam(pImage, "ConvertLen");
    return size_t(ExpectedLength(pImage->GetWidth(), pImage->GetHeight(), pixelFormat));
}

IImage* Convert(IImage* pImage, uint64_t pixelFormat, _EBayerAlgorithm bayerAlgo) {
    CheckInit("Convert");
    CheckParam(pImage, "Convert");
    const size_t length = size_t(ExpectedLength(pImage->GetWidth(), pImage->GetHeight(), pixelFormat));
    std::unique_ptr<uint8_t[]> block(new uint8_t[length]());
    StandardProcess(pImage, block.get(), pixelFormat, bayerAlgo);
    auto* image = new Image(block.get(), length, pImage->GetWidth(), pImage->GetHeight(), pixelFormat);
    block.release();
    return image;
}

IImage* ConvertShallow(uint8_t* pDst, size_t dstLen, IImage* pImage, uint64_t pixelFormat, _EBayerAlgorithm bayerAlgo) {
    constexpr const char* name = "ConvertShallow";
    CheckInit(name);
    CheckParam(pDst, name);
    CheckParam(dstLen, name);
    CheckParam(pImage, name);
    CheckLen(dstLen, ExpectedLength(pImage->GetWidth(), pImage->GetHeight(), pixelFormat), name);
    StandardProcess(pImage, pDst, pixelFormat, bayerAlgo);
    auto* image = new Image(pDst, dstLen, pImage->GetWidth(), pImage->GetHeight(), pixelFormat);
    image->SetShallow(true);
    return image;
}

} // namespace ImageFactory
} // namespace Vireo
