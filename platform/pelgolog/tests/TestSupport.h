// Test doubles shared by the logging service's tests and the SDK logger's: a callback that
// collects records, a filter made of two rules, and a UDP socket of the test's own.
#ifndef PELGOLOG_TESTS_TESTSUPPORT_H
#define PELGOLOG_TESTS_TESTSUPPORT_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <PelgoLog/PelgoLog.h>

namespace PelgoLogTest {

// Generous: only a broken service makes a wait run out.
constexpr std::chrono::seconds kPatience{20};

class Collector : public PelgoLog::ILogCallback {
public:
    void OnLog(const char* record) override {
        std::lock_guard lock(m_lock);
        m_records.push_back(nlohmann::json::parse(record));
        m_arrived.notify_all();
    }
    // True once at least count records have arrived.
    bool WaitFor(size_t count) {
        std::unique_lock lock(m_lock);
        return m_arrived.wait_for(lock, kPatience, [&] { return m_records.size() >= count; });
    }
    std::vector<nlohmann::json> Records() {
        std::lock_guard lock(m_lock);
        return m_records;
    }
    // One field of every record, in order.
    std::vector<std::string> Field(const char* key) {
        std::vector<std::string> values;
        for (const auto& record : Records()) values.push_back(record[key].get<std::string>());
        return values;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_arrived;
    std::vector<nlohmann::json> m_records;
};

using Rule = std::function<bool(const nlohmann::json&)>;
inline bool Always(const nlohmann::json&) { return true; }
inline bool Never(const nlohmann::json&) { return false; }

class RuleFilter : public PelgoLog::IFilterCallback {
public:
    RuleFilter(Rule participates, Rule passes) : m_participates(std::move(participates)), m_passes(std::move(passes)) {}
    bool OnFilter(const char* record) override { return m_participates(nlohmann::json::parse(record)); }
    bool OnFilterOut(const char* record) override {
        ++decisions;
        return m_passes(nlohmann::json::parse(record));
    }
    std::atomic<int> decisions{0};

private:
    Rule m_participates, m_passes;
};

// A UDP socket on 127.0.0.1, at an ephemeral port.
class TestSocket {
public:
    TestSocket() : m_descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = Loopback(0);
        socklen_t length = sizeof address;
        EXPECT_EQ(bind(m_descriptor, reinterpret_cast<sockaddr*>(&address), length), 0);
        getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
    }
    TestSocket(const TestSocket&) = delete;
    TestSocket& operator=(const TestSocket&) = delete;
    ~TestSocket() { close(m_descriptor); }

    void SendTo(uint16_t to, const std::string& datagram) {
        const sockaddr_in address = Loopback(to);
        EXPECT_EQ(sendto(m_descriptor, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                         sizeof address),
                  static_cast<ssize_t>(datagram.size()));
    }
    // The next datagram, or "" when none comes in time.
    std::string Receive() {
        pollfd polled{m_descriptor, POLLIN, 0};
        if (poll(&polled, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())) != 1) return "";
        std::string datagram(65536, '\0');
        const ssize_t received = recv(m_descriptor, datagram.data(), datagram.size(), 0);
        datagram.resize(received > 0 ? static_cast<size_t>(received) : 0);
        return datagram;
    }

    uint16_t port = 0;

private:
    static sockaddr_in Loopback(uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }
    const int m_descriptor;
};

// A port that was free a moment ago.
inline uint16_t FreePort() { return TestSocket().port; }

// Holds a reference to the process-wide service for the length of a test, with a collector
// registered.
class ServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = PelgoLog::Init();
        ASSERT_NE(service, nullptr);
        service->RegisterLogCallback(&collector);
    }
    void TearDown() override {
        service->SetPorts(0, 0, 0);
        service->UnregisterLogCallback(&collector);
        PelgoLog::Deinit(service);
    }

    PelgoLog::Service* service = nullptr;
    Collector collector;
};

} // namespace PelgoLogTest

#endif
