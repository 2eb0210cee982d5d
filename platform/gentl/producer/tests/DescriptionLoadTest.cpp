// Every module's description file, as the producer serves it, loads in the GenICam engine,
// and every readable feature reads through the module's port.
#include "ProducerFixture.h"

#include <GenApi/GenApi.h>

#include "ModulePort.h"

namespace {

class DescriptionLoading : public ProducerTest {
protected:
    // Builds the module's node map, connected under the port name its file declares.
    GenApi::INodeMap* Load(PORT_HANDLE handle, ModulePort& port, const char* portName) {
        const std::vector<uint8_t> file = ReadDescriptionFile(handle);
        GenApi::CNodeMapFactory factory(GenApi::ContentType_Auto, file.data(), file.size());
        GenApi::INodeMap* map = factory.CreateNodeMap("Device");
        EXPECT_TRUE(map->Connect(&port, portName)) << portName;
        return map;
    }
    static void Destroy(GenApi::INodeMap* map) { dynamic_cast<GenApi::IDestroy*>(map)->Destroy(); }

    // Reads every readable value; returns how many were read.
    static size_t ReadEverything(GenApi::INodeMap* map) {
        GenApi::NodeList_t nodes;
        map->GetNodes(nodes);
        size_t read = 0;
        for (GenApi::INode* node : nodes) {
            auto* value = dynamic_cast<GenApi::IValue*>(node);
            if (value == nullptr || !GenApi::IsReadable(node)) continue;
            try {
                value->ToString();
                ++read;
            } catch (const GenICam::GenericException& error) {
                ADD_FAILURE() << node->GetName() << ": " << error.GetDescription();
            }
        }
        return read;
    }
};

TEST_F(DescriptionLoading, EveryModuleLoadsAndEveryReadableFeatureReads) {
    OpenCamera();
    OpenStream();
    const std::tuple<PORT_HANDLE, const char*, size_t> modules[] = {
        {system, "TLPort", 8}, {iface, "InterfacePort", 6}, {device, "DevicePort", 10},
        {stream, "StreamPort", 8}, {remote, "Device", 30}};
    for (const auto& [handle, portName, atLeast] : modules) {
        ModulePort port(handle);
        GenApi::INodeMap* map = Load(handle, port, portName);
        EXPECT_GE(ReadEverything(map), atLeast) << portName;
        Destroy(map);
    }
}

TEST_F(DescriptionLoading, EveryCameraModelLoadsAndReads) {
    IF_HANDLE second = nullptr;
    ASSERT_EQ(TLOpenInterface(system, "VirtualGigE1", &second), GC_ERR_SUCCESS);
    bool8_t changed = 0;
    ASSERT_EQ(IFUpdateDeviceList(second, &changed, 100), GC_ERR_SUCCESS);
    const std::pair<IF_HANDLE, const char*> cameras[] = {
        {iface, "VC2448C-0001"}, {iface, "VM1280M-0001"}, {iface, "VT640D-0001"},
        {second, "VM1280M-0002"}, {second, "VL4096L-0001"}, {second, "VX2048S-0001"}};
    for (const auto& [adapter, serial] : cameras) {
        DEV_HANDLE camera = nullptr;
        PORT_HANDLE cameraPort = nullptr;
        ASSERT_EQ(IFOpenDevice(adapter, serial, DEVICE_ACCESS_CONTROL, &camera), GC_ERR_SUCCESS) << serial;
        ASSERT_EQ(DevGetPort(camera, &cameraPort), GC_ERR_SUCCESS);
        ModulePort port(cameraPort);
        GenApi::INodeMap* map = Load(cameraPort, port, "Device");
        EXPECT_GE(ReadEverything(map), 30u) << serial;
        EXPECT_EQ(GenApi::CStringPtr(map->GetNode("DeviceSerialNumber"))->GetValue(), serial);
        Destroy(map);
        ASSERT_EQ(DevClose(camera), GC_ERR_SUCCESS);
    }
}

TEST_F(DescriptionLoading, CalibrationAndDepthFeaturesReadThroughTheirSelectors) {
    OpenCamera("VT640D-0001");
    ModulePort port(remote);
    GenApi::INodeMap* depth = Load(remote, port, "Device");
    GenApi::CEnumerationPtr coordinate = depth->GetNode("Scan3dCoordinateSelector");
    GenApi::CFloatPtr offset = depth->GetNode("Scan3dCoordinateOffset");
    coordinate->FromString("CoordinateA");
    EXPECT_EQ(offset->GetValue(), -4096.0);
    coordinate->FromString("CoordinateC");
    EXPECT_EQ(offset->GetValue(), 0.0);
    GenApi::CEnumerationPtr transform = depth->GetNode("DeviceGroupMemberTransformValueSelector");
    transform->FromString("TranslationX");
    EXPECT_EQ(GenApi::CFloatPtr(depth->GetNode("DeviceGroupMemberTransformValue"))->GetValue(), -50.0);
    EXPECT_EQ(GenApi::CFloatPtr(depth->GetNode("Scan3dCoordinateScale"))->GetValue(), 0.25);
    Destroy(depth);
}

TEST_F(DescriptionLoading, FeaturesDriveTheModules) {
    OpenCamera();
    ModulePort port(remote);
    GenApi::INodeMap* camera = Load(remote, port, "Device");
    GenApi::CIntegerPtr width = camera->GetNode("Width");
    GenApi::CIntegerPtr payload = camera->GetNode("PayloadSize");
    GenApi::CEnumerationPtr format = camera->GetNode("PixelFormat");
    GenApi::CStringPtr serial = camera->GetNode("DeviceSerialNumber");
    EXPECT_EQ(serial->GetValue(), "VC2448C-0001");
    width->SetValue(1024);
    format->FromString("Mono8");
    EXPECT_EQ(payload->GetValue(), 1024 * 2048);
    EXPECT_THROW(width->SetValue(1025), GenICam::OutOfRangeException) << "the increment is 8";
    GenApi::CIntegerPtr ip = camera->GetNode("GevCurrentIPAddress");
    EXPECT_EQ(ip->ToString(), "192.168.10.11");
    Destroy(camera);

    ModulePort interfacePort(iface);
    GenApi::INodeMap* adapter = Load(iface, interfacePort, "InterfacePort");
    GenApi::CIntegerPtr subnet = adapter->GetNode("GevInterfaceSubnetIPAddress");
    GenApi::CIntegerPtr mac = adapter->GetNode("GevInterfaceMACAddress");
    uint32_t ipInfo = 0;
    uint64_t macInfo = 0;
    size_t size = sizeof ipInfo;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(IFGetInfo(iface, INTERFACE_INFO_IP_ADDRESS, &type, &ipInfo, &size), GC_ERR_SUCCESS);
    size = sizeof macInfo;
    ASSERT_EQ(IFGetInfo(iface, INTERFACE_INFO_MAC_ADDRESS, &type, &macInfo, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(uint64_t(subnet->GetValue()), ipInfo) << "node map and interface info agree";
    EXPECT_EQ(uint64_t(mac->GetValue()), macInfo);
    Destroy(adapter);
}

} // namespace
