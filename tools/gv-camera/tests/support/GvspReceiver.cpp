#include "GvspReceiver.h"

#include <algorithm>
#include <cstring>

#include <GigE/PacketResend.h>
#include <GigE/PacketSizing.h>

namespace GvCameraTest {

namespace {

bool StopsResends(GigE::Status status) {
    // The device says the packet is gone for good; asking again cannot help.
    return status == GigE::Status::PacketUnavailable || status == GigE::Status::PacketRemovedFromMemory ||
           status == GigE::Status::PacketAndPreviousRemovedFromMemory;
}

// Finished block ids remembered to recognise late packets; enough for any test's burst, and
// small enough that 16-bit ids which wrapped around are not mistaken for old blocks.
constexpr std::size_t rememberedFinishedBlocks = 4096;

} // namespace

bool ReceivedBlock::Complete() const {
    return !timedOut && leader.has_value() && trailerPacketId.has_value() && missingPacketIds.empty();
}

std::uint16_t ReceivedBlock::PayloadType() const {
    if (leader) return GigE::payloadTypeOf(*leader);
    if (trailer) return GigE::payloadTypeOf(*trailer);
    return 0;
}

const GigE::ImageLeader* ReceivedBlock::ImageLeader() const {
    return leader ? std::get_if<GigE::ImageLeader>(&*leader) : nullptr;
}

GvspReceiver::GvspReceiver(GigE::Ipv4Address localAddress, GvspReceiverOptions options)
    : m_options(options), m_socket(localAddress) {
    m_socket.SetReceiveBufferSize(m_options.receiveBufferBytes);
}

std::optional<Datagram> GvspReceiver::ReceiveRaw(Milliseconds timeout) {
    return m_socket.Receive(Clock::now() + timeout);
}

void GvspReceiver::RequestResend(std::uint64_t blockId, std::uint32_t firstPacketId, std::uint32_t lastPacketId,
                                 bool extendedId) {
    GigE::PacketResendCommand command;
    command.extendedId = extendedId;
    command.streamChannel = m_options.streamChannel;
    command.blockId = blockId;
    command.firstPacketId = firstPacketId;
    command.lastPacketId = lastPacketId;
    const std::uint16_t id = m_nextRequestId;
    m_nextRequestId = m_nextRequestId == 0xFFFF ? 1 : static_cast<std::uint16_t>(m_nextRequestId + 1);
    // Sent from the stream socket: the request needs no answer on the control channel.
    m_socket.SendTo(command.encode(id), m_options.deviceAddress, m_options.deviceControlPort);
    ++m_counters.resendRequestsSent;
}

void GvspReceiver::Accept(const Datagram& datagram) {
    ++m_counters.packetsReceived;
    const auto packet = GigE::parseGvspPacket(datagram.bytes);
    if (!packet) {
        ++m_counters.malformedPackets;
        return;
    }
    const GigE::GvspHeader& header = packet->header;
    if (m_finishedIds.count(header.blockId) != 0) {
        ++m_counters.latePackets;
        return;
    }
    auto [position, created] = m_open.try_emplace(header.blockId);
    OpenBlock& open = position->second;
    ReceivedBlock& block = open.block;
    const auto now = Clock::now();
    if (created) {
        block.blockId = header.blockId;
        block.extendedId = header.extendedId;
        open.lastRequest = now;
    }
    open.lastPacket = now;
    block.flagsSeen |= header.flags;

    if (GigE::isError(header.status)) {
        block.errorPackets.push_back({header.packetId, header.status});
        if (StopsResends(header.status)) open.resendsStopped = true;
        return;
    }
    const bool resent = header.status == GigE::Status::PacketResend || (header.flags & GigE::GvspFlag::packetResend) != 0;
    if (resent) ++block.resentPackets;
    if (!block.receivedPacketIds.insert(header.packetId).second) {
        ++block.duplicatePackets;
        return;
    }
    switch (header.format) {
    case GigE::PacketFormat::Leader: {
        auto leader = GigE::parseLeader(packet->content);
        if (leader) block.leader = std::move(*leader);
        else ++m_counters.malformedPackets;
        break;
    }
    case GigE::PacketFormat::Trailer: {
        block.trailerPacketId = header.packetId;
        auto trailer = GigE::parseTrailer(packet->content);
        if (trailer) block.trailer = std::move(*trailer);
        else ++m_counters.malformedPackets;
        break;
    }
    case GigE::PacketFormat::MultiPart: {
        const auto part = GigE::MultiPartPayloadHeader::parse(packet->content);
        if (!part) {
            ++m_counters.malformedPackets;
            break;
        }
        const auto data = packet->content.subspan(GigE::multiPartPayloadHeaderSize);
        // An offset past every frame a camera can make is a broken packet, not memory to find.
        constexpr std::uint64_t kLargestBlock = std::uint64_t(1) << 30;
        if (part->offset > kLargestBlock) {
            ++m_counters.malformedPackets;
            break;
        }
        block.multiPartPieces.push_back({header.packetId, *part, data.size()});
        const std::size_t end = part->offset + data.size();
        if (block.data.size() < end) block.data.resize(end);
        std::memcpy(block.data.data() + part->offset, data.data(), data.size());
        break;
    }
    default:
        open.payloads[header.packetId].assign(packet->content.begin(), packet->content.end());
        break;
    }
}

std::vector<std::uint32_t> GvspReceiver::MissingIds(const OpenBlock& open) const {
    const ReceivedBlock& block = open.block;
    std::uint64_t last = 0;
    if (block.trailerPacketId) {
        last = *block.trailerPacketId;
    } else if (m_options.expectedPayloadSize && m_options.dataPerPacket != 0) {
        const std::uint64_t payloadPackets =
            (*m_options.expectedPayloadSize + m_options.dataPerPacket - 1) / m_options.dataPerPacket;
        last = payloadPackets + 1;
    } else if (!block.receivedPacketIds.empty()) {
        last = *block.receivedPacketIds.rbegin();
    }
    std::vector<std::uint32_t> missing;
    for (std::uint64_t id = 0; id <= last; ++id) {
        if (block.receivedPacketIds.count(static_cast<std::uint32_t>(id)) == 0) {
            missing.push_back(static_cast<std::uint32_t>(id));
        }
    }
    return missing;
}

void GvspReceiver::RequestMissing(OpenBlock& open, Clock::time_point now) {
    if (!m_options.requestResends || m_options.deviceAddress == 0 || open.resendsStopped) return;
    if (open.resendRounds >= m_options.maxResendRounds) return;
    if (now - open.lastPacket < m_options.resendDelay || now - open.lastRequest < m_options.resendDelay) return;
    const auto missing = MissingIds(open);
    if (missing.empty()) return;
    // Contiguous ids go out as one range, as a device expects.
    std::size_t start = 0;
    while (start < missing.size()) {
        std::size_t end = start;
        while (end + 1 < missing.size() && missing[end + 1] == missing[end] + 1) ++end;
        RequestResend(open.block.blockId, missing[start], missing[end], open.block.extendedId);
        ++open.block.resendRequests;
        start = end + 1;
    }
    ++open.resendRounds;
    open.lastRequest = now;
}

ReceivedBlock GvspReceiver::Finish(OpenBlock&& open, bool timedOut) const {
    std::vector<std::uint32_t> missing = MissingIds(open);
    ReceivedBlock block = std::move(open.block);
    block.missingPacketIds = std::move(missing);
    block.timedOut = timedOut;
    std::uint32_t size = m_options.dataPerPacket;
    if (size == 0) {
        const auto first = open.payloads.find(1);
        if (first != open.payloads.end()) size = static_cast<std::uint32_t>(first->second.size());
    }
    if (size != 0) {
        for (const auto& [packetId, bytes] : open.payloads) {
            if (packetId == 0) continue;
            const std::uint64_t offset = GigE::payloadOffset(packetId, size);
            if (block.data.size() < offset + bytes.size()) block.data.resize(offset + bytes.size());
            std::memcpy(block.data.data() + offset, bytes.data(), bytes.size());
        }
    }
    return block;
}

void GvspReceiver::RememberFinished(std::uint64_t blockId) {
    m_finishedIds.insert(blockId);
    m_finishedOrder.push_back(blockId);
    if (m_finishedOrder.size() > rememberedFinishedBlocks) {
        m_finishedIds.erase(m_finishedOrder.front());
        m_finishedOrder.pop_front();
    }
}

void GvspReceiver::FinishDueBlocks(Clock::time_point now) {
    for (auto position = m_open.begin(); position != m_open.end();) {
        OpenBlock& open = position->second;
        const bool complete = open.block.leader && open.block.trailerPacketId && MissingIds(open).empty();
        const bool waitingForResend = m_options.requestResends && !open.resendsStopped &&
                                      open.resendRounds < m_options.maxResendRounds && !MissingIds(open).empty();
        const bool stale = now - open.lastPacket >= m_options.blockTimeout &&
                           (!waitingForResend || now - open.lastRequest >= m_options.blockTimeout);
        if (!complete) RequestMissing(open, now);
        if (complete || stale) {
            RememberFinished(position->first);
            m_finished.push_back(Finish(std::move(open), !complete));
            position = m_open.erase(position);
        } else {
            ++position;
        }
    }
}

std::vector<ReceivedBlock> GvspReceiver::ReceiveBlocks(std::size_t count, Milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    // A short slice, so resend and block timeouts are checked while packets keep coming.
    const Milliseconds slice = std::max(Milliseconds(1), std::min(m_options.resendDelay, Milliseconds(10)));
    while (m_finished.size() < count) {
        const auto now = Clock::now();
        if (now >= deadline) break;
        if (auto datagram = m_socket.Receive(std::min(deadline, now + slice))) {
            Accept(*datagram);
            // Keep reading while packets are queued; a frame arrives as a burst.
            for (int burst = 0; burst < 256; ++burst) {
                auto next = m_socket.Receive(Clock::now());
                if (!next) break;
                Accept(*next);
            }
        }
        FinishDueBlocks(Clock::now());
    }
    std::vector<ReceivedBlock> result;
    while (!m_finished.empty() && result.size() < count) {
        result.push_back(std::move(m_finished.front()));
        m_finished.pop_front();
    }
    return result;
}

std::vector<ReceivedBlock> GvspReceiver::Flush() {
    FinishDueBlocks(Clock::now());
    std::vector<ReceivedBlock> result(std::make_move_iterator(m_finished.begin()),
                                      std::make_move_iterator(m_finished.end()));
    m_finished.clear();
    for (auto& [blockId, open] : m_open) {
        const bool complete = open.block.leader && open.block.trailerPacketId && MissingIds(open).empty();
        RememberFinished(blockId);
        result.push_back(Finish(std::move(open), !complete));
    }
    m_open.clear();
    return result;
}

} // namespace GvCameraTest
