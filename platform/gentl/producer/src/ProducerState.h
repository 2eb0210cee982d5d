// Process-wide state of the producer: whether the library is initialised, the open system,
// the virtual cameras on the network, and the faults the control interface injects.
#ifndef VIRTUALGENTL_PRODUCERSTATE_H
#define VIRTUALGENTL_PRODUCERSTATE_H

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <GenTL/GenTL.h>

#include "camera/VirtualCamera.h"
#include "camera/description/Feature.h"
#include "Errors.h"

namespace VirtualGenTL {

class System;

struct NetworkCamera {
    std::shared_ptr<VirtualCamera> camera;
    uint32_t interfaceIndex;
    // Behind a router: broadcasts do not reach it, only unicast discovery of its address.
    bool routed = false;
};

struct InjectedFault {
    uint64_t callsBeforeFailure;  // this many calls succeed, the next one fails
    GenTL::GC_ERROR code;
    std::string text;
};

class ProducerState {
public:
    static ProducerState& Instance();

    std::mutex mutex;  // guards everything below
    std::atomic<bool> initialized{false};  // read without the lock on every call
    std::atomic<size_t> faultCount{0};     // calls skip the fault table while it is empty
    std::shared_ptr<System> system;
    std::vector<NetworkCamera> cameras;
    std::map<std::string, InjectedFault> faults;
    std::map<uint32_t, uint64_t> discoveryTimeMs;  // by interface index
    std::atomic<uint32_t> discoveriesInProgress{0};
    std::atomic<uint32_t> maximumConcurrentDiscoveries{0};
    // Behaves as a typical producer of another vendor: no GCGetPortURL, "Local:" URLs, none of
    // the producer-specific info commands, reduced module node maps, standard payload types
    // and the acquisition count honoured. Set once, when the library is loaded, in the build
    // that stands for another vendor's producer.
    std::atomic<bool> foreign{false};

    // The cameras of the default installation (used when none are configured).
    static std::vector<NetworkCamera> DefaultCameras();
    std::vector<NetworkCamera> CamerasOn(uint32_t interfaceIndex);
};

// The fault table's key of a fault aimed at one module.
inline std::string ScopedFaultKey(const char* function, const char* moduleId) {
    return std::string(function) + "@" + moduleId;
}

// Throws unless the library is initialised.
void RequireInitialized();

// Whether the producer stands for another vendor's (see ProducerState::foreign).
inline bool ActsAsForeignProducer() { return ProducerState::Instance().foreign.load(std::memory_order_relaxed); }

// Module features that producers of other vendors often lack: unpublished when this one
// stands for such a producer.
inline void UnpublishWhenForeign(std::vector<Feature>& features, std::initializer_list<const char*> names) {
    if (!ActsAsForeignProducer()) return;
    for (Feature& feature : features)
        for (const char* name : names)
            if (feature.name == name) feature.unpublished = true;
}

// Producer-specific info commands (from 1000 on) are absent from another vendor's producer.
inline void RequireOwnInfoCommand(int32_t command, const char* kind) {
    if (command >= 1000 && ActsAsForeignProducer())
        Fail(GenTL::GC_ERR_NOT_IMPLEMENTED, std::string(kind) + " command " + std::to_string(command) + " is not supported");
}

} // namespace VirtualGenTL

#endif
