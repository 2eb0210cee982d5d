#include "Modules.h"

namespace VirtualGenTL {

void Event::GetData(void* buffer, size_t* size, uint64_t timeoutMs) {
    Required(size, "the size");
    if (m_type == GenTL::EVENT_REMOTE_DEVICE && m_camera) {
        m_camera->TakeEvent(static_cast<uint8_t*>(buffer), size, timeoutMs);
        ++m_fired;
        return;
    }
    if (m_type != GenTL::EVENT_NEW_BUFFER || !m_stream)
        Fail(GenTL::GC_ERR_NOT_IMPLEMENTED, "this event type delivers no data");
    if (buffer == nullptr || *size < sizeof(GenTL::S_EVENT_NEW_BUFFER)) {
        *size = sizeof(GenTL::S_EVENT_NEW_BUFFER);
        Fail(buffer == nullptr ? GenTL::GC_ERR_INVALID_PARAMETER : GenTL::GC_ERR_BUFFER_TOO_SMALL,
             "a new-buffer event needs " + std::to_string(sizeof(GenTL::S_EVENT_NEW_BUFFER)) + " bytes");
    }
    GenTL::S_EVENT_NEW_BUFFER data{};
    data.BufferHandle = m_stream->WaitDelivered(timeoutMs, &data.pUserPointer);
    ++m_fired;
    *static_cast<GenTL::S_EVENT_NEW_BUFFER*>(buffer) = data;
    *size = sizeof data;
}

void Event::Info(GenTL::EVENT_INFO_CMD command, InfoAnswer& answer) {
    switch (command) {
    case GenTL::EVENT_EVENT_TYPE: answer.Int32(m_type); break;
    case GenTL::EVENT_NUM_IN_QUEUE:
        answer.SizeT(m_stream ? m_stream->OutputCount() : (m_camera ? m_camera->QueuedEvents() : 0));
        break;
    case GenTL::EVENT_NUM_FIRED: answer.UInt64(m_fired.load()); break;
    case GenTL::EVENT_SIZE_MAX: answer.SizeT(m_camera ? 576 : sizeof(GenTL::S_EVENT_NEW_BUFFER)); break;
    case GenTL::EVENT_INFO_DATA_SIZE_MAX: answer.SizeT(m_camera ? 576 : sizeof(void*)); break;
    default: Fail(GenTL::GC_ERR_INVALID_PARAMETER, "unknown EVENT_INFO command " + std::to_string(command));
    }
}

void Event::Flush() {
    if (m_stream) m_stream->FlushOutput();
}

void Event::Kill() {
    if (m_stream) m_stream->KillWait();
    if (m_camera) m_camera->KillEventWait();
}

void Event::Unregister() {
    if (m_camera) m_camera->ListenForEvents(false);
    Kill();
}

} // namespace VirtualGenTL
