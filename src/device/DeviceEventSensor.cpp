// Streaming from event-based sensors. The sensor's events arrive through the stream's buffer
// pool as frames (event lists, contrast images or the sensor's raw words, as the stream's
// StreamEvsOutputFormat says) and are fetched like images; the edges on the sensor's external
// trigger inputs arrive as EVENT_NEW_EVS_TRIGGER events of the same data stream.
#include <Vireo/Device.h>

#include <string>

#include <GenApi/GenApi.h>

#include "../transport/Errors.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "Device";
constexpr const char* kGetTrigger = "GetNextEvsTriggerEvent";

// The bit depths each output format can be sent at. A stream without these features, or with
// a format not listed, sends what its producer decides.
void CheckOutputFormat(GenApi::INodeMap* streamMap) {
    GenApi::CEnumerationPtr format = streamMap != nullptr ? streamMap->GetNode("StreamEvsOutputFormat") : nullptr;
    GenApi::CEnumerationPtr depth = streamMap != nullptr ? streamMap->GetNode("StreamEvsBitDepth") : nullptr;
    if (!format.IsValid() || !depth.IsValid() || !GenApi::IsReadable(format) || !GenApi::IsReadable(depth)) return;
    static const struct {
        const char* format;
        const char* depths[2];
        const char* wanted;
    } kOutputs[] = {
        {"RawFrameEncoded", {"Bits16", nullptr}, "Bits16"},
        {"XYTPFrame", {"Bits128", nullptr}, "Bits128"},
        {"CDFrame", {"Bits8", "Bits24"}, "Bits8 or Bits24"},
    };
    const std::string chosenFormat = format->ToString().c_str(), chosenDepth = depth->ToString().c_str();
    for (const auto& output : kOutputs) {
        if (chosenFormat != output.format) continue;
        for (const char* allowed : output.depths)
            if (allowed != nullptr && chosenDepth == allowed) return;
        VIREO_THROW_PLAIN(InvalidArgument,
                          "StreamEvsOutputFormat " + chosenFormat + " cannot be sent at StreamEvsBitDepth " +
                              chosenDepth + "; it takes " + output.wanted,
                          kUnit, "StartStreamEVS");
    }
}

} // namespace

void Device::StartStreamEVS(int stream, size_t numBuffers) {
    std::lock_guard lock(m_streamMutex);
    if (numBuffers == 0)
        VIREO_THROW_PLAIN(InvalidArgument, "Number of acquisition buffers must be 1 or greater", kUnit, "StartStream");
    if (stream < 0 || size_t(stream) >= m_streams.size())
        VIREO_THROW_PLAIN(InvalidArgument, "Device has no data stream " + std::to_string(stream), kUnit,
                          "StartStreamEVS");
    if (m_evsStream != -1)
        VIREO_THROW_PLAIN(LogicalError, "Event-based sensor stream is already streaming", kUnit, "StartStreamEVS");
    StreamInfo* info = m_streams[size_t(stream)];
    CheckOutputFormat(info->GetNodeMap());

    // Trigger events before the acquisition, so that the edges of its first frame periods are
    // kept too. A producer without them still streams the sensor's events.
    TLDataStream* dataStream = info->RequireDataStream("StartStreamEVS");
    void* handle = nullptr;
    const GenTL::GC_ERROR registered = dataStream->RegisterEvent(GenTL::EVENT_NEW_EVS_TRIGGER, &handle);
    if (registered != GenTL::GC_ERR_SUCCESS && registered != GenTL::GC_ERR_NOT_IMPLEMENTED)
        VIREO_THROW_PRODUCER_ERROR(registered, "Unable to register trigger events", kUnit, "StartStreamEVS",
                                   "GCRegisterEvent, EVENT_NEW_EVS_TRIGGER");
    std::shared_ptr<TLEvent> triggers;
    if (registered == GenTL::GC_ERR_SUCCESS) triggers = std::make_shared<TLEvent>(handle);
    try {
        StartStream(stream, numBuffers);  // gives its buffers back itself when it fails
    } catch (...) {
        if (triggers) dataStream->UnregisterEvent(GenTL::EVENT_NEW_EVS_TRIGGER);
        throw;
    }
    std::lock_guard evs(m_evsMutex);
    m_evsStream = stream;
    m_evsTriggerEvent = std::move(triggers);
}

void Device::StopStreamEVS(int stream) {
    std::lock_guard lock(m_streamMutex);
    std::shared_ptr<TLEvent> triggers;
    {
        std::lock_guard evs(m_evsMutex);
        if (m_evsStream == stream) {
            triggers = std::move(m_evsTriggerEvent);
            m_evsStream = -1;
        }
    }
    // Unregistering ends a wait in GetNextEvsTriggerEvent. The stream is stopped even when it
    // fails: the failure is reported afterwards.
    GenTL::GC_ERROR unregistered = GenTL::GC_ERR_SUCCESS;
    std::string text;
    if (triggers) {
        unregistered = m_streams.at(size_t(stream))->GetTLDataStream()->UnregisterEvent(GenTL::EVENT_NEW_EVS_TRIGGER);
        if (unregistered != GenTL::GC_ERR_SUCCESS) text = FetchLastError();
    }
    StopStream(stream);
    if (unregistered != GenTL::GC_ERR_SUCCESS)
        ThrowProducerErrorWithText(unregistered, "Unable to unregister trigger events", kUnit, "StopStreamEVS",
                                   "GCUnregisterEvent, EVENT_NEW_EVS_TRIGGER", text, VIREO_SOURCE_FILE, __LINE__);
}

EvsTriggerEvent Device::GetNextEvsTriggerEvent(uint64_t timeout) {
    std::shared_ptr<TLEvent> event;  // kept alive here while a stop drops the device's reference
    {
        std::lock_guard evs(m_evsMutex);
        if (m_evsStream == -1)
            VIREO_THROW_PLAIN(LogicalError, "Unable to get trigger event, event-based sensor stream not started", kUnit,
                              kGetTrigger);
        if (!m_evsTriggerEvent)
            VIREO_THROW_PLAIN(LogicalError, "Unable to get trigger event, the producer offers no trigger events", kUnit,
                              kGetTrigger);
        event = m_evsTriggerEvent;
    }
    GenTL::S_EVENT_NEW_EVS_TRIGGER data{};
    size_t size = sizeof data;
    const GenTL::GC_ERROR result = event->GetData(&data, &size, timeout);
    // A stop during the wait ends it with GC_ERR_ABORT; one that came before the wait began
    // leaves a handle that the producer no longer knows.
    if (result == GenTL::GC_ERR_ABORT || result == GenTL::GC_ERR_INVALID_HANDLE)
        VIREO_THROW_PLAIN(Runtime, "Unable to get trigger event, stream aborted", kUnit, kGetTrigger);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get trigger event", kUnit, kGetTrigger, "EventGetData");
    if (size < sizeof data)
        VIREO_THROW_PLAIN(Runtime, "Unable to get trigger event, " + std::to_string(size) + " bytes of event data",
                          kUnit, kGetTrigger);
    return EvsTriggerEvent{data.TimestampUs, data.Channel, data.Polarity};
}

} // namespace Vireo
