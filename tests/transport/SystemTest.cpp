#include <Vireo/System.h>
#include <Vireo/Library.h>

#include <gtest/gtest.h>

#include <GenApi/GenApi.h>
#include <GenTL/VirtualProducerControl.h>

#include <arpa/inet.h>

#include <memory>
#include <set>

#include "transport/Producer.h"
#include "transport/Routing.h"

namespace Vireo {
namespace {

struct SystemCloser {
    void operator()(ISystem* system) const { CloseSystem(system); }
};
using OpenedSystem = std::unique_ptr<ISystem, SystemCloser>;

std::string TextOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const GenICam::GenericException& error) {
        return error.what();
    }
    return "";
}

class SystemLifecycle : public ::testing::Test {
protected:
    void SetUp() override { VirtualProducerClearFaults(); }
    void TearDown() override {
        VirtualProducerClearFaults();
        VirtualProducerSetDiscoveryTime(0, 0);
        VirtualProducerSetDiscoveryTime(1, 0);
        VirtualProducerUseCameras(nullptr, 0);  // fresh cameras for the next test
    }
};

TEST_F(SystemLifecycle, OpensOnceAndClosesCleanly) {
    OpenedSystem system(OpenSystem());
    ASSERT_NE(system, nullptr);
    ASSERT_NE(system->GetTLSystemNodeMap(), nullptr);
    EXPECT_EQ(GenApi::CStringPtr(system->GetTLSystemNodeMap()->GetNode("TLVendorName"))->GetValue(), "Vireo");
    EXPECT_EQ(TextOf([] { OpenSystem(); }),
              "RuntimeException (GenTL::GC_ERR_RESOURCE_IN_USE): Library already initialized (must initialize only "
              "once) (Vireo, OpenSystem; GenTL::GCInitLib); GCInitLib: the library is already initialised");
    system.reset();
    OpenedSystem again(OpenSystem());  // closing released the producer
    EXPECT_NE(again, nullptr);
}

TEST_F(SystemLifecycle, CloseRefusesWhatIsNotASystem) {
    EXPECT_EQ(TextOf([] { CloseSystem(nullptr); }), "InvalidArgumentException: System is null (Vireo, CloseSystem)");
}

TEST_F(SystemLifecycle, AFailingInitialisationIsReported) {
    ASSERT_EQ(VirtualProducerFailCall("GCInitLib", 0, GenTL::GC_ERR_TIMEOUT, "no licence"), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(TextOf([] { OpenSystem(); }), "TimeoutException (GC_ERR_TIMEOUT): Unable to initialize library (Vireo, "
                                            "OpenSystem; GenTL::GCInitLib); GCInitLib: no licence");
    OpenedSystem system(OpenSystem());
    EXPECT_NE(system, nullptr);
}

TEST_F(SystemLifecycle, AFailingTLOpenLeavesTheProducerInitialised) {
    ASSERT_EQ(VirtualProducerFailCall("TLOpen", 0, GenTL::GC_ERR_ACCESS_DENIED, "in use by another process"),
              GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(TextOf([] { OpenSystem(); }), "AccessException (GC_ERR_ACCESS_DENIED): Unable to open system (Vireo, "
                                            "OpenSystem; GenTL::TLOpen); TLOpen: in use by another process");
    EXPECT_NE(TextOf([] { OpenSystem(); }).find("Library already initialized"), std::string::npos);
    EXPECT_EQ(Producer().GCCloseLib(), GenTL::GC_ERR_SUCCESS);
}

class Discovery : public SystemLifecycle {
protected:
    void SetUp() override {
        SystemLifecycle::SetUp();
        system.reset(OpenSystem());
    }
    void TearDown() override {
        system.reset();
        SystemLifecycle::TearDown();
    }
    OpenedSystem system;
};

TEST_F(Discovery, FindsEveryCameraWithItsIdentity) {
    EXPECT_TRUE(system->UpdateDevices(500));
    EXPECT_FALSE(system->UpdateDevices(500)) << "nothing changed since";
    const std::vector<DeviceInfo> devices = system->GetDevices();
    std::set<std::string> serials;
    for (const DeviceInfo& device : devices) serials.insert(device.SerialNumber().c_str());
    EXPECT_EQ(serials, (std::set<std::string>{"VC2448C-0001", "VM1280M-0001", "VT640D-0001", "VM1280M-0002",
                                               "VL4096L-0001", "VX2048S-0001"}));
    const DeviceInfo colour = devices.front();
    EXPECT_EQ(colour.SerialNumber(), "VC2448C-0001");
    EXPECT_EQ(colour.ModelName(), "VC-2448C");
    EXPECT_EQ(colour.VendorName(), "Vireo");
    EXPECT_EQ(colour.UserDefinedName(), "colour");
    EXPECT_EQ(colour.DeviceVersion(), "1.4.2");
    EXPECT_EQ(colour.IpAddressStr(), "192.168.10.11");
    EXPECT_EQ(colour.SubnetMaskStr(), "255.255.255.0");
    EXPECT_EQ(colour.DefaultGatewayStr(), "192.168.10.1");
    EXPECT_EQ(colour.MacAddressStr(), "02:56:49:52:00:A1");
    EXPECT_FALSE(colour.IsDHCPConfigurationEnabled());
    EXPECT_TRUE(colour.IsPersistentIpConfigurationEnabled());
    EXPECT_FALSE(colour.IsLLAConfigurationEnabled());
    EXPECT_TRUE(colour.DeviceGroupEnable());
    EXPECT_EQ(colour.DeviceGroupSerial(), "VG-0001");
    EXPECT_EQ(colour.DeviceGroupName(), "Tarsum depth and colour pair");
    EXPECT_EQ(colour.DeviceGroupMemberCount(), 2u);
    EXPECT_EQ(colour.DeviceGroupVersionMajor(), 1u);

    DeviceInfo copy;
    copy = colour;
    EXPECT_EQ(copy.IpAddress(), colour.IpAddress());
    GenApi::INodeMap* adapter = system->GetTLInterfaceNodeMap(colour);
    ASSERT_NE(adapter, nullptr);
    EXPECT_EQ(GenApi::CIntegerPtr(adapter->GetNode("GevInterfaceSubnetIPAddress"))->ToString(), "192.168.10.1");
}

TEST_F(Discovery, InterfacesScanInParallel) {
    ASSERT_EQ(VirtualProducerSetDiscoveryTime(0, 200), GenTL::GC_ERR_SUCCESS);
    ASSERT_EQ(VirtualProducerSetDiscoveryTime(1, 200), GenTL::GC_ERR_SUCCESS);
    VirtualProducerTakeMaximumConcurrentDiscoveries();
    system->UpdateDevices(1000);
    EXPECT_EQ(VirtualProducerTakeMaximumConcurrentDiscoveries(), 2u) << "both interfaces were scanned at once";
}

TEST_F(Discovery, AFailingScanNamesTheProducerError) {
    ASSERT_EQ(VirtualProducerFailCall("IFUpdateDeviceList", 1, GenTL::GC_ERR_IO, "link down"), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(TextOf([&] { system->UpdateDevices(100); }),
              "RuntimeException (GC_ERR_IO): Unable to update list of devices (System, UpdateDevices; "
              "GenTL::IFUpdateDeviceList); IFUpdateDeviceList: link down");
    ASSERT_EQ(VirtualProducerFailCall("TLUpdateInterfaceList", 0, GenTL::GC_ERR_BUSY, "busy"), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(TextOf([&] { system->UpdateDevices(100); }),
              "RuntimeException (GC_ERR_BUSY): Unable to update list of interfaces (System, UpdateInterfaceList; "
              "GenTL::TLUpdateInterfaceList); TLUpdateInterfaceList: busy");
}

TEST_F(Discovery, OneInterfaceCanBeScannedAlone) {
    const std::vector<InterfaceInfo> interfaces = system->GetInterfaces();
    ASSERT_EQ(interfaces.size(), 2u);
    EXPECT_EQ(interfaces[1].IpAddressStr(), "192.168.20.1");
    EXPECT_EQ(interfaces[1].MacAddressStr(), "02:56:49:52:00:01");
    EXPECT_EQ(interfaces[1].SubnetMaskStr(), "255.255.255.0");
    EXPECT_TRUE(system->UpdateDevices(interfaces[1], 100));
    std::set<std::string> serials;
    for (const DeviceInfo& device : system->GetDevices()) serials.insert(device.SerialNumber().c_str());
    EXPECT_EQ(serials, (std::set<std::string>{"VM1280M-0002", "VL4096L-0001", "VX2048S-0001"}));
    EXPECT_EQ(TextOf([&] { system->UpdateDevices(InterfaceInfo(1, 2, 3), 100); }),
              "InvalidArgumentException: Matching Interface not found (System, UpdateDevices)");
}

TEST_F(Discovery, ForceIpChangesTheCamerasAddress) {
    system->ForceIp(0x0256495200A2ul, 0xC0A80A42ul, 0xFFFFFF00ul, 0xC0A80A01ul);
    system->UpdateDevices(100);
    bool found = false;
    for (const DeviceInfo& device : system->GetDevices())
        if (device.SerialNumber() == "VM1280M-0001") found = device.IpAddressStr() == "192.168.10.66";
    EXPECT_TRUE(found);
    system->ForceIp(0x0011223344ul, 1, 2, 3);  // no camera has it: nothing is reported
    EXPECT_EQ(TextOf([&] { system->ForceIp("00:11:22:33:44:55", "192.168.10.5", "255.255.255.0", "0.0.0.0"); }),
              "InvalidArgumentException: Bad MAC address (System, ForceIp)");
    EXPECT_EQ(TextOf([&] { system->ForceIp("zz", "192.168.10.5", "255.255.255.0", "0.0.0.0"); }),
              "InvalidArgumentException: Bad MAC address (System, ForceIp)");
}

TEST_F(Discovery, UnicastNeedsAnInterfaceThatRoutesToTheAddress) {
    EXPECT_TRUE(system->GetUnicastDiscoveryDevices().empty());
    // Loopback is no interface of the producer.
    EXPECT_NE(TextOf([&] { system->AddUnicastDiscoveryDevice("127.0.0.1"); }).find("No interface routes to 127.0.0.1"),
              std::string::npos);
    EXPECT_EQ(TextOf([&] { system->AddUnicastDiscoveryDevice("not an address"); }),
              "InvalidArgumentException: Unable to parse remote IP address. Error: [0]. (System, BestRouteAddress)");
}

TEST(BestRoute, FindsTheLocalAddressAndRefusesTheUnusable) {
    EXPECT_EQ(ntohl(BestRouteAddress("127.0.0.1")), 0x7F000001u);
    for (const char* address : {"0.0.0.0", "255.255.255.255"})
        EXPECT_EQ(TextOf([&] { BestRouteAddress(address); }),
                  "InvalidArgumentException: Invalid IP address specified. (System, BestRouteAddress)");
}

} // namespace
} // namespace Vireo
