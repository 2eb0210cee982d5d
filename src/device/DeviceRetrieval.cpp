// Buffer retrieval, remote-device events and image callbacks of a device.
#include <Vireo/Device.h>

#include <algorithm>
#include <memory>

#include <GenApi/GenApi.h>
#include <GenICam.h>
#include <Vireo/ChunkData.h>
#include <Vireo/CompressedImage.h>
#include <Vireo/CompressedImageExtendedChunk.h>
#include <Vireo/Image.h>
#include <Vireo/ImageExtendedChunk.h>
#include <Vireo/MultipartImage.h>
#include <Vireo/NodeAccess.h>

#include "../transport/Errors.h"
#include "../transport/Producer.h"
#include "DeviceStreams.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "Device";

// Payload types of delivered buffers.
constexpr uint64_t kPayloadImage = 1;
constexpr uint64_t kPayloadChunkData = 4;
constexpr uint64_t kPayloadCompressedImage = 1001;
constexpr uint64_t kPayloadCompressedImageWithChunks = 1002;
constexpr uint64_t kPayloadImageWithChunks = 0x4001;
// The standard payload types other producers deliver: chunk data only (GenTL's own code for
// it), and the types that carry no image (raw data, file, JPEG, JPEG 2000, H.264, device
// specific, GenDC), delivered as plain buffers.
constexpr uint64_t kPayloadChunkOnly = 8;
constexpr uint64_t kPayloadMultipart = 10;
bool CarriesNoImage(uint64_t payloadType) {
    switch (payloadType) {
    case 2: case 3: case 5: case 6: case 7: case 9: case 11: return true;
    default: return false;
    }
}

// A GigE Vision event packet is at most one GVCP message.
constexpr size_t kEventDataSize = 576;

template <class T>
T BufferInfoOf(TLDataStream* stream, void* buffer, int32_t command, const char* failure, const char* gentlCall) {
    T value{};
    int32_t type = 0;
    size_t size = sizeof value;
    const GenTL::GC_ERROR result = stream->GetBufferInfo(buffer, command, &type, &value, &size);
    if (result != GenTL::GC_ERR_SUCCESS) VIREO_THROW_PRODUCER_ERROR(result, failure, kUnit, "GetBuffer", gentlCall);
    return value;
}

// Whether an image buffer also carries chunks; a producer that cannot tell sends none.
bool ContainsChunks(TLDataStream* stream, void* buffer) {
    GenTL::bool8_t contains = 0;
    int32_t type = 0;
    size_t size = sizeof contains;
    return stream->GetBufferInfo(buffer, GenTL::BUFFER_INFO_CONTAINS_CHUNKDATA, &type, &contains, &size) ==
               GenTL::GC_ERR_SUCCESS &&
           contains != 0;
}

} // namespace

void Device::RequireStreams(const char* function) const {
    if (m_streams.empty()) VIREO_THROW_PLAIN(LogicalError, "Device has no available streams", kUnit, function);
}

IImage* Device::GetImage(uint64_t timeout) {
    RequireStreams("GetImage");
    return GetImage(m_currentStream, timeout);
}
ICompressedImage* Device::GetCompressedImage(uint64_t timeout) {
    RequireStreams("GetCompressedImage");
    return GetCompressedImage(m_currentStream, timeout);
}
IBuffer* Device::GetBuffer(uint64_t timeout) {
    RequireStreams("GetBuffer");
    return GetBuffer(m_currentStream, timeout);
}
void Device::RequeueBuffer(IBuffer* buffer) {
    RequireStreams("RequeueBuffer");
    RequeueBuffer(m_currentStream, buffer);
}
void Device::WaitForNextLeader(uint64_t timeout) {
    RequireStreams("WaitForNextLeader");
    WaitForNextLeader(m_currentStream, timeout);
}
void Device::ResetWaitForNextLeader() {
    RequireStreams("ResetWaitForNextLeader");
    ResetWaitForNextLeader(m_currentStream);
}

IBuffer* Device::GetBuffer(int stream, uint64_t timeout) {
    std::shared_ptr<StreamRun> run;
    TLEvent* event = nullptr;
    {
        std::lock_guard lock(m_runMutex);
        if (stream >= 0 && size_t(stream) < m_runs.size()) run = m_runs[size_t(stream)];
        if (run != nullptr && run->stopping)
            VIREO_THROW_PLAIN(Runtime, "Unable to get buffer data, stream aborted", kUnit, "GetBuffer");
        if (run == nullptr || run->event == nullptr)
            VIREO_THROW_PLAIN(InvalidArgument, "Unable to get buffer data, event handle is NULL", kUnit, "GetBuffer");
        // Counted until this call returns: a stop waits for it before it unregisters the event
        // or revokes the buffer being wrapped.
        ++run->waiters;
        event = run->event.get();
    }
    struct Leave {
        Device& device;
        StreamRun& run;
        ~Leave() {
            std::lock_guard lock(device.m_runMutex);
            --run.waiters;
            device.m_runWaitersLeft.notify_all();
        }
    } leave{*this, *run};
    const auto stopping = [&] {
        std::lock_guard lock(m_runMutex);
        return run->stopping;
    };

    GenTL::S_EVENT_NEW_BUFFER data{};
    size_t size = sizeof data;
    const GenTL::GC_ERROR result = event->GetData(&data, &size, timeout);
    // A buffer that arrives while the stream stops is not handed out: the stop takes it back.
    if (result == GenTL::GC_ERR_ABORT || stopping())
        VIREO_THROW_PLAIN(Runtime, "Unable to get buffer data, stream aborted", kUnit, "GetBuffer");
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get buffer data", kUnit, "GetBuffer", "EventGetData");
    if (m_streams.empty()) VIREO_THROW_PLAIN(Runtime, "error indexing a stream!", kUnit, "GetBuffer");

    TLDataStream* dataStream = m_streams[size_t(stream)]->GetTLDataStream();
    void* handle = data.BufferHandle;
    const uint64_t payloadType =
        BufferInfoOf<uint64_t>(dataStream, handle, GenTL::BUFFER_INFO_PAYLOADTYPE, "Unable to get buffer payload type",
                               "DSGetBufferInfo, BUFFER_INFO_PAYLOADTYPE");
    // Each object is handed out through its interface's IBuffer (the Buffer part has its own).
    // Another vendor's producer marks an image that also carries chunks by a flag rather than
    // by a payload type of its own.
    if (payloadType == kPayloadImage && !IsOwnProducer() && ContainsChunks(dataStream, handle)) {
        std::unique_ptr<ImageExtendedChunk> image(new ImageExtendedChunk(dataStream, handle, NewChunkNodeMap()));
        AttachChunks(handle, image->GetData(), image->GetSizeFilled());
        return static_cast<IImage*>(image.release());
    }
    if (payloadType == kPayloadImage) return static_cast<IImage*>(new Image(dataStream, handle));
    if (payloadType == kPayloadCompressedImage)
        return static_cast<ICompressedImage*>(new CompressedImage(dataStream, handle));
    if (payloadType == kPayloadImageWithChunks) {
        std::unique_ptr<ImageExtendedChunk> image(new ImageExtendedChunk(dataStream, handle, NewChunkNodeMap()));
        const size_t filled = BufferInfoOf<size_t>(dataStream, handle, GenTL::BUFFER_INFO_DATA_SIZE,
                                                   "Unable to get buffer data size", "DSGetBufferInfo, BUFFER_INFO_DATA_SIZE");
        AttachChunks(handle, image->GetData(), filled);
        return static_cast<IImage*>(image.release());
    }
    if (payloadType == kPayloadChunkData || payloadType == kPayloadChunkOnly) {
        std::unique_ptr<ChunkData> chunks(new ChunkData(dataStream, handle, NewChunkNodeMap()));
        AttachChunks(handle, chunks->GetData(), chunks->GetSizeFilled());
        return static_cast<IChunkData*>(chunks.release());
    }
    if (payloadType == kPayloadCompressedImageWithChunks)
        return static_cast<ICompressedImage*>(new CompressedImageExtendedChunk(dataStream, handle, NewChunkNodeMap()));
    if (payloadType == kPayloadMultipart) return static_cast<IImage*>(new MultipartImage(dataStream, handle));
    if (CarriesNoImage(payloadType)) return new Buffer(dataStream, handle);
    VIREO_THROW_PLAIN(LogicalError, "Unknown payload type", kUnit, "GetBuffer");
}

void Device::AttachChunks(void* bufferHandle, const uint8_t* data, size_t size) {
    std::lock_guard lock(m_chunkMutex);
    if (m_chunkAdapter == nullptr) return;
    m_chunkBuffer = nullptr;
    try {
        m_chunkAdapter->AttachBuffer(const_cast<uint8_t*>(data), int64_t(size));
    } catch (const GenICam::GenericException&) {
        // The previous buffer's values must not stay readable as if they were this one's.
        m_chunkAdapter->DetachBuffer();
        VIREO_THROW_PLAIN(Runtime, "Invalid layout of buffer attached to chunk parser!", kUnit, "GetBuffer");
    }
    m_chunkBuffer = bufferHandle;
}

void Device::DetachChunks(void* bufferHandle) {
    std::lock_guard lock(m_chunkMutex);
    if (m_chunkAdapter == nullptr || m_chunkBuffer == nullptr) return;
    if (bufferHandle != nullptr && bufferHandle != m_chunkBuffer) return;
    m_chunkBuffer = nullptr;
    m_chunkAdapter->DetachBuffer();
}

GenApi::INodeMap* Device::NewChunkNodeMap() {
    if (m_chunkFactory.IsEmpty()) return nullptr;
    return m_chunkFactory.CreateNodeMap("Device", false);
}

IImage* Device::GetImage(int stream, uint64_t timeout) {
    {
        std::lock_guard lock(m_imageCallbackMutex);
        if (!m_imageCallbacks.empty())
            VIREO_THROW_PLAIN(Runtime, "GetImage should not be called while there are registered image callbacks", kUnit,
                              "GetImage");
    }
    IBuffer* buffer = GetBuffer(stream, timeout);
    IImage* image = dynamic_cast<IImage*>(buffer);
    if (image == nullptr) {
        // The buffer stays out of the queue until the stream stops; only the wrapper goes.
        delete buffer;
        VIREO_THROW_PLAIN(LogicalError, "Failed to cast Vireo::IBuffer* to Vireo::IImage* ", kUnit, "GetImage");
    }
    return image;
}

ICompressedImage* Device::GetCompressedImage(int stream, uint64_t timeout) {
    {
        std::lock_guard lock(m_imageCallbackMutex);
        if (!m_imageCallbacks.empty())
            VIREO_THROW_PLAIN(Runtime,
                              "GetCompressedImage should not be called while there are registered image callbacks",
                              kUnit, "GetCompressedImage");
    }
    IBuffer* buffer = GetBuffer(stream, timeout);
    ICompressedImage* image = dynamic_cast<ICompressedImage*>(buffer);
    if (image == nullptr) {
        delete buffer;
        VIREO_THROW_PLAIN(LogicalError,
                          "Failed to cast Vireo::IBuffer* to Vireo::ICompressedImage* (perhaps an unsupported "
                          "compressed pixel format)",
                          kUnit, "GetCompressedImage");
    }
    return image;
}

void Device::RequeueBuffer(int stream, IBuffer* buffer) {
    if (buffer == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Image is null", kUnit, "RequeueBuffer");
    auto* delivered = dynamic_cast<Buffer*>(buffer);
    if (delivered == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Image is null", kUnit, "RequeueBuffer");
    // Once queued the buffer is refilled: the chunk features must no longer read it.
    DetachChunks(delivered->GetBufferHandle());
    {
        // A stop takes every buffer back: one held across it has nothing left to requeue.
        std::lock_guard lock(m_runMutex);
        const auto& run = size_t(stream) < m_runs.size() ? m_runs[size_t(stream)] : nullptr;
        if (delivered->GetBufferHandle() != nullptr && (run == nullptr || run->stopping)) {
            delete buffer;
            return;
        }
    }
    const GenTL::GC_ERROR result =
        m_streams.at(size_t(stream))->GetTLDataStream()->QueueBuffer(delivered->GetBufferHandle());
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to requeue internal buffer", kUnit, "RequeueBuffer", "DSQueueBuffer");
    delete buffer;
}

void Device::WaitForNextLeader(int stream, uint64_t timeout) {
    const GenTL::GC_ERROR result = m_streams.at(size_t(stream))->RequireDataStream("WaitForNextLeader")->WaitForNextLeader(timeout);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Wait for next leader failed", kUnit, "WaitForNextLeader",
                                   "DSWaitForNextLeader");
}

void Device::ResetWaitForNextLeader(int stream) {
    const GenTL::GC_ERROR result =
        m_streams.at(size_t(stream))->RequireDataStream("ResetWaitForNextLeader")->ResetWaitForNextLeader();
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Wait for next leader failed", kUnit, "ResetWaitForNextLeader",
                                   "DSResetWaitForNextLeader");
}

void Device::InitializeEvents() {
    void* handle = nullptr;
    const GenTL::GC_ERROR result = m_tlDevice->RegisterEvent(GenTL::EVENT_REMOTE_DEVICE, &handle);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to register remote device events", kUnit, "InitializeEvents",
                                   "GCRegisterEvent, EVENT_REMOTE_DEVICE");
    m_remoteEvent.reset(new TLEvent(handle));
    GenApi::CEnumerationPtr type = GetTLDeviceNodeMap() != nullptr ? GetTLDeviceNodeMap()->GetNode("DeviceType") : nullptr;
    if (type.IsValid() && GenApi::IsReadable(type) && type->ToString() == "GigEVision")
        m_eventAdapter.reset(new GenApi::CEventAdapterGEV(GetNodeMap()));
}

void Device::DeinitializeEvents() {
    const GenTL::GC_ERROR result = m_tlDevice->UnregisterEvent(GenTL::EVENT_REMOTE_DEVICE);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to unregister remote device events", kUnit, "DeinitializeEvents",
                                   "GCUnregisterEvent, EVENT_REMOTE_DEVICE");
    m_remoteEvent.reset();
    m_eventAdapter.reset();
}

void Device::WaitOnEvent(uint64_t timeout) {
    if (!m_remoteEvent)
        VIREO_THROW_PLAIN(LogicalError, "Failure waiting on event because device events not initialized", kUnit,
                          "WaitOnEvent");
    uint8_t data[kEventDataSize] = {};
    size_t size = sizeof data;
    const GenTL::GC_ERROR result = m_remoteEvent->GetData(data, &size, timeout);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get event data", kUnit, "WaitOnEvent", "EventGetData");
    if (m_eventAdapter) m_eventAdapter->DeliverMessage(data, uint32_t(size));
}

void Device::RegisterImageCallback(IImageCallback* callback) {
    if (callback == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Null image callback pointer specified", kUnit, "RegisterImageCallback");
    const auto add = [&] {
        if (std::find(m_imageCallbacks.begin(), m_imageCallbacks.end(), callback) != m_imageCallbacks.end())
            VIREO_THROW_PLAIN(InvalidArgument, "Callback already registered", kUnit, "RegisterImageCallback");
        m_imageCallbacks.push_back(callback);
    };
    // From a callback: the thread runs and holds the list's mutex already.
    if (OnImageCallbackThread()) return add();
    std::lock_guard thread(m_callbackThreadMutex);
    std::lock_guard lock(m_imageCallbackMutex);
    add();
    // The stream start starts the thread when callbacks wait for it; a running stream needs it now.
    bool streaming = false;
    {
        std::lock_guard runs(m_runMutex);
        for (const auto& run : m_runs) streaming = streaming || (run != nullptr && run->event && !run->stopping);
    }
    if (streaming) StartImageCallbackThread();
}

void Device::DeregisterImageCallback(IImageCallback* callback) {
    if (callback == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Null image callback pointer specified", kUnit, "DeregisterImageCallback");
    const auto remove = [&] {
        m_imageCallbacks.erase(std::remove(m_imageCallbacks.begin(), m_imageCallbacks.end(), callback),
                               m_imageCallbacks.end());
        return m_imageCallbacks.empty();
    };
    if (OnImageCallbackThread()) {
        // The thread ends after this callback returns when nobody is left to call.
        if (remove()) m_imageCallbackRunning = false;
        return;
    }
    bool empty = false;
    {
        std::lock_guard lock(m_imageCallbackMutex);
        empty = remove();
    }
    // With nobody to call, the thread would only keep buffers from GetImage.
    if (empty) StopImageCallbackThread();
}

void Device::DeregisterAllImageCallbacks() {
    if (OnImageCallbackThread()) {
        m_imageCallbacks.clear();
        m_imageCallbackRunning = false;
        return;
    }
    StopImageCallbackThread();
    std::lock_guard lock(m_imageCallbackMutex);
    m_imageCallbacks.clear();
}

void Device::ImageCallbackThread() {
    while (m_imageCallbackRunning) {
        IBuffer* buffer = nullptr;
        try {
            buffer = GetBuffer(50);
        } catch (const GenICam::GenericException&) {
            continue;  // a time-out, or a stream that is stopping: look at the flag again
        }
        std::lock_guard lock(m_imageCallbackMutex);
        // Callbacks receive images; chunk-only buffers go straight back. A callback may remove
        // itself from the list.
        if (IImage* image = dynamic_cast<IImage*>(buffer)) {
            for (size_t index = 0; index < m_imageCallbacks.size();) {
                IImageCallback* callback = m_imageCallbacks[index];
                callback->OnImage(image);
                if (index < m_imageCallbacks.size() && m_imageCallbacks[index] == callback) ++index;
            }
        }
        try {
            RequeueBuffer(buffer);
        } catch (const GenICam::GenericException&) {
            delete buffer;  // the stream stopped under the callbacks: its buffers are gone anyway
        }
    }
}

IImageCallback::~IImageCallback() = default;
IDisconnectCallback::~IDisconnectCallback() = default;
IDevice::~IDevice() = default;

} // namespace Vireo
