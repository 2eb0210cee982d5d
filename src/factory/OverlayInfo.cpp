#include <Vireo/OverlayInfo.h>

namespace Vireo {

OverlayInfo::OverlayInfo() = default;
OverlayInfo::OverlayInfo(const OverlayInfo_t& values) : m_values(values) {}

double OverlayInfo::GetFocalLengthX() const { return m_values.focalLengthX; }
double OverlayInfo::GetFocalLengthY() const { return m_values.focalLengthY; }
double OverlayInfo::GetOpticalCenterX() const { return m_values.opticalCenterX; }
double OverlayInfo::GetOpticalCenterY() const { return m_values.opticalCenterY; }
GenICam::gcstring OverlayInfo::GetDistortionModel() const { return m_values.distortionModel; }
std::vector<double> OverlayInfo::GetLensDistortionValues() const { return m_values.lensDistortionValues; }
std::vector<double> OverlayInfo::GetRotationValues() const { return m_values.rotationValues; }
std::vector<double> OverlayInfo::GetTranslationValues() const { return m_values.translationValues; }
int64_t OverlayInfo::GetBinningHorizointal() const { return m_values.binningHorizontal; }
int64_t OverlayInfo::GetBinningVertical() const { return m_values.binningVertical; }
double OverlayInfo::GetScale() const { return m_values.scale; }
double OverlayInfo::GetCoordinateOffsetA() const { return m_values.coordinateOffsetA; }
double OverlayInfo::GetCoordinateOffsetB() const { return m_values.coordinateOffsetB; }
double OverlayInfo::GetCoordinateOffsetC() const { return m_values.coordinateOffsetC; }
const OverlayInfo_t& OverlayInfo::GetValues() const { return m_values; }

} // namespace Vireo
