// One virtual camera served as a GigE Vision device: its control channel on UDP 3956 of its
// own address (commands, privilege, heartbeat), its message channel and its stream channels.
// Broadcasts reach it through the Server, which hands each one to every camera.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <GigE/GvcpCommand.h>

#include "FaultInjection.h"
#include "MessageChannel.h"
#include "StreamChannel.h"
#include <Net/UdpSocket.h>
#include "camera/VirtualCamera.h"

namespace GvCamera {

struct ControlStatistics {
    std::uint64_t commands = 0;
    std::uint64_t acknowledges = 0;
    std::uint64_t acknowledgesWithheld = 0;  // by the fault injection
    std::uint64_t pendingAcknowledges = 0;
    std::uint64_t retriesReplayed = 0;       // a repeated request id answered from the cache
    std::uint64_t errors = 0;                // acknowledges with an error status
    std::uint64_t heartbeatExpiries = 0;
    std::uint64_t actionsFired = 0;
};

class DeviceServer {
public:
    DeviceServer(std::shared_ptr<VirtualGenTL::VirtualCamera> camera, const FaultSettings& faults,
                 std::size_t resendBlocks);
    ~DeviceServer();
    DeviceServer(const DeviceServer&) = delete;
    DeviceServer& operator=(const DeviceServer&) = delete;

    // A datagram that arrived on the shared broadcast socket.
    void Broadcast(std::vector<std::uint8_t> datagram, const sockaddr_in& from);

    VirtualGenTL::VirtualCamera& Camera() { return *m_camera; }
    ControlStatistics Statistics() const;
    StreamStatistics StreamChannelStatistics(std::uint32_t channel) const;
    MessageStatistics MessageChannelStatistics() const;
    std::uint32_t StreamChannelCount() const { return std::uint32_t(m_streams.size()); }

private:
    struct Requester {
        std::uint32_t ip = 0;
        std::uint16_t port = 0;
        bool operator==(const Requester&) const = default;
    };
    struct Inbound {
        std::vector<std::uint8_t> datagram;
        sockaddr_in from{};
        bool broadcast = false;
    };
    struct ScheduledAction {
        std::uint64_t time;  // device ticks
    };

    void Run();
    void Handle(const Inbound& inbound);
    void Answer(const GigE::CommandHeader& header, GigE::Status status, GigE::Bytes payload, const sockaddr_in& to,
                bool broadcastFallback = false);
    void Send(std::span<const std::uint8_t> datagram, const sockaddr_in& to, bool broadcastFallback);
    void ExpireHeartbeat();
    void ReleaseControl(bool expired);
    bool MayRead(const Requester& requester) const;
    bool MayWrite(const Requester& requester) const;
    GigE::Status ReadWord(std::uint32_t address, std::uint32_t& value);
    GigE::Status WriteWord(std::uint32_t address, std::uint32_t value, const Requester& requester);
    GigE::Status WriteControlPrivilege(std::uint32_t value, const Requester& requester);
    GigE::Status ReadBlock(std::uint32_t address, std::uint8_t* data, std::size_t size);
    void AfterBootstrapWrite(std::uint32_t address);
    GigE::Status Act(const GigE::ActionCommand& action, bool& matched);
    void FireAction();
    void RunDueActions();
    void Rebind(std::uint32_t ip);

    std::shared_ptr<VirtualGenTL::VirtualCamera> m_camera;
    FaultInjector m_faults;
    std::unique_ptr<Net::UdpSocket> m_control;
    int m_wake[2] = {-1, -1};  // a pipe: the broadcast listener wakes the control thread
    std::vector<std::unique_ptr<StreamChannel>> m_streams;
    std::unique_ptr<MessageChannel> m_messages;

    mutable std::mutex m_inboxMutex;  // guards m_inbox, m_quit
    std::deque<Inbound> m_inbox;
    bool m_quit = false;

    // Control thread only, except the statistics (under m_statisticsMutex).
    std::optional<Requester> m_primary;
    std::chrono::steady_clock::time_point m_lastHeartbeat;
    struct CachedAnswer {
        Requester requester;
        std::uint16_t requestId = 0;
        std::uint16_t command = 0;
        std::vector<std::uint8_t> datagram;  // empty when nothing was sent
    };
    // The last answer to each of the most recent requesters: a host's retry must find its answer
    // even when another host (a monitor, a heartbeat from elsewhere) spoke in between.
    std::deque<CachedAnswer> m_lastAnswers;
    const CachedAnswer* LastAnswer(const Requester& requester) const;
    std::vector<ScheduledAction> m_scheduled;
    mutable std::mutex m_statisticsMutex;
    ControlStatistics m_statistics;
    std::thread m_thread;
};

} // namespace GvCamera
