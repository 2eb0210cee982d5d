// Typed information queries on an interface and the devices it found: fixed-size output,
// one producer call, failures turned into exceptions.
#ifndef VIREO_SRC_TRANSPORT_INTERFACEINFO_H
#define VIREO_SRC_TRANSPORT_INTERFACEINFO_H

#include <cstdint>

#include <GenICam.h>
#include <Vireo/TLInterface.h>

namespace Vireo {

// Device information of the device deviceId; T is uint32_t, int64_t or bool.
template <class T>
T GetInfo(TLInterface* iface, const char* deviceId, int32_t command);

// The interface's own information; T is uint64_t or int64_t.
template <class T>
T GetInfo(TLInterface* iface, int32_t command);

// A string of device information, read into 256 bytes; the producer must say it is a string.
GenICam::gcstring GetInfoString(TLInterface* iface, const char* deviceId, int32_t command);

// Whether a failed information query means only that the producer does not offer it: an answer
// of GC_ERR_NOT_IMPLEMENTED or GC_ERR_NOT_AVAILABLE, or any failure of a producer-specific
// command (from 1000 on) asked of another vendor's producer.
bool IsAbsentInformation(GenTL::GC_ERROR result, int32_t command);

// The same queries for information a producer may not offer: absent, it is `fallback`;
// any other failure raises as above.
template <class T>
T GetOptionalInfo(TLInterface* iface, const char* deviceId, int32_t command, T fallback);
template <class T>
T GetOptionalInfo(TLInterface* iface, int32_t command, T fallback);
GenICam::gcstring GetOptionalInfoString(TLInterface* iface, const char* deviceId, int32_t command);

} // namespace Vireo

#endif
