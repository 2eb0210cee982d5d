// The local IPv4 address (network order) through which the host reaches a remote address:
// what unicast discovery uses to pick the interface.
#ifndef VIREO_SRC_TRANSPORT_ROUTING_H
#define VIREO_SRC_TRANSPORT_ROUTING_H

#include <cstdint>

namespace Vireo {

uint32_t BestRouteAddress(const char* remoteIp);

} // namespace Vireo

#endif
