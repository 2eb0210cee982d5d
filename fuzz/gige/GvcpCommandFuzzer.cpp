// Parses arbitrary bytes as a GVCP command the way a device server does, and as an
// acknowledge the way a host does. Whatever parses must encode back to the same command.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include <GigE/DescriptionUrl.h>
#include <GigE/GvcpCommand.h>

namespace {

using namespace GigE;

std::vector<std::uint8_t> encodeAgain(const AnyCommand& command, const CommandHeader& header) {
    return std::visit(
        [&header](const auto& kind) {
            using Kind = std::decay_t<decltype(kind)>;
            if constexpr (std::is_same_v<Kind, DiscoveryCommand> || std::is_same_v<Kind, PacketResendCommand>)
                return kind.encode(header.requestId);
            else if constexpr (std::is_same_v<Kind, EventCommand> || std::is_same_v<Kind, EventDataCommand> ||
                               std::is_same_v<Kind, ActionCommand>)
                return kind.encode(header.requestId, header.acknowledgeRequested());
            else
                return kind.encode(header.requestId, header.flags);
        },
        command);
}

void checkCommandRoundTrip(Bytes input) {
    const ParsedDatagram parsed = parseCommandDatagram(input);
    if (parsed.check.ignored() || !parsed.command) return;
    const std::vector<std::uint8_t> again = encodeAgain(*parsed.command, *parsed.check.header);
    const ParsedDatagram reparsed = parseCommandDatagram(again);
    if (!reparsed.command || !(*reparsed.command == *parsed.command)) std::abort();
    // The answer a device would send must always be encodable.
    (void)encodeAcknowledgeFor(*parsed.check.header, parsed.status);
}

void parseAsAcknowledge(Bytes input) {
    const auto acknowledge = parseAcknowledge(input);
    if (!acknowledge) return;
    (void)ReadRegisterAcknowledge::parse(*acknowledge);
    (void)WriteRegisterAcknowledge::parse(*acknowledge);
    (void)WriteMemoryAcknowledge::parse(*acknowledge);
    (void)PendingAcknowledge::parse(*acknowledge);
    if (const auto memory = ReadMemoryAcknowledge::parse(*acknowledge); memory && memory->data.size() % 4 == 0 &&
                                                                        memory->data.size() <= maxMemoryDataSize) {
        if (!(*ReadMemoryAcknowledge::parse(*parseAcknowledge(memory->encode(1))) == *memory)) std::abort();
    }
    if (const auto device = DiscoveryAcknowledge::parse(*acknowledge)) {
        if (!(*DiscoveryAcknowledge::parsePayload(device->encodePayload()) == *device)) std::abort();
    }
}

// The same bytes as the content of a URL register.
void parseAsUrl(Bytes input) {
    const auto url = DescriptionUrl::parseRegister(input);
    if (!url) return;
    const auto again = DescriptionUrl::parse(url->format());
    if (!again || !(*again == *url)) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes input(data, size);
    checkCommandRoundTrip(input);
    parseAsAcknowledge(input);
    parseAsUrl(input);
    return 0;
}
