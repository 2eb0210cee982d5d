// The producer's GigE Vision control channel and discovery against vireo-gv-camera on the
// private camera network: what the remote port, the device and the interface modules will
// rely on, including a device that loses answers, answers late or goes silent.
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <GigE/BootstrapRegisters.h>
#include <GigE/DescriptionUrl.h>

#include "ServerProcess.h"
#include "camera/Catalogue.h"
#include "camera/Failure.h"
#include "gige/ControlChannel.h"
#include "gige/Discovery.h"

namespace {

using namespace VirtualGenTL;
using namespace VirtualGenTL::GigEVision;
using namespace std::chrono_literals;
using GvCameraTest::ServerProcess;
namespace Reg = GigE::Register;

constexpr GigE::Ipv4Address kHost = 0x0A2A0001;   // 10.42.0.1
constexpr GigE::Ipv4Address kMask = 0xFFFFFF00;
constexpr GigE::Ipv4Address kMono = 0x0A2A000B;   // 10.42.0.11
constexpr GigE::Ipv4Address kColour = 0x0A2A000C; // 10.42.0.12
constexpr GigE::Ipv4Address kUnused = 0x0A2A0012; // 10.42.0.18
constexpr GigE::Ipv4Address kForced = 0x0A2A0013; // 10.42.0.19
const std::vector<std::string> kMonoServer = {"--camera", "VM1280M-0001@10.42.0.11"};
constexpr std::uint32_t kConcatenateAndWriteMemory =
    Reg::GvcpCapability::concatenation | Reg::GvcpCapability::writeMemory;
constexpr std::uint32_t kUnmapped = 0x0100; // between the bootstrap strings and the first URL

#define REQUIRE_CAMERA_NETWORK() \
    if (!ServerProcess::Available()) GTEST_SKIP() << "runs only inside CameraNetwork.sh"

CatalogueEntry Catalogued(const std::string& serial) {
    for (const CatalogueEntry& entry : DefaultCatalogue())
        if (entry.identity.serialNumber == serial) return entry;
    throw std::runtime_error("no camera " + serial);
}

GigE::MacAddress MacOf(const std::string& serial) {
    const std::uint64_t mac = Catalogued(serial).identity.macAddress;
    GigE::MacAddress bytes{};
    for (std::size_t byte = 0; byte < 6; ++byte) bytes[byte] = std::uint8_t(mac >> (40 - 8 * byte));
    return bytes;
}

// How a call ends: GC_ERR_SUCCESS, or the code and text of the ProducerError it throws.
struct Outcome {
    GenTL::GC_ERROR code = GenTL::GC_ERR_SUCCESS;
    std::string text;
};
template <class Call>
Outcome OutcomeOf(Call&& call) {
    try {
        return call(), Outcome{};
    } catch (const ProducerError& error) {
        return {error.Code(), error.what()};
    }
}

std::uint64_t ServerCounter(ServerProcess& server, const char* name) {
    return server.Statistics()["cameras"][0]["control"][name].get<std::uint64_t>();
}

const DiscoveredDevice* Find(const std::vector<DiscoveredDevice>& devices, const std::string& serial) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const DiscoveredDevice& device) { return device.description.serialNumber == serial; });
    return found == devices.end() ? nullptr : &*found;
}

TEST(GigEHostDiscovery, FindsServedCamerasByBroadcastAndUnicastAndForceIpMovesOne) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server({"--camera", "VM1280M-0001@10.42.0.11", "--camera", "VC2448C-0001@10.42.0.12"});

    const std::vector<DiscoveredDevice> all = DiscoverDevices(kHost, kMask, 500ms);
    ASSERT_EQ(all.size(), 2u);
    for (const auto& [serial, address] : {std::pair{"VM1280M-0001", kMono}, std::pair{"VC2448C-0001", kColour}}) {
        const DiscoveredDevice* device = Find(all, serial);
        ASSERT_NE(device, nullptr) << serial;
        EXPECT_EQ(device->description.macAddress, MacOf(serial));
        EXPECT_EQ(device->description.ipAddress, address);
        EXPECT_EQ(device->sourceAddress, address);
        EXPECT_EQ(device->description.modelName, Catalogued(serial).model.modelName);
    }

    const std::vector<GigE::Ipv4Address> colourOnly = {kColour}, unused = {kUnused};
    const std::vector<DiscoveredDevice> unicast = DiscoverDevices(kHost, kMask, 300ms, colourOnly, false);
    ASSERT_EQ(unicast.size(), 1u);
    EXPECT_EQ(unicast[0].description.serialNumber, "VC2448C-0001");
    EXPECT_TRUE(DiscoverDevices(kHost, kMask, 300ms, unused, false).empty());
    // Broadcast and unicast reach the same camera: still one entry per camera.
    EXPECT_EQ(DiscoverDevices(kHost, kMask, 300ms, colourOnly).size(), 2u);

    // Only the camera with the MAC acts and answers.
    EXPECT_EQ(OutcomeOf([] { ForceIp(kHost, GigE::MacAddress{2, 0, 0, 0, 0, 1}, kForced, kMask, 0, 300ms); }).code,
              GenTL::GC_ERR_TIMEOUT);
    ForceIp(kHost, MacOf("VM1280M-0001"), kForced, kMask, 0, 1s);
    const std::vector<DiscoveredDevice> moved = DiscoverDevices(kHost, kMask, 500ms);
    ASSERT_EQ(moved.size(), 2u);
    const DiscoveredDevice* mono = Find(moved, "VM1280M-0001");
    ASSERT_NE(mono, nullptr);
    EXPECT_EQ(std::pair(mono->description.ipAddress, mono->sourceAddress), std::pair(kForced, kForced));

    // A camera another application controls refuses to move.
    ControlChannel owner(kHost, kForced);
    owner.TakeControl(false);
    const Outcome refused = OutcomeOf([] { ForceIp(kHost, MacOf("VM1280M-0001"), kMono, kMask, 0, 1s); });
    EXPECT_EQ(refused.code, GenTL::GC_ERR_ACCESS_DENIED);
    EXPECT_NE(refused.text.find("ACCESS_DENIED"), std::string::npos) << refused.text;
}

TEST(GigEHostControlChannel, RegistersAndMemoryRoundTripAtAnyAlignmentWithOrWithoutCapabilities) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server(kMonoServer);
    ControlChannel channel(kHost, kMono);
    EXPECT_EQ(channel.ReadCapabilities() & kConcatenateAndWriteMemory, kConcatenateAndWriteMemory);

    // The description file through the first URL, in 512-byte pieces, byte for byte what the
    // camera holds; its length is not a multiple of 4.
    std::vector<std::uint8_t> urlRegister(Reg::urlSize);
    channel.ReadMemory(Reg::firstUrl, urlRegister.data(), urlRegister.size());
    const auto url = GigE::DescriptionUrl::parseRegister(urlRegister);
    ASSERT_TRUE(url && url->scheme == GigE::DescriptionUrl::Scheme::Local);
    CatalogueEntry entry = Catalogued("VM1280M-0001");
    VirtualCamera model(entry.model, entry.identity);
    std::vector<std::uint8_t> expected(url->length), file(url->length);
    model.Registers().Read(url->address, expected.data(), expected.size());
    const std::uint64_t before = channel.Counters().commands;
    channel.ReadMemory(url->address, file.data(), file.size());
    EXPECT_EQ(file, expected);
    const std::size_t alignedLength = (url->length + 3) / 4 * 4;
    EXPECT_EQ(channel.Counters().commands - before, (alignedLength + 511) / 512);

    const std::vector<std::uint32_t> addresses = {Reg::version, Reg::streamChannelCount, Reg::heartbeatTimeout,
                                                  Reg::controlChannelPrivilege};
    channel.TakeControl(false);
    for (const std::uint32_t capabilities : {kConcatenateAndWriteMemory, 0u}) {
        SCOPED_TRACE(capabilities);
        channel.SetCapabilities(capabilities);
        std::uint64_t commands = channel.Counters().commands;
        const std::vector<std::uint32_t> values = channel.ReadRegisters(addresses);
        EXPECT_EQ(values, (std::vector<std::uint32_t>{0x00020001, 1, Reg::defaultHeartbeatTimeoutMs,
                                                      Reg::ControlChannelPrivilege::controlAccess}));
        EXPECT_EQ(channel.Counters().commands - commands, capabilities != 0 ? 1u : addresses.size());

        // DeviceUserID: 16 bytes at 0x00E8. A write of bytes 3 to 8 keeps the bytes around it.
        char name[16] = "ABCDEFGHIJKLMNO";
        channel.WriteMemory(Reg::userDefinedName, name, sizeof name);
        commands = channel.Counters().commands;
        channel.WriteMemory(Reg::userDefinedName + 3, "uvwxyz", 6);
        // Two enclosing words read, then three words written: in one WRITEMEM or one by one.
        EXPECT_EQ(channel.Counters().commands - commands, capabilities != 0 ? 3u : 5u);
        std::memcpy(name + 3, "uvwxyz", 6);
        char whole[16] = {}, middle[9] = {};
        channel.ReadMemory(Reg::userDefinedName, whole, sizeof whole);
        EXPECT_EQ(std::string(whole, 16), std::string(name, 16));
        channel.ReadMemory(Reg::userDefinedName + 1, middle, sizeof middle);
        EXPECT_EQ(std::string(middle, 9), std::string(name + 1, 9));
        channel.WriteRegisters(std::vector<GigE::RegisterWrite>{{Reg::userDefinedName, 0x56495245}, {Reg::userDefinedName + 4, 0x4F000000}});
        EXPECT_EQ(channel.ReadRegister(Reg::userDefinedName + 4), 0x4F000000u);
    }
    const ControlChannelCounters counters = channel.Counters();
    EXPECT_EQ(counters.retries + counters.staleAcknowledges + counters.timeouts, 0u);
}

TEST(GigEHostControlChannel, ErrorStatusesBecomeTheirGenTLCodesAndOnlyOneHostControls) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server(kMonoServer);
    ControlChannel owner(kHost, kMono), other(kHost, kMono);
    owner.TakeControl(false);
    EXPECT_EQ(other.ReadRegister(Reg::primaryApplicationPort), owner.LocalPort());

    const Outcome unmapped = OutcomeOf([&] { owner.ReadRegister(kUnmapped); });
    EXPECT_EQ(unmapped.code, GenTL::GC_ERR_INVALID_ADDRESS);
    for (const char* part : {"INVALID_ADDRESS", "READREG", "0x00000100", "10.42.0.11:3956"})
        EXPECT_NE(unmapped.text.find(part), std::string::npos) << unmapped.text;
    char bytes[8];
    EXPECT_EQ(OutcomeOf([&] { owner.ReadMemory(kUnmapped + 2, bytes, sizeof bytes); }).code, GenTL::GC_ERR_INVALID_ADDRESS);
    const Outcome readOnly = OutcomeOf([&] { owner.WriteRegister(Reg::gvcpCapability, 0); });
    EXPECT_EQ(readOnly.code, GenTL::GC_ERR_ACCESS_DENIED);
    EXPECT_NE(readOnly.text.find("WRITE_PROTECT"), std::string::npos) << readOnly.text;
    // Of several writes, the text names the one refused.
    owner.SetCapabilities(kConcatenateAndWriteMemory);
    const Outcome second = OutcomeOf([&] {
        owner.WriteRegisters(std::vector<GigE::RegisterWrite>{{Reg::heartbeatTimeout, 3000}, {Reg::gvcpCapability, 0}});
    });
    EXPECT_NE(second.text.find("WRITEREG of 0x00000934"), std::string::npos) << second.text;

    // Another host may read but neither write nor take control.
    const Outcome notPrimary = OutcomeOf([&] { other.WriteRegister(Reg::userDefinedName, 0); });
    EXPECT_EQ(notPrimary.code, GenTL::GC_ERR_ACCESS_DENIED);
    EXPECT_NE(notPrimary.text.find("ACCESS_DENIED"), std::string::npos) << notPrimary.text;
    EXPECT_EQ(OutcomeOf([&] { other.TakeControl(false); }).code, GenTL::GC_ERR_ACCESS_DENIED);
    EXPECT_TRUE(owner.HasControl() && !other.HasControl());
    EXPECT_EQ(other.ReadRegister(Reg::controlChannelPrivilege), Reg::ControlChannelPrivilege::controlAccess);

    owner.ReleaseControl();
    other.TakeControl(true);
    EXPECT_EQ(OutcomeOf([&] { owner.ReadRegister(Reg::version); }).code, GenTL::GC_ERR_ACCESS_DENIED);
    // An unaligned register never reaches the device.
    const std::uint64_t commands = other.Counters().commands;
    EXPECT_EQ(OutcomeOf([&] { other.ReadRegister(Reg::version + 2); }).code, GenTL::GC_ERR_INVALID_ADDRESS);
    EXPECT_EQ(other.Counters().commands, commands);
}

TEST(GigEHostControlChannel, LostAcknowledgesAreRetriedWithTheSameIdSoNothingRunsTwice) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server({"--camera", "VM1280M-0001@10.42.0.11", "--drop-acks", "0.5", "--seed", "3"});
    // Enough attempts that half the acknowledges lost never fails a command.
    ControlChannel channel(kHost, kMono, GigE::gvcpPort, {100ms, 12});
    channel.SetCapabilities(kConcatenateAndWriteMemory);
    channel.TakeControl(false);
    for (int round = 0; round < 12; ++round) {
        const std::string name = "round-" + std::to_string(round);
        char written[16] = {}, read[16] = {};
        name.copy(written, sizeof written);
        channel.WriteMemory(Reg::userDefinedName + 1, written, 15);
        channel.ReadMemory(Reg::userDefinedName + 1, read, 15);
        EXPECT_EQ(std::string(read), name);
    }
    const ControlChannelCounters counters = channel.Counters();
    EXPECT_GT(counters.retries, 0u);
    EXPECT_EQ(counters.timeouts, 0u);
    // The device answered every resend from its record of the first: none was a new command.
    EXPECT_EQ(ServerCounter(server, "retriesReplayed"), counters.retries);
    EXPECT_EQ(ServerCounter(server, "commands"), counters.commands + counters.retries);
}

TEST(GigEHostControlChannel, ASlowDeviceIsWaitedForThroughPendingAcknowledgesOrRetries) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server({"--camera", "VM1280M-0001@10.42.0.11", "--slow-ms", "800"});
    ControlChannel channel(kHost, kMono); // 500 ms per attempt, shorter than the device takes
    channel.SetCapabilities(kConcatenateAndWriteMemory);
    channel.TakeControl(false);
    channel.WriteMemory(Reg::userDefinedName, "slow", 4);
    char read[4] = {};
    channel.ReadMemory(Reg::userDefinedName, read, sizeof read);
    EXPECT_EQ(std::string(read, 4), "slow");
    ControlChannelCounters counters = channel.Counters();
    EXPECT_EQ(counters.pendingAcknowledges, counters.commands);
    EXPECT_EQ(counters.retries + counters.timeouts, 0u);
    EXPECT_EQ(ServerCounter(server, "pendingAcknowledges"), counters.commands);

    // Without PENDING_ACK the answer comes after a resend; the device's replay of it then
    // arrives during the next command, which must not take it for its own.
    channel.WriteRegister(Reg::gvcpConfiguration, 0);
    EXPECT_EQ(channel.ReadRegister(Reg::gvcpConfiguration), 0u);
    EXPECT_EQ(channel.ReadRegister(Reg::version), 0x00020001u);
    counters = channel.Counters();
    EXPECT_GT(counters.retries, 0u);
    EXPECT_GT(counters.staleAcknowledges, 0u);
    EXPECT_EQ(counters.timeouts, 0u);
}

TEST(GigEHostHeartbeat, KeepsControlAndReportsASilentDeviceExactlyOnce) {
    REQUIRE_CAMERA_NETWORK();
    {
        ServerProcess server(kMonoServer);
        ControlChannel channel(kHost, kMono);
        channel.TakeControl(false);
        channel.WriteRegister(Reg::heartbeatTimeout, 1000);
        bool lost = false;
        channel.StartHeartbeat([&] { lost = true; }); // a third of 1000 ms
        std::this_thread::sleep_for(3s);
        channel.StopHeartbeat();
        EXPECT_FALSE(lost);
        EXPECT_EQ(channel.ReadRegister(Reg::controlChannelPrivilege), Reg::ControlChannelPrivilege::controlAccess);
        EXPECT_EQ(ServerCounter(server, "heartbeatExpiries"), 0u);
        // Without it the device gives control up.
        std::this_thread::sleep_for(2500ms);
        EXPECT_EQ(ServerCounter(server, "heartbeatExpiries"), 1u);
    }
    ServerProcess server({"--camera", "VM1280M-0001@10.42.0.11", "--silent-after-ms", "1500"});
    ControlChannel channel(kHost, kMono, GigE::gvcpPort, {200ms, 3});
    channel.TakeControl(false);
    std::mutex mutex;
    std::condition_variable changed;
    int losses = 0;
    channel.StartHeartbeat(
        [&] {
            std::lock_guard lock(mutex);
            ++losses;
            changed.notify_all();
        },
        200ms);
    {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, 10s, [&] { return losses > 0; }));
    }
    channel.StopHeartbeat();
    EXPECT_EQ(losses, 1);
    EXPECT_TRUE(channel.Lost() && !channel.HasControl());
    const Outcome silent = OutcomeOf([&] { channel.ReadRegister(Reg::version); });
    EXPECT_EQ(silent.code, GenTL::GC_ERR_TIMEOUT);
    for (const char* part : {"READREG", "0x00000000", "10.42.0.11:3956"})
        EXPECT_NE(silent.text.find(part), std::string::npos) << silent.text;
    EXPECT_GE(channel.Counters().timeouts, 2u);
}

} // namespace
