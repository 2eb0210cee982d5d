#include "Camera.h"

#include "ToolError.h"

namespace VireoTool {
namespace {

// Long enough for the virtual interfaces and for GigE Vision cameras on a local network.
constexpr unsigned long kDiscoveryTimeoutMs = 500;

} // namespace

CameraSystem::CameraSystem() {
    m_system = Vireo::OpenSystem();
    try {
        m_system->UpdateDevices(kDiscoveryTimeoutMs);
        m_devices = m_system->GetDevices();
    } catch (...) {
        Vireo::CloseSystem(m_system);
        throw;
    }
}

CameraSystem::~CameraSystem() {
    try {
        Vireo::CloseSystem(m_system);
    } catch (...) {
        // Nothing is left to report to at this point; the process is ending.
    }
}

const Vireo::DeviceInfo& CameraSystem::Find(const std::string& serial) const {
    if (m_devices.empty()) throw ToolError("no camera found");
    if (serial.empty()) return m_devices.front();
    for (const Vireo::DeviceInfo& info : m_devices)
        if (serial == info.SerialNumber().c_str()) return info;
    throw ToolError("no camera with serial number '" + serial + "' (vireo devices lists them)");
}

OpenCamera::OpenCamera(CameraSystem& system, const std::string& serial) : m_system(system) {
    const Vireo::DeviceInfo& info = system.Find(serial);
    m_serial = info.SerialNumber().c_str();
    m_device = system.System().CreateDevice(info);
}

OpenCamera::~OpenCamera() {
    try {
        m_system.System().DestroyDevice(m_device);
    } catch (...) {
        // As above: closing is best effort once the command has its result.
    }
}

} // namespace VireoTool
