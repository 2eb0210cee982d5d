#include "Routing.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "Errors.h"

namespace Vireo {

uint32_t BestRouteAddress(const char* remoteIp) {
    in_addr remote{};
    const int parsed = inet_pton(AF_INET, remoteIp != nullptr ? remoteIp : "", &remote);
    if (parsed != 1)
        VIREO_THROW_PLAIN(InvalidArgument, "Unable to parse remote IP address. Error: [" + std::to_string(parsed) + "].",
                          "System", "BestRouteAddress");
    if (remote.s_addr == htonl(INADDR_ANY) || remote.s_addr == htonl(INADDR_BROADCAST))
        VIREO_THROW_PLAIN(InvalidArgument, "Invalid IP address specified.", "System", "BestRouteAddress");

    // Connecting a UDP socket sends nothing; it only makes the kernel choose the route.
    const int handle = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (handle < 0)
        VIREO_THROW_PLAIN(Runtime, "Failed to create socket. Error: [" + std::to_string(errno) + "].", "System",
                          "BestRouteAddress");
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(9);  // discard
    target.sin_addr = remote;
    if (connect(handle, reinterpret_cast<sockaddr*>(&target), sizeof target) != 0) {
        const int error = errno;
        close(handle);
        VIREO_THROW_PLAIN(Runtime, "Failed to connect socket. Error: [" + std::to_string(error) + "].", "System",
                          "BestRouteAddress");
    }
    sockaddr_in local{};
    socklen_t length = sizeof local;
    const int named = getsockname(handle, reinterpret_cast<sockaddr*>(&local), &length);
    const int error = errno;
    close(handle);  // not kept: a socket per call would leak descriptors
    if (named != 0)
        VIREO_THROW_PLAIN(Runtime, "Unable to determine appropriate interface. Error: [" + std::to_string(error) + "].",
                          "System", "BestRouteAddress");
    return local.sin_addr.s_addr;
}

} // namespace Vireo
