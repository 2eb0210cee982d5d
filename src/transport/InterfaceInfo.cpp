#include "InterfaceInfo.h"

#include <cstring>

#include "Errors.h"

namespace Vireo {
namespace {

// The numeric queries share one description, whichever information they read.
constexpr const char* kNumericFailure = "Unable to get buffer information";

} // namespace

template <class T>
T GetInfo(TLInterface* iface, const char* deviceId, int32_t command) {
    T value{};
    int32_t type = 0;
    size_t size = sizeof value;
    const GenTL::GC_ERROR result = iface->GetDeviceInfo(deviceId, command, &type, &value, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, kNumericFailure, "System", "GetInfo", "IFGetDeviceInfo");
    return value;
}

template <class T>
T GetInfo(TLInterface* iface, int32_t command) {
    T value{};
    int32_t type = 0;
    size_t size = sizeof value;
    const GenTL::GC_ERROR result = iface->GetInfo(command, &type, &value, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, kNumericFailure, "System", "GetInfo", "IFGetInfo");
    return value;
}

template uint32_t GetInfo<uint32_t>(TLInterface*, const char*, int32_t);
template int64_t GetInfo<int64_t>(TLInterface*, const char*, int32_t);
template bool GetInfo<bool>(TLInterface*, const char*, int32_t);
template uint64_t GetInfo<uint64_t>(TLInterface*, int32_t);
template int64_t GetInfo<int64_t>(TLInterface*, int32_t);

GenICam::gcstring GetInfoString(TLInterface* iface, const char* deviceId, int32_t command) {
    // One fixed-size read: a producer that needs more than 255 characters answers as it does
    // for any too-small buffer.
    char text[256] = {};
    size_t size = sizeof text;
    int32_t type = 0;
    const GenTL::GC_ERROR result = iface->GetDeviceInfo(deviceId, command, &type, text, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get device information", "System", "GetInfoString",
                                   "IFGetDeviceInfo");
    if (type != GenTL::INFO_DATATYPE_STRING)
        VIREO_THROW_PLAIN(LogicalError, "Incorrect datatype returned (string expected)", "System", "GetInfoString");
    text[sizeof text - 1] = '\0';
    return GenICam::gcstring(text);
}

} // namespace Vireo
