// Depth-to-colour overlay: every 3D point of a time-of-flight depth image is projected into
// the colour image of the camera calibrated with it and takes the colour it lands on, giving a
// colour image aligned pixel for pixel with the depth image.
#include <Vireo/ImageFactory.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>

#include <Vireo/IDevice.h>
#include <Vireo/Image.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/PixelFormat.h>

#include "../transport/Errors.h"
#include "FactoryChecks.h"

namespace Vireo::ImageFactory {
namespace {

constexpr const char* kUnit = "ImageFactory";
constexpr const char* kOverlay = "Overlay";

using F = PfncFormat;

enum class SampleType { Unsigned16, Signed16, Float32 };

// How the coordinates of one depth pixel are stored: A, B, C first, then `channels - 3`
// channels the overlay does not use.
struct DepthLayout {
    SampleType type;
    size_t channels;
    size_t sampleBytes;
};

bool DepthLayoutOf(uint64_t format, DepthLayout& layout) {
    switch (F(format)) {
    case F::Coord3D_ABC16: layout = {SampleType::Unsigned16, 3, 2}; return true;
    case F::Coord3D_ABC16s: layout = {SampleType::Signed16, 3, 2}; return true;
    case F::Coord3D_ABCY16: layout = {SampleType::Unsigned16, 4, 2}; return true;
    case F::Coord3D_ABCY16s: layout = {SampleType::Signed16, 4, 2}; return true;
    case F::Coord3D_ABC32f: layout = {SampleType::Float32, 3, 4}; return true;
    default: return false;
    }
}

// One sample; memcpy since a buffer from elsewhere promises no alignment.
double SampleAt(const uint8_t* at, SampleType type) {
    switch (type) {
    case SampleType::Unsigned16: {
        uint16_t value;
        std::memcpy(&value, at, sizeof value);
        return value;
    }
    case SampleType::Signed16: {
        int16_t value;
        std::memcpy(&value, at, sizeof value);
        return value;
    }
    case SampleType::Float32: {
        float value;
        std::memcpy(&value, at, sizeof value);
        return value;
    }
    }
    return 0.0;
}

[[noreturn]] void Refuse(const std::string& message) { VIREO_THROW_PLAIN(InvalidArgument, message, kUnit, kOverlay); }

// One overlay: the checks of both images and the info, the output's geometry, and the work.
class ImageFactoryOverlay {
public:
    ImageFactoryOverlay(IImage* depth, IImage* colour, const OverlayInfo_t& info)
        : m_depth(depth), m_colour(colour), m_info(info) {
        const uint64_t depthFormat = depth->GetPixelFormat();
        if (!DepthLayoutOf(depthFormat, m_layout))
            Refuse(std::string("Depth image pixel format ") + GetPixelFormatName(depthFormat) +
                   " is not supported when overlaying image (Coord3D_ABC16, Coord3D_ABC16s, Coord3D_ABCY16, "
                   "Coord3D_ABCY16s or Coord3D_ABC32f)");
        const uint64_t depthBytes = uint64_t(Width()) * Height() * m_layout.channels * m_layout.sampleBytes;
        if (depth->GetSizeFilled() < depthBytes)
            Refuse("Depth image holds " + std::to_string(depth->GetSizeFilled()) + " bytes, fewer than the " +
                   std::to_string(depthBytes) + " its geometry needs, when overlaying image");

        const uint64_t colourFormat = colour->GetPixelFormat();
        if (GetBitsPerPixel(colourFormat) != 24)
            Refuse(std::string("RGB image must have 3 bytes per pixel when overlaying image; ") +
                   GetPixelFormatName(colourFormat) + " has " + std::to_string(GetBitsPerPixel(colourFormat)) +
                   " bits per pixel");
        const uint64_t colourBytes = uint64_t(colour->GetWidth()) * colour->GetHeight() * 3;
        if (colour->GetSizeFilled() < colourBytes)
            Refuse("RGB image holds " + std::to_string(colour->GetSizeFilled()) + " bytes, fewer than the " +
                   std::to_string(colourBytes) + " its geometry needs, when overlaying image");

        if (info.rotationValues.size() != 3 || info.translationValues.size() != 3)
            Refuse("Overlay info must hold three rotation and three translation values when overlaying image");
        const size_t coefficients = info.lensDistortionValues.size();
        if (coefficients != 0 && coefficients != 4 && coefficients != 5 && coefficients != 8 && coefficients != 12 &&
            coefficients != 14)
            Refuse("Overlay info holds " + std::to_string(coefficients) +
                   " lens distortion values, not 0, 4, 5, 8, 12 or 14, when overlaying image");
        if (info.binningHorizontal < 1 || info.binningVertical < 1)
            Refuse("Overlay info binning must be at least 1 when overlaying image");
    }

    size_t Width() const { return m_depth->GetWidth(); }
    size_t Height() const { return m_depth->GetHeight(); }
    uint64_t PixelFormat() const { return m_colour->GetPixelFormat(); }
    size_t Len() const { return Width() * Height() * 3; }

    // Fills `output` (Len bytes, zeroed by the caller).
    void Run(uint8_t* output) const {
        const size_t count = Width() * Height();
        if (count == 0) return;
        std::vector<cv::Point2d> projected;
        try {
            cv::projectPoints(Points(count), cv::Mat(m_info.rotationValues), cv::Mat(m_info.translationValues),
                              CameraMatrix(), cv::Mat(m_info.lensDistortionValues), projected);
        } catch (const cv::Exception& error) {
            VIREO_THROW_PLAIN(Runtime, std::string("Projection failed when overlaying image: ") + error.what(), kUnit,
                              kOverlay);
        }
        const size_t colourWidth = m_colour->GetWidth(), colourHeight = m_colour->GetHeight();
        const uint8_t* colour = m_colour->GetData();
        const double binningX = double(m_info.binningHorizontal), binningY = double(m_info.binningVertical);
        for (size_t index = 0; index < count; ++index) {
            const double x = projected[index].x / binningX, y = projected[index].y / binningY;
            // Truncation toward zero keeps (-1, 0) inside; testing before converting keeps huge
            // and non-finite projections (NaN depth, points on the camera plane) out of the cast.
            if (!(x > -1.0 && x < double(colourWidth) && y > -1.0 && y < double(colourHeight))) continue;
            const size_t column = size_t(x), row = size_t(y);
            std::memcpy(output + index * 3, colour + (row * colourWidth + column) * 3, 3);
        }
    }

private:
    cv::Matx33d CameraMatrix() const {
        return {m_info.focalLengthX, 0.0, m_info.opticalCenterX, 0.0, m_info.focalLengthY, m_info.opticalCenterY,
                0.0, 0.0, 1.0};
    }

    // The depth image's points, one row of X, Y, Z per pixel.
    cv::Mat Points(size_t count) const {
        cv::Mat points(int(count), 3, CV_64F);
        const double offsets[3] = {m_info.coordinateOffsetA, m_info.coordinateOffsetB, m_info.coordinateOffsetC};
        const size_t pixelBytes = m_layout.channels * m_layout.sampleBytes;
        const uint8_t* pixel = m_depth->GetData();
        for (size_t index = 0; index < count; ++index, pixel += pixelBytes) {
            auto* row = points.ptr<double>(int(index));
            for (size_t axis = 0; axis < 3; ++axis)
                row[axis] = SampleAt(pixel + axis * m_layout.sampleBytes, m_layout.type) * m_info.scale + offsets[axis];
        }
        return points;
    }

    IImage* m_depth;
    IImage* m_colour;
    const OverlayInfo_t& m_info;
    DepthLayout m_layout{};
};

double ReadDouble(GenApi::INodeMap* map, const char* name) { return GetNodeValue<double>(map, name); }

double ReadSelected(GenApi::INodeMap* map, const char* selector, const std::string& entry, const char* value) {
    return getNodeValueFromSelector<double>(map, selector, entry.c_str(), value);
}

} // namespace

OverlayInfo* CreateOverlayInfo(IDevice* pChromaDevice, IDevice* pDepthDevice) try {
    constexpr const char* name = "CreateOverlayInfo";
    CheckInit(name);
    if (pChromaDevice == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Chroma device is null when creating overlay info", kUnit, name);
    if (pDepthDevice == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Tarsum device is null when creating overlay info", kUnit, name);
    GenApi::INodeMap* colour = pChromaDevice->GetNodeMap();
    GenApi::INodeMap* depth = pDepthDevice->GetNodeMap();

    OverlayInfo_t values;
    values.focalLengthX = ReadDouble(colour, "CalibFocalLengthX");
    values.focalLengthY = ReadDouble(colour, "CalibFocalLengthY");
    values.opticalCenterX = ReadDouble(colour, "CalibOpticalCenterX");
    values.opticalCenterY = ReadDouble(colour, "CalibOpticalCenterY");
    values.distortionModel = GetNodeValue<GenICam::gcstring>(colour, "CalibLensDistortionModel");
    for (int index = 0; index < 8; ++index)
        values.lensDistortionValues.push_back(ReadSelected(colour, "CalibLensDistortionValueSelector",
                                                           "Value" + std::to_string(index), "CalibLensDistortionValue"));
    for (const char* entry : {"RotationAxisAngleVector0", "RotationAxisAngleVector1", "RotationAxisAngleVector2"})
        values.rotationValues.push_back(
            ReadSelected(depth, "DeviceGroupMemberTransformValueSelector", entry, "DeviceGroupMemberTransformValue"));
    for (const char* entry : {"TranslationX", "TranslationY", "TranslationZ"})
        values.translationValues.push_back(
            ReadSelected(depth, "DeviceGroupMemberTransformValueSelector", entry, "DeviceGroupMemberTransformValue"));
    values.binningHorizontal = GetNodeValue<int64_t>(colour, "BinningHorizontal");
    values.binningVertical = GetNodeValue<int64_t>(colour, "BinningVertical");
    values.scale = ReadDouble(depth, "Scan3dCoordinateScale");
    values.coordinateOffsetA = ReadSelected(depth, "Scan3dCoordinateSelector", "CoordinateA", "Scan3dCoordinateOffset");
    values.coordinateOffsetB = ReadSelected(depth, "Scan3dCoordinateSelector", "CoordinateB", "Scan3dCoordinateOffset");
    values.coordinateOffsetC = ReadSelected(depth, "Scan3dCoordinateSelector", "CoordinateC", "Scan3dCoordinateOffset");
    return new OverlayInfo(values);
} catch (const std::bad_alloc&) {
    OutOfMemory("CreateOverlayInfo");
}

void DestroyOverlayInfo(OverlayInfo* pInfo) { delete pInfo; }

IImage* Overlay(IImage* pDepthImage, IImage* pRgbImage, OverlayInfo* pInfo) try {
    CheckInit(kOverlay);
    if (pDepthImage == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Depth image is null when overlaying image", kUnit, kOverlay);
    if (pRgbImage == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "RGB image is null when overlaying image", kUnit, kOverlay);
    if (pInfo == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Overlay info is null when overlaying image", kUnit, kOverlay);
    // Sizes that memory cannot hold are refused before any is computed from them. A depth
    // image without pixels gives an overlay without pixels.
    CheckedLength(pDepthImage->GetWidth(), pDepthImage->GetHeight(), pDepthImage->GetPixelFormat(), kOverlay);
    CheckedLength(pRgbImage->GetWidth(), pRgbImage->GetHeight(), pRgbImage->GetPixelFormat(), kOverlay);
    const ImageFactoryOverlay job(pDepthImage, pRgbImage, pInfo->GetValues());
    std::unique_ptr<uint8_t[]> block(NewBlock(job.Len(), true, kOverlay));
    job.Run(block.get());
    auto* image = new Image(block.get(), job.Len(), job.Width(), job.Height(), job.PixelFormat());
    block.release();
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory(kOverlay);
}

} // namespace Vireo::ImageFactory
