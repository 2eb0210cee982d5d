#include "ProducerFixture.h"

#include <set>

namespace {

using Discovery = ProducerTest;

template <class T>
T InterfaceInfo(IF_HANDLE iface, INTERFACE_INFO_CMD command, INFO_DATATYPE expectedType) {
    T value{};
    size_t size = sizeof value;
    INFO_DATATYPE type = 0;
    EXPECT_EQ(IFGetInfo(iface, command, &type, &value, &size), GC_ERR_SUCCESS) << LastErrorText();
    EXPECT_EQ(type, expectedType);
    EXPECT_EQ(size, sizeof value);
    return value;
}

TEST_F(Discovery, TwoInterfacesWithTheirAdapterAddresses) {
    uint32_t count = 0;
    ASSERT_EQ(TLGetNumInterfaces(system, &count), GC_ERR_SUCCESS);
    ASSERT_EQ(count, 2u);
    std::set<std::string> ids;
    for (uint32_t index = 0; index < count; ++index)
        ids.insert(StringAnswer([&](char* text, size_t* size) { return TLGetInterfaceID(system, index, text, size); }));
    EXPECT_EQ(ids, (std::set<std::string>{"VirtualGigE0", "VirtualGigE1"}));
    char id[8];
    size_t size = sizeof id;
    EXPECT_EQ(TLGetInterfaceID(system, 2, id, &size), GC_ERR_INVALID_INDEX);

    EXPECT_EQ(InterfaceInfo<uint64_t>(iface, INTERFACE_INFO_MAC_ADDRESS, INFO_DATATYPE_UINT64), 0x025649520000u);
    EXPECT_EQ(InterfaceInfo<uint32_t>(iface, INTERFACE_INFO_IP_ADDRESS, INFO_DATATYPE_UINT32), 0xC0A80A01u);
    uint32_t ip = 0;
    size = sizeof ip;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(TLGetInterfaceInfo(system, "VirtualGigE1", INTERFACE_INFO_IP_ADDRESS, &type, &ip, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(ip, 0xC0A81401u);
    EXPECT_EQ(TLGetInterfaceInfo(system, "eth9", INTERFACE_INFO_ID, &type, &ip, &size), GC_ERR_INVALID_ID);
    IF_HANDLE again = nullptr;
    EXPECT_EQ(TLOpenInterface(system, "VirtualGigE0", &again), GC_ERR_RESOURCE_IN_USE);
}

TEST_F(Discovery, DevicesAppearAfterAnUpdateWithTheirIdentity) {
    IF_HANDLE second = nullptr;
    ASSERT_EQ(TLOpenInterface(system, "VirtualGigE1", &second), GC_ERR_SUCCESS);
    uint32_t count = 99;
    ASSERT_EQ(IFGetNumDevices(second, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(count, 0u) << "no device is known before the first update";
    bool8_t changed = 0;
    ASSERT_EQ(IFUpdateDeviceList(second, &changed, 100), GC_ERR_SUCCESS);
    EXPECT_EQ(changed, 1);
    ASSERT_EQ(IFUpdateDeviceList(second, &changed, 100), GC_ERR_SUCCESS);
    EXPECT_EQ(changed, 0);
    ASSERT_EQ(IFGetNumDevices(second, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(count, 3u);  // mono, line scan, five streams

    ASSERT_EQ(IFGetNumDevices(iface, &count), GC_ERR_SUCCESS);
    ASSERT_EQ(count, 3u);  // colour, mono, depth
    const std::string id = StringAnswer([&](char* text, size_t* size) { return IFGetDeviceID(iface, 0, text, size); });
    EXPECT_EQ(id, "VC2448C-0001");
    auto deviceString = [&](DEVICE_INFO_CMD command) {
        return StringAnswer([&](char* text, size_t* size) {
            INFO_DATATYPE type = 0;
            return IFGetDeviceInfo(iface, id.c_str(), command, &type, text, size);
        });
    };
    EXPECT_EQ(deviceString(DEVICE_INFO_MODEL), "VC-2448C");
    EXPECT_EQ(deviceString(DEVICE_INFO_VENDOR), "Vireo");
    EXPECT_EQ(deviceString(DEVICE_INFO_SERIAL_NUMBER), "VC2448C-0001");
    EXPECT_EQ(deviceString(DEVICE_INFO_TLTYPE), "GEV");

    uint32_t ip = 0, mask = 0;
    uint64_t mac = 0;
    bool8_t dhcp = 9;
    size_t size = sizeof ip;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(IFGetDeviceInfo(iface, id.c_str(), DEVICE_INFO_IP_ADDRESS, &type, &ip, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(type, INFO_DATATYPE_UINT32);
    EXPECT_EQ(ip, 0xC0A80A0Bu);
    size = sizeof mask;
    ASSERT_EQ(IFGetDeviceInfo(iface, id.c_str(), DEVICE_INFO_SUBNET_MASK, &type, &mask, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(mask, 0xFFFFFF00u);
    size = sizeof mac;
    ASSERT_EQ(IFGetDeviceInfo(iface, id.c_str(), DEVICE_INFO_MAC_ADDRESS, &type, &mac, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(mac, 0x0256495200A1u);
    size = sizeof dhcp;
    ASSERT_EQ(IFGetDeviceInfo(iface, id.c_str(), DEVICE_INFO_DHCP_ENABLED, &type, &dhcp, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(type, INFO_DATATYPE_BOOL8);
    EXPECT_EQ(dhcp, 0);
    EXPECT_EQ(IFGetDeviceInfo(iface, "nobody", DEVICE_INFO_MODEL, &type, &ip, &size), GC_ERR_INVALID_ID);
}

TEST_F(Discovery, TheDepthAndColourCamerasFormADeviceGroup) {
    for (const char* id : {"VC2448C-0001", "VT640D-0001"}) {
        bool8_t enabled = 0;
        uint64_t members = 0;
        size_t size = 1;
        INFO_DATATYPE type = 0;
        ASSERT_EQ(IFGetDeviceInfo(iface, id, DEVICE_INFO_DEVICE_GROUP_ENABLE, &type, &enabled, &size), GC_ERR_SUCCESS);
        EXPECT_EQ(enabled, 1) << id;
        size = sizeof members;
        ASSERT_EQ(IFGetDeviceInfo(iface, id, DEVICE_INFO_DEVICE_GROUP_MEMBER_COUNT, &type, &members, &size), GC_ERR_SUCCESS);
        EXPECT_EQ(members, 2u);
        EXPECT_EQ(StringAnswer([&](char* text, size_t* textSize) {
                      return IFGetDeviceInfo(iface, id, DEVICE_INFO_DEVICE_GROUP_SERIAL, &type, text, textSize);
                  }),
                  "VG-0001");
    }
    bool8_t enabled = 1;
    size_t size = 1;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(IFGetDeviceInfo(iface, "VM1280M-0001", DEVICE_INFO_DEVICE_GROUP_ENABLE, &type, &enabled, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(enabled, 0);
}

TEST_F(Discovery, InfoQueriesFollowTheSizeConventions) {
    size_t size = 0;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(IFGetInfo(iface, INTERFACE_INFO_ID, &type, nullptr, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(type, INFO_DATATYPE_STRING);
    EXPECT_EQ(size, std::string("VirtualGigE0").size() + 1);
    char small[4];
    size_t smallSize = sizeof small;
    EXPECT_EQ(IFGetInfo(iface, INTERFACE_INFO_ID, &type, small, &smallSize), GC_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(smallSize, size);
    EXPECT_EQ(IFGetInfo(iface, INTERFACE_INFO_ID, &type, small, nullptr), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(IFGetInfo(iface, INTERFACE_INFO_CMD(77), &type, small, &smallSize), GC_ERR_INVALID_PARAMETER);
}

TEST_F(Discovery, OpeningADeviceIsExclusiveAndReportsItsStreams) {
    OpenCamera();
    DEV_HANDLE twice = nullptr;
    EXPECT_EQ(IFOpenDevice(iface, "VC2448C-0001", DEVICE_ACCESS_CONTROL, &twice), GC_ERR_RESOURCE_IN_USE);
    EXPECT_EQ(IFOpenDevice(iface, "VC9999-0000", DEVICE_ACCESS_CONTROL, &twice), GC_ERR_INVALID_ID);
    EXPECT_EQ(IFOpenDevice(iface, "VM1280M-0001", DEVICE_ACCESS_UNKNOWN, &twice), GC_ERR_INVALID_PARAMETER);

    uint32_t streams = 0;
    ASSERT_EQ(DevGetNumDataStreams(device, &streams), GC_ERR_SUCCESS);
    EXPECT_EQ(streams, 1u);
    bool8_t connected = 0, gvrsp = 1;
    size_t size = 1;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(DevGetInfo(device, DEVICE_INFO_CONNECTION_STATUS, &type, &connected, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(connected, 1);
    ASSERT_EQ(DevGetInfo(device, DEVICE_INFO_GVRSP_STREAMABLE, &type, &gvrsp, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(gvrsp, 0);
    IF_HANDLE parent = nullptr;
    ASSERT_EQ(DevGetParentIF(device, &parent), GC_ERR_SUCCESS);
    EXPECT_EQ(parent, iface);

    ASSERT_EQ(DevClose(device), GC_ERR_SUCCESS);
    EXPECT_EQ(DevGetNumDataStreams(device, &streams), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(GCReadPort(remote, 0, &streams, &size), GC_ERR_INVALID_HANDLE) << "the remote port closes with the device";
    ASSERT_EQ(IFOpenDevice(iface, "VC2448C-0001", DEVICE_ACCESS_CONTROL, &device), GC_ERR_SUCCESS) << LastErrorText();
}

TEST_F(Discovery, ADeviceOpensByAnIdLearntInAnEarlierSession) {
    // As other consumers do: list, close the system, open it again and open the device by the
    // ID learnt before, without listing again.
    ASSERT_EQ(TLClose(system), GC_ERR_SUCCESS);
    ASSERT_EQ(TLOpen(&system), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(TLOpenInterface(system, "VirtualGigE0", &iface), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(IFOpenDevice(iface, "VM1280M-0001", DEVICE_ACCESS_CONTROL, &device), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(DevClose(device), GC_ERR_SUCCESS);
    device = nullptr;
    DEV_HANDLE other = nullptr;
    EXPECT_EQ(IFOpenDevice(iface, "VL4096L-0001", DEVICE_ACCESS_CONTROL, &other), GC_ERR_INVALID_ID)
        << "a camera on another interface is not on this one";
    EXPECT_EQ(LastErrorText(), "IFOpenDevice: no device VL4096L-0001 on VirtualGigE0");
}

TEST_F(Discovery, ForceIpAndUnicastAddresses) {
    ASSERT_EQ(IFForceIp(iface, 0x0256495200A2, 0xC0A80A63, 0xFFFF0000, 0xC0A80A01), GC_ERR_SUCCESS) << LastErrorText();
    uint32_t ip = 0;
    size_t size = sizeof ip;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(IFGetDeviceInfo(iface, "VM1280M-0001", DEVICE_INFO_IP_ADDRESS, &type, &ip, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(ip, 0xC0A80A63u);
    EXPECT_EQ(IFForceIp(iface, 0x0011, 1, 2, 3), GC_ERR_INVALID_ID);

    ASSERT_EQ(IFAddUnicastDiscoveryDevice(iface, 0x0A000001), GC_ERR_SUCCESS);
    ASSERT_EQ(IFAddUnicastDiscoveryDevice(iface, 0x0A000002), GC_ERR_SUCCESS);
    ASSERT_EQ(IFRemoveUnicastDiscoveryDevice(iface, 0x0A000001), GC_ERR_SUCCESS);
    EXPECT_EQ(IFRemoveUnicastDiscoveryDevice(iface, 0x0A000001), GC_ERR_INVALID_ID);
    uint32_t count = 0;
    ASSERT_EQ(IFGetUnicastDiscoveryDevices(iface, nullptr, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(count, 1u);
    uint32_t addresses[4] = {};
    count = 4;
    ASSERT_EQ(IFGetUnicastDiscoveryDevices(iface, addresses, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(addresses[0], 0x0A000002u);
    uint32_t none[1];
    count = 0;
    EXPECT_EQ(IFGetUnicastDiscoveryDevices(iface, none, &count), GC_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 1u);
}

TEST_F(Discovery, ACameraBehindARouterIsFoundOnlyByUnicast) {
    auto found = [&] {
        bool8_t changed = 0;
        EXPECT_EQ(IFUpdateDeviceList(iface, &changed, 100), GC_ERR_SUCCESS);
        uint32_t count = 0;
        EXPECT_EQ(IFGetNumDevices(iface, &count), GC_ERR_SUCCESS);
        for (uint32_t index = 0; index < count; ++index)
            if (StringAnswer([&](char* text, size_t* size) { return IFGetDeviceID(iface, index, text, size); }) ==
                "VM1280M-0003")
                return true;
        return false;
    };
    EXPECT_FALSE(found()) << "broadcast discovery does not cross the router";
    ASSERT_EQ(IFAddUnicastDiscoveryDevice(iface, 0x0A000005), GC_ERR_SUCCESS);
    EXPECT_TRUE(found());
    ASSERT_EQ(IFRemoveUnicastDiscoveryDevice(iface, 0x0A000005), GC_ERR_SUCCESS);
    EXPECT_FALSE(found());
}

} // namespace
