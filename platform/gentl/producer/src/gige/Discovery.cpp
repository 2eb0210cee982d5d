#include "Discovery.h"

#include <arpa/inet.h>
#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <system_error>

#include <GigE/GvcpConstants.h>
#include <GigE/GvcpHeader.h>
#include <Net/UdpSocket.h>

#include "GvcpFailure.h"
#include "camera/Failure.h"

namespace VirtualGenTL::GigEVision {

namespace {

using Clock = std::chrono::steady_clock;

constexpr GigE::Ipv4Address kLimitedBroadcast = 0xFFFFFFFF;
// However busy the network, one wait looks at no more datagrams than this.
constexpr unsigned kMaxDatagramsPerWait = 4096;

std::uint16_t RandomRequestId() {
    std::random_device random;
    return std::uint16_t(std::uniform_int_distribution<unsigned>(1, 0xFFFF)(random));
}

std::string MacText(const GigE::MacAddress& mac) {
    char text[18];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return text;
}

// The sockets of one broadcast exchange. The command goes out from the interface's address;
// devices that cannot reach that address by unicast (another subnet, or an address they are
// just taking) broadcast their acknowledge to the same port, which only a socket bound to the
// broadcast address receives.
class BroadcastExchange {
public:
    explicit BroadcastExchange(GigE::Ipv4Address localAddress) : m_socket(Open(localAddress)) {
        try {
            m_broadcastAnswers.emplace(Net::MakeAddress(kLimitedBroadcast, m_socket.LocalPort()));
        } catch (const std::system_error&) {
            // Then only unicast answers arrive, which is what most devices send.
        }
    }

    // Whether the datagram left; a failed send of several alternatives is not yet an error.
    bool Send(const std::vector<std::uint8_t>& datagram, GigE::Ipv4Address to) {
        try {
            m_socket.SendTo(datagram, Net::MakeAddress(to, GigE::gvcpPort));
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }

    // Hands every acknowledge with this id and code to accept(acknowledge, source address)
    // until the deadline, or until accept returns true.
    template <class Accept>
    void Collect(Clock::time_point deadline, std::uint16_t requestId, GigE::AcknowledgeCode code, Accept&& accept) {
        std::vector<std::uint8_t> buffer(GigE::gvcpMaxDatagramSize + 64);
        for (unsigned count = 0; count < kMaxDatagramsPerWait; ++count) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0) return;
            pollfd descriptors[2] = {{m_socket.Descriptor(), POLLIN, 0},
                                     {m_broadcastAnswers ? m_broadcastAnswers->Descriptor() : -1, POLLIN, 0}};
            if (::poll(descriptors, 2, int(left.count())) <= 0) continue;
            for (int index = 0; index < 2; ++index) {
                if ((descriptors[index].revents & POLLIN) == 0) continue;
                Net::UdpSocket& socket = index == 0 ? m_socket : *m_broadcastAnswers;
                sockaddr_in from{};
                std::optional<std::size_t> size;
                try {
                    size = socket.Receive(buffer, std::chrono::milliseconds(0), &from);
                } catch (const std::system_error& error) {
                    Fail(GenTL::GC_ERR_IO, error.what());
                }
                if (!size) continue;
                const auto acknowledge = GigE::parseAcknowledge(GigE::Bytes(buffer.data(), *size));
                if (!acknowledge || acknowledge->header.acknowledgeId != requestId ||
                    acknowledge->header.acknowledge != std::uint16_t(code))
                    continue;
                if (accept(*acknowledge, GigE::Ipv4Address(ntohl(from.sin_addr.s_addr)))) return;
            }
        }
    }

private:
    static Net::UdpSocket Open(GigE::Ipv4Address localAddress) {
        Net::UdpSocketOptions options;
        options.broadcast = true;
        try {
            return Net::UdpSocket(Net::MakeAddress(localAddress, 0), options);
        } catch (const std::system_error& error) {
            Fail(GenTL::GC_ERR_IO, std::string("cannot open a GigE Vision discovery socket: ") + error.what());
        }
    }

    Net::UdpSocket m_socket;
    std::optional<Net::UdpSocket> m_broadcastAnswers;
};

} // namespace

std::vector<DiscoveredDevice> DiscoverDevices(GigE::Ipv4Address localAddress, GigE::Ipv4Address subnetMask,
                                              std::chrono::milliseconds timeout,
                                              std::span<const GigE::Ipv4Address> unicastAddresses, bool broadcast) {
    BroadcastExchange exchange(localAddress);
    const std::uint16_t id = RandomRequestId();
    const std::vector<std::uint8_t> command = GigE::DiscoveryCommand{true}.encode(id);
    const auto deadline = Clock::now() + timeout;
    bool sent = false;
    // Some stacks refuse the limited broadcast (no route for it); the subnet's own broadcast
    // address reaches the same devices on this link.
    if (broadcast) sent = exchange.Send(command, kLimitedBroadcast) || exchange.Send(command, localAddress | ~subnetMask);
    for (GigE::Ipv4Address address : unicastAddresses) sent = exchange.Send(command, address) || sent;
    if (!sent && (broadcast || !unicastAddresses.empty()))
        Fail(GenTL::GC_ERR_IO, "cannot send DISCOVERY from " + DottedQuad(localAddress));

    std::vector<DiscoveredDevice> devices;
    exchange.Collect(deadline, id, GigE::AcknowledgeCode::Discovery,
                     [&](const GigE::ReceivedAcknowledge& acknowledge, GigE::Ipv4Address source) {
                         if (acknowledge.header.status != GigE::Status::Success) return false;
                         const auto description = GigE::DiscoveryAcknowledge::parse(acknowledge);
                         if (!description) return false;
                         // A device reached both by broadcast and by unicast answers twice.
                         const bool known = std::any_of(devices.begin(), devices.end(), [&](const DiscoveredDevice& device) {
                             return device.description.macAddress == description->macAddress;
                         });
                         if (!known) devices.push_back({*description, source});
                         return false;
                     });
    return devices;
}

void ForceIp(GigE::Ipv4Address localAddress, const GigE::MacAddress& macAddress, GigE::Ipv4Address ipAddress,
             GigE::Ipv4Address subnetMask, GigE::Ipv4Address defaultGateway, std::chrono::milliseconds timeout) {
    const std::string what = "FORCEIP of " + MacText(macAddress) + " to " + DottedQuad(ipAddress) + " from " +
                             DottedQuad(localAddress);
    BroadcastExchange exchange(localAddress);
    const std::uint16_t id = RandomRequestId();
    const GigE::ForceIpCommand command{macAddress, ipAddress, subnetMask, defaultGateway};
    const auto deadline = Clock::now() + timeout;
    // Broadcast, because the device's present address may be on no network of this host.
    if (!exchange.Send(command.encode(id), kLimitedBroadcast)) Fail(GenTL::GC_ERR_IO, what + ": cannot send");
    std::optional<GigE::Status> status;
    exchange.Collect(deadline, id, GigE::AcknowledgeCode::ForceIp,
                     [&](const GigE::ReceivedAcknowledge& acknowledge, GigE::Ipv4Address) {
                         status = acknowledge.header.status;
                         return true;
                     });
    if (!status) Fail(GenTL::GC_ERR_TIMEOUT, what + ": no acknowledge within " + std::to_string(timeout.count()) + " ms");
    if (GigE::isError(*status)) FailWithStatus(*status, what);
}

} // namespace VirtualGenTL::GigEVision
