#include <cstring>

#include "Modules.h"

namespace VirtualGenTL {
namespace {

// The GenTL size conventions for fixed-size event data: too little room is refused and the
// size needed reported.
template <class Data>
void RequireRoom(void* buffer, size_t* size, const char* what) {
    if (buffer != nullptr && *size >= sizeof(Data)) return;
    *size = sizeof(Data);
    Fail(buffer == nullptr ? GenTL::GC_ERR_INVALID_PARAMETER : GenTL::GC_ERR_BUFFER_TOO_SMALL,
         std::string(what) + " needs " + std::to_string(sizeof(Data)) + " bytes");
}

} // namespace

void Event::GetData(void* buffer, size_t* size, uint64_t timeoutMs) {
    Required(size, "the size");
    if (m_type == GenTL::EVENT_REMOTE_DEVICE && m_camera) {
        m_camera->TakeEvent(static_cast<uint8_t*>(buffer), size, timeoutMs);
        ++m_fired;
        return;
    }
    if (m_type == GenTL::EVENT_NEW_EVS_TRIGGER && m_stream) {
        RequireRoom<GenTL::S_EVENT_NEW_EVS_TRIGGER>(buffer, size, "a trigger event");
        const EvsTrigger trigger = m_stream->WaitTrigger(timeoutMs);
        const GenTL::S_EVENT_NEW_EVS_TRIGGER data{trigger.timestampUs, trigger.channel, trigger.polarity};
        ++m_fired;
        std::memcpy(buffer, &data, sizeof data);
        *size = sizeof data;
        return;
    }
    if (m_type != GenTL::EVENT_NEW_BUFFER || !m_stream)
        Fail(GenTL::GC_ERR_NOT_IMPLEMENTED, "this event type delivers no data");
    RequireRoom<GenTL::S_EVENT_NEW_BUFFER>(buffer, size, "a new-buffer event");
    GenTL::S_EVENT_NEW_BUFFER data{};
    data.BufferHandle = m_stream->WaitDelivered(timeoutMs, &data.pUserPointer);
    ++m_fired;
    *static_cast<GenTL::S_EVENT_NEW_BUFFER*>(buffer) = data;
    *size = sizeof data;
}

void Event::Info(GenTL::EVENT_INFO_CMD command, InfoAnswer& answer) {
    const bool trigger = m_type == GenTL::EVENT_NEW_EVS_TRIGGER;
    const size_t dataSize =
        m_camera ? 576 : (trigger ? sizeof(GenTL::S_EVENT_NEW_EVS_TRIGGER) : sizeof(GenTL::S_EVENT_NEW_BUFFER));
    switch (command) {
    case GenTL::EVENT_EVENT_TYPE: answer.Int32(m_type); break;
    case GenTL::EVENT_NUM_IN_QUEUE:
        if (m_stream)
            answer.SizeT(trigger ? m_stream->TriggerCount() : m_stream->OutputCount());
        else
            answer.SizeT(m_camera ? m_camera->QueuedEvents() : 0);
        break;
    case GenTL::EVENT_NUM_FIRED: answer.UInt64(m_fired.load()); break;
    case GenTL::EVENT_SIZE_MAX: answer.SizeT(dataSize); break;
    case GenTL::EVENT_INFO_DATA_SIZE_MAX: answer.SizeT(m_camera || trigger ? dataSize : sizeof(void*)); break;
    default: Fail(GenTL::GC_ERR_INVALID_PARAMETER, "unknown EVENT_INFO command " + std::to_string(command));
    }
}

void Event::Flush() {
    if (!m_stream) return;
    if (m_type == GenTL::EVENT_NEW_EVS_TRIGGER)
        m_stream->FlushTriggers();
    else
        m_stream->FlushOutput();
}

void Event::Kill() {
    if (m_stream) {
        if (m_type == GenTL::EVENT_NEW_EVS_TRIGGER)
            m_stream->KillTriggerWait();
        else
            m_stream->KillWait();
    }
    if (m_camera) m_camera->KillEventWait();
}

void Event::Unregister() {
    if (m_camera) m_camera->ListenForEvents(false);
    if (m_stream && m_type == GenTL::EVENT_NEW_EVS_TRIGGER) m_stream->ListenForTriggers(false);
    Kill();
}

} // namespace VirtualGenTL
