// One GVSP stream channel of a served camera: while a host has opened it (a non-zero port in
// SCPn) and the camera acquires, each frame goes out as a block of packets (leader, payload,
// trailer) to SCDAn:SCPn, with the packet size, delay and id width the registers say. The last
// blocks stay in a resend buffer to answer PACKETRESEND.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <GigE/PacketResend.h>

#include "FaultInjection.h"
#include "PacketSender.h"
#include "StreamBlock.h"
#include <Net/UdpSocket.h>
#include "camera/EventSensor.h"
#include "camera/VirtualCamera.h"

namespace GvCamera {

struct StreamStatistics {
    std::uint64_t blocks = 0;
    std::uint64_t packetsSent = 0;      // first sends, resends not counted
    std::uint64_t packetsWithheld = 0;  // dropped on purpose by the fault injection
    std::uint64_t resendRequests = 0;
    std::uint64_t packetsResent = 0;
    std::uint64_t packetsUnavailable = 0;  // asked for but no longer (or never) held
    std::uint64_t testPackets = 0;
};

class StreamChannel {
public:
    StreamChannel(std::shared_ptr<VirtualGenTL::VirtualCamera> camera, std::uint32_t index, FaultInjector& faults,
                  std::size_t resendBlocks);
    ~StreamChannel();
    StreamChannel(const StreamChannel&) = delete;
    StreamChannel& operator=(const StreamChannel&) = delete;

    // After SCPn changed: a non-zero port opens the channel, zero closes it.
    void PortChanged();
    // The fire-test-packet bit: one datagram of exactly the packet size (IP level).
    void FireTestPacket();
    void Resend(const GigE::PacketResendCommand& request);
    void Close();  // as when the host writes 0 to SCPn
    StreamStatistics Statistics() const;

private:
    struct Destination {
        sockaddr_in address{};
        std::uint32_t packetSize = 0;
        bool doNotFragment = false;
        std::chrono::nanoseconds delay{0};
        bool extendedId = false;
        bool multiPart = false;
        std::uint32_t parts = 1;
    };
    std::optional<Destination> CurrentDestination() const;
    // Bound to the camera's current address; made again when that changed (FORCEIP).
    std::shared_ptr<Net::UdpSocket> Socket();
    void Run();
    void Send(const StreamBlock& block, const Destination& destination);
    std::shared_ptr<const StreamBlock> Find(std::uint64_t blockId, bool extendedId) const;
    std::uint64_t Width() const;
    std::uint64_t Height() const;

    std::shared_ptr<VirtualGenTL::VirtualCamera> m_camera;
    std::uint32_t m_index;
    std::uint32_t m_base;  // of the channel's registers
    FaultInjector& m_faults;
    std::size_t m_resendBlocks;

    mutable std::mutex m_mutex;  // guards the state below
    std::condition_variable m_changed;
    bool m_open = false;
    bool m_quit = false;
    std::shared_ptr<Net::UdpSocket> m_socket;
    std::deque<std::shared_ptr<StreamBlock>> m_sent;  // newest last
    std::vector<std::vector<std::uint8_t>> m_spare;   // memory of blocks that left m_sent
    StreamStatistics m_statistics;
    std::atomic<bool> m_interrupt{false};  // ends the camera's wait for a frame
    // The event-based sensor's channel sends its events, in the sensor's default output,
    // instead of images (stream thread only, but for the restart when the channel opens).
    std::unique_ptr<VirtualGenTL::EventSensor> m_sensor;
    VirtualGenTL::EvsOutput m_sensorOutput;
    std::vector<VirtualGenTL::EvsTrigger> m_triggers;
    std::atomic<bool> m_restartSensor{true};  // its clock starts again when a host opens the channel

    std::mutex m_resendMutex;  // resends come from the control thread, one request at a time
    std::uint64_t m_nextBlock = 1;  // counts every block; the wire id is 16 bits without extended ids
    std::thread m_thread;
};

} // namespace GvCamera
