#include "ProducerFixture.h"

namespace {

using Faults = ProducerTest;

TEST_F(Faults, TheNthCallOfAFunctionFailsAsInjected) {
    ASSERT_EQ(VirtualProducerFailCall("IFGetNumDevices", 2, GC_ERR_IO, "cable unplugged"), GC_ERR_SUCCESS);
    uint32_t count = 0;
    EXPECT_EQ(IFGetNumDevices(iface, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(IFGetNumDevices(iface, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(IFGetNumDevices(iface, &count), GC_ERR_IO);
    EXPECT_EQ(LastErrorText(), "IFGetNumDevices: cable unplugged");
    EXPECT_EQ(IFGetNumDevices(iface, &count), GC_ERR_SUCCESS) << "a fault fires once";

    ASSERT_EQ(VirtualProducerFailCall("TLClose", 0, GC_ERR_BUSY, nullptr), GC_ERR_SUCCESS);
    VirtualProducerClearFaults();
    EXPECT_EQ(VirtualProducerFailCall(nullptr, 0, GC_ERR_IO, "x"), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(VirtualProducerFailCall("GCInitLib", 0, GC_ERR_SUCCESS, "x"), GC_ERR_INVALID_PARAMETER);
}

TEST_F(Faults, AFaultAimedAtOneModuleSparesTheOthers) {
    IF_HANDLE second = nullptr;
    ASSERT_EQ(TLOpenInterface(system, "VirtualGigE1", &second), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(VirtualProducerFailCallOn("IFUpdateDeviceList", "VirtualGigE1", 1, GC_ERR_IO, "link down"), GC_ERR_SUCCESS);
    bool8_t changed = 0;
    for (int call = 0; call < 3; ++call) EXPECT_EQ(IFUpdateDeviceList(iface, &changed, 10), GC_ERR_SUCCESS);
    EXPECT_EQ(IFUpdateDeviceList(second, &changed, 10), GC_ERR_SUCCESS) << "the first call on it is spared";
    EXPECT_EQ(IFUpdateDeviceList(second, &changed, 10), GC_ERR_IO);
    EXPECT_EQ(LastErrorText(), "IFUpdateDeviceList: link down");
    EXPECT_EQ(IFUpdateDeviceList(second, &changed, 10), GC_ERR_SUCCESS);

    OpenCamera();
    ASSERT_EQ(VirtualProducerFailCallOn("DevGetNumDataStreams", "VC2448C-0001", 0, GC_ERR_BUSY, "busy"), GC_ERR_SUCCESS);
    uint32_t streams = 0;
    EXPECT_EQ(DevGetNumDataStreams(device, &streams), GC_ERR_BUSY);
    EXPECT_EQ(VirtualProducerFailCallOn("IFUpdateDeviceList", nullptr, 0, GC_ERR_IO, "x"), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(IFClose(second), GC_ERR_SUCCESS);
}

TEST_F(Faults, ADisconnectedCameraStopsAnsweringAndIsReportedSo) {
    OpenCamera();
    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 0), GC_ERR_SUCCESS);
    bool8_t connected = 1;
    size_t size = 1;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(DevGetInfo(device, DEVICE_INFO_CONNECTION_STATUS, &type, &connected, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(connected, 0);
    uint8_t bytes[8];
    size = 8;
    EXPECT_EQ(GCReadPort(remote, 0, bytes, &size), GC_ERR_IO);
    bool8_t changed = 0;
    ASSERT_EQ(IFUpdateDeviceList(iface, &changed, 100), GC_ERR_SUCCESS);
    EXPECT_EQ(changed, 1);
    uint32_t count = 0;
    ASSERT_EQ(IFGetNumDevices(iface, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(count, 2u) << "a disconnected camera drops out of discovery";

    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 1), GC_ERR_SUCCESS);
    size = 8;
    EXPECT_EQ(GCReadPort(remote, 0, bytes, &size), GC_ERR_SUCCESS) << LastErrorText();
    EXPECT_EQ(VirtualProducerSetConnected("nobody", 0), GC_ERR_INVALID_ID);
}

TEST_F(Faults, AFrameMarkedIncompleteArrivesHalfFilled) {
    OpenCamera();
    WriteRemote("Width", 64);
    WriteRemote("Height", 48);
    WriteRemote("PixelFormat", 0x01080001, 4);
    OpenStream();
    AnnounceAndQueue(2);
    ASSERT_EQ(VirtualProducerMarkNextFrameIncomplete("VC2448C-0001"), GC_ERR_SUCCESS);
    StartAcquisition();
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(BufferInfo<bool8_t>(buffer, BUFFER_INFO_IS_INCOMPLETE), 1);
    EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED), 64u * 24u);
    ASSERT_EQ(DSQueueBuffer(stream, buffer), GC_ERR_SUCCESS);
    buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(BufferInfo<bool8_t>(buffer, BUFFER_INFO_IS_INCOMPLETE), 0);
    StopAcquisition();
}

TEST_F(Faults, OnlyChosenCamerasExist) {
    EXPECT_EQ(GCCloseLib(), GC_ERR_SUCCESS);
    const char* chosen[] = {"VM1280M-0001"};
    ASSERT_EQ(VirtualProducerUseCameras(chosen, 1), GC_ERR_SUCCESS);
    const char* unknown[] = {"XX"};
    EXPECT_EQ(VirtualProducerUseCameras(unknown, 1), GC_ERR_INVALID_ID);
    ProducerTest::SetUp();
    uint32_t count = 0;
    ASSERT_EQ(IFGetNumDevices(iface, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(VirtualProducerUseCameras(nullptr, 0), GC_ERR_RESOURCE_IN_USE) << "not while the system is open";
}

} // namespace
