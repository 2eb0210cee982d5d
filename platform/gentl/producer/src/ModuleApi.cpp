// The system, interface and device functions of the GenTL C API.
#include "Modules.h"
#include "OpenModules.h"
#include "ProducerState.h"

using namespace VirtualGenTL;

namespace VirtualGenTL {
void CloseEverything();
void ForgetEventsOf(void* source);
} // namespace VirtualGenTL

namespace {

std::string RequiredId(const char* id, const char* what) {
    if (id == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, std::string(what) + " is null");
    return id;
}

} // namespace

namespace GenTL {

GC_ERROR TLOpen(TL_HANDLE* phSystem) {
    return Guard("TLOpen", [&] {
        RequireInitialized();
        Required(phSystem, "the system handle");
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        if (state.system) Fail(GC_ERR_RESOURCE_IN_USE, "the system module is already open");
        state.system = std::make_shared<System>();
        *phSystem = Handles::Add(state.system);
    });
}

GC_ERROR TLClose(TL_HANDLE hSystem) {
    return Guard("TLClose", [&] {
        OpenSystem(hSystem);
        CloseEverything();
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        state.system.reset();
    });
}

GC_ERROR TLGetInfo(TL_HANDLE hSystem, TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return Guard("TLGetInfo", [&] {
        OpenSystem(hSystem);
        InfoAnswer answer(piType, pBuffer, piSize);
        System::Info(iInfoCmd, answer);
    });
}

GC_ERROR TLGetNumInterfaces(TL_HANDLE hSystem, uint32_t* piNumIfaces) {
    return Guard("TLGetNumInterfaces", [&] {
        *Required(piNumIfaces, "the count") = uint32_t(OpenSystem(hSystem)->Interfaces().size());
    });
}

GC_ERROR TLGetInterfaceID(TL_HANDLE hSystem, uint32_t iIndex, char* sID, size_t* piSize) {
    return Guard("TLGetInterfaceID", [&] {
        const auto interfaces = OpenSystem(hSystem)->Interfaces();
        if (iIndex >= interfaces.size()) Fail(GC_ERR_INVALID_INDEX, "no interface " + std::to_string(iIndex));
        AnswerString(interfaces[iIndex]->Id(), sID, Required(piSize, "the size"));
    });
}

GC_ERROR TLGetInterfaceInfo(TL_HANDLE hSystem, const char* sIfaceID, INTERFACE_INFO_CMD iInfoCmd,
                            INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return Guard("TLGetInterfaceInfo", [&] {
        const std::string id = RequiredId(sIfaceID, "the interface ID");
        const auto iface = OpenSystem(hSystem)->FindInterface(id);
        if (!iface) Fail(GC_ERR_INVALID_ID, "no interface " + id);
        InfoAnswer answer(piType, pBuffer, piSize);
        iface->Info(iInfoCmd, answer);
    });
}

GC_ERROR TLOpenInterface(TL_HANDLE hSystem, const char* sIfaceID, IF_HANDLE* phIface) {
    return Guard("TLOpenInterface", [&] {
        const std::string id = RequiredId(sIfaceID, "the interface ID");
        Required(phIface, "the interface handle");
        const auto iface = OpenSystem(hSystem)->FindInterface(id);
        if (!iface) Fail(GC_ERR_INVALID_ID, "no interface " + id);
        if (iface->Handle() != nullptr && Handles::Find(iface->Handle()))
            Fail(GC_ERR_RESOURCE_IN_USE, "interface " + id + " is already open");
        *phIface = Handles::Add(iface);
    });
}

GC_ERROR TLUpdateInterfaceList(TL_HANDLE hSystem, bool8_t* pbChanged, uint64_t /*iTimeout*/) {
    return Guard("TLUpdateInterfaceList", [&] {
        OpenSystem(hSystem);
        if (pbChanged != nullptr) *pbChanged = 0;  // the adapters are fixed
    });
}

GC_ERROR IFClose(IF_HANDLE hIface) {
    return Guard("IFClose", [&] {
        OpenInterface(hIface);
        ForgetEventsOf(hIface);
        Handles::Remove(hIface);
    });
}

GC_ERROR IFGetInfo(IF_HANDLE hIface, INTERFACE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return Guard("IFGetInfo", [&] {
        const auto iface = OpenInterface(hIface);
        InfoAnswer answer(piType, pBuffer, piSize);
        iface->Info(iInfoCmd, answer);
    });
}

GC_ERROR IFGetNumDevices(IF_HANDLE hIface, uint32_t* piNumDevices) {
    return Guard("IFGetNumDevices", [&] {
        *Required(piNumDevices, "the count") = uint32_t(OpenInterface(hIface)->DeviceIds().size());
    });
}

GC_ERROR IFGetDeviceID(IF_HANDLE hIface, uint32_t iIndex, char* sIDeviceID, size_t* piSize) {
    return Guard("IFGetDeviceID", [&] {
        const auto ids = OpenInterface(hIface)->DeviceIds();
        if (iIndex >= ids.size()) Fail(GC_ERR_INVALID_INDEX, "no device " + std::to_string(iIndex));
        AnswerString(ids[iIndex], sIDeviceID, Required(piSize, "the size"));
    });
}

GC_ERROR IFUpdateDeviceList(IF_HANDLE hIface, bool8_t* pbChanged, uint64_t iTimeout) {
    return Guard("IFUpdateDeviceList", [&] {
        const bool changed = OpenInterface(hIface)->UpdateDeviceList(iTimeout);
        if (pbChanged != nullptr) *pbChanged = changed ? 1 : 0;
    });
}

GC_ERROR IFGetDeviceInfo(IF_HANDLE hIface, const char* sDeviceID, DEVICE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                         void* pBuffer, size_t* piSize) {
    return Guard("IFGetDeviceInfo", [&] {
        const std::string id = RequiredId(sDeviceID, "the device ID");
        const auto camera = OpenInterface(hIface)->FindCamera(id);
        if (!camera) Fail(GC_ERR_INVALID_ID, "no device " + id);
        InfoAnswer answer(piType, pBuffer, piSize);
        Interface::DeviceInfo(*camera, id, iInfoCmd, DEVICE_ACCESS_STATUS_READWRITE, answer);
    });
}

GC_ERROR IFOpenDevice(IF_HANDLE hIface, const char* sDeviceID, DEVICE_ACCESS_FLAGS iOpenFlags, DEV_HANDLE* phDevice) {
    return Guard("IFOpenDevice", [&] {
        const std::string id = RequiredId(sDeviceID, "the device ID");
        Required(phDevice, "the device handle");
        *phDevice = Handles::Add(OpenInterface(hIface)->OpenDevice(id, iOpenFlags));
    });
}

GC_ERROR IFGetParentTL(IF_HANDLE hIface, TL_HANDLE* phSystem) {
    return Guard("IFGetParentTL", [&] {
        OpenInterface(hIface);
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        *Required(phSystem, "the system handle") = state.system ? state.system->Handle() : nullptr;
    });
}

GC_ERROR DevGetPort(DEV_HANDLE hDevice, PORT_HANDLE* phRemoteDevice) {
    return Guard("DevGetPort", [&] { *Required(phRemoteDevice, "the port handle") = OpenDevice(hDevice)->RemotePortHandle(); });
}

GC_ERROR DevGetNumDataStreams(DEV_HANDLE hDevice, uint32_t* piNumDataStreams) {
    return Guard("DevGetNumDataStreams", [&] {
        *Required(piNumDataStreams, "the count") = OpenDevice(hDevice)->NumDataStreams();
    });
}

GC_ERROR DevGetDataStreamID(DEV_HANDLE hDevice, uint32_t iIndex, char* sDataStreamID, size_t* piSize) {
    return Guard("DevGetDataStreamID", [&] {
        AnswerString(OpenDevice(hDevice)->DataStreamId(iIndex), sDataStreamID, Required(piSize, "the size"));
    });
}

GC_ERROR DevOpenDataStream(DEV_HANDLE hDevice, const char* sDataStreamID, DS_HANDLE* phDataStream) {
    return Guard("DevOpenDataStream", [&] {
        const std::string id = RequiredId(sDataStreamID, "the data stream ID");
        Required(phDataStream, "the data stream handle");
        *phDataStream = Handles::Add(OpenDevice(hDevice)->OpenDataStream(id));
    });
}

GC_ERROR DevGetInfo(DEV_HANDLE hDevice, DEVICE_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return Guard("DevGetInfo", [&] {
        const auto device = OpenDevice(hDevice);
        InfoAnswer answer(piType, pBuffer, piSize);
        device->Info(iInfoCmd, answer);
    });
}

GC_ERROR DevClose(DEV_HANDLE hDevice) {
    return Guard("DevClose", [&] {
        const auto device = OpenDevice(hDevice);
        ForgetEventsOf(hDevice);
        device->Close();
        Handles::Remove(hDevice);
    });
}

GC_ERROR DevGetParentIF(DEV_HANDLE hDevice, IF_HANDLE* phIface) {
    return Guard("DevGetParentIF", [&] { *Required(phIface, "the interface handle") = OpenDevice(hDevice)->ParentHandle(); });
}

} // namespace GenTL
