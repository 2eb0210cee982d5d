#include <Vireo/Device.h>
#include <Vireo/System.h>
#include <Vireo/Library.h>

#include <gtest/gtest.h>

#include "support/TextOf.h"
#include "support/WaitableCount.h"

#include <GenApi/GenApi.h>
#include <GenTL/VirtualProducerControl.h>

#include <arpa/inet.h>

#include <chrono>
#include <cstdlib>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "transport/Producer.h"
#include "transport/Routing.h"

namespace Vireo {
namespace {

struct SystemCloser {
    void operator()(ISystem* system) const { CloseSystem(system); }
};
using OpenedSystem = std::unique_ptr<ISystem, SystemCloser>;


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

TEST_F(Discovery, TwoFailingInterfacesReportTheFirstOnesCode) {
    ASSERT_EQ(VirtualProducerFailCallOn("IFUpdateDeviceList", "VirtualGigE1", 0, GenTL::GC_ERR_TIMEOUT, "no answer"),
              GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(TextOf([&] { system->UpdateDevices(100); }),
              "TimeoutException (GC_ERR_TIMEOUT): Unable to update list of devices (System, UpdateDevices; "
              "GenTL::IFUpdateDeviceList); IFUpdateDeviceList: no answer");
    ASSERT_EQ(VirtualProducerFailCallOn("IFUpdateDeviceList", "VirtualGigE1", 0, GenTL::GC_ERR_TIMEOUT, "no answer"),
              GenTL::GC_ERR_SUCCESS);
    ASSERT_EQ(VirtualProducerFailCallOn("IFUpdateDeviceList", "VirtualGigE0", 0, GenTL::GC_ERR_IO, "link down"),
              GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(TextOf([&] { system->UpdateDevices(100); }),
              "RuntimeException (GC_ERR_IO): Unable to update list of devices (System, UpdateDevices; "
              "GenTL::IFUpdateDeviceList); IFUpdateDeviceList: link down");
    EXPECT_TRUE(system->UpdateDevices(100)) << "the second interface's cameras appear with its first good scan";
}

TEST_F(Discovery, ADeviceOpensOnceAndClosesWhetherOrNotItStreams) {
    system->UpdateDevices(100);
    const DeviceInfo colour = system->GetDevices().front();
    IDevice* device = system->CreateDevice(colour);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(GenApi::CStringPtr(device->GetNodeMap()->GetNode("DeviceSerialNumber"))->GetValue(), "VC2448C-0001");
    EXPECT_EQ(device->GetTLInterfaceNodeMap(), system->GetTLInterfaceNodeMap(colour));
    EXPECT_EQ(TextOf([&] { system->CreateDevice(colour); }),
              "LogicalErrorException: Failure opening device due to device already being open (System, CreateDevice)");
    system->DestroyDevice(device);  // never streamed: the failed stop is no reason to keep it

    device = system->CreateDevice(colour);
    device->StartStream(4);
    system->DestroyDevice(device);
    EXPECT_EQ(TextOf([&] { system->DestroyDevice(nullptr); }),
              "InvalidArgumentException: Device is null (System, DestroyDevice)");

    ASSERT_EQ(VirtualProducerFailCall("IFOpenDevice", 0, GenTL::GC_ERR_ACCESS_DENIED, "opened by another host"),
              GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(TextOf([&] { system->CreateDevice(colour); }),
              "AccessException (GC_ERR_ACCESS_DENIED): Unable to open device (System, CreateDevice; "
              "GenTL::IFOpenDevice); IFOpenDevice: opened by another host");
    EXPECT_EQ(TextOf([&] { system->CreateDevice(DeviceInfo()); }),
              "InvalidArgumentException: Camera Interface not found (System, FindInterface)");
}

TEST_F(Discovery, TheDisconnectCallbackHearsOfEveryChange) {
    struct Watcher : IDisconnectCallback {
        void OnDeviceDisconnected(IDevice* device) override {
            std::lock_guard lock(mutex);
            calls.push_back(device->IsConnected());
            changed.notify_all();
        }
        bool WaitFor(size_t count) {
            std::unique_lock lock(mutex);
            return changed.wait_for(lock, std::chrono::seconds(10), [&] { return calls.size() >= count; });
        }
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<bool> calls;
    } watcher;
    system->UpdateDevices(100);
    IDevice* device = system->CreateDevice(system->GetDevices().front());
    system->RegisterDeviceDisconnectCallback(device, &watcher);
    EXPECT_EQ(TextOf([&] { system->RegisterDeviceDisconnectCallback(device, &watcher); }),
              "InvalidArgumentException: Callback already registered (DeviceCbManager, RegisterCallback)");
    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 0), GenTL::GC_ERR_SUCCESS);
    ASSERT_TRUE(watcher.WaitFor(1));
    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 1), GenTL::GC_ERR_SUCCESS);
    ASSERT_TRUE(watcher.WaitFor(2));
    {
        std::lock_guard lock(watcher.mutex);
        EXPECT_EQ(watcher.calls, (std::vector<bool>{false, true}));
    }
    system->DeregisterAllDeviceDisconnectCallbacks();
    system->DeregisterDeviceDisconnectCallback(&watcher);
    EXPECT_EQ(TextOf([&] { system->DeregisterDeviceDisconnectCallback(&watcher); }),
              "InvalidArgumentException: Callback handle not found (DeviceCbManager, DeregisterCallback)");
    EXPECT_EQ(TextOf([&] { system->RegisterDeviceDisconnectCallback(device, nullptr); }),
              "InvalidArgumentException: Null disconnect callback pointer specified (DeviceCbManager, RegisterCallback)");
    system->DestroyDevice(device);
}

TEST_F(Discovery, DisconnectRegistrationsEndWithTheirDevice) {
    // Counts calls; destroys its device from within the callback when told to.
    struct Watcher : IDisconnectCallback {
        void OnDeviceDisconnected(IDevice* device) override {
            if (destroyFrom != nullptr) destroyFrom->DestroyDevice(device);
            calls.Add();
        }
        ISystem* destroyFrom = nullptr;
        WaitableCount calls;
    } watcher, destroyer;
    EXPECT_EQ(TextOf([&] { system->RegisterDeviceDisconnectCallback(nullptr, &watcher); }),
              "InvalidArgumentException: Device is null (System, RegisterDeviceDisconnectCallback)");
    system->UpdateDevices(100);
    const DeviceInfo colour = system->GetDevices().front();
    IDevice* device = system->CreateDevice(colour);
    system->RegisterDeviceDisconnectCallback(device, &watcher);
    system->DestroyDevice(device);  // the watcher must no longer ask it anything
    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 0), GenTL::GC_ERR_SUCCESS);
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));  // two passes of the watcher
    EXPECT_EQ(watcher.calls.Get(), 0);
    EXPECT_EQ(TextOf([&] { system->DeregisterDeviceDisconnectCallback(&watcher); }),
              "InvalidArgumentException: Callback handle not found (DeviceCbManager, DeregisterCallback)");
    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 1), GenTL::GC_ERR_SUCCESS);

    // A callback may destroy the device that went away.
    destroyer.destroyFrom = system.get();
    device = system->CreateDevice(colour);
    system->RegisterDeviceDisconnectCallback(device, &destroyer);
    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 0), GenTL::GC_ERR_SUCCESS);
    ASSERT_TRUE(destroyer.calls.WaitFor(1));
    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 1), GenTL::GC_ERR_SUCCESS);
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_EQ(destroyer.calls.Get(), 1);
    device = system->CreateDevice(colour);  // it was closed
    system->DestroyDevice(device);
}

TEST_F(Discovery, DevicesStayUsableWhileTheirInterfaceListIsRebuilt) {
    const std::vector<InterfaceInfo> interfaces = system->GetInterfaces();
    system->UpdateDevices(100);
    IDevice* device = nullptr;
    for (const DeviceInfo& info : system->GetDevices())
        if (info.SerialNumber() == "VM1280M-0002") device = system->CreateDevice(info);
    ASSERT_NE(device, nullptr);
    GenApi::INodeMap* interfaceMap = device->GetTLInterfaceNodeMap();
    for (int rescan = 0; rescan < 3; ++rescan) {
        system->UpdateDevices(interfaces[1], 100);  // rebuilds every interface
        system->UpdateDevices(100);
        EXPECT_EQ(device->GetTLInterfaceNodeMap(), interfaceMap) << "the device's interface was kept";
        EXPECT_EQ(GenApi::CIntegerPtr(interfaceMap->GetNode("GevInterfaceSubnetIPAddress"))->GetValue(), 0xC0A81401);
        device->StartStream(4);
        device->RequeueBuffer(device->GetImage(2000));
        device->StopStream();
    }
    bool listed = false;
    for (const DeviceInfo& info : system->GetDevices()) listed = listed || info.SerialNumber() == "VM1280M-0002";
    EXPECT_TRUE(listed) << "the kept interface is the one the list holds";
    system->DestroyDevice(device);
    system->UpdateDevices(interfaces[0], 100);  // without devices, the interface is rebuilt
    EXPECT_EQ(system->GetInterfaces().size(), 2u);
}

TEST_F(SystemLifecycle, InterfaceAddressesComeFromTheInterfaceFeaturesWhenTheInformationIsMissing) {
    // A producer that answers no interface information but describes the addresses in the
    // interface's node map, as other vendors' producers may.
    ProducerFunctions functions = Producer();
    functions.IFGetInfo = [](GenTL::IF_HANDLE, GenTL::INTERFACE_INFO_CMD, GenTL::INFO_DATATYPE*, void*,
                             size_t*) -> GenTL::GC_ERROR { return GenTL::GC_ERR_NOT_IMPLEMENTED; };
    const ProducerFunctions previous = ReplaceProducerForTesting(functions);
    {
        OpenedSystem system(OpenSystem());
        const std::vector<InterfaceInfo> interfaces = system->GetInterfaces();
        ASSERT_EQ(interfaces.size(), 2u);
        EXPECT_EQ(interfaces[1].IpAddressStr(), "192.168.20.1");
        EXPECT_EQ(interfaces[1].MacAddressStr(), "02:56:49:52:00:01");
        EXPECT_TRUE(system->UpdateDevices(interfaces[1], 100));
        EXPECT_EQ(system->GetDevices().size(), 3u);
    }
    ReplaceProducerForTesting(previous);
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

// Route lookups open sockets: these tests run only inside the network namespace that
// RunInNetworkNamespace.sh makes (loopback with the virtual interfaces' addresses), never on the
// machine's own interfaces.
#define VIREO_REQUIRE_OWN_NETWORK_NAMESPACE()                                   \
    if (std::getenv("VIREO_TEST_NETWORK_NAMESPACE") == nullptr) GTEST_SKIP() \
        << "runs in its own network namespace"

TEST_F(Discovery, UnicastNeedsAnInterfaceThatRoutesToTheAddress) {
    VIREO_REQUIRE_OWN_NETWORK_NAMESPACE();
    EXPECT_TRUE(system->GetUnicastDiscoveryDevices().empty());
    // Loopback is no interface of the producer.
    EXPECT_NE(TextOf([&] { system->AddUnicastDiscoveryDevice("127.0.0.1"); }).find("No interface routes to 127.0.0.1"),
              std::string::npos);
    EXPECT_EQ(TextOf([&] { system->AddUnicastDiscoveryDevice("not an address"); }),
              "InvalidArgumentException: Unable to parse remote IP address. Error: [0]. (System, BestRouteAddress)");
}

// Needs the addresses of the virtual interfaces on this host.
TEST_F(Discovery, UnicastDiscoveryFindsACameraBehindARouter) {
    VIREO_REQUIRE_OWN_NETWORK_NAMESPACE();
    EXPECT_EQ(ntohl(BestRouteAddress("10.0.0.5")), 0xC0A80A01u) << "the first interface routes to the camera";
    const auto serials = [&] {
        system->UpdateDevices(100);
        std::set<std::string> found;
        for (const DeviceInfo& device : system->GetDevices()) found.insert(device.SerialNumber().c_str());
        return found;
    };
    EXPECT_EQ(serials().count("VM1280M-0003"), 0u) << "broadcasts do not cross the router";
    system->AddUnicastDiscoveryDevice("10.0.0.5");
    system->AddUnicastDiscoveryDevice("192.168.20.77");
    const std::vector<uint32_t> addresses = system->GetUnicastDiscoveryDevices();
    EXPECT_EQ(std::set<uint32_t>(addresses.begin(), addresses.end()), (std::set<uint32_t>{0x0A000005u, 0xC0A8144Du}));
    EXPECT_EQ(serials().count("VM1280M-0003"), 1u);
    system->RemoveUnicastDiscoveryDevice("10.0.0.5");
    EXPECT_EQ(serials().count("VM1280M-0003"), 0u);
    EXPECT_EQ(system->GetUnicastDiscoveryDevices(), (std::vector<uint32_t>{0xC0A8144Du}));
}

TEST(BestRoute, FindsTheLocalAddressAndRefusesTheUnusable) {
    VIREO_REQUIRE_OWN_NETWORK_NAMESPACE();
    EXPECT_EQ(ntohl(BestRouteAddress("127.0.0.1")), 0x7F000001u);
    for (const char* address : {"0.0.0.0", "255.255.255.255"})
        EXPECT_EQ(TextOf([&] { BestRouteAddress(address); }),
                  "InvalidArgumentException: Invalid IP address specified. (System, BestRouteAddress)");
}

} // namespace
} // namespace Vireo
