#include "InterfaceInfo.h"

#include <cstring>

#include "Errors.h"
#include "Producer.h"

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

namespace {

GenICam::gcstring InfoString(TLInterface* iface, const char* deviceId, int32_t command, bool optional) {
    // One fixed-size read: a producer that needs more than 255 characters answers as it does
    // for any too-small buffer.
    char text[256] = {};
    size_t size = sizeof text;
    int32_t type = 0;
    const GenTL::GC_ERROR result = iface->GetDeviceInfo(deviceId, command, &type, text, &size);
    if (result != GenTL::GC_ERR_SUCCESS && optional && IsAbsentInformation(result, command)) return GenICam::gcstring();
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get device information", "System", "GetInfoString",
                                   "IFGetDeviceInfo");
    if (type != GenTL::INFO_DATATYPE_STRING)
        VIREO_THROW_PLAIN(LogicalError, "Incorrect datatype returned (string expected)", "System", "GetInfoString");
    text[sizeof text - 1] = '\0';
    return GenICam::gcstring(text);
}

} // namespace

GenICam::gcstring GetInfoString(TLInterface* iface, const char* deviceId, int32_t command) {
    return InfoString(iface, deviceId, command, false);
}

bool IsAbsentInformation(GenTL::GC_ERROR result, int32_t command) {
    if (result == GenTL::GC_ERR_NOT_IMPLEMENTED || result == GenTL::GC_ERR_NOT_AVAILABLE) return true;
    return command >= 1000 && !IsOwnProducer();
}

template <class T>
T GetOptionalInfo(TLInterface* iface, const char* deviceId, int32_t command, T fallback) {
    T value{};
    int32_t type = 0;
    size_t size = sizeof value;
    const GenTL::GC_ERROR result = iface->GetDeviceInfo(deviceId, command, &type, &value, &size);
    if (result == GenTL::GC_ERR_SUCCESS) return value;
    if (IsAbsentInformation(result, command)) return fallback;
    VIREO_THROW_PRODUCER_ERROR(result, kNumericFailure, "System", "GetInfo", "IFGetDeviceInfo");
}

template <class T>
T GetOptionalInfo(TLInterface* iface, int32_t command, T fallback) {
    T value{};
    int32_t type = 0;
    size_t size = sizeof value;
    const GenTL::GC_ERROR result = iface->GetInfo(command, &type, &value, &size);
    if (result == GenTL::GC_ERR_SUCCESS) return value;
    if (IsAbsentInformation(result, command)) return fallback;
    VIREO_THROW_PRODUCER_ERROR(result, kNumericFailure, "System", "GetInfo", "IFGetInfo");
}

template uint32_t GetOptionalInfo<uint32_t>(TLInterface*, const char*, int32_t, uint32_t);
template int64_t GetOptionalInfo<int64_t>(TLInterface*, const char*, int32_t, int64_t);
template bool GetOptionalInfo<bool>(TLInterface*, const char*, int32_t, bool);
template uint64_t GetOptionalInfo<uint64_t>(TLInterface*, int32_t, uint64_t);

GenICam::gcstring GetOptionalInfoString(TLInterface* iface, const char* deviceId, int32_t command) {
    return InfoString(iface, deviceId, command, true);
}

} // namespace Vireo
