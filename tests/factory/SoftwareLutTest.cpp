#include <Vireo/ImageFactory.h>
#include <Vireo/Packing.h>
#include <Vireo/PixelFormat.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/TextOf.h"

namespace Vireo {
namespace {

class SoftwareLut : public ::testing::Test {
protected:
    void SetUp() override { OpenImageFactory(); }
    void TearDown() override { CloseImageFactory(); }
    // The mapped bytes of a width x 1 image of the format.
    std::vector<uint8_t> Mapped(const std::vector<uint8_t>& pixels, size_t width, PfncFormat format,
                                std::vector<uint8_t> table) {
        IImage* image = ImageFactory::Create(pixels.data(), pixels.size(), width, 1, uint64_t(format));
        IImage* mapped = ImageFactory::ProcessSoftwareLUT(image, table.data(), table.size());
        EXPECT_EQ(mapped->GetPixelFormat(), uint64_t(format));
        std::vector<uint8_t> bytes(mapped->GetData(), mapped->GetData() + mapped->GetSizeFilled());
        ImageFactory::Destroy(mapped);
        ImageFactory::Destroy(image);
        return bytes;
    }
    // The failure text for a table of this length, or "" when it is accepted.
    std::string Refusal(PfncFormat format, size_t width, size_t lutLength) {
        const size_t length = size_t(ImageFactory::ExpectedLength(width, 1, uint64_t(format)));
        std::vector<uint8_t> pixels(length);
        std::vector<uint8_t> table(lutLength);
        IImage* image = ImageFactory::Create(pixels.data(), length, width, 1, uint64_t(format));
        const std::string text = TextOf([&] { ImageFactory::Destroy(ImageFactory::ProcessSoftwareLUT(image, table.data(), lutLength)); });
        ImageFactory::Destroy(image);
        return text;
    }
};

// A table of 16-bit entries: value v maps to f(v).
template <class Map>
std::vector<uint8_t> WordTable(size_t entries, Map map) {
    std::vector<uint8_t> table(entries * 2);
    for (size_t value = 0; value < entries; ++value) {
        table[2 * value] = uint8_t(map(value));
        table[2 * value + 1] = uint8_t(map(value) >> 8);
    }
    return table;
}

TEST_F(SoftwareLut, SamplesAreMappedInEveryLayout) {
    std::vector<uint8_t> invert(256);
    for (size_t value = 0; value < 256; ++value) invert[value] = uint8_t(255 - value);
    EXPECT_EQ(Mapped({0, 1, 200}, 3, PfncFormat::Mono8, invert), (std::vector<uint8_t>{255, 254, 55}));

    // Per-channel tables of an RGB image: red doubled, green kept, blue zeroed.
    std::vector<uint8_t> channels(768);
    for (size_t value = 0; value < 256; ++value) {
        channels[value] = uint8_t(value * 2);
        channels[256 + value] = uint8_t(value);
        channels[512 + value] = 0;
    }
    EXPECT_EQ(Mapped({10, 20, 30, 40, 50, 60}, 2, PfncFormat::RGB8, channels),
              (std::vector<uint8_t>{20, 20, 0, 80, 50, 0}));

    // Packed 12-bit samples come out packed again: 0xABC, 0x123 through 4095 - v.
    const std::vector<uint8_t> mapped =
        Mapped({0xBC, 0x3A, 0x12}, 2, PfncFormat::Mono12p, WordTable(4096, [](size_t v) { return 4095 - v; }));
    std::vector<uint8_t> unpacked(4);
    Unpacking::From12p(mapped.data(), unpacked.data(), 2, 1, 16);
    EXPECT_EQ(unpacked[0] | unpacked[1] << 8, (0xFFF - 0xABC) << 4);
    EXPECT_EQ(unpacked[2] | unpacked[3] << 8, (0xFFF - 0x123) << 4);

    // Mono16 words; Mono10 keeps to its 10 bits.
    EXPECT_EQ(Mapped({0x34, 0x12}, 1, PfncFormat::Mono16, WordTable(65536, [](size_t v) { return v ^ 0xFFFF; })),
              (std::vector<uint8_t>{0xCB, 0xED}));
    EXPECT_EQ(Mapped({0xFF, 0x03}, 1, PfncFormat::Mono10, WordTable(1024, [](size_t v) { return v / 2; })),
              (std::vector<uint8_t>{0xFF, 0x01}));
}

TEST_F(SoftwareLut, EveryLayoutAcceptsOnlyItsTableLengths) {
    const struct {
        PfncFormat format;
        size_t width, accepted, alsoAccepted, refused;
        const char* message;
    } rows[] = {
        {PfncFormat::Mono8, 4, 256, 256, 255, "8-bit LUT requires 256-byte length (255)"},
        {PfncFormat::Mono10, 4, 2048, 2048, 2047, "10-bit LUT requires 2048 (1024 values, 2 bytes per value) length (2047)"},
        {PfncFormat::Mono10p, 4, 2048, 2048, 1024, "10-bit LUT requires 2048 (1024 values, 2 bytes per value) length (1024)"},
        {PfncFormat::Mono10Packed, 4, 2048, 2048, 2049,
         "10-bit LUT requires 2048-byte (1024 values, 2 bytes per value) length (2049)"},
        {PfncFormat::Mono12Packed, 4, 8192, 8192, 4096,
         "12-bit LUT requires 8192-byte (4096 values, 2 bytes per value) length (4096)"},
        {PfncFormat::Mono16, 4, 131072, 131072, 65536,
         "16-bit LUT requires 131,072-byte (65,536 values, 2 bytes per value) length (65536)"},
        {PfncFormat::Mono24, 4, 50331648, 50331648, 50331647,
         "24-bit LUT requires 50,331,648-byte (16,777,216 values, 3 bytes per value) length (50331647)"},
        {PfncFormat::PolarizedDolpAolp_Mono8, 4, 256, 512, 511,
         "8-bit 2-channel LUT requires 256-byte (channels same) or 512-byte (channels differ) length (511)"},
        {PfncFormat::PolarizedDolpAolp_Mono12p, 4, 8192, 16384, 16383,
         "12-bit 2-channel LUT requires 8192-byte (4096 values, 2 bytes per value, channels same) or 16384 (channels "
         "differ) length (16383)"},
        {PfncFormat::BGR8, 4, 256, 768, 767,
         "8-bit 3-channel LUT requires 256-byte (channels same) or 768-byte (channels differ) length (767)"},
        {PfncFormat::BGR12p, 4, 8192, 24576, 24567,
         "12-bit 3-channel LUT requires 8192-byte (4096 values, 2 bytes per value, channels same) or 24,567-byte "
         "(channels differ) length (24567)"},
        {PfncFormat::BGR16, 4, 131072, 393216, 393215,
         "16-bit 3-channel LUT requires 131,072-byte (65,536 values, 2 bytes per value, channels same) or 393,216-byte "
         "(channels differ) length (393215)"},
        {PfncFormat::BGR24, 2, 50331648, 150994994, 150994944,
         "24-bit 3-channel LUT requires 50,331,648-byte (16,777,216 values, 3 bytes per value, channels same) or "
         "150,994,994-byte (channels differ) length (150994944)"},
        {PfncFormat::BGRa8, 4, 256, 1024, 1023,
         "8-bit 4-channel LUT requires 256-byte (channels same) or 1024-byte (channels differ) length (1023)"},
        {PfncFormat::RGBa12p, 4, 8192, 32768, 32767,
         "12-bit 4-channel LUT requires 8192-byte (4096 values, 2 bytes per value, channels same) or 32,768-byte "
         "(channels differ) length (32767)"},
        {PfncFormat::BGRa16, 4, 131072, 524288, 524287,
         "16-bit 4-channel LUT requires 524,288-byte (65,536 values, 2 bytes per value, channels same) or 524,288-byte "
         "(channels differ) length (524287)"},
        {PfncFormat::YCbCr422_8, 4, 256, 256, 768, "8-bit LUT requires 256-byte length (768)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(GetPixelFormatName(row.format));
        EXPECT_EQ(Refusal(row.format, row.width, row.accepted), "");
        EXPECT_EQ(Refusal(row.format, row.width, row.alsoAccepted), "");
        EXPECT_EQ(Refusal(row.format, row.width, row.refused),
                  std::string("InvalidArgumentException: ") + row.message + " (ImageFactory, ProcessSoftwareLUT)");
    }
    EXPECT_EQ(Refusal(PfncFormat::Coord3D_ABC32f, 1, 256),
              "LogicalErrorException: Process software LUT attempted but unavailable on pixel format Coord3D_ABC32f "
              "(ImageFactory, ProcessSoftwareLUT)");
    EXPECT_EQ(TextOf([] { ImageFactory::ProcessSoftwareLUT(nullptr, nullptr, 256); }),
              "InvalidArgumentException: Image is null when processing software LUT (ImageFactory, ProcessSoftwareLUT)");
}

TEST_F(SoftwareLut, SelectBitsAndScaleMultipliesAndSaturates) {
    const std::vector<uint8_t> words = {0x34, 0x12, 0xFF, 0x00, 0x00, 0x00};
    IImage* image = ImageFactory::Create(words.data(), words.size(), 3, 1, uint64_t(PfncFormat::Mono16));
    const auto scaled = [&](double scale) {
        IImage* result = ImageFactory::SelectBitsAndScale(image, uint64_t(PfncFormat::Mono8), scale);
        std::vector<uint8_t> bytes(result->GetData(), result->GetData() + result->GetSizeFilled());
        ImageFactory::Destroy(result);
        return bytes;
    };
    EXPECT_EQ(scaled(0), (std::vector<uint8_t>{0x12, 0x00, 0x00})) << "scale 0: the top 8 bits";
    EXPECT_EQ(scaled(8), (std::vector<uint8_t>{255, 255, 0})) << "every sample above 255 saturates";
    EXPECT_EQ(scaled(1), (std::vector<uint8_t>{0x24, 0x01, 0x00}));
    EXPECT_EQ(scaled(0.5), (std::vector<uint8_t>{25, 1, 0})) << "0x1234 x 2^-7.5 = 25.7, 0xFF x 2^-7.5 = 1.4";
    ImageFactory::Destroy(image);

    const std::vector<uint8_t> packed = {0xBC, 0x3A, 0x12};  // Mono12p 0xABC, 0x123
    IImage* twelve = ImageFactory::Create(packed.data(), 3, 2, 1, uint64_t(PfncFormat::Mono12p));
    IImage* result = ImageFactory::SelectBitsAndScale(twelve, uint64_t(PfncFormat::Mono8), 0);
    EXPECT_EQ(result->GetData()[0], 0xAB);
    EXPECT_EQ(result->GetData()[1], 0x12);
    ImageFactory::Destroy(result);
    ImageFactory::Destroy(twelve);
}

} // namespace
} // namespace Vireo
