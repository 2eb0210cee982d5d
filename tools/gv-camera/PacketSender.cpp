#include "PacketSender.h"

#include <Net/UdpSocket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include <poll.h>

namespace GvCamera {

namespace {

using Clock = std::chrono::steady_clock;

// Below this a sleep overshoots by more than the wait itself (timer slack, wake-up latency).
constexpr std::chrono::microseconds spinBelow{50};
// ENOBUFS means a device queue is full, which POLLOUT does not reflect: a short pause lets
// it drain without spinning on the call.
constexpr std::chrono::microseconds deviceQueuePause{50};

// What the network does to a datagram rather than what the program did wrong: a host that
// closed its port (ICMP port unreachable, reported on the next send), a lost route or link,
// a packet size above the path MTU with fragmentation forbidden. A camera drops the datagram
// and keeps streaming.
bool DropsDatagram(int error) {
    switch (error) {
    case ECONNREFUSED:
    case EHOSTUNREACH:
    case ENETUNREACH:
    case EHOSTDOWN:
    case ENETDOWN:
    case EMSGSIZE:
        return true;
    default:
        return false;
    }
}

void WaitUntil(Clock::time_point when) {
    if (Clock::now() >= when) return;
    // Sleep for the bulk, spin for the last stretch where a sleep would overshoot.
    if (when - Clock::now() > spinBelow) std::this_thread::sleep_until(when - spinBelow);
    while (Clock::now() < when) {
    }
}

} // namespace

PacketSender::PacketSender(int socket, std::size_t batch)
    : m_socket(socket), m_headers(batch), m_vectors(2 * batch), m_messages(batch) {
    if (batch == 0) throw std::invalid_argument("a packet sender needs a batch of at least one datagram");
}

bool PacketSender::UsesConnectedPeer(const sockaddr_in& destination) const {
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    if (::getpeername(m_socket, reinterpret_cast<sockaddr*>(&peer), &length) != 0) return false;
    return peer.sin_family == AF_INET && peer.sin_port == destination.sin_port &&
           peer.sin_addr.s_addr == destination.sin_addr.s_addr;
}

void PacketSender::SetDestination(const sockaddr_in& destination) {
    Flush();
    m_destination = destination;
    m_addressed = !UsesConnectedPeer(destination);
}

void PacketSender::SetInterPacketDelay(std::chrono::nanoseconds delay) {
    m_delay = std::max(delay, std::chrono::nanoseconds::zero());
}

void PacketSender::Add(std::span<const std::uint8_t> header, std::span<const std::uint8_t> data) {
    if (header.size() > maxHeaderSize)
        throw std::length_error("a stream datagram header of " + std::to_string(header.size()) +
                                " bytes exceeds the sender's " + std::to_string(maxHeaderSize));
    const std::size_t index = m_queued;
    auto& stored = m_headers[index];
    if (!header.empty()) std::memcpy(stored.data(), header.data(), header.size());
    iovec* vectors = &m_vectors[2 * index];
    vectors[0] = {stored.data(), header.size()};
    vectors[1] = {const_cast<std::uint8_t*>(data.data()), data.size()};
    msghdr& message = m_messages[index].msg_hdr;
    message = {};
    if (m_addressed) {
        message.msg_name = &m_destination;
        message.msg_namelen = sizeof m_destination;
    }
    message.msg_iov = vectors;
    message.msg_iovlen = data.empty() ? 1 : 2;
    ++m_queued;
    if (m_queued == m_messages.size()) Flush();
}

void PacketSender::Flush() {
    if (m_queued == 0) return;
    m_waited = {};
    // Empty afterwards even when a send throws: the caller's data may be gone by then.
    struct Clear {
        std::size_t& queued;
        ~Clear() { queued = 0; }
    } clear{m_queued};
    if (m_delay > std::chrono::nanoseconds::zero()) {
        PacedFlush();
        return;
    }
    const std::size_t passed = Send(0, m_queued);
    m_statistics.dropped += m_queued - passed;
}

void PacketSender::PacedFlush() {
    for (std::size_t index = 0; index < m_queued; ++index) {
        WaitUntil(m_nextSend);
        const auto startedAt = Clock::now();
        if (Send(index, 1) == 0) {
            m_statistics.dropped += m_queued - index;
            return;
        }
        m_nextSend = startedAt + m_delay;
    }
}

std::size_t PacketSender::Send(std::size_t first, std::size_t count) {
    std::size_t passed = 0;
    while (passed < count) {
        mmsghdr* messages = &m_messages[first + passed];
        const int sent = ::sendmmsg(m_socket, messages, static_cast<unsigned>(count - passed), MSG_DONTWAIT);
        ++m_statistics.sendCalls;
        if (sent > 0) {
            for (int index = 0; index < sent; ++index) m_statistics.bytes += messages[index].msg_len;
            m_statistics.datagrams += static_cast<std::uint64_t>(sent);
            passed += static_cast<std::size_t>(sent);
            continue;
        }
        // An error after the first datagram of a call is not reported by that call; the next
        // call starts with the failing datagram and reports it.
        const int error = sent == 0 ? EAGAIN : errno;
        if (error == EINTR) continue;
        if (error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS) {
            if (!WaitForRoom(error != ENOBUFS)) return passed;
            continue;
        }
        if (DropsDatagram(error)) {
            ++m_statistics.dropped;
            ++passed;
            continue;
        }
        throw std::system_error(error, std::generic_category(),
                                "cannot send stream datagrams to " +
                                    (m_addressed ? Net::ToString(m_destination) : std::string("the connected peer")));
    }
    return passed;
}

bool PacketSender::WaitForRoom(bool bufferFull) {
    const auto left = m_waitLimit - m_waited;
    if (left <= std::chrono::nanoseconds::zero()) return false;
    const auto start = Clock::now();
    if (bufferFull) {
        pollfd writable{m_socket, POLLOUT, 0};
        const auto milliseconds = std::max<std::int64_t>(1, std::chrono::ceil<std::chrono::milliseconds>(left).count());
        if (::poll(&writable, 1, static_cast<int>(milliseconds)) < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "cannot wait to send stream datagrams");
    } else {
        std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(left, deviceQueuePause));
    }
    m_waited += Clock::now() - start;
    return true;
}

} // namespace GvCamera
