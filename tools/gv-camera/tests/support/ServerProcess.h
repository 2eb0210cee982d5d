// vireo-gv-camera run for a test: started in the camera namespace of CameraNetwork.sh with
// the given arguments, ready once it said so, stopped (SIGTERM, then SIGKILL) when the
// object goes. Its counters are read through the statistics file it writes on SIGUSR1.
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

#include <nlohmann/json.hpp>

namespace GvCameraTest {

class ServerProcess {
public:
    // Throws std::runtime_error with what the server printed when it does not become ready
    // within the time (a bad option, an address it cannot bind).
    explicit ServerProcess(std::vector<std::string> arguments,
                           std::chrono::milliseconds readyWithin = std::chrono::seconds(10));
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // The counters now: {"cameras": [{"serialNumber", "control": {...}, "streams": [...]}]}.
    nlohmann::json Statistics();
    // SIGTERM and wait; the exit status (or -1 when it had to be killed).
    int Stop();
    // Everything it printed so far (stdout and stderr).
    std::string Output();

    // Whether the test runs where servers can be started (inside CameraNetwork.sh).
    static bool Available();

private:
    void ReadAvailable(std::chrono::milliseconds wait);

    pid_t m_pid = -1;
    int m_output = -1;
    std::string m_text;
    std::string m_statisticsPath;
    int m_exitStatus = -1;
};

} // namespace GvCameraTest
