// Starting and stopping a device's data streams over a pool of producer-allocated buffers.
#include <Vireo/Device.h>

#include <algorithm>
#include <chrono>

#include <GenApi/GenApi.h>
#include <Vireo/NodeAccess.h>

#include "../transport/Errors.h"
#include "../transport/LibraryLog.h"
#include "../transport/Producer.h"
#include "DeviceStreams.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "Device";
constexpr int64_t sk_hardcodedTcpPacketSize = 9000;
// The pool when the camera does not tell its throughput.
constexpr size_t kFallbackBufferCount = 10;

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

// How many buffers the stream has announced: the stream's feature, or, where its node map
// lacks it (other vendors' producers), the portable stream information.
int64_t AnnouncedCount(StreamInfo* stream, GenApi::CIntegerPtr& announced, const char* function) {
    if (announced.IsValid()) return announced->GetValue();
    size_t count = 0;
    int32_t type = 0;
    size_t size = sizeof count;
    const GenTL::GC_ERROR result = stream->GetTLDataStream()->GetInfo(GenTL::STREAM_INFO_NUM_ANNOUNCED, &type, &count, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get stream information", kUnit, function, "DSGetInfo");
    return int64_t(count);
}

void RevokeAnnouncedBuffers(StreamInfo* stream, const char* function) {
    GenApi::INodeMap* map = stream->GetNodeMap();
    GenApi::CIntegerPtr announced = map != nullptr ? map->GetNode("StreamAnnouncedBufferCount") : nullptr;
    if (map == nullptr && IsOwnProducer())
        VIREO_THROW_PLAIN(InvalidArgument, "Unable to get TLDatastream nodemap, NULL returned", kUnit, function);
    // Index 0 every time: each revocation shortens the producer's list.
    while (AnnouncedCount(stream, announced, function) >= 1) {
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

std::shared_ptr<Device::StreamRun> Device::RunOf(int stream) {
    std::lock_guard lock(m_runMutex);
    return size_t(stream) < m_runs.size() ? m_runs[size_t(stream)] : nullptr;
}

bool Device::IsStreaming() {
    std::lock_guard lock(m_runMutex);
    return std::any_of(m_runs.begin(), m_runs.end(), [](const auto& run) { return run != nullptr; });
}

void Device::StartStream(size_t numBuffers) {
    if (m_streams.empty()) VIREO_THROW_PLAIN(LogicalError, "Device has no available streams", kUnit, "StartStream");
    // Before anything is read or written: a running acquisition must not be disturbed.
    if (IsStreaming()) VIREO_THROW_PLAIN(LogicalError, "Stream is already started", kUnit, "StartStream");
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
    // The stream that runs is the one to stop, whatever the transport settings say now.
    int stream = m_currentStream;
    {
        std::lock_guard lock(m_runMutex);
        if (m_runs[size_t(stream)] == nullptr)
            for (size_t index = 0; index < m_runs.size(); ++index)
                if (m_runs[index] != nullptr) stream = int(index);
    }
    if (stream == kEventSensorStream)
        StopStreamEVS(stream);
    else
        StopStream(stream);
    if (stream == kTcpStream && m_streams.size() > 1 && m_savedPacketSize != -1) {
        SetNodeValue<int64_t>(GetNodeMap(), "DeviceStreamChannelPacketSize", m_savedPacketSize);
        m_savedPacketSize = -1;
    }
}

void Device::StartStream(int stream, size_t numBuffers) {
    std::lock_guard lock(m_streamMutex);
    if (numBuffers == 0)
        VIREO_THROW_PLAIN(InvalidArgument, "Number of acquisition buffers must be 1 or greater", kUnit, "StartStream");
    if (stream < 0 || size_t(stream) >= m_streams.size())
        VIREO_THROW_PLAIN(InvalidArgument, "Device has no data stream " + std::to_string(stream), kUnit, "StartStream");
    if (RunOf(stream) != nullptr) VIREO_THROW_PLAIN(LogicalError, "Stream is already started", kUnit, "StartStream");
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

    StreamInfo* info = m_streams[size_t(stream)];
    TLDataStream* dataStream = info->RequireDataStream("StartStream");
    // A stream without the feature (other vendors' producers) uses its producer's default mode.
    GenApi::INodeMap* streamMap = info->GetNodeMap();
    const bool modeDescribed = IsOwnProducer() || (streamMap != nullptr && streamMap->GetNode("StreamBufferHandlingMode") != nullptr);
    const GenICam::gcstring mode =
        modeDescribed ? GetNodeValue<GenICam::gcstring>(streamMap, "StreamBufferHandlingMode") : GenICam::gcstring();
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
        GenApi::CIntegerPtr throughputNode = remote->GetNode("DeviceMaxThroughput");
        if (throughputNode.IsValid() && GenApi::IsReadable(throughputNode) && payloadSize > 0) {
            const uint64_t throughput = uint64_t(throughputNode->GetValue());
            numBuffers = size_t((throughput * 40 / 1000) / payloadSize);
            numBuffers = std::max<size_t>(std::min<size_t>(numBuffers, 1000), 10);
        } else {
            // Many cameras do not tell their throughput: a small pool still streams.
            LibraryLog(PelgoLog::Warn, "The camera does not report DeviceMaxThroughput: starting with " +
                                           std::to_string(kFallbackBufferCount) + " buffers");
            numBuffers = kFallbackBufferCount;
        }
    }

    // From here on the start changes the producer and the camera: the run records each step,
    // so that a failure anywhere is undone completely.
    auto run = std::make_shared<StreamRun>();
    {
        std::lock_guard runs(m_runMutex);
        m_runs[size_t(stream)] = run;
    }
    try {
        for (size_t index = 0; index < numBuffers; ++index) {
            void* buffer = nullptr;
            GenTL::GC_ERROR result = dataStream->AllocAndAnnounceBuffer(size_t(payloadSize), nullptr, &buffer);
            if (result != GenTL::GC_ERR_SUCCESS)
                ThrowProducerErrorWithText(result, "Unable to prepare internal buffer", kUnit, "StartStream",
                                           "DSAllocAndAnnounceBuffer", FetchLastError(), VIREO_SOURCE_FILE, __LINE__);
            result = dataStream->QueueBuffer(buffer);
            if (result != GenTL::GC_ERR_SUCCESS)
                ThrowProducerErrorWithText(result, "Unable to queue internal buffer", kUnit, "StartStream",
                                           "DSQueueBuffer", FetchLastError(), VIREO_SOURCE_FILE, __LINE__);
        }

        // Resend setup: best effort, every value has a default.
        dataStream->SetupResendRetryParams(
            uint64_t(ValueOr<int64_t>(remote, "PacketResendWindowFrameCount", 0)),
            ValueOr<double>(remote, "AcquisitionFrameRate", 0.0),
            ValueOr<GenICam::gcstring>(remote, "DeviceSerialNumber", "").c_str(),
            ValueOr<GenICam::gcstring>(remote, "DeviceFirmwareVersion", "").c_str(),
            int32_t(ValueOr<int64_t>(remote, "Width", 0)), int32_t(height));

        void* event = nullptr;
        const GenTL::GC_ERROR registered = dataStream->RegisterEvent(GenTL::EVENT_NEW_BUFFER, &event);
        if (registered != GenTL::GC_ERR_SUCCESS)
            ThrowProducerErrorWithText(registered, "Unable to register new buffer events", kUnit, "StartStream",
                                       "GCRegisterEvent, EVENT_NEW_BUFFER", FetchLastError(), VIREO_SOURCE_FILE,
                                       __LINE__);
        {
            std::lock_guard runs(m_runMutex);
            run->event.reset(new TLEvent(event));
        }

        GenApi::CIntegerPtr locked = remote->GetNode("TLParamsLocked");
        if (locked.IsValid()) {
            run->paramsLocked = true;  // a write that failed half-way is undone too
            locked->SetValue(1, true);
        }
        GenApi::CCommandPtr start = remote->GetNode("AcquisitionStart");
        {
            std::lock_guard thread(m_callbackThreadMutex);
            std::lock_guard callbacks(m_imageCallbackMutex);
            StartImageCallbackThread();
        }
        // With this project's producer the number of buffers announced doubles as the acquisition
        // count (it streams until stopped whatever the count); a standard producer stops after
        // that many frames, so it is told to run until stopped.
        const GenTL::GC_ERROR started = dataStream->StartAcquisition(
            GenTL::ACQ_START_FLAGS_DEFAULT, IsOwnProducer() ? uint64_t(numBuffers) : GENTL_INFINITE);
        if (started != GenTL::GC_ERR_SUCCESS)
            ThrowProducerErrorWithText(started, "Unable to start acquisition", kUnit, "StartStream",
                                       "DSStartAcquisition", FetchLastError(), VIREO_SOURCE_FILE, __LINE__);
        run->acquisitionStarted = true;
        if (hasControl(tlDeviceMap, m_tlDevice) && start.IsValid()) {
            run->cameraStarted = true;
            start->Execute();
        }
    } catch (...) {
        UndoFailedStart(stream, *run);
        throw;
    }
}

void Device::StopStream(int stream) {
    std::lock_guard lock(m_streamMutex);
    const std::shared_ptr<StreamRun> run = RunOf(stream);
    if (run == nullptr)
        VIREO_THROW_PLAIN(LogicalError, "Failure stopping stream due to device not having been streaming", kUnit,
                          "StopStream");
    FinishStop(stream, *run, "StopStream", StopMode::Stop);
}

void Device::EndWaits(StreamRun& run) {
    std::unique_lock lock(m_runMutex);
    run.stopping = true;
    // A waiter counted here may not have reached the producer's wait yet when the kill comes;
    // the kill is repeated until every waiter has left. No new waiter can arrive.
    while (run.waiters > 0) {
        if (run.event) run.event->Kill();
        m_runWaitersLeft.wait_for(lock, std::chrono::milliseconds(2));
    }
}

void Device::FinishStop(int stream, StreamRun& run, const char* function, StopMode mode) {
    // Abandoning (the device is destroyed), every step is tried whatever the earlier ones
    // answer: the camera must be left unlocked and the producer without buffers of ours.
    const auto step = [mode](auto&& body) {
        if (mode != StopMode::Abandon) return body();
        try {
            body();
        } catch (...) {
        }
    };
    m_imageCallbackRunning = false;  // the thread stops taking buffers now; it is joined below
    EndWaits(run);
    step([&] { DetachChunks(nullptr); });

    GenApi::INodeMap* remote = GetNodeMap();
    // A camera that was told to start is told to stop; on a stop that is retried, once.
    step([&] {
        const bool control = hasControl(GetTLDeviceNodeMap(), m_tlDevice);
        if (remote == nullptr || !control || run.cameraStopped || !(run.cameraStarted || run.acquisitionStarted)) return;
        GenApi::CCommandPtr stop = remote->GetNode("AcquisitionStop");
        if (!stop.IsValid())
            VIREO_THROW_PLAIN(Runtime, "Unable to stop acquisition because Acquisition Stop node doesn't exist", kUnit,
                              function);
        stop->Execute(false);
        run.cameraStopped = true;
    });
    step([&] { StopImageCallbackThread(); });

    StreamInfo* info = m_streams.at(size_t(stream));
    TLDataStream* dataStream = info->GetTLDataStream();
    step([&] {
        if (!run.acquisitionStarted) return;
        const GenTL::GC_ERROR result = dataStream->StopAcquisition(GenTL::ACQ_STOP_FLAGS_DEFAULT);
        if (result != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PRODUCER_ERROR(result, "Unable to stop acquisition", kUnit, function, "DSStopAcquisition");
        run.acquisitionStarted = false;
    });
    step([&] {
        if (!run.event) return;
        const GenTL::GC_ERROR result = dataStream->UnregisterEvent(GenTL::EVENT_NEW_BUFFER);
        if (result != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PRODUCER_ERROR(result, "Unable to unregister new buffer events", kUnit, function,
                                       "GCUnregisterEvent, EVENT_NEW_BUFFER");
        std::lock_guard runs(m_runMutex);
        run.event.reset();
    });
    step([&] {
        if (!run.paramsLocked || remote == nullptr) return;
        GenApi::CIntegerPtr locked = remote->GetNode("TLParamsLocked");
        if (locked.IsValid()) locked->SetValue(0);
        run.paramsLocked = false;
    });
    if (mode == StopMode::UndoStart) {
        CleanupAnnouncedBuffersOnStartFailure(info);
    } else {
        step([&] {
            if (run.queueFlushed) return;
            const GenTL::GC_ERROR result = dataStream->FlushQueue(GenTL::ACQ_QUEUE_ALL_DISCARD);
            if (result != GenTL::GC_ERR_SUCCESS)
                VIREO_THROW_PRODUCER_ERROR(result, "Unable to flush queue", kUnit, function, "DSFlushQueue");
            run.queueFlushed = true;
        });
        step([&] { RevokeAnnouncedBuffers(info, function); });
    }
    std::lock_guard runs(m_runMutex);
    run.event.reset();
    m_runs[size_t(stream)] = nullptr;
}

void Device::UndoFailedStart(int stream, StreamRun& run) noexcept {
    try {
        FinishStop(stream, run, "StartStream", StopMode::UndoStart);
    } catch (const std::exception& error) {
        LibraryLog(PelgoLog::Error, std::string("A failed start could not be undone completely; StopStream or "
                                                "DestroyDevice finishes it: ") + error.what());
    } catch (...) {
        LibraryLog(PelgoLog::Error, "A failed start could not be undone completely");
    }
}

void Device::AbandonStreams() noexcept {
    for (size_t stream = 0; stream < m_streams.size(); ++stream)
        if (const std::shared_ptr<StreamRun> run = RunOf(int(stream)))
            FinishStop(int(stream), *run, "DestroyDevice", StopMode::Abandon);
}

void Device::StartImageCallbackThread() {
    if (m_imageCallbacks.empty() || m_imageCallbackRunning) return;
    // A thread that ended by itself (its last callback deregistered from within) is collected.
    if (m_imageCallbackThread.joinable()) m_imageCallbackThread.join();
    m_imageCallbackRunning = true;
    m_imageCallbackThread = std::thread([this] {
        m_imageCallbackThreadId = std::this_thread::get_id();
        ImageCallbackThread();
        m_imageCallbackThreadId = std::thread::id();
    });
}

void Device::StopImageCallbackThread() {
    if (OnImageCallbackThread()) {
        m_imageCallbackRunning = false;  // it ends when the callback returns
        return;
    }
    std::lock_guard thread(m_callbackThreadMutex);
    m_imageCallbackRunning = false;
    if (m_imageCallbackThread.joinable()) m_imageCallbackThread.join();
}

bool Device::OnImageCallbackThread() const { return m_imageCallbackThreadId.load() == std::this_thread::get_id(); }

} // namespace Vireo
