#include <Vireo/Port.h>
#include <Vireo/TLDataStream.h>
#include <Vireo/TLDevice.h>
#include <Vireo/TLEvent.h>
#include <Vireo/TLInterface.h>
#include <Vireo/TLSystem.h>

#include <gtest/gtest.h>

#include <functional>

#include "support/ProducerRecorder.h"
#include "support/TextOf.h"

namespace Vireo {
namespace {

using Testing::FormatCall;
using Testing::ProducerRecorder;

void* Handle(uintptr_t value) { return reinterpret_cast<void*>(value); }

// One wrapper operation and the producer call it must make.
struct Passage {
    std::function<GenTL::GC_ERROR()> operation;
    std::string expectedCall;
};

// Every operation must reach the producer once, with its handle first and the arguments
// unchanged, and hand back whatever code the producer answered.
void ExpectPassedThrough(const std::vector<Passage>& passages) {
    const GenTL::GC_ERROR answers[] = {GenTL::GC_ERR_SUCCESS, GenTL::GC_ERR_INVALID_INDEX, -10042};
    for (GenTL::GC_ERROR answer : answers) {
        for (const Passage& passage : passages) {
            ProducerRecorder::Answer() = answer;
            ProducerRecorder::Calls().clear();
            EXPECT_EQ(passage.operation(), answer) << passage.expectedCall;
            ASSERT_EQ(ProducerRecorder::Calls().size(), 1u) << passage.expectedCall;
            EXPECT_EQ(ProducerRecorder::LastCall(), passage.expectedCall);
        }
    }
}

class TLWrappers : public ::testing::Test {
protected:
    ProducerRecorder recorder;
    char text[8] = {};
    size_t size = sizeof text;
    int32_t type = 0;
    uint32_t count = 0;
    void* handleOut = nullptr;
    GenTL::S_PORT_REGISTER_STACK_ENTRY entries[2] = {};
    size_t entryCount = 2;
};

TEST_F(TLWrappers, PortOperationsOfEveryModule) {
    TLDevice device(Handle(0xDE));
    TLBase& port = device;
    const void* source = text;
    ExpectPassedThrough({
        {[&] { return port.ReadPort(0x10000, text, &size); }, FormatCall("GCReadPort", Handle(0xDE), uint64_t(0x10000), text, &size)},
        {[&] { return port.WritePort(0x20, source, &size); }, FormatCall("GCWritePort", Handle(0xDE), uint64_t(0x20), source, &size)},
        {[&] { return port.GetPortURL(text, &size); }, FormatCall("GCGetPortURL", Handle(0xDE), text, &size)},
        {[&] { return port.GetPortInfo(12, &type, text, &size); }, FormatCall("GCGetPortInfo", Handle(0xDE), 12, &type, text, &size)},
        {[&] { return port.RegisterEvent(4, &handleOut); }, FormatCall("GCRegisterEvent", Handle(0xDE), 4, &handleOut)},
        {[&] { return port.UnregisterEvent(1); }, FormatCall("GCUnregisterEvent", Handle(0xDE), 1)},
        {[&] { return port.GetNumPortURLs(&count); }, FormatCall("GCGetNumPortURLs", Handle(0xDE), &count)},
        {[&] { return port.GetPortURLInfo(2, 7, &type, text, &size); }, FormatCall("GCGetPortURLInfo", Handle(0xDE), 2u, 7, &type, text, &size)},
        {[&] { return port.ReadPortStacked(entries, &entryCount); }, FormatCall("GCReadPortStacked", Handle(0xDE), entries, &entryCount)},
        {[&] { return port.WritePortStacked(entries, &entryCount); }, FormatCall("GCWritePortStacked", Handle(0xDE), entries, &entryCount)},
    });
    EXPECT_EQ(port.GetHandle(), Handle(0xDE));
}

TEST_F(TLWrappers, APortWithoutAModuleRefusesToReadOrWrite) {
    Port port;
    uint8_t bytes[4] = {};
    EXPECT_EQ(TextOf([&] { port.Read(bytes, 0, 4); }),
              "LogicalErrorException: Port is not connected to a module (Port, Read)");
    EXPECT_EQ(TextOf([&] { port.Write(bytes, 0, 4); }),
              "LogicalErrorException: Port is not connected to a module (Port, Write)");
}

TEST_F(TLWrappers, SystemOperations) {
    TLSystem system;
    EXPECT_EQ(system.GetHandle(), nullptr);
    EXPECT_EQ(system.Open(), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(system.GetHandle(), ProducerRecorder::kOpenedSystem);
    void* const h = system.GetHandle();
    ExpectPassedThrough({
        {[&] { return system.Close(); }, FormatCall("TLClose", h)},
        {[&] { return system.GetInfo(3, &type, text, &size); }, FormatCall("TLGetInfo", h, 3, &type, text, &size)},
        {[&] { return system.GetNumInterfaces(&count); }, FormatCall("TLGetNumInterfaces", h, &count)},
        {[&] { return system.GetInterfaceID(5, text, &size); }, FormatCall("TLGetInterfaceID", h, 5u, text, &size)},
        {[&] { return system.GetInterfaceInfo("eth0", 1, &type, text, &size); }, FormatCall("TLGetInterfaceInfo", h, "eth0", 1, &type, text, &size)},
        {[&] { return system.OpenInterface("eth1", &handleOut); }, FormatCall("TLOpenInterface", h, "eth1", &handleOut)},
    });
}

TEST_F(TLWrappers, InterfaceOperations) {
    TLInterface iface(Handle(0x1F));
    ExpectPassedThrough({
        {[&] { return iface.Close(); }, FormatCall("IFClose", Handle(0x1F))},
        {[&] { return iface.GetInfo(2, &type, text, &size); }, FormatCall("IFGetInfo", Handle(0x1F), 2, &type, text, &size)},
        {[&] { return iface.GetNumDevices(&count); }, FormatCall("IFGetNumDevices", Handle(0x1F), &count)},
        {[&] { return iface.GetDeviceID(3, text, &size); }, FormatCall("IFGetDeviceID", Handle(0x1F), 3u, text, &size)},
        {[&] { return iface.GetDeviceInfo("cam", 1002, &type, text, &size); }, FormatCall("IFGetDeviceInfo", Handle(0x1F), "cam", 1002, &type, text, &size)},
        {[&] { return iface.OpenDevice("cam", 3, &handleOut); }, FormatCall("IFOpenDevice", Handle(0x1F), "cam", 3, &handleOut)},
        {[&] { return iface.ForceIp(0x0030531A2B3Cull, 0xC0A80102u, 0xFFFFFF00u, 0xC0A80101u); },
         FormatCall("IFForceIp", Handle(0x1F), uint64_t(0x0030531A2B3Cull), 0xC0A80102u, 0xFFFFFF00u, 0xC0A80101u)},
        {[&] { return iface.AddUnicastDiscoveryDevice(0x0A000001u); }, FormatCall("IFAddUnicastDiscoveryDevice", Handle(0x1F), 0x0A000001u)},
        {[&] { return iface.RemoveUnicastDiscoveryDevice(0x0A000002u); }, FormatCall("IFRemoveUnicastDiscoveryDevice", Handle(0x1F), 0x0A000002u)},
        {[&] { return iface.GetUnicastDiscoveryDevices(&count, &count); }, FormatCall("IFGetUnicastDiscoveryDevices", Handle(0x1F), &count, &count)},
    });
}

TEST_F(TLWrappers, DeviceOperations) {
    TLDevice device(Handle(0xDE));
    ExpectPassedThrough({
        {[&] { return device.Close(); }, FormatCall("DevClose", Handle(0xDE))},
        {[&] { return device.GetInfo(1020, &type, text, &size); }, FormatCall("DevGetInfo", Handle(0xDE), 1020, &type, text, &size)},
        {[&] { return device.GetPort(&handleOut); }, FormatCall("DevGetPort", Handle(0xDE), &handleOut)},
        {[&] { return device.GetNumDataStreams(&count); }, FormatCall("DevGetNumDataStreams", Handle(0xDE), &count)},
        {[&] { return device.GetDataStreamID(1, text, &size); }, FormatCall("DevGetDataStreamID", Handle(0xDE), 1u, text, &size)},
        {[&] { return device.OpenDataStream("Stream0", &handleOut); }, FormatCall("DevOpenDataStream", Handle(0xDE), "Stream0", &handleOut)},
        {[&] { return device.SendActionCommand(1, 2, 0xFFFFFFFF, 500); },
         FormatCall("DevSendActionCommand", Handle(0xDE), 1u, 2u, 0xFFFFFFFFu, uint64_t(500))},
    });
}

TEST_F(TLWrappers, DataStreamOperations) {
    TLDataStream stream(Handle(0xD5));
    void* const buffer = Handle(0xB0F);
    void* userPointer = nullptr;
    GenTL::S_SINGLE_CHUNK_DATA chunks[3];
    ExpectPassedThrough({
        {[&] { return stream.Close(); }, FormatCall("DSClose", Handle(0xD5))},
        {[&] { return stream.AnnounceBuffer(text, 8, Handle(0x99), &handleOut); }, FormatCall("DSAnnounceBuffer", Handle(0xD5), static_cast<void*>(text), size_t(8), Handle(0x99), &handleOut)},
        {[&] { return stream.AllocAndAnnounceBuffer(4096, Handle(0x98), &handleOut); }, FormatCall("DSAllocAndAnnounceBuffer", Handle(0xD5), size_t(4096), Handle(0x98), &handleOut)},
        {[&] { return stream.QueueBuffer(buffer); }, FormatCall("DSQueueBuffer", Handle(0xD5), buffer)},
        {[&] { return stream.RevokeBuffer(buffer, &handleOut, &userPointer); }, FormatCall("DSRevokeBuffer", Handle(0xD5), buffer, &handleOut, &userPointer)},
        {[&] { return stream.FlushQueue(GenTL::ACQ_QUEUE_ALL_DISCARD); }, FormatCall("DSFlushQueue", Handle(0xD5), 4)},
        {[&] { return stream.GetInfo(7, &type, text, &size); }, FormatCall("DSGetInfo", Handle(0xD5), 7, &type, text, &size)},
        {[&] { return stream.GetBufferID(9, &handleOut); }, FormatCall("DSGetBufferID", Handle(0xD5), 9u, &handleOut)},
        {[&] { return stream.GetBufferInfo(buffer, 20, &type, text, &size); }, FormatCall("DSGetBufferInfo", Handle(0xD5), buffer, 20, &type, text, &size)},
        {[&] { return stream.StartAcquisition(0, GENTL_INFINITE); }, FormatCall("DSStartAcquisition", Handle(0xD5), 0, uint64_t(GENTL_INFINITE))},
        {[&] { return stream.StopAcquisition(1); }, FormatCall("DSStopAcquisition", Handle(0xD5), 1)},
        {[&] { return stream.GetBufferChunkData(buffer, chunks, &size); }, FormatCall("DSGetBufferChunkData", Handle(0xD5), buffer, chunks, &size)},
        {[&] { return stream.GetNumBufferParts(buffer, &count); }, FormatCall("DSGetNumBufferParts", Handle(0xD5), buffer, &count)},
        {[&] { return stream.GetBufferPartInfo(buffer, 2, 4, &type, text, &size); }, FormatCall("DSGetBufferPartInfo", Handle(0xD5), buffer, 2u, 4, &type, text, &size)},
        {[&] { return stream.WaitForNextLeader(250); }, FormatCall("DSWaitForNextLeader", Handle(0xD5), uint64_t(250))},
        {[&] { return stream.ResetWaitForNextLeader(); }, FormatCall("DSResetWaitForNextLeader", Handle(0xD5))},
        {[&] { return stream.SetupResendRetryParams(3, 29.5, "SN1", "FW2", 2448, 2048); },
         FormatCall("DSSetupResendRetryParams", Handle(0xD5), uint64_t(3), 29.5, "SN1", "FW2", 2448, 2048)},
    });
}

TEST_F(TLWrappers, EventOperations) {
    TLEvent event(Handle(0xE7));
    const void* input = text;
    ExpectPassedThrough({
        {[&] { return event.GetData(text, &size, 50); }, FormatCall("EventGetData", Handle(0xE7), static_cast<void*>(text), &size, uint64_t(50))},
        {[&] { return event.GetDataInfo(input, 16, 1, &type, text, &size); }, FormatCall("EventGetDataInfo", Handle(0xE7), input, size_t(16), 1, &type, static_cast<void*>(text), &size)},
        {[&] { return event.GetInfo(1, &type, text, &size); }, FormatCall("EventGetInfo", Handle(0xE7), 1, &type, static_cast<void*>(text), &size)},
        {[&] { return event.Flush(); }, FormatCall("EventFlush", Handle(0xE7))},
        {[&] { return event.Kill(); }, FormatCall("EventKill", Handle(0xE7))},
    });
}

TEST_F(TLWrappers, ListUpdatesReportTheProducersChangedFlag) {
    ProducerFunctions changing = Producer();
    changing.TLUpdateInterfaceList = [](GenTL::TL_HANDLE, GenTL::bool8_t* changed, uint64_t) {
        *changed = 1;
        return GenTL::GC_ERROR(GenTL::GC_ERR_SUCCESS);
    };
    changing.IFUpdateDeviceList = [](GenTL::IF_HANDLE, GenTL::bool8_t* changed, uint64_t timeout) {
        *changed = 0;
        return GenTL::GC_ERROR(timeout == 100 ? GenTL::GC_ERR_SUCCESS : GenTL::GC_ERR_TIMEOUT);
    };
    const ProducerFunctions previous = ReplaceProducerForTesting(changing);
    bool changed = false;
    EXPECT_EQ(TLSystem(Handle(1)).UpdateInterfaceList(&changed, 100), GenTL::GC_ERR_SUCCESS);
    EXPECT_TRUE(changed);
    EXPECT_EQ(TLInterface(Handle(2)).UpdateDeviceList(&changed, 7), GenTL::GC_ERR_TIMEOUT);
    EXPECT_FALSE(changed);
    ReplaceProducerForTesting(previous);
}

TEST_F(TLWrappers, DestroyingAWrapperLeavesItsHandleOpen) {
    {
        TLDataStream stream(Handle(0xD5));
        TLDevice device(Handle(0xDE));
    }
    EXPECT_TRUE(ProducerRecorder::Calls().empty());
}

TEST_F(TLWrappers, ANullHandleGoesToTheProducerUnchecked) {
    ProducerRecorder::Answer() = GenTL::GC_ERR_INVALID_HANDLE;
    EXPECT_EQ(TLDataStream().QueueBuffer(Handle(0xB0)), GenTL::GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(ProducerRecorder::LastCall(), FormatCall("DSQueueBuffer", static_cast<void*>(nullptr), Handle(0xB0)));
}

} // namespace
} // namespace Vireo
