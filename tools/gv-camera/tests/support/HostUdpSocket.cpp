#include "HostUdpSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace GvCameraTest {

namespace {

sockaddr_in SocketAddress(GigE::Ipv4Address address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

[[noreturn]] void ThrowSystemError(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Largest datagram UDP over IPv4 can carry; stream packets of any packet size fit.
constexpr std::size_t maxDatagramSize = 65507;

} // namespace

GigE::Ipv4Address ParseIpv4(std::string_view text) {
    in_addr address{};
    const std::string copy(text);
    if (inet_pton(AF_INET, copy.c_str(), &address) != 1) {
        throw std::invalid_argument("not an IPv4 address: '" + copy + "'");
    }
    return ntohl(address.s_addr);
}

std::string FormatIpv4(GigE::Ipv4Address address) {
    return std::to_string(address >> 24) + "." + std::to_string((address >> 16) & 0xFF) + "." +
           std::to_string((address >> 8) & 0xFF) + "." + std::to_string(address & 0xFF);
}

HostUdpSocket::HostUdpSocket(GigE::Ipv4Address localAddress, std::uint16_t localPort) {
    m_descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_descriptor < 0) ThrowSystemError("socket");
    const sockaddr_in local = SocketAddress(localAddress, localPort);
    if (::bind(m_descriptor, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        const int error = errno;
        ::close(m_descriptor);
        errno = error;
        ThrowSystemError(("bind to " + FormatIpv4(localAddress) + ":" + std::to_string(localPort)).c_str());
    }
    sockaddr_in bound{};
    socklen_t length = sizeof bound;
    ::getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&bound), &length);
    m_localAddress = ntohl(bound.sin_addr.s_addr);
    m_localPort = ntohs(bound.sin_port);
}

HostUdpSocket::HostUdpSocket(HostUdpSocket&& other) noexcept
    : m_descriptor(other.m_descriptor), m_localAddress(other.m_localAddress), m_localPort(other.m_localPort) {
    other.m_descriptor = -1;
}

HostUdpSocket& HostUdpSocket::operator=(HostUdpSocket&& other) noexcept {
    if (this != &other) {
        if (m_descriptor >= 0) ::close(m_descriptor);
        m_descriptor = other.m_descriptor;
        m_localAddress = other.m_localAddress;
        m_localPort = other.m_localPort;
        other.m_descriptor = -1;
    }
    return *this;
}

HostUdpSocket::~HostUdpSocket() {
    if (m_descriptor >= 0) ::close(m_descriptor);
}

void HostUdpSocket::EnableBroadcast() {
    const int on = 1;
    if (::setsockopt(m_descriptor, SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0) ThrowSystemError("SO_BROADCAST");
}

int HostUdpSocket::SetReceiveBufferSize(int bytes) {
    // As root the forcing variant lifts the rmem_max ceiling; otherwise the plain one applies it.
    if (::setsockopt(m_descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) {
        ::setsockopt(m_descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    }
    int granted = 0;
    socklen_t length = sizeof granted;
    ::getsockopt(m_descriptor, SOL_SOCKET, SO_RCVBUF, &granted, &length);
    return granted;
}

bool HostUdpSocket::SendTo(GigE::Bytes bytes, GigE::Ipv4Address address, std::uint16_t port) {
    const sockaddr_in destination = SocketAddress(address, port);
    const ssize_t sent = ::sendto(m_descriptor, bytes.data(), bytes.size(), 0,
                                  reinterpret_cast<const sockaddr*>(&destination), sizeof destination);
    return sent == static_cast<ssize_t>(bytes.size());
}

std::optional<Datagram> HostUdpSocket::Receive(Clock::time_point deadline) {
    for (;;) {
        const auto remaining = std::chrono::duration_cast<Milliseconds>(deadline - Clock::now());
        // Round up, so a wait of less than a millisecond still polls instead of spinning.
        const int timeoutMs = remaining.count() < 0 ? 0 : static_cast<int>(remaining.count()) + 1;
        pollfd descriptor{m_descriptor, POLLIN, 0};
        const int ready = ::poll(&descriptor, 1, timeoutMs);
        if (ready < 0) {
            if (errno == EINTR) continue;
            ThrowSystemError("poll");
        }
        if (ready == 0) {
            if (Clock::now() >= deadline) return std::nullopt;
            continue;
        }
        Datagram datagram;
        datagram.bytes.resize(maxDatagramSize);
        sockaddr_in source{};
        socklen_t length = sizeof source;
        const ssize_t received = ::recvfrom(m_descriptor, datagram.bytes.data(), datagram.bytes.size(), MSG_DONTWAIT,
                                            reinterpret_cast<sockaddr*>(&source), &length);
        if (received < 0) {
            // An ICMP error from an earlier send surfaces here; it is not a datagram.
            if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == ECONNREFUSED) {
                if (Clock::now() >= deadline) return std::nullopt;
                continue;
            }
            ThrowSystemError("recvfrom");
        }
        datagram.bytes.resize(static_cast<std::size_t>(received));
        datagram.sourceAddress = ntohl(source.sin_addr.s_addr);
        datagram.sourcePort = ntohs(source.sin_port);
        return datagram;
    }
}

std::size_t HostUdpSocket::Drain() {
    std::size_t count = 0;
    std::vector<std::uint8_t> scratch(maxDatagramSize);
    // Bounded, so a peer that floods the socket cannot keep the caller here.
    while (count < 100000) {
        const ssize_t received = ::recv(m_descriptor, scratch.data(), scratch.size(), MSG_DONTWAIT);
        if (received < 0) {
            if (errno == EINTR || errno == ECONNREFUSED) continue;
            break;
        }
        ++count;
    }
    return count;
}

} // namespace GvCameraTest
