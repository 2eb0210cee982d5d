// The device's decisions about its data streams, shared by construction, start and stop.
#ifndef VIREO_SRC_DEVICE_DEVICESTREAMS_H
#define VIREO_SRC_DEVICE_DEVICESTREAMS_H

#include <memory>
#include <vector>

#include <GenApi/INodeMap.h>
#include <Vireo/Device.h>

namespace Vireo {

// Whether the producer can stream GVRSP over the device's current connection.
bool IsGvrspStreamable(TLDevice* tlDevice);
// Whether the device was opened with control (DeviceAccessStatus "ReadWrite"; without that
// feature, the device module's access status): only then does the library start and stop the
// camera's acquisition.
bool hasControl(GenApi::INodeMap* tlDeviceMap, TLDevice* tlDevice);
// Opens every data stream of the device, in producer order, and appends it to streams.
void EnumerateStreams(TLDevice* tlDevice, std::vector<StreamInfo*>& streams);
// The stream to use, by role, as the camera's transport settings ask.
int GetStreamNumber(TLDevice* tlDevice, GenApi::INodeMap* tlDeviceMap, GenApi::INodeMap* deviceMap,
                    size_t numStreams);
// Gives every buffer announced on the stream back to the producer.
void CleanupAnnouncedBuffersOnStartFailure(StreamInfo* stream);

// One start of one data stream, from the moment a start touches the producer until a stop has
// undone all of it. The steps done are recorded so that a stop, or the undoing of a failed
// start, does each step once and can be retried after a failure where it left off.
struct Device::StreamRun {
    // Guarded by the device's run mutex: threads waiting for buffers read them.
    std::unique_ptr<TLEvent> event;  // the registered new-buffer event
    bool stopping = false;           // no new wait may begin; waits in progress are being ended
    int waiters = 0;                 // threads inside GetBuffer on this run

    // Guarded by the stream mutex: only start and stop change them.
    bool paramsLocked = false;        // TLParamsLocked was (or may have been) set to 1
    bool acquisitionStarted = false;  // DSStartAcquisition succeeded
    bool cameraStarted = false;       // AcquisitionStart was (or may have been) executed
    bool cameraStopped = false;       // AcquisitionStop was executed by this stop
    bool queueFlushed = false;
};

} // namespace Vireo

#endif
