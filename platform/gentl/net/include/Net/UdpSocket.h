// An IPv4 UDP socket bound to a local address, with the options GigE Vision needs on either
// side of the link: a device's control and stream sockets, a host's control socket. Errors
// are std::system_error naming the address.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <netinet/in.h>

namespace Net {

// What the IP layer does with a datagram larger than the path MTU.
enum class Fragmentation {
    SystemDefault,
    Forbid, // DF bit set: an oversize datagram is refused (EMSGSIZE) instead of cut
    Allow,  // DF bit clear: the IP layer fragments
};

struct UdpSocketOptions {
    bool reuseAddress = false;
    bool broadcast = false;
    Fragmentation fragmentation = Fragmentation::SystemDefault;
    int sendBufferBytes = 0;    // 0 keeps the system's size
    int receiveBufferBytes = 0; // 0 keeps the system's size
};

// A send buffer that holds several jumbo-frame batches, so that a stream sender rarely waits.
constexpr int streamSendBufferBytes = 8 << 20;

// "a.b.c.d" and a port (host order); std::invalid_argument for anything else.
sockaddr_in MakeAddress(std::string_view dottedQuad, std::uint16_t port);
// An IPv4 address held as a number whose most significant byte is the first octet, as the
// GigE Vision registers hold it, and a port (host order).
sockaddr_in MakeAddress(std::uint32_t ip, std::uint16_t port);
// "a.b.c.d:port".
std::string ToString(const sockaddr_in& address);

class UdpSocket {
public:
    // Port 0 binds an ephemeral port.
    explicit UdpSocket(const sockaddr_in& local, const UdpSocketOptions& options = {});
    UdpSocket(std::string_view dottedQuad, std::uint16_t port, const UdpSocketOptions& options = {});
    ~UdpSocket();
    UdpSocket(UdpSocket&& other) noexcept;
    UdpSocket& operator=(UdpSocket&& other) noexcept;
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    int Descriptor() const { return m_fd; }
    sockaddr_in LocalAddress() const;
    std::uint16_t LocalPort() const;

    // Fixes the peer: sends without an address go there, and ICMP errors from it (port
    // unreachable) come back as ECONNREFUSED on later sends.
    void Connect(const sockaddr_in& peer);
    void SetFragmentation(Fragmentation fragmentation);
    // Root may exceed the system's maximum (the FORCE options); otherwise the kernel caps
    // the size. Returns what the kernel then reports (it counts its bookkeeping, about twice
    // the request).
    int SetSendBuffer(int bytes);
    int SetReceiveBuffer(int bytes);

    // One datagram, to the given address.
    void SendTo(std::span<const std::uint8_t> datagram, const sockaddr_in& to);
    // Waits up to timeout for one datagram and stores it (a longer one is cut to the
    // buffer). The byte count, or nothing when the time ran out.
    std::optional<std::size_t> Receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout,
                                       sockaddr_in* from = nullptr);

private:
    [[noreturn]] void Fail(const char* what) const; // with errno
    [[noreturn]] void Fail(const std::string& what, int error) const;

    int m_fd = -1;
    sockaddr_in m_bound{};
};

} // namespace Net
