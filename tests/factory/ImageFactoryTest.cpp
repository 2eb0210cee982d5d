#include <Vireo/ImageFactory.h>
#include <Vireo/Image.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/PixelFormat.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include <GenICam.h>
#include <GenTL/VirtualProducerControl.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "support/TextOf.h"

// The sanitizers end the process on an allocation that cannot succeed, before the factory
// sees it fail.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kAllocationFailuresReachTheCaller = false;
#else
constexpr bool kAllocationFailuresReachTheCaller = true;
#endif

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

TEST_F(BitSelection, SamplesAreCountedFromTheGeometryNotFromTheBytesAfterTheImage) {
    // A device frame's buffer holds the chunk trailer after the image: those bytes are no pixels.
    for (PfncFormat format : {PfncFormat::Mono8, PfncFormat::Mono16, PfncFormat::Mono12p, PfncFormat::BGR8}) {
        const size_t imageBytes = ImageFactory::ExpectedLength(64, 48, uint64_t(format));
        std::vector<uint8_t> buffer(imageBytes + 40, 0xA5);
        Image frame(buffer.data(), buffer.size(), 64, 48, uint64_t(format));
        const size_t samples = 64 * 48 * GetNumChannels(uint64_t(format));
        const uint64_t target = format == PfncFormat::BGR8 ? uint64_t(PfncFormat::BGR8) : uint64_t(PfncFormat::Mono8);
        EXPECT_EQ(ImageFactory::SelectBitsLen(&frame, target, 0), samples) << GetPixelFormatName(format);
        IImage* selected = ImageFactory::SelectBits(&frame, target, 0);
        EXPECT_EQ(selected->GetSizeFilled(), samples);
        EXPECT_EQ(selected->GetWidth(), 64u);
        EXPECT_EQ(selected->GetHeight(), 48u);
        ImageFactory::Destroy(selected);
        IImage* scaled = ImageFactory::SelectBitsAndScale(&frame, target, 0);
        EXPECT_EQ(scaled->GetSizeFilled(), samples);
        ImageFactory::Destroy(scaled);
    }
    // Fewer bytes than the geometry needs are refused rather than read past.
    std::vector<uint8_t> shortBuffer(10);
    Image cut(shortBuffer.data(), shortBuffer.size(), 4, 3, kMono8);
    EXPECT_EQ(TextOf([&] { ImageFactory::SelectBits(&cut, kMono8, 0); }),
              "InvalidArgumentException: Image holds fewer bytes than its geometry needs (ImageFactory, SelectBits)");
}

// Two pages, the second inaccessible: an image placed to end at the first page's end faults
// on any read past its last byte.
class GuardedBytes {
public:
    GuardedBytes() : m_page(size_t(::sysconf(_SC_PAGESIZE))) {
        void* memory = ::mmap(nullptr, 2 * m_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::runtime_error("mmap failed");
        m_memory = static_cast<uint8_t*>(memory);
        ::mprotect(m_memory + m_page, m_page, PROT_NONE);
    }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;
    ~GuardedBytes() { ::munmap(m_memory, 2 * m_page); }
    // `length` bytes that end where the accessible memory ends.
    uint8_t* Last(size_t length) { return m_memory + m_page - length; }

private:
    size_t m_page;
    uint8_t* m_memory = nullptr;
};

TEST_F(BitSelection, PackedImagesOfAnyPixelCountAreReadUpToTheirLastByteOnly) {
    GuardedBytes guarded;
    const PfncFormat formats[] = {PfncFormat::Mono10Packed, PfncFormat::BayerRG10Packed, PfncFormat::Mono12Packed,
                                  PfncFormat::BayerGB12Packed, PfncFormat::Mono10p, PfncFormat::BayerBG10p,
                                  PfncFormat::Mono12p, PfncFormat::BayerGR12p};
    for (PfncFormat format : formats) {
        for (size_t pixels : {1, 2, 3, 5, 7, 9}) {
            SCOPED_TRACE(std::string(GetPixelFormatName(format)) + " x " + std::to_string(pixels));
            const size_t length = ImageFactory::ExpectedLength(pixels, 1, uint64_t(format));
            uint8_t* bytes = guarded.Last(length);
            std::memset(bytes, 0xC3, length);
            IImage* image = ImageFactory::Shallow(bytes, length, pixels, 1, uint64_t(format));
            IImage* selected = ImageFactory::SelectBits(image, kMono8, 0);
            // The first sample's top byte is the first byte in the 10Packed and 12Packed layouts.
            if (format == PfncFormat::Mono10Packed || format == PfncFormat::Mono12Packed) {
                EXPECT_EQ(selected->GetData()[0], 0xC3);
            }
            EXPECT_EQ(selected->GetSizeFilled(), pixels);
            ImageFactory::Destroy(selected);
            ImageFactory::Destroy(ImageFactory::SelectBitsAndScale(image, kMono8, 0));
            ImageFactory::Destroy(ImageFactory::Convert(image, kMono8));
            const bool tenBits = GetBitsPerChannel(uint64_t(format)) == 10;
            std::vector<uint8_t> table(tenBits ? 2048 : 8192);
            ImageFactory::Destroy(ImageFactory::ProcessSoftwareLUT(image, table.data(), table.size()));
            ImageFactory::Destroy(image);
        }
    }
    // A lone 10Packed sample keeps the bits its one byte holds.
    uint8_t* lone = guarded.Last(1);
    *lone = 0xAB;
    IImage* image = ImageFactory::Shallow(lone, 1, 1, 1, uint64_t(PfncFormat::Mono10Packed));
    IImage* selected = ImageFactory::SelectBits(image, kMono8, 2);
    EXPECT_EQ(selected->GetData()[0], uint8_t(0xAB << 2));
    ImageFactory::Destroy(selected);
    ImageFactory::Destroy(image);
}

using FactoryLimits = Factory;

TEST_F(FactoryLimits, ImagesWithoutPixelsAreRefusedByEveryOperation) {
    uint8_t byte = 0, destination[16] = {};
    uint8_t table[256] = {};
    Image noWidth(&byte, 0, 0, 3, kMono8), noHeight(&byte, 0, 4, 0, kMono8);
    Image dual(&byte, 0, 0, 3, uint64_t(PfncFormat::DualMono8));
    const auto refusal = [](const char* operation, const char* size) {
        return std::string("InvalidArgumentException: Image has no pixels (") + size + ") (" + operation +
               " (ImageFactory, " + operation + ")";
    };
    for (Image* image : {&noWidth, &noHeight}) {
        const char* size = image == &noWidth ? "width 0, height 3" : "width 4, height 0";
        EXPECT_EQ(TextOf([&] { ImageFactory::Convert(image, kRGB8); }), refusal("Convert", size));
        EXPECT_EQ(TextOf([&] { ImageFactory::ConvertLen(image, kRGB8); }), refusal("ConvertLen", size));
        EXPECT_EQ(TextOf([&] { ImageFactory::ConvertShallow(destination, 16, image, kRGB8); }),
                  refusal("ConvertShallow", size));
        EXPECT_EQ(TextOf([&] { ImageFactory::SelectBits(image, kMono8, 0); }), refusal("SelectBits", size));
        EXPECT_EQ(TextOf([&] { ImageFactory::SelectBitsLen(image, kMono8, 0); }), refusal("SelectBitsLen", size));
        EXPECT_EQ(TextOf([&] { ImageFactory::SelectBitsShallow(destination, 16, image, kMono8, 0); }),
                  refusal("SelectBitsShallow", size));
        EXPECT_EQ(TextOf([&] { ImageFactory::SelectBitsAndScale(image, kMono8, 0); }), refusal("SelectBitsAndScale", size));
        EXPECT_EQ(TextOf([&] { ImageFactory::ProcessSoftwareLUT(image, table, 256); }),
                  refusal("ProcessSoftwareLUT", size));
        EXPECT_EQ(TextOf([&] { ImageFactory::CompressImage(image); }), refusal("CompressImage", size));
    }
    const char* size = "width 0, height 3";
    EXPECT_EQ(TextOf([&] { ImageFactory::DeinterleaveChannels(&dual); }), refusal("DeinterleaveChannels", size));
    EXPECT_EQ(TextOf([&] { ImageFactory::DeinterleaveChannelsLen(&dual); }), refusal("DeinterleaveChannelsLen", size));
    EXPECT_EQ(TextOf([&] { ImageFactory::DeinterleaveChannelsShallow(destination, 16, &dual); }),
              refusal("DeinterleaveChannelsShallow", size));
    EXPECT_EQ(TextOf([&] { ImageFactory::SplitChannels(&dual); }), refusal("SplitChannels", size));
}

TEST_F(FactoryLimits, AnAllocationThatFailsIsABadAllocException) {
    if (!kAllocationFailuresReachTheCaller) GTEST_SKIP() << "the sanitizer ends the process instead";
    // 2^56 pixels of 8 bytes: more than any address space holds.
    const size_t side = size_t(1) << 28, bytes = size_t(1) << 59;
    try {
        ImageFactory::CreateEmpty(bytes, side, side, uint64_t(PfncFormat::BGRa16));
        FAIL() << "an impossible allocation succeeded";
    } catch (const GenICam::BadAllocException& error) {
        EXPECT_STREQ(error.what(), "BadAllocException: Cannot allocate 576460752303423488 bytes for the image "
                                   "(CreateEmpty (ImageFactory, CreateEmpty)");
    }
}

TEST_F(FactoryLimits, SizesThatOverflowAreRefusedBeforeAnythingIsAllocated) {
    // Geometry whose byte count wraps around 64 bits to 8 is not an 8-byte image.
    std::vector<uint8_t> pixels(8);
    const size_t wide = (size_t(1) << 61) + 1;
    EXPECT_EQ(TextOf([&] { ImageFactory::Create(pixels.data(), 8, wide, 8, kMono8); }),
              "OutOfRangeException: Image of 2305843009213693953 x 8 pixels is larger than memory can hold (Create "
              "(ImageFactory, Create)");
    EXPECT_THROW(ImageFactory::CreateEmpty(8, wide, 8, kMono8), GenICam::OutOfRangeException);
    EXPECT_THROW(ImageFactory::Shallow(pixels.data(), 8, wide, 8, kMono8), GenICam::OutOfRangeException);
    // The same for images the factory did not make, and for targets deeper than the source.
    Image huge(pixels.data(), pixels.size(), size_t(1) << 40, size_t(1) << 40, kMono8);
    EXPECT_THROW(ImageFactory::Convert(&huge, kRGB8), GenICam::OutOfRangeException);
    EXPECT_THROW(ImageFactory::SelectBits(&huge, kMono8, 0), GenICam::OutOfRangeException);
}

TEST_F(FactoryLimits, EveryOperationChecksThatTheFactoryIsOpenFirst) {
    CloseImageFactory();
    const std::vector<std::pair<const char*, std::function<void()>>> operations = {
        {"SelectBitsShallow", [] { ImageFactory::SelectBitsShallow(nullptr, 0, nullptr, kMono8, 0); }},
        {"DeinterleaveChannelsShallow", [] { ImageFactory::DeinterleaveChannelsShallow(nullptr, 0, nullptr); }},
        {"ConvertShallow", [] { ImageFactory::ConvertShallow(nullptr, 0, nullptr, kMono8); }},
        {"SelectBits", [] { ImageFactory::SelectBits(nullptr, kMono8, 0); }},
        {"SelectBitsLen", [] { ImageFactory::SelectBitsLen(nullptr, kMono8, 0); }},
        {"SelectBitsAndScale", [] { ImageFactory::SelectBitsAndScale(nullptr, kMono8, 0); }},
        {"DeinterleaveChannels", [] { ImageFactory::DeinterleaveChannels(nullptr); }},
        {"DeinterleaveChannelsLen", [] { ImageFactory::DeinterleaveChannelsLen(nullptr); }},
        {"SplitChannels", [] { ImageFactory::SplitChannels(nullptr); }},
        {"Convert", [] { ImageFactory::Convert(nullptr, kMono8); }},
        {"ConvertLen", [] { ImageFactory::ConvertLen(nullptr, kMono8); }},
        {"ProcessSoftwareLUT", [] { ImageFactory::ProcessSoftwareLUT(nullptr, nullptr, 0); }},
        {"Create", [] { ImageFactory::Create(nullptr, 0, 0, 0, kMono8); }},
        {"Shallow", [] { ImageFactory::Shallow(nullptr, 0, 0, 0, kMono8); }},
        {"Copy", [] { ImageFactory::Copy(nullptr); }},
        {"CreateCompressedImage", [] { ImageFactory::CreateCompressedImage(nullptr, 0, kMono8); }},
        {"DecompressImage", [] { ImageFactory::DecompressImage(nullptr); }},
        {"CompressImage", [] { ImageFactory::CompressImage(nullptr); }},
    };
    for (const auto& [name, call] : operations)
        EXPECT_EQ(TextOf(call), std::string("RuntimeException: Vireo SDK never initialized, open system "
                                            "(Vireo::OpenSystem) to initialize (") +
                                    name + " (ImageFactory, " + name + ")");
    OpenImageFactory();
}

} // namespace
} // namespace Vireo
