#include "ControlChannel.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <random>
#include <system_error>

#include <GigE/BootstrapRegisters.h>
#include <GigE/GvcpHeader.h>
#include <GigE/MemoryAccess.h>

#include "GvcpFailure.h"
#include "camera/Failure.h"

namespace VirtualGenTL::GigEVision {

namespace Reg = GigE::Register;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace {

constexpr auto kReadRegister = std::uint16_t(GigE::CommandCode::ReadRegister);
constexpr auto kWriteRegister = std::uint16_t(GigE::CommandCode::WriteRegister);
constexpr auto kReadMemory = std::uint16_t(GigE::CommandCode::ReadMemory);
constexpr auto kWriteMemory = std::uint16_t(GigE::CommandCode::WriteMemory);

// Hosts split memory access into pieces of this size: within the 536 bytes a command can
// carry, and a power of two, so that the pieces of a large block stay aligned.
constexpr std::size_t kPieceSize = 512;
// A device that keeps announcing more time is stuck; this many extensions of one attempt are
// honoured, the next PENDING_ACK is dropped and the attempt times out.
constexpr unsigned kMaxPendingExtensions = 16;
// A heartbeat faster than this would load the device more than it protects anything.
constexpr milliseconds kShortestHeartbeat{10};

Net::UdpSocket OpenSocket(GigE::Ipv4Address localAddress) {
    try {
        return Net::UdpSocket(Net::MakeAddress(localAddress, 0));
    } catch (const std::system_error& error) {
        Fail(GenTL::GC_ERR_IO, std::string("cannot open a GigE Vision control socket: ") + error.what());
    }
}

ControlChannelSettings Checked(const ControlChannelSettings& settings) {
    if (settings.attempts == 0 || settings.acknowledgeTimeout.count() <= 0)
        Fail(GenTL::GC_ERR_INVALID_PARAMETER, "a control channel needs at least one attempt and a positive timeout");
    return settings;
}

std::uint16_t RandomRequestId() {
    // An arbitrary start, so that a new channel that happens to get a closed channel's port
    // does not repeat that channel's last id, which the device would take for a retry.
    std::random_device random;
    return std::uint16_t(std::uniform_int_distribution<unsigned>(1, 0xFFFF)(random));
}

// Error and malformed acknowledges reach this only after Exchange accepted them as whole.
GigE::ReceivedAcknowledge Acknowledge(const std::vector<std::uint8_t>& datagram) {
    return *GigE::parseAcknowledge(datagram);
}

} // namespace

ControlChannel::ControlChannel(GigE::Ipv4Address localAddress, GigE::Ipv4Address deviceAddress,
                               std::uint16_t devicePort, ControlChannelSettings settings)
    : m_settings(Checked(settings)),
      m_device(Net::MakeAddress(deviceAddress, devicePort)),
      m_deviceName(DottedQuad(deviceAddress) + ':' + std::to_string(devicePort)),
      m_socket(OpenSocket(localAddress)),
      m_requestId(RandomRequestId()),
      m_receiveBuffer(GigE::gvcpMaxDatagramSize + 64) {}

ControlChannel::~ControlChannel() { StopHeartbeat(); }

void ControlChannel::SetCapabilities(std::uint32_t gvcpCapability) { m_capabilities = gvcpCapability; }

std::uint32_t ControlChannel::ReadCapabilities() {
    const std::uint32_t capabilities = ReadRegister(Reg::gvcpCapability);
    SetCapabilities(capabilities);
    return capabilities;
}

std::uint32_t ControlChannel::Capabilities() const { return m_capabilities; }

std::uint16_t ControlChannel::LocalPort() const { return m_socket.LocalPort(); }

ControlChannelCounters ControlChannel::Counters() const {
    return {m_commands.load(), m_retries.load(), m_stale.load(), m_pending.load(), m_timeouts.load()};
}

std::uint16_t ControlChannel::NextRequestId() {
    m_requestId = m_requestId == 0xFFFF ? 1 : std::uint16_t(m_requestId + 1);
    return m_requestId;
}

std::string ControlChannel::Describe(std::uint16_t command, std::uint32_t address) const {
    return CommandName(command) + " of " + HexAddress(address) + " on device " + m_deviceName;
}

std::vector<std::uint8_t> ControlChannel::Exchange(std::uint16_t command, std::uint16_t requestId,
                                                   const std::vector<std::uint8_t>& datagram, std::uint32_t address) {
    ++m_commands;
    const std::uint16_t expected = GigE::acknowledgeCodeFor(command);
    for (unsigned attempt = 0; attempt < m_settings.attempts; ++attempt) {
        if (attempt > 0) ++m_retries;
        try {
            m_socket.SendTo(datagram, m_device); // a retry is the same datagram, same id
        } catch (const std::system_error& error) {
            Fail(GenTL::GC_ERR_IO, Describe(command, address) + ": " + error.what());
        }
        auto deadline = Clock::now() + m_settings.acknowledgeTimeout;
        unsigned extensions = 0;
        for (;;) {
            const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
            if (left.count() <= 0) break;
            sockaddr_in from{};
            std::optional<std::size_t> size;
            try {
                size = m_socket.Receive(m_receiveBuffer, left, &from);
            } catch (const std::system_error& error) {
                Fail(GenTL::GC_ERR_IO, Describe(command, address) + ": " + error.what());
            }
            if (!size) break;
            const GigE::Bytes bytes(m_receiveBuffer.data(), *size);
            const auto acknowledge = GigE::parseAcknowledge(bytes);
            // Late answers to earlier commands (a retry's replay after the original arrived)
            // and anything from elsewhere must not be taken for this command's answer.
            if (from.sin_addr.s_addr != m_device.sin_addr.s_addr || from.sin_port != m_device.sin_port ||
                !acknowledge || acknowledge->header.acknowledgeId != requestId) {
                ++m_stale;
                continue;
            }
            if (acknowledge->header.acknowledge == std::uint16_t(GigE::AcknowledgeCode::Pending)) {
                const auto pending = GigE::PendingAcknowledge::parse(*acknowledge);
                if (!pending || extensions == kMaxPendingExtensions) {
                    ++m_stale;
                    continue;
                }
                ++extensions;
                ++m_pending;
                // Never shorter than an ordinary wait: the answer is on its way.
                deadline = Clock::now() + std::max(milliseconds(pending->timeToCompletionMs), m_settings.acknowledgeTimeout);
                continue;
            }
            if (acknowledge->header.acknowledge != expected) {
                ++m_stale;
                continue;
            }
            return {bytes.begin(), bytes.end()};
        }
    }
    ++m_timeouts;
    Fail(GenTL::GC_ERR_TIMEOUT, Describe(command, address) + ": no acknowledge after " +
                                    std::to_string(m_settings.attempts) + " attempts of " +
                                    std::to_string(m_settings.acknowledgeTimeout.count()) + " ms");
}

void ControlChannel::ReadRegistersLocked(std::span<const std::uint32_t> addresses, std::uint32_t* values) {
    for (std::uint32_t address : addresses)
        if (!GigE::isAligned(address))
            Fail(GenTL::GC_ERR_INVALID_ADDRESS, "register address " + HexAddress(address) + " is not 4-byte aligned");
    const bool concatenate = (m_capabilities & Reg::GvcpCapability::concatenation) != 0;
    const std::size_t batch = concatenate ? GigE::maxReadRegisterCount : 1;
    for (std::size_t first = 0; first < addresses.size(); first += batch) {
        const auto part = addresses.subspan(first, std::min(batch, addresses.size() - first));
        const GigE::ReadRegisterCommand command{{part.begin(), part.end()}};
        const std::uint16_t id = NextRequestId();
        const std::vector<std::uint8_t> datagram = Exchange(kReadRegister, id, command.encode(id), part[0]);
        const GigE::ReceivedAcknowledge acknowledge = Acknowledge(datagram);
        if (GigE::isError(acknowledge.header.status))
            FailWithStatus(acknowledge.header.status, Describe(kReadRegister, part[0]));
        const auto read = GigE::ReadRegisterAcknowledge::parse(acknowledge);
        if (!read || read->values.size() != part.size())
            Fail(GenTL::GC_ERR_IO, Describe(kReadRegister, part[0]) + ": malformed acknowledge");
        std::copy(read->values.begin(), read->values.end(), values + first);
    }
}

void ControlChannel::WriteRegistersLocked(std::span<const GigE::RegisterWrite> writes) {
    for (const GigE::RegisterWrite& write : writes)
        if (!GigE::isAligned(write.address))
            Fail(GenTL::GC_ERR_INVALID_ADDRESS, "register address " + HexAddress(write.address) + " is not 4-byte aligned");
    const bool concatenate = (m_capabilities & Reg::GvcpCapability::concatenation) != 0;
    const std::size_t batch = concatenate ? GigE::maxWriteRegisterCount : 1;
    for (std::size_t first = 0; first < writes.size(); first += batch) {
        const auto part = writes.subspan(first, std::min(batch, writes.size() - first));
        const GigE::WriteRegisterCommand command{{part.begin(), part.end()}};
        const std::uint16_t id = NextRequestId();
        const std::vector<std::uint8_t> datagram = Exchange(kWriteRegister, id, command.encode(id), part[0].address);
        const GigE::ReceivedAcknowledge acknowledge = Acknowledge(datagram);
        if (GigE::isError(acknowledge.header.status)) {
            // The index says which write the device refused; the ones before it took effect.
            const auto progress = GigE::WriteRegisterAcknowledge::parse(acknowledge);
            const std::size_t failed = progress ? std::min<std::size_t>(progress->index, part.size() - 1) : 0;
            FailWithStatus(acknowledge.header.status, Describe(kWriteRegister, part[failed].address));
        }
    }
}

void ControlChannel::ReadAligned(std::uint32_t address, std::uint8_t* data, std::size_t size) {
    const GigE::ReadMemoryCommand command{address, std::uint16_t(size)};
    const std::uint16_t id = NextRequestId();
    const std::vector<std::uint8_t> datagram = Exchange(kReadMemory, id, command.encode(id), address);
    const GigE::ReceivedAcknowledge acknowledge = Acknowledge(datagram);
    if (GigE::isError(acknowledge.header.status)) FailWithStatus(acknowledge.header.status, Describe(kReadMemory, address));
    const auto read = GigE::ReadMemoryAcknowledge::parse(acknowledge);
    if (!read || read->address != address || read->data.size() != size)
        Fail(GenTL::GC_ERR_IO, Describe(kReadMemory, address) + ": malformed acknowledge");
    std::memcpy(data, read->data.data(), size);
}

void ControlChannel::WriteAligned(std::uint32_t address, const std::uint8_t* data, std::size_t size) {
    if ((m_capabilities & Reg::GvcpCapability::writeMemory) != 0) {
        const GigE::WriteMemoryCommand command{address, {data, data + size}};
        const std::uint16_t id = NextRequestId();
        const std::vector<std::uint8_t> datagram = Exchange(kWriteMemory, id, command.encode(id), address);
        const GigE::ReceivedAcknowledge acknowledge = Acknowledge(datagram);
        if (GigE::isError(acknowledge.header.status))
            FailWithStatus(acknowledge.header.status, Describe(kWriteMemory, address));
        return;
    }
    // Device memory holds the bytes as they travel, so each word goes out as read.
    std::vector<GigE::RegisterWrite> words;
    for (std::size_t offset = 0; offset < size; offset += 4)
        words.push_back({address + std::uint32_t(offset), GigE::readUint32(GigE::Bytes(data, size), offset)});
    WriteRegistersLocked(words);
}

std::vector<std::uint32_t> ControlChannel::ReadRegisters(std::span<const std::uint32_t> addresses) {
    std::vector<std::uint32_t> values(addresses.size());
    std::lock_guard lock(m_commandMutex);
    ReadRegistersLocked(addresses, values.data());
    return values;
}

std::uint32_t ControlChannel::ReadRegister(std::uint32_t address) {
    std::uint32_t value = 0;
    std::lock_guard lock(m_commandMutex);
    ReadRegistersLocked(std::span(&address, 1), &value);
    return value;
}

void ControlChannel::WriteRegisters(std::span<const GigE::RegisterWrite> writes) {
    std::lock_guard lock(m_commandMutex);
    WriteRegistersLocked(writes);
}

void ControlChannel::WriteRegister(std::uint32_t address, std::uint32_t value) {
    const GigE::RegisterWrite write{address, value};
    std::lock_guard lock(m_commandMutex);
    WriteRegistersLocked(std::span(&write, 1));
}

namespace {

// The 4-byte aligned range that encloses [address, address + size).
struct AlignedRange {
    std::uint64_t begin, end;
};

AlignedRange Enclosing(std::uint32_t address, std::size_t size, const char* what) {
    const std::uint64_t end = std::uint64_t(address) + size;
    if (size > 0xFFFFFFFFull || end > 0x100000000ull)
        Fail(GenTL::GC_ERR_INVALID_ADDRESS, std::string(what) + " of " + std::to_string(size) + " bytes at " +
                                                HexAddress(address) + " goes beyond the 32-bit address space");
    return {address & ~std::uint64_t(3), (end + 3) & ~std::uint64_t(3)};
}

} // namespace

void ControlChannel::ReadMemory(std::uint32_t address, void* buffer, std::size_t size) {
    if (size == 0) return;
    const AlignedRange range = Enclosing(address, size, "memory read");
    const std::uint64_t end = std::uint64_t(address) + size;
    auto* out = static_cast<std::uint8_t*>(buffer);
    std::uint8_t piece[kPieceSize];
    for (std::uint64_t at = range.begin; at < range.end; at += kPieceSize) {
        const std::size_t length = std::size_t(std::min<std::uint64_t>(kPieceSize, range.end - at));
        {
            // Piece by piece, so that the heartbeat gets through during a long read.
            std::lock_guard lock(m_commandMutex);
            ReadAligned(std::uint32_t(at), piece, length);
        }
        const std::uint64_t from = std::max<std::uint64_t>(at, address), to = std::min<std::uint64_t>(at + length, end);
        std::memcpy(out + (from - address), piece + (from - at), std::size_t(to - from));
    }
}

void ControlChannel::WriteMemory(std::uint32_t address, const void* buffer, std::size_t size) {
    if (size == 0) return;
    const AlignedRange range = Enclosing(address, size, "memory write");
    const std::uint64_t end = std::uint64_t(address) + size;
    const auto* in = static_cast<const std::uint8_t*>(buffer);
    std::uint8_t piece[kPieceSize];
    for (std::uint64_t at = range.begin; at < range.end; at += kPieceSize) {
        const std::size_t length = std::size_t(std::min<std::uint64_t>(kPieceSize, range.end - at));
        const std::uint64_t from = std::max<std::uint64_t>(at, address), to = std::min<std::uint64_t>(at + length, end);
        // The read of a partly written word and its write under one lock, so that no other
        // command of this channel comes between them.
        std::lock_guard lock(m_commandMutex);
        if (from > at) ReadAligned(std::uint32_t(at), piece, 4);
        if (to < at + length && (length > 4 || from == at))
            ReadAligned(std::uint32_t(at + length - 4), piece + length - 4, 4);
        std::memcpy(piece + (from - at), in + (from - address), std::size_t(to - from));
        WriteAligned(std::uint32_t(at), piece, length);
    }
}

void ControlChannel::TakeControl(bool exclusive) {
    namespace Ccp = Reg::ControlChannelPrivilege;
    WriteRegister(Reg::controlChannelPrivilege, exclusive ? Ccp::exclusiveAccess : Ccp::controlAccess);
    m_lost = false;
    m_hasControl = true;
}

void ControlChannel::ReleaseControl() {
    // Before the write: the heartbeat would take the cleared privilege for a loss.
    StopHeartbeat();
    m_hasControl = false;
    WriteRegister(Reg::controlChannelPrivilege, 0);
}

bool ControlChannel::HasControl() const { return m_hasControl; }

bool ControlChannel::Lost() const { return m_lost; }

void ControlChannel::StartHeartbeat(std::function<void()> onLost, milliseconds period) {
    if (period.count() <= 0) {
        std::uint32_t timeout = ReadRegister(Reg::heartbeatTimeout);
        if (timeout == 0) timeout = Reg::defaultHeartbeatTimeoutMs;
        period = milliseconds(timeout / 3);
    }
    period = std::max(period, kShortestHeartbeat);
    {
        std::lock_guard lock(m_heartbeatMutex);
        if (m_heartbeat.get_id() == std::this_thread::get_id())
            Fail(GenTL::GC_ERR_RESOURCE_IN_USE, "the heartbeat cannot be restarted from its own thread");
    }
    StopHeartbeat();
    std::lock_guard lock(m_heartbeatMutex);
    m_stopHeartbeat = false;
    m_onLost = std::move(onLost);
    m_heartbeat = std::thread([this, period] { HeartbeatLoop(period); });
}

void ControlChannel::StopHeartbeat() {
    std::thread thread;
    {
        std::lock_guard lock(m_heartbeatMutex);
        m_stopHeartbeat = true;
        // Called from onLost: the loop ends right after it; a later stop joins the thread.
        if (m_heartbeat.get_id() == std::this_thread::get_id()) return;
        thread = std::move(m_heartbeat);
    }
    m_heartbeatWake.notify_all();
    if (thread.joinable()) thread.join();
}

void ControlChannel::HeartbeatLoop(milliseconds period) {
    namespace Ccp = Reg::ControlChannelPrivilege;
    std::unique_lock lock(m_heartbeatMutex);
    for (;;) {
        if (m_heartbeatWake.wait_for(lock, period, [this] { return m_stopHeartbeat; })) return;
        lock.unlock();
        bool lost = false;
        try {
            lost = (ReadRegister(Reg::controlChannelPrivilege) & (Ccp::controlAccess | Ccp::exclusiveAccess)) == 0;
        } catch (const ProducerError& error) {
            // Silence after every attempt, or another host holding exclusive access. Anything
            // else (a malformed answer) may pass; the next period asks again.
            lost = error.Code() == GenTL::GC_ERR_TIMEOUT || error.Code() == GenTL::GC_ERR_ACCESS_DENIED;
        } catch (const std::exception&) {
        }
        if (lost) {
            MarkLost();
            return;
        }
        lock.lock();
    }
}

void ControlChannel::MarkLost() {
    m_hasControl = false;
    if (m_lost.exchange(true) || !m_onLost) return;
    try {
        m_onLost();
    } catch (...) {
        // Nothing on this thread could handle it; the loss is recorded either way.
    }
}

} // namespace VirtualGenTL::GigEVision
