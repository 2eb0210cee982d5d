#include "ServerProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace GvCameraTest {

namespace {

using Clock = std::chrono::steady_clock;

std::string NextStatisticsPath() {
    static std::atomic<int> counter{0};
    return "/tmp/vireo-gv-camera-statistics-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".json";
}

} // namespace

bool ServerProcess::Available() { return std::getenv("VIREO_CAMERA_NAMESPACE") != nullptr; }

ServerProcess::ServerProcess(std::vector<std::string> arguments, std::chrono::milliseconds readyWithin)
    : m_statisticsPath(NextStatisticsPath()) {
    const char* space = std::getenv("VIREO_CAMERA_NAMESPACE");
    if (space == nullptr) throw std::runtime_error("no camera namespace: run the test through CameraNetwork.sh");
    std::vector<std::string> command = {"ip", "netns", "exec", space, VIREO_GV_CAMERA_PROGRAM, "--statistics",
                                        m_statisticsPath};
    command.insert(command.end(), arguments.begin(), arguments.end());
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    m_pid = ::fork();
    if (m_pid < 0) throw std::runtime_error("fork failed");
    if (m_pid == 0) {
        ::dup2(pipe[1], 1);
        ::dup2(pipe[1], 2);
        std::vector<char*> argv;
        for (std::string& word : command) argv.push_back(word.data());
        argv.push_back(nullptr);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(pipe[1]);
    m_output = pipe[0];
    const auto deadline = Clock::now() + readyWithin;
    while (m_text.find("ready\n") == std::string::npos) {
        if (Clock::now() >= deadline) {
            const std::string output = Output();
            Stop();
            throw std::runtime_error("vireo-gv-camera did not become ready: " + output);
        }
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            ReadAvailable(std::chrono::milliseconds(100));
            throw std::runtime_error("vireo-gv-camera ended before it was ready: " + m_text);
        }
        ReadAvailable(std::chrono::milliseconds(50));
    }
}

ServerProcess::~ServerProcess() {
    Stop();
    if (m_output >= 0) ::close(m_output);
    ::unlink(m_statisticsPath.c_str());
}

void ServerProcess::ReadAvailable(std::chrono::milliseconds wait) {
    if (m_output < 0) return;
    pollfd descriptor{m_output, POLLIN, 0};
    if (::poll(&descriptor, 1, int(wait.count())) <= 0) return;
    char buffer[4096];
    const ssize_t size = ::read(m_output, buffer, sizeof buffer);
    if (size > 0) m_text.append(buffer, std::size_t(size));
}

std::string ServerProcess::Output() {
    ReadAvailable(std::chrono::milliseconds(0));
    return m_text;
}

nlohmann::json ServerProcess::Statistics() {
    if (m_pid < 0) throw std::runtime_error("vireo-gv-camera is not running");
    ::unlink(m_statisticsPath.c_str());
    ::kill(m_pid, SIGUSR1);
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    while (Clock::now() < deadline) {
        std::ifstream file(m_statisticsPath);
        if (file) return nlohmann::json::parse(file);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    throw std::runtime_error("vireo-gv-camera wrote no statistics: " + Output());
}

int ServerProcess::Stop() {
    if (m_pid < 0) return m_exitStatus;
    ::kill(m_pid, SIGTERM);
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    int status = 0;
    while (::waitpid(m_pid, &status, WNOHANG) != m_pid) {
        if (Clock::now() >= deadline) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, &status, 0);
            m_pid = -1;
            return m_exitStatus = -1;
        }
        ReadAvailable(std::chrono::milliseconds(20));
    }
    m_pid = -1;
    ReadAvailable(std::chrono::milliseconds(0));
    m_exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return m_exitStatus;
}

} // namespace GvCameraTest
