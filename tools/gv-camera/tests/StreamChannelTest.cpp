// The stream side of vireo-gv-camera as a raw GigE Vision host sees it: what the blocks hold,
// byte for byte against the same camera model run in-process; how they are cut into packets;
// resends, reordering, multi-part blocks, several channels, and how a stream ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <map>
#include <set>
#include <thread>
#include <tuple>
#include <variant>

#include <GigE/BootstrapRegisters.h>

#include "GvcpClient.h"
#include "GvspReceiver.h"
#include "ServerProcess.h"
#include "camera/Catalogue.h"
#include "camera/VirtualCamera.h"

using namespace GvCameraTest;
using namespace std::chrono_literals;
namespace Reg = GigE::Register;
namespace Sc = GigE::Register::StreamChannelOffset;

namespace {

#define REQUIRE_CAMERA_NETWORK() \
    if (!ServerProcess::Available()) GTEST_SKIP() << "needs the camera network of CameraNetwork.sh"

constexpr std::uint32_t kMono8 = 0x01080001, kQoiMono8 = 0x81080A00, kPelgoXYTP128f = 0x82804556;
constexpr std::uint16_t kMultiPart = 0x000A;
const GigE::Ipv4Address kCamera = ParseIpv4("10.42.0.11");

GigE::Ipv4Address HostAddress() {
    const char* address = std::getenv("VIREO_HOST_ADDRESS");
    return ParseIpv4(address != nullptr ? address : "10.42.0.1");
}

std::vector<std::string> Serve(const std::string& serial, std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"--camera", serial + "@10.42.0.11"});
    return more;
}

VirtualGenTL::CatalogueEntry Entry(const std::string& serial) {
    for (const auto& entry : VirtualGenTL::DefaultCatalogue())
        if (entry.identity.serialNumber == serial) return entry;
    throw std::invalid_argument(serial);
}

struct Setting {
    std::string name;
    std::int64_t value;
    std::uint32_t index = 0;
};

// A host in control of one served camera, kept by heartbeats, and the same camera in-process:
// it knows the features' registers and, set alike, draws the frames the server must send.
struct Host {
    Host(const std::string& serial, const std::vector<Setting>& settings)
        : control(HostAddress(), kCamera), model(Entry(serial).model, Entry(serial).identity) {
        EXPECT_TRUE(control.TakeControl().Succeeded());
        control.StartHeartbeat(500ms);
        for (const Setting& setting : settings) Set(setting);
    }
    std::uint32_t Read(std::uint32_t address) {
        const auto reply = control.ReadRegister(address);
        EXPECT_TRUE(reply.Succeeded()) << std::hex << address;
        return reply.Succeeded() ? reply.Value() : 0;
    }
    void Write(std::uint32_t address, std::uint32_t value) {
        EXPECT_TRUE(control.WriteRegister(address, value).Succeeded()) << std::hex << address;
    }
    void Set(const Setting& setting) {
        const auto& feature = model.Registers().GetDescription().Get(setting.name);
        const auto address = std::uint32_t(feature.address + setting.index * VirtualGenTL::Description::ElementStride(feature));
        if (feature.fieldMask != 0) {
            const std::uint32_t field = std::uint32_t(setting.value) << std::countr_zero(feature.fieldMask);
            Write(address, (Read(address) & ~feature.fieldMask) | (field & feature.fieldMask));
        } else {
            std::vector<std::uint8_t> bytes(VirtualGenTL::Description::RegisterLength(feature));
            for (std::size_t byte = 0; byte < bytes.size(); ++byte)
                bytes[byte] = std::uint8_t(std::uint64_t(setting.value) >> (8 * (bytes.size() - 1 - byte)));
            EXPECT_TRUE(control.WriteMemory(address, bytes).Succeeded()) << setting.name;
        }
        if (feature.kind != VirtualGenTL::FeatureKind::Command)
            model.Registers().SetInteger(setting.name, setting.value, setting.index);
    }
    void Acquire(bool on) { Set({on ? "AcquisitionStart" : "AcquisitionStop", 1}); }
    std::vector<ReceivedBlock> Grab(GvspReceiver& receiver, std::size_t count) {
        Acquire(true);
        std::vector<ReceivedBlock> blocks = receiver.ReceiveBlocks(count, 10s);
        Acquire(false);
        return blocks;
    }
    void Open(const GvspReceiver& receiver, std::uint32_t channel = 0, std::uint32_t packetSize = 1500) {
        const std::uint32_t base = Reg::streamChannel(channel);
        Write(base + Sc::packetSize, packetSize);
        Write(base + Sc::destinationAddress, receiver.Address());
        Write(base + Sc::port, receiver.Port());
    }
    std::uint64_t DeviceTime() {
        Write(Reg::timestampControl, Reg::TimestampControl::latch);
        const auto reply = control.ReadRegisters({Reg::timestampValueHigh, Reg::timestampValueLow});
        return reply.Succeeded() ? std::uint64_t(reply.Value(0)) << 32 | reply.Value(1) : 0;
    }
    // Frames first...last back to back, the model drawing them in order as the server did.
    std::vector<std::uint8_t> Frames(std::uint64_t first, std::uint64_t last) {
        for (std::vector<std::uint8_t> data; frames.size() < last; frames.push_back(std::move(data))) {
            data.resize(model.PayloadSize());
            data.resize(model.Produce(data.data(), data.size()).sizeFilled);
        }
        std::vector<std::uint8_t> joined;
        for (std::uint64_t id = first; id <= last; ++id) joined.insert(joined.end(), frames[id - 1].begin(), frames[id - 1].end());
        return joined;
    }

    GvcpClient control;
    VirtualGenTL::VirtualCamera model;
    std::deque<std::vector<std::uint8_t>> frames;
};

GvspReceiverOptions Resending(std::uint32_t dataPerPacket = 0) {
    GvspReceiverOptions options;
    options.deviceAddress = kCamera;
    options.requestResends = true;
    options.dataPerPacket = dataPerPacket;
    return options;
}

std::uint64_t Counter(ServerProcess& server, const char* name, std::size_t channel = 0) {
    return server.Statistics()["cameras"][0]["streams"][channel][name].get<std::uint64_t>();
}

struct RawPacket {
    GigE::GvspHeader header;
    std::size_t size = 0;  // the whole datagram
};
using RawBlocks = std::map<std::uint64_t, std::vector<RawPacket>>;  // each in arrival order

bool AllThere(const std::vector<RawPacket>& packets) {
    std::set<std::uint32_t> ids;
    std::optional<std::uint32_t> trailer;
    for (const RawPacket& packet : packets) {
        ids.insert(packet.header.packetId);
        if (packet.header.format == GigE::PacketFormat::Trailer) trailer = packet.header.packetId;
    }
    return trailer && ids.size() == *trailer + 1 && *ids.rbegin() == *trailer;
}

std::optional<RawPacket> NextPacket(GvspReceiver& receiver, Milliseconds timeout) {
    const auto datagram = receiver.ReceiveRaw(timeout);
    if (!datagram) return std::nullopt;
    const auto packet = GigE::parseGvspPacket(datagram->bytes);
    EXPECT_TRUE(packet.ok()) << "a datagram that is no GVSP packet";
    if (!packet) return std::nullopt;
    return RawPacket{packet->header, datagram->bytes.size()};
}

// Datagrams until `count` blocks have every packet from leader to trailer, or the time is up.
RawBlocks Collect(GvspReceiver& receiver, std::size_t count, Milliseconds timeout) {
    RawBlocks blocks;
    const auto whole = [&] { return std::count_if(blocks.begin(), blocks.end(), [](const auto& b) { return AllThere(b.second); }); };
    for (const auto deadline = Clock::now() + timeout; Clock::now() < deadline && whole() < std::ptrdiff_t(count);)
        if (const auto packet = NextPacket(receiver, 50ms)) blocks[packet->header.blockId].push_back(*packet);
    return blocks;
}

// Reads packets already on their way until a gap of three frame periods; then whether nothing
// comes for ten more.
bool FallsSilent(GvspReceiver& receiver) {
    for (int packet = 0; packet < 2000 && receiver.ReceiveRaw(100ms); ++packet) {
    }
    return !receiver.ReceiveRaw(330ms).has_value();
}

// Pixel format, size and offsets of an image leader, also behind a device-specific payload type.
std::optional<std::array<std::uint32_t, 5>> ImageFields(const GigE::Leader& leader) {
    if (const auto* image = std::get_if<GigE::ImageLeader>(&leader))
        return std::array{image->pixelFormat, image->sizeX, image->sizeY, image->offsetX, image->offsetY};
    const auto* other = std::get_if<GigE::OtherLeader>(&leader);
    if (other == nullptr || other->rest.size() < 20) return std::nullopt;
    std::array<std::uint32_t, 5> fields{};
    for (std::size_t field = 0; field < 5; ++field) fields[field] = GigE::readUint32(other->rest, 4 * field);
    return fields;
}

// size_y and chunk layout id of a trailer, also behind a device-specific payload type.
struct TrailerFields {
    explicit TrailerFields(const GigE::Trailer& trailer) {
        if (const auto* image = std::get_if<GigE::ImageTrailer>(&trailer)) {
            sizeY = image->sizeY;
            layoutId = image->chunkLayoutId;
        } else if (const auto* chunks = std::get_if<GigE::ChunkDataTrailer>(&trailer)) {
            layoutId = chunks->chunkLayoutId;
        } else if (const auto& rest = std::get<GigE::OtherTrailer>(trailer).rest; rest.size() >= 4) {
            sizeY = GigE::readUint32(rest, 0);
            if (rest.size() >= 8) layoutId = GigE::readUint32(rest, 4);
        }
    }
    std::optional<std::uint32_t> sizeY, layoutId;
};

} // namespace

TEST(StreamChannel, BlocksCarryWhatTheCameraDrawsForEveryPayloadType) {
    REQUIRE_CAMERA_NETWORK();
    struct Case {
        std::vector<Setting> settings;
        std::uint16_t payloadType;
        std::uint32_t pixelFormat;  // 0: a chunk data leader
        bool chunks;
    };
    const Case cases[] = {
        {{}, 0x0001, kMono8, false},
        {{{"ChunkModeActive", 1}, {"GevSCCFGExtendedChunkData", 0}}, 0x0004, 0, true},
        {{{"ChunkModeActive", 1}, {"ChunkEnable", 1, 1}}, 0x4001, kMono8, true},
        {{{"ImageCompressionMode", 1}}, 0x8001, kQoiMono8, false},
        {{{"ImageCompressionMode", 1}, {"ChunkModeActive", 1}}, 0xC001, kQoiMono8, true},
    };
    std::map<std::uint16_t, std::uint32_t> layoutIds;
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << "payload type 0x" << std::hex << test.payloadType);
        ServerProcess server(Serve("VM1280M-0001"));
        Host host("VM1280M-0001", {{"Width", 320}, {"Height", 24}, {"OffsetX", 16}, {"OffsetY", 8}});
        for (const Setting& setting : test.settings) host.Set(setting);
        GvspReceiver receiver(HostAddress());
        host.Open(receiver);
        std::uint64_t lastTimestamp = host.DeviceTime();
        std::vector<ReceivedBlock> blocks = host.Grab(receiver, 3);
        const std::uint64_t now = host.DeviceTime();
        ASSERT_EQ(blocks.size(), 3u);
        std::sort(blocks.begin(), blocks.end(), [](const auto& a, const auto& b) { return a.blockId < b.blockId; });
        for (std::size_t index = 0; index < blocks.size(); ++index) {
            const ReceivedBlock& block = blocks[index];
            EXPECT_EQ(block.blockId, index + 1);
            ASSERT_TRUE(block.Complete() && block.trailer) << "block " << block.blockId;
            EXPECT_EQ(block.PayloadType(), test.payloadType);
            EXPECT_TRUE(block.data == host.Frames(block.blockId, block.blockId)) << "block " << block.blockId;
            const std::uint64_t timestamp = std::visit([](const auto& leader) { return leader.prefix.timestamp; }, *block.leader);
            EXPECT_GE(timestamp, lastTimestamp) << "leader timestamps are device ticks that never go back";
            EXPECT_LE(timestamp, now);
            lastTimestamp = timestamp;
            const TrailerFields trailer(*block.trailer);
            if (test.pixelFormat != 0) {
                EXPECT_EQ(ImageFields(*block.leader), (std::array<std::uint32_t, 5>{test.pixelFormat, 320, 24, 16, 8}));
                EXPECT_EQ(trailer.sizeY, 24u);
            } else {
                EXPECT_TRUE(std::holds_alternative<GigE::ChunkDataLeader>(*block.leader));
                const auto* chunkTrailer = std::get_if<GigE::ChunkDataTrailer>(&*block.trailer);
                ASSERT_NE(chunkTrailer, nullptr);
                EXPECT_EQ(chunkTrailer->chunkDataPayloadLength, block.data.size());
            }
            ASSERT_EQ(trailer.layoutId.has_value(), test.chunks);
            if (!test.chunks) continue;
            if (index == 0) layoutIds[test.payloadType] = *trailer.layoutId;
            EXPECT_EQ(*trailer.layoutId, layoutIds[test.payloadType]) << "the same chunks, the same layout id";
        }
    }
    EXPECT_NE(layoutIds[0x0004], layoutIds[0x4001]) << "other chunks, yet the same layout id";
}

TEST(StreamChannel, PacketsHaveTheSizeAndIdsTheRegistersSay) {
    REQUIRE_CAMERA_NETWORK();
    constexpr std::uint32_t frameBytes = 640 * 64;
    const std::uint32_t packetSizeRegister = Reg::streamChannel(0) + Sc::packetSize;
    for (const bool extended : {false, true}) {
        SCOPED_TRACE(extended ? "extended ids" : "standard ids");
        ServerProcess server(Serve("VM1280M-0001"));
        Host host("VM1280M-0001", {{"Width", 640}, {"Height", 64}, {"GevGVSPExtendedIDMode", extended}});
        // The device picks within its limits, a multiple of 4 from 576 to 9000, and keeps the flags.
        for (const auto& [written, read] : {std::pair{100u, 576u}, {577u, 576u}, {1499u, 1496u}, {12000u, 9000u},
                                            {0xFFFFu, 9000u}, {0x40000000u | 1500u, 0x40000000u | 1500u}}) {
            host.Write(packetSizeRegister, written);
            EXPECT_EQ(host.Read(packetSizeRegister), read) << "after writing " << written;
        }
        GvspReceiver receiver(HostAddress());
        host.Open(receiver);
        const std::uint32_t headerSize = extended ? 20 : 8;
        std::uint64_t lastBlock = 0;
        for (const std::uint32_t packetSize : {576u, 1500u, 9000u}) {
            SCOPED_TRACE(testing::Message() << "packet size " << packetSize);
            host.Write(packetSizeRegister, packetSize);
            host.Acquire(true);
            const RawBlocks blocks = Collect(receiver, 2, 5s);
            host.Acquire(false);
            EXPECT_TRUE(FallsSilent(receiver));
            const std::uint32_t data = packetSize - 28 - headerSize;  // IP and UDP headers, then GVSP
            const std::uint32_t payloadPackets = (frameBytes + data - 1) / data;
            ASSERT_GE(std::count_if(blocks.begin(), blocks.end(), [](const auto& b) { return AllThere(b.second); }), 2);
            for (auto [blockId, packets] : blocks) {
                if (!AllThere(packets)) continue;  // begun as acquisition stopped
                EXPECT_TRUE(lastBlock == 0 ? blockId == 1 : blockId > lastBlock) << "block ids start at 1 and count up";
                lastBlock = blockId;
                std::sort(packets.begin(), packets.end(), [](const auto& a, const auto& b) { return a.header.packetId < b.header.packetId; });
                ASSERT_EQ(packets.size(), payloadPackets + 2) << "the trailer's id is the payload packets + 1";
                for (const RawPacket& packet : packets) {
                    EXPECT_EQ(packet.header.extendedId, extended);
                    const std::uint32_t id = packet.header.packetId;
                    if (id == 0 || id == payloadPackets + 1) continue;
                    EXPECT_EQ(packet.header.format, GigE::PacketFormat::Payload);
                    // Every payload packet is full but the last, which carries what is left.
                    EXPECT_EQ(packet.size, headerSize + (id < payloadPackets ? data : frameBytes - (payloadPackets - 1) * data))
                        << "packet " << id;
                }
            }
        }
        // A test packet: one datagram of the packet size exactly, and the bit clears itself.
        host.Write(packetSizeRegister, Reg::StreamChannelPacketSize::fireTestPacket | 9000);
        EXPECT_EQ(host.Read(packetSizeRegister), 9000u);
        const auto test = receiver.ReceiveRaw(2s);
        ASSERT_TRUE(test.has_value());
        EXPECT_EQ(test->bytes.size(), 9000u - 28);
        EXPECT_FALSE(receiver.ReceiveRaw(300ms).has_value()) << "more than one test packet";
        EXPECT_EQ(Counter(server, "testPackets"), 1u);
    }
}

TEST(StreamChannel, ResendsCompleteEveryBlockAndRefuseWhatIsGone) {
    REQUIRE_CAMERA_NETWORK();
    for (const bool extended : {false, true}) {
        SCOPED_TRACE(extended ? "extended ids" : "standard ids");
        ServerProcess server(Serve("VM1280M-0001", {"--loss", "0.05", "--seed", "11", "--resend-frames", "4"}));
        Host host("VM1280M-0001", {{"Width", 320}, {"Height", 64}, {"GevGVSPExtendedIDMode", extended}});
        const GvspReceiverOptions options = Resending(1500 - 28 - (extended ? 20 : 8));
        GvspReceiver receiver(HostAddress(), options);
        host.Open(receiver);
        std::vector<ReceivedBlock> blocks = host.Grab(receiver, 30);
        for (int round = 0; round < 20; ++round) {  // the blocks on their way when acquisition stopped
            auto more = receiver.ReceiveBlocks(100, 400ms);
            if (more.empty()) break;
            std::move(more.begin(), more.end(), std::back_inserter(blocks));
        }
        ASSERT_GE(blocks.size(), 30u);
        std::uint64_t resent = 0, latest = 0;
        for (const ReceivedBlock& block : blocks) {
            EXPECT_TRUE(block.Complete()) << "block " << block.blockId << " misses " << block.missingPacketIds.size();
            EXPECT_EQ(block.duplicatePackets, 0u);
            EXPECT_TRUE(block.data == host.Frames(block.blockId, block.blockId)) << "block " << block.blockId;
            resent += block.resentPackets;
            latest = std::max(latest, block.blockId);
        }
        EXPECT_EQ(Counter(server, "blocks"), blocks.size());
        const std::uint64_t withheld = Counter(server, "packetsWithheld");
        EXPECT_GT(withheld, 0u);
        EXPECT_EQ(withheld, resent) << "each packet held back is asked for once and sent again once";
        EXPECT_EQ(Counter(server, "resendRequests"), receiver.Counters().resendRequestsSent);

        const auto ask = [&](std::uint64_t block, std::uint32_t first, std::uint32_t last) {
            receiver.RequestResend(block, first, last, extended);
            std::vector<RawPacket> packets;
            for (auto packet = NextPacket(receiver, 300ms); packet && packets.size() < 1000; packet = NextPacket(receiver, 300ms))
                packets.push_back(*packet);
            return packets;
        };
        const auto again = ask(latest, 1, 3);
        ASSERT_EQ(again.size(), 3u);
        for (const RawPacket& packet : again)
            EXPECT_TRUE(packet.header.blockId == latest && (extended ? (packet.header.flags & GigE::GvspFlag::packetResend) != 0
                                                                     : packet.header.status == GigE::Status::PacketResend))
                << "not marked as resent";
        const std::uint32_t trailerId = (320 * 64 + options.dataPerPacket - 1) / options.dataPerPacket + 1;
        const auto tail = ask(latest, trailerId - 1, trailerId + 40);
        ASSERT_EQ(tail.size(), 2u) << "a range past the trailer stops at the trailer";
        EXPECT_EQ(tail[1].header.format, GigE::PacketFormat::Trailer);
        const auto old = ask(latest - 4, 2, 5);  // --resend-frames 4 keeps latest - 3 ... latest only
        ASSERT_EQ(old.size(), 4u);
        for (std::uint32_t index = 0; index < old.size(); ++index)
            EXPECT_EQ(std::tuple(old[index].header.status, old[index].header.blockId, old[index].header.packetId, old[index].size),
                      std::tuple(GigE::Status::PacketUnavailable, latest - 4, index + 2, extended ? 20u : 8u))
                << "a header alone, for the packet asked for";
        const auto unknown = ask(extended ? 1ull << 40 : latest + 1000, 1, 100000);
        EXPECT_GT(unknown.size(), 0u);
        EXPECT_LE(unknown.size(), 64u) << "a huge range for a block never sent floods the network";
        for (const RawPacket& packet : unknown) EXPECT_EQ(packet.header.status, GigE::Status::PacketUnavailable);
        EXPECT_EQ(Counter(server, "packetsUnavailable"), old.size() + unknown.size());
        EXPECT_EQ(Counter(server, "packetsResent"), resent + again.size() + tail.size());
    }
}

TEST(StreamChannel, ReorderedAndDelayedPacketsStillMakeWholeBlocks) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server(Serve("VM1280M-0001", {"--reorder", "5"}));
    Host host("VM1280M-0001", {{"Width", 256}, {"Height", 32}});
    GvspReceiver receiver(HostAddress());  // asks for nothing again
    host.Open(receiver, 0, 576);
    host.Acquire(true);
    const RawBlocks raw = Collect(receiver, 3, 5s);
    host.Acquire(false);
    EXPECT_TRUE(FallsSilent(receiver));
    std::size_t whole = 0, overtaken = 0;
    for (const auto& [blockId, packets] : raw) {
        whole += AllThere(packets);
        std::uint32_t highest = 0;
        for (const RawPacket& packet : packets) {
            overtaken += packet.header.packetId < highest;
            highest = std::max(highest, packet.header.packetId);
        }
    }
    EXPECT_GE(whole, 3u);
    EXPECT_GT(overtaken, 0u) << "no packet arrived after one with a higher id";

    host.Write(Reg::streamChannel(0) + Sc::packetDelay, 20000);  // 20 us between packets
    const std::vector<ReceivedBlock> blocks = host.Grab(receiver, 3);
    ASSERT_EQ(blocks.size(), 3u);
    for (const ReceivedBlock& block : blocks) {
        EXPECT_TRUE(block.Complete()) << "block " << block.blockId;
        EXPECT_TRUE(block.data == host.Frames(block.blockId, block.blockId)) << "block " << block.blockId;
    }
}

TEST(StreamChannel, MultipartBlocksCarryConsecutiveFrames) {
    REQUIRE_CAMERA_NETWORK();
    constexpr std::uint32_t partBytes = 4096 * 16;
    for (const bool extended : {false, true}) {
        SCOPED_TRACE(extended ? "extended ids" : "standard ids");
        // Some loss, so that resent packets must carry their part header too.
        ServerProcess server(Serve("VL4096L-0001", {"--loss", "0.02", "--seed", "5"}));
        Host host("VL4096L-0001",
                  {{"Height", 16}, {"GevSCCFGMultiPart", 1}, {"MultiPartFrameCount", 4}, {"GevGVSPExtendedIDMode", extended}});
        GvspReceiver receiver(HostAddress(), Resending());
        host.Open(receiver);
        const std::vector<ReceivedBlock> blocks = host.Grab(receiver, 3);
        ASSERT_EQ(blocks.size(), 3u);
        EXPECT_GT(Counter(server, "packetsResent"), 0u);
        for (const ReceivedBlock& block : blocks) {
            SCOPED_TRACE(testing::Message() << "block " << block.blockId);
            ASSERT_TRUE(block.Complete() && block.trailer);
            EXPECT_EQ(block.extendedId, extended);
            EXPECT_EQ(block.PayloadType(), kMultiPart);
            EXPECT_EQ(GigE::payloadTypeOf(*block.trailer), kMultiPart);
            const auto* leader = std::get_if<GigE::MultiPartLeader>(&*block.leader);
            ASSERT_NE(leader, nullptr);
            ASSERT_EQ(leader->parts.size(), 4u);
            for (const GigE::PartDescriptor& part : leader->parts)
                EXPECT_EQ(std::tuple(part.partLength, part.pixelFormat, part.sizeX, part.sizeY),
                          std::tuple(std::uint64_t(partBytes), kMono8, 4096u, 16u));
            EXPECT_EQ(block.multiPartPieces.size(), block.receivedPacketIds.size() - 2) << "payload packets of format 7";
            // Offsets count from the start of the block: each piece lies within its own part's bytes.
            for (const MultiPartPiece& piece : block.multiPartPieces) {
                const std::uint64_t start = piece.header.partId * std::uint64_t(partBytes);
                ASSERT_TRUE(piece.header.partId < 4 && piece.header.offset >= start &&
                            piece.header.offset + piece.size <= start + partBytes) << "packet " << piece.packetId;
            }
            EXPECT_TRUE(block.data == host.Frames(4 * block.blockId - 3, 4 * block.blockId));
        }
    }
}

TEST(StreamChannel, MultiStreamCameraSendsEachChannelFromItsOwnPort) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server(Serve("VX2048S-0001"));
    Host host("VX2048S-0001", {{"Width", 256}, {"Height", 32}});
    ASSERT_EQ(host.Read(Reg::streamChannelCount), 5u);
    std::vector<std::uint32_t> sourcePorts;
    for (std::uint32_t channel = 0; channel < 5; ++channel)
        sourcePorts.push_back(host.Read(Reg::streamChannel(channel) + Sc::sourcePort) & 0xFFFF);
    EXPECT_EQ(std::set<std::uint32_t>(sourcePorts.begin(), sourcePorts.end()).size(), 5u);
    EXPECT_EQ(std::count(sourcePorts.begin(), sourcePorts.end(), 0u), 0);
    const std::uint32_t channels[] = {0, 3, 4};
    std::deque<GvspReceiver> receivers;
    for (const std::uint32_t channel : channels) host.Open(receivers.emplace_back(HostAddress()), channel);
    host.Acquire(true);
    for (std::size_t index = 0; index < 3; ++index) {
        const std::uint32_t channel = channels[index];
        SCOPED_TRACE(testing::Message() << "channel " << channel);
        const auto first = receivers[index].ReceiveRaw(3s);
        ASSERT_TRUE(first.has_value());
        EXPECT_EQ(first->sourcePort, sourcePorts[channel]);
        std::vector<ReceivedBlock> blocks = receivers[index].ReceiveBlocks(4, 8s);
        std::erase_if(blocks, [](const ReceivedBlock& block) { return !block.Complete(); });  // the one begun above
        ASSERT_GE(blocks.size(), 2u);
        for (const ReceivedBlock& block : blocks) {
            if (channel == 4) {
                const auto* leader = std::get_if<GigE::MultiPartLeader>(&*block.leader);
                ASSERT_NE(leader, nullptr) << "the last channel is multi-part from the start";
                EXPECT_EQ(leader->parts.size(), 4u);
                continue;
            }
            // The channels share the camera's frames: which frame a block holds is not known here.
            const GigE::ImageLeader* leader = block.ImageLeader();
            ASSERT_NE(leader, nullptr);
            if (channel == 0) {
                EXPECT_EQ(std::tuple(leader->pixelFormat, leader->sizeX, leader->sizeY), std::tuple(kMono8, 256u, 32u));
                EXPECT_EQ(block.data.size(), 256u * 32u);
                continue;
            }
            // One event per column, 16 bytes each, x first as a little-endian float.
            EXPECT_EQ(leader->pixelFormat, kPelgoXYTP128f);
            EXPECT_EQ(leader->sizeY, 1u);
            ASSERT_GT(leader->sizeX, 0u);
            ASSERT_EQ(block.data.size(), leader->sizeX * 16u);
            for (std::uint32_t event = 0; event < leader->sizeX; event += 37) {
                const std::uint8_t* x = &block.data[16 * event];
                EXPECT_EQ(std::bit_cast<float>(std::uint32_t(x[0] | x[1] << 8 | x[2] << 16 | std::uint32_t(x[3]) << 24)), float(event));
            }
        }
    }
    host.Acquire(false);
}

TEST(StreamChannel, StreamEndsWhenTheHostSaysAndOutlivesAHostThatVanished) {
    REQUIRE_CAMERA_NETWORK();
    ServerProcess server(Serve("VM1280M-0001"));
    Host host("VM1280M-0001", {{"Width", 256}, {"Height", 32}});
    const std::uint32_t portRegister = Reg::streamChannel(0) + Sc::port;
    const auto someComplete = [](const std::vector<ReceivedBlock>& blocks) {
        return std::any_of(blocks.begin(), blocks.end(), [](const ReceivedBlock& block) { return block.Complete(); });
    };
    {
        GvspReceiver receiver(HostAddress());
        host.Open(receiver);
        host.Acquire(true);
        ASSERT_EQ(receiver.ReceiveBlocks(2, 3s).size(), 2u);
        host.Write(portRegister, 0);
        EXPECT_TRUE(FallsSilent(receiver)) << "blocks after SCP = 0";
        host.Write(portRegister, receiver.Port());
        EXPECT_TRUE(someComplete(receiver.ReceiveBlocks(3, 3s))) << "the reopened channel stays silent";
        host.Acquire(false);
        EXPECT_TRUE(FallsSilent(receiver)) << "blocks after AcquisitionStop";
        host.Acquire(true);
        ASSERT_FALSE(receiver.ReceiveBlocks(1, 3s).empty());
    }  // the host's stream socket is gone, its channel still open
    std::this_thread::sleep_for(500ms);
    const std::uint64_t blocks = Counter(server, "blocks");
    std::this_thread::sleep_for(300ms);
    EXPECT_TRUE(host.control.ReadRegister(Reg::controlChannelPrivilege).Succeeded());
    EXPECT_GT(Counter(server, "blocks"), blocks) << "the stream stopped for a host that may come back";
    GvspReceiver returned(HostAddress());
    host.Write(portRegister, returned.Port());
    EXPECT_TRUE(someComplete(returned.ReceiveBlocks(3, 3s))) << "no stream for the host that came back";
    host.Acquire(false);
}
