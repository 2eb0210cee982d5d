/* Test control of the Vireo virtual GenTL producer (libgentl.so.1): inject failures into
 * any GenTL function, disconnect and reconnect cameras, damage frames, and choose which
 * virtual cameras exist. Applications never need this; test suites do. */
#ifndef GENTL_VIRTUALPRODUCERCONTROL_H
#define GENTL_VIRTUALPRODUCERCONTROL_H

#include <GenTL/GenTL.h>

#ifdef __cplusplus
#define VIRTUAL_PRODUCER_GENTL(type) GenTL::type
extern "C" {
#else
#define VIRTUAL_PRODUCER_GENTL(type) type
#endif

/* Lets `callsBefore` further calls of the GenTL function `function` (e.g. "DSQueueBuffer")
 * succeed, then fails the next one with `code` and last-error text `text`. */
GC_IMPORT_EXPORT VIRTUAL_PRODUCER_GENTL(GC_ERROR) VirtualProducerFailCall(const char* function, uint64_t callsBefore,
                                                         VIRTUAL_PRODUCER_GENTL(GC_ERROR) code, const char* text);
/* Like VirtualProducerFailCall, counting and failing only the calls that address one module:
 * the interface or device whose ID (as TLGetInterfaceID or IFGetDeviceID report it) is
 * `moduleId`, e.g. IFUpdateDeviceList on "VirtualGigE1" alone. */
GC_IMPORT_EXPORT VIRTUAL_PRODUCER_GENTL(GC_ERROR) VirtualProducerFailCallOn(const char* function, const char* moduleId,
                                                           uint64_t callsBefore, VIRTUAL_PRODUCER_GENTL(GC_ERROR) code,
                                                           const char* text);
/* Removes every injected failure that has not fired yet. */
GC_IMPORT_EXPORT void VirtualProducerClearFaults(void);
/* Takes a camera, by serial number, off the network (0) or brings it back (1). */
GC_IMPORT_EXPORT VIRTUAL_PRODUCER_GENTL(GC_ERROR) VirtualProducerSetConnected(const char* serialNumber, VIRTUAL_PRODUCER_GENTL(bool8_t) connected);
/* Puts the camera on a link of this speed (bytes per second): DeviceLinkSpeed and
 * DeviceMaxThroughput report it. */
GC_IMPORT_EXPORT VIRTUAL_PRODUCER_GENTL(GC_ERROR) VirtualProducerSetLinkSpeed(const char* serialNumber, uint64_t bytesPerSecond);
/* The next frame of the camera is delivered incomplete (its second half missing). */
GC_IMPORT_EXPORT VIRTUAL_PRODUCER_GENTL(GC_ERROR) VirtualProducerMarkNextFrameIncomplete(const char* serialNumber);
/* The next frame's last chunk trailer states a length longer than the buffer, so that the
 * chunk layout does not parse. */
GC_IMPORT_EXPORT VIRTUAL_PRODUCER_GENTL(GC_ERROR) VirtualProducerCorruptNextChunkTrailer(const char* serialNumber);
/* The next frame's image data changes after its CRC chunk was computed. */
GC_IMPORT_EXPORT VIRTUAL_PRODUCER_GENTL(GC_ERROR) VirtualProducerCorruptNextFrameData(const char* serialNumber);
/* Makes IFUpdateDeviceList on the interface with this index take this long (bounded by the
 * call's time-out), as a GigE Vision discovery waits for answers. */
GC_IMPORT_EXPORT VIRTUAL_PRODUCER_GENTL(GC_ERROR) VirtualProducerSetDiscoveryTime(uint32_t interfaceIndex,
                                                                                  uint64_t milliseconds);
/* The largest number of IFUpdateDeviceList calls that were in progress at the same time since
 * the last call of this function (which resets it). */
GC_IMPORT_EXPORT uint32_t VirtualProducerTakeMaximumConcurrentDiscoveries(void);
/* Chooses the cameras on the network, by serial number, among the producer's defaults
 * (see the README); null restores them all. Takes effect at the next TLOpen. */
GC_IMPORT_EXPORT VIRTUAL_PRODUCER_GENTL(GC_ERROR) VirtualProducerUseCameras(const char* const* serialNumbers, size_t count);

#ifdef __cplusplus
}
#endif

#endif
