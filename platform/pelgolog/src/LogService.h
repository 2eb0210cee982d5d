// The implementation of the process-wide service: the callback registries, record delivery
// and the loopback ports with their receiver thread.
#ifndef PELGOLOG_SRC_LOGSERVICE_H
#define PELGOLOG_SRC_LOGSERVICE_H

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <PelgoLog/PelgoLog.h>

#include "CallbackRegistry.h"
#include "LoopbackSocket.h"

namespace PelgoLog {

class LogService final : public Service {
public:
    LogService() = default;
    LogService(const LogService&) = delete;
    LogService& operator=(const LogService&) = delete;
    ~LogService() override;

    void SetPorts(uint32_t inPort, uint32_t outPort, uint16_t auxInPort) override;
    std::string LastPortError() const override;
    void RegisterLogCallback(ILogCallback* callback) override { m_logCallbacks.Add(callback); }
    void UnregisterLogCallback(ILogCallback* callback) override { m_logCallbacks.Remove(callback); }
    void RegisterFilterCallback(IFilterCallback* callback) override { m_filterCallbacks.Add(callback); }
    void UnregisterFilterCallback(IFilterCallback* callback) override { m_filterCallbacks.Remove(callback); }
    void Log(const char* module, int level, const char* userid, const char* message) override;

private:
    using Sockets = std::vector<std::shared_ptr<LoopbackSocket>>;

    // Filters the record and hands it to the callbacks; local records also go to the out port.
    void Deliver(const std::string& record, bool local);
    // Closes the current sockets, waiting until the receiver no longer polls them.
    void CloseSockets();
    // Starts the receiver thread unless it runs; the reason when it cannot be started.
    std::string StartReceiver();
    void Receive();
    void WakeReceiver();

    CallbackRegistry<ILogCallback> m_logCallbacks;
    CallbackRegistry<IFilterCallback> m_filterCallbacks;

    std::mutex m_setPortsLock;  // one SetPorts at a time; also guards m_receiver
    std::thread m_receiver;
    int m_wakeRead = -1;        // a pipe that interrupts the receiver's poll; made with the thread
    int m_wakeWrite = -1;

    mutable std::mutex m_portLock;  // the members below
    std::condition_variable m_receiverReleased;
    std::shared_ptr<LoopbackSocket> m_outSocket;
    Sockets m_inSockets;
    std::string m_portError;
    uint64_t m_portGeneration = 0;      // counts changes of m_inSockets
    uint64_t m_receiverGeneration = 0;  // the generation the receiver took its sockets from
    bool m_receiverHoldsSockets = false;
    bool m_stopping = false;
};

} // namespace PelgoLog

#endif
