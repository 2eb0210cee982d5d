#include "LoopbackSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace PelgoLog {
namespace {

// The largest payload of a UDP datagram over IPv4.
constexpr size_t kLargestDatagram = 65507;

sockaddr_in LoopbackAddress(uint16_t port) {
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

std::string Failure(const char* what, uint16_t port, int error) {
    return std::string(what) + " 127.0.0.1:" + std::to_string(port) + ": " + std::strerror(error);
}

} // namespace

std::shared_ptr<LoopbackSocket> LoopbackSocket::Listen(uint16_t port, std::string& error) {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        error = Failure("cannot listen on", port, errno);
        return nullptr;
    }
    const sockaddr_in address = LoopbackAddress(port);
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        error = Failure("cannot listen on", port, errno);
        close(descriptor);
        return nullptr;
    }
    return std::shared_ptr<LoopbackSocket>(new LoopbackSocket(descriptor, port));
}

std::shared_ptr<LoopbackSocket> LoopbackSocket::SendTo(uint16_t port, std::string& error) {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        error = Failure("cannot send to", port, errno);
        return nullptr;
    }
    return std::shared_ptr<LoopbackSocket>(new LoopbackSocket(descriptor, port));
}

LoopbackSocket::~LoopbackSocket() { close(m_descriptor); }

bool LoopbackSocket::Send(const std::string& datagram) const {
    if (datagram.size() > kLargestDatagram) return false;
    // Unconnected, so that a port nobody listens on does not turn into errors on later sends.
    const sockaddr_in address = LoopbackAddress(m_port);
    return sendto(m_descriptor, datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
           static_cast<ssize_t>(datagram.size());
}

bool LoopbackSocket::Receive(std::string& datagram) const {
    char buffer[kLargestDatagram + 1];
    ssize_t received;
    do {
        received = recv(m_descriptor, buffer, sizeof buffer, MSG_DONTWAIT);
    } while (received < 0 && errno == EINTR);
    if (received < 0) return false;
    datagram.assign(buffer, static_cast<size_t>(received));
    return true;
}

} // namespace PelgoLog
