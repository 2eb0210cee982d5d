#include "ProducerState.h"

#include "Errors.h"

namespace VirtualGenTL {

ProducerState& ProducerState::Instance() {
    static ProducerState state;
    return state;
}

std::vector<NetworkCamera> ProducerState::DefaultCameras() {
    auto identity = [](const char* serial, const char* name, uint64_t mac, uint32_t ip) {
        CameraIdentity id;
        id.serialNumber = serial;
        id.userDefinedName = name;
        id.macAddress = mac;
        id.ipAddress = ip;
        id.subnetMask = 0xFFFFFF00;
        id.defaultGateway = (ip & 0xFFFFFF00) | 1;
        return id;
    };
    auto grouped = [](CameraIdentity id) {
        id.groupEnable = true;
        id.groupSerial = "VG-0001";
        id.groupName = "Tarsum depth and colour pair";
        id.groupMemberCount = 2;
        return id;
    };
    return {
        {std::make_shared<VirtualCamera>(ColourCameraModel(), grouped(identity("VC2448C-0001", "colour", 0x0256495200A1, 0xC0A80A0B))), 0},
        {std::make_shared<VirtualCamera>(MonoCameraModel(), identity("VM1280M-0001", "mono", 0x0256495200A2, 0xC0A80A0C)), 0},
        {std::make_shared<VirtualCamera>(DepthCameraModel(), grouped(identity("VT640D-0001", "depth", 0x0256495200A3, 0xC0A80A0D))), 0},
        {std::make_shared<VirtualCamera>(MonoCameraModel(), identity("VM1280M-0002", "mono-2", 0x0256495200B1, 0xC0A8140B)), 1},
        {std::make_shared<VirtualCamera>(LinescanCameraModel(), identity("VL4096L-0001", "linescan", 0x0256495200B2, 0xC0A8140C)), 1},
        {std::make_shared<VirtualCamera>(MultiStreamCameraModel(), identity("VX2048S-0001", "multistream", 0x0256495200B3, 0xC0A8140D)), 1},
        {std::make_shared<VirtualCamera>(MonoCameraModel(), identity("VM1280M-0003", "remote", 0x0256495200C1, 0x0A000005)), 0, true},
    };
}

std::vector<NetworkCamera> ProducerState::CamerasOn(uint32_t interfaceIndex) {
    std::vector<NetworkCamera> found;
    for (const NetworkCamera& entry : cameras)
        if (entry.interfaceIndex == interfaceIndex) found.push_back(entry);
    return found;
}

void RequireInitialized() {
    if (!ProducerState::Instance().initialized.load(std::memory_order_acquire)) Fail(GenTL::GC_ERR_NOT_INITIALIZED, "GCInitLib has not been called");
}

thread_local const char* CurrentEntryPoint::s_function = nullptr;

namespace {

void CheckFault(const std::string& key) {
    ProducerState& state = ProducerState::Instance();
    std::lock_guard lock(state.mutex);
    const auto found = state.faults.find(key);
    if (found == state.faults.end()) return;
    if (found->second.callsBeforeFailure > 0) {
        --found->second.callsBeforeFailure;
        return;
    }
    const InjectedFault fault = found->second;
    state.faults.erase(found);
    state.faultCount = state.faults.size();
    throw ProducerError(fault.code, fault.text);
}

} // namespace

void CheckInjectedFault(const char* function) {
    if (ProducerState::Instance().faultCount.load(std::memory_order_acquire) == 0) return;
    CheckFault(function);
}

void CheckInjectedFaultOn(const std::string& moduleId) {
    if (ProducerState::Instance().faultCount.load(std::memory_order_acquire) == 0) return;
    const char* function = CurrentEntryPoint::Name();
    if (function != nullptr) CheckFault(ScopedFaultKey(function, moduleId.c_str()));
}

} // namespace VirtualGenTL
