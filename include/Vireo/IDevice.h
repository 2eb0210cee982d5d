// An opened camera, as the application sees it, and the callbacks it can deliver.
#ifndef VIREO_IDEVICE_H
#define VIREO_IDEVICE_H

#include <cstddef>
#include <cstdint>

#include <GenApi/INodeMap.h>
#include <Vireo/Config.h>
#include <Vireo/IBuffer.h>
#include <Vireo/ICompressedImage.h>
#include <Vireo/IImage.h>

namespace Vireo {

// Receives every image of a running stream, on the device's callback thread. The image is
// requeued when the call returns; copy what must outlive it.
class VIREO_API IImageCallback {
public:
    virtual void OnImage(IImage* image) = 0;
    virtual ~IImageCallback();
};

class IDevice;

// One edge on an external trigger input of an event-based sensor.
struct EvsTriggerEvent {
    uint64_t timestampUs;  // sensor time of the edge: microseconds since the stream started
    uint32_t channel;      // the trigger input
    int32_t polarity;      // 1: rising edge, 0: falling edge
};

// Told, on the system's watcher thread, whenever a device's connection state changes.
class VIREO_API IDisconnectCallback {
public:
    virtual void OnDeviceDisconnected(IDevice* device) = 0;
    virtual ~IDisconnectCallback();
};

// Asks StartStream to choose the number of buffers from the camera's throughput.
constexpr size_t kAutomaticBufferCount = 0xFFFFFFFFu;

class VIREO_API IDevice {
public:
    virtual bool IsConnected() = 0;
    // Starts the current stream with numBuffers buffers. kAutomaticBufferCount (the default)
    // picks the count from the camera's DeviceMaxThroughput: enough for 40 ms of its data, 10
    // to 1000 buffers; 10 when the camera does not tell its throughput.
    virtual void StartStream(size_t numBuffers = kAutomaticBufferCount) = 0;
    virtual void StopStream() = 0;
    // Waits up to timeout milliseconds for the next delivered buffer. The caller gives every
    // buffer back through RequeueBuffer.
    virtual IImage* GetImage(uint64_t timeout = 2000) = 0;
    virtual ICompressedImage* GetCompressedImage(uint64_t timeout = 2000) = 0;
    virtual IBuffer* GetBuffer(uint64_t timeout = 2000) = 0;
    // Gives a delivered buffer back and destroys its object. A buffer held across StopStream was
    // taken back by the stop: giving it back then only destroys the object.
    virtual void RequeueBuffer(IBuffer* buffer) = 0;
    virtual void WaitForNextLeader(uint64_t timeout) = 0;
    virtual void ResetWaitForNextLeader() = 0;
    virtual void InitializeEvents() = 0;
    virtual void DeinitializeEvents() = 0;
    virtual void WaitOnEvent(uint64_t timeout) = 0;
    // The camera's own features.
    virtual GenApi::INodeMap* GetNodeMap() = 0;
    virtual GenApi::INodeMap* GetTLDeviceNodeMap() = 0;
    virtual GenApi::INodeMap* GetTLStreamNodeMap() = 0;
    virtual GenApi::INodeMap* GetTLInterfaceNodeMap() = 0;
    virtual void SendActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                   uint64_t actionTime = 0) = 0;
    virtual void RegisterImageCallback(IImageCallback* callback) = 0;
    virtual void DeregisterImageCallback(IImageCallback* callback) = 0;
    virtual void DeregisterAllImageCallbacks() = 0;
    // Waits up to timeout milliseconds for the next trigger edge of a streaming event-based
    // sensor; edges come oldest first, from the start of the stream on.
    virtual EvsTriggerEvent GetNextEvsTriggerEvent(uint64_t timeout) = 0;
    // Writes the camera's description file to "<serial number>.xml" in the working directory.
    virtual void DownloadXml() = 0;
    virtual ~IDevice();
};

} // namespace Vireo

#endif
