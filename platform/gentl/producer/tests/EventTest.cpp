#include "ProducerFixture.h"

#include <GenApi/GenApi.h>

#include <atomic>
#include <thread>

namespace {

class RemoteEvents : public ProducerTest {
protected:
    void SetUp() override {
        ProducerTest::SetUp();
        OpenCamera();
        UseSmallMonoFrames();
        OpenStream();
    }
    std::vector<uint8_t> NextEvent(uint64_t timeoutMs = 2000) {
        std::vector<uint8_t> packet(576);
        size_t size = packet.size();
        if (EventGetData(remoteEvent, packet.data(), &size, timeoutMs) != GC_ERR_SUCCESS) return {};
        packet.resize(size);
        return packet;
    }
    EVENT_HANDLE remoteEvent = nullptr;
};

uint64_t BigEndian(const uint8_t* bytes, size_t count) {
    uint64_t value = 0;
    for (size_t index = 0; index < count; ++index) value = value << 8 | bytes[index];
    return value;
}

TEST_F(RemoteEvents, ExposureEndArrivesAsAGigEVisionEventPacket) {
    ASSERT_EQ(GCRegisterEvent(device, EVENT_REMOTE_DEVICE, &remoteEvent), GC_ERR_SUCCESS) << LastErrorText();
    WriteRemote("EventSelector", 0, 4);
    WriteRemote("EventNotification", 1, 4);
    AnnounceAndQueue(2);
    StartAcquisition();
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    const uint64_t frameId = BufferInfo<uint64_t>(buffer, BUFFER_INFO_FRAMEID);

    const std::vector<uint8_t> packet = NextEvent();
    ASSERT_EQ(packet.size(), 32u);
    EXPECT_EQ(packet[0], 0x42);
    EXPECT_EQ(BigEndian(&packet[2], 2), 0x00C2u);
    EXPECT_EQ(BigEndian(&packet[10], 2), 0x9001u);
    EXPECT_EQ(BigEndian(&packet[24], 8), frameId);
    EXPECT_EQ(BigEndian(&packet[16], 8), BufferInfo<uint64_t>(buffer, BUFFER_INFO_TIMESTAMP_NS));

    char id[16];
    size_t size = sizeof id;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(EventGetDataInfo(remoteEvent, packet.data(), packet.size(), EVENT_DATA_ID, &type, id, &size), GC_ERR_SUCCESS);
    EXPECT_STREQ(id, "9001");

    // The engine's event adapter puts the packet behind the camera's event features.
    const std::vector<uint8_t> file = ReadDescriptionFile(remote);
    const std::string xml = Unzip(file);
    GenApi::CNodeMapFactory factory(GenApi::ContentType_Xml, xml.data(), xml.size());
    GenApi::INodeMap* map = factory.CreateNodeMap("Device");
    GenApi::CEventAdapterGEV adapter(map);
    adapter.DeliverMessage(packet.data(), uint32_t(packet.size()));
    EXPECT_EQ(uint64_t(GenApi::CIntegerPtr(map->GetNode("EventExposureEndFrameID"))->GetValue()), frameId);
    EXPECT_EQ(GenApi::CIntegerPtr(map->GetNode("EventExposureEnd"))->GetValue(), 0x9001);
    dynamic_cast<GenApi::IDestroy*>(map)->Destroy();
    StopAcquisition();
}

TEST_F(RemoteEvents, SizeConventionsKillAndUnregister) {
    ASSERT_EQ(GCRegisterEvent(device, EVENT_REMOTE_DEVICE, &remoteEvent), GC_ERR_SUCCESS);
    EVENT_HANDLE twice = nullptr;
    EXPECT_EQ(GCRegisterEvent(device, EVENT_REMOTE_DEVICE, &twice), GC_ERR_RESOURCE_IN_USE);
    EXPECT_EQ(GCRegisterEvent(stream, EVENT_REMOTE_DEVICE, &twice), GC_ERR_NOT_AVAILABLE);
    WriteRemote("EventNotification", 1, 4);
    AnnounceAndQueue(1);
    StartAcquisition();
    ASSERT_NE(NextBuffer(), nullptr);

    uint8_t small[4];
    size_t size = sizeof small;
    EXPECT_EQ(EventGetData(remoteEvent, small, &size, 2000), GC_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, 32u);
    EXPECT_EQ(NextEvent().size(), 32u) << "a packet that did not fit stays queued";

    StopAcquisition();
    while (!NextEvent(0).empty()) {
    }
    std::atomic<bool> done{false};
    GC_ERROR waited = GC_ERR_SUCCESS;
    std::thread waiter([&] {
        uint8_t packet[64];
        size_t packetSize = sizeof packet;
        waited = EventGetData(remoteEvent, packet, &packetSize, 20000);
        done = true;
    });
    // Killed again until the waiter, which may start late, has seen it.
    for (int attempt = 0; attempt < 1000 && !done; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(EventKill(remoteEvent), GC_ERR_SUCCESS);
    }
    waiter.join();
    EXPECT_EQ(waited, GC_ERR_ABORT);

    ASSERT_EQ(GCUnregisterEvent(device, EVENT_REMOTE_DEVICE), GC_ERR_SUCCESS);
    EXPECT_EQ(EventKill(remoteEvent), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(GCUnregisterEvent(device, EVENT_REMOTE_DEVICE), GC_ERR_NOT_AVAILABLE);
}

TEST_F(RemoteEvents, ActionCommandsTriggerEveryAddressedCamera) {
    // The colour camera listens to action 1 with device key 0x1234, group 7, mask bit 2.
    WriteRemote("TriggerMode", 1, 4);
    WriteRemote("TriggerSource", 1, 4);
    WriteRemote("ActionDeviceKey", 0x1234, 4);
    WriteRemote("ActionGroupKey", 7, 4);
    WriteRemote("ActionGroupMask", 2, 4);
    AnnounceAndQueue(3);
    StartAcquisition();
    ASSERT_EQ(DevSendActionCommand(device, 0x9999, 7, 2, 100), GC_ERR_SUCCESS);
    ASSERT_EQ(DevSendActionCommand(device, 0x1234, 8, 2, 100), GC_ERR_SUCCESS);
    ASSERT_EQ(DevSendActionCommand(device, 0x1234, 7, 1, 100), GC_ERR_SUCCESS);
    EXPECT_EQ(NextBuffer(100), nullptr) << "no command matched";
    ASSERT_EQ(DevSendActionCommand(device, 0x1234, 7, 0xFFFFFFFF, 100), GC_ERR_SUCCESS);
    EXPECT_NE(NextBuffer(), nullptr);
    EXPECT_EQ(NextBuffer(100), nullptr) << "one command, one frame";
    StopAcquisition();
}

} // namespace
