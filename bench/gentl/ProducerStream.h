// A stream of the virtual colour camera driven through the bare GenTL C API: the baseline
// that the SDK's own acquisition cost is measured against.
#ifndef VIREO_BENCH_PRODUCERSTREAM_H
#define VIREO_BENCH_PRODUCERSTREAM_H

#include <GenApi/GenApi.h>
#include <GenTL/GenTLExtensions.h>

#include <memory>
#include <string>
#include <vector>

#include "ModulePort.h"

namespace ProducerBench {

using namespace GenTL;

// The colour camera's stream with the given geometry, free-running, `count` buffers queued
// and acquisition started; configured through its description file, as an application does.
class Stream {
public:
    Stream(int64_t width, int64_t height, const char* pixelFormat, size_t count) {
        GCInitLib();
        TLOpen(&m_system);
        TLOpenInterface(m_system, "VirtualGigE0", &m_iface);
        bool8_t changed = 0;
        IFUpdateDeviceList(m_iface, &changed, 100);
        IFOpenDevice(m_iface, "VC2448C-0001", DEVICE_ACCESS_CONTROL, &m_device);
        DevGetPort(m_device, &m_remote);
        m_port = std::make_unique<ModulePort>(m_remote);
        m_camera = LoadNodeMap();
        GenApi::CIntegerPtr(m_camera->GetNode("Width"))->SetValue(width);
        GenApi::CIntegerPtr(m_camera->GetNode("Height"))->SetValue(height);
        GenApi::CEnumerationPtr(m_camera->GetNode("PixelFormat"))->FromString(pixelFormat);
        GenApi::CBooleanPtr(m_camera->GetNode("AcquisitionFrameRateEnable"))->SetValue(false);
        const int64_t payload = GenApi::CIntegerPtr(m_camera->GetNode("PayloadSize"))->GetValue();
        DevOpenDataStream(m_device, "Stream0", &m_stream);
        for (size_t index = 0; index < count; ++index) {
            BUFFER_HANDLE buffer = nullptr;
            DSAllocAndAnnounceBuffer(m_stream, size_t(payload), nullptr, &buffer);
            DSQueueBuffer(m_stream, buffer);
        }
        GCRegisterEvent(m_stream, EVENT_NEW_BUFFER, &m_event);
        DSStartAcquisition(m_stream, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE);
        GenApi::CCommandPtr(m_camera->GetNode("AcquisitionStart"))->Execute();
    }
    ~Stream() {
        GenApi::CCommandPtr(m_camera->GetNode("AcquisitionStop"))->Execute();
        DSStopAcquisition(m_stream, ACQ_STOP_FLAGS_DEFAULT);
        dynamic_cast<GenApi::IDestroy*>(m_camera)->Destroy();
        GCCloseLib();
    }
    // Takes one delivered buffer and gives it back.
    bool RoundTrip() {
        S_EVENT_NEW_BUFFER data{};
        size_t size = sizeof data;
        if (EventGetData(m_event, &data, &size, 5000) != GC_ERR_SUCCESS) return false;
        return DSQueueBuffer(m_stream, data.BufferHandle) == GC_ERR_SUCCESS;
    }

private:
    GenApi::INodeMap* LoadNodeMap() {
        char url[256];
        size_t size = sizeof url;
        GCGetPortURL(m_remote, url, &size);
        const std::string text(url);
        const size_t first = text.find(';'), second = text.find(';', first + 1);
        const uint64_t address = std::stoull(text.substr(first + 1, second - first - 1), nullptr, 16);
        size_t length = std::stoull(text.substr(second + 1), nullptr, 16);
        std::vector<uint8_t> file(length);
        GCReadPort(m_remote, address, file.data(), &length);
        GenApi::CNodeMapFactory factory(GenApi::ContentType_Auto, file.data(), file.size());
        GenApi::INodeMap* map = factory.CreateNodeMap("Device");
        map->Connect(m_port.get(), "Device");
        return map;
    }

    TL_HANDLE m_system = nullptr;
    IF_HANDLE m_iface = nullptr;
    DEV_HANDLE m_device = nullptr;
    PORT_HANDLE m_remote = nullptr;
    DS_HANDLE m_stream = nullptr;
    EVENT_HANDLE m_event = nullptr;
    std::unique_ptr<ModulePort> m_port;
    GenApi::INodeMap* m_camera = nullptr;
};

} // namespace ProducerBench

#endif
