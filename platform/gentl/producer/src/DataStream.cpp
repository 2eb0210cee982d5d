#include <algorithm>
#include <chrono>

#include "Modules.h"
#include "ProducerState.h"

namespace VirtualGenTL {
namespace {

// The data stream that carries the event-based sensor's events: role 3 of a camera with stream
// roles.
bool CarriesSensorEvents(const VirtualCamera& camera, const std::string& id) {
    return CarriesSensorEvents(camera.Model(), kEventStreamIndex) && id == "Stream" + std::to_string(kEventStreamIndex);
}

std::unique_ptr<RegisterSpace> StreamPort(const std::string& id, bool eventStream) {
    DescriptionHeader header{"VireoVirtualDataStream", "Vireo", "Virtual GigE Vision data stream", "StreamPort", false};
    std::vector<Feature> features = {
        StringFeature("StreamID", "StreamInformation", 32),
        EnumerationFeature("StreamType", "StreamInformation", {{"GigEVision", 0}}, Access::RO),
        EnumerationFeature("StreamBufferHandlingMode", "BufferHandlingControl",
                           {{"OldestFirst", 0}, {"OldestFirstOverwrite", 1}, {"NewestOnly", 2}}),
        IntegerFeature("StreamAnnouncedBufferCount", "BufferHandlingControl", Access::RO, 0, INT64_MAX),
        IntegerFeature("StreamAnnounceBufferMinimum", "BufferHandlingControl", Access::RO, 0, INT64_MAX),
        IntegerFeature("StreamDeliveredFrameCount", "StreamDiagnostics", Access::RO, 0, INT64_MAX),
        IntegerFeature("StreamLostFrameCount", "StreamDiagnostics", Access::RO, 0, INT64_MAX),
        IntegerFeature("StreamStartedFrameCount", "StreamDiagnostics", Access::RO, 0, INT64_MAX),
        BooleanFeature("StreamIsGrabbing", "StreamDiagnostics", Access::RO),
        IntegerFeature("StreamMultipartNumParts", "StreamControl", Access::RW, 1, 16),
    };
    UnpublishWhenForeign(features, {"StreamBufferHandlingMode", "StreamAnnouncedBufferCount"});
    if (eventStream) {
        features.push_back(
            EnumerationFeature("StreamEvsOutputFormat", "EventSensorStreamControl", EvsOutputFormatEntries()));
        features.back().description =
            "How the stream sends the sensor's events: raw encoded words, event lists or contrast frames";
        features.push_back(EnumerationFeature("StreamEvsBitDepth", "EventSensorStreamControl", EvsBitDepthEntries()));
        features.back().description = "Bits per event, word or pixel of the output format";
    }
    auto description = std::make_shared<const Description>(header, features);
    const std::string xml = description->Xml();
    auto port = std::make_unique<RegisterSpace>(description, std::vector<uint8_t>(xml.begin(), xml.end()));
    port->SetString("StreamID", id);
    port->SetInteger("StreamAnnounceBufferMinimum", 1);
    port->SetInteger("StreamMultipartNumParts", 1);
    if (eventStream) {
        const EvsOutput defaults;
        port->SetInteger("StreamEvsOutputFormat", defaults.format);
        port->SetInteger("StreamEvsBitDepth", defaults.bitDepth);
    }
    return port;
}

uint64_t SteadyNs() {
    return uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(
                        std::chrono::steady_clock::now().time_since_epoch())
                        .count());
}

} // namespace

DataStream::DataStream(std::shared_ptr<VirtualCamera> camera, std::string id, void* parentDevice,
                       RegisterSpace* devicePort)
    : Module(kKind, StreamPort(id, CarriesSensorEvents(*camera, id)), "GenTLDataStream.xml", "TLDataStream", id),
      m_camera(std::move(camera)), m_parentDevice(parentDevice), m_devicePort(devicePort),
      m_eventStream(CarriesSensorEvents(*m_camera, m_id)) {
    // Counters are read when asked for, not stored on every frame.
    m_port->OnRead("StreamAnnouncedBufferCount", [this] {
        std::lock_guard lock(m_mutex);
        return int64_t(m_buffers.size());
    });
    m_port->OnRead("StreamDeliveredFrameCount", [this] {
        std::lock_guard lock(m_mutex);
        return int64_t(m_delivered_count);
    });
    m_port->OnRead("StreamLostFrameCount", [this] {
        std::lock_guard lock(m_mutex);
        return int64_t(m_underruns);
    });
    m_port->OnRead("StreamStartedFrameCount", [this] {
        std::lock_guard lock(m_mutex);
        return int64_t(m_started);
    });
    m_port->OnRead("StreamIsGrabbing", [this] { return int64_t(m_grabbing ? 1 : 0); });
    // The buffer-handling mode and the event output cannot change while acquiring.
    m_port->SetWriteGuard([this](const Feature& feature) {
        if (feature.name == "StreamBufferHandlingMode" && m_grabbing)
            Fail(GenTL::GC_ERR_ACCESS_DENIED, "the buffer handling mode cannot change while acquiring");
        if ((feature.name == "StreamEvsOutputFormat" || feature.name == "StreamEvsBitDepth") && m_grabbing)
            Fail(GenTL::GC_ERR_ACCESS_DENIED, feature.name + " cannot change while acquiring");
    });
    if (m_eventStream)
        for (const char* name : {"StreamEvsOutputFormat", "StreamEvsBitDepth"})
            m_port->OnWrite(name, [this, name](int64_t value, uint32_t) { GuardEvsOutput(name, value); });
}

void DataStream::GuardEvsOutput(const std::string& name, int64_t value) {
    const bool format = name == "StreamEvsOutputFormat";
    const std::vector<EnumEntry> entries = format ? EvsOutputFormatEntries() : EvsBitDepthEntries();
    std::lock_guard lock(m_mutex);
    int64_t& kept = format ? m_evsOutput.format : m_evsOutput.bitDepth;
    if (std::any_of(entries.begin(), entries.end(), [&](const EnumEntry& entry) { return entry.value == value; })) {
        kept = value;
        return;
    }
    // The port stored the value already: put the last valid one back.
    m_port->SetInteger(name, kept);
    Fail(GenTL::GC_ERR_INVALID_PARAMETER, std::to_string(value) + " is not a value of " + name);
}

DataStream::~DataStream() { Close(); }

void DataStream::Close() {
    StopAcquisition();
    std::lock_guard lock(m_mutex);
    if (m_closed) return;
    m_closed = true;
    for (const auto& buffer : m_buffers) Handles::Remove(buffer->Handle());
    m_buffers.clear();
    m_input.clear();
    m_output.clear();
    ++m_abortGeneration;
    Signal(m_delivered);
    m_triggers.clear();
    ++m_triggerAbort;
    m_triggerArrived.notify_all();
}

std::shared_ptr<BufferEntry> DataStream::FindBuffer(void* handle) {
    for (const auto& buffer : m_buffers)
        if (buffer->Handle() == handle) return buffer;
    Fail(GenTL::GC_ERR_INVALID_HANDLE, "not a buffer of this data stream");
}

void* DataStream::Announce(uint8_t* memory, size_t size, void* userPointer, std::unique_ptr<uint8_t[]> owned) {
    if (memory == nullptr) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "the buffer memory is null");
    if (size == 0) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "the buffer size is 0");
    auto buffer = std::make_shared<BufferEntry>();
    buffer->memory = memory;
    buffer->size = size;
    buffer->userPointer = userPointer;
    buffer->owned = std::move(owned);
    std::lock_guard lock(m_mutex);
    if (m_closed) Fail(GenTL::GC_ERR_INVALID_HANDLE, "the data stream is closed");
    for (const auto& existing : m_buffers)
        if (existing->memory == memory) Fail(GenTL::GC_ERR_RESOURCE_IN_USE, "this memory is already announced");
    void* handle = Handles::Add(buffer);
    m_buffers.push_back(buffer);
    return handle;
}

void DataStream::Revoke(void* bufferHandle, void** memory, void** userPointer) {
    std::shared_ptr<BufferEntry> buffer;
    {
        std::lock_guard lock(m_mutex);
        buffer = FindBuffer(bufferHandle);
        if (buffer->queued || buffer->awaitingDelivery || buffer->acquiring)
            Fail(GenTL::GC_ERR_BUSY, "the buffer is still queued; flush the queues first");
        m_buffers.erase(std::find(m_buffers.begin(), m_buffers.end(), buffer));
        }
    Handles::Remove(bufferHandle);
    // Memory the producer allocated is freed; the caller's memory is handed back.
    if (memory != nullptr) *memory = buffer->owned ? nullptr : buffer->memory;
    if (userPointer != nullptr) *userPointer = buffer->userPointer;
}

void DataStream::Queue(void* bufferHandle) {
    std::lock_guard lock(m_mutex);
    const std::shared_ptr<BufferEntry> buffer = FindBuffer(bufferHandle);
    if (buffer->queued || buffer->awaitingDelivery || buffer->acquiring)
        Fail(GenTL::GC_ERR_RESOURCE_IN_USE, "the buffer is already queued");
    buffer->queued = true;
    buffer->newData = false;
    m_input.push_back(buffer);
    Signal(m_poolChanged);
}

void DataStream::Flush(GenTL::ACQ_QUEUE_TYPE operation) {
    std::lock_guard lock(m_mutex);
    switch (operation) {
    case GenTL::ACQ_QUEUE_INPUT_TO_OUTPUT:
        while (!m_input.empty()) {
            auto buffer = m_input.front();
            m_input.pop_front();
            buffer->queued = false;
            buffer->awaitingDelivery = true;
            buffer->newData = false;
            m_output.push_back(buffer);
        }
        Signal(m_delivered);
        break;
    case GenTL::ACQ_QUEUE_OUTPUT_DISCARD:
        for (const auto& buffer : m_output) buffer->awaitingDelivery = false;
        m_output.clear();
        break;
    case GenTL::ACQ_QUEUE_ALL_TO_INPUT:
        for (const auto& buffer : m_output) {
            buffer->awaitingDelivery = false;
            buffer->queued = true;
            m_input.push_back(buffer);
        }
        m_output.clear();
        for (const auto& buffer : m_buffers) {
            if (!buffer->queued && !buffer->acquiring) {
                buffer->queued = true;
                m_input.push_back(buffer);
            }
        }
        Signal(m_poolChanged);
        break;
    case GenTL::ACQ_QUEUE_UNQUEUED_TO_INPUT:
        for (const auto& buffer : m_buffers) {
            if (!buffer->queued && !buffer->awaitingDelivery && !buffer->acquiring) {
                buffer->queued = true;
                m_input.push_back(buffer);
            }
        }
        Signal(m_poolChanged);
        break;
    case GenTL::ACQ_QUEUE_ALL_DISCARD:
        for (const auto& buffer : m_input) buffer->queued = false;
        for (const auto& buffer : m_output) buffer->awaitingDelivery = false;
        m_input.clear();
        m_output.clear();
        break;
    default: Fail(GenTL::GC_ERR_INVALID_PARAMETER, "unknown flush operation " + std::to_string(operation));
    }
}

void DataStream::CheckBuffer(void* bufferHandle) {
    std::lock_guard lock(m_mutex);
    FindBuffer(bufferHandle);
}

void DataStream::ChunkData(void* bufferHandle, GenTL::S_SINGLE_CHUNK_DATA* chunks, size_t* count) {
    std::lock_guard lock(m_mutex);
    const std::shared_ptr<BufferEntry> buffer = FindBuffer(bufferHandle);
    const std::vector<ChunkPlacement>& placements = buffer->frame.chunks;
    if (!buffer->frame.containsChunks) Fail(GenTL::GC_ERR_NO_DATA, "the buffer holds no chunk data");
    if (chunks == nullptr) {
        *count = placements.size();
        return;
    }
    if (*count < placements.size()) {
        *count = placements.size();
        Fail(GenTL::GC_ERR_BUFFER_TOO_SMALL, "room for " + std::to_string(placements.size()) + " chunks is needed");
    }
    for (size_t index = 0; index < placements.size(); ++index)
        chunks[index] = GenTL::S_SINGLE_CHUNK_DATA{placements[index].id, ptrdiff_t(placements[index].offset),
                                                   placements[index].length};
    *count = placements.size();
}

uint32_t DataStream::NumParts(void* bufferHandle) {
    std::lock_guard lock(m_mutex);
    const size_t parts = FindBuffer(bufferHandle)->parts.size();
    // A count of 0 would tell a consumer that the buffer holds no image.
    if (parts == 0) Fail(GenTL::GC_ERR_NO_DATA, "the buffer is not a multi-part buffer");
    return uint32_t(parts);
}

void DataStream::PartInfo(void* bufferHandle, uint32_t part, GenTL::BUFFER_PART_INFO_CMD command, InfoAnswer& answer) {
    std::lock_guard lock(m_mutex);
    const std::shared_ptr<BufferEntry> buffer = FindBuffer(bufferHandle);
    if (part >= buffer->parts.size()) Fail(GenTL::GC_ERR_INVALID_INDEX, "no buffer part " + std::to_string(part));
    const FrameInfo& frame = buffer->parts[part];
    switch (command) {
    case GenTL::BUFFER_PART_INFO_BASE: answer.Pointer(buffer->memory + buffer->partOffsets[part]); break;
    case GenTL::BUFFER_PART_INFO_DATA_SIZE: answer.SizeT(frame.sizeFilled); break;
    case GenTL::BUFFER_PART_INFO_DATA_TYPE: answer.UInt64(frame.width > 0 && frame.height > 0 ? 1 : 0); break;  // 2D image
    case GenTL::BUFFER_PART_INFO_DATA_FORMAT: answer.UInt64(frame.pixelFormat); break;
    case GenTL::BUFFER_PART_INFO_DATA_FORMAT_NAMESPACE: answer.UInt64(GenTL::PIXELFORMAT_NAMESPACE_PFNC_32BIT); break;
    case GenTL::BUFFER_PART_INFO_WIDTH: answer.SizeT(frame.width); break;
    case GenTL::BUFFER_PART_INFO_HEIGHT: answer.SizeT(frame.height); break;
    case GenTL::BUFFER_PART_INFO_XOFFSET: answer.SizeT(frame.offsetX); break;
    case GenTL::BUFFER_PART_INFO_YOFFSET: answer.SizeT(frame.offsetY); break;
    case GenTL::BUFFER_PART_INFO_XPADDING: answer.SizeT(0); break;
    case GenTL::BUFFER_PART_INFO_SOURCE_ID: answer.UInt64(0); break;
    case GenTL::BUFFER_PART_INFO_DELIVERED_IMAGEHEIGHT: answer.SizeT(frame.height); break;
    case GenTL::BUFFER_PART_INFO_REGION_ID: answer.UInt64(0); break;
    case GenTL::BUFFER_PART_INFO_DATA_PURPOSE_ID: answer.UInt64(0); break;
    default: Fail(GenTL::GC_ERR_NOT_IMPLEMENTED, "BUFFER_PART_INFO command " + std::to_string(command) + " is not supported");
    }
}

void* DataStream::BufferId(uint32_t index) {
    std::lock_guard lock(m_mutex);
    if (index >= m_buffers.size()) Fail(GenTL::GC_ERR_INVALID_INDEX, "no announced buffer " + std::to_string(index));
    return m_buffers[index]->Handle();
}

void DataStream::Info(GenTL::STREAM_INFO_CMD command, InfoAnswer& answer) {
    RequireOwnInfoCommand(command, "STREAM_INFO");
    std::lock_guard lock(m_mutex);
    switch (command) {
    case GenTL::STREAM_INFO_ID: answer.String(m_id); break;
    case GenTL::STREAM_INFO_NUM_DELIVERED: answer.UInt64(m_delivered_count); break;
    case GenTL::STREAM_INFO_NUM_UNDERRUN: answer.UInt64(m_underruns); break;
    case GenTL::STREAM_INFO_NUM_ANNOUNCED: answer.SizeT(m_buffers.size()); break;
    case GenTL::STREAM_INFO_NUM_QUEUED: answer.SizeT(m_input.size()); break;
    case GenTL::STREAM_INFO_NUM_AWAIT_DELIVERY: answer.SizeT(m_output.size()); break;
    case GenTL::STREAM_INFO_NUM_STARTED: answer.UInt64(m_started); break;
    case GenTL::STREAM_INFO_PAYLOAD_SIZE:
        if (m_eventStream) {
            const RegisterSpace& camera = m_camera->Registers();
            answer.SizeT(EventSensor::PayloadSize(m_evsOutput, uint64_t(camera.GetInteger("Width")),
                                                  uint64_t(camera.GetInteger("Height"))));
        } else {
            answer.SizeT(m_camera->PayloadSize());
        }
        break;
    case GenTL::STREAM_INFO_IS_GRABBING: answer.Bool8(m_grabbing); break;
    // The camera's PayloadSize rules, except for sensor events: their size follows the stream's
    // output format, not the camera's PixelFormat.
    case GenTL::STREAM_INFO_DEFINES_PAYLOADSIZE: answer.Bool8(m_eventStream); break;
    case GenTL::STREAM_INFO_TLTYPE: answer.String("GEV"); break;
    case GenTL::STREAM_INFO_NUM_CHUNKS_MAX: answer.SizeT(8); break;
    case GenTL::STREAM_INFO_BUF_ANNOUNCE_MIN: answer.SizeT(1); break;
    case GenTL::STREAM_INFO_BUF_ALIGNMENT: answer.SizeT(1); break;
    case GenTL::STREAM_INFO_BUFFER_CENSUS: {
        const uint64_t filling = uint64_t(std::count_if(m_buffers.begin(), m_buffers.end(),
                                                        [](const auto& buffer) { return buffer->acquiring; }));
        const uint64_t census[4] = {m_buffers.size(), m_input.size(), filling, m_output.size()};
        answer.Buffer(std::string(reinterpret_cast<const char*>(census), sizeof census));
        break;
    }
    default: Fail(GenTL::GC_ERR_NOT_IMPLEMENTED, "STREAM_INFO command " + std::to_string(command) + " is not supported");
    }
}

// GigE Vision's own payload codes (0x4001 image with extended chunks, 4 chunk data) are this
// producer's answer; a standard producer reports an image (with BUFFER_INFO_CONTAINS_CHUNKDATA)
// and GenTL's chunk-only type.
static size_t ReportedPayloadType(uint64_t payloadType) {
    if (!ActsAsForeignProducer()) return size_t(payloadType);
    if (payloadType == 0x4001) return GenTL::PAYLOAD_TYPE_IMAGE;
    if (payloadType == GenTL::PAYLOAD_TYPE_CHUNK_DATA) return GenTL::PAYLOAD_TYPE_CHUNK_ONLY;
    return size_t(payloadType);
}

void DataStream::BufferInfo(void* bufferHandle, GenTL::BUFFER_INFO_CMD command, InfoAnswer& answer) {
    std::lock_guard lock(m_mutex);
    const std::shared_ptr<BufferEntry> buffer = FindBuffer(bufferHandle);
    const FrameInfo& frame = buffer->frame;
    switch (command) {
    case GenTL::BUFFER_INFO_BASE: answer.Pointer(buffer->memory); break;
    case GenTL::BUFFER_INFO_SIZE: answer.SizeT(buffer->size); break;
    case GenTL::BUFFER_INFO_USER_PTR: answer.Pointer(buffer->userPointer); break;
    case GenTL::BUFFER_INFO_TIMESTAMP: answer.UInt64(frame.timestampNs); break;
    case GenTL::BUFFER_INFO_NEW_DATA: answer.Bool8(buffer->newData); break;
    case GenTL::BUFFER_INFO_IS_QUEUED: answer.Bool8(buffer->queued); break;
    case GenTL::BUFFER_INFO_IS_ACQUIRING: answer.Bool8(buffer->acquiring); break;
    case GenTL::BUFFER_INFO_IS_INCOMPLETE: answer.Bool8(frame.incomplete); break;
    case GenTL::BUFFER_INFO_TLTYPE: answer.String("GEV"); break;
    case GenTL::BUFFER_INFO_SIZE_FILLED: answer.SizeT(frame.sizeFilled); break;
    case GenTL::BUFFER_INFO_WIDTH: answer.SizeT(frame.width); break;
    case GenTL::BUFFER_INFO_HEIGHT: answer.SizeT(frame.height); break;
    case GenTL::BUFFER_INFO_XOFFSET: answer.SizeT(frame.offsetX); break;
    case GenTL::BUFFER_INFO_YOFFSET: answer.SizeT(frame.offsetY); break;
    case GenTL::BUFFER_INFO_XPADDING: answer.SizeT(0); break;
    case GenTL::BUFFER_INFO_YPADDING: answer.SizeT(0); break;
    case GenTL::BUFFER_INFO_FRAMEID: answer.UInt64(frame.frameId); break;
    case GenTL::BUFFER_INFO_IMAGEPRESENT: answer.Bool8(frame.payloadType != GenTL::PAYLOAD_TYPE_CHUNK_DATA); break;
    case GenTL::BUFFER_INFO_IMAGEOFFSET: answer.SizeT(0); break;
    case GenTL::BUFFER_INFO_PAYLOADTYPE:
        answer.SizeT(!buffer->parts.empty() && ActsAsForeignProducer() ? size_t(GenTL::PAYLOAD_TYPE_MULTI_PART)
                                                                      : ReportedPayloadType(frame.payloadType));
        break;
    case GenTL::BUFFER_INFO_PIXELFORMAT: answer.UInt64(frame.pixelFormat); break;
    case GenTL::BUFFER_INFO_PIXELFORMAT_NAMESPACE: answer.UInt64(GenTL::PIXELFORMAT_NAMESPACE_PFNC_32BIT); break;
    case GenTL::BUFFER_INFO_DELIVERED_IMAGEHEIGHT: answer.SizeT(frame.height); break;
    case GenTL::BUFFER_INFO_DELIVERED_CHUNKPAYLOADSIZE: {
        size_t chunkBytes = 0;
        for (const ChunkPlacement& chunk : frame.chunks) chunkBytes += chunk.length + 8;
        answer.SizeT(chunkBytes);
        break;
    }
    case GenTL::BUFFER_INFO_PIXEL_ENDIANNESS: answer.Int32(GenTL::PIXELENDIANNESS_LITTLE); break;
    case GenTL::BUFFER_INFO_DATA_SIZE: answer.SizeT(frame.dataSize); break;
    case GenTL::BUFFER_INFO_TIMESTAMP_NS: answer.UInt64(frame.timestampNs); break;
    case GenTL::BUFFER_INFO_DATA_LARGER_THAN_BUFFER: answer.Bool8(frame.dataLargerThanBuffer); break;
    case GenTL::BUFFER_INFO_CONTAINS_CHUNKDATA: answer.Bool8(frame.containsChunks); break;
    case GenTL::BUFFER_INFO_IS_COMPOSITE: answer.Bool8(false); break;
    case GenTL::BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP: answer.UInt64(buffer->leaderReceivedNs); break;
    default: Fail(GenTL::GC_ERR_NOT_IMPLEMENTED, "BUFFER_INFO command " + std::to_string(command) + " is not supported");
    }
}

void DataStream::StartAcquisition(uint64_t count) {
    std::lock_guard lock(m_mutex);
    if (m_closed) Fail(GenTL::GC_ERR_INVALID_HANDLE, "the data stream is closed");
    if (m_grabbing) Fail(GenTL::GC_ERR_RESOURCE_IN_USE, "acquisition is already running");
    if (m_buffers.empty()) Fail(GenTL::GC_ERR_NO_DATA, "no buffers are announced");
    if (m_eventStream) {
        const std::string problem = EvsOutputProblem(m_evsOutput);
        if (!problem.empty()) Fail(GenTL::GC_ERR_INVALID_PARAMETER, problem);
        m_sensor.Start(m_evsOutput, SteadyNs());
        m_triggers.clear();  // edges of an earlier acquisition count in another time base
    }
    // As in the GigE Vision producers this one models, the camera's AcquisitionMode decides how
    // many frames come; the count only has to be a valid one, and the stream runs until
    // DSStopAcquisition. A standard producer delivers `count` buffers and then stops acquiring
    // on its own (GENTL_INFINITE: until stopped).
    m_framesToAcquire = ActsAsForeignProducer() ? count : GENTL_INFINITE;
    m_grabbing = true;
    m_stop = false;
    m_stopped = false;
    m_pendingKill = false;  // a kill belongs to the acquisition it was meant to end
    m_thread = std::thread([this] { Run(); });
}

bool DataStream::StopAcquisition() {
    std::thread thread;
    {
        std::lock_guard lock(m_mutex);
        ++m_abortGeneration;  // a pending wait for a buffer ends with GC_ERR_ABORT, running or not
        Signal(m_delivered);
        ++m_triggerAbort;  // and so does a wait for a trigger edge
        m_triggerArrived.notify_all();
        if (!m_grabbing) return false;
        m_grabbing = false;
        m_stopped = true;
        m_stop = true;
        Signal(m_poolChanged);
        thread = std::move(m_thread);
    }
    m_camera->WakeWaiters();
    if (thread.joinable()) thread.join();
    std::lock_guard lock(m_mutex);
    for (const auto& buffer : m_buffers) buffer->acquiring = false;
    return true;
}

const DataStream::Settings& DataStream::CurrentSettings() {
    const uint64_t streamVersion = m_port->Version(), deviceVersion = m_devicePort->Version();
    if (!m_settingsValid || streamVersion != m_streamVersion || deviceVersion != m_deviceVersion) {
        m_settings.handlingMode = m_port->GetInteger("StreamBufferHandlingMode");
        m_settings.parts = m_devicePort->GetInteger("StreamMultipartEnable") != 0
                               ? uint32_t(std::max<int64_t>(1, m_port->GetInteger("StreamMultipartNumParts")))
                               : 0;
        m_streamVersion = streamVersion;
        m_deviceVersion = deviceVersion;
        m_settingsValid = true;
    }
    return m_settings;
}

std::shared_ptr<BufferEntry> DataStream::TakeBufferToFill() {
    const int64_t mode = CurrentSettings().handlingMode;
    if (!m_input.empty()) {
        auto buffer = m_input.front();
        m_input.pop_front();
        buffer->queued = false;
        return buffer;
    }
    if ((mode == 1 || mode == 2) && !m_output.empty()) {
        // Overwrite the oldest frame the application has not fetched yet.
        auto buffer = m_output.front();
        m_output.pop_front();
        buffer->awaitingDelivery = false;
        return buffer;
    }
    return nullptr;
}

void DataStream::Run() {
    for (;;) {
        if (m_camera->FreeRunning()) {
            // Without a frame clock the camera sends as fast as the host takes frames, as a
            // stream with flow control does: wait for a free buffer instead of losing frames.
            std::unique_lock lock(m_mutex);
            const auto bufferFree = [&] {
                return m_stop || !m_input.empty() || (!m_output.empty() && CurrentSettings().handlingMode != 0);
            };
            SpinBeforeBlocking(lock, bufferFree);
            m_poolChanged.wait(lock, bufferFree);
            if (m_stop) return;
        }
        if (!m_camera->WaitForFrame(&m_stop)) return;
        const uint64_t leaderNs = SteadyNs();
        std::shared_ptr<BufferEntry> buffer;
        {
            std::lock_guard lock(m_mutex);
            ++m_leaderGeneration;
            Signal(m_delivered);
            buffer = TakeBufferToFill();
            if (!buffer) {
                ++m_underruns;  // the frame is lost: no buffer to take it
                            continue;
            }
            buffer->acquiring = true;
            ++m_started;
        }
        // A multipart buffer holds several frames (line blocks of a line-scan camera) one after
        // another; the buffer reports the first one and describes each part.
        uint32_t settingsParts;
        {
            std::lock_guard lock(m_mutex);
            settingsParts = CurrentSettings().parts;
        }
        const bool multipart = settingsParts != 0;
        const uint32_t partCount = multipart ? settingsParts : 1;
        std::vector<FrameInfo> parts;
        std::vector<size_t> offsets;
        std::vector<EvsTrigger> triggers;
        size_t offset = 0;
        for (uint32_t part = 0; part < partCount && offset < buffer->size; ++part) {
            parts.push_back(m_camera->Produce(buffer->memory + offset, buffer->size - offset,
                                              m_eventStream ? &m_sensor : nullptr, &triggers));
            offsets.push_back(offset);
            offset += parts.back().sizeFilled;
            if (parts.back().incomplete) break;
        }
        FrameInfo frame = parts.front();
        if (multipart) {
            frame.sizeFilled = offset;
            frame.dataSize = 0;
            for (const FrameInfo& part : parts) {
                frame.dataSize += part.dataSize;
                frame.incomplete = frame.incomplete || part.incomplete;
            }
            frame.height = 0;
            for (const FrameInfo& part : parts) frame.height += part.height;
        } else {
            parts.clear();
            offsets.clear();
        }
        {
            std::lock_guard lock(m_mutex);
            buffer->acquiring = false;
            if (m_stop) {
                // Stopped while filling: the buffer goes back to the pool undelivered.
                buffer->queued = true;
                m_input.push_front(buffer);
                return;
            }
            buffer->frame = frame;
            buffer->parts = std::move(parts);
            buffer->partOffsets = std::move(offsets);
            buffer->leaderReceivedNs = leaderNs;
            buffer->newData = true;
            buffer->awaitingDelivery = true;
            if (CurrentSettings().handlingMode == 2) {
                // Newest only: older undelivered frames go back to the input pool.
                for (const auto& older : m_output) {
                    older->awaitingDelivery = false;
                    older->queued = true;
                    m_input.push_back(older);
                }
                m_output.clear();
            }
            m_output.push_back(buffer);
            ++m_delivered_count;
            Signal(m_delivered);
            if (m_triggerListening && !triggers.empty()) {
                constexpr size_t kMaximumQueued = 1024;  // an application that never reads loses the oldest
                for (const EvsTrigger& trigger : triggers) {
                    if (m_triggers.size() == kMaximumQueued) m_triggers.pop_front();
                    m_triggers.push_back(trigger);
                }
                m_triggerArrived.notify_all();
            }
            if (m_framesToAcquire != GENTL_INFINITE && --m_framesToAcquire == 0) return;
        }
    }
}

void DataStream::Signal(std::condition_variable& condition) {
    m_signals.fetch_add(1, std::memory_order_release);
    condition.notify_all();
}

template <class Ready>
void DataStream::SpinBeforeBlocking(std::unique_lock<std::mutex>& lock, Ready ready) {
    // Sleeping on a condition variable costs a wake-up of several microseconds; at high frame
    // rates the next buffer is usually a microsecond away, so watch for a signal a little
    // while first (without the lock) and block only when none comes.
    if (ready()) return;
    const uint64_t seen = m_signals.load(std::memory_order_acquire);
    lock.unlock();
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::microseconds(20);
    while (m_signals.load(std::memory_order_acquire) == seen && std::chrono::steady_clock::now() < giveUp)
        __builtin_ia32_pause();
    lock.lock();
}

GenTL::BUFFER_HANDLE DataStream::WaitDelivered(uint64_t timeoutMs, void** userPointer) {
    std::unique_lock lock(m_mutex);
    if (m_pendingKill) {
        m_pendingKill = false;
        Fail(GenTL::GC_ERR_ABORT, "the wait was aborted before it began");
    }
    const uint64_t generation = m_abortGeneration;
    const auto ready = [&] { return !m_output.empty() || m_abortGeneration != generation || m_stopped; };
    struct Waiting {
        uint32_t& count;
        explicit Waiting(uint32_t& waiters) : count(waiters) { ++count; }
        ~Waiting() { --count; }
    } waiting(m_bufferWaiters);
    SpinBeforeBlocking(lock, ready);
    if (timeoutMs == GENTL_INFINITE) {
        m_delivered.wait(lock, ready);
    } else if (!m_delivered.wait_for(lock, std::chrono::milliseconds(timeoutMs), ready)) {
        Fail(GenTL::GC_ERR_TIMEOUT, "no buffer was delivered within " + std::to_string(timeoutMs) + " ms");
    }
    // A kill ends this wait even when a buffer arrived with it: the buffer stays for the next.
    if (m_output.empty() || m_abortGeneration != generation)
        Fail(GenTL::GC_ERR_ABORT, m_stopped ? "the acquisition is stopped" : "the wait was aborted");
    auto buffer = m_output.front();
    m_output.pop_front();
    buffer->awaitingDelivery = false;
    if (userPointer != nullptr) *userPointer = buffer->userPointer;
    return buffer->Handle();
}

void DataStream::KillWait() {
    std::lock_guard lock(m_mutex);
    if (m_bufferWaiters == 0) m_pendingKill = true;
    ++m_abortGeneration;
    Signal(m_delivered);
}

void DataStream::FlushOutput() {
    std::lock_guard lock(m_mutex);
    for (const auto& buffer : m_output) buffer->awaitingDelivery = false;
    m_output.clear();
}

size_t DataStream::OutputCount() {
    std::lock_guard lock(m_mutex);
    return m_output.size();
}

void DataStream::WaitForNextLeader(uint64_t timeoutMs) {
    std::unique_lock lock(m_mutex);
    const uint64_t seen = m_leaderSeen;
    const uint64_t generation = m_abortGeneration;
    const auto ready = [&] { return m_leaderGeneration > seen || m_abortGeneration != generation; };
    if (!m_delivered.wait_for(lock, std::chrono::milliseconds(std::min<uint64_t>(timeoutMs, 86400000)), ready))
        Fail(GenTL::GC_ERR_TIMEOUT, "no leader arrived within " + std::to_string(timeoutMs) + " ms");
    if (m_abortGeneration != generation) Fail(GenTL::GC_ERR_ABORT, "the wait was aborted");
    m_leaderSeen = m_leaderGeneration;
}

void DataStream::ResetWaitForNextLeader() {
    std::lock_guard lock(m_mutex);
    m_leaderSeen = m_leaderGeneration;
}

void DataStream::SetupResend(uint64_t, double frameRate) {
    if (frameRate < 0) Fail(GenTL::GC_ERR_INVALID_PARAMETER, "a negative frame rate");
}

void DataStream::ListenForTriggers(bool listen) {
    std::lock_guard lock(m_mutex);
    m_triggerListening = listen;
    if (listen) return;
    m_triggers.clear();
    ++m_triggerAbort;
    m_triggerArrived.notify_all();
}

EvsTrigger DataStream::WaitTrigger(uint64_t timeoutMs) {
    std::unique_lock lock(m_mutex);
    const uint64_t abort = m_triggerAbort;
    const auto ready = [&] { return !m_triggers.empty() || m_triggerAbort != abort; };
    if (timeoutMs == GENTL_INFINITE) {
        m_triggerArrived.wait(lock, ready);
    } else if (!m_triggerArrived.wait_for(lock, std::chrono::milliseconds(std::min<uint64_t>(timeoutMs, 86400000)),
                                          ready)) {
        Fail(GenTL::GC_ERR_TIMEOUT, "no trigger edge arrived within " + std::to_string(timeoutMs) + " ms");
    }
    if (m_triggers.empty()) Fail(GenTL::GC_ERR_ABORT, "the wait was aborted");
    const EvsTrigger trigger = m_triggers.front();
    m_triggers.pop_front();
    return trigger;
}

void DataStream::KillTriggerWait() {
    std::lock_guard lock(m_mutex);
    ++m_triggerAbort;
    m_triggerArrived.notify_all();
}

void DataStream::FlushTriggers() {
    std::lock_guard lock(m_mutex);
    m_triggers.clear();
}

size_t DataStream::TriggerCount() {
    std::lock_guard lock(m_mutex);
    return m_triggers.size();
}

} // namespace VirtualGenTL
