#include <Net/UdpSocket.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Net {

sockaddr_in MakeAddress(std::string_view dottedQuad, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    const std::string text(dottedQuad);
    if (inet_pton(AF_INET, text.c_str(), &address.sin_addr) != 1)
        throw std::invalid_argument("not an IPv4 address: '" + text + "'");
    return address;
}

sockaddr_in MakeAddress(std::uint32_t ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(ip);
    address.sin_port = htons(port);
    return address;
}

std::string ToString(const sockaddr_in& address) {
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return std::string(text) + ":" + std::to_string(ntohs(address.sin_port));
}

UdpSocket::UdpSocket(const sockaddr_in& local, const UdpSocketOptions& options) : m_bound(local) {
    m_fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_fd < 0) Fail("cannot open a UDP socket");
    try {
        const int on = 1;
        if (options.reuseAddress && ::setsockopt(m_fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0)
            Fail("cannot set SO_REUSEADDR");
        if (options.broadcast && ::setsockopt(m_fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0)
            Fail("cannot set SO_BROADCAST");
        SetFragmentation(options.fragmentation);
        if (options.sendBufferBytes > 0) SetSendBuffer(options.sendBufferBytes);
        if (options.receiveBufferBytes > 0) SetReceiveBuffer(options.receiveBufferBytes);
        if (::bind(m_fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) Fail("cannot bind");
        m_bound = LocalAddress();
    } catch (...) {
        ::close(m_fd);
        throw;
    }
}

UdpSocket::UdpSocket(std::string_view dottedQuad, std::uint16_t port, const UdpSocketOptions& options)
    : UdpSocket(MakeAddress(dottedQuad, port), options) {}

UdpSocket::~UdpSocket() {
    if (m_fd >= 0) ::close(m_fd);
}

UdpSocket::UdpSocket(UdpSocket&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)), m_bound(other.m_bound) {}

UdpSocket& UdpSocket::operator=(UdpSocket&& other) noexcept {
    if (this != &other) {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = std::exchange(other.m_fd, -1);
        m_bound = other.m_bound;
    }
    return *this;
}

sockaddr_in UdpSocket::LocalAddress() const {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (::getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        Fail("cannot read the local address");
    return address;
}

std::uint16_t UdpSocket::LocalPort() const { return ntohs(LocalAddress().sin_port); }

void UdpSocket::Connect(const sockaddr_in& peer) {
    if (::connect(m_fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) {
        const int error = errno;
        Fail("cannot connect to " + ToString(peer), error);
    }
}

void UdpSocket::SetFragmentation(Fragmentation fragmentation) {
    if (fragmentation == Fragmentation::SystemDefault) return;
    const int mode = fragmentation == Fragmentation::Forbid ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT;
    if (::setsockopt(m_fd, IPPROTO_IP, IP_MTU_DISCOVER, &mode, sizeof mode) != 0)
        Fail("cannot set IP_MTU_DISCOVER");
}

namespace {

// The FORCE option needs CAP_NET_ADMIN; without it the plain one, capped by the system.
int SetBuffer(int fd, int forced, int plain, int bytes) {
    if (::setsockopt(fd, SOL_SOCKET, forced, &bytes, sizeof bytes) != 0 &&
        ::setsockopt(fd, SOL_SOCKET, plain, &bytes, sizeof bytes) != 0)
        return -1;
    int actual = 0;
    socklen_t length = sizeof actual;
    if (::getsockopt(fd, SOL_SOCKET, plain, &actual, &length) != 0) return -1;
    return actual;
}

} // namespace

int UdpSocket::SetSendBuffer(int bytes) {
    const int actual = SetBuffer(m_fd, SO_SNDBUFFORCE, SO_SNDBUF, bytes);
    if (actual < 0) Fail("cannot size the send buffer");
    return actual;
}

int UdpSocket::SetReceiveBuffer(int bytes) {
    const int actual = SetBuffer(m_fd, SO_RCVBUFFORCE, SO_RCVBUF, bytes);
    if (actual < 0) Fail("cannot size the receive buffer");
    return actual;
}

void UdpSocket::SendTo(std::span<const std::uint8_t> datagram, const sockaddr_in& to) {
    for (;;) {
        if (::sendto(m_fd, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) >= 0)
            return;
        const int error = errno;
        if (error != EINTR) Fail("cannot send to " + ToString(to), error);
    }
}

std::optional<std::size_t> UdpSocket::Receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout,
                                              sockaddr_in* from) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        sockaddr_in sender{};
        socklen_t length = sizeof sender;
        const ssize_t received = ::recvfrom(m_fd, buffer.data(), buffer.size(), MSG_DONTWAIT,
                                            reinterpret_cast<sockaddr*>(&sender), &length);
        if (received >= 0) {
            if (from) *from = sender;
            return static_cast<std::size_t>(received);
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) Fail("cannot receive");
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return std::nullopt;
        pollfd readable{m_fd, POLLIN, 0};
        if (::poll(&readable, 1, static_cast<int>(left.count())) < 0 && errno != EINTR) Fail("cannot wait for data");
    }
}

void UdpSocket::Fail(const std::string& what, int error) const {
    throw std::system_error(error, std::generic_category(), what + " (UDP " + ToString(m_bound) + ")");
}

void UdpSocket::Fail(const char* what) const { Fail(what, errno); }

} // namespace Net
