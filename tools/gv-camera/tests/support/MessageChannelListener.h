// The host end of a device's message channel for tests: receives EVENT and EVENTDATA
// commands, acknowledges them when the device asks (or deliberately not, to see the device
// retry), and keeps everything it parsed.
#ifndef VIREO_GV_CAMERA_TEST_MESSAGE_CHANNEL_LISTENER_H
#define VIREO_GV_CAMERA_TEST_MESSAGE_CHANNEL_LISTENER_H

#include <cstdint>
#include <vector>

#include <GigE/EventMessage.h>

#include "HostUdpSocket.h"

namespace GvCameraTest {

struct ReceivedEvent {
    bool eventData = false; // EVENTDATA_CMD rather than EVENT_CMD
    bool extendedId = false;
    bool acknowledgeRequested = false;
    std::uint16_t requestId = 0;
    std::vector<GigE::EventItem> items; // one for EVENTDATA
    std::vector<std::uint8_t> data;      // EVENTDATA only, as received (padding included)
    GigE::Ipv4Address sourceAddress = 0;
    std::uint16_t sourcePort = 0;
};

struct MessageChannelCounters {
    std::uint64_t commandsReceived = 0;
    std::uint64_t acknowledgesSent = 0;
    std::uint64_t repeatedCommands = 0; // same request id as the previous one from that sender: a retry
    std::uint64_t malformedDatagrams = 0;
};

class MessageChannelListener {
public:
    explicit MessageChannelListener(GigE::Ipv4Address localAddress, bool acknowledge = true);

    GigE::Ipv4Address Address() const { return m_socket.LocalAddress(); }
    std::uint16_t Port() const { return m_socket.LocalPort(); }
    // Whether commands that ask for an acknowledge get one; off, the device should retry.
    void SetAcknowledge(bool acknowledge) { m_acknowledge = acknowledge; }
    MessageChannelCounters Counters() const { return m_counters; }

    // Receives until `count` commands arrived (retries included) or the timeout passed.
    std::vector<ReceivedEvent> Receive(std::size_t count, Milliseconds timeout);

private:
    HostUdpSocket m_socket;
    bool m_acknowledge = true;
    MessageChannelCounters m_counters;
    bool m_haveLastId = false;
    std::uint16_t m_lastRequestId = 0;
};

} // namespace GvCameraTest

#endif
