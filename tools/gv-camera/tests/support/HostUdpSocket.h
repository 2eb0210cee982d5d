// The test-side GigE Vision peers' view of the server's UDP socket: addresses as the registers
// hold them, every receive bounded by a deadline, refused sends as false rather than errors.
#ifndef VIREO_GV_CAMERA_TEST_HOST_UDP_SOCKET_H
#define VIREO_GV_CAMERA_TEST_HOST_UDP_SOCKET_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <GigE/ByteOrder.h>
#include <GigE/Discovery.h>

#include <Net/UdpSocket.h>

namespace GvCameraTest {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr GigE::Ipv4Address limitedBroadcast = 0xFFFFFFFF;

// "10.42.0.1" to 0x0A2A0001; std::invalid_argument for anything else.
GigE::Ipv4Address ParseIpv4(std::string_view text);
std::string FormatIpv4(GigE::Ipv4Address address);

struct Datagram {
    std::vector<std::uint8_t> bytes;
    GigE::Ipv4Address sourceAddress = 0;
    std::uint16_t sourcePort = 0;
};

class HostUdpSocket {
public:
    // Binds to localAddress:localPort (port 0: any free one); std::system_error on failure.
    explicit HostUdpSocket(GigE::Ipv4Address localAddress, std::uint16_t localPort = 0);

    GigE::Ipv4Address LocalAddress() const;
    std::uint16_t LocalPort() const { return m_socket.LocalPort(); }

    void EnableBroadcast();
    // Asks for a larger kernel receive queue, so a whole frame fits while the test is busy;
    // returns what the kernel granted.
    int SetReceiveBufferSize(int bytes);

    // False when the kernel refused the datagram (no route, too large).
    bool SendTo(GigE::Bytes bytes, GigE::Ipv4Address address, std::uint16_t port);
    // The next datagram, or nothing once the deadline has passed.
    std::optional<Datagram> Receive(Clock::time_point deadline);
    // Drops whatever is queued now, without waiting; returns how many datagrams that was.
    std::size_t Drain();

private:
    Net::UdpSocket m_socket;
};

} // namespace GvCameraTest

#endif
