// The host side of one GigE Vision device's control channel: register and memory access,
// control privilege and the heartbeat that keeps it, as the remote port and the device module
// use them. Failures are ProducerErrors carrying the GenTL code the consumer gets.
#ifndef VIRTUALGENTL_GIGE_CONTROLCHANNEL_H
#define VIRTUALGENTL_GIGE_CONTROLCHANNEL_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include <GigE/Discovery.h>
#include <GigE/GvcpConstants.h>
#include <GigE/RegisterAccess.h>
#include <Net/UdpSocket.h>

namespace VirtualGenTL::GigEVision {

struct ControlChannelSettings {
    // How long one attempt waits for its acknowledge (a PENDING_ACK extends it).
    std::chrono::milliseconds acknowledgeTimeout{500};
    // Sends of one command, the first included, before it fails with GC_ERR_TIMEOUT.
    unsigned attempts = 3;
};

struct ControlChannelCounters {
    std::uint64_t commands = 0;            // commands issued, each counted once however often sent
    std::uint64_t retries = 0;             // resends after an acknowledge timeout
    std::uint64_t staleAcknowledges = 0;   // dropped: another id, code or source, or malformed
    std::uint64_t pendingAcknowledges = 0; // PENDING_ACKs that extended a wait
    std::uint64_t timeouts = 0;            // commands that got no answer at all
};

class ControlChannel {
public:
    // Opens the control socket on the local interface's address (ephemeral port). Talks to
    // nobody yet.
    ControlChannel(GigE::Ipv4Address localAddress, GigE::Ipv4Address deviceAddress,
                   std::uint16_t devicePort = GigE::gvcpPort, ControlChannelSettings settings = {});
    // Stops the heartbeat. Control is not released here: that takes a command, which a device
    // that went away would make the destructor wait for.
    ~ControlChannel();
    ControlChannel(const ControlChannel&) = delete;
    ControlChannel& operator=(const ControlChannel&) = delete;

    // Until capabilities are known the channel assumes none: one register per command and no
    // WRITEMEM, which every device understands.
    void SetCapabilities(std::uint32_t gvcpCapability);
    // Reads the GVCP capability register (0x0934) and uses it; returns it.
    std::uint32_t ReadCapabilities();
    std::uint32_t Capabilities() const;

    // Registers are 4-byte aligned (GC_ERR_INVALID_ADDRESS otherwise). Several go into one
    // command only when the device can concatenate.
    std::vector<std::uint32_t> ReadRegisters(std::span<const std::uint32_t> addresses);
    std::uint32_t ReadRegister(std::uint32_t address);
    // In order; stops at the first write the device refuses.
    void WriteRegisters(std::span<const GigE::RegisterWrite> writes);
    void WriteRegister(std::uint32_t address, std::uint32_t value);

    // Any address and size: pieces of at most 512 bytes of the enclosing 4-byte aligned
    // range. A write that starts or ends inside a word first reads that word, so the bytes
    // around it keep their values; it uses WRITEMEM when the device has it, else WRITEREG.
    void ReadMemory(std::uint32_t address, void* buffer, std::size_t size);
    void WriteMemory(std::uint32_t address, const void* buffer, std::size_t size);

    // Writes the control channel privilege (exclusive or control access); another host's
    // control gives GC_ERR_ACCESS_DENIED. Clears a previous loss.
    void TakeControl(bool exclusive);
    // Stops the heartbeat and writes the privilege to 0.
    void ReleaseControl();
    bool HasControl() const;

    // Reads the privilege register every period (zero: a third of the device's heartbeat
    // timeout, register 0x0938, read now) so that the device keeps this host in control.
    // When the device stops answering or no longer shows this host in control, the channel
    // is lost: onLost runs once, on the heartbeat thread, and the heartbeat ends. onLost must
    // not wait for the heartbeat to stop.
    void StartHeartbeat(std::function<void()> onLost, std::chrono::milliseconds period = {});
    // Returns once the heartbeat thread ended: at once when it waits for its next period, else
    // after the command it is sending (bounded by the settings).
    void StopHeartbeat();
    bool Lost() const;

    ControlChannelCounters Counters() const;
    const ControlChannelSettings& Settings() const { return m_settings; }
    std::uint16_t LocalPort() const;
    // "10.42.0.11:3956", as the error texts name the device.
    const std::string& DeviceName() const { return m_deviceName; }

private:
    // The acknowledge datagram of a command sent with this id, after the retries and
    // PENDING_ACKs, whatever its status (the caller knows which address an error names);
    // GC_ERR_TIMEOUT without one. m_commandMutex held.
    std::vector<std::uint8_t> Exchange(std::uint16_t command, std::uint16_t requestId,
                                       const std::vector<std::uint8_t>& datagram, std::uint32_t address);
    std::uint16_t NextRequestId();
    std::string Describe(std::uint16_t command, std::uint32_t address) const;

    // The same operations with m_commandMutex held.
    void ReadRegistersLocked(std::span<const std::uint32_t> addresses, std::uint32_t* values);
    void WriteRegistersLocked(std::span<const GigE::RegisterWrite> writes);
    void ReadAligned(std::uint32_t address, std::uint8_t* data, std::size_t size);
    void WriteAligned(std::uint32_t address, const std::uint8_t* data, std::size_t size);

    void HeartbeatLoop(std::chrono::milliseconds period);
    void MarkLost();

    const ControlChannelSettings m_settings;
    const sockaddr_in m_device;
    const std::string m_deviceName;

    mutable std::mutex m_commandMutex; // one command at a time: guards m_socket, m_requestId
    Net::UdpSocket m_socket;
    std::uint16_t m_requestId;
    std::vector<std::uint8_t> m_receiveBuffer;

    std::atomic<std::uint32_t> m_capabilities{0};
    std::atomic<bool> m_hasControl{false};
    std::atomic<bool> m_lost{false};

    std::atomic<std::uint64_t> m_commands{0};
    std::atomic<std::uint64_t> m_retries{0};
    std::atomic<std::uint64_t> m_stale{0};
    std::atomic<std::uint64_t> m_pending{0};
    std::atomic<std::uint64_t> m_timeouts{0};

    std::mutex m_heartbeatMutex; // guards m_stopHeartbeat and the thread's start and end
    std::condition_variable m_heartbeatWake;
    bool m_stopHeartbeat = false;
    std::function<void()> m_onLost;
    std::thread m_heartbeat;
};

} // namespace VirtualGenTL::GigEVision

#endif
