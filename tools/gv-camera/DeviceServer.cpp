#include "DeviceServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <system_error>

#include <GigE/BootstrapRegisters.h>

#include "camera/BootstrapRegisters.h"
#include "camera/Failure.h"

namespace GvCamera {

namespace Reg = GigE::Register;
using GigE::Status;
using Clock = std::chrono::steady_clock;

namespace {

// What a failure of the camera's registers means for a host.
Status StatusOf(const VirtualGenTL::ProducerError& error) {
    switch (error.Code()) {
    case GenTL::GC_ERR_INVALID_ADDRESS: return Status::InvalidAddress;
    case GenTL::GC_ERR_ACCESS_DENIED: return Status::WriteProtect;  // read-only, or locked while streaming
    case GenTL::GC_ERR_INVALID_PARAMETER: return Status::InvalidParameter;
    default: return Status::Error;
    }
}

// Requesters whose last answer is kept for their retries; more hosts than this rarely talk to
// one camera at the same time.
constexpr std::size_t kRememberedRequesters = 16;

// A host cannot keep up a shorter heartbeat through ordinary scheduling delays, and a
// timeout of 0 would drop the primary the moment it wrote it.
constexpr std::uint32_t kMinimumHeartbeatTimeoutMs = 500;

bool IsStreamChannelRegister(std::uint32_t address, std::uint32_t channels, std::uint32_t& channel, std::uint32_t& offset) {
    if (address < Reg::streamChannelBase) return false;
    channel = (address - Reg::streamChannelBase) / Reg::streamChannelStride;
    offset = (address - Reg::streamChannelBase) % Reg::streamChannelStride;
    return channel < channels;
}

} // namespace

DeviceServer::DeviceServer(std::shared_ptr<VirtualGenTL::VirtualCamera> camera, const FaultSettings& faults,
                           std::size_t resendBlocks)
    : m_camera(std::move(camera)), m_faults(faults) {
    Net::UdpSocketOptions options;
    options.reuseAddress = true;  // beside the server's broadcast socket on the same port
    options.broadcast = true;     // for acknowledges to hosts on another subnet
    m_control = std::make_unique<Net::UdpSocket>(Net::MakeAddress(m_camera->Bootstrap().Get(Reg::currentIpAddress), GigE::gvcpPort),
                                            options);
    if (::pipe2(m_wake, O_CLOEXEC | O_NONBLOCK) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    for (std::uint32_t channel = 0; channel < m_camera->Bootstrap().StreamChannels(); ++channel)
        m_streams.push_back(std::make_unique<StreamChannel>(m_camera, channel, m_faults, resendBlocks));
    m_messages = std::make_unique<MessageChannel>(m_camera, m_faults);
    m_thread = std::thread([this] { Run(); });
}

DeviceServer::~DeviceServer() {
    {
        std::lock_guard lock(m_inboxMutex);
        m_quit = true;
    }
    const char wake = 1;
    [[maybe_unused]] const auto written = ::write(m_wake[1], &wake, 1);
    m_thread.join();
    m_messages.reset();
    m_streams.clear();
    ::close(m_wake[0]);
    ::close(m_wake[1]);
}

void DeviceServer::Broadcast(std::vector<std::uint8_t> datagram, const sockaddr_in& from) {
    {
        std::lock_guard lock(m_inboxMutex);
        m_inbox.push_back({std::move(datagram), from, true});
    }
    const char wake = 1;
    [[maybe_unused]] const auto written = ::write(m_wake[1], &wake, 1);
}

void DeviceServer::Run() {
    std::vector<std::uint8_t> buffer(GigE::gvcpMaxDatagramSize + 64);
    for (;;) {
        pollfd descriptors[2] = {{m_control->Descriptor(), POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        ::poll(descriptors, 2, 20);  // also the heartbeat's and the scheduled actions' clock
        std::deque<Inbound> inbox;
        {
            std::lock_guard lock(m_inboxMutex);
            if (m_quit) return;
            inbox.swap(m_inbox);
        }
        if (descriptors[1].revents & POLLIN) {
            char drain[64];
            while (::read(m_wake[0], drain, sizeof drain) > 0) {
            }
        }
        ExpireHeartbeat();
        RunDueActions();
        for (const Inbound& inbound : inbox) Handle(inbound);
        if (descriptors[0].revents & POLLIN) {
            sockaddr_in from{};
            const std::optional<std::size_t> size = m_control->Receive(buffer, std::chrono::milliseconds(0), &from);
            if (size) Handle({std::vector<std::uint8_t>(buffer.begin(), buffer.begin() + std::ptrdiff_t(*size)), from, false});
        }
    }
}

void DeviceServer::Handle(const Inbound& inbound) {
    if (m_faults.Silent()) {
        // Unplugged: nothing answers, nothing streams.
        for (auto& stream : m_streams) stream->Close();
        m_messages->Close();
        return;
    }
    const GigE::ParsedDatagram parsed = GigE::parseCommandDatagram(inbound.datagram);
    if (parsed.check.ignored()) return;
    const GigE::CommandHeader& header = *parsed.check.header;
    const Requester requester{ntohl(inbound.from.sin_addr.s_addr), ntohs(inbound.from.sin_port)};
    {
        std::lock_guard lock(m_statisticsMutex);
        ++m_statistics.commands;
    }
    if (m_primary && *m_primary == requester) m_lastHeartbeat = Clock::now();
    // A host that repeats a request id did not get the answer: it gets the same one again,
    // without the command being carried out twice.
    const CachedAnswer* last = LastAnswer(requester);
    if (last && last->requestId == header.requestId && last->command == header.command &&
        header.command != std::uint16_t(GigE::CommandCode::Discovery)) {
        if (last->datagram.empty()) {
            std::lock_guard lock(m_statisticsMutex);
            ++m_statistics.retriesReplayed;
            return;
        }
        // The replay is an acknowledge like any other, and the injected loss hits it the same way.
        const bool drop = m_faults.DropAcknowledge();
        if (!drop) Send(last->datagram, inbound.from, false);
        std::lock_guard lock(m_statisticsMutex);
        ++m_statistics.retriesReplayed;
        ++(drop ? m_statistics.acknowledgesWithheld : m_statistics.acknowledges);
        return;
    }
    if (parsed.status != Status::Success || !parsed.command) {
        Answer(header, parsed.status, {}, inbound.from);
        return;
    }
    VirtualGenTL::BootstrapRegisters& bootstrap = m_camera->Bootstrap();
    const GigE::AnyCommand& command = *parsed.command;

    if (const auto* discovery = std::get_if<GigE::DiscoveryCommand>(&command)) {
        if (inbound.broadcast) {
            // Spread the answers of many cameras over the discovery acknowledge delay.
            const std::uint32_t delay = bootstrap.Get(Reg::discoveryAckDelay);
            if (delay > 0) {
                static thread_local std::mt19937 random{std::random_device{}()};
                std::this_thread::sleep_for(
                    std::chrono::milliseconds(std::uniform_int_distribution<std::uint32_t>(0, delay)(random)));
            }
        }
        GigE::DiscoveryAcknowledge answer;
        const std::uint32_t version = bootstrap.Get(Reg::version);
        answer.versionMajor = std::uint16_t(version >> 16);
        answer.versionMinor = std::uint16_t(version);
        answer.deviceMode = bootstrap.Get(Reg::deviceMode);
        const std::uint64_t mac = (std::uint64_t(bootstrap.Get(Reg::macAddressHigh)) << 32) | bootstrap.Get(Reg::macAddressLow);
        for (int byte = 0; byte < 6; ++byte) answer.macAddress[std::size_t(byte)] = std::uint8_t(mac >> (40 - 8 * byte));
        answer.supportedIpConfiguration = bootstrap.Get(Reg::networkInterfaceCapability);
        answer.currentIpConfiguration = bootstrap.Get(Reg::networkInterfaceConfiguration);
        answer.ipAddress = bootstrap.Get(Reg::currentIpAddress);
        answer.subnetMask = bootstrap.Get(Reg::currentSubnetMask);
        answer.defaultGateway = bootstrap.Get(Reg::currentDefaultGateway);
        answer.manufacturerName = bootstrap.Text(Reg::manufacturerName, Reg::stringSize);
        answer.modelName = bootstrap.Text(Reg::modelName, Reg::stringSize);
        answer.deviceVersion = bootstrap.Text(Reg::deviceVersion, Reg::stringSize);
        answer.manufacturerInfo = bootstrap.Text(Reg::manufacturerInfo, Reg::manufacturerInfoSize);
        answer.serialNumber = bootstrap.Text(Reg::serialNumber, Reg::shortStringSize);
        answer.userDefinedName = bootstrap.Text(Reg::userDefinedName, Reg::shortStringSize);
        Answer(header, Status::Success, answer.encodePayload(), inbound.from, discovery->allowBroadcastAcknowledge);
        return;
    }
    if (const auto* force = std::get_if<GigE::ForceIpCommand>(&command)) {
        const std::uint64_t mac = (std::uint64_t(bootstrap.Get(Reg::macAddressHigh)) << 32) | bootstrap.Get(Reg::macAddressLow);
        std::uint64_t target = 0;
        for (std::uint8_t byte : force->macAddress) target = target << 8 | byte;
        if (target != mac) return;  // meant for another device
        if (m_primary && !(*m_primary == requester)) {
            Answer(header, Status::AccessDenied, {}, inbound.from, true);
            return;
        }
        // 0.0.0.0 restarts the address sequence, which for this camera ends at its persistent address.
        const std::uint32_t ip = force->ipAddress != 0 ? force->ipAddress : bootstrap.Get(Reg::persistentIpAddress);
        const std::uint32_t mask = force->ipAddress != 0 ? force->subnetMask : bootstrap.Get(Reg::persistentSubnetMask);
        const std::uint32_t gateway =
            force->ipAddress != 0 ? force->defaultGateway : bootstrap.Get(Reg::persistentDefaultGateway);
        try {
            Rebind(ip);
        } catch (const std::system_error&) {
            // The address is not one of this host's: the camera cannot take it.
            Answer(header, Status::Error, {}, inbound.from, true);
            return;
        }
        ReleaseControl(false);
        m_camera->SetAddress(ip, mask, gateway);
        Answer(header, Status::Success, {}, inbound.from, true);
        return;
    }
    if (const auto* read = std::get_if<GigE::ReadRegisterCommand>(&command)) {
        if (!MayRead(requester)) return Answer(header, Status::AccessDenied, {}, inbound.from);
        GigE::ReadRegisterAcknowledge answer;
        for (std::uint32_t address : read->addresses) {
            std::uint32_t value = 0;
            const Status status = ReadWord(address, value);
            if (status != Status::Success) return Answer(header, status, {}, inbound.from);
            answer.values.push_back(value);
        }
        std::vector<std::uint8_t> payload;
        GigE::ByteWriter writer(payload);
        for (std::uint32_t value : answer.values) writer.uint32(value);
        return Answer(header, Status::Success, payload, inbound.from);
    }
    if (const auto* write = std::get_if<GigE::WriteRegisterCommand>(&command)) {
        std::uint16_t done = 0;
        Status status = Status::Success;
        for (const GigE::RegisterWrite& entry : write->writes) {
            status = entry.address == Reg::controlChannelPrivilege ? WriteControlPrivilege(entry.value, requester)
                     : MayWrite(requester)                       ? WriteWord(entry.address, entry.value, requester)
                                                                 : Status::AccessDenied;
            if (status != Status::Success) break;
            ++done;
        }
        std::vector<std::uint8_t> payload;
        GigE::ByteWriter writer(payload);
        writer.uint16(0);
        writer.uint16(done);
        return Answer(header, status, payload, inbound.from);
    }
    if (const auto* read = std::get_if<GigE::ReadMemoryCommand>(&command)) {
        if (!MayRead(requester)) return Answer(header, Status::AccessDenied, {}, inbound.from);
        std::vector<std::uint8_t> data(read->count);
        const Status status = ReadBlock(read->address, data.data(), data.size());
        if (status != Status::Success) return Answer(header, status, {}, inbound.from);
        std::vector<std::uint8_t> payload;
        GigE::ByteWriter writer(payload);
        writer.uint32(read->address);
        writer.bytes(data);
        return Answer(header, Status::Success, payload, inbound.from);
    }
    if (const auto* write = std::get_if<GigE::WriteMemoryCommand>(&command)) {
        Status status = MayWrite(requester) ? Status::Success : Status::AccessDenied;
        std::size_t done = 0;
        if (status == Status::Success && write->address >= Reg::deviceSpecificStart) {
            try {
                m_camera->Registers().Write(write->address, write->data.data(), write->data.size());
                done = write->data.size();
            } catch (const VirtualGenTL::ProducerError& error) {
                status = StatusOf(error);
            }
        } else {
            // Bootstrap registers one by one, for what their writes set going.
            for (; status == Status::Success && done + 4 <= write->data.size(); done += 4) {
                const std::uint32_t value = GigE::readUint32(write->data, done);
                const std::uint32_t address = write->address + std::uint32_t(done);
                status = address == Reg::controlChannelPrivilege ? WriteControlPrivilege(value, requester)
                                                                 : WriteWord(address, value, requester);
                if (status != Status::Success) break;
            }
        }
        std::vector<std::uint8_t> payload;
        GigE::ByteWriter writer(payload);
        writer.uint16(0);
        writer.uint16(std::uint16_t(done));
        return Answer(header, status, payload, inbound.from);
    }
    if (const auto* resend = std::get_if<GigE::PacketResendCommand>(&command)) {
        // Never acknowledged: the answer is the packets. Requests come from the host's stream
        // socket, not its control socket, so the sender's port says nothing about privilege.
        if (resend->streamChannel < m_streams.size()) m_streams[resend->streamChannel]->Resend(*resend);
        return;
    }
    if (const auto* action = std::get_if<GigE::ActionCommand>(&command)) {
        bool matched = false;
        const Status status = Act(*action, matched);
        if (matched) Answer(header, status, {}, inbound.from);
        return;
    }
    // EVENT and EVENTDATA go from devices to hosts, not the other way.
    Answer(header, Status::NotImplemented, {}, inbound.from);
}

void DeviceServer::Answer(const GigE::CommandHeader& header, Status status, GigE::Bytes payload, const sockaddr_in& to,
                          bool broadcastFallback) {
    CachedAnswer cached{{ntohl(to.sin_addr.s_addr), ntohs(to.sin_port)}, header.requestId, header.command, {}};
    if (header.acknowledgeRequested()) cached.datagram = GigE::encodeAcknowledgeFor(header, status, payload);
    std::erase_if(m_lastAnswers, [&](const CachedAnswer& answer) { return answer.requester == cached.requester; });
    if (m_lastAnswers.size() == kRememberedRequesters) m_lastAnswers.pop_front();
    m_lastAnswers.push_back(std::move(cached));
    if (!header.acknowledgeRequested()) return;
    {
        std::lock_guard lock(m_statisticsMutex);
        if (status != Status::Success) ++m_statistics.errors;
    }
    const std::chrono::milliseconds slow = m_faults.Settings().slowAnswer;
    if (slow.count() > 0 && header.command != std::uint16_t(GigE::CommandCode::Discovery)) {
        // Longer than the device promised to take: tell the host to keep waiting.
        const VirtualGenTL::BootstrapRegisters& bootstrap = m_camera->Bootstrap();
        if (slow.count() > bootstrap.Get(Reg::pendingTimeout) &&
            (bootstrap.Get(Reg::gvcpConfiguration) & Reg::GvcpConfiguration::pendingAck) != 0) {
            const GigE::PendingAcknowledge pending{std::uint16_t(std::min<std::int64_t>(slow.count() + 100, 0xFFFF))};
            Send(pending.encode(header.requestId), to, broadcastFallback);
            std::lock_guard lock(m_statisticsMutex);
            ++m_statistics.pendingAcknowledges;
        }
        std::this_thread::sleep_for(slow);
    }
    if (m_faults.DropAcknowledge()) {
        std::lock_guard lock(m_statisticsMutex);
        ++m_statistics.acknowledgesWithheld;
        return;
    }
    Send(m_lastAnswers.back().datagram, to, broadcastFallback);
    std::lock_guard lock(m_statisticsMutex);
    ++m_statistics.acknowledges;
}

void DeviceServer::Send(std::span<const std::uint8_t> datagram, const sockaddr_in& to, bool broadcastFallback) {
    try {
        m_control->SendTo(datagram, to);
    } catch (const std::system_error&) {
        // A host on another subnet that allowed it gets a broadcast instead.
        if (!broadcastFallback) return;
        try {
            m_control->SendTo(datagram, Net::MakeAddress(INADDR_BROADCAST, ntohs(to.sin_port)));
        } catch (const std::system_error&) {
        }
    }
}

bool DeviceServer::MayRead(const Requester& requester) const {
    const std::uint32_t privilege = m_camera->Bootstrap().Get(Reg::controlChannelPrivilege);
    return !m_primary || *m_primary == requester || (privilege & Reg::ControlChannelPrivilege::exclusiveAccess) == 0;
}

bool DeviceServer::MayWrite(const Requester& requester) const { return m_primary && *m_primary == requester; }

GigE::Status DeviceServer::WriteControlPrivilege(std::uint32_t value, const Requester& requester) {
    namespace Ccp = Reg::ControlChannelPrivilege;
    if (m_primary && !(*m_primary == requester)) return Status::AccessDenied;  // no switchover
    VirtualGenTL::BootstrapRegisters& bootstrap = m_camera->Bootstrap();
    if ((value & (Ccp::controlAccess | Ccp::exclusiveAccess)) == 0) {
        if (m_primary) ReleaseControl(false);
        return Status::Success;
    }
    if (m_faults.Settings().refuseControl) return Status::AccessDenied;
    m_primary = requester;
    m_lastHeartbeat = Clock::now();
    bootstrap.Set(Reg::controlChannelPrivilege,
                  (value & Ccp::exclusiveAccess) != 0 ? Ccp::exclusiveAccess : Ccp::controlAccess);
    bootstrap.Set(Reg::primaryApplicationPort, requester.port);
    bootstrap.Set(Reg::primaryApplicationIpAddress, requester.ip);
    return Status::Success;
}

void DeviceServer::ExpireHeartbeat() {
    if (!m_primary) return;
    const VirtualGenTL::BootstrapRegisters& bootstrap = m_camera->Bootstrap();
    if ((bootstrap.Get(Reg::gvcpConfiguration) & Reg::GvcpConfiguration::heartbeatDisable) != 0) return;
    const auto timeout = std::chrono::milliseconds(bootstrap.Get(Reg::heartbeatTimeout));
    if (Clock::now() - m_lastHeartbeat < timeout) return;
    {
        std::lock_guard lock(m_statisticsMutex);
        ++m_statistics.heartbeatExpiries;
    }
    ReleaseControl(true);
}

// The primary left, cleanly or by going silent: its channels close and the camera stops, so
// that the next application finds it as after power-up.
void DeviceServer::ReleaseControl(bool expired) {
    VirtualGenTL::BootstrapRegisters& bootstrap = m_camera->Bootstrap();
    m_primary.reset();
    bootstrap.Set(Reg::controlChannelPrivilege, 0);
    bootstrap.Set(Reg::primaryApplicationPort, 0);
    bootstrap.Set(Reg::primaryApplicationIpAddress, 0);
    bool streaming = false;
    for (std::uint32_t channel = 0; channel < m_streams.size(); ++channel) {
        const std::uint32_t base = Reg::streamChannel(channel);
        const bool unconditional = (bootstrap.Get(base + Reg::StreamChannelOffset::configuration) &
                                    Reg::StreamChannelConfiguration::unconditionalStreaming) != 0;
        if (expired && unconditional) {
            streaming = true;
            continue;
        }
        m_streams[channel]->Close();
    }
    m_messages->Close();
    if (streaming) return;
    VirtualGenTL::RegisterSpace& registers = m_camera->Registers();
    const std::uint8_t one[4] = {0, 0, 0, 1};
    try {
        registers.Write(registers.GetDescription().Get("AcquisitionStop").address, one, sizeof one);
        registers.SetInteger("TLParamsLocked", 0);
    } catch (const VirtualGenTL::ProducerError&) {
    }
}

GigE::Status DeviceServer::ReadWord(std::uint32_t address, std::uint32_t& value) {
    std::uint8_t bytes[4];
    const Status status = ReadBlock(address, bytes, 4);
    value = GigE::readUint32(bytes, 0);
    return status;
}

GigE::Status DeviceServer::ReadBlock(std::uint32_t address, std::uint8_t* data, std::size_t size) {
    try {
        m_camera->Registers().Read(address, data, size);
        return Status::Success;
    } catch (const VirtualGenTL::ProducerError& error) {
        return StatusOf(error);
    }
}

GigE::Status DeviceServer::WriteWord(std::uint32_t address, std::uint32_t value, const Requester&) {
    std::uint8_t bytes[4] = {std::uint8_t(value >> 24), std::uint8_t(value >> 16), std::uint8_t(value >> 8),
                             std::uint8_t(value)};
    if (address == Reg::heartbeatTimeout && value < kMinimumHeartbeatTimeoutMs) {
        value = kMinimumHeartbeatTimeoutMs;
        for (int byte = 0; byte < 4; ++byte) bytes[byte] = std::uint8_t(value >> (24 - 8 * byte));
    }
    std::uint32_t channel = 0, offset = 0;
    if (IsStreamChannelRegister(address, std::uint32_t(m_streams.size()), channel, offset) &&
        offset == Reg::StreamChannelOffset::packetSize) {
        // The device chooses within its limits: a multiple of 4 from 576 to a jumbo frame.
        const std::uint32_t size = std::clamp<std::uint32_t>(value & Reg::StreamChannelPacketSize::packetSizeMask, 576, 9000) & ~3u;
        const std::uint32_t stored = (value & ~Reg::StreamChannelPacketSize::packetSizeMask) | size;
        for (int byte = 0; byte < 4; ++byte) bytes[byte] = std::uint8_t(stored >> (24 - 8 * byte));
    }
    try {
        m_camera->Registers().Write(address, bytes, sizeof bytes);
    } catch (const VirtualGenTL::ProducerError& error) {
        return StatusOf(error);
    }
    if (address < Reg::deviceSpecificStart) AfterBootstrapWrite(address);
    return Status::Success;
}

void DeviceServer::AfterBootstrapWrite(std::uint32_t address) {
    VirtualGenTL::BootstrapRegisters& bootstrap = m_camera->Bootstrap();
    if (address == Reg::messageChannelPort) return m_messages->PortChanged();
    std::uint32_t channel = 0, offset = 0;
    if (!IsStreamChannelRegister(address, std::uint32_t(m_streams.size()), channel, offset)) return;
    namespace Sc = Reg::StreamChannelOffset;
    if (offset == Sc::port || offset == Sc::destinationAddress) m_streams[channel]->PortChanged();
    if (offset == Sc::packetSize) {
        const std::uint32_t value = bootstrap.Get(address);
        if ((value & Reg::StreamChannelPacketSize::fireTestPacket) != 0) {
            bootstrap.Set(address, value & ~Reg::StreamChannelPacketSize::fireTestPacket);  // self-clearing
            m_streams[channel]->FireTestPacket();
        }
    }
}

GigE::Status DeviceServer::Act(const GigE::ActionCommand& action, bool& matched) {
    const VirtualGenTL::BootstrapRegisters& bootstrap = m_camera->Bootstrap();
    const std::uint32_t signals = bootstrap.Get(Reg::actionSignalCount);
    matched = false;
    for (std::uint32_t signal = 0; signal < signals; ++signal)
        matched = matched || action.matches(bootstrap.Get(Reg::actionDeviceKey), bootstrap.Get(Reg::actionGroupKey(signal)),
                                            bootstrap.Get(Reg::actionGroupMask(signal)));
    if (!matched) return Status::Success;
    // Actions belong to the application in control; without one there is nothing to act for.
    if (!m_primary && (bootstrap.Get(Reg::gvcpConfiguration) & Reg::GvcpConfiguration::unconditionalAction) == 0)
        return Status::AccessDenied;
    if (action.actionTime) {
        const std::uint64_t now = VirtualGenTL::BootstrapRegisters::Ticks();
        if (*action.actionTime <= now) {
            FireAction();
            return Status::ActionLate;
        }
        if (m_scheduled.size() >= bootstrap.Get(Reg::scheduledActionQueueSize)) return Status::Overflow;
        m_scheduled.push_back({*action.actionTime});
        return Status::Success;
    }
    FireAction();
    return Status::Success;
}

void DeviceServer::RunDueActions() {
    const std::uint64_t now = VirtualGenTL::BootstrapRegisters::Ticks();
    for (auto action = m_scheduled.begin(); action != m_scheduled.end();) {
        if (action->time > now) {
            ++action;
            continue;
        }
        FireAction();
        action = m_scheduled.erase(action);
    }
}

// An action signal triggers a frame when the camera waits for one from Action1.
void DeviceServer::FireAction() {
    {
        std::lock_guard lock(m_statisticsMutex);
        ++m_statistics.actionsFired;
    }
    VirtualGenTL::RegisterSpace& registers = m_camera->Registers();
    if (registers.GetInteger("TriggerMode") != 0 && registers.GetInteger("TriggerSource") == 1) m_camera->Trigger();
}

const DeviceServer::CachedAnswer* DeviceServer::LastAnswer(const Requester& requester) const {
    for (const CachedAnswer& answer : m_lastAnswers)
        if (answer.requester == requester) return &answer;
    return nullptr;
}

void DeviceServer::Rebind(std::uint32_t ip) {
    if (ip == m_camera->Bootstrap().Get(Reg::currentIpAddress)) return;
    Net::UdpSocketOptions options;
    options.reuseAddress = true;
    options.broadcast = true;
    m_control = std::make_unique<Net::UdpSocket>(Net::MakeAddress(ip, GigE::gvcpPort), options);
}

ControlStatistics DeviceServer::Statistics() const {
    std::lock_guard lock(m_statisticsMutex);
    return m_statistics;
}

StreamStatistics DeviceServer::StreamChannelStatistics(std::uint32_t channel) const {
    return m_streams.at(channel)->Statistics();
}

MessageStatistics DeviceServer::MessageChannelStatistics() const { return m_messages->Statistics(); }

} // namespace GvCamera
