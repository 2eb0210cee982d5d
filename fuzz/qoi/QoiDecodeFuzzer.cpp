// Feeds arbitrary bytes to the QOI decoders with every number of channels a caller may ask
// for, and round-trips small images made from the same bytes through encoder and decoder.
// Decoding must end in a block or null, never in a crash, an over-read or a leak; a round trip
// must give the pixels back.
#include <Vireo/QoiCodec.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Headers may claim up to 400 million pixels. Such images are valid but too slow and big to
// decode thousands of times a second, so they are left out; images at or above the limit are
// kept, as they are refused before anything is allocated.
constexpr uint64_t largestDecodedPixels = 1 << 18;

bool ClaimsLargeImage(const uint8_t* data, size_t size) {
    if (size < 12) return false;
    const uint32_t width = uint32_t{data[4]} << 24 | uint32_t{data[5]} << 16 | uint32_t{data[6]} << 8 | data[7];
    const uint32_t height = uint32_t{data[8]} << 24 | uint32_t{data[9]} << 16 | uint32_t{data[10]} << 8 | data[11];
    if (width == 0 || height >= 400000000u / width) return false;
    return uint64_t{width} * height > largestDecodedPixels;
}

void Check(bool condition) {
    if (!condition) __builtin_trap();
}

void DecodeEveryWay(const uint8_t* data, size_t size) {
    const int length = static_cast<int>(size);
    for (const int channels : {0, 1, 3, 4, 2, 5, -1}) {
        Vireo::qoi_desc desc{};
        void* pixels = Vireo::qoi_decode(data, length, &desc, channels);
        if (pixels != nullptr) {
            Check(desc.width != 0 && desc.height != 0);
            Check(desc.channels == 1 || desc.channels == 3 || desc.channels == 4);
            Check(desc.channels == 1 ? channels <= 1 : (channels == 0 || channels == 3 || channels == 4));
        }
        std::free(pixels);
        std::free(Vireo::qoi_grey_decode(data, length, &desc, channels));
    }
}

// The first bytes choose the shape, the rest (repeated as needed) are the pixels; every other
// input smooths them so that runs and small differences occur, not only literals.
void RoundTrip(const uint8_t* data, size_t size) {
    if (size < 3) return;
    const uint8_t channelChoices[] = {1, 3, 4};
    const uint8_t channels = channelChoices[data[0] % 3];
    const uint32_t width = 1 + data[1] % 97, height = 1 + data[2] % 13;
    const uint8_t* source = data + 3;
    const size_t sourceSize = size - 3;
    std::vector<uint8_t> pixels(size_t{width} * height * channels);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = sourceSize ? source[i % sourceSize] : 0;
    if (data[0] & 0x80)
        for (size_t i = channels; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(pixels[i - channels] + (pixels[i] & 7) / 3);

    const Vireo::qoi_desc desc{width, height, channels, static_cast<uint8_t>(data[0] >> 6 & 1)};
    int length = 0;
    auto* stream = static_cast<uint8_t*>(Vireo::qoi_encode(pixels.data(), &desc, &length));
    Check(stream != nullptr);
    Check(length >= 22 && static_cast<size_t>(length) <= pixels.size() + size_t{width} * height * 1 + 22);
    // An exact-size copy, so that reading past the stream's end is caught.
    std::vector<uint8_t> exact(stream, stream + length);
    std::free(stream);

    Vireo::qoi_desc read{};
    auto* decoded = static_cast<uint8_t*>(Vireo::qoi_decode(exact.data(), length, &read, 0));
    Check(decoded != nullptr);
    Check(read.width == width && read.height == height && read.channels == channels && read.colorspace == desc.colorspace);
    Check(std::memcmp(decoded, pixels.data(), pixels.size()) == 0);
    std::free(decoded);

    // Every proper prefix keeping the end marker must not crash; for grey it must fail.
    const size_t cut = (data[1] * 7u + data[2]) % (exact.size() - 22 + 1);
    std::vector<uint8_t> shorter(exact.begin(), exact.begin() + static_cast<std::ptrdiff_t>(14 + cut));
    shorter.insert(shorter.end(), exact.end() - 8, exact.end());
    void* partial = Vireo::qoi_decode(shorter.data(), static_cast<int>(shorter.size()), &read, 0);
    if (channels == 1 && shorter.size() < exact.size()) Check(partial == nullptr);
    std::free(partial);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > INT_MAX) return 0;
    // An exact-size copy: the fuzzer's own buffer may be followed by readable bytes.
    const std::vector<uint8_t> input(data, data + size);
    if (!ClaimsLargeImage(input.data(), size)) DecodeEveryWay(input.data(), size);
    RoundTrip(input.data(), size);
    return 0;
}
