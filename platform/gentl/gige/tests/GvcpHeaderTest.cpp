// The command and acknowledge headers: the checks a received datagram goes through, and
// the exact bytes of known exchanges.
#include <GigE/Discovery.h>
#include <GigE/GvcpHeader.h>
#include <GigE/RegisterAccess.h>

#include <gtest/gtest.h>

#include <vector>

using namespace GigE;

namespace {

using Datagram = std::vector<std::uint8_t>;

TEST(GvcpExchange, ReadOfControlPrivilegeHasTheKnownBytes) {
    const Datagram command = ReadRegisterCommand{{0x0A00}}.encode(0x002A);
    EXPECT_EQ(command, (Datagram{0x42, 0x01, 0x00, 0x80, 0x00, 0x04, 0x00, 0x2A, 0x00, 0x00, 0x0A, 0x00}));

    const CommandCheck check = checkCommand(command);
    ASSERT_TRUE(check.accepted());
    const auto parsed = ReadRegisterCommand::parse(check.command());
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->addresses, std::vector<std::uint32_t>{0x0A00});

    const Datagram answer = ReadRegisterAcknowledge{{0x00000002}}.encode(check.header->requestId);
    EXPECT_EQ(answer, (Datagram{0x00, 0x00, 0x00, 0x81, 0x00, 0x04, 0x00, 0x2A, 0x00, 0x00, 0x00, 0x02}));
    const auto acknowledge = parseAcknowledge(answer);
    ASSERT_TRUE(acknowledge);
    const auto values = ReadRegisterAcknowledge::parse(*acknowledge);
    ASSERT_TRUE(values);
    EXPECT_EQ(values->values, std::vector<std::uint32_t>{2});
}

TEST(GvcpExchange, BroadcastDiscoveryHasTheKnownBytes) {
    EXPECT_EQ(DiscoveryCommand{true}.encode(0xFFFF), (Datagram{0x42, 0x11, 0x00, 0x02, 0x00, 0x00, 0xFF, 0xFF}));
    EXPECT_EQ(DiscoveryCommand{false}.encode(1), (Datagram{0x42, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x01}));
}

TEST(GvcpExchange, ErrorAcknowledgeKeepsCodeAndIdOfTheCommand) {
    const CommandHeader header{CommandFlag::acknowledge, 0x0123, 0, 0x4321}; // unknown command
    const Datagram answer = encodeAcknowledgeFor(header, Status::NotImplemented);
    EXPECT_EQ(answer, (Datagram{0x80, 0x01, 0x01, 0x24, 0x00, 0x00, 0x43, 0x21}));
}

TEST(GvcpCommandCheck, DatagramsThatAreNotCommandsAreIgnored) {
    const Datagram valid = ReadRegisterCommand{{0x0A00}}.encode(7);
    for (std::size_t size = 0; size < gvcpHeaderSize; ++size) {
        EXPECT_TRUE(checkCommand(Bytes(valid.data(), size)).ignored()) << size;
    }
    for (const std::uint8_t key : {0x00, 0x41, 0x43, 0xC2, 0xFF}) {
        Datagram wrongKey = valid;
        wrongKey[0] = key;
        EXPECT_TRUE(checkCommand(wrongKey).ignored()) << int(key);
    }
    // An acknowledge arriving on the command port is not a command either.
    EXPECT_TRUE(checkCommand(ReadRegisterAcknowledge{{2}}.encode(7)).ignored());
}

TEST(GvcpCommandCheck, MalformedHeadersGetAnAnswerWithTheRightStatus) {
    Datagram zeroId = ReadRegisterCommand{{0x0A00}}.encode(7);
    zeroId[7] = 0;
    CommandCheck check = checkCommand(zeroId);
    ASSERT_FALSE(check.ignored());
    EXPECT_EQ(check.status, Status::InvalidHeader);

    Datagram oddLength = encodeCommand(CommandFlag::acknowledge, 0x0080, 9, Datagram{0, 0, 0x0A, 0, 0, 0, 0, 0});
    oddLength[5] = 6;
    check = checkCommand(oddLength);
    EXPECT_EQ(check.status, Status::InvalidHeader);
    EXPECT_EQ(check.header->requestId, 9);

    // The header announces more payload than arrived.
    Datagram longer = ReadRegisterCommand{{0x0A00}}.encode(7);
    longer[5] = 8;
    EXPECT_EQ(checkCommand(longer).status, Status::InvalidParameter);
    longer[4] = 0xFF;
    longer[5] = 0xFC;
    EXPECT_EQ(checkCommand(longer).status, Status::InvalidParameter);

    // More than a control datagram may carry, even if all of it arrived.
    Datagram oversize(gvcpHeaderSize + 544, 0);
    oversize[0] = commandKey;
    oversize[3] = 0x80;
    oversize[4] = 0x02;
    oversize[5] = 0x20; // 544
    oversize[7] = 1;
    EXPECT_EQ(checkCommand(oversize).status, Status::InvalidParameter);
}

TEST(GvcpCommandCheck, BytesAfterTheAnnouncedPayloadAreNotPartOfIt) {
    Datagram padded = ReadRegisterCommand{{0x0A00}}.encode(7);
    padded.insert(padded.end(), {0xDE, 0xAD, 0xBE, 0xEF});
    const CommandCheck check = checkCommand(padded);
    ASSERT_TRUE(check.accepted());
    EXPECT_EQ(check.payload.size(), 4u);
}

TEST(GvcpAcknowledgeParse, RejectsShortDatagramsAndOverlongLengths) {
    const Datagram valid = ReadRegisterAcknowledge{{1, 2}}.encode(5);
    for (std::size_t size = 0; size < valid.size(); ++size) {
        EXPECT_FALSE(parseAcknowledge(Bytes(valid.data(), size))) << size;
    }
    const auto parsed = parseAcknowledge(valid);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->header, (AcknowledgeHeader{Status::Success, 0x0081, 8, 5}));
}

TEST(GvcpAcknowledgeParse, ErrorStatusIsReportedInsteadOfValues) {
    const Datagram denied = ReadRegisterAcknowledge{{}}.encode(5, Status::AccessDenied);
    const auto parsed = parseAcknowledge(denied);
    ASSERT_TRUE(parsed);
    const auto values = ReadRegisterAcknowledge::parse(*parsed);
    EXPECT_FALSE(values);
    EXPECT_EQ(values.status(), Status::AccessDenied);
}

TEST(PendingAcknowledge, CarriesTheExtraTimeUnderThePendingCode) {
    const Datagram pending = PendingAcknowledge{1500}.encode(0x0031);
    EXPECT_EQ(pending, (Datagram{0x00, 0x00, 0x00, 0x89, 0x00, 0x04, 0x00, 0x31, 0x00, 0x00, 0x05, 0xDC}));
    const auto parsed = PendingAcknowledge::parse(*parseAcknowledge(pending));
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->timeToCompletionMs, 1500);
    // A read register acknowledge is not a pending one, whatever its payload.
    EXPECT_FALSE(PendingAcknowledge::parse(*parseAcknowledge(ReadRegisterAcknowledge{{1500}}.encode(0x31))));
}

TEST(GvcpStatus, NamesAndClasses) {
    EXPECT_EQ(statusName(Status::InvalidHeader), "INVALID_HEADER");
    EXPECT_EQ(statusName(Status::PacketAndPreviousRemovedFromMemory), "PACKET_AND_PREV_REMOVED_FROM_MEMORY");
    EXPECT_EQ(statusName(static_cast<Status>(0x8123)), "UNKNOWN");
    EXPECT_TRUE(isError(Status::Error));
    EXPECT_FALSE(isError(Status::PacketResend));
    EXPECT_TRUE(isExtendedStatus(Status::ActionLate));
    EXPECT_FALSE(isExtendedStatus(Status::PacketUnavailable));
    EXPECT_EQ(fallbackStatus(Status::PacketRemovedFromMemory), Status::PacketUnavailable);
    EXPECT_EQ(fallbackStatus(Status::BadAlignment), Status::BadAlignment);
}

} // namespace
