#include "ProducerState.h"

#include "Errors.h"
#include "camera/Catalogue.h"

namespace VirtualGenTL {

ProducerState& ProducerState::Instance() {
    static ProducerState state;
    return state;
}

std::vector<NetworkCamera> ProducerState::DefaultCameras() {
    std::vector<NetworkCamera> cameras;
    for (CatalogueEntry& entry : DefaultCatalogue())
        cameras.push_back({std::make_shared<VirtualCamera>(std::move(entry.model), std::move(entry.identity)),
                           entry.interfaceIndex, entry.routed});
    return cameras;
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
