#include "MessageChannel.h"

#include <arpa/inet.h>

#include <system_error>

#include <GigE/BootstrapRegisters.h>
#include <GigE/GvcpHeader.h>

#include "camera/BootstrapRegisters.h"
#include "camera/Failure.h"

namespace GvCamera {

namespace Reg = GigE::Register;

MessageChannel::MessageChannel(std::shared_ptr<VirtualGenTL::VirtualCamera> camera, FaultInjector& faults)
    : m_camera(std::move(camera)), m_faults(faults) {
    Socket();  // MCSP names the source port before the channel opens
    m_thread = std::thread([this] { Run(); });
}

MessageChannel::~MessageChannel() {
    {
        std::lock_guard lock(m_mutex);
        m_quit = true;
    }
    m_changed.notify_all();
    m_camera->ListenForEvents(false);  // ends a wait for the next event
    m_thread.join();
}

std::shared_ptr<Net::UdpSocket> MessageChannel::Socket() {
    std::lock_guard lock(m_mutex);
    const std::uint32_t ip = m_camera->Bootstrap().Get(Reg::currentIpAddress);
    if (!m_socket || ntohl(m_socket->LocalAddress().sin_addr.s_addr) != ip) {
        m_socket = std::make_shared<Net::UdpSocket>(Net::MakeAddress(ip, 0));
        m_camera->Bootstrap().Set(Reg::messageChannelSourcePort, m_socket->LocalPort());
    }
    return m_socket;
}

void MessageChannel::PortChanged() {
    const bool open = (m_camera->Bootstrap().Get(Reg::messageChannelPort) & Reg::ChannelPort::hostPortMask) != 0;
    if (open) Socket();
    {
        std::lock_guard lock(m_mutex);
        m_open = open;
    }
    m_camera->ListenForEvents(open);
    m_changed.notify_all();
}

void MessageChannel::Close() {
    m_camera->Bootstrap().Set(Reg::messageChannelPort, 0);
    PortChanged();
}

void MessageChannel::Run() {
    std::vector<std::uint8_t> packet(GigE::gvcpMaxDatagramSize);
    for (;;) {
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [&] { return m_quit || m_open; });
            if (m_quit) return;
        }
        size_t size = packet.size();
        try {
            m_camera->TakeEvent(packet.data(), &size, 100);
        } catch (const VirtualGenTL::ProducerError&) {
            continue;  // none yet, or the channel closed
        }
        if (size < 8 || m_faults.Silent()) continue;
        Deliver(std::vector<std::uint8_t>(packet.begin(), packet.begin() + std::ptrdiff_t(size)));
    }
}

void MessageChannel::Deliver(std::vector<std::uint8_t> packet) {
    const VirtualGenTL::BootstrapRegisters& registers = m_camera->Bootstrap();
    const sockaddr_in host = Net::MakeAddress(registers.Get(Reg::messageChannelDestinationAddress),
                                     std::uint16_t(registers.Get(Reg::messageChannelPort) & Reg::ChannelPort::hostPortMask));
    const auto timeout = std::chrono::milliseconds(registers.Get(Reg::messageChannelTransmissionTimeout));
    const std::uint32_t retries = registers.Get(Reg::messageChannelRetryCount);
    std::uint16_t requestId;
    {
        std::lock_guard lock(m_mutex);
        if (++m_requestId == 0) m_requestId = 1;  // 0 is no request id
        requestId = m_requestId;
        ++m_statistics.events;
    }
    // The camera made the whole command; the channel's own acknowledge flag and request id go in.
    const bool acknowledge = timeout.count() > 0;
    packet[1] = acknowledge ? GigE::CommandFlag::acknowledge : 0;
    packet[6] = std::uint8_t(requestId >> 8);
    packet[7] = std::uint8_t(requestId);
    const std::shared_ptr<Net::UdpSocket> socket = Socket();
    std::uint8_t answer[64];
    for (std::uint32_t attempt = 0; attempt <= retries; ++attempt) {
        try {
            socket->SendTo(packet, host);
        } catch (const std::system_error&) {
            return;  // no route to the host any more
        }
        if (!acknowledge) return;
        if (attempt > 0) {
            std::lock_guard lock(m_mutex);
            ++m_statistics.retries;
        }
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (std::chrono::steady_clock::now() < deadline) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            const std::optional<std::size_t> received = socket->Receive(answer, std::max(left, std::chrono::milliseconds(1)));
            if (!received) break;
            const auto parsed = GigE::parseAcknowledge(GigE::Bytes(answer, *received));
            if (parsed && parsed->header.acknowledgeId == requestId) {
                std::lock_guard lock(m_mutex);
                ++m_statistics.acknowledged;
                return;
            }
        }
    }
    std::lock_guard lock(m_mutex);
    ++m_statistics.unacknowledged;
}

MessageStatistics MessageChannel::Statistics() const {
    std::lock_guard lock(m_mutex);
    return m_statistics;
}

} // namespace GvCamera
