#include <Vireo/ImageFactory.h>
#include <Vireo/PixelFormat.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <set>
#include <vector>
#include <stdexcept>
#include <string>

#include <GenICam.h>

#include "PixelFormatTestData.h"

namespace Vireo {
namespace {

struct DescriptorDeleter {
    void operator()(IImplementation* descriptor) const { DestroyPixelFormat(descriptor); }
};
using Descriptor = std::unique_ptr<IImplementation, DescriptorDeleter>;

std::string LogicErrorOf(uint64_t code) {
    try {
        Descriptor descriptor(GetPixelFormat(code));
    } catch (const std::logic_error& error) {
        return error.what();
    }
    return "";
}

TEST(PixelFormatDescriptor, ExistsForTheStandardFormatsTheFactoryProcesses) {
    std::set<std::string> expected = {"Mono8", "Mono10", "Mono12", "Mono16", "Mono10p", "Mono12p", "Mono10Packed",
                                      "Mono12Packed", "Coord3D_C16", "Coord3D_ABC16", "Confidence16",
                                      "YUV411_8_UYYVYY", "YCbCr411_8_CbYYCrYY", "YCbCr411_8", "YUV422_8_UYVY",
                                      "YUV422_8", "YCbCr422_8", "YCbCr422_8_CbYCrY", "YUV8_UYV", "YCbCr8_CbYCr",
                                      "YCbCr8", "RGB8", "BGR8", "RGBa8", "BGRa8", "RGB12", "BGR12", "RGB12p",
                                      "BGR12p", "RGB16", "BGR16", "RGBa16", "BGRa16"};
    for (const char* order : {"GR", "RG", "GB", "BG"})
        for (const char* depth : {"8", "10", "12", "16", "10p", "12p", "10Packed", "12Packed"})
            expected.insert(std::string("Bayer") + order + depth);
    ASSERT_EQ(expected.size(), 65u);

    for (const Testing::ReferenceFormat& format : Testing::StandardFormats()) {
        if (expected.count(format.name) != 0) {
            Descriptor descriptor(GetPixelFormat(format.code));
            EXPECT_NE(descriptor, nullptr) << format.name;
        } else {
            EXPECT_EQ(LogicErrorOf(format.code),
                      "pixel format " + std::to_string(format.code) + ", " + format.name + " not implemented");
        }
    }
}

TEST(PixelFormatDescriptor, ExistsForExactlyTheOwnFormatsThatHaveOne) {
    size_t descriptors = 0;
    for (const Testing::ReferenceFormat& format : Testing::OwnFormats()) {
        if (format.hasDescriptor) {
            Descriptor descriptor(GetPixelFormat(format.code));
            EXPECT_NE(descriptor, nullptr) << format.name;
            ++descriptors;
        } else {
            EXPECT_FALSE(LogicErrorOf(format.code).empty()) << format.name;
        }
    }
    EXPECT_EQ(descriptors + 65, 166u);
}

TEST(PixelFormatDescriptor, UnsupportedCodesFailWithCodeAndName) {
    EXPECT_EQ(LogicErrorOf(CFA_RBGG8), "pixel format 2164785164, CFA_RBGG8 not implemented");
    EXPECT_EQ(LogicErrorOf(0), "pixel format 0, UnknownPixelFormat not implemented");
    EXPECT_EQ(LogicErrorOf(0x81180505), "pixel format 2165835013, UnknownPixelFormat not implemented");
    EXPECT_THROW(GetPixelFormat(PfncFormat(CFA_RBGG8)), std::logic_error);
}

TEST(PixelFormatDescriptor, EachFormatHasItsOwnClass) {
    std::set<std::string> classes;
    for (uint64_t code : {uint64_t(Mono24), uint64_t(BayerGR24), uint64_t(BayerRG24), uint64_t(BayerGB24),
                          uint64_t(BayerBG24), uint64_t(Mono8), uint64_t(QOI_RGB8)}) {
        Descriptor descriptor(GetPixelFormat(code));
        classes.insert(typeid(*descriptor).name());
    }
    EXPECT_EQ(classes.size(), 7u);
    DestroyPixelFormat(nullptr);
}

TEST(PixelFormatDescriptor, ProcessingForwardsToTheFactoryForImagesOfItsFormat) {
    OpenImageFactory();
    Descriptor descriptor(GetPixelFormat(BayerRG12p));
    const uint8_t packed[3] = {0xBC, 0x3A, 0x12};  // 0xABC, 0x123
    IImage* image = ImageFactory::Create(packed, 3, 2, 1, uint64_t(BayerRG12p));
    std::vector<uint8_t> table(8192);  // every value to 0x800
    for (size_t entry = 0; entry < 4096; ++entry) table[2 * entry + 1] = 0x08;
    IImage* mapped = descriptor->ProcessSoftwareLUT(image, table.data(), table.size());
    EXPECT_EQ(mapped->GetData()[0], 0x00);
    EXPECT_EQ(mapped->GetData()[1], 0x08);
    EXPECT_EQ(mapped->GetData()[2], 0x80);
    ImageFactory::Destroy(mapped);
    IImage* scaled = descriptor->SelectBitsAndScale(image, 12, 0.0);
    EXPECT_EQ(scaled->GetData()[0], 0xAB);
    ImageFactory::Destroy(scaled);

    // An image of another format is not this descriptor's to process.
    Descriptor other(GetPixelFormat(Mono8));
    try {
        other->ProcessSoftwareLUT(image, table.data(), 256);
        FAIL();
    } catch (const GenICam::LogicalErrorException& error) {
        EXPECT_STREQ(error.what(), "LogicalErrorException: Process software LUT attempted but unavailable on pixel "
                                   "format Mono8 (ImageFactory, ProcessSoftwareLUT)");
    }
    Descriptor colour(GetPixelFormat(RGB8));
    try {
        colour->SelectBitsAndScale(nullptr, 8, 0.0);
        FAIL();
    } catch (const GenICam::LogicalErrorException& error) {
        EXPECT_STREQ(error.what(), "LogicalErrorException: Select bits and scale attempted but unavailable on pixel "
                                   "format RGB8 (ImageFactory, SelectBitsAndScale)");
    }
    ImageFactory::Destroy(image);
    CloseImageFactory();
}

TEST(PixelFormatDescriptor, ScalingTakesTheSamplesAsDeepAsTheCallerSays) {
    OpenImageFactory();
    // A 12-bit sensor's values in Mono16 words.
    const uint8_t words[4] = {0xBC, 0x0A, 0x01, 0x00};  // 0xABC, 0x001
    IImage* image = ImageFactory::Create(words, 4, 2, 1, uint64_t(Mono16));
    Descriptor descriptor(GetPixelFormat(Mono16));
    const auto firstByte = [&](size_t bits, double scale) {
        IImage* scaled = descriptor->SelectBitsAndScale(image, bits, scale);
        const uint8_t value = scaled->GetData()[0];
        ImageFactory::Destroy(scaled);
        return value;
    };
    EXPECT_EQ(firstByte(12, 0.0), 0xAB) << "the top 8 of 12 bits";
    EXPECT_EQ(firstByte(16, 0.0), 0x0A) << "the top 8 of 16 bits";
    EXPECT_EQ(firstByte(0, 0.0), 0x0A) << "0: the format's own depth";
    EXPECT_EQ(firstByte(12, 1.0), 255) << "0xABC / 8 saturates";
    EXPECT_EQ(firstByte(10, 0.0), 255) << "0xABC / 4 saturates";
    EXPECT_EQ(firstByte(13, 0.5), uint8_t(0xABC * std::exp2(0.5 - 5)));
    EXPECT_THROW(descriptor->SelectBitsAndScale(image, 33, 0.0), GenICam::InvalidArgumentException);
    ImageFactory::Destroy(image);
    CloseImageFactory();
}

} // namespace
} // namespace Vireo
