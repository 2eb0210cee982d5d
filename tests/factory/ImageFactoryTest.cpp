#include <Vireo/ImageFactory.h>
#include <Vireo/Image.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/PixelFormat.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include <GenTL/VirtualProducerControl.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

#include "support/TextOf.h"

namespace Vireo {
namespace {

constexpr uint64_t kMono8 = uint64_t(PfncFormat::Mono8);
constexpr uint64_t kMono12p = uint64_t(PfncFormat::Mono12p);
constexpr uint64_t kRGB8 = uint64_t(PfncFormat::RGB8);

// The factory opened directly, as the system does.
class Factory : public ::testing::Test {
protected:
    void SetUp() override { OpenImageFactory(); }
    void TearDown() override { CloseImageFactory(); }
};

TEST_F(Factory, CreateCopiesTheCallersBytesAndDestroyFreesThem) {
    std::vector<uint8_t> pixels(4 * 3 * 3);
    std::iota(pixels.begin(), pixels.end(), uint8_t(1));
    IImage* image = ImageFactory::Create(pixels.data(), pixels.size(), 4, 3, kRGB8);
    pixels[0] = 99;  // the image has its own copy
    EXPECT_EQ(image->GetData()[0], 1);
    EXPECT_EQ(image->GetWidth(), 4u);
    EXPECT_EQ(image->GetHeight(), 3u);
    EXPECT_EQ(image->GetPixelFormat(), kRGB8);
    EXPECT_EQ(image->GetSizeFilled(), pixels.size());
    EXPECT_EQ(image->GetPayloadType(), 1u);
    EXPECT_EQ(image->GetBitsPerPixel(), 24u);
    EXPECT_FALSE(image->IsIncomplete());

    IImage* copy = ImageFactory::Copy(image);
    ImageFactory::Destroy(image);
    EXPECT_EQ(copy->GetData()[1], 2) << "the copy outlives its source";
    ImageFactory::Destroy(copy);
}

TEST_F(Factory, LengthsMustMatchTheGeometryExactly) {
    std::vector<uint8_t> pixels(13);
    EXPECT_EQ(TextOf([&] { ImageFactory::Create(pixels.data(), 13, 4, 3, kMono8); }),
              "InvalidArgumentException: Buffer length 13 does not match expected 12 (Create (ImageFactory, Create)");
    EXPECT_EQ(TextOf([&] { ImageFactory::Shallow(pixels.data(), 11, 4, 3, kMono8); }),
              "InvalidArgumentException: Buffer length 11 does not match expected 12 (Shallow (ImageFactory, Shallow)");
    // Three 12-bit pixels are 36 bits: the half byte left over is dropped.
    EXPECT_EQ(ImageFactory::ExpectedLength(3, 1, kMono12p), 4u);
    IImage* packed = ImageFactory::Create(pixels.data(), 4, 3, 1, kMono12p);
    ImageFactory::Destroy(packed);
}

TEST_F(Factory, EveryArgumentIsChecked) {
    std::vector<uint8_t> pixels(12);
    EXPECT_EQ(TextOf([&] { ImageFactory::Create(nullptr, 12, 4, 3, kMono8); }),
              "InvalidArgumentException: Data is null (Create (ImageFactory, Create)");
    EXPECT_EQ(TextOf([&] { ImageFactory::Create(pixels.data(), 12, 0, 3, kMono8); }),
              "InvalidArgumentException: Param is 0 (Create (ImageFactory, Create)");
    EXPECT_EQ(TextOf([&] { ImageFactory::CreateEmpty(0, 4, 3, kMono8); }),
              "InvalidArgumentException: Param is 0 (CreateEmpty (ImageFactory, CreateEmpty)");
    EXPECT_EQ(TextOf([&] { ImageFactory::Copy(nullptr); }),
              "InvalidArgumentException: Data is null (Copy (ImageFactory, Copy)");
    EXPECT_EQ(TextOf([&] { ImageFactory::CopyCompressedImage(nullptr); }),
              "InvalidArgumentException: Data is null (CopyCompressedImage (ImageFactory, CopyCompressedImage)");
    EXPECT_EQ(TextOf([&] { ImageFactory::Destroy(nullptr); }),
              "InvalidArgumentException: Image is null (ImageFactory, Destroy)");

    CloseImageFactory();
    EXPECT_EQ(TextOf([&] { ImageFactory::CreateEmpty(12, 4, 3, kMono8); }),
              "RuntimeException: Vireo SDK never initialized, open system (Vireo::OpenSystem) to initialize "
              "(CreateEmpty (ImageFactory, CreateEmpty)");
    EXPECT_EQ(TextOf([&] { ImageFactory::Destroy(nullptr); }),
              "RuntimeException: Vireo SDK never initialized, open system (Vireo::OpenSystem) to initialize "
              "(ImageFactory, Destroy)");
    OpenImageFactory();
}

TEST_F(Factory, EmptyImagesAreZeroedAndShallowOnesLeaveTheCallersMemoryAlone) {
    IImage* empty = ImageFactory::CreateEmpty(4 * 3 * 2, 4, 3, uint64_t(PfncFormat::Mono16));
    const uint8_t* data = empty->GetData();
    EXPECT_TRUE(std::all_of(data, data + 24, [](uint8_t byte) { return byte == 0; }));
    ImageFactory::Destroy(empty);

    std::vector<uint8_t> pixels(12, 7);
    IImage* view = ImageFactory::Shallow(pixels.data(), pixels.size(), 4, 3, kMono8);
    EXPECT_EQ(view->GetData(), pixels.data());
    ImageFactory::Destroy(view);  // must not free the vector's memory (ASan would say so)
    pixels.assign(12, 8);
}

TEST(FactoryWithDevices, DeviceImagesAreCopiedButNotDestroyed) {
    ISystem* system = OpenSystem();
    system->UpdateDevices(100);
    IDevice* camera = nullptr;
    for (const DeviceInfo& info : system->GetDevices()) {
        if (info.SerialNumber() == "VM1280M-0001") camera = system->CreateDevice(info);
    }
    ASSERT_NE(camera, nullptr);
    SetNodeValue<bool>(camera->GetNodeMap(), "AcquisitionFrameRateEnable", false);
    camera->StartStream(2);
    IImage* delivered = camera->GetImage(5000);
    IImage* copy = ImageFactory::Copy(delivered);
    EXPECT_EQ(TextOf([&] { ImageFactory::Destroy(delivered); }),
              "InvalidArgumentException: Failure destroying image because image not from factory (probably due to "
              "image being from device) (ImageFactory, Destroy)");
    EXPECT_EQ(copy->GetWidth(), delivered->GetWidth());
    EXPECT_EQ(copy->GetFrameId(), delivered->GetFrameId());
    EXPECT_EQ(0, std::memcmp(copy->GetData(), delivered->GetData(), delivered->GetSizeFilled()));
    camera->RequeueBuffer(delivered);
    camera->StopStream();
    EXPECT_EQ(copy->GetSizeFilled(), copy->GetSizeOfBuffer()) << "the copy stays readable after the stream stops";
    ImageFactory::Destroy(copy);
    system->DestroyDevice(camera);
    CloseSystem(system);
    VirtualProducerUseCameras(nullptr, 0);
}

} // namespace
} // namespace Vireo

namespace Vireo {
namespace {

// Little-endian 16-bit samples as bytes.
std::vector<uint8_t> Words(std::initializer_list<uint16_t> values) {
    std::vector<uint8_t> bytes;
    for (uint16_t value : values) {
        bytes.push_back(uint8_t(value));
        bytes.push_back(uint8_t(value >> 8));
    }
    return bytes;
}

std::vector<uint8_t> Selected(const std::vector<uint8_t>& source, size_t width, PfncFormat format, int bits,
                              PfncFormat target = PfncFormat::Mono8) {
    IImage* image = ImageFactory::Create(source.data(), source.size(), width, 1, uint64_t(format));
    IImage* selected = ImageFactory::SelectBits(image, uint64_t(target), bits);
    std::vector<uint8_t> bytes(selected->GetData(), selected->GetData() + selected->GetSizeFilled());
    EXPECT_EQ(selected->GetPixelFormat(), uint64_t(target));
    ImageFactory::Destroy(selected);
    ImageFactory::Destroy(image);
    return bytes;
}

using BitSelection = Factory;

TEST_F(BitSelection, EachFamilyTakesItsRunOfBits) {
    const std::vector<uint8_t> mono16 = Words({0x1234, 0xABCD});
    EXPECT_EQ(Selected(mono16, 2, PfncFormat::Mono16, 0), (std::vector<uint8_t>{0x12, 0xAB})) << "the high byte";
    EXPECT_EQ(Selected(mono16, 2, PfncFormat::Mono16, 8), (std::vector<uint8_t>{0x34, 0xCD})) << "the low byte";
    EXPECT_EQ(Selected(mono16, 2, PfncFormat::Mono16, 4), (std::vector<uint8_t>{0x23, 0xBC}));

    const std::vector<uint8_t> bgr8 = {10, 20, 30, 40, 50, 60};
    EXPECT_EQ(Selected(bgr8, 2, PfncFormat::BGR8, 1, PfncFormat::BGR8), std::vector<uint8_t>(6, 0))
        << "8-bit colour: any selection but 0 is black";
    EXPECT_EQ(Selected(bgr8, 2, PfncFormat::BGR8, 0, PfncFormat::BGR8), bgr8);
    EXPECT_EQ(Selected({0x80, 0x41}, 2, PfncFormat::Mono8, 1), (std::vector<uint8_t>{0x40, 0x20}));

    const std::vector<uint8_t> mono10 = Words({0x3FF, 0x155, 0x0F0});
    EXPECT_EQ(Selected(mono10, 3, PfncFormat::Mono10, 0), (std::vector<uint8_t>{15, 5, 3})) << "only the top 4 bits";
    EXPECT_EQ(Selected(mono10, 3, PfncFormat::Mono10, 4), (std::vector<uint8_t>{0xFF, 0x55, 0x3C})) << "the top 8 bits";
    EXPECT_EQ(Selected(Words({0xABC}), 1, PfncFormat::Mono12, 0), (std::vector<uint8_t>{0xAB}));

    // Mono12p: 0xABC and 0x123 are the bytes BC 3A 12.
    EXPECT_EQ(Selected({0xBC, 0x3A, 0x12}, 2, PfncFormat::Mono12p, 0), (std::vector<uint8_t>{0xAB, 0x12}));
    EXPECT_EQ(Selected({0xBC, 0x3A, 0x12}, 2, PfncFormat::Mono12p, 4), (std::vector<uint8_t>{0xBC, 0x23}));
    // Mono10Packed: the first sample's low bits come from the whole low nibble of the middle byte.
    EXPECT_EQ(Selected({0x80, 0x3F, 0x40}, 2, PfncFormat::Mono10Packed, 2), (std::vector<uint8_t>{0x0F, 0x03}));
    EXPECT_EQ(Selected({0x80, 0x3F, 0x40}, 2, PfncFormat::Mono10Packed, 0), (std::vector<uint8_t>{0x83, 0x40}));
}

TEST_F(BitSelection, TheShallowFormWritesIntoTheCallersBufferAndBadRequestsAreNamed) {
    const std::vector<uint8_t> mono16 = Words({0x1234, 0xABCD, 0x0F0F});
    IImage* image = ImageFactory::Create(mono16.data(), mono16.size(), 3, 1, uint64_t(PfncFormat::Mono16));
    EXPECT_EQ(ImageFactory::SelectBitsLen(image, uint64_t(PfncFormat::Mono8), 0), 3u);
    uint8_t destination[3] = {};
    IImage* view = ImageFactory::SelectBitsShallow(destination, 3, image, uint64_t(PfncFormat::Mono8), 0);
    EXPECT_EQ(view->GetData(), destination);
    EXPECT_EQ(destination[1], 0xAB);
    ImageFactory::Destroy(view);
    EXPECT_EQ(TextOf([&] { ImageFactory::SelectBitsShallow(destination, 2, image, uint64_t(PfncFormat::Mono8), 0); }),
              "InvalidArgumentException: Buffer length 2 does not match expected 3 (SelectBitsShallow (ImageFactory, "
              "SelectBitsShallow)");
    EXPECT_EQ(TextOf([&] { ImageFactory::SelectBits(image, uint64_t(PfncFormat::Mono16), 0); }),
              "InvalidArgumentException: Bit selection only available for 8-bit transformation (ImageFactory, SelectBits)");
    EXPECT_EQ(TextOf([&] { ImageFactory::SelectBits(nullptr, uint64_t(PfncFormat::Mono8), 0); }),
              "InvalidArgumentException: Image is null when selecting bits (ImageFactory, SelectBits)");
    ImageFactory::Destroy(image);
    const uint8_t points[24] = {};
    IImage* planar = ImageFactory::Create(points, sizeof points, 2, 1, uint64_t(PfncFormat::Coord3D_ABC32f));
    EXPECT_NE(TextOf([&] { ImageFactory::SelectBits(planar, uint64_t(PfncFormat::Mono8), 0); })
                  .find("Bit selection attempted but unavailable on pixel format Coord3D_ABC32f"),
              std::string::npos);
    ImageFactory::Destroy(planar);
}

} // namespace
} // namespace Vireo
