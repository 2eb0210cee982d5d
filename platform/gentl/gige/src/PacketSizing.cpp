#include <GigE/PacketSizing.h>

#include <GigE/GvspHeader.h>

namespace GigE {

std::uint32_t StreamPacketLayout::overhead() const {
    return ipHeaderSize + udpHeaderSize +
           static_cast<std::uint32_t>(extendedId ? gvspExtendedHeaderSize : gvspStandardHeaderSize) +
           static_cast<std::uint32_t>(multiPart ? multiPartPayloadHeaderSize : 0);
}

std::uint32_t StreamPacketLayout::dataPerPacket(std::uint32_t packetSize) const {
    return packetSize > overhead() ? packetSize - overhead() : 0;
}

BlockPacketCount countBlockPackets(std::uint64_t payloadBytes, std::uint32_t packetSize,
                                   const StreamPacketLayout& layout) {
    const std::uint32_t data = layout.dataPerPacket(packetSize);
    if (data == 0) return {};
    BlockPacketCount count;
    count.payloadPackets = payloadBytes / data + (payloadBytes % data != 0 ? 1 : 0);
    count.totalPackets = count.payloadPackets + 2;
    count.trailerPacketId = count.payloadPackets + 1;
    count.lastPacketData = payloadBytes == 0 ? 0 : static_cast<std::uint32_t>(payloadBytes - (count.payloadPackets - 1) * data);
    return count;
}

} // namespace GigE
