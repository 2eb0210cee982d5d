// The library, port and event functions of the GenTL C API.
#include <algorithm>
#include <cstdio>
#include <map>
#include <mutex>

#include "Modules.h"
#include "ProducerState.h"

using namespace VirtualGenTL;

namespace {

// Registered events, one per (source handle, type).
std::mutex g_eventsMutex;
std::map<std::pair<void*, GenTL::EVENT_TYPE>, void*> g_events;

RegisterSpace& PortOf(GenTL::PORT_HANDLE handle, std::shared_ptr<Object>& keep) {
    RequireInitialized();
    keep = Handles::Find(handle);
    if (!keep || keep->Port() == nullptr) Fail(GenTL::GC_ERR_INVALID_HANDLE, "not a valid port handle");
    if (keep->GetKind() == Kind::RemoteDevice && !static_cast<RemoteDevice&>(*keep).Camera().Connected())
        Fail(GenTL::GC_ERR_IO, "the device does not answer");
    return *keep->Port();
}

// Runs one register access per entry of a stacked port call.
template <class Access>
void ForEachEntry(GenTL::PORT_HANDLE handle, GenTL::S_PORT_REGISTER_STACK_ENTRY* entries, size_t* count, Access access) {
    std::shared_ptr<Object> keep;
    RegisterSpace& port = PortOf(handle, keep);
    const size_t entryCount = *Required(count, "the entry count");
    if (entryCount > 0) Required(entries, "the entries");
    for (size_t index = 0; index < entryCount; ++index) access(port, entries[index]);
}

} // namespace

namespace VirtualGenTL {

// Closes every module and forgets every handle: the end of TLClose and GCCloseLib.
void CloseEverything() {
    {
        std::lock_guard lock(g_eventsMutex);
        g_events.clear();
    }
    for (const auto& object : Handles::All()) {
        if (object->GetKind() == Kind::Event) static_cast<Event&>(*object).Unregister();
        if (object->GetKind() == Kind::DataStream) static_cast<DataStream&>(*object).Close();
    }
    for (const auto& object : Handles::All())
        if (object->GetKind() == Kind::Device) static_cast<Device&>(*object).Close();
    for (const auto& object : Handles::All()) Handles::Remove(object->Handle());
}

// Unregisters the events of a source that closes.
void ForgetEventsOf(void* source) {
    std::lock_guard lock(g_eventsMutex);
    for (auto entry = g_events.begin(); entry != g_events.end();) {
        if (entry->first.first == source) {
            if (auto event = Handles::Find(entry->second)) static_cast<Event&>(*event).Unregister();
            Handles::Remove(entry->second);
            entry = g_events.erase(entry);
        } else {
            ++entry;
        }
    }
}

} // namespace VirtualGenTL

namespace GenTL {

GC_ERROR GCGetInfo(TL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return Guard("GCGetInfo", [&] {
        RequireInitialized();
        InfoAnswer answer(piType, pBuffer, piSize);
        System::Info(iInfoCmd, answer);
    });
}

GC_ERROR GCGetLastError(GC_ERROR* piErrorCode, char* sErrText, size_t* piSize) {
    // Reports the calling thread's last error and leaves it in place.
    if (piErrorCode == nullptr || piSize == nullptr) return GC_ERR_INVALID_PARAMETER;
    const std::string text = LastErrorText();
    const size_t needed = text.size() + 1;
    *piErrorCode = LastErrorCode();
    if (sErrText == nullptr) {
        *piSize = needed;
        return GC_ERR_SUCCESS;
    }
    if (*piSize < needed) {
        *piSize = needed;
        return GC_ERR_BUFFER_TOO_SMALL;
    }
    std::memcpy(sErrText, text.c_str(), needed);
    *piSize = needed;
    return GC_ERR_SUCCESS;
}

GC_ERROR GCInitLib(void) {
    return Guard("GCInitLib", [] {
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        if (state.initialized) Fail(GC_ERR_RESOURCE_IN_USE, "the library is already initialised");
        if (state.cameras.empty()) state.cameras = ProducerState::DefaultCameras();
        state.initialized = true;
    });
}

GC_ERROR GCCloseLib(void) {
    return Guard("GCCloseLib", [] {
        RequireInitialized();
        CloseEverything();
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        state.system.reset();
        state.initialized = false;
    });
}

GC_ERROR GCReadPort(PORT_HANDLE hPort, uint64_t iAddress, void* pBuffer, size_t* piSize) {
    return Guard("GCReadPort", [&] {
        std::shared_ptr<Object> keep;
        RegisterSpace& port = PortOf(hPort, keep);
        port.Read(iAddress, pBuffer, *Required(piSize, "the size"));
    });
}

GC_ERROR GCWritePort(PORT_HANDLE hPort, uint64_t iAddress, const void* pBuffer, size_t* piSize) {
    return Guard("GCWritePort", [&] {
        std::shared_ptr<Object> keep;
        RegisterSpace& port = PortOf(hPort, keep);
        port.Write(iAddress, pBuffer, *Required(piSize, "the size"));
    });
}

GC_ERROR GCGetPortURL(PORT_HANDLE hPort, char* sURL, size_t* piSize) {
    return Guard("GCGetPortURL", [&] {
        // The GenTL 1.0 call, which many producers no longer implement.
        if (ActsAsForeignProducer()) Fail(GC_ERR_NOT_IMPLEMENTED, "GCGetPortURL is not implemented: use GCGetPortURLInfo");
        std::shared_ptr<Object> keep;
        RegisterSpace& port = PortOf(hPort, keep);
        AnswerString(port.FileUrl(keep->DescriptionFileName()), sURL, Required(piSize, "the size"));
    });
}

GC_ERROR GCGetPortInfo(PORT_HANDLE hPort, PORT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer,
                       size_t* piSize) {
    return Guard("GCGetPortInfo", [&] {
        std::shared_ptr<Object> keep;
        RegisterSpace& port = PortOf(hPort, keep);
        InfoAnswer answer(piType, pBuffer, piSize);
        switch (iInfoCmd) {
        case PORT_INFO_ID: answer.String(keep->PortId()); break;
        case PORT_INFO_VENDOR: answer.String("Vireo"); break;
        case PORT_INFO_MODEL: answer.String(keep->PortModule()); break;
        case PORT_INFO_TLTYPE: answer.String("GEV"); break;
        case PORT_INFO_MODULE: answer.String(keep->PortModule()); break;
        case PORT_INFO_LITTLE_ENDIAN: answer.Bool8(!port.GetDescription().BigEndian()); break;
        case PORT_INFO_BIG_ENDIAN: answer.Bool8(port.GetDescription().BigEndian()); break;
        case PORT_INFO_ACCESS_READ: answer.Bool8(true); break;
        case PORT_INFO_ACCESS_WRITE: answer.Bool8(true); break;
        case PORT_INFO_ACCESS_NA: answer.Bool8(false); break;
        case PORT_INFO_ACCESS_NI: answer.Bool8(false); break;
        case PORT_INFO_VERSION: answer.String("1.0"); break;
        case PORT_INFO_PORTNAME: answer.String(keep->PortModule() + "Port"); break;
        default: Fail(GC_ERR_INVALID_PARAMETER, "unknown PORT_INFO command " + std::to_string(iInfoCmd));
        }
    });
}

GC_ERROR GCGetNumPortURLs(PORT_HANDLE hPort, uint32_t* piNumURLs) {
    return Guard("GCGetNumPortURLs", [&] {
        std::shared_ptr<Object> keep;
        PortOf(hPort, keep);
        *Required(piNumURLs, "the count") = 1;
    });
}

GC_ERROR GCGetPortURLInfo(PORT_HANDLE hPort, uint32_t iURLIndex, URL_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                          void* pBuffer, size_t* piSize) {
    return Guard("GCGetPortURLInfo", [&] {
        std::shared_ptr<Object> keep;
        RegisterSpace& port = PortOf(hPort, keep);
        if (iURLIndex != 0) Fail(GC_ERR_INVALID_INDEX, "the port has one URL");
        InfoAnswer answer(piType, pBuffer, piSize);
        switch (iInfoCmd) {
        case URL_INFO_URL: {
            std::string url = port.FileUrl(keep->DescriptionFileName());
            if (ActsAsForeignProducer()) url[0] = 'L';  // schemes are case-insensitive; many write "Local:"
            answer.String(url);
            break;
        }
        case URL_INFO_SCHEMA_VER_MAJOR: answer.Int32(1); break;
        case URL_INFO_SCHEMA_VER_MINOR: answer.Int32(1); break;
        case URL_INFO_FILE_VER_MAJOR: answer.Int32(1); break;
        case URL_INFO_FILE_VER_MINOR: answer.Int32(0); break;
        case URL_INFO_FILE_VER_SUBMINOR: answer.Int32(0); break;
        case URL_INFO_FILE_REGISTER_ADDRESS: answer.UInt64(RegisterSpace::kFileAddress); break;
        case URL_INFO_FILE_SIZE: answer.UInt64(port.FileSize()); break;
        case URL_INFO_SCHEME: answer.Int32(0); break;  // local
        case URL_INFO_FILENAME: answer.String(keep->DescriptionFileName()); break;
        case URL_INFO_FILE_SHA1_HASH: Fail(GC_ERR_NOT_AVAILABLE, "no SHA1 hash is published");
        default: Fail(GC_ERR_INVALID_PARAMETER, "unknown URL_INFO command " + std::to_string(iInfoCmd));
        }
    });
}

GC_ERROR GCReadPortStacked(PORT_HANDLE hPort, S_PORT_REGISTER_STACK_ENTRY* pEntries, size_t* piNumEntries) {
    return Guard("GCReadPortStacked", [&] {
        ForEachEntry(hPort, pEntries, piNumEntries, [](RegisterSpace& port, const S_PORT_REGISTER_STACK_ENTRY& entry) {
            port.Read(entry.Address, entry.pBuffer, entry.Size);
        });
    });
}

GC_ERROR GCWritePortStacked(PORT_HANDLE hPort, S_PORT_REGISTER_STACK_ENTRY* pEntries, size_t* piNumEntries) {
    return Guard("GCWritePortStacked", [&] {
        ForEachEntry(hPort, pEntries, piNumEntries, [](RegisterSpace& port, const S_PORT_REGISTER_STACK_ENTRY& entry) {
            port.Write(entry.Address, entry.pBuffer, entry.Size);
        });
    });
}

GC_ERROR GCRegisterEvent(EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID, EVENT_HANDLE* phEvent) {
    return Guard("GCRegisterEvent", [&] {
        RequireInitialized();
        Required(phEvent, "the event handle");
        const std::shared_ptr<Object> source = Handles::Find(hEventSrc);
        if (!source) Fail(GC_ERR_INVALID_HANDLE, "not a valid event source handle");
        std::shared_ptr<DataStream> stream;
        std::shared_ptr<VirtualCamera> camera;
        if (iEventID == EVENT_NEW_BUFFER) {
            if (source->GetKind() != Kind::DataStream)
                Fail(GC_ERR_NOT_AVAILABLE, "new-buffer events come from data streams");
            stream = std::static_pointer_cast<DataStream>(source);
        } else if (iEventID == EVENT_REMOTE_DEVICE) {
            if (source->GetKind() != Kind::Device) Fail(GC_ERR_NOT_AVAILABLE, "remote-device events come from devices");
            camera = static_cast<Device&>(*source).CameraPointer();
        } else if (iEventID == EVENT_NEW_EVS_TRIGGER) {
            if (source->GetKind() != Kind::DataStream || !static_cast<DataStream&>(*source).IsEventStream())
                Fail(GC_ERR_NOT_AVAILABLE, "trigger events come from the data stream of an event-based sensor");
            stream = std::static_pointer_cast<DataStream>(source);
        } else if (iEventID != EVENT_ERROR) {
            Fail(GC_ERR_NOT_IMPLEMENTED, "event type " + std::to_string(iEventID) + " is not offered");
        }
        std::lock_guard lock(g_eventsMutex);
        if (g_events.count({hEventSrc, iEventID}) != 0)
            Fail(GC_ERR_RESOURCE_IN_USE, "this event is already registered");
        if (camera) camera->ListenForEvents(true);
        if (iEventID == EVENT_NEW_EVS_TRIGGER) stream->ListenForTriggers(true);
        auto event = std::make_shared<Event>(iEventID, stream, camera);
        *phEvent = Handles::Add(event);
        g_events[{hEventSrc, iEventID}] = *phEvent;
    });
}

GC_ERROR GCUnregisterEvent(EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID) {
    return Guard("GCUnregisterEvent", [&] {
        RequireInitialized();
        void* handle = nullptr;
        {
            std::lock_guard lock(g_eventsMutex);
            const auto found = g_events.find({hEventSrc, iEventID});
            if (found == g_events.end()) Fail(GC_ERR_NOT_AVAILABLE, "this event is not registered");
            handle = found->second;
            g_events.erase(found);
        }
        if (auto event = Handles::Find(handle)) static_cast<Event&>(*event).Unregister();
        Handles::Remove(handle);
    });
}

GC_ERROR EventGetData(EVENT_HANDLE hEvent, void* pBuffer, size_t* piSize, uint64_t iTimeout) {
    return Guard("EventGetData", [&] { Handles::Get<Event>(hEvent, "event")->GetData(pBuffer, piSize, iTimeout); });
}

GC_ERROR EventGetDataInfo(EVENT_HANDLE hEvent, const void* pInBuffer, size_t iInSize, EVENT_DATA_INFO_CMD iInfoCmd,
                          INFO_DATATYPE* piType, void* pOutBuffer, size_t* piOutSize) {
    return Guard("EventGetDataInfo", [&] {
        const auto event = Handles::Get<Event>(hEvent, "event");
        Required(pInBuffer, "the event data");
        InfoAnswer answer(piType, pOutBuffer, piOutSize);
        if (event->Type() == EVENT_REMOTE_DEVICE) {
            // A GVCP event packet: 8 header bytes, then items of a 16-byte header and data.
            const auto* packet = static_cast<const uint8_t*>(pInBuffer);
            if (iInSize < 8 + 16) Fail(GC_ERR_INVALID_PARAMETER, "the event data is too short");
            const size_t itemSize = size_t(packet[8]) << 8 | packet[9];
            const uint16_t eventId = uint16_t(packet[10] << 8 | packet[11]);
            char id[8];
            std::snprintf(id, sizeof id, "%04X", eventId);
            switch (iInfoCmd) {
            case EVENT_DATA_ID: answer.String(id); break;
            case EVENT_DATA_VALUE: {
                const size_t end = std::min(iInSize, 8 + std::max<size_t>(itemSize, 16));
                const std::string data(reinterpret_cast<const char*>(packet) + 24, end - 24);
                answer.Buffer(data);
                break;
            }
            case EVENT_DATA_NUMID: answer.SizeT(1); break;
            default: Fail(GC_ERR_INVALID_PARAMETER, "unknown EVENT_DATA_INFO command " + std::to_string(iInfoCmd));
            }
            return;
        }
        if (event->Type() != EVENT_NEW_BUFFER) Fail(GC_ERR_NOT_IMPLEMENTED, "no data info for this event type");
        if (iInSize < sizeof(S_EVENT_NEW_BUFFER)) Fail(GC_ERR_INVALID_PARAMETER, "the event data is too short");
        const auto* data = static_cast<const S_EVENT_NEW_BUFFER*>(pInBuffer);
        switch (iInfoCmd) {
        case EVENT_DATA_ID: answer.Pointer(data->BufferHandle); break;
        case EVENT_DATA_VALUE: answer.Pointer(data->pUserPointer); break;
        case EVENT_DATA_NUMID: answer.SizeT(1); break;
        default: Fail(GC_ERR_INVALID_PARAMETER, "unknown EVENT_DATA_INFO command " + std::to_string(iInfoCmd));
        }
    });
}

GC_ERROR EventGetInfo(EVENT_HANDLE hEvent, EVENT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer,
                      size_t* piSize) {
    return Guard("EventGetInfo", [&] {
        const auto event = Handles::Get<Event>(hEvent, "event");
        InfoAnswer answer(piType, pBuffer, piSize);
        event->Info(iInfoCmd, answer);
    });
}

GC_ERROR EventFlush(EVENT_HANDLE hEvent) {
    return Guard("EventFlush", [&] { Handles::Get<Event>(hEvent, "event")->Flush(); });
}

GC_ERROR EventKill(EVENT_HANDLE hEvent) {
    return Guard("EventKill", [&] { Handles::Get<Event>(hEvent, "event")->Kill(); });
}

} // namespace GenTL
