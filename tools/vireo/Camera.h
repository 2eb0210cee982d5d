// The system and, when a command needs one, the camera it works on; both are given back
// however the command ends.
#ifndef VIREO_TOOL_CAMERA_H
#define VIREO_TOOL_CAMERA_H

#include <string>
#include <vector>

#include <Vireo/Vireo.h>

namespace VireoTool {

class CameraSystem {
public:
    // Opens the system and scans every interface for cameras.
    CameraSystem();
    CameraSystem(const CameraSystem&) = delete;
    CameraSystem& operator=(const CameraSystem&) = delete;
    ~CameraSystem();

    Vireo::ISystem& System() { return *m_system; }
    const std::vector<Vireo::DeviceInfo>& Devices() const { return m_devices; }

    // The camera with this serial number, or the first camera found for an empty serial;
    // a ToolError when there is none.
    const Vireo::DeviceInfo& Find(const std::string& serial) const;

private:
    Vireo::ISystem* m_system = nullptr;
    std::vector<Vireo::DeviceInfo> m_devices;
};

// An open camera, closed (and its stream stopped) on destruction.
class OpenCamera {
public:
    OpenCamera(CameraSystem& system, const std::string& serial);
    OpenCamera(const OpenCamera&) = delete;
    OpenCamera& operator=(const OpenCamera&) = delete;
    ~OpenCamera();

    Vireo::IDevice& Device() { return *m_device; }
    GenApi::INodeMap& Features() { return *m_device->GetNodeMap(); }
    const std::string& Serial() const { return m_serial; }

private:
    CameraSystem& m_system;
    Vireo::IDevice* m_device = nullptr;
    std::string m_serial;
};

} // namespace VireoTool

#endif
