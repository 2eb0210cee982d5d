#include "HostUdpSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace GvCameraTest {

namespace {

// Largest datagram UDP over IPv4 can carry; stream packets of any packet size fit.
constexpr std::size_t maxDatagramSize = 65507;

} // namespace

GigE::Ipv4Address ParseIpv4(std::string_view text) {
    return ntohl(Net::MakeAddress(text, 0).sin_addr.s_addr);
}

std::string FormatIpv4(GigE::Ipv4Address address) {
    return std::to_string(address >> 24) + "." + std::to_string((address >> 16) & 0xFF) + "." +
           std::to_string((address >> 8) & 0xFF) + "." + std::to_string(address & 0xFF);
}

namespace {

// The test peers discover by broadcast: they must never do so on the machine's own network,
// only inside the namespaces CameraNetwork.sh (or RunInNetworkNamespace.sh) makes.
sockaddr_in InsideTestNetwork(GigE::Ipv4Address localAddress, std::uint16_t localPort) {
    if (std::getenv("VIREO_TEST_NETWORK_NAMESPACE") == nullptr)
        throw std::logic_error("test sockets open only inside a test's own network namespace");
    return Net::MakeAddress(localAddress, localPort);
}

} // namespace

HostUdpSocket::HostUdpSocket(GigE::Ipv4Address localAddress, std::uint16_t localPort)
    : m_socket(InsideTestNetwork(localAddress, localPort)) {}

GigE::Ipv4Address HostUdpSocket::LocalAddress() const { return ntohl(m_socket.LocalAddress().sin_addr.s_addr); }

void HostUdpSocket::EnableBroadcast() {
    const int on = 1;
    if (::setsockopt(m_socket.Descriptor(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0)
        throw std::system_error(errno, std::generic_category(), "SO_BROADCAST");
}

int HostUdpSocket::SetReceiveBufferSize(int bytes) { return m_socket.SetReceiveBuffer(bytes); }

bool HostUdpSocket::SendTo(GigE::Bytes bytes, GigE::Ipv4Address address, std::uint16_t port) {
    try {
        m_socket.SendTo(bytes, Net::MakeAddress(address, port));
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

std::optional<Datagram> HostUdpSocket::Receive(Clock::time_point deadline) {
    Datagram datagram;
    datagram.bytes.resize(maxDatagramSize);
    const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
    sockaddr_in from{};
    const std::optional<std::size_t> size = m_socket.Receive(datagram.bytes, std::max(left, Milliseconds(0)), &from);
    if (!size) return std::nullopt;
    datagram.bytes.resize(*size);
    datagram.sourceAddress = ntohl(from.sin_addr.s_addr);
    datagram.sourcePort = ntohs(from.sin_port);
    return datagram;
}

std::size_t HostUdpSocket::Drain() {
    std::size_t drained = 0;
    while (Receive(Clock::now())) ++drained;
    return drained;
}

} // namespace GvCameraTest
