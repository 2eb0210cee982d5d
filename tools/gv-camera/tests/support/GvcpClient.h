// A small GigE Vision host for tests: discovery, one control session to one device, and
// the things a full consumer never does on purpose (malformed datagrams, wrong privilege,
// watching retries and PENDING_ACK). Every datagram is built and read by gentl_gige.
#ifndef VIREO_GV_CAMERA_TEST_GVCP_CLIENT_H
#define VIREO_GV_CAMERA_TEST_GVCP_CLIENT_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <GigE/ActionCommand.h>
#include <GigE/Discovery.h>
#include <GigE/GvcpHeader.h>
#include <GigE/RegisterAccess.h>

#include "HostUdpSocket.h"

namespace GvCameraTest {

struct GvcpClientOptions {
    Milliseconds acknowledgeTimeout{200};
    int attempts = 3; // sends of one command, the first included
    // Ids run from here, wrapping 0xFFFF to 1, so tests can cross the wrap on purpose.
    std::uint16_t firstRequestId = 1;
};

// What came back for one command.
struct GvcpReply {
    // Absent when no acknowledge arrived in any attempt.
    std::optional<GigE::Status> status;
    GigE::AcknowledgeHeader header;
    std::vector<std::uint8_t> payload;
    std::uint16_t requestId = 0;
    int attempts = 0;          // sends it took, retries included
    int pendingAcknowledges = 0;

    bool Acknowledged() const { return status.has_value(); }
    bool Succeeded() const { return status == GigE::Status::Success; }
};

struct ReadRegistersReply : GvcpReply {
    std::vector<std::uint32_t> values; // empty unless the read succeeded
    std::uint32_t Value(std::size_t index = 0) const { return values.at(index); }
};

struct WriteRegistersReply : GvcpReply {
    std::optional<std::uint16_t> index; // writes completed, when the acknowledge carries it
};

struct ReadMemoryReply : GvcpReply {
    std::vector<std::uint8_t> data;
};

struct DiscoveredDevice {
    GigE::DiscoveryAcknowledge description;
    GigE::Ipv4Address sourceAddress = 0;
    std::uint16_t sourcePort = 0;
    std::uint16_t acknowledgeId = 0;
};

struct ActionAcknowledge {
    GigE::Ipv4Address sourceAddress = 0;
    GigE::Status status = GigE::Status::Success;
};

// Protected by the client's command lock; read through Counters().
struct GvcpCounters {
    std::uint64_t commandsSent = 0;      // first sends, not retries
    std::uint64_t retries = 0;           // sends repeated after an acknowledge timeout
    std::uint64_t acknowledgesReceived = 0; // acknowledges of the outstanding command, PENDING_ACK included
    std::uint64_t pendingAcknowledges = 0;
    std::uint64_t staleAcknowledgesDropped = 0; // wrong id, wrong sender, or not an acknowledge
    std::uint64_t commandsTimedOut = 0;  // no acknowledge in any attempt
};

class GvcpClient {
public:
    // Binds a control socket to localAddress (ephemeral port), for commands to deviceAddress;
    // a deviceAddress of 0 leaves the client for discovery and broadcasts only.
    explicit GvcpClient(GigE::Ipv4Address localAddress, GigE::Ipv4Address deviceAddress = 0,
                        GvcpClientOptions options = {});
    GvcpClient(const GvcpClient&) = delete;
    GvcpClient& operator=(const GvcpClient&) = delete;
    ~GvcpClient(); // stops the heartbeat; does not release control (tests may want it held)

    GigE::Ipv4Address LocalAddress() const { return m_socket.LocalAddress(); }
    std::uint16_t LocalPort() const { return m_socket.LocalPort(); }
    GvcpCounters Counters() const;

    // Sends one DISCOVERY_CMD to address:3956 (a broadcast or one device) and collects every
    // DISCOVERY_ACK with its id until the timeout; datagrams that do not parse are counted
    // as stale and dropped.
    std::vector<DiscoveredDevice> Discover(GigE::Ipv4Address address, Milliseconds timeout,
                                           bool allowBroadcastAcknowledge = false);

    ReadRegistersReply ReadRegister(std::uint32_t address);
    ReadRegistersReply ReadRegisters(const std::vector<std::uint32_t>& addresses);
    WriteRegistersReply WriteRegister(std::uint32_t address, std::uint32_t value);
    WriteRegistersReply WriteRegisters(const std::vector<GigE::RegisterWrite>& writes);
    ReadMemoryReply ReadMemory(std::uint32_t address, std::uint16_t count);
    GvcpReply WriteMemory(std::uint32_t address, const std::vector<std::uint8_t>& data);
    // Any command, with the session's ids, retries and PENDING_ACK handling: for codes and
    // payloads the typed calls cannot express.
    GvcpReply Exchange(std::uint16_t commandCode, GigE::Bytes payload,
                       std::uint8_t flags = GigE::CommandFlag::acknowledge);

    // FORCEIP to address (normally the limited broadcast); the acknowledge, if any, is
    // accepted from any sender, since the device may answer from its new address.
    GvcpReply ForceIp(const GigE::MacAddress& mac, GigE::Ipv4Address ip, GigE::Ipv4Address mask,
                      GigE::Ipv4Address gateway, GigE::Ipv4Address address = limitedBroadcast);
    // ACTION_CMD to address; with acknowledge set, collects the acknowledges of every device
    // that answers within the timeout.
    std::vector<ActionAcknowledge> SendAction(const GigE::ActionCommand& action, GigE::Ipv4Address address,
                                              bool acknowledge, Milliseconds timeout);

    // For malformed-input tests: bytes as they are, to the device's control port unless
    // another destination is given, and whatever arrives next on the control socket.
    bool SendRaw(GigE::Bytes bytes);
    bool SendRaw(GigE::Bytes bytes, GigE::Ipv4Address address, std::uint16_t port);
    std::optional<Datagram> ReceiveRaw(Milliseconds timeout);
    // The id the next command will carry; for hand-built datagrams that must look current.
    std::uint16_t NextRequestId();

    // Control privilege: CCP = 2 (control) or 1 (exclusive); ReleaseControl writes 0.
    WriteRegistersReply TakeControl(bool exclusive = false);
    WriteRegistersReply ReleaseControl();
    // Reads CCP every period on a thread, through this session (the device knows the
    // primary by address and port). Counts the beats and notices a lost privilege.
    void StartHeartbeat(Milliseconds period);
    void StopHeartbeat();
    // Set once a heartbeat read showed neither control nor exclusive access, or was denied.
    bool ControlLost() const { return m_controlLost.load(); }

private:
    GvcpReply Transact(std::vector<std::uint8_t> datagram, std::uint16_t requestId, std::uint16_t expectedAcknowledge);
    std::uint16_t TakeRequestId(); // under m_commandLock

    // One outstanding command per control channel: the heartbeat thread and the test share
    // the socket, and this lock keeps their commands (and raw exchanges) from interleaving.
    mutable std::mutex m_commandLock;
    HostUdpSocket m_socket;
    GigE::Ipv4Address m_deviceAddress = 0;
    std::uint16_t m_devicePort = GigE::gvcpPort;
    GvcpClientOptions m_options;
    std::uint16_t m_nextRequestId = 1;
    GvcpCounters m_counters;

    std::thread m_heartbeatThread;
    std::mutex m_heartbeatLock; // guards m_heartbeatStop for the thread's wait
    std::condition_variable m_heartbeatWake;
    bool m_heartbeatStop = false;
    std::atomic<std::uint64_t> m_heartbeats{0};
    std::atomic<std::uint64_t> m_heartbeatFailures{0};
    std::atomic<bool> m_controlLost{false};
};

} // namespace GvCameraTest

#endif
