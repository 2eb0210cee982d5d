// Puts stream datagrams on the wire in batches: one sendmmsg call for up to a batch of
// datagrams, each a small header copied here followed by frame data that is not copied,
// only pointed at. A full batch goes out by itself; Flush sends the rest.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace GvCamera {

struct SenderStatistics {
    std::uint64_t datagrams = 0; // accepted by the kernel
    std::uint64_t bytes = 0;     // UDP payload of those
    std::uint64_t sendCalls = 0; // system calls made to send, including those that failed
    std::uint64_t dropped = 0;   // refused (no listener, no route, oversize) or given up on
};

class PacketSender {
public:
    // A GVSP header and a multi-part payload header fit with room to spare.
    static constexpr std::size_t maxHeaderSize = 64;
    static constexpr std::chrono::milliseconds defaultWaitLimit{100};

    // The socket stays the caller's; it may be blocking or not.
    explicit PacketSender(int socket, std::size_t batch = 64);
    // Queued datagrams point into the sender's own storage.
    PacketSender(const PacketSender&) = delete;
    PacketSender& operator=(const PacketSender&) = delete;

    // Sends what is queued to the previous destination first. Without a destination, or
    // with the one the socket is connected to, datagrams go without an address, which
    // spares the kernel a route lookup per datagram.
    void SetDestination(const sockaddr_in& destination);
    // Zero sends in batches. Otherwise one datagram at a time, each started at least this
    // long after the one before (also across flushes), which protects a slow receiver.
    void SetInterPacketDelay(std::chrono::nanoseconds delay);
    // How long one Flush may wait in total for room in the socket's buffer before it counts
    // the rest as dropped.
    void SetWaitLimit(std::chrono::milliseconds limit) { m_waitLimit = limit; }

    // Queues header + data as one datagram. The header is copied (std::length_error above
    // maxHeaderSize); data must stay valid until the Flush that sends it returns, which is
    // this call itself when it fills the batch.
    void Add(std::span<const std::uint8_t> header, std::span<const std::uint8_t> data);
    // Sends everything queued. Errors other than those counted as dropped throw
    // std::system_error; the queue is empty afterwards either way.
    void Flush();

    std::size_t Queued() const { return m_queued; }
    std::size_t BatchSize() const { return m_messages.size(); }
    std::chrono::nanoseconds InterPacketDelay() const { return m_delay; }
    const SenderStatistics& Statistics() const { return m_statistics; }

private:
    // Sends queued datagrams [first, first + count); returns how many it got past (sent or
    // dropped), fewer than count only when the wait limit ran out.
    std::size_t Send(std::size_t first, std::size_t count);
    bool WaitForRoom(bool bufferFull);
    void PacedFlush();
    bool UsesConnectedPeer(const sockaddr_in& destination) const;

    int m_socket;
    sockaddr_in m_destination{};
    bool m_addressed = false; // datagrams carry m_destination
    std::vector<std::array<std::uint8_t, maxHeaderSize>> m_headers;
    std::vector<iovec> m_vectors; // two per datagram: header, data
    std::vector<mmsghdr> m_messages;
    std::size_t m_queued = 0;

    std::chrono::nanoseconds m_delay{0};
    std::chrono::steady_clock::time_point m_nextSend{};
    std::chrono::milliseconds m_waitLimit = defaultWaitLimit;
    std::chrono::nanoseconds m_waited{0}; // in the current Flush

    SenderStatistics m_statistics;
};

} // namespace GvCamera
