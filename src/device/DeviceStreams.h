// The device's decisions about its data streams, shared by construction, start and stop.
#ifndef VIREO_SRC_DEVICE_DEVICESTREAMS_H
#define VIREO_SRC_DEVICE_DEVICESTREAMS_H

#include <vector>

#include <GenApi/INodeMap.h>
#include <Vireo/Device.h>

namespace Vireo {

// Whether the producer can stream GVRSP over the device's current connection.
bool IsGvrspStreamable(TLDevice* tlDevice);
// Whether the device was opened with control (DeviceAccessStatus "ReadWrite"): only then does
// the library start and stop the camera's acquisition.
bool hasControl(GenApi::INodeMap* tlDeviceMap);
// Opens every data stream of the device, in producer order, and appends it to streams.
void EnumerateStreams(TLDevice* tlDevice, std::vector<StreamInfo*>& streams);
// The stream to use, by role, as the camera's transport settings ask.
int GetStreamNumber(TLDevice* tlDevice, GenApi::INodeMap* tlDeviceMap, GenApi::INodeMap* deviceMap,
                    size_t numStreams);
// Gives every buffer announced on the stream back to the producer.
void CleanupAnnouncedBuffersOnStartFailure(StreamInfo* stream);

} // namespace Vireo

#endif
