#include "StreamChannel.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <system_error>

#include <GigE/BootstrapRegisters.h>
#include <GigE/GvspHeader.h>
#include <GigE/PacketSizing.h>

#include "camera/BootstrapRegisters.h"
#include "camera/EventSensor.h"
#include "camera/Failure.h"

namespace GvCamera {

namespace Reg = GigE::Register;
namespace Sc = GigE::Register::StreamChannelOffset;

namespace {

// Error packets for a block that is gone: enough for a receiver to give up on the range, few
// enough that a request for a huge range cannot make the device flood the network.
constexpr std::uint32_t kMaximumErrorPackets = 16;

} // namespace

StreamChannel::StreamChannel(std::shared_ptr<VirtualGenTL::VirtualCamera> camera, std::uint32_t index,
                             FaultInjector& faults, std::size_t resendBlocks)
    : m_camera(std::move(camera)), m_index(index), m_base(Reg::streamChannel(index)), m_faults(faults),
      m_resendBlocks(std::max<std::size_t>(1, resendBlocks)) {
    Socket();  // the source port is known before the channel opens, as SCSPn promises
    if (VirtualGenTL::CarriesSensorEvents(m_camera->Model(), index)) m_sensor = std::make_unique<VirtualGenTL::EventSensor>();
    m_thread = std::thread([this] { Run(); });
}

StreamChannel::~StreamChannel() {
    {
        std::lock_guard lock(m_mutex);
        m_quit = true;
        m_interrupt = true;
    }
    m_changed.notify_all();
    m_camera->WakeWaiters();
    m_thread.join();
}

std::shared_ptr<Net::UdpSocket> StreamChannel::Socket() {
    std::lock_guard lock(m_mutex);
    const std::uint32_t ip = m_camera->Bootstrap().Get(Reg::currentIpAddress);
    if (!m_socket || ntohl(m_socket->LocalAddress().sin_addr.s_addr) != ip) {
        Net::UdpSocketOptions options;
        options.sendBufferBytes = Net::streamSendBufferBytes;
        m_socket = std::make_shared<Net::UdpSocket>(Net::MakeAddress(ip, 0), options);
        m_camera->Bootstrap().Set(m_base + Sc::sourcePort, m_socket->LocalPort());
    }
    return m_socket;
}

std::optional<StreamChannel::Destination> StreamChannel::CurrentDestination() const {
    const VirtualGenTL::BootstrapRegisters& registers = m_camera->Bootstrap();
    const std::uint32_t port = registers.Get(m_base + Sc::port) & Reg::ChannelPort::hostPortMask;
    const std::uint32_t ip = registers.Get(m_base + Sc::destinationAddress);
    if (port == 0 || ip == 0) return std::nullopt;
    Destination destination;
    destination.address = Net::MakeAddress(ip, std::uint16_t(port));
    const std::uint32_t packetSize = registers.Get(m_base + Sc::packetSize);
    destination.packetSize = packetSize & Reg::StreamChannelPacketSize::packetSizeMask;
    destination.doNotFragment = (packetSize & Reg::StreamChannelPacketSize::doNotFragment) != 0;
    // Ticks of the device clock, which counts nanoseconds.
    destination.delay = std::chrono::nanoseconds(std::uint64_t(registers.Get(m_base + Sc::packetDelay)) * 1000000000ull /
                                                 VirtualGenTL::BootstrapRegisters::kTickFrequency);
    destination.extendedId = (registers.Get(Reg::gvspConfiguration) & Reg::GvspConfiguration::extendedIds) != 0;
    destination.multiPart =
        (registers.Get(m_base + Sc::configuration) & Reg::StreamChannelConfiguration::multiPart) != 0;
    if (destination.multiPart)
        destination.parts = std::uint32_t(std::max<std::int64_t>(1, m_camera->Registers().GetInteger("MultiPartFrameCount", m_index)));
    return destination;
}

void StreamChannel::PortChanged() {
    const bool open = CurrentDestination().has_value();
    if (open) Socket();
    if (open) m_restartSensor = true;
    {
        std::lock_guard lock(m_mutex);
        m_open = open;
        m_interrupt = !open;
    }
    m_changed.notify_all();
    if (!open) m_camera->WakeWaiters();
}

void StreamChannel::Close() {
    m_camera->Bootstrap().Set(m_base + Sc::port, 0);
    PortChanged();
}

void StreamChannel::Run() {
    PacketSender* sender = nullptr;
    std::unique_ptr<PacketSender> ownSender;
    std::shared_ptr<Net::UdpSocket> socket;
    for (;;) {
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [&] { return m_quit || m_open; });
            if (m_quit) return;
        }
        if (m_faults.Silent()) {
            std::unique_lock lock(m_mutex);
            m_changed.wait_for(lock, std::chrono::milliseconds(100), [&] { return m_quit; });
            continue;
        }
        if (!m_camera->WaitForFrame(&m_interrupt)) continue;
        const std::optional<Destination> destination = CurrentDestination();
        if (!destination || m_faults.Silent()) continue;
        // A multi-part block carries that many frames back to back, each one part, as a line
        // scan camera fills a buffer with blocks of lines.
        const std::uint32_t parts = destination->multiPart ? destination->parts : 1;
        if (m_sensor && m_restartSensor.exchange(false)) m_sensor->Start(m_sensorOutput, VirtualGenTL::BootstrapRegisters::Ticks());
        std::vector<VirtualGenTL::FrameInfo> frames;
        // The memory of a block that left the resend buffer: a fresh frame-sized allocation
        // would be mapped and faulted in page by page for every frame.
        std::vector<std::uint8_t> data;
        {
            std::lock_guard lock(m_mutex);
            if (!m_spare.empty()) {
                data = std::move(m_spare.back());
                m_spare.pop_back();
            }
        }
        // Grown only where the last frame was smaller, which spares zeroing what the camera
        // overwrites anyway.
        std::size_t used = 0;
        for (std::uint32_t part = 0; part < parts; ++part) {
            const std::size_t room = m_sensor ? VirtualGenTL::EventSensor::PayloadSize(m_sensorOutput, Width(), Height())
                                              : m_camera->PayloadSize();
            if (data.size() < used + room) data.resize(used + room);
            frames.push_back(m_camera->Produce(data.data() + used, room, m_sensor.get(), &m_triggers));
            m_triggers.clear();
            used += frames.back().sizeFilled;
        }
        data.resize(used);

        const std::uint64_t count = m_nextBlock++;
        const std::uint64_t wireId = destination->extendedId ? count : (count - 1) % 0xFFFF + 1;
        std::shared_ptr<StreamBlock> block;
        try {
            block = std::make_shared<StreamBlock>(wireId, frames, std::move(data), destination->packetSize,
                                                        destination->extendedId, destination->multiPart);
        } catch (const std::invalid_argument&) {
            continue;  // a packet size too small for any data: nothing can be sent
        }
        {
            std::lock_guard lock(m_mutex);
            m_sent.push_back(block);
            while (m_sent.size() > m_resendBlocks) {
                // A block no resend is using any more gives its memory to the next frame.
                if (m_sent.front().use_count() == 1 && m_spare.size() < 2) m_spare.push_back(m_sent.front()->TakeData());
                m_sent.pop_front();
            }
            ++m_statistics.blocks;
        }
        if (std::shared_ptr<Net::UdpSocket> current = Socket(); current != socket) {
            socket = current;
            ownSender = std::make_unique<PacketSender>(socket->Descriptor());
            sender = ownSender.get();
        }
        socket->SetFragmentation(destination->doNotFragment ? Net::Fragmentation::Forbid : Net::Fragmentation::Allow);
        sender->SetDestination(destination->address);
        sender->SetInterPacketDelay(destination->delay);

        std::vector<std::uint8_t> header;
        std::vector<std::uint8_t> heldHeader;
        std::span<const std::uint8_t> heldContent;
        bool holding = false;
        std::uint64_t sent = 0, withheld = 0, position = 0;
        for (std::uint32_t packet = 0; packet < block->PacketCount(); ++packet) {
            if (m_faults.DropStreamPacket(!block->IsPayload(packet))) {
                ++withheld;
                continue;
            }
            header.clear();
            block->Header(packet, GigE::Status::Success, 0, header);
            const std::uint32_t every = m_faults.Settings().reorderEvery;
            if (every != 0 && ++position % every == 0 && !holding && packet + 1 < block->PacketCount()) {
                heldHeader = header;  // goes out after the next packet
                heldContent = block->Content(packet);
                holding = true;
                continue;
            }
            try {
                sender->Add(header, block->Content(packet));
                ++sent;
                if (holding) {
                    sender->Add(heldHeader, heldContent);
                    ++sent;
                    holding = false;
                }
            } catch (const std::system_error&) {
                break;  // the host's network went away; the next frame tries again
            }
        }
        try {
            if (holding) {
                sender->Add(heldHeader, heldContent);
                ++sent;
            }
            sender->Flush();
        } catch (const std::system_error&) {
        }
        std::lock_guard lock(m_mutex);
        m_statistics.packetsSent += sent;
        m_statistics.packetsWithheld += withheld;
    }
}

std::uint64_t StreamChannel::Width() const { return std::uint64_t(m_camera->Registers().GetInteger("Width")); }
std::uint64_t StreamChannel::Height() const { return std::uint64_t(m_camera->Registers().GetInteger("Height")); }

std::shared_ptr<const StreamBlock> StreamChannel::Find(std::uint64_t blockId, bool extendedId) const {
    std::lock_guard lock(m_mutex);
    for (auto block = m_sent.rbegin(); block != m_sent.rend(); ++block)
        if ((*block)->Id() == blockId && (*block)->ExtendedId() == extendedId) return *block;
    return nullptr;
}

void StreamChannel::Resend(const GigE::PacketResendCommand& request) {
    const std::optional<Destination> destination = CurrentDestination();
    if (!destination) return;
    const std::shared_ptr<const StreamBlock> block = Find(request.blockId, request.extendedId);
    std::lock_guard resendLock(m_resendMutex);
    const std::shared_ptr<Net::UdpSocket> socket = Socket();
    PacketSender sender(socket->Descriptor(), 16);
    sender.SetDestination(destination->address);
    std::vector<std::uint8_t> header;
    std::uint64_t resent = 0, unavailable = 0;
    // Ids past the trailer (or "to the end") stop at the block's last packet.
    const std::uint32_t last = block ? std::min(request.lastPacketId, block->TrailerPacketId()) : request.lastPacketId;
    try {
        for (std::uint64_t packet = request.firstPacketId; packet <= last; ++packet) {
            header.clear();
            if (block) {
                block->Header(std::uint32_t(packet), GigE::Status::PacketResend, GigE::GvspFlag::packetResend, header);
                sender.Add(header, block->Content(std::uint32_t(packet)));
                ++resent;
                continue;
            }
            if (unavailable == kMaximumErrorPackets) break;
            // A header alone, with the block and packet asked for, says the packet is gone.
            GigE::GvspHeader gone;
            gone.status = GigE::Status::PacketUnavailable;
            gone.extendedId = request.extendedId;
            gone.format = GigE::PacketFormat::Payload;
            gone.blockId = request.blockId;
            gone.packetId = std::uint32_t(packet);
            gone.encodeInto(header);
            sender.Add(header, {});
            ++unavailable;
        }
        sender.Flush();
    } catch (const std::system_error&) {
    }
    std::lock_guard lock(m_mutex);
    ++m_statistics.resendRequests;
    m_statistics.packetsResent += resent;
    m_statistics.packetsUnavailable += unavailable;
}

void StreamChannel::FireTestPacket() {
    const std::optional<Destination> destination = CurrentDestination();
    if (!destination || destination->packetSize <= GigE::ipHeaderSize + GigE::udpHeaderSize) return;
    const std::shared_ptr<Net::UdpSocket> socket = Socket();
    std::vector<std::uint8_t> datagram(GigE::udpPayloadSize(destination->packetSize), 0);
    try {
        socket->SetFragmentation(destination->doNotFragment ? Net::Fragmentation::Forbid : Net::Fragmentation::Allow);
        socket->SendTo(datagram, destination->address);
    } catch (const std::system_error&) {
        return;  // larger than the path allows: that is what the host wants to find out
    }
    std::lock_guard lock(m_mutex);
    ++m_statistics.testPackets;
}

StreamStatistics StreamChannel::Statistics() const {
    std::lock_guard lock(m_mutex);
    return m_statistics;
}

} // namespace GvCamera
