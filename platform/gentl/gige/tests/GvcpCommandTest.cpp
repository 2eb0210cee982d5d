// Every command and acknowledge payload: round trips, the known resend request bytes, and
// hostile payloads giving the status a device must answer.
#include <GigE/BootstrapRegisters.h>
#include <GigE/GvcpCommand.h>

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

using namespace GigE;

namespace {

using Datagram = std::vector<std::uint8_t>;

AnyCommand roundTrip(const Datagram& datagram) {
    const ParsedDatagram parsed = parseCommandDatagram(datagram);
    EXPECT_EQ(parsed.status, Status::Success) << statusName(parsed.status);
    return parsed.command.value_or(AnyCommand{});
}

// Every command kind in a valid form that uses all of its fields.
std::vector<std::pair<AnyCommand, Datagram>> sampleCommands() {
    std::vector<std::pair<AnyCommand, Datagram>> samples;
    const auto add = [&](auto command, Datagram datagram) { samples.emplace_back(AnyCommand{command}, datagram); };
    add(DiscoveryCommand{true}, DiscoveryCommand{true}.encode(1));
    const ForceIpCommand forceIp{{0x00, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F}, 0xC0A80A05, 0xFFFFFF00, 0xC0A80A01};
    add(forceIp, forceIp.encode(2));
    const PacketResendCommand resend{false, 1, 0xFFFE, 3, 0xFFFFFF};
    add(resend, resend.encode(3));
    const PacketResendCommand extendedResend{true, 2, 0x123456789ABCULL, 0x01000000, 0xFFFFFFFF};
    add(extendedResend, extendedResend.encode(4));
    std::vector<std::uint32_t> manyAddresses(maxReadRegisterCount);
    std::iota(manyAddresses.begin(), manyAddresses.end(), 0u);
    for (auto& address : manyAddresses) address *= 4;
    add(ReadRegisterCommand{manyAddresses}, ReadRegisterCommand{manyAddresses}.encode(5));
    const WriteRegisterCommand writes{{{Register::controlChannelPrivilege, 2}, {Register::streamChannel(1), 50000}}};
    add(writes, writes.encode(6));
    add(ReadMemoryCommand{0x0200, 536}, ReadMemoryCommand{0x0200, 536}.encode(7));
    const WriteMemoryCommand memory{Register::userDefinedName, {'c', 'a', 'm', 0}};
    add(memory, memory.encode(8));
    const EventCommand events{false, {{0x9001, 0, 0xBEEF, 0x0102030405060708ULL}, {0x0004, noStreamChannel, 0, 1}}};
    add(events, events.encode(9));
    const EventCommand extendedEvent{true, {{0x0002, 3, 0x1122334455667788ULL, 42}}};
    add(extendedEvent, extendedEvent.encode(10));
    const EventDataCommand eventData{false, {0x9002, 0, 12, 99}, {1, 2, 3, 4, 5, 6, 7, 8}};
    add(eventData, eventData.encode(11));
    const ActionCommand action{0x11223344, 0x1, 0xFFFFFFFF, std::nullopt};
    add(action, action.encode(12, false));
    const ActionCommand scheduled{0x11223344, 0x2, 0x00000003, 0x0000001234567890ULL};
    add(scheduled, scheduled.encode(13, true));
    return samples;
}

TEST(GvcpCommands, EveryCommandSurvivesEncodeAndParse) {
    for (const auto& [command, datagram] : sampleCommands()) {
        EXPECT_EQ(roundTrip(datagram), command) << "command index " << command.index();
    }
}

TEST(GvcpCommands, ResendRequestHasTheKnownBytes) {
    const Datagram expected{0x42, 0x00, 0x00, 0x40, 0x00, 0x0C, 0x12, 0x34, 0x00, 0x00, 0x00, 0x07,
                            0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x09};
    EXPECT_EQ((PacketResendCommand{false, 0, 7, 5, 9}.encode(0x1234)), expected);
}

TEST(GvcpCommands, ExtendedResendPutsTheBlockIdLast) {
    const Datagram datagram = PacketResendCommand{true, 1, 0x0102030405060708ULL, 5, 9}.encode(0x10);
    EXPECT_EQ(datagram[1], CommandFlag::extendedId);
    EXPECT_EQ(Datagram(datagram.begin() + 8, datagram.end()),
              (Datagram{0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x09,
                        0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}));
}

TEST(GvcpCommands, EncodersRefuseWhatTheStandardFormCannotCarry) {
    EXPECT_THROW((PacketResendCommand{false, 0, 0x10000, 1, 2}.encode(1)), std::invalid_argument);
    EXPECT_THROW((PacketResendCommand{false, 0, 1, 1, 0x1000000}.encode(1)), std::invalid_argument);
    EXPECT_THROW((EventCommand{false, {{1, 0, 0x10000, 0}}}.encode(1)), std::invalid_argument);
    EXPECT_THROW(ReadRegisterCommand{std::vector<std::uint32_t>(maxReadRegisterCount + 1)}.encode(1), std::invalid_argument);
}

// Each command cut at every payload length (the header's length following the cut, so the
// header check passes) gets exactly the status its layout implies.
TEST(GvcpCommands, EveryShortenedPayloadGetsItsStatus) {
    for (const auto& [command, datagram] : sampleCommands()) {
        const std::size_t fullPayload = datagram.size() - gvcpHeaderSize;
        for (std::size_t length = 0; length < fullPayload; length += 4) {
            Datagram cut(datagram.begin(), datagram.begin() + static_cast<std::ptrdiff_t>(gvcpHeaderSize + length));
            cut[4] = static_cast<std::uint8_t>(length >> 8);
            cut[5] = static_cast<std::uint8_t>(length);
            const ParsedDatagram parsed = parseCommandDatagram(cut);
            ASSERT_FALSE(parsed.check.ignored());
            const bool stillValid = std::visit(
                [length](const auto& kind) {
                    using Kind = std::decay_t<decltype(kind)>;
                    if constexpr (std::is_same_v<Kind, DiscoveryCommand>) return true;
                    if constexpr (std::is_same_v<Kind, ReadRegisterCommand>) return length >= 4;
                    if constexpr (std::is_same_v<Kind, WriteRegisterCommand>) return length >= 8 && length % 8 == 0;
                    if constexpr (std::is_same_v<Kind, WriteMemoryCommand>) return length >= 8;
                    if constexpr (std::is_same_v<Kind, EventCommand>) return length > 0 && length % (kind.extendedId ? 24 : 16) == 0;
                    if constexpr (std::is_same_v<Kind, EventDataCommand>) return length >= 16;
                    if constexpr (std::is_same_v<Kind, ActionCommand>) return false;
                    return false;
                },
                command);
            EXPECT_EQ(parsed.status, stillValid ? Status::Success : Status::InvalidParameter)
                << "command index " << command.index() << ", payload " << length;
        }
        // Cut without fixing the length: the datagram is shorter than announced.
        for (std::size_t size = gvcpHeaderSize; size < datagram.size(); ++size) {
            EXPECT_EQ(parseCommandDatagram(Bytes(datagram.data(), size)).status, Status::InvalidParameter)
                << "command index " << command.index() << ", size " << size;
        }
    }
}

TEST(GvcpCommands, UnalignedAddressesAndCountsAreBadAlignment) {
    EXPECT_EQ(parseCommandDatagram(ReadRegisterCommand{{0x0A00, 0x0A02}}.encode(1)).status, Status::BadAlignment);
    EXPECT_EQ(parseCommandDatagram(WriteRegisterCommand{{{0x0A00, 2}, {0x0D01, 1}}}.encode(1)).status,
              Status::BadAlignment);
    EXPECT_EQ(parseCommandDatagram(ReadMemoryCommand{0x0201, 16}.encode(1)).status, Status::BadAlignment);
    EXPECT_EQ(parseCommandDatagram(ReadMemoryCommand{0x0200, 18}.encode(1)).status, Status::BadAlignment);
    EXPECT_EQ(parseCommandDatagram(WriteMemoryCommand{0x00EA, {1, 2, 3, 4}}.encode(1)).status, Status::BadAlignment);
}

TEST(GvcpCommands, CountsOutsideTheirRangeAreInvalidParameters) {
    EXPECT_EQ(parseCommandDatagram(ReadMemoryCommand{0x0200, 0}.encode(1)).status, Status::InvalidParameter);
    EXPECT_EQ(parseCommandDatagram(ReadMemoryCommand{0x0200, 540}.encode(1)).status, Status::InvalidParameter);
    EXPECT_EQ(parseCommandDatagram(ReadRegisterCommand{{}}.encode(1)).status, Status::InvalidParameter);
    EXPECT_EQ(parseCommandDatagram(WriteRegisterCommand{{}}.encode(1)).status, Status::InvalidParameter);
    // Half a pair.
    EXPECT_EQ(parseCommandDatagram(encodeCommand(1, 0x0082, 1, Datagram(12, 0))).status, Status::InvalidParameter);
    // Block id 0 and reversed ranges in a resend request.
    EXPECT_EQ(parseCommandDatagram(PacketResendCommand{false, 0, 0, 1, 2}.encode(1)).status, Status::InvalidParameter);
    EXPECT_EQ(parseCommandDatagram(PacketResendCommand{true, 0, 5, 9, 2}.encode(1)).status, Status::InvalidParameter);
}

TEST(GvcpCommands, LayoutFlagsMustMatchThePayloadLength) {
    // A standard resend request marked extended, and the reverse.
    Datagram resend = PacketResendCommand{false, 0, 7, 5, 9}.encode(1);
    resend[1] = CommandFlag::extendedId;
    EXPECT_EQ(parseCommandDatagram(resend).status, Status::InvalidParameter);
    resend = PacketResendCommand{true, 0, 7, 5, 9}.encode(1);
    resend[1] = 0;
    EXPECT_EQ(parseCommandDatagram(resend).status, Status::InvalidParameter);
    // An immediate action marked scheduled.
    Datagram action = ActionCommand{1, 2, 3, std::nullopt}.encode(1, true);
    action[1] |= CommandFlag::scheduledAction;
    EXPECT_EQ(parseCommandDatagram(action).status, Status::InvalidParameter);
    // 48 bytes of events are three standard items but two extended ones.
    Datagram events = EventCommand{false, {{}, {}, {}}}.encode(1);
    EXPECT_EQ(parseCommandDatagram(events).status, Status::Success);
    events[1] |= CommandFlag::extendedId;
    const ParsedDatagram extended = parseCommandDatagram(events);
    ASSERT_EQ(extended.status, Status::Success);
    EXPECT_EQ(std::get<EventCommand>(*extended.command).items.size(), 2u);
}

TEST(GvcpCommands, UnknownCommandsAreNotImplemented) {
    const ParsedDatagram parsed = parseCommandDatagram(encodeCommand(1, 0x0042, 3));
    EXPECT_EQ(parsed.status, Status::NotImplemented);
    EXPECT_EQ(parsed.check.header->command, 0x0042);
}

TEST(GvcpCommands, ActionMatchingFollowsKeysAndMask) {
    const ActionCommand action{0xAA, 0x10, 0b0110, std::nullopt};
    EXPECT_TRUE(action.matches(0xAA, 0x10, 0b0100));
    EXPECT_FALSE(action.matches(0xAB, 0x10, 0b0100));
    EXPECT_FALSE(action.matches(0xAA, 0x11, 0b0100));
    EXPECT_FALSE(action.matches(0xAA, 0x10, 0b1001));
    EXPECT_FALSE(action.matches(0xAA, 0x10, 0)); // a zero mask disables the signal
}

TEST(GvcpCommands, EventDataIsPaddedToWholeWords) {
    const Datagram datagram = EventDataCommand{false, {0x9000, 0, 1, 2}, {1, 2, 3, 4, 5}}.encode(1);
    EXPECT_EQ(datagram.size(), gvcpHeaderSize + 16 + 8);
    const auto parsed = std::get<EventDataCommand>(roundTrip(datagram));
    EXPECT_EQ(parsed.data, (Datagram{1, 2, 3, 4, 5, 0, 0, 0}));
}

// Acknowledges, as a host reads them.

template <typename Acknowledge>
Acknowledge parseAnswer(const Datagram& datagram) {
    const auto header = parseAcknowledge(datagram);
    EXPECT_TRUE(header);
    const auto parsed = Acknowledge::parse(*header);
    EXPECT_TRUE(parsed) << statusName(parsed.status());
    return parsed ? *parsed : Acknowledge{};
}

TEST(GvcpAcknowledges, EveryAcknowledgeSurvivesEncodeAndParse) {
    const ReadRegisterAcknowledge values{{1, 0xFFFFFFFF, 0x80000000}};
    EXPECT_EQ(parseAnswer<ReadRegisterAcknowledge>(values.encode(3)), values);
    EXPECT_EQ(parseAnswer<WriteRegisterAcknowledge>(WriteRegisterAcknowledge{2}.encode(3)).index, 2);
    const ReadMemoryAcknowledge memory{0x0200, {'L', 'o', 'c', 'a'}};
    EXPECT_EQ(parseAnswer<ReadMemoryAcknowledge>(memory.encode(3)), memory);
    EXPECT_EQ(parseAnswer<WriteMemoryAcknowledge>(WriteMemoryAcknowledge{8}.encode(3)).index, 8);

    DiscoveryAcknowledge device;
    device.versionMajor = 2;
    device.versionMinor = 1;
    device.deviceMode = Register::DeviceMode::bigEndian | Register::DeviceMode::characterSetUtf8;
    device.macAddress = {0x02, 0x56, 0x49, 0x52, 0x45, 0x4F};
    device.supportedIpConfiguration = 0x7;
    device.currentIpConfiguration = 0x6;
    device.ipAddress = 0xC0A80A05;
    device.subnetMask = 0xFFFFFF00;
    device.defaultGateway = 0xC0A80A01;
    device.manufacturerName = "Vireo";
    device.modelName = std::string(32, 'M'); // fills its field: no terminator
    device.deviceVersion = "1.0";
    device.manufacturerInfo = "virtual camera";
    device.serialNumber = "VM1280M-0001";
    device.userDefinedName = "";
    const Datagram answer = device.encode(0xFFFF);
    ASSERT_EQ(answer.size(), gvcpHeaderSize + discoveryAcknowledgePayloadSize);
    EXPECT_EQ(parseAnswer<DiscoveryAcknowledge>(answer), device);
}

TEST(GvcpAcknowledges, DiscoveryPayloadIsTheBootstrapRegisterImage) {
    DiscoveryAcknowledge device;
    device.macAddress = {1, 2, 3, 4, 5, 6};
    device.ipAddress = 0x0A000005;
    device.serialNumber = "S";
    device.manufacturerName = std::string(40, 'x'); // cut to its field
    const Datagram payload = device.encodePayload();
    EXPECT_EQ(Datagram(payload.begin() + 8, payload.begin() + 16), (Datagram{0, 0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(Datagram(payload.begin() + 0x24, payload.begin() + 0x28), (Datagram{10, 0, 0, 5}));
    EXPECT_EQ(payload[Register::serialNumber], 'S');
    EXPECT_EQ(payload[Register::modelName], 0); // the long name did not spill over
    EXPECT_EQ(DiscoveryAcknowledge::parsePayload(payload)->manufacturerName, std::string(32, 'x'));
    EXPECT_FALSE(DiscoveryAcknowledge::parsePayload(Bytes(payload.data(), payload.size() - 4)));
}

TEST(GvcpAcknowledges, WrongCodesAndShortPayloadsAreRejected) {
    const auto header = [](const Datagram& datagram) { return *parseAcknowledge(datagram); };
    // A read-register answer does not pass for a read-memory one.
    EXPECT_FALSE(ReadMemoryAcknowledge::parse(header(ReadRegisterAcknowledge{{1}}.encode(1))));
    EXPECT_FALSE(WriteRegisterAcknowledge::parse(header(encodeAcknowledge(Status::Success, 0x0083, 1))));
    EXPECT_FALSE(ReadMemoryAcknowledge::parse(header(encodeAcknowledge(Status::Success, 0x0085, 1))));
    EXPECT_FALSE(DiscoveryAcknowledge::parse(header(encodeAcknowledge(Status::Success, 0x0003, 1, Datagram(244, 0)))));
    // A failed write tells how far it got.
    const auto failed = WriteRegisterAcknowledge::parse(header(WriteRegisterAcknowledge{1}.encode(1, Status::WriteProtect)));
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->index, 1);
    // Without the index the status is what is left.
    EXPECT_EQ(WriteRegisterAcknowledge::parse(header(encodeAcknowledge(Status::AccessDenied, 0x0083, 1))).status(),
              Status::AccessDenied);
}

} // namespace
