// Stream packets: headers in both id forms, leaders and trailers of every laid-out payload
// type, and damaged packets.
#include <GigE/GvspHeader.h>
#include <GigE/GvspLeader.h>
#include <GigE/GvspTrailer.h>

#include <gtest/gtest.h>

#include <vector>

using namespace GigE;

namespace {

using Datagram = std::vector<std::uint8_t>;

TEST(GvspHeader, StandardPayloadPacketHasTheKnownBytes) {
    const GvspHeader header{Status::Success, false, 0, PacketFormat::Payload, 7, 3};
    const Datagram data(1464, 0xAB);
    const Datagram packet = encodeGvspPacket(header, data);
    EXPECT_EQ(Datagram(packet.begin(), packet.begin() + 8), (Datagram{0x00, 0x00, 0x00, 0x07, 0x03, 0x00, 0x00, 0x03}));
    const auto parsed = parseGvspPacket(packet);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->header, header);
    EXPECT_EQ(parsed->content.size(), 1464u);
}

TEST(GvspHeader, BothIdFormsSurviveEncodeAndParse) {
    const GvspHeader headers[] = {
        {Status::PacketResend, false, 0, PacketFormat::Trailer, 0xFFFF, maxStandardPacketId},
        {Status::Success, true, GvspFlag::packetResend | GvspFlag::previousBlockDropped, PacketFormat::MultiPart,
         0x0102030405060708ULL, 0xFFFFFFFF},
        {Status::PacketRemovedFromMemory, true, 0, PacketFormat::Leader, 1, 0},
    };
    for (const GvspHeader& header : headers) {
        const Datagram packet = encodeGvspPacket(header, {});
        EXPECT_EQ(packet.size(), header.size());
        const auto parsed = parseGvspPacket(packet);
        ASSERT_TRUE(parsed);
        EXPECT_EQ(parsed->header, header);
        EXPECT_TRUE(parsed->content.empty());
    }
}

TEST(GvspHeader, ExtendedHeaderLayout) {
    const Datagram packet =
        encodeGvspPacket({Status::Success, true, 0x0001, PacketFormat::Payload, 0x0A0B0C0D0E0F1011ULL, 0x12131415}, {});
    EXPECT_EQ(packet, (Datagram{0x00, 0x00, 0x00, 0x01, 0x83, 0x00, 0x00, 0x00, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,
                                0x10, 0x11, 0x12, 0x13, 0x14, 0x15}));
}

TEST(GvspHeader, DamagedHeadersAreRejected) {
    const Datagram extended = encodeGvspPacket({Status::Success, true, 0, PacketFormat::Payload, 9, 1}, {});
    for (std::size_t size = 0; size < extended.size(); ++size) {
        EXPECT_FALSE(parseGvspPacket(Bytes(extended.data(), size))) << size;
    }
    Datagram standard = encodeGvspPacket({Status::Success, false, 0, PacketFormat::Payload, 9, 1}, {});
    for (const std::uint8_t format : {0x00, 0x09, 0x0F}) {
        standard[4] = format;
        EXPECT_EQ(parseGvspPacket(standard).status(), Status::InvalidHeader) << int(format);
    }
    standard[4] = 0x73; // reserved bits set around a valid format
    EXPECT_TRUE(parseGvspPacket(standard));
    standard[2] = standard[3] = 0; // block id 0
    EXPECT_FALSE(parseGvspPacket(standard));
    EXPECT_THROW(encodeGvspPacket({Status::Success, false, 0, PacketFormat::Payload, 0x10000, 1}, {}),
                 std::invalid_argument);
    EXPECT_THROW(encodeGvspPacket({Status::Success, true, 0, PacketFormat::Payload, 0, 1}, {}), std::invalid_argument);
}

TEST(GvspHeader, MultiPartPayloadHeaderCarriesA48BitOffset) {
    Datagram bytes;
    MultiPartPayloadHeader{2, 0x11, 0x0000123456789ABCULL}.encodeInto(bytes);
    EXPECT_EQ(bytes, (Datagram{0x02, 0x11, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC}));
    EXPECT_EQ(*MultiPartPayloadHeader::parse(bytes), (MultiPartPayloadHeader{2, 0x11, 0x123456789ABCULL}));
    EXPECT_FALSE(MultiPartPayloadHeader::parse(Bytes(bytes.data(), 7)));
}

TEST(GvspLeader, ImageLeaderIs36BytesInItsOrder) {
    ImageLeader leader;
    leader.prefix = {0x12, withChunks(PayloadType::Image), 0x0000000100000002ULL};
    leader.pixelFormat = 0x01080001;
    leader.sizeX = 640;
    leader.sizeY = 480;
    leader.offsetX = 8;
    leader.offsetY = 16;
    leader.paddingX = 2;
    leader.paddingY = 4;
    const Datagram bytes = encodeLeader(leader);
    EXPECT_EQ(bytes, (Datagram{0x12, 0x00, 0x40, 0x01, 0, 0, 0, 1, 0, 0, 0, 2, 0x01, 0x08, 0x00, 0x01, 0, 0, 0x02, 0x80,
                               0, 0, 0x01, 0xE0, 0, 0, 0, 8, 0, 0, 0, 16, 0, 2, 0, 4}));
    EXPECT_EQ(std::get<ImageLeader>(*parseLeader(bytes)), leader);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        EXPECT_FALSE(parseLeader(Bytes(bytes.data(), size))) << size;
    }
}

TEST(GvspLeader, OtherLeadersSurviveEncodeAndParse) {
    PartDescriptor depth;
    depth.dataType = static_cast<std::uint16_t>(PartDataType::Image3D);
    depth.partLength = 0x0000ABCD00000010ULL;
    depth.pixelFormat = 0x011000B8;
    depth.sourceId = 1;
    depth.additionalZones = 2;
    depth.zoneDirections = 0x80000000;
    depth.dataPurposeId = 3;
    depth.regionId = 4;
    depth.sizeX = 640;
    depth.sizeY = 480;
    depth.offsetX = 1;
    depth.offsetY = 2;
    depth.paddingX = 3;
    depth.paddingY = 5;
    PartDescriptor confidence = depth;
    confidence.dataType = static_cast<std::uint16_t>(PartDataType::ConfidenceMap);

    const Leader leaders[] = {
        RawDataLeader{{0, 0x0002, 77}, 0x0000000100000000ULL},
        FileLeader{{0, 0x0003, 78}, 4096, "frame.bin"},
        ChunkDataLeader{{0, 0x0004, 79}},
        MultiPartLeader{{0, 0x000A, 80}, {depth, confidence}},
        OtherLeader{{0, 0x0006, 81}, {1, 2, 3, 4}},          // JPEG: not laid out here
        OtherLeader{{0, 0x8001, 82}, {9, 9, 9, 9, 9, 9, 9, 9}}, // device-specific
    };
    for (const Leader& leader : leaders) {
        const Datagram bytes = encodeLeader(leader);
        const auto parsed = parseLeader(bytes);
        ASSERT_TRUE(parsed) << leader.index();
        EXPECT_EQ(*parsed, leader) << leader.index();
    }
    EXPECT_EQ(encodeLeader(ChunkDataLeader{}).size(), leaderPrefixSize);
    EXPECT_EQ(encodeLeader(MultiPartLeader{{}, {depth}}).size(), leaderPrefixSize + partDescriptorSize);
}

TEST(GvspLeader, MultiPartLeaderMustHoldWholeDescriptors) {
    Datagram bytes = encodeLeader(MultiPartLeader{{0, 0x000A, 0}, {PartDescriptor{}, PartDescriptor{}}});
    EXPECT_TRUE(parseLeader(bytes));
    bytes.pop_back();
    EXPECT_FALSE(parseLeader(bytes));
    EXPECT_FALSE(parseLeader(encodeLeader(MultiPartLeader{})));
    EXPECT_FALSE(parseLeader(Bytes(encodeLeader(RawDataLeader{}).data(), 19)));
}

TEST(GvspTrailer, LayoutsFollowThePayloadType) {
    const Trailer trailers[] = {
        ImageTrailer{0x0001, 480, std::nullopt},
        ImageTrailer{withChunks(PayloadType::Image), 479, 0xC0FFEE},
        ChunkDataTrailer{0x0004, 1024, std::nullopt},
        ChunkDataTrailer{0x0004, 1024, 7},
        OtherTrailer{0x0003, {}},
        OtherTrailer{0x000A, {0, 0, 0, 1}},
    };
    for (const Trailer& trailer : trailers) {
        const Datagram bytes = encodeTrailer(trailer);
        const auto parsed = parseTrailer(bytes);
        ASSERT_TRUE(parsed) << trailer.index();
        EXPECT_EQ(*parsed, trailer) << trailer.index();
    }
    EXPECT_EQ(encodeTrailer(ImageTrailer{0x0001, 0x01E0, std::nullopt}),
              (Datagram{0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x01, 0xE0}));
}

TEST(GvspTrailer, ShortTrailersAndStrayWordsAreHandled) {
    const Datagram image = encodeTrailer(ImageTrailer{0x0001, 480, std::nullopt});
    for (std::size_t size = 0; size < image.size(); ++size) {
        EXPECT_FALSE(parseTrailer(Bytes(image.data(), size))) << size;
    }
    // A word after size_y is no layout id unless chunks were announced.
    Datagram padded = image;
    padded.insert(padded.end(), {0, 0, 0, 9});
    EXPECT_FALSE(std::get<ImageTrailer>(*parseTrailer(padded)).chunkLayoutId);
    // With chunks announced but the id missing, the trailer is still usable.
    EXPECT_FALSE(std::get<ImageTrailer>(*parseTrailer(encodeTrailer(ImageTrailer{0x4001, 1, std::nullopt}))).chunkLayoutId);
}

TEST(PayloadTypes, ChunkAndImageClassification) {
    EXPECT_TRUE(payloadHasChunks(0x4001));
    EXPECT_TRUE(payloadHasChunks(0x0004));
    EXPECT_TRUE(payloadHasChunks(0x0005));
    EXPECT_FALSE(payloadHasChunks(0x0001));
    EXPECT_FALSE(payloadHasChunks(0x8004)); // device-specific: nothing is known of it
    EXPECT_TRUE(isImageLayout(0x0005));
    EXPECT_TRUE(isImageLayout(0x4001));
    EXPECT_FALSE(isImageLayout(0x8001));
    EXPECT_EQ(basePayloadType(0x400A), 0x000A);
}

} // namespace
