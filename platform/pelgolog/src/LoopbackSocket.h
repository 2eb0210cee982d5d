// A UDP socket on the loopback interface: a listener bound to 127.0.0.1:<port>, or a sender
// addressing 127.0.0.1:<port>. Non-blocking, so that neither logging nor receiving ever waits
// on the network.
#ifndef PELGOLOG_SRC_LOOPBACKSOCKET_H
#define PELGOLOG_SRC_LOOPBACKSOCKET_H

#include <cstdint>
#include <memory>
#include <string>

namespace PelgoLog {

class LoopbackSocket {
public:
    // Null, with the reason in error, when the socket cannot be made or bound.
    static std::shared_ptr<LoopbackSocket> Listen(uint16_t port, std::string& error);
    static std::shared_ptr<LoopbackSocket> SendTo(uint16_t port, std::string& error);

    LoopbackSocket(const LoopbackSocket&) = delete;
    LoopbackSocket& operator=(const LoopbackSocket&) = delete;
    ~LoopbackSocket();

    // One datagram to the sender's port; false when it could not be sent (nobody is told).
    bool Send(const std::string& datagram) const;
    // The next waiting datagram of a listener; false when none is waiting.
    bool Receive(std::string& datagram) const;

    int Descriptor() const { return m_descriptor; }
    uint16_t Port() const { return m_port; }

private:
    LoopbackSocket(int descriptor, uint16_t port) : m_descriptor(descriptor), m_port(port) {}

    const int m_descriptor;
    const uint16_t m_port;
};

} // namespace PelgoLog

#endif
