// The message channel of a served camera: while a host has opened it (a non-zero port in MCP),
// the camera's events (exposure end...) go to MCDA:MCP as EVENTDATA commands, repeated until
// acknowledged or MCRC retries have passed, MCTT ms apart.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "FaultInjection.h"
#include <Net/UdpSocket.h>
#include "camera/VirtualCamera.h"

namespace GvCamera {

struct MessageStatistics {
    std::uint64_t events = 0;
    std::uint64_t retries = 0;
    std::uint64_t acknowledged = 0;
    std::uint64_t unacknowledged = 0;  // given up on after the last retry
};

class MessageChannel {
public:
    MessageChannel(std::shared_ptr<VirtualGenTL::VirtualCamera> camera, FaultInjector& faults);
    ~MessageChannel();
    MessageChannel(const MessageChannel&) = delete;
    MessageChannel& operator=(const MessageChannel&) = delete;

    void PortChanged();  // after MCP changed
    void Close();
    MessageStatistics Statistics() const;

private:
    void Run();
    void Deliver(std::vector<std::uint8_t> packet);
    // Bound to the camera's current address; made again when that changed (FORCEIP).
    std::shared_ptr<Net::UdpSocket> Socket();

    std::shared_ptr<VirtualGenTL::VirtualCamera> m_camera;
    FaultInjector& m_faults;

    mutable std::mutex m_mutex;  // guards the state below
    std::condition_variable m_changed;
    bool m_open = false;
    bool m_quit = false;
    std::shared_ptr<Net::UdpSocket> m_socket;
    MessageStatistics m_statistics;
    std::uint16_t m_requestId = 0;
    std::thread m_thread;
};

} // namespace GvCamera
