// The producer's test-control C API.
#include <GenTL/VirtualProducerControl.h>

#include "../src/Errors.h"
#include "../src/ProducerState.h"

using namespace VirtualGenTL;

namespace {

std::shared_ptr<VirtualCamera> FindCamera(const char* serialNumber) {
    if (serialNumber == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "the serial number is null");
    ProducerState& state = ProducerState::Instance();
    std::lock_guard lock(state.mutex);
    if (state.cameras.empty()) state.cameras = ProducerState::DefaultCameras();
    for (const NetworkCamera& entry : state.cameras)
        if (entry.camera->Identity().serialNumber == serialNumber) return entry.camera;
    Fail(GenTL::GC_ERR_INVALID_ID, std::string("no camera ") + serialNumber);
}

// Control calls are not GenTL calls: they are never subject to injected faults.
template <class Body>
GenTL::GC_ERROR Control(const char* function, Body&& body) {
    try {
        body();
        return GenTL::GC_ERR_SUCCESS;
    } catch (const ProducerError& error) {
        SetLastError(error.Code(), std::string(function) + ": " + error.what());
        return error.Code();
    }
}

} // namespace

extern "C" {

GenTL::GC_ERROR VirtualProducerFailCall(const char* function, uint64_t callsBefore, GenTL::GC_ERROR code,
                                        const char* text) {
    return Control("VirtualProducerFailCall", [&] {
        if (function == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "the function name is null");
        if (code == GenTL::GC_ERR_SUCCESS) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "a failure needs a failure code");
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        state.faults[function] = InjectedFault{callsBefore, code, text != nullptr ? text : "injected failure"};
        state.faultCount = state.faults.size();
    });
}

GenTL::GC_ERROR VirtualProducerFailCallOn(const char* function, const char* moduleId, uint64_t callsBefore,
                                          GenTL::GC_ERROR code, const char* text) {
    return Control("VirtualProducerFailCallOn", [&] {
        if (function == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "the function name is null");
        if (moduleId == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "the module ID is null");
        if (code == GenTL::GC_ERR_SUCCESS) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "a failure needs a failure code");
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        state.faults[ScopedFaultKey(function, moduleId)] =
            InjectedFault{callsBefore, code, text != nullptr ? text : "injected failure"};
        state.faultCount = state.faults.size();
    });
}

void VirtualProducerClearFaults(void) {
    ProducerState& state = ProducerState::Instance();
    std::lock_guard lock(state.mutex);
    state.faults.clear();
    state.faultCount = 0;
}

GenTL::GC_ERROR VirtualProducerSetConnected(const char* serialNumber, GenTL::bool8_t connected) {
    return Control("VirtualProducerSetConnected", [&] { FindCamera(serialNumber)->SetConnected(connected != 0); });
}

GenTL::GC_ERROR VirtualProducerSetLinkSpeed(const char* serialNumber, uint64_t bytesPerSecond) {
    return Control("VirtualProducerSetLinkSpeed", [&] {
        RegisterSpace& registers = FindCamera(serialNumber)->Registers();
        registers.SetInteger("DeviceLinkSpeed", int64_t(bytesPerSecond));
        if (registers.Has("DeviceMaxThroughput")) registers.SetInteger("DeviceMaxThroughput", int64_t(bytesPerSecond));
    });
}

GenTL::GC_ERROR VirtualProducerMarkNextFrameIncomplete(const char* serialNumber) {
    return Control("VirtualProducerMarkNextFrameIncomplete", [&] { FindCamera(serialNumber)->MarkNextFrameIncomplete(); });
}

GenTL::GC_ERROR VirtualProducerCorruptNextChunkTrailer(const char* serialNumber) {
    return Control("VirtualProducerCorruptNextChunkTrailer", [&] { FindCamera(serialNumber)->CorruptNextChunkTrailer(); });
}

GenTL::GC_ERROR VirtualProducerCorruptNextFrameData(const char* serialNumber) {
    return Control("VirtualProducerCorruptNextFrameData", [&] { FindCamera(serialNumber)->CorruptNextFrameData(); });
}

GenTL::GC_ERROR VirtualProducerSetDiscoveryTime(uint32_t interfaceIndex, uint64_t milliseconds) {
    return Control("VirtualProducerSetDiscoveryTime", [&] {
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        state.discoveryTimeMs[interfaceIndex] = milliseconds;
    });
}

uint32_t VirtualProducerTakeMaximumConcurrentDiscoveries(void) {
    return ProducerState::Instance().maximumConcurrentDiscoveries.exchange(0);
}

GenTL::GC_ERROR VirtualProducerUseCameras(const char* const* serialNumbers, size_t count) {
    return Control("VirtualProducerUseCameras", [&] {
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        if (state.system) Fail(GenTL::GC_ERR_RESOURCE_IN_USE, "the system module is open; close it first");
        std::vector<NetworkCamera> all = ProducerState::DefaultCameras();
        if (serialNumbers == nullptr) {
            state.cameras = all;
            return;
        }
        std::vector<NetworkCamera> chosen;
        for (size_t index = 0; index < count; ++index) {
            bool found = false;
            for (const NetworkCamera& entry : all) {
                if (serialNumbers[index] != nullptr && entry.camera->Identity().serialNumber == serialNumbers[index]) {
                    chosen.push_back(entry);
                    found = true;
                }
            }
            if (!found) Fail(GenTL::GC_ERR_INVALID_ID, "no camera with that serial number among the defaults");
        }
        state.cameras = chosen;
    });
}

} // extern "C"
