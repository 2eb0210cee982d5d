// The calibration that aligns a time-of-flight depth camera with a colour camera mounted beside
// it: what ImageFactory::Overlay needs to give every depth pixel the colour it sees.
//
// ImageFactory::CreateOverlayInfo reads it from the two cameras' remote device node maps (the
// camera's own features, IDevice::GetNodeMap), where both cameras publish their calibration:
//   colour camera: CalibFocalLengthX/Y, CalibOpticalCenterX/Y (pixels of the unbinned sensor),
//                  CalibLensDistortionModel, CalibLensDistortionValue for
//                  CalibLensDistortionValueSelector "Value0" to "Value7", BinningHorizontal,
//                  BinningVertical;
//   depth camera:  DeviceGroupMemberTransformValue for DeviceGroupMemberTransformValueSelector
//                  "RotationAxisAngleVector0" to "RotationAxisAngleVector2" and "TranslationX"
//                  to "TranslationZ" (depth camera coordinates to colour camera coordinates:
//                  a point P of the depth camera is R * P + T in the colour camera, R the
//                  rotation of the axis-angle vector), Scan3dCoordinateScale, and
//                  Scan3dCoordinateOffset for Scan3dCoordinateSelector "CoordinateA" to
//                  "CoordinateC".
// Reading leaves each selector on the last entry read.
//
// The values can also come from elsewhere (a calibration file): build an OverlayInfo_t and
// construct the OverlayInfo from it.
#ifndef VIREO_OVERLAYINFO_H
#define VIREO_OVERLAYINFO_H

#include <cstdint>
#include <vector>

#include <Base/GCString.h>
#include <Vireo/Config.h>

namespace Vireo {

struct OverlayInfo_t {
    // Colour camera intrinsics, in pixels of the sensor at binning 1.
    double focalLengthX = 0.0;
    double focalLengthY = 0.0;
    double opticalCenterX = 0.0;
    double opticalCenterY = 0.0;
    GenICam::gcstring distortionModel;
    // Lens distortion coefficients in OpenCV's order: k1, k2, p1, p2, k3, k4, k5, k6 (an empty
    // list, or 4, 5, 8, 12 or 14 values).
    std::vector<double> lensDistortionValues;
    // Axis-angle rotation vector (radians) and translation (the depth camera's unit, millimetres
    // on Tarsum cameras) from depth to colour camera coordinates; three values each.
    std::vector<double> rotationValues;
    std::vector<double> translationValues;
    // The colour camera's binning: the colour image is the sensor divided by these.
    int64_t binningHorizontal = 1;
    int64_t binningVertical = 1;
    // Depth samples to coordinates: coordinate = sample * scale + offset.
    double scale = 1.0;
    double coordinateOffsetA = 0.0;
    double coordinateOffsetB = 0.0;
    double coordinateOffsetC = 0.0;
};

class VIREO_API OverlayInfo {
public:
    OverlayInfo();
    explicit OverlayInfo(const OverlayInfo_t& values);

    double GetFocalLengthX() const;
    double GetFocalLengthY() const;
    double GetOpticalCenterX() const;
    double GetOpticalCenterY() const;
    GenICam::gcstring GetDistortionModel() const;
    std::vector<double> GetLensDistortionValues() const;
    std::vector<double> GetRotationValues() const;
    std::vector<double> GetTranslationValues() const;
    int64_t GetBinningHorizointal() const;
    int64_t GetBinningVertical() const;
    double GetScale() const;
    double GetCoordinateOffsetA() const;
    double GetCoordinateOffsetB() const;
    double GetCoordinateOffsetC() const;
    // Every value at once.
    const OverlayInfo_t& GetValues() const;

private:
    OverlayInfo_t m_values;
};

} // namespace Vireo

#endif
