// Depth-to-colour overlay against the virtual Tarsum pair: the calibration read from the
// cameras, and synthetic scenes whose projection is worked out by hand from the pinhole model.
#include <Vireo/ImageFactory.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/OverlayInfo.h>
#include <Vireo/PixelFormat.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include <GenTL/VirtualProducerControl.h>

#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/TextOf.h"

namespace Vireo {
namespace {

// The pair as the virtual producer states it.
constexpr double kFocal = 1800.0;
constexpr size_t kColourWidth = 2448, kColourHeight = 2048;
constexpr double kBaseline = -50.0;  // TranslationX, millimetres
constexpr double kScale = 0.25, kOffsetAB = -4096.0;

// Each colour pixel names its own column and row: low bytes in R and G, the high bits with a
// marker bit in B, so that no pixel inside the image is black.
std::vector<uint8_t> CoordinateColours(size_t width, size_t height) {
    std::vector<uint8_t> pixels(width * height * 3);
    for (size_t row = 0; row < height; ++row)
        for (size_t column = 0; column < width; ++column) {
            uint8_t* pixel = &pixels[(row * width + column) * 3];
            pixel[0] = uint8_t(column);
            pixel[1] = uint8_t(row);
            pixel[2] = uint8_t(0x80 | (column >> 8) | ((row >> 8) << 4));
        }
    return pixels;
}

struct Location {
    bool inside;
    size_t column, row;
};

Location Decode(const uint8_t* pixel) {
    if (pixel[0] == 0 && pixel[1] == 0 && pixel[2] == 0) return {false, 0, 0};
    return {true, size_t(pixel[0]) | size_t(pixel[2] & 0x0F) << 8, size_t(pixel[1]) | size_t((pixel[2] >> 4) & 0x07) << 8};
}

// Where the pinhole model puts a depth-camera point in a colour image of the given binning.
Location Expected(double x, double y, double z, int binningX = 1, int binningY = 1) {
    const double inverse = 1.0 / z;
    const double column = ((x + kBaseline) * inverse * kFocal + kColourWidth / 2.0) / binningX;
    const double row = (y * inverse * kFocal + kColourHeight / 2.0) / binningY;
    const bool inside = column > -1.0 && column < double(kColourWidth / binningX) && row > -1.0 &&
                        row < double(kColourHeight / binningY);
    return {inside, inside ? size_t(column) : 0, inside ? size_t(row) : 0};
}

// A plane facing the cameras at 1000 mm: columns 25 mm apart from X = -1595.75 mm, rows 20 mm
// apart from Y = -797.75 mm, wide enough to reach past the colour image on every side. The
// quarter millimetres keep every projection 0.35 pixels or more from a pixel border.
constexpr size_t kPlaneWidth = 128, kPlaneHeight = 80;
double PlaneX(size_t column) { return -1595.75 + 25.0 * double(column); }
double PlaneY(size_t row) { return -797.75 + 20.0 * double(row); }
constexpr double kPlaneZ = 1000.0;

// The plane's samples in the encoding the info states: coordinate = sample * scale + offset.
template <class Sample>
std::vector<uint8_t> PlaneImage(size_t channels, const OverlayInfo& code) {
    std::vector<Sample> samples;
    for (size_t row = 0; row < kPlaneHeight; ++row)
        for (size_t column = 0; column < kPlaneWidth; ++column) {
            samples.push_back(Sample((PlaneX(column) - code.GetCoordinateOffsetA()) / code.GetScale()));
            samples.push_back(Sample((PlaneY(row) - code.GetCoordinateOffsetB()) / code.GetScale()));
            samples.push_back(Sample((kPlaneZ - code.GetCoordinateOffsetC()) / code.GetScale()));
            if (channels == 4) samples.push_back(Sample(1234));  // confidence: not a coordinate
        }
    std::vector<uint8_t> bytes(samples.size() * sizeof(Sample));
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

class Overlay : public ::testing::Test {
protected:
    void SetUp() override {
        VirtualProducerClearFaults();
        system = OpenSystem();
        system->UpdateDevices(100);
        colour = Open("VC2448C-0001");
        depth = Open("VT640D-0001");
    }
    void TearDown() override {
        for (IImage* image : images) ImageFactory::Destroy(image);
        for (OverlayInfo* info : infos) ImageFactory::DestroyOverlayInfo(info);
        for (IDevice* device : opened) system->DestroyDevice(device);
        CloseSystem(system);
        VirtualProducerClearFaults();
    }
    IDevice* Open(const std::string& serial) {
        for (const DeviceInfo& info : system->GetDevices())
            if (serial == info.SerialNumber().c_str()) {
                opened.push_back(system->CreateDevice(info));
                return opened.back();
            }
        ADD_FAILURE() << "no camera " << serial;
        return nullptr;
    }
    OverlayInfo* Info() { return infos.emplace_back(ImageFactory::CreateOverlayInfo(colour, depth)); }
    IImage* Keep(IImage* image) { return images.emplace_back(image); }
    // The plane, encoded as the Tarsum encodes its samples unless `code` says otherwise.
    IImage* Plane(uint64_t format, const OverlayInfo* code = nullptr) {
        OverlayInfo_t tarsum;
        tarsum.scale = kScale;
        tarsum.coordinateOffsetA = tarsum.coordinateOffsetB = kOffsetAB;
        const OverlayInfo& encoding = code != nullptr ? *code : OverlayInfo(tarsum);
        std::vector<uint8_t> bytes;
        switch (PfncFormat(format)) {
        case PfncFormat::Coord3D_ABC16: bytes = PlaneImage<uint16_t>(3, encoding); break;
        case PfncFormat::Coord3D_ABCY16: bytes = PlaneImage<uint16_t>(4, encoding); break;
        case PfncFormat::Coord3D_ABC16s: bytes = PlaneImage<int16_t>(3, encoding); break;
        default: bytes = PlaneImage<float>(3, encoding); break;
        }
        return Keep(ImageFactory::Create(bytes.data(), bytes.size(), kPlaneWidth, kPlaneHeight, format));
    }
    IImage* ColourImage(size_t width, size_t height) {
        const std::vector<uint8_t> pixels = CoordinateColours(width, height);
        return Keep(ImageFactory::Create(pixels.data(), pixels.size(), width, height, uint64_t(PfncFormat::RGB8)));
    }
    // Checks every output pixel against the hand-made projection; answers how many landed.
    size_t CheckPlane(IImage* output, int binningX = 1, int binningY = 1) {
        size_t landed = 0;
        for (size_t row = 0; row < kPlaneHeight; ++row)
            for (size_t column = 0; column < kPlaneWidth; ++column) {
                const Location want = Expected(PlaneX(column), PlaneY(row), kPlaneZ, binningX, binningY);
                const Location got = Decode(output->GetData() + (row * kPlaneWidth + column) * 3);
                EXPECT_EQ(got.inside, want.inside) << "depth pixel " << column << ", " << row;
                if (!got.inside || !want.inside) continue;
                ++landed;
                EXPECT_EQ(got.column, want.column) << "depth pixel " << column << ", " << row;
                EXPECT_EQ(got.row, want.row) << "depth pixel " << column << ", " << row;
            }
        return landed;
    }

    ISystem* system = nullptr;
    IDevice* colour = nullptr;
    IDevice* depth = nullptr;
    std::vector<IDevice*> opened;
    std::vector<IImage*> images;
    std::vector<OverlayInfo*> infos;
};

TEST_F(Overlay, NullArgumentsAreRefusedByName) {
    EXPECT_EQ(TextOf([&] { ImageFactory::CreateOverlayInfo(nullptr, depth); }),
              "InvalidArgumentException: Chroma device is null when creating overlay info (ImageFactory, "
              "CreateOverlayInfo)");
    EXPECT_EQ(TextOf([&] { ImageFactory::CreateOverlayInfo(colour, nullptr); }),
              "InvalidArgumentException: Tarsum device is null when creating overlay info (ImageFactory, "
              "CreateOverlayInfo)");
    IImage* plane = Plane(uint64_t(PfncFormat::Coord3D_ABC16));
    IImage* picture = ColourImage(4, 4);
    OverlayInfo* info = Info();
    EXPECT_EQ(TextOf([&] { ImageFactory::Overlay(nullptr, picture, info); }),
              "InvalidArgumentException: Depth image is null when overlaying image (ImageFactory, Overlay)");
    EXPECT_EQ(TextOf([&] { ImageFactory::Overlay(plane, nullptr, info); }),
              "InvalidArgumentException: RGB image is null when overlaying image (ImageFactory, Overlay)");
    EXPECT_EQ(TextOf([&] { ImageFactory::Overlay(plane, picture, nullptr); }),
              "InvalidArgumentException: Overlay info is null when overlaying image (ImageFactory, Overlay)");
}

TEST_F(Overlay, TheInfoHoldsTheCalibrationBothCamerasPublish) {
    const OverlayInfo copy = *Info();  // the info is a value: a copy outlives the original
    ImageFactory::DestroyOverlayInfo(infos.back());
    infos.pop_back();
    EXPECT_EQ(copy.GetFocalLengthX(), kFocal);
    EXPECT_EQ(copy.GetFocalLengthY(), kFocal);
    EXPECT_EQ(copy.GetOpticalCenterX(), kColourWidth / 2.0);
    EXPECT_EQ(copy.GetOpticalCenterY(), kColourHeight / 2.0);
    EXPECT_EQ(copy.GetDistortionModel(), "BrownConrady");
    EXPECT_EQ(copy.GetLensDistortionValues(), std::vector<double>(8, 0.0));
    EXPECT_EQ(copy.GetRotationValues(), std::vector<double>(3, 0.0));
    EXPECT_EQ(copy.GetTranslationValues(), (std::vector<double>{kBaseline, 0.0, 0.0}));
    EXPECT_EQ(copy.GetBinningHorizointal(), 1);
    EXPECT_EQ(copy.GetBinningVertical(), 1);
    EXPECT_EQ(copy.GetScale(), kScale);
    EXPECT_EQ(copy.GetCoordinateOffsetA(), kOffsetAB);
    EXPECT_EQ(copy.GetCoordinateOffsetB(), kOffsetAB);
    EXPECT_EQ(copy.GetCoordinateOffsetC(), 0.0);
}

TEST_F(Overlay, ASelectedValueIsReadForTheEntryNamed) {
    GenApi::INodeMap* features = depth->GetNodeMap();
    const char* selector = "DeviceGroupMemberTransformValueSelector";
    const char* value = "DeviceGroupMemberTransformValue";
    EXPECT_EQ(getNodeValueFromSelector<double>(features, selector, "TranslationX", value), kBaseline);
    EXPECT_EQ(getNodeValueFromSelector<double>(features, selector, "TranslationY", value), 0.0);
    EXPECT_EQ(GetNodeValue<GenICam::gcstring>(features, selector), "TranslationY") << "the selector stays";
    // Other value types go the same way: chunk CRC is the one chunk enabled by default.
    EXPECT_TRUE(getNodeValueFromSelector<bool>(features, "ChunkSelector", "CRC", "ChunkEnable"));
    EXPECT_FALSE(getNodeValueFromSelector<bool>(features, "ChunkSelector", "Timestamp", "ChunkEnable"));
    EXPECT_EQ(TextOf([&] { getNodeValueFromSelector<double>(features, selector, "TranslationW", value); })
                  .rfind("LogicalErrorException: 'TranslationW' is invalid EnumEntry.", 0),
              0u);
}

TEST_F(Overlay, APlaneLandsWherePinholeGeometryPutsIt) {
    OverlayInfo* info = Info();
    IImage* picture = ColourImage(kColourWidth, kColourHeight);
    for (PfncFormat format : {PfncFormat::Coord3D_ABC16, PfncFormat::Coord3D_ABCY16, PfncFormat::Coord3D_ABC16s,
                              PfncFormat::Coord3D_ABC32f}) {
        SCOPED_TRACE(GetPixelFormatName(format));
        IImage* output = Keep(ImageFactory::Overlay(Plane(uint64_t(format)), picture, info));
        EXPECT_EQ(output->GetWidth(), kPlaneWidth);
        EXPECT_EQ(output->GetHeight(), kPlaneHeight);
        EXPECT_EQ(output->GetPixelFormat(), uint64_t(PfncFormat::RGB8));
        EXPECT_EQ(output->GetSizeFilled(), kPlaneWidth * kPlaneHeight * 3);
        const size_t landed = CheckPlane(output);
        // The plane is wider than the view on every side: some points land, some do not.
        EXPECT_GT(landed, kPlaneWidth * kPlaneHeight / 4);
        EXPECT_LT(landed, kPlaneWidth * kPlaneHeight);
    }
    // Samples are decoded with each coordinate's own offset and the info's scale.
    OverlayInfo_t values = info->GetValues();
    values.scale = 0.125;
    values.coordinateOffsetA = -2000.0;
    values.coordinateOffsetB = -1000.0;
    values.coordinateOffsetC = 500.0;
    OverlayInfo recoded(values);
    const uint64_t format = uint64_t(PfncFormat::Coord3D_ABC16);
    IImage* output = Keep(ImageFactory::Overlay(Plane(format, &recoded), picture, &recoded));
    EXPECT_GT(CheckPlane(output), kPlaneWidth * kPlaneHeight / 4);
}

TEST_F(Overlay, BinningTwoHalvesTheColourCoordinates) {
    GenApi::INodeMap* features = colour->GetNodeMap();
    for (const auto& [binningX, binningY] : {std::pair{2, 2}, std::pair{1, 2}}) {
        SCOPED_TRACE(std::to_string(binningX) + " x " + std::to_string(binningY));
        SetNodeValue<int64_t>(features, "BinningHorizontal", binningX);
        SetNodeValue<int64_t>(features, "BinningVertical", binningY);
        OverlayInfo* info = Info();
        SetNodeValue<int64_t>(features, "BinningHorizontal", 1);
        SetNodeValue<int64_t>(features, "BinningVertical", 1);
        ASSERT_EQ(info->GetBinningHorizointal(), binningX);
        ASSERT_EQ(info->GetBinningVertical(), binningY);
        IImage* output = Keep(ImageFactory::Overlay(Plane(uint64_t(PfncFormat::Coord3D_ABC16)),
                                                    ColourImage(kColourWidth / binningX, kColourHeight / binningY), info));
        EXPECT_GT(CheckPlane(output, binningX, binningY), kPlaneWidth * kPlaneHeight / 4);
    }
}

TEST_F(Overlay, ImagesOfOtherLayoutsAreRefusedClearly) {
    OverlayInfo* info = Info();
    IImage* plane = Plane(uint64_t(PfncFormat::Coord3D_ABC16));
    const std::vector<uint8_t> bytes(64 * 4 * 2);
    IImage* grey = Keep(ImageFactory::Create(bytes.data(), 64, 8, 8, uint64_t(PfncFormat::Mono8)));
    IImage* bgra = Keep(ImageFactory::Create(bytes.data(), 256, 8, 8, uint64_t(PfncFormat::BGRa8)));
    EXPECT_EQ(TextOf([&] { ImageFactory::Overlay(plane, grey, info); }),
              "InvalidArgumentException: RGB image must have 3 bytes per pixel when overlaying image; Mono8 has 8 "
              "bits per pixel (ImageFactory, Overlay)");
    EXPECT_EQ(TextOf([&] { ImageFactory::Overlay(plane, bgra, info); }),
              "InvalidArgumentException: RGB image must have 3 bytes per pixel when overlaying image; BGRa8 has 32 "
              "bits per pixel (ImageFactory, Overlay)");
    // Depth alone, the other format the Tarsum streams, has no A and B to place a point with.
    IImage* depthOnly = Keep(ImageFactory::Create(bytes.data(), 128, 8, 8, uint64_t(PfncFormat::Coord3D_C16)));
    EXPECT_EQ(TextOf([&] { ImageFactory::Overlay(depthOnly, ColourImage(8, 8), info); }),
              "InvalidArgumentException: Depth image pixel format Coord3D_C16 is not supported when overlaying "
              "image (Coord3D_ABC16, Coord3D_ABC16s, Coord3D_ABCY16, Coord3D_ABCY16s or Coord3D_ABC32f) "
              "(ImageFactory, Overlay)");
    OverlayInfo_t values = info->GetValues();
    values.lensDistortionValues.resize(3);
    OverlayInfo odd(values);
    EXPECT_EQ(TextOf([&] { ImageFactory::Overlay(plane, ColourImage(8, 8), &odd); }),
              "InvalidArgumentException: Overlay info holds 3 lens distortion values, not 0, 4, 5, 8, 12 or 14, "
              "when overlaying image (ImageFactory, Overlay)");
}

TEST_F(Overlay, NodeReadFailuresPassThrough) {
    // A mono camera has no calibration; a colour camera no depth features.
    IDevice* mono = Open("VM1280M-0001");
    EXPECT_EQ(TextOf([&] { ImageFactory::CreateOverlayInfo(mono, depth); }),
              "InvalidArgumentException: Node name invalid: CalibFocalLengthX (NodeAccess, GetNodeValue)");
    EXPECT_EQ(TextOf([&] { ImageFactory::CreateOverlayInfo(colour, colour); }),
              "InvalidArgumentException: Node name invalid: DeviceGroupMemberTransformValueSelector (NodeAccess, "
              "SetNodeValue)");
    // The depth camera stops answering: the producer's error comes through as the port tells it.
    ASSERT_EQ(VirtualProducerSetConnected("VT640D-0001", 0), GenTL::GC_ERR_SUCCESS);
    const std::string text = TextOf([&] { ImageFactory::CreateOverlayInfo(colour, depth); });
    ASSERT_EQ(VirtualProducerSetConnected("VT640D-0001", 1), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(text.rfind("RuntimeException (GC_ERR_IO): Unable to ", 0), 0u) << text;
    EXPECT_NE(text.find("the device does not answer"), std::string::npos) << text;
}

// The whole path on real frames: the Tarsum's own depth image of its wall at 1000 mm over a
// colour frame, checked against the same geometry.
TEST_F(Overlay, FramesOfTheVirtualPairOverlay) {
    OverlayInfo* info = Info();
    SetNodeValue<GenICam::gcstring>(colour->GetNodeMap(), "PixelFormat", "RGB8");
    depth->StartStream(2);
    colour->StartStream(2);
    IImage* depthFrame = depth->GetImage(5000);
    IImage* colourFrame = colour->GetImage(5000);
    ASSERT_NE(depthFrame, nullptr);
    ASSERT_NE(colourFrame, nullptr);
    ASSERT_EQ(depthFrame->GetPixelFormat(), uint64_t(PfncFormat::Coord3D_ABCY16));
    IImage* output = Keep(ImageFactory::Overlay(depthFrame, colourFrame, info));
    size_t matching = 0;
    for (size_t row = 0; row < depthFrame->GetHeight(); row += 7)
        for (size_t column = 0; column < depthFrame->GetWidth(); column += 7) {
            // The producer's wall: millimetres seen through a 525-pixel pinhole, in quarters.
            const double x = std::floor(((column - 320.0) * 1000.0 / 525.0 + 4096.0) / kScale) * kScale - 4096.0;
            const double y = std::floor(((row - 240.0) * 1000.0 / 525.0 + 4096.0) / kScale) * kScale - 4096.0;
            const Location want = Expected(x, y, kPlaneZ);
            ASSERT_TRUE(want.inside);
            const uint8_t* got = output->GetData() + (row * depthFrame->GetWidth() + column) * 3;
            const uint8_t* source = colourFrame->GetData() + (want.row * kColourWidth + want.column) * 3;
            matching += std::memcmp(got, source, 3) == 0;
        }
    EXPECT_EQ(matching, ((480 + 6) / 7) * ((640 + 6) / 7));
    depth->RequeueBuffer(depthFrame);
    colour->RequeueBuffer(colourFrame);
    depth->StopStream();
    colour->StopStream();
    SetNodeValue<GenICam::gcstring>(colour->GetNodeMap(), "PixelFormat", "BayerRG8");
}

} // namespace
} // namespace Vireo
