// The modules behind the handles that the C API receives: each lookup first requires an
// initialised library, then a live handle of the right kind, then checks the faults aimed at
// that interface or device.
#ifndef VIRTUAL_GENTL_OPEN_MODULES_H
#define VIRTUAL_GENTL_OPEN_MODULES_H

#include <memory>

#include "Errors.h"
#include "Modules.h"
#include "ProducerState.h"

namespace VirtualGenTL {

inline std::shared_ptr<System> OpenSystem(GenTL::TL_HANDLE handle) {
    RequireInitialized();
    return Handles::Get<System>(handle, "system");
}

inline std::shared_ptr<Interface> OpenInterface(GenTL::IF_HANDLE handle) {
    RequireInitialized();
    std::shared_ptr<Interface> iface = Handles::Get<Interface>(handle, "interface");
    CheckInjectedFaultOn(iface->Id());
    return iface;
}

inline std::shared_ptr<Device> OpenDevice(GenTL::DEV_HANDLE handle) {
    RequireInitialized();
    std::shared_ptr<Device> device = Handles::Get<Device>(handle, "device");
    CheckInjectedFaultOn(device->Id());
    return device;
}

inline std::shared_ptr<DataStream> OpenStream(GenTL::DS_HANDLE handle) {
    RequireInitialized();
    return Handles::Get<DataStream>(handle, "data stream");
}

} // namespace VirtualGenTL

#endif
