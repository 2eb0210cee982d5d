// The receiving end of one stream channel for tests: collects GVSP packets, assembles them
// into blocks by block id, optionally asks the device for missing packets, and reports
// exactly what arrived, so a test can judge the device rather than a forgiving receiver.
#ifndef VIREO_GV_CAMERA_TEST_GVSP_RECEIVER_H
#define VIREO_GV_CAMERA_TEST_GVSP_RECEIVER_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include <GigE/GvcpConstants.h>
#include <GigE/GvspHeader.h>
#include <GigE/GvspLeader.h>
#include <GigE/GvspTrailer.h>

#include "HostUdpSocket.h"

namespace GvCameraTest {

struct GvspReceiverOptions {
    // Block bytes per payload packet (S); 0 takes the size of each block's packet 1.
    std::uint32_t dataPerPacket = 0;
    // Where resend requests go; 0 disables them.
    GigE::Ipv4Address deviceAddress = 0;
    std::uint16_t deviceControlPort = GigE::gvcpPort;
    std::uint16_t streamChannel = 0;
    bool requestResends = false;
    // Lets the receiver ask for a lost trailer (and the packets before it) before the
    // trailer has told how long the block is.
    std::optional<std::uint64_t> expectedPayloadSize;
    // Quiet time on a block before its gaps are requested, and between repeated requests.
    Milliseconds resendDelay{10};
    int maxResendRounds = 3;
    // Quiet time after which an unfinished block is given up and reported incomplete.
    Milliseconds blockTimeout{300};
    int receiveBufferBytes = 16 * 1024 * 1024;
};

struct ErrorPacket {
    std::uint32_t packetId = 0;
    GigE::Status status = GigE::Status::Success;
};

struct MultiPartPiece {
    std::uint32_t packetId = 0;
    GigE::MultiPartPayloadHeader header;
    std::size_t size = 0;
};

struct ReceivedBlock {
    std::uint64_t blockId = 0;
    bool extendedId = false;
    std::optional<GigE::Leader> leader;
    std::optional<GigE::Trailer> trailer;
    std::optional<std::uint32_t> trailerPacketId;
    // Payload packets placed at (packetId - 1) * S, or multi-part data at its offset; gaps
    // stay zero.
    std::vector<std::uint8_t> data;
    std::set<std::uint32_t> receivedPacketIds;
    // Ids up to the trailer's (or the highest seen, or the expected count) never received.
    std::vector<std::uint32_t> missingPacketIds;
    std::uint32_t resentPackets = 0;    // status PACKET_RESEND, or the extended-ID resend flag
    std::uint32_t duplicatePackets = 0; // an id that had already arrived
    std::uint32_t resendRequests = 0;   // PACKETRESEND commands sent for this block
    std::vector<ErrorPacket> errorPackets; // header-only packets with an error status
    std::vector<MultiPartPiece> multiPartPieces;
    std::uint16_t flagsSeen = 0;        // extended-ID flags, OR-ed over the block's packets
    bool timedOut = false;              // given up, not finished

    // Leader, every payload packet and the trailer arrived.
    bool Complete() const;
    std::uint16_t PayloadType() const; // from the leader, else the trailer; 0 without either
    const GigE::ImageLeader* ImageLeader() const; // null unless the leader is an image leader
};

struct GvspCounters {
    std::uint64_t packetsReceived = 0;
    std::uint64_t malformedPackets = 0; // parseGvspPacket refused them
    std::uint64_t latePackets = 0;      // for a block already reported
    std::uint64_t resendRequestsSent = 0;
};

class GvspReceiver {
public:
    explicit GvspReceiver(GigE::Ipv4Address localAddress, GvspReceiverOptions options = {});

    GigE::Ipv4Address Address() const { return m_socket.LocalAddress(); }
    std::uint16_t Port() const { return m_socket.LocalPort(); }
    GvspCounters Counters() const { return m_counters; }

    // Receives until `count` blocks have finished (complete, or given up after the block
    // timeout) or the timeout passes, and returns those finished, in the order they finished.
    std::vector<ReceivedBlock> ReceiveBlocks(std::size_t count, Milliseconds timeout);
    // Ends every open block as it is and returns them, oldest first.
    std::vector<ReceivedBlock> Flush();
    // A single datagram as it arrived, for tests of packet layout (test packets, padding).
    std::optional<Datagram> ReceiveRaw(Milliseconds timeout);
    // Sends one PACKETRESEND for packets first...last of a block to the device's control port.
    void RequestResend(std::uint64_t blockId, std::uint32_t firstPacketId, std::uint32_t lastPacketId,
                       bool extendedId);

private:
    struct OpenBlock {
        ReceivedBlock block;
        std::map<std::uint32_t, std::vector<std::uint8_t>> payloads; // placed when the block ends
        Clock::time_point lastPacket;
        Clock::time_point lastRequest;
        int resendRounds = 0;
        bool resendsStopped = false;
    };

    void Accept(const Datagram& datagram);
    void RequestMissing(OpenBlock& open, Clock::time_point now);
    std::vector<std::uint32_t> MissingIds(const OpenBlock& open) const;
    ReceivedBlock Finish(OpenBlock&& open, bool timedOut) const;
    void FinishDueBlocks(Clock::time_point now);
    void RememberFinished(std::uint64_t blockId);

    GvspReceiverOptions m_options;
    HostUdpSocket m_socket;
    std::uint16_t m_nextRequestId = 1;
    GvspCounters m_counters;
    std::map<std::uint64_t, OpenBlock> m_open;
    std::set<std::uint64_t> m_finishedIds;
    std::deque<std::uint64_t> m_finishedOrder;
    std::deque<ReceivedBlock> m_finished;
};

} // namespace GvCameraTest

#endif
