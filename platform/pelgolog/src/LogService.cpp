#include "LogService.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include "Record.h"

namespace PelgoLog {
namespace {

// Datagrams read from one socket before the receiver delivers them and polls again, so that
// a flooded port neither starves the other one nor holds up a SetPorts.
constexpr size_t kReceiveBatch = 64;

void Append(std::string& errors, const std::string& error) {
    if (!errors.empty()) errors += "; ";
    errors += error;
}

} // namespace

LogService::~LogService() {
    {
        std::lock_guard lock(m_portLock);
        m_stopping = true;
    }
    WakeReceiver();
    if (m_receiver.joinable()) m_receiver.join();
    if (m_wakeRead >= 0) close(m_wakeRead);
    if (m_wakeWrite >= 0) close(m_wakeWrite);
}

void LogService::Log(const char* module, int level, const char* userid, const char* message) {
    try {
        Deliver(ComposeRecord(module, level, userid, message), true);
    } catch (...) {
        // Logging never fails its caller; a record that cannot even be composed is lost.
    }
}

void LogService::Deliver(const std::string& record, bool local) {
    const char* const text = record.c_str();
    const auto filters = m_filterCallbacks.Snapshot();
    for (const auto& entry : *filters) {
        bool passes = true;
        m_filterCallbacks.Call(*entry, [&](IFilterCallback* filter) {
            if (filter->OnFilter(text)) passes = filter->OnFilterOut(text);
        });
        if (!passes) return;
    }
    const auto callbacks = m_logCallbacks.Snapshot();
    for (const auto& entry : *callbacks) m_logCallbacks.Call(*entry, [&](ILogCallback* callback) { callback->OnLog(text); });
    if (!local) return;
    std::shared_ptr<LoopbackSocket> out;
    {
        std::lock_guard lock(m_portLock);
        out = m_outSocket;
    }
    if (out != nullptr) out->Send(record);
}

std::string LogService::LastPortError() const {
    std::lock_guard lock(m_portLock);
    return m_portError;
}

void LogService::SetPorts(uint32_t inPort, uint32_t outPort, uint16_t auxInPort) {
    std::lock_guard setting(m_setPortsLock);
    // The old sockets go first, so that a port kept across the call can be bound again.
    CloseSockets();

    std::string errors;
    std::shared_ptr<LoopbackSocket> out;
    if (outPort > std::numeric_limits<uint16_t>::max()) {
        Append(errors, "output port " + std::to_string(outPort) + " is out of range");
    } else if (outPort != 0) {
        std::string error;
        out = LoopbackSocket::SendTo(static_cast<uint16_t>(outPort), error);
        if (out == nullptr) Append(errors, error);
    }
    Sockets in;
    for (const uint32_t port : {inPort, uint32_t(auxInPort)}) {
        if (port == 0) continue;
        if (port > std::numeric_limits<uint16_t>::max()) {
            Append(errors, "input port " + std::to_string(port) + " is out of range");
            continue;
        }
        // The same port asked for twice is listened on once.
        if (!in.empty() && in.front()->Port() == port) continue;
        std::string error;
        if (auto socket = LoopbackSocket::Listen(static_cast<uint16_t>(port), error))
            in.push_back(std::move(socket));
        else
            Append(errors, error);
    }
    if (!in.empty()) {
        const std::string error = StartReceiver();
        if (!error.empty()) {
            Append(errors, error);
            in.clear();
        }
    }

    {
        std::lock_guard lock(m_portLock);
        m_outSocket = std::move(out);
        m_inSockets = std::move(in);
        m_portError = std::move(errors);
        ++m_portGeneration;
    }
    WakeReceiver();
}

void LogService::CloseSockets() {
    std::unique_lock lock(m_portLock);
    m_outSocket.reset();
    m_inSockets.clear();
    ++m_portGeneration;
    WakeReceiver();
    // The receiver holds sockets only while it polls and reads (never while it delivers), so
    // this wait ends soon even when SetPorts comes from a callback on another thread. On the
    // receiver thread itself the receiver holds nothing at this point.
    m_receiverReleased.wait(lock, [this] { return !m_receiverHoldsSockets || m_receiverGeneration == m_portGeneration; });
}

std::string LogService::StartReceiver() {
    if (m_receiver.joinable()) return std::string();
    int wake[2];
    if (pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0) return std::string("cannot start the receiver: ") + std::strerror(errno);
    m_wakeRead = wake[0];
    m_wakeWrite = wake[1];
    try {
        m_receiver = std::thread(&LogService::Receive, this);
    } catch (const std::exception& error) {
        close(m_wakeRead);
        close(m_wakeWrite);
        m_wakeRead = m_wakeWrite = -1;
        return std::string("cannot start the receiver: ") + error.what();
    }
    return std::string();
}

void LogService::WakeReceiver() {
    if (m_wakeWrite < 0) return;
    const char byte = 0;
    // A full pipe already wakes the receiver; nothing else can go wrong that matters here.
    [[maybe_unused]] const ssize_t written = write(m_wakeWrite, &byte, 1);
}

void LogService::Receive() {
    Sockets sockets;
    std::vector<pollfd> polled;
    std::vector<std::string> received;
    std::string datagram;
    for (;;) {
        {
            std::lock_guard lock(m_portLock);
            if (m_stopping) return;
            sockets = m_inSockets;
            m_receiverGeneration = m_portGeneration;
            m_receiverHoldsSockets = true;
        }
        polled.assign(1, pollfd{m_wakeRead, POLLIN, 0});
        for (const auto& socket : sockets) polled.push_back(pollfd{socket->Descriptor(), POLLIN, 0});
        if (poll(polled.data(), polled.size(), -1) > 0) {
            if (polled[0].revents != 0) {
                char drained[64];
                while (read(m_wakeRead, drained, sizeof drained) > 0) {
                }
            }
            for (size_t index = 0; index < sockets.size(); ++index) {
                if ((polled[index + 1].revents & POLLIN) == 0) continue;
                for (size_t count = 0; count < kReceiveBatch && sockets[index]->Receive(datagram); ++count)
                    received.push_back(std::move(datagram));
            }
        }
        sockets.clear();
        {
            std::lock_guard lock(m_portLock);
            m_receiverHoldsSockets = false;
        }
        m_receiverReleased.notify_all();
        for (const std::string& text : received) {
            try {
                if (const auto record = AcceptRecord(text)) Deliver(*record, false);
            } catch (...) {
                // A record from elsewhere that cannot be handled is dropped like a malformed one.
            }
        }
        received.clear();
    }
}

} // namespace PelgoLog
