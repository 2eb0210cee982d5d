// Runs against the virtual producer built with the standard GenTL functions only, as another
// vendor's producer would be: the SDK must find the extensions missing, at run time, and report
// them like any other producer error.
#include <Vireo/Library.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include "support/TextOf.h"

#include <GenTL/VirtualProducerControl.h>

#include <memory>

#include "transport/Producer.h"

namespace Vireo {
namespace {

struct SystemCloser {
    void operator()(ISystem* system) const { CloseSystem(system); }
};


TEST(StandardOnlyProducer, TheExtensionsAnswerNotImplemented) {
    const ProducerFunctions& producer = Producer();
    EXPECT_EQ(producer.IFForceIp(nullptr, 0, 0, 0, 0), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.IFAddUnicastDiscoveryDevice(nullptr, 0), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.IFRemoveUnicastDiscoveryDevice(nullptr, 0), GenTL::GC_ERR_NOT_IMPLEMENTED);
    uint32_t count = 0;
    EXPECT_EQ(producer.IFGetUnicastDiscoveryDevices(nullptr, nullptr, &count), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.DevSendActionCommand(nullptr, 1, 2, 3, 4), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.DSWaitForNextLeader(nullptr, 10), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.DSResetWaitForNextLeader(nullptr), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.DSSetupResendRetryParams(nullptr, 1, 2.0, "s", "f", 3, 4), GenTL::GC_ERR_NOT_IMPLEMENTED);
    // The standard functions are the producer's own: without initialisation it says so itself.
    GenTL::TL_HANDLE system = nullptr;
    EXPECT_EQ(producer.TLOpen(&system), GenTL::GC_ERR_NOT_INITIALIZED);
}

TEST(StandardOnlyProducer, DiscoveryWorksAndTheExtensionsFailAsProducerErrors) {
    std::unique_ptr<ISystem, SystemCloser> system(OpenSystem());
    EXPECT_TRUE(system->UpdateDevices(200));
    const std::vector<DeviceInfo> devices = system->GetDevices();
    ASSERT_EQ(devices.size(), 6u);
    EXPECT_EQ(devices.front().SerialNumber(), "VC2448C-0001");

    // Forcing an address is tried on every interface; none can, and that is not an error.
    system->ForceIp(devices.front().MacAddress(), 0xC0A80A63ul, 0xFFFFFF00ul, 0);
    system->UpdateDevices(200);
    EXPECT_EQ(system->GetDevices().front().IpAddressStr(), "192.168.10.11");

    EXPECT_EQ(TextOf([&] { system->GetUnicastDiscoveryDevices(); }),
              "RuntimeException: GenTL::System::GetUnicastDiscoveryDevices() failed. Error: [-1003]. (System, "
              "GetUnicastDiscoveryDevices)");
}

} // namespace
} // namespace Vireo
