// The control side of vireo-gv-camera as a raw GigE Vision host sees it: discovery and
// FORCEIP, the message channel, action commands, control privilege, the heartbeat, answers
// to bad input, and the control-channel faults the server injects on purpose.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include <GigE/BootstrapRegisters.h>
#include <GigE/DescriptionUrl.h>
#include <GigE/MemoryAccess.h>
#include <zip.h>

#include "GvcpClient.h"
#include "GvspReceiver.h"
#include "MessageChannelListener.h"
#include "ServerProcess.h"
#include "camera/CameraModel.h"
#include "camera/VirtualCamera.h"

namespace {

using namespace GvCameraTest;
using namespace std::chrono_literals;
using GigE::Status;
namespace Reg = GigE::Register;

const GigE::Ipv4Address kHost = ParseIpv4("10.42.0.1");
const GigE::Ipv4Address kCamera = ParseIpv4("10.42.0.11");
const std::vector<std::string> kMonoServer = {"--camera", "VM1280M-0001@10.42.0.11"};
constexpr std::uint32_t kHeartbeatOff = Reg::GvcpConfiguration::pendingAck | Reg::GvcpConfiguration::heartbeatDisable;

#define REQUIRE_CAMERA_NETWORK() \
    if (!ServerProcess::Available()) GTEST_SKIP() << "runs only inside CameraNetwork.sh"

// The served camera's model built in this process: its feature addresses and description file.
VirtualGenTL::VirtualCamera& Model() {
    static VirtualGenTL::VirtualCamera camera(VirtualGenTL::MonoCameraModel(), {});
    return camera;
}

std::uint32_t FeatureAddress(const std::string& name) {
    return std::uint32_t(Model().Registers().GetDescription().Get(name).address);
}

// A write of a camera feature's whole register, big-endian, as a host driven by the description does it.
GigE::WriteMemoryCommand FeatureWrite(const std::string& name, std::uint64_t value) {
    const auto& feature = Model().Registers().GetDescription().Get(name);
    std::vector<std::uint8_t> bytes(VirtualGenTL::Description::RegisterLength(feature));
    for (std::size_t byte = 0; byte < bytes.size(); ++byte)
        bytes[byte] = std::uint8_t(value >> (8 * (bytes.size() - 1 - byte)));
    return {std::uint32_t(feature.address), bytes};
}

GvcpReply SetFeature(GvcpClient& client, const std::string& name, std::uint64_t value) {
    const GigE::WriteMemoryCommand write = FeatureWrite(name, value);
    return client.WriteMemory(write.address, write.data);
}

// The one file in a zip archive, or nothing when the archive does not open or read whole.
std::optional<std::string> Unzip(const std::vector<std::uint8_t>& archive) {
    zip_source_t* source = zip_source_buffer_create(archive.data(), archive.size(), 0, nullptr);
    zip_t* zip = zip_open_from_source(source, ZIP_CHECKCONS | ZIP_RDONLY, nullptr);
    if (zip == nullptr) return zip_source_free(source), std::nullopt;
    std::optional<std::string> content;
    zip_stat_t stat;
    const bool single = zip_get_num_entries(zip, 0) == 1 && zip_stat_index(zip, 0, 0, &stat) == 0;
    zip_file_t* file = single ? zip_fopen_index(zip, 0, 0) : nullptr;
    if (file != nullptr) {
        std::string text(stat.size, '\0');
        if (zip_fread(file, text.data(), text.size()) == zip_int64_t(text.size())) content = text;
        if (zip_fclose(file) != 0) content.reset();  // a CRC mismatch shows here
    }
    zip_discard(zip);
    return content;
}

std::uint64_t Counter(ServerProcess& server, const char* group, const char* name) {
    return server.Statistics()["cameras"][0][group][name].get<std::uint64_t>();
}

// Counters the server updates on its own threads after the host saw the effect.
std::uint64_t WaitForCounter(ServerProcess& server, const char* group, const char* name, std::uint64_t atLeast) {
    std::uint64_t value = 0;
    for (int poll = 0; poll < 60 && (value = Counter(server, group, name)) < atLeast; ++poll)
        std::this_thread::sleep_for(50ms);
    return value;
}

// Control without a heartbeat to keep up, for tests about something else.
bool TakeControlQuietly(GvcpClient& client) {
    return client.TakeControl().Succeeded() && client.WriteRegister(Reg::gvcpConfiguration, kHeartbeatOff).Succeeded();
}

bool OpenMessageChannel(GvcpClient& client, const MessageChannelListener& listener) {
    const std::vector<GigE::RegisterWrite> channel = {{Reg::messageChannelDestinationAddress, kHost},
                                                      {Reg::messageChannelPort, listener.Port()}};
    // EventSelector starts at ExposureEnd.
    return SetFeature(client, "EventNotification", 1).Succeeded() && client.WriteRegisters(channel).Succeeded();
}

// Opens stream channel 0 to the receiver and starts a small acquisition (64 x 4 at 30 Hz).
bool StartStream(GvcpClient& client, const GvspReceiver& receiver) {
    const std::uint32_t channel = Reg::streamChannel(0);
    return client.WriteRegister(channel + Reg::StreamChannelOffset::destinationAddress, kHost).Succeeded() &&
           client.WriteRegister(channel + Reg::StreamChannelOffset::port, receiver.Port()).Succeeded() &&
           SetFeature(client, "Width", 64).Succeeded() && SetFeature(client, "Height", 4).Succeeded() &&
           SetFeature(client, "AcquisitionStart", 1).Succeeded();
}

std::uint64_t ReadTicks(GvcpClient& client, std::uint32_t high, std::uint32_t low) {
    const auto reply = client.ReadRegisters({high, low});
    return reply.Succeeded() ? std::uint64_t(reply.Value(0)) << 32 | reply.Value(1) : 0;
}

std::optional<GigE::Status> RawAnswer(GvcpClient& client, const std::vector<std::uint8_t>& datagram) {
    client.SendRaw(datagram);
    const auto received = client.ReceiveRaw(300ms);
    if (!received) return std::nullopt;
    const auto acknowledge = GigE::parseAcknowledge(received->bytes);
    return acknowledge ? std::optional(acknowledge->header.status) : std::nullopt;
}

TEST(ControlChannel, DiscoveryDescribesTheCameraAndForceIpMovesOnlyTheOneAddressed) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server({"--camera", "VM1280M-0001@10.42.0.11", "--camera", "VC2448C-0001@10.42.0.12"});
    GvcpClient host(kHost);
    const GigE::Ipv4Address moved = ParseIpv4("10.42.0.19");
    const auto find = [](const std::vector<DiscoveredDevice>& devices, const std::string& serial) {
        const auto found = std::find_if(devices.begin(), devices.end(), [&](const DiscoveredDevice& device) {
            return device.description.serialNumber == serial;
        });
        return found == devices.end() ? std::optional<DiscoveredDevice>() : *found;
    };

    const auto all = host.Discover(limitedBroadcast, 500ms);
    EXPECT_EQ(all.size(), 2u);
    const auto mono = find(all, "VM1280M-0001");
    ASSERT_TRUE(mono);
    const GigE::MacAddress mac = {0x02, 0x56, 0x49, 0x52, 0x00, 0xA2};
    EXPECT_EQ(mono->description.modelName, Model().Model().modelName);
    EXPECT_EQ(mono->description.macAddress, mac);
    EXPECT_EQ(mono->description.ipAddress, kCamera);
    EXPECT_EQ(mono->description.subnetMask, 0xFFFFFF00u);
    EXPECT_EQ(mono->sourceAddress, kCamera);
    EXPECT_EQ(mono->sourcePort, GigE::gvcpPort);

    // Unicast discovery reaches the camera at that address only; an address without one is silent.
    const auto unicast = host.Discover(kCamera, 300ms);
    ASSERT_EQ(unicast.size(), 1u);
    EXPECT_EQ(unicast[0].description.serialNumber, "VM1280M-0001");

    // A FORCEIP for a MAC no camera has is no one's business.
    GigE::MacAddress stranger = mac;
    stranger[5] = 0x77;
    EXPECT_FALSE(host.ForceIp(stranger, moved, 0xFFFFFF00, 0).Acknowledged());
    EXPECT_EQ(find(host.Discover(limitedBroadcast, 500ms), "VM1280M-0001")->description.ipAddress, kCamera);

    ASSERT_TRUE(host.ForceIp(mac, moved, 0xFFFFFF00, 0).Succeeded());
    const auto after = host.Discover(limitedBroadcast, 500ms);
    const auto movedMono = find(after, "VM1280M-0001"), colour = find(after, "VC2448C-0001");
    ASSERT_TRUE(movedMono && colour);
    EXPECT_EQ(movedMono->description.ipAddress, moved);
    EXPECT_EQ(movedMono->sourceAddress, moved);
    EXPECT_EQ(colour->description.ipAddress, ParseIpv4("10.42.0.12"));

    GvcpClient there(kHost, moved);
    EXPECT_EQ(there.ReadRegister(Reg::currentIpAddress).Value(), moved);
    GvcpClient old(kHost, kCamera, {100ms, 2});
    EXPECT_FALSE(old.ReadRegister(Reg::version).Acknowledged());

    // Its channels go out from the new address too, the message channel's events as well.
    MessageChannelListener listener(kHost);
    GvspReceiver receiver(kHost);
    ASSERT_TRUE(TakeControlQuietly(there) && OpenMessageChannel(there, listener) && StartStream(there, receiver));
    const auto events = listener.Receive(1, 2s);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].sourceAddress, moved);
    EXPECT_EQ(events[0].sourcePort, there.ReadRegister(Reg::messageChannelSourcePort).Value());

    // Unicast to an address of the host without a camera (or a camera's old one) is no broadcast.
    EXPECT_TRUE(host.Discover(ParseIpv4("10.42.0.13"), 300ms).empty()) << "an address without a camera answers";
    EXPECT_TRUE(host.Discover(kCamera, 300ms).empty()) << "the old address still answers discovery";
}

TEST(ControlChannel, ExposureEndEventsAreDeliveredAcknowledgedAndRetried) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server(kMonoServer);
    GvcpClient host(kHost, kCamera);
    MessageChannelListener listener(kHost);
    GvspReceiver receiver(kHost);
    ASSERT_TRUE(TakeControlQuietly(host) && OpenMessageChannel(host, listener) && StartStream(host, receiver));
    const auto events = listener.Receive(6, 3s);
    const auto blocks = receiver.ReceiveBlocks(6, 3s);
    ASSERT_TRUE(SetFeature(host, "AcquisitionStop", 1).Succeeded());

    ASSERT_EQ(events.size(), 6u);
    const std::uint32_t sourcePort = host.ReadRegister(Reg::messageChannelSourcePort).Value();
    for (std::size_t index = 0; index < events.size(); ++index) {
        const ReceivedEvent& event = events[index];
        SCOPED_TRACE(index);
        EXPECT_TRUE(event.eventData && event.acknowledgeRequested);
        EXPECT_EQ(event.sourceAddress, kCamera);
        EXPECT_EQ(event.sourcePort, sourcePort);
        ASSERT_EQ(event.items.size(), 1u);
        EXPECT_EQ(event.items[0].eventId, 0x9001);
        ASSERT_GE(event.data.size(), 8u);
        if (index == 0) continue;
        const ReceivedEvent& previous = events[index - 1];
        EXPECT_EQ(GigE::readUint64(event.data, 0), GigE::readUint64(previous.data, 0) + 1) << "frame ids in the data";
        EXPECT_GT(event.items[0].timestamp, previous.items[0].timestamp);
        EXPECT_NE(event.requestId, previous.requestId);
    }
    // The event names the block of its frame, with the frame's timestamp.
    int matched = 0;
    for (const ReceivedBlock& block : blocks)
        for (const ReceivedEvent& event : events)
            if (block.leader && event.items[0].blockId == (block.blockId & 0xFFFF)) {
                EXPECT_EQ(event.items[0].timestamp, block.ImageLeader()->prefix.timestamp);
                ++matched;
            }
    EXPECT_GE(matched, 3);
    EXPECT_GE(WaitForCounter(server, "messages", "acknowledged", 6), 6u);
    EXPECT_EQ(Counter(server, "messages", "retries"), 0u);

    // Unanswered, an event goes MCRC more times, MCTT apart, and is then given up.
    listener.Receive(1000, 500ms);  // the rest of the acquisition's events
    const std::uint64_t acknowledged = Counter(server, "messages", "acknowledged");
    listener.SetAcknowledge(false);
    ASSERT_TRUE(host.WriteRegisters({{Reg::messageChannelTransmissionTimeout, 250}, {Reg::messageChannelRetryCount, 3}})
                    .Succeeded());
    ASSERT_TRUE(SetFeature(host, "AcquisitionMode", 1).Succeeded());  // single frame: one event
    ASSERT_TRUE(SetFeature(host, "AcquisitionStart", 1).Succeeded());
    std::vector<ReceivedEvent> sends;
    std::vector<Clock::time_point> arrivals;
    for (auto got = listener.Receive(1, 1s); !got.empty() && sends.size() < 6; got = listener.Receive(1, 1s)) {
        sends.push_back(got[0]);
        arrivals.push_back(Clock::now());
    }
    ASSERT_EQ(sends.size(), 4u) << "the first send and three retries";
    for (const ReceivedEvent& send : sends) {
        EXPECT_EQ(send.requestId, sends[0].requestId);
        EXPECT_EQ(send.data, sends[0].data);
    }
    EXPECT_GE(arrivals.back() - arrivals.front(), 3 * 250ms / 2) << "retries must wait for MCTT";
    EXPECT_EQ(WaitForCounter(server, "messages", "unacknowledged", 1), 1u);
    EXPECT_EQ(Counter(server, "messages", "retries"), 3u);
    EXPECT_EQ(Counter(server, "messages", "acknowledged"), acknowledged);
}

TEST(ControlChannel, ActionsTriggerOneFrameOnlyWithMatchingKeysAndOnTime) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server(kMonoServer);
    GvcpClient host(kHost, kCamera);
    GvspReceiver receiver(kHost);
    constexpr std::uint32_t device = 0x1234ABCD, group = 0x42, mask = 0x0F;
    ASSERT_TRUE(TakeControlQuietly(host));
    ASSERT_TRUE(host.WriteRegisters({{Reg::actionDeviceKey, device}, {Reg::actionGroupKey(0), group},
                                     {Reg::actionGroupMask(0), mask}})
                    .Succeeded());
    ASSERT_TRUE(SetFeature(host, "TriggerMode", 1).Succeeded());
    ASSERT_TRUE(SetFeature(host, "TriggerSource", 1).Succeeded());  // Action1
    ASSERT_TRUE(StartStream(host, receiver));
    // The status of the one acknowledge, or nothing when the camera kept silent.
    const auto act = [&](GigE::ActionCommand action) -> std::optional<Status> {
        const auto acknowledges = host.SendAction(action, kCamera, true, 300ms);
        EXPECT_LE(acknowledges.size(), 1u);
        return acknowledges.empty() ? std::nullopt : std::optional(acknowledges[0].status);
    };

    EXPECT_EQ(act({device, group, 0x1, {}}), Status::Success);
    EXPECT_EQ(receiver.ReceiveBlocks(2, 800ms).size(), 1u) << "one action, one frame";
    EXPECT_FALSE(act({device ^ 1, group, mask, {}})) << "wrong device key";
    EXPECT_FALSE(act({device, group + 1, mask, {}})) << "wrong group key";
    EXPECT_FALSE(act({device, group, 0x10, {}})) << "a mask without common bits";
    EXPECT_TRUE(receiver.ReceiveBlocks(1, 500ms).empty()) << "an action with wrong keys fired";

    host.SendAction({device, group, 0x8, {}}, limitedBroadcast, false, 0ms);
    EXPECT_EQ(receiver.ReceiveBlocks(2, 800ms).size(), 1u) << "a broadcast action without acknowledge";

    // Scheduled: device ticks from the latched device clock, at the tick frequency it reports.
    const std::uint64_t frequency = ReadTicks(host, Reg::timestampTickFrequencyHigh, Reg::timestampTickFrequencyLow);
    ASSERT_GT(frequency, 0u);
    ASSERT_TRUE(host.WriteRegister(Reg::timestampControl, Reg::TimestampControl::latch).Succeeded());
    const std::uint64_t latched = ReadTicks(host, Reg::timestampValueHigh, Reg::timestampValueLow);
    ASSERT_GT(latched, 0u);
    const std::uint64_t due = latched + frequency * 400 / 1000;
    EXPECT_EQ(act({device, group, mask, due}), Status::Success);
    const auto scheduled = receiver.ReceiveBlocks(2, 2000ms);
    ASSERT_EQ(scheduled.size(), 1u) << "a scheduled action fires once";
    ASSERT_NE(scheduled[0].ImageLeader(), nullptr);
    EXPECT_GE(scheduled[0].ImageLeader()->prefix.timestamp, due) << "fired before its time";

    ASSERT_TRUE(host.WriteRegister(Reg::timestampControl, Reg::TimestampControl::latch).Succeeded());
    const std::uint64_t past = ReadTicks(host, Reg::timestampValueHigh, Reg::timestampValueLow) - frequency / 10;
    EXPECT_EQ(act({device, group, mask, past}), Status::ActionLate);
}

TEST(ControlChannel, OnlyThePrimaryWritesAndExclusiveAccessShutsOutMonitors) {
    REQUIRE_CAMERA_NETWORK();
    namespace Ccp = Reg::ControlChannelPrivilege;
    const std::vector<std::uint8_t> width = {0, 0, 0, 0, 0, 0, 0, 64};
    {
        ServerProcess server(kMonoServer);
        GvcpClient a(kHost, kCamera), b(kHost, kCamera);
        ASSERT_TRUE(TakeControlQuietly(a));
        EXPECT_EQ(b.ReadRegister(Reg::controlChannelPrivilege).Value(), Ccp::controlAccess);
        EXPECT_TRUE(b.ReadMemory(Reg::modelName, 32).Succeeded());
        EXPECT_EQ(b.WriteRegister(Reg::heartbeatTimeout, 5000).status, Status::AccessDenied);
        EXPECT_EQ(b.WriteMemory(FeatureAddress("Width"), width).status, Status::AccessDenied);
        EXPECT_EQ(b.TakeControl(true).status, Status::AccessDenied);
        EXPECT_EQ(b.ReleaseControl().status, Status::AccessDenied);
        EXPECT_EQ(a.ReadRegister(Reg::heartbeatTimeout).Value(), Reg::defaultHeartbeatTimeoutMs);
        EXPECT_TRUE(a.WriteMemory(FeatureAddress("Width"), width).Succeeded()) << "the primary lost control";

        ASSERT_TRUE(a.TakeControl(true).Succeeded());
        EXPECT_EQ(a.ReadRegister(Reg::controlChannelPrivilege).Value(), Ccp::exclusiveAccess);
        EXPECT_EQ(b.ReadRegister(Reg::version).status, Status::AccessDenied);
        EXPECT_EQ(b.ReadMemory(Reg::modelName, 32).status, Status::AccessDenied);
        EXPECT_EQ(b.Discover(kCamera, 300ms).size(), 1u) << "discovery is for everyone";

        ASSERT_TRUE(a.ReleaseControl().Succeeded());
        EXPECT_EQ(b.ReadRegister(Reg::controlChannelPrivilege).Value(), 0u);
        ASSERT_TRUE(b.TakeControl().Succeeded());
        EXPECT_EQ(a.ReadRegister(Reg::primaryApplicationPort).Value(), b.LocalPort());
        EXPECT_EQ(a.WriteMemory(FeatureAddress("Width"), width).status, Status::AccessDenied);
    }
    ServerProcess refusing({"--camera", "VM1280M-0001@10.42.0.11", "--refuse-control"});
    GvcpClient host(kHost, kCamera);
    EXPECT_EQ(host.TakeControl().status, Status::AccessDenied);
    EXPECT_EQ(host.ReadRegister(Reg::controlChannelPrivilege).Value(), 0u);
    EXPECT_EQ(host.WriteMemory(FeatureAddress("Width"), width).status, Status::AccessDenied);
}

TEST(ControlChannel, ASilentPrimaryLosesControlAndItsStreamUnlessTheHeartbeatIsDisabled) {
    REQUIRE_CAMERA_NETWORK();
    namespace Ccp = Reg::ControlChannelPrivilege;
    ServerProcess server(kMonoServer);
    GvcpClient a(kHost, kCamera), b(kHost, kCamera);
    GvspReceiver receiver(kHost);
    ASSERT_TRUE(a.TakeControl().Succeeded());
    // A timeout too short to keep up with is raised to the device's minimum (or refused).
    a.WriteRegister(Reg::heartbeatTimeout, 100);
    EXPECT_GE(a.ReadRegister(Reg::heartbeatTimeout).Value(), 500u);
    ASSERT_TRUE(a.WriteRegister(Reg::heartbeatTimeout, 600).Succeeded());
    ASSERT_TRUE(StartStream(a, receiver));
    ASSERT_EQ(receiver.ReceiveBlocks(2, 2s).size(), 2u);

    // A says nothing more; B only watches, which must not count as A's heartbeat.
    std::uint32_t privilege = Ccp::controlAccess;
    for (int poll = 0; poll < 60 && privilege != 0; ++poll) {
        std::this_thread::sleep_for(50ms);
        privilege = b.ReadRegister(Reg::controlChannelPrivilege).Value();
    }
    ASSERT_EQ(privilege, 0u) << "control survived a silent primary";
    EXPECT_EQ(Counter(server, "control", "heartbeatExpiries"), 1u);
    EXPECT_EQ(b.ReadRegister(Reg::streamChannel(0) + Reg::StreamChannelOffset::port).Value(), 0u);
    receiver.ReceiveBlocks(100, 300ms);  // what was on its way
    receiver.Flush();
    const std::uint64_t packets = receiver.Counters().packetsReceived;
    receiver.ReceiveBlocks(1, 600ms);
    EXPECT_EQ(receiver.Counters().packetsReceived, packets) << "the stream went on without its primary";

    ASSERT_TRUE(b.TakeControl().Succeeded());
    EXPECT_EQ(a.WriteRegister(Reg::heartbeatTimeout, 3000).status, Status::AccessDenied);
    ASSERT_TRUE(b.WriteRegister(Reg::heartbeatTimeout, 600).Succeeded());
    b.StartHeartbeat(150ms);
    std::this_thread::sleep_for(1500ms);
    b.StopHeartbeat();
    EXPECT_FALSE(b.ControlLost());
    EXPECT_EQ(a.ReadRegister(Reg::controlChannelPrivilege).Value(), Ccp::controlAccess) << "lost despite heartbeats";

    ASSERT_TRUE(b.WriteRegister(Reg::gvcpConfiguration, kHeartbeatOff).Succeeded());
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(a.ReadRegister(Reg::controlChannelPrivilege).Value(), Ccp::controlAccess);
    EXPECT_EQ(Counter(server, "control", "heartbeatExpiries"), 1u);
}

TEST(ControlChannel, BadRequestsGetTheirStatusAndNeverHurtTheServer) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server(kMonoServer);
    GvcpClient host(kHost, kCamera);
    ASSERT_TRUE(TakeControlQuietly(host));
    const std::uint32_t version = host.ReadRegister(Reg::version).Value();

    EXPECT_EQ(host.ReadRegister(0x0100).status, Status::InvalidAddress);
    EXPECT_EQ(host.ReadRegister(0x0002).status, Status::BadAlignment);
    EXPECT_EQ(host.ReadRegisters({Reg::version, 0x0100}).status, Status::InvalidAddress);
    const std::uint32_t beyond = std::uint32_t(VirtualGenTL::VirtualCamera::kRegisterBase +
                                               Model().Registers().GetDescription().RegisterBytes() + 0x100);
    EXPECT_EQ(host.ReadRegister(beyond).status, Status::InvalidAddress);
    EXPECT_EQ(host.WriteRegister(beyond, 1).status, Status::InvalidAddress);

    // Writes run in order and stop at the first refused one, whose index the answer gives.
    const auto writes = host.WriteRegisters(
        {{Reg::heartbeatTimeout, 4000}, {Reg::discoveryAckDelay, 0}, {Reg::version, 1}, {Reg::heartbeatTimeout, 5000}});
    EXPECT_EQ(writes.status, Status::WriteProtect);
    EXPECT_EQ(writes.index, std::optional<std::uint16_t>(2));
    EXPECT_EQ(host.ReadRegister(Reg::heartbeatTimeout).Value(), 4000u);
    EXPECT_EQ(host.ReadRegister(Reg::version).Value(), version);
    const std::uint32_t sensorWidth = FeatureAddress("SensorWidth");
    EXPECT_EQ(host.WriteRegister(sensorWidth + 4, 5).status, Status::WriteProtect);
    EXPECT_EQ(host.WriteMemory(sensorWidth, {0, 0, 0, 0, 0, 0, 0, 5}).status, Status::WriteProtect);
    EXPECT_EQ(GigE::readUint64(host.ReadMemory(sensorWidth, 8).data, 0), 1280u);

    // The description file, read in pieces as a host does, is a whole zip of the camera's XML.
    const auto url = GigE::DescriptionUrl::parseRegister(host.ReadMemory(Reg::firstUrl, Reg::urlSize).data);
    ASSERT_TRUE(url && url->zipped());
    ASSERT_EQ(url->length, Model().Registers().FileSize());
    std::vector<std::uint8_t> file;
    while (file.size() < url->length) {
        const auto count = std::uint16_t(std::min<std::size_t>(512, (url->length - file.size() + 3) / 4 * 4));
        const auto piece = host.ReadMemory(url->address + std::uint32_t(file.size()), count);
        ASSERT_TRUE(piece.Succeeded()) << file.size();
        file.insert(file.end(), piece.data.begin(), piece.data.end());
    }
    file.resize(url->length);
    EXPECT_EQ(Unzip(file), std::optional(Model().Registers().GetDescription().Xml()));
    EXPECT_EQ(host.ReadMemory(url->address + (url->length + 3) / 4 * 4, 4).status, Status::InvalidAddress);

    // Malformed datagrams: an error status or silence, never success, never a crash.
    const auto datagram = [&](std::uint8_t key, std::uint16_t command, std::uint16_t length, std::size_t payload) {
        std::vector<std::uint8_t> bytes = GigE::encodeCommand(0x01, command, host.NextRequestId());
        bytes[0] = key;
        bytes[4] = std::uint8_t(length >> 8), bytes[5] = std::uint8_t(length);
        bytes.resize(8 + payload);
        return bytes;
    };
    EXPECT_FALSE(RawAnswer(host, {0x42, 0x01, 0x00}));                     // shorter than a header
    EXPECT_FALSE(RawAnswer(host, datagram(0x43, 0x0080, 4, 4)));           // not a command key
    for (const auto& bad : {datagram(0x42, 0x0080, 8, 4),                  // length beyond the datagram
                            datagram(0x42, 0x0080, 600, 600),              // beyond the largest payload
                            datagram(0x42, 0x0080, 0, 0),                  // READREG of nothing
                            datagram(0x42, 0x0084, 8, 8),                  // READMEM of 0 bytes
                            datagram(0x42, 0x0040, 4, 4)}) {               // PACKETRESEND too short
        const auto status = RawAnswer(host, bad);
        EXPECT_TRUE(!status || GigE::isError(*status)) << std::hex << GigE::readUint16(bad, 2);
    }
    EXPECT_EQ(host.ReadMemory(Reg::firstUrl, 600).status, Status::InvalidParameter);
    EXPECT_EQ(host.Exchange(0x1234, std::vector<std::uint8_t>(4)).status, Status::NotImplemented);

    EXPECT_EQ(host.Discover(kCamera, 300ms).size(), 1u);
    EXPECT_EQ(host.ReadRegister(Reg::controlChannelPrivilege).Value(), Reg::ControlChannelPrivilege::controlAccess);
    EXPECT_EQ(server.Stop(), 0) << server.Output();
}

TEST(ControlChannel, InjectedControlFaultsLeaveTheProtocolIntact) {
    REQUIRE_CAMERA_NETWORK();
    {
        // Half the acknowledges lost: retries get the cached answer, nothing runs twice. Each
        // software trigger that ran twice would be a second frame.
        ServerProcess server({"--camera", "VM1280M-0001@10.42.0.11", "--drop-acks", "0.5", "--seed", "11"});
        GvcpClient host(kHost, kCamera, {100ms, 12});
        GvspReceiver receiver(kHost);
        ASSERT_TRUE(TakeControlQuietly(host));
        ASSERT_TRUE(SetFeature(host, "TriggerMode", 1).Succeeded());
        ASSERT_TRUE(SetFeature(host, "TriggerSource", 0).Succeeded());  // software
        ASSERT_TRUE(StartStream(host, receiver));
        for (int trigger = 0; trigger < 10; ++trigger) EXPECT_TRUE(SetFeature(host, "TriggerSoftware", 1).Succeeded());
        EXPECT_EQ(receiver.ReceiveBlocks(11, 2s).size(), 10u);
        const GvcpCounters counters = host.Counters();
        ASSERT_EQ(counters.commandsTimedOut, 0u);
        EXPECT_GT(counters.retries, 0u);
        EXPECT_EQ(Counter(server, "control", "retriesReplayed"), counters.retries);
        // Every retry answers one withheld acknowledge, and every command got one through.
        EXPECT_EQ(Counter(server, "control", "acknowledgesWithheld"), counters.retries);
        EXPECT_EQ(Counter(server, "control", "acknowledges"), counters.commandsSent);

        // A retry that comes after another host's command is still a retry, not a new trigger.
        GvcpClient monitor(kHost, kCamera, {100ms, 12});
        const GigE::WriteMemoryCommand trigger = FeatureWrite("TriggerSoftware", 1);
        const std::vector<std::uint8_t> datagram = trigger.encode(host.NextRequestId());
        host.SendRaw(datagram);
        EXPECT_TRUE(monitor.ReadRegister(Reg::version).Succeeded());
        host.SendRaw(datagram);
        EXPECT_EQ(receiver.ReceiveBlocks(2, 1s).size(), 1u) << "the retry ran the command again";
        EXPECT_EQ(Counter(server, "control", "retriesReplayed"), counters.retries + monitor.Counters().retries + 1);
    }
    {
        // Slower than the pending timeout (500 ms): PENDING_ACK keeps the host from retrying.
        ServerProcess server({"--camera", "VM1280M-0001@10.42.0.11", "--slow-ms", "800"});
        GvcpClient host(kHost, kCamera, {200ms, 3});
        const auto pending = host.ReadRegister(Reg::pendingTimeout);
        ASSERT_TRUE(pending.Succeeded());
        EXPECT_EQ(pending.Value(), 500u);
        EXPECT_GT(pending.pendingAcknowledges, 0);
        const auto control = host.TakeControl();
        EXPECT_TRUE(control.Succeeded() && control.pendingAcknowledges > 0);
        EXPECT_EQ(host.Counters().retries, 0u);
        EXPECT_EQ(Counter(server, "control", "pendingAcknowledges"), 2u);
    }
    // Unplugged after a while: first everything works, then nothing answers or streams.
    const auto start = Clock::now();
    ServerProcess server({"--camera", "VM1280M-0001@10.42.0.11", "--silent-after-ms", "2500"});
    GvcpClient host(kHost, kCamera, {100ms, 2});
    GvspReceiver receiver(kHost);
    ASSERT_EQ(host.Discover(kCamera, 300ms).size(), 1u);
    ASSERT_TRUE(TakeControlQuietly(host));
    ASSERT_TRUE(StartStream(host, receiver));
    ASSERT_EQ(receiver.ReceiveBlocks(2, 1s).size(), 2u);
    std::this_thread::sleep_until(start + 2700ms);
    receiver.ReceiveBlocks(100, 200ms);
    receiver.Flush();
    const std::uint64_t packets = receiver.Counters().packetsReceived;
    EXPECT_TRUE(host.Discover(kCamera, 300ms).empty());
    EXPECT_TRUE(host.Discover(limitedBroadcast, 300ms).empty());
    EXPECT_FALSE(host.ReadRegister(Reg::controlChannelPrivilege).Acknowledged());
    receiver.ReceiveBlocks(1, 500ms);
    EXPECT_EQ(receiver.Counters().packetsReceived, packets) << "a silent camera still streams";
}

} // namespace
