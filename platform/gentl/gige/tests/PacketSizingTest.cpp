// Cutting blocks into stream packets for each header form.
#include <GigE/PacketSizing.h>

#include <gtest/gtest.h>

using namespace GigE;

namespace {

TEST(PacketSizing, DataPerPacketForEachHeaderForm) {
    const StreamPacketLayout standard{false, false}, extended{true, false}, multiPart{false, true}, both{true, true};
    const std::uint32_t sizes[] = {576, 1500, 9000};
    const std::uint32_t expected[4][3] = {{540, 1464, 8964}, {528, 1452, 8952}, {532, 1456, 8956}, {520, 1444, 8944}};
    const StreamPacketLayout* layouts[] = {&standard, &extended, &multiPart, &both};
    for (int layout = 0; layout < 4; ++layout)
        for (int size = 0; size < 3; ++size)
            EXPECT_EQ(layouts[layout]->dataPerPacket(sizes[size]), expected[layout][size]) << layout << " " << size;
    EXPECT_EQ(standard.dataPerPacket(36), 0u);
    EXPECT_EQ(both.dataPerPacket(50), 0u);
}

TEST(PacketSizing, VgaMono8AtStandardEthernetSize) {
    const BlockPacketCount count = countBlockPackets(640 * 480, 1500);
    EXPECT_EQ(count.payloadPackets, 210u);
    EXPECT_EQ(count.totalPackets, 212u);
    EXPECT_EQ(count.trailerPacketId, 211u);
    EXPECT_EQ(count.lastPacketData, 1224u);
    EXPECT_EQ(payloadOffset(210, 1464), 209u * 1464);
}

TEST(PacketSizing, EdgesOfTheDivision) {
    EXPECT_EQ(countBlockPackets(1464, 1500).payloadPackets, 1u);
    EXPECT_EQ(countBlockPackets(1464, 1500).lastPacketData, 1464u);
    EXPECT_EQ(countBlockPackets(1465, 1500).payloadPackets, 2u);
    EXPECT_EQ(countBlockPackets(1465, 1500).lastPacketData, 1u);
    const BlockPacketCount empty = countBlockPackets(0, 1500);
    EXPECT_EQ(empty.totalPackets, 2u); // leader and trailer still go out
    EXPECT_EQ(empty.trailerPacketId, 1u);
    EXPECT_EQ(countBlockPackets(1000, 30).totalPackets, 0u); // no room for data
    // Sizes above 32 bits do not overflow.
    EXPECT_EQ(countBlockPackets(8964ULL << 32, 9000).payloadPackets, 1ULL << 32);
    EXPECT_EQ(udpPayloadSize(1500), 1472u);
}

} // namespace
