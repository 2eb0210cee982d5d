#include "Server.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <stdexcept>

#include <GigE/BootstrapRegisters.h>
#include <GigE/GvcpConstants.h>

#include "camera/BootstrapRegisters.h"

namespace GvCamera {

std::vector<VirtualGenTL::CatalogueEntry> ChooseCameras(const std::vector<CameraChoice>& choices) {
    std::vector<VirtualGenTL::CatalogueEntry> catalogue = VirtualGenTL::DefaultCatalogue();
    std::vector<bool> taken(catalogue.size(), false);
    std::vector<VirtualGenTL::CatalogueEntry> chosen;
    for (const CameraChoice& choice : choices) {
        std::size_t found = catalogue.size();
        for (std::size_t index = 0; index < catalogue.size() && found == catalogue.size(); ++index)
            if (catalogue[index].identity.serialNumber == choice.selector ||
                catalogue[index].identity.userDefinedName == choice.selector)
                found = index;
        for (std::size_t index = 0; index < catalogue.size() && found == catalogue.size(); ++index)
            if (!taken[index] && catalogue[index].model.modelName == choice.selector) found = index;
        if (found == catalogue.size()) throw std::invalid_argument("no camera \"" + choice.selector + "\" to serve");
        if (taken[found])
            throw std::invalid_argument("camera " + catalogue[found].identity.serialNumber + " is chosen twice");
        taken[found] = true;
        VirtualGenTL::CatalogueEntry entry = catalogue[found];
        entry.identity.ipAddress = choice.ip;
        entry.identity.subnetMask = choice.subnetMask;
        entry.identity.defaultGateway = choice.defaultGateway;
        chosen.push_back(std::move(entry));
    }
    return chosen;
}

Server::Server(const std::vector<CameraChoice>& choices, const FaultSettings& faults, std::size_t resendBlocks) {
    // Bound before the cameras' sockets on the same port, which then take the unicast traffic.
    Net::UdpSocketOptions options;
    options.reuseAddress = true;
    options.broadcast = true;
    m_broadcast = std::make_unique<Net::UdpSocket>(Net::MakeAddress("0.0.0.0", GigE::gvcpPort), options);
    for (VirtualGenTL::CatalogueEntry& entry : ChooseCameras(choices)) {
        auto camera = std::make_shared<VirtualGenTL::VirtualCamera>(std::move(entry.model), std::move(entry.identity));
        m_devices.push_back(std::make_unique<DeviceServer>(std::move(camera), faults, resendBlocks));
    }
    m_thread = std::thread([this] { ListenForBroadcasts(); });
}

Server::~Server() {
    m_quit = true;
    m_thread.join();
    m_devices.clear();
}

void Server::ListenForBroadcasts() {
    // The socket also gets unicast datagrams for addresses of this host that no camera has;
    // only what went to a broadcast address is meant for the cameras.
    const int on = 1;
    ::setsockopt(m_broadcast->Descriptor(), IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    std::vector<std::uint8_t> buffer(GigE::gvcpMaxDatagramSize + 64);
    while (!m_quit) {
        pollfd descriptor{m_broadcast->Descriptor(), POLLIN, 0};
        if (::poll(&descriptor, 1, 100) <= 0) continue;
        sockaddr_in from{};
        iovec vector{buffer.data(), buffer.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))];
        msghdr message{};
        message.msg_name = &from;
        message.msg_namelen = sizeof from;
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t size = ::recvmsg(m_broadcast->Descriptor(), &message, MSG_DONTWAIT);
        if (size < 0) continue;
        std::uint32_t destination = 0;
        for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header))
            if (header->cmsg_level == IPPROTO_IP && header->cmsg_type == IP_PKTINFO)
                destination = ntohl(reinterpret_cast<const in_pktinfo*>(CMSG_DATA(header))->ipi_addr.s_addr);
        for (const auto& device : m_devices) {
            const VirtualGenTL::BootstrapRegisters& registers = device->Camera().Bootstrap();
            const std::uint32_t mask = registers.Get(GigE::Register::currentSubnetMask);
            const std::uint32_t subnetBroadcast = registers.Get(GigE::Register::currentIpAddress) | ~mask;
            if (destination != INADDR_BROADCAST && destination != subnetBroadcast) continue;
            device->Broadcast(std::vector<std::uint8_t>(buffer.begin(), buffer.begin() + size), from);
        }
    }
}

nlohmann::json Server::Statistics() const {
    nlohmann::json cameras = nlohmann::json::array();
    for (const auto& device : m_devices) {
        VirtualGenTL::VirtualCamera& camera = device->Camera();
        in_addr ip{htonl(camera.Bootstrap().Get(GigE::Register::currentIpAddress))};
        const ControlStatistics control = device->Statistics();
        const MessageStatistics messages = device->MessageChannelStatistics();
        nlohmann::json streams = nlohmann::json::array();
        for (std::uint32_t channel = 0; channel < device->StreamChannelCount(); ++channel) {
            const StreamStatistics stream = device->StreamChannelStatistics(channel);
            streams.push_back({{"blocks", stream.blocks},
                               {"packetsSent", stream.packetsSent},
                               {"packetsWithheld", stream.packetsWithheld},
                               {"resendRequests", stream.resendRequests},
                               {"packetsResent", stream.packetsResent},
                               {"packetsUnavailable", stream.packetsUnavailable},
                               {"testPackets", stream.testPackets}});
        }
        cameras.push_back({{"serialNumber", camera.Identity().serialNumber},
                           {"model", camera.Model().modelName},
                           {"address", inet_ntoa(ip)},
                           {"control",
                            {{"commands", control.commands},
                             {"acknowledges", control.acknowledges},
                             {"acknowledgesWithheld", control.acknowledgesWithheld},
                             {"pendingAcknowledges", control.pendingAcknowledges},
                             {"retriesReplayed", control.retriesReplayed},
                             {"errors", control.errors},
                             {"heartbeatExpiries", control.heartbeatExpiries},
                             {"actionsFired", control.actionsFired}}},
                           {"messages",
                            {{"events", messages.events},
                             {"retries", messages.retries},
                             {"acknowledged", messages.acknowledged},
                             {"unacknowledged", messages.unacknowledged}}},
                           {"streams", streams}});
    }
    return {{"cameras", cameras}};
}

} // namespace GvCamera
