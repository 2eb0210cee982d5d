// Drives the virtual producer with arbitrary sequences of GenTL calls. Arguments come from
// the input: handles picked from those the producer handed out (open, closed or of the wrong
// kind) or made up, indices, sizes, addresses and commands. Every call must answer with a
// result code; nothing may crash, hang, leak or touch memory it does not own.
#include <GenTL/GenTLExtensions.h>
#include <GenTL/VirtualProducerControl.h>

#include <cstring>
#include <vector>

using namespace GenTL;

namespace {

class Input {
public:
    Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool Empty() const { return m_position >= m_size; }
    uint8_t Byte() { return Empty() ? 0 : m_data[m_position++]; }
    uint32_t Word() { return uint32_t(Byte()) << 8 | Byte(); }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_position = 0;
};

// Memory the fuzzer announces as buffers; it outlives every stream of one run.
uint8_t g_arena[8][4096];

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    if (GCInitLib() != GC_ERR_SUCCESS) return 0;
    std::vector<void*> handles = {nullptr, reinterpret_cast<void*>(0x1234), reinterpret_cast<void*>(&handles)};
    auto pick = [&] { return handles[input.Byte() % handles.size()]; };
    auto keep = [&](void* handle) {
        if (handle != nullptr && handles.size() < 64) handles.push_back(handle);
    };
    const char* const interfaceIds[] = {"VirtualGigE0", "VirtualGigE1", "eth0", ""};
    const char* const deviceIds[] = {"VC2448C-0001", "VM1280M-0001", "VM1280M-0002", "none"};
    uint8_t scratch[512];

    for (int call = 0; call < 64 && !input.Empty(); ++call) {
        void* handle = nullptr;
        size_t length = 0;
        INFO_DATATYPE type = 0;
        switch (input.Byte() % 30) {
        case 0: TLOpen(&handle); keep(handle); break;
        case 1: TLClose(pick()); break;
        case 2: TLOpenInterface(pick(), interfaceIds[input.Byte() % 4], &handle); keep(handle); break;
        case 3: { bool8_t changed; IFUpdateDeviceList(pick(), &changed, 0); break; }
        case 4: IFOpenDevice(pick(), deviceIds[input.Byte() % 4], DEVICE_ACCESS_FLAGS(input.Byte() % 6), &handle); keep(handle); break;
        case 5: DevGetPort(pick(), &handle); keep(handle); break;
        case 6: DevOpenDataStream(pick(), input.Byte() % 2 ? "Stream0" : "Stream9", &handle); keep(handle); break;
        case 7: DSAllocAndAnnounceBuffer(pick(), input.Word(), nullptr, &handle); keep(handle); break;
        case 8: DSAnnounceBuffer(pick(), g_arena[input.Byte() % 8], 1 + input.Word() % 4096, nullptr, &handle); keep(handle); break;
        case 9: DSQueueBuffer(pick(), pick()); break;
        case 10: DSRevokeBuffer(pick(), pick(), nullptr, nullptr); break;
        case 11: DSFlushQueue(pick(), ACQ_QUEUE_TYPE(input.Byte() % 6)); break;
        case 12: DSStartAcquisition(pick(), ACQ_START_FLAGS_DEFAULT, input.Byte() % 3 == 0 ? GENTL_INFINITE : input.Byte()); break;
        case 13: DSStopAcquisition(pick(), ACQ_STOP_FLAGS(input.Byte() % 3)); break;
        case 14: GCRegisterEvent(pick(), EVENT_TYPE(input.Byte() % 6), &handle); keep(handle); break;
        case 15: GCUnregisterEvent(pick(), EVENT_TYPE(input.Byte() % 6)); break;
        case 16: length = input.Byte() % 64; EventGetData(pick(), length ? scratch : nullptr, &length, 0); break;
        case 17: EventKill(pick()); break;
        case 18: length = input.Byte(); DSGetBufferInfo(pick(), pick(), BUFFER_INFO_CMD(input.Byte() % 34), &type, scratch, &length); break;
        case 19: {
            length = input.Byte() % 17;
            const uint64_t address = input.Byte() % 2 ? input.Word() : 0x100000 + input.Word();
            GCReadPort(pick(), address, scratch, &length);
            break;
        }
        case 20: {
            length = input.Byte() % 9;
            for (size_t index = 0; index < length; ++index) scratch[index] = input.Byte();
            GCWritePort(pick(), input.Word() & 0x3F8, scratch, &length);
            break;
        }
        case 21: length = input.Byte(); GCGetPortURL(pick(), reinterpret_cast<char*>(scratch), &length); break;
        case 22: length = input.Byte(); DevGetInfo(pick(), DEVICE_INFO_CMD(input.Byte() % 24 + (input.Byte() % 2) * 1000), &type, scratch, &length); break;
        case 23: length = input.Byte(); DSGetInfo(pick(), STREAM_INFO_CMD(input.Byte() % 16), &type, scratch, &length); break;
        case 24: DSClose(pick()); break;
        case 25: DevClose(pick()); break;
        case 26: IFClose(pick()); break;
        case 27: { size_t count = input.Byte() % 4; GenTL::S_SINGLE_CHUNK_DATA chunks[4]; DSGetBufferChunkData(pick(), pick(), chunks, &count); break; }
        case 28: DevSendActionCommand(pick(), input.Word(), input.Word(), input.Word(), 0); break;
        default: length = input.Byte(); IFGetInfo(pick(), INTERFACE_INFO_CMD(input.Byte() % 4 + (input.Byte() % 2) * 1000), &type, scratch, &length); break;
        }
    }
    GCCloseLib();
    return 0;
}
