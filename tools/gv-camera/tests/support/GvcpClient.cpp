#include "GvcpClient.h"

#include <GigE/BootstrapRegisters.h>
#include <GigE/MemoryAccess.h>

namespace GvCameraTest {

namespace {

std::uint16_t Code(GigE::AcknowledgeCode code) { return static_cast<std::uint16_t>(code); }

} // namespace

GvcpClient::GvcpClient(GigE::Ipv4Address localAddress, GigE::Ipv4Address deviceAddress, GvcpClientOptions options)
    : m_socket(localAddress), m_deviceAddress(deviceAddress), m_options(options),
      m_nextRequestId(options.firstRequestId == 0 ? 1 : options.firstRequestId) {
    // Discovery and FORCEIP go out as broadcasts from the session's own socket.
    m_socket.EnableBroadcast();
}

GvcpClient::~GvcpClient() { StopHeartbeat(); }

GvcpCounters GvcpClient::Counters() const {
    std::lock_guard lock(m_commandLock);
    return m_counters;
}

std::uint16_t GvcpClient::TakeRequestId() {
    const std::uint16_t id = m_nextRequestId;
    m_nextRequestId = m_nextRequestId == 0xFFFF ? 1 : static_cast<std::uint16_t>(m_nextRequestId + 1);
    return id;
}

std::uint16_t GvcpClient::NextRequestId() {
    std::lock_guard lock(m_commandLock);
    return TakeRequestId();
}

GvcpReply GvcpClient::Transact(std::vector<std::uint8_t> datagram, std::uint16_t requestId,
                               std::uint16_t expectedAcknowledge) {
    GvcpReply reply;
    reply.requestId = requestId;
    // Anything left over from an earlier command would otherwise be read as this one's answer.
    m_counters.staleAcknowledgesDropped += m_socket.Drain();
    ++m_counters.commandsSent;
    for (int attempt = 1; attempt <= m_options.attempts; ++attempt) {
        reply.attempts = attempt;
        if (attempt > 1) ++m_counters.retries;
        m_socket.SendTo(datagram, m_deviceAddress, m_devicePort);
        auto deadline = Clock::now() + m_options.acknowledgeTimeout;
        while (auto received = m_socket.Receive(deadline)) {
            const bool fromDevice = received->sourceAddress == m_deviceAddress && received->sourcePort == m_devicePort;
            const auto acknowledge = GigE::parseAcknowledge(received->bytes);
            if (!fromDevice || !acknowledge || acknowledge->header.acknowledgeId != requestId) {
                ++m_counters.staleAcknowledgesDropped;
                continue;
            }
            ++m_counters.acknowledgesReceived;
            if (acknowledge->header.acknowledge == Code(GigE::AcknowledgeCode::Pending)) {
                ++m_counters.pendingAcknowledges;
                ++reply.pendingAcknowledges;
                const auto pending = GigE::PendingAcknowledge::parse(*acknowledge);
                // The device announced how much longer it needs: the wait restarts from now.
                const auto extra = pending ? Milliseconds(pending->timeToCompletionMs) : m_options.acknowledgeTimeout;
                deadline = Clock::now() + extra;
                continue;
            }
            if (acknowledge->header.acknowledge != expectedAcknowledge) {
                ++m_counters.staleAcknowledgesDropped;
                continue;
            }
            reply.status = acknowledge->header.status;
            reply.header = acknowledge->header;
            reply.payload.assign(acknowledge->payload.begin(), acknowledge->payload.end());
            return reply;
        }
    }
    ++m_counters.commandsTimedOut;
    return reply;
}

GvcpReply GvcpClient::Exchange(std::uint16_t commandCode, GigE::Bytes payload, std::uint8_t flags) {
    std::lock_guard lock(m_commandLock);
    const std::uint16_t id = TakeRequestId();
    return Transact(GigE::encodeCommand(flags, commandCode, id, payload), id, GigE::acknowledgeCodeFor(commandCode));
}

ReadRegistersReply GvcpClient::ReadRegister(std::uint32_t address) { return ReadRegisters({address}); }

ReadRegistersReply GvcpClient::ReadRegisters(const std::vector<std::uint32_t>& addresses) {
    std::lock_guard lock(m_commandLock);
    const std::uint16_t id = TakeRequestId();
    ReadRegistersReply reply;
    static_cast<GvcpReply&>(reply) = Transact(GigE::ReadRegisterCommand{addresses}.encode(id), id,
                                              Code(GigE::AcknowledgeCode::ReadRegister));
    if (reply.Succeeded()) {
        const auto values = GigE::ReadRegisterAcknowledge::parse({reply.header, reply.payload});
        if (values) reply.values = values->values;
    }
    return reply;
}

WriteRegistersReply GvcpClient::WriteRegister(std::uint32_t address, std::uint32_t value) {
    return WriteRegisters({{address, value}});
}

WriteRegistersReply GvcpClient::WriteRegisters(const std::vector<GigE::RegisterWrite>& writes) {
    std::lock_guard lock(m_commandLock);
    const std::uint16_t id = TakeRequestId();
    WriteRegistersReply reply;
    static_cast<GvcpReply&>(reply) = Transact(GigE::WriteRegisterCommand{writes}.encode(id), id,
                                              Code(GigE::AcknowledgeCode::WriteRegister));
    if (reply.Acknowledged()) {
        const auto index = GigE::WriteRegisterAcknowledge::parse({reply.header, reply.payload});
        if (index) reply.index = index->index;
    }
    return reply;
}

ReadMemoryReply GvcpClient::ReadMemory(std::uint32_t address, std::uint16_t count) {
    std::lock_guard lock(m_commandLock);
    const std::uint16_t id = TakeRequestId();
    ReadMemoryReply reply;
    static_cast<GvcpReply&>(reply) = Transact(GigE::ReadMemoryCommand{address, count}.encode(id), id,
                                              Code(GigE::AcknowledgeCode::ReadMemory));
    if (reply.Succeeded()) {
        const auto memory = GigE::ReadMemoryAcknowledge::parse({reply.header, reply.payload});
        if (memory) reply.data = memory->data;
    }
    return reply;
}

GvcpReply GvcpClient::WriteMemory(std::uint32_t address, const std::vector<std::uint8_t>& data) {
    std::lock_guard lock(m_commandLock);
    const std::uint16_t id = TakeRequestId();
    return Transact(GigE::WriteMemoryCommand{address, data}.encode(id), id, Code(GigE::AcknowledgeCode::WriteMemory));
}

std::vector<DiscoveredDevice> GvcpClient::Discover(GigE::Ipv4Address address, Milliseconds timeout,
                                                   bool allowBroadcastAcknowledge) {
    std::lock_guard lock(m_commandLock);
    m_counters.staleAcknowledgesDropped += m_socket.Drain();
    const std::uint16_t id = TakeRequestId();
    ++m_counters.commandsSent;
    m_socket.SendTo(GigE::DiscoveryCommand{allowBroadcastAcknowledge}.encode(id), address, GigE::gvcpPort);
    std::vector<DiscoveredDevice> devices;
    const auto deadline = Clock::now() + timeout;
    while (auto received = m_socket.Receive(deadline)) {
        const auto acknowledge = GigE::parseAcknowledge(received->bytes);
        if (!acknowledge || acknowledge->header.acknowledgeId != id ||
            acknowledge->header.acknowledge != Code(GigE::AcknowledgeCode::Discovery)) {
            ++m_counters.staleAcknowledgesDropped;
            continue;
        }
        const auto description = GigE::DiscoveryAcknowledge::parse(*acknowledge);
        if (!description) {
            ++m_counters.staleAcknowledgesDropped;
            continue;
        }
        ++m_counters.acknowledgesReceived;
        devices.push_back({*description, received->sourceAddress, received->sourcePort, id});
    }
    return devices;
}

GvcpReply GvcpClient::ForceIp(const GigE::MacAddress& mac, GigE::Ipv4Address ip, GigE::Ipv4Address mask,
                              GigE::Ipv4Address gateway, GigE::Ipv4Address address) {
    std::lock_guard lock(m_commandLock);
    m_counters.staleAcknowledgesDropped += m_socket.Drain();
    const std::uint16_t id = TakeRequestId();
    const auto datagram = GigE::ForceIpCommand{mac, ip, mask, gateway}.encode(id);
    ++m_counters.commandsSent;
    GvcpReply reply;
    reply.requestId = id;
    for (int attempt = 1; attempt <= m_options.attempts; ++attempt) {
        reply.attempts = attempt;
        if (attempt > 1) ++m_counters.retries;
        m_socket.SendTo(datagram, address, GigE::gvcpPort);
        const auto deadline = Clock::now() + m_options.acknowledgeTimeout;
        while (auto received = m_socket.Receive(deadline)) {
            const auto acknowledge = GigE::parseAcknowledge(received->bytes);
            if (!acknowledge || acknowledge->header.acknowledgeId != id ||
                acknowledge->header.acknowledge != Code(GigE::AcknowledgeCode::ForceIp)) {
                ++m_counters.staleAcknowledgesDropped;
                continue;
            }
            ++m_counters.acknowledgesReceived;
            reply.status = acknowledge->header.status;
            reply.header = acknowledge->header;
            reply.payload.assign(acknowledge->payload.begin(), acknowledge->payload.end());
            return reply;
        }
    }
    ++m_counters.commandsTimedOut;
    return reply;
}

std::vector<ActionAcknowledge> GvcpClient::SendAction(const GigE::ActionCommand& action, GigE::Ipv4Address address,
                                                      bool acknowledge, Milliseconds timeout) {
    std::lock_guard lock(m_commandLock);
    m_counters.staleAcknowledgesDropped += m_socket.Drain();
    const std::uint16_t id = TakeRequestId();
    ++m_counters.commandsSent;
    m_socket.SendTo(action.encode(id, acknowledge), address, GigE::gvcpPort);
    std::vector<ActionAcknowledge> acknowledges;
    if (!acknowledge) return acknowledges;
    const auto deadline = Clock::now() + timeout;
    while (auto received = m_socket.Receive(deadline)) {
        const auto parsed = GigE::parseAcknowledge(received->bytes);
        if (!parsed || parsed->header.acknowledgeId != id ||
            parsed->header.acknowledge != Code(GigE::AcknowledgeCode::Action)) {
            ++m_counters.staleAcknowledgesDropped;
            continue;
        }
        ++m_counters.acknowledgesReceived;
        acknowledges.push_back({received->sourceAddress, parsed->header.status});
    }
    return acknowledges;
}

bool GvcpClient::SendRaw(GigE::Bytes bytes) {
    std::lock_guard lock(m_commandLock);
    return m_socket.SendTo(bytes, m_deviceAddress, m_devicePort);
}

bool GvcpClient::SendRaw(GigE::Bytes bytes, GigE::Ipv4Address address, std::uint16_t port) {
    std::lock_guard lock(m_commandLock);
    return m_socket.SendTo(bytes, address, port);
}

std::optional<Datagram> GvcpClient::ReceiveRaw(Milliseconds timeout) {
    std::lock_guard lock(m_commandLock);
    return m_socket.Receive(Clock::now() + timeout);
}

WriteRegistersReply GvcpClient::TakeControl(bool exclusive) {
    namespace Ccp = GigE::Register::ControlChannelPrivilege;
    return WriteRegister(GigE::Register::controlChannelPrivilege, exclusive ? Ccp::exclusiveAccess : Ccp::controlAccess);
}

WriteRegistersReply GvcpClient::ReleaseControl() { return WriteRegister(GigE::Register::controlChannelPrivilege, 0); }

void GvcpClient::StartHeartbeat(Milliseconds period) {
    StopHeartbeat();
    {
        std::lock_guard lock(m_heartbeatLock);
        m_heartbeatStop = false;
    }
    m_controlLost = false;
    m_heartbeatThread = std::thread([this, period] {
        namespace Ccp = GigE::Register::ControlChannelPrivilege;
        std::unique_lock lock(m_heartbeatLock);
        while (!m_heartbeatWake.wait_for(lock, period, [this] { return m_heartbeatStop; })) {
            lock.unlock();
            const auto reply = ReadRegister(GigE::Register::controlChannelPrivilege);
            ++m_heartbeats;
            if (!reply.Succeeded() || reply.values.empty()) {
                ++m_heartbeatFailures;
                if (reply.status == GigE::Status::AccessDenied) m_controlLost = true;
            } else if ((reply.Value() & (Ccp::controlAccess | Ccp::exclusiveAccess)) == 0) {
                m_controlLost = true;
            }
            lock.lock();
        }
    });
}

void GvcpClient::StopHeartbeat() {
    {
        std::lock_guard lock(m_heartbeatLock);
        m_heartbeatStop = true;
    }
    m_heartbeatWake.notify_all();
    if (m_heartbeatThread.joinable()) m_heartbeatThread.join();
}

} // namespace GvCameraTest
