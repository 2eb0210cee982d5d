// Starting and stopping a device's data streams over a pool of producer-allocated buffers.
#include <Vireo/Device.h>

#include <algorithm>

#include <GenApi/GenApi.h>
#include <Vireo/NodeAccess.h>

#include "../transport/Errors.h"
#include "../transport/LibraryLog.h"
#include "DeviceStreams.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "Device";
constexpr int64_t sk_hardcodedTcpPacketSize = 9000;
// Asks StartStream to choose the number of buffers from the camera's throughput.
constexpr size_t kAutomaticBufferCount = 0xFFFFFFFFu;

template <class T>
T InfoOf(TLDataStream* stream, int32_t command) {
    T value{};
    int32_t type = 0;
    size_t size = sizeof value;
    const GenTL::GC_ERROR result = stream->GetInfo(command, &type, &value, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get stream information", kUnit, "StartStream", "DSGetInfo");
    return value;
}

template <class T>
T ValueOr(GenApi::INodeMap* map, const char* name, T fallback) {
    try {
        return GetNodeValue<T>(map, name);
    } catch (const GenICam::GenericException&) {
        return fallback;
    }
}

void RevokeAnnouncedBuffers(StreamInfo* stream, const char* function) {
    GenApi::INodeMap* map = stream->GetNodeMap();
    if (map == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Unable to get TLDatastream nodemap, NULL returned", kUnit, function);
    GenApi::CIntegerPtr announced = map->GetNode("StreamAnnouncedBufferCount");
    // Index 0 every time: each revocation shortens the producer's list.
    while (announced->GetValue() >= 1) {
        void* buffer = nullptr;
        GenTL::GC_ERROR result = stream->GetTLDataStream()->GetBufferID(0, &buffer);
        if (result != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PRODUCER_ERROR(result, "Unable to get internal buffer ID", kUnit, function, "DSGetBufferID");
        result = stream->GetTLDataStream()->RevokeBuffer(buffer, nullptr, nullptr);
        if (result != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PRODUCER_ERROR(result, "Unable to revoke internal buffer", kUnit, function, "DSRevokeBuffer");
    }
}

} // namespace

void CleanupAnnouncedBuffersOnStartFailure(StreamInfo* stream) {
    stream->GetTLDataStream()->FlushQueue(GenTL::ACQ_QUEUE_ALL_DISCARD);
    RevokeAnnouncedBuffers(stream, "CleanupAnnouncedBuffersOnStartFailure");
}

void Device::StartStream(size_t numBuffers) {
    if (m_streams.empty()) VIREO_THROW_PLAIN(LogicalError, "Device has no available streams", kUnit, "StartStream");
    SelectStream();
    if (m_currentStream == kTcpStream && m_streams.size() > 1) {
        m_savedPacketSize = GetNodeValue<int64_t>(GetNodeMap(), "DeviceStreamChannelPacketSize");
        SetNodeValue<int64_t>(GetNodeMap(), "DeviceStreamChannelPacketSize", sk_hardcodedTcpPacketSize);
    }
    try {
        if (m_currentStream == kEventSensorStream)
            StartStreamEVS(m_currentStream, numBuffers);
        else
            StartStream(m_currentStream, numBuffers);
    } catch (...) {
        // A start that failed leaves the camera's packet size as it found it.
        if (m_currentStream == kTcpStream && m_savedPacketSize != -1) {
            SetNodeValue<int64_t>(GetNodeMap(), "DeviceStreamChannelPacketSize", m_savedPacketSize);
            m_savedPacketSize = -1;
        }
        throw;
    }
}

void Device::StopStream() {
    if (m_streams.empty())
        VIREO_THROW_PLAIN(LogicalError, "Failure stopping stream due to device not having been streaming", kUnit,
                          "StopStream");
    SelectStream();
    if (m_currentStream == kEventSensorStream)
        StopStreamEVS(m_currentStream);
    else
        StopStream(m_currentStream);
    if (m_currentStream == kTcpStream && m_streams.size() > 1 && m_savedPacketSize != -1) {
        SetNodeValue<int64_t>(GetNodeMap(), "DeviceStreamChannelPacketSize", m_savedPacketSize);
        m_savedPacketSize = -1;
    }
}

void Device::StartStream(int stream, size_t numBuffers) {
    std::lock_guard lock(m_streamMutex);
    if (numBuffers == 0)
        VIREO_THROW_PLAIN(InvalidArgument, "Number of acquisition buffers must be 1 or greater", kUnit, "StartStream");
    GenApi::INodeMap* remote = GetNodeMap();
    if (remote == nullptr) VIREO_THROW_PLAIN(Runtime, "Node map not present", kUnit, "StartStream");
    uint64_t payloadSize = uint64_t(GenApi::CIntegerPtr(remote->GetNode("PayloadSize"))->GetValue());
    GenApi::CIntegerPtr width = remote->GetNode("Width");
    GenApi::CIntegerPtr heightNode = remote->GetNode("Height");
    const int64_t height = heightNode->GetValue();

    GenApi::INodeMap* tlDeviceMap = GetTLDeviceNodeMap();
    GenApi::CEnumerationPtr streamProtocol = tlDeviceMap != nullptr ? tlDeviceMap->GetNode("DeviceStreamProtocol") : nullptr;
    const bool protocolReadable = streamProtocol.IsValid() && GenApi::IsReadable(streamProtocol);
    if (protocolReadable && streamProtocol->ToString() == "GVRSP" && !IsGvrspStreamable(m_tlDevice))
        VIREO_THROW_PLAIN(InvalidArgument, "Cannot force GVRSP because it is not supported on current connection", kUnit,
                          "StartStream");
    GenApi::CEnumerationPtr transport = remote->GetNode("TransportStreamProtocol");
    if (transport.IsValid() && GenApi::IsReadable(transport)) {
        const GenICam::gcstring value = transport->ToString();
        const bool legacy = protocolReadable && streamProtocol->ToString() == "Legacy";
        if (!legacy && (value == "RDMA" || value == "TCP")) {
            const char* text = "Device Stream Protocol node is not set to 'Legacy' while Transport Stream Protocol is "
                               "being used! \t\t\t\t\t\tConsider updating device to firmware that supports GigE "
                               "Vision 3.0 or set Device Stream Protocol to 'Legacy'";
            LibraryLog(PelgoLog::Error, text);
            VIREO_THROW_PLAIN(InvalidArgument, text, kUnit, "StartStream");
        }
    }

    StreamInfo* info = m_streams.at(size_t(stream));
    TLDataStream* dataStream = info->GetTLDataStream();
    const GenICam::gcstring mode = GetNodeValue<GenICam::gcstring>(info->GetNodeMap(), "StreamBufferHandlingMode");
    if (numBuffers == 1 && mode == "OldestFirstOverwrite")
        VIREO_THROW_PLAIN(InvalidArgument, "Number of acquisition buffers must be 2 or greater for OldestFirstOverwrite mode",
                          kUnit, "StartStream");
    if (InfoOf<GenTL::bool8_t>(dataStream, GenTL::STREAM_INFO_DEFINES_PAYLOADSIZE) != 0)
        payloadSize = InfoOf<size_t>(dataStream, GenTL::STREAM_INFO_PAYLOAD_SIZE);

    // Multipart: the parts of one buffer, bounded by how many of the current height fit.
    GenApi::CBooleanPtr multipart = tlDeviceMap != nullptr ? tlDeviceMap->GetNode("StreamMultipartEnable") : nullptr;
    GenApi::INodeMap* currentStreamMap = GetTLStreamNodeMap(m_currentStream);
    GenApi::CIntegerPtr numParts = currentStreamMap != nullptr ? currentStreamMap->GetNode("StreamMultipartNumParts") : nullptr;
    if (multipart.IsValid() && GenApi::IsReadable(multipart) && multipart->GetValue() && numParts.IsValid() &&
        GenApi::IsAvailable(numParts)) {
        int64_t parts = numParts->GetValue();
        const int64_t maxParts = heightNode->GetMax() / height;
        if (parts > maxParts) {
            LibraryLog(PelgoLog::Warn, "Number of parts selected for multipart greater than maximum allowed. Setting "
                                       "number of parts to " + std::to_string(maxParts));
            numParts->SetValue(maxParts);
            parts = maxParts;
        } else if (parts == 0) {
            LibraryLog(PelgoLog::Warn, "Number of parts cannot be 0. Setting number of parts to minimum value 1");
            numParts->SetValue(1);
            parts = 1;
        }
        payloadSize *= uint64_t(parts);
    }

    if (numBuffers == kAutomaticBufferCount) {
        const uint64_t throughput = uint64_t(GetNodeValue<int64_t>(remote, "DeviceMaxThroughput"));
        numBuffers = size_t((throughput * 40 / 1000) / payloadSize);
        numBuffers = std::max<size_t>(std::min<size_t>(numBuffers, 1000), 10);
    }

    for (size_t index = 0; index < numBuffers; ++index) {
        void* buffer = nullptr;
        GenTL::GC_ERROR result = dataStream->AllocAndAnnounceBuffer(size_t(payloadSize), nullptr, &buffer);
        if (result != GenTL::GC_ERR_SUCCESS) {
            const std::string text = FetchLastError();
            CleanupAnnouncedBuffersOnStartFailure(info);
            ThrowProducerErrorWithText(result, "Unable to prepare internal buffer", kUnit, "StartStream",
                                       "DSAllocAndAnnounceBuffer", text, VIREO_SOURCE_FILE, __LINE__);
        }
        result = dataStream->QueueBuffer(buffer);
        if (result != GenTL::GC_ERR_SUCCESS) {
            const std::string text = FetchLastError();
            CleanupAnnouncedBuffersOnStartFailure(info);
            ThrowProducerErrorWithText(result, "Unable to queue internal buffer", kUnit, "StartStream", "DSQueueBuffer",
                                       text, VIREO_SOURCE_FILE, __LINE__);
        }
    }

    // Resend setup: best effort, every value has a default.
    dataStream->SetupResendRetryParams(
        uint64_t(ValueOr<int64_t>(remote, "PacketResendWindowFrameCount", 0)), ValueOr<double>(remote, "AcquisitionFrameRate", 0.0),
        ValueOr<GenICam::gcstring>(remote, "DeviceSerialNumber", "").c_str(),
        ValueOr<GenICam::gcstring>(remote, "DeviceFirmwareVersion", "").c_str(),
        int32_t(ValueOr<int64_t>(remote, "Width", 0)), int32_t(height));

    void* event = nullptr;
    const GenTL::GC_ERROR registered = dataStream->RegisterEvent(GenTL::EVENT_NEW_BUFFER, &event);
    if (registered != GenTL::GC_ERR_SUCCESS) {
        const std::string text = FetchLastError();
        CleanupAnnouncedBuffersOnStartFailure(info);
        ThrowProducerErrorWithText(registered, "Unable to register new buffer events", kUnit, "StartStream",
                                   "GCRegisterEvent, EVENT_NEW_BUFFER", text, VIREO_SOURCE_FILE, __LINE__);
    }
    delete m_events[size_t(stream)];
    m_events[size_t(stream)] = new TLEvent(event);

    GenApi::CIntegerPtr locked = remote->GetNode("TLParamsLocked");
    if (locked.IsValid()) locked->SetValue(1, true);
    GenApi::CCommandPtr start = remote->GetNode("AcquisitionStart");
    {
        std::lock_guard callbacks(m_imageCallbackMutex);
        if (!m_imageCallbacks.empty() && !m_imageCallbackRunning) StartImageCallbackThread();
    }
    // The number of buffers announced doubles as the acquisition count.
    const GenTL::GC_ERROR started = dataStream->StartAcquisition(GenTL::ACQ_START_FLAGS_DEFAULT, numBuffers);
    if (started != GenTL::GC_ERR_SUCCESS) {
        const std::string text = FetchLastError();
        StopImageCallbackThread();
        dataStream->UnregisterEvent(GenTL::EVENT_NEW_BUFFER);
        delete m_events[size_t(stream)];
        m_events[size_t(stream)] = nullptr;
        if (locked.IsValid()) locked->SetValue(0);
        CleanupAnnouncedBuffersOnStartFailure(info);
        ThrowProducerErrorWithText(started, "Unable to start acquisition", kUnit, "StartStream", "DSStartAcquisition",
                                   text, VIREO_SOURCE_FILE, __LINE__);
    }
    if (hasControl(tlDeviceMap) && start.IsValid()) start->Execute();
}

void Device::StopStream(int stream) {
    std::lock_guard lock(m_streamMutex);
    GenApi::INodeMap* remote = GetNodeMap();
    if (remote != nullptr && hasControl(GetTLDeviceNodeMap())) {
        GenApi::CCommandPtr stop = remote->GetNode("AcquisitionStop");
        if (!stop.IsValid())
            VIREO_THROW_PLAIN(Runtime, "Unable to stop acquisition because Acquisition Stop node doesn't exist", kUnit,
                              "StopStream");
        stop->Execute(false);
    }
    StopImageCallbackThread();
    StreamInfo* info = m_streams.at(size_t(stream));
    TLDataStream* dataStream = info->GetTLDataStream();
    GenTL::GC_ERROR result = dataStream->StopAcquisition(GenTL::ACQ_STOP_FLAGS_DEFAULT);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to stop acquisition", kUnit, "StopStream", "DSStopAcquisition");
    result = dataStream->UnregisterEvent(GenTL::EVENT_NEW_BUFFER);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to unregister new buffer events", kUnit, "StopStream",
                                   "GCUnregisterEvent, EVENT_NEW_BUFFER");
    delete m_events[size_t(stream)];
    m_events[size_t(stream)] = nullptr;
    if (remote != nullptr) {
        GenApi::CIntegerPtr locked = remote->GetNode("TLParamsLocked");
        if (locked.IsValid()) locked->SetValue(0);
    }
    result = dataStream->FlushQueue(GenTL::ACQ_QUEUE_ALL_DISCARD);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to flush queue", kUnit, "StopStream", "DSFlushQueue");
    RevokeAnnouncedBuffers(info, "StopStream");
}

void Device::StartImageCallbackThread() {
    m_imageCallbackRunning = true;
    m_imageCallbackThread = std::thread([this] { ImageCallbackThread(); });
}

void Device::StopImageCallbackThread() {
    m_imageCallbackRunning = false;
    if (m_imageCallbackThread.joinable()) m_imageCallbackThread.join();
}

} // namespace Vireo
