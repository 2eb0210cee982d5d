#include "MessageChannelListener.h"

#include <GigE/GvcpCommand.h>

namespace GvCameraTest {

MessageChannelListener::MessageChannelListener(GigE::Ipv4Address localAddress, bool acknowledge)
    : m_socket(localAddress), m_acknowledge(acknowledge) {}

std::vector<ReceivedEvent> MessageChannelListener::Receive(std::size_t count, Milliseconds timeout) {
    std::vector<ReceivedEvent> events;
    const auto deadline = Clock::now() + timeout;
    while (events.size() < count) {
        auto datagram = m_socket.Receive(deadline);
        if (!datagram) break;
        const auto parsed = GigE::parseCommandDatagram(datagram->bytes);
        if (parsed.check.ignored() || !parsed.command) {
            ++m_counters.malformedDatagrams;
            continue;
        }
        ReceivedEvent event;
        const GigE::CommandHeader& header = *parsed.check.header;
        if (const auto* command = std::get_if<GigE::EventCommand>(&*parsed.command)) {
            event.extendedId = command->extendedId;
            event.items = command->items;
        } else if (const auto* dataCommand = std::get_if<GigE::EventDataCommand>(&*parsed.command)) {
            event.eventData = true;
            event.extendedId = dataCommand->extendedId;
            event.items = {dataCommand->item};
            event.data = dataCommand->data;
        } else {
            // Only events belong on this channel.
            ++m_counters.malformedDatagrams;
            continue;
        }
        ++m_counters.commandsReceived;
        if (m_haveLastId && header.requestId == m_lastRequestId) ++m_counters.repeatedCommands;
        m_haveLastId = true;
        m_lastRequestId = header.requestId;
        event.requestId = header.requestId;
        event.acknowledgeRequested = header.acknowledgeRequested();
        event.sourceAddress = datagram->sourceAddress;
        event.sourcePort = datagram->sourcePort;
        if (event.acknowledgeRequested && m_acknowledge) {
            // The acknowledge goes back to where the command came from (the device's MCSP).
            if (m_socket.SendTo(GigE::encodeAcknowledgeFor(header, GigE::Status::Success), datagram->sourceAddress,
                                datagram->sourcePort)) {
                ++m_counters.acknowledgesSent;
            }
        }
        events.push_back(std::move(event));
    }
    return events;
}

} // namespace GvCameraTest
