#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include "TestSupport.h"

namespace PelgoLogTest {
namespace {

using nlohmann::json;
using Filters = ServiceTest;

TEST_F(Filters, OnlyParticipantsDecideAndEachMustLetTheRecordPass) {
    service->Log("m", 600, "", "no filters yet");
    // Decides on module "camera" only, and lets through levels up to 300.
    RuleFilter camera([](const json& r) { return r["module"] == "camera"; }, [](const json& r) { return r["level"] <= 300; });
    RuleFilter bystander(Never, Never);
    RuleFilter veto(Always, [](const json& r) { return r["message"] != "vetoed"; });
    for (auto* filter : {&camera, &bystander, &veto}) service->RegisterFilterCallback(filter);
    service->Log("camera", 300, "", "camera warn");
    service->Log("camera", 400, "", "camera info");
    service->Log("host", 600, "", "host verbose");
    service->Log("host", 600, "", "vetoed");
    service->UnregisterFilterCallback(&veto);
    service->Log("host", 600, "", "vetoed");
    EXPECT_EQ(collector.Field("message"),
              (std::vector<std::string>{"no filters yet", "camera warn", "host verbose", "vetoed"}));
    EXPECT_EQ(camera.decisions.load(), 2);
    EXPECT_EQ(bystander.decisions.load(), 0);
    service->UnregisterFilterCallback(&camera);
    service->UnregisterFilterCallback(&bystander);
}

class Throwing : public PelgoLog::ILogCallback {
    void OnLog(const char*) override { throw std::runtime_error("callback bug"); }
};

TEST_F(Filters, CallbacksGetEachPassingRecordOnceAndThrowingOnesAreIgnored) {
    RuleFilter throwingFilter(Always, [](const json&) -> bool { throw std::runtime_error("filter bug"); });
    Throwing throwing;
    Collector second;
    service->RegisterFilterCallback(&throwingFilter);
    service->RegisterLogCallback(&throwing);
    service->RegisterLogCallback(&second);
    service->RegisterLogCallback(&second);  // twice is once
    service->RegisterLogCallback(nullptr);
    service->Log("m", 400, "", "both");
    service->UnregisterLogCallback(&second);
    service->UnregisterLogCallback(&second);  // unknown now: ignored
    service->Log("m", 400, "", "first only");
    EXPECT_EQ(second.Field("message"), std::vector<std::string>{"both"});
    EXPECT_EQ(collector.Field("message"), (std::vector<std::string>{"both", "first only"}));
    service->UnregisterLogCallback(&throwing);
    service->UnregisterFilterCallback(&throwingFilter);
}

TEST(Lifetime, InitIsCountedAndTheLastDeinitEndsTheService) {
    PelgoLog::Service* first = PelgoLog::Init();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(PelgoLog::Init(), first);
    Collector collector;
    first->RegisterLogCallback(&collector);
    PelgoLog::Deinit(first);
    first->Log("m", 400, "", "one reference left");
    PelgoLog::Deinit(nullptr);  // ignored
    PelgoLog::Deinit(first);    // the last reference
    PelgoLog::Deinit(first);    // not current any more: ignored
    PelgoLog::Service* fresh = PelgoLog::Init();
    fresh->Log("m", 400, "", "a fresh service knows no callbacks");
    PelgoLog::Deinit(fresh);
    EXPECT_EQ(collector.Field("message"), std::vector<std::string>{"one reference left"});
}

TEST(Lifetime, InitAndDeinitRaceSafelyAcrossThreads) {
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 6; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                PelgoLog::Service* service = PelgoLog::Init();
                Collector collector;
                service->RegisterLogCallback(&collector);
                service->Log("m", 400, "", "x");
                if (collector.Records().empty()) ++failures;
                service->UnregisterLogCallback(&collector);
                PelgoLog::Deinit(service);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
}

// Unregisters a callback (maybe itself) from inside OnLog.
class Unregistering : public PelgoLog::ILogCallback {
public:
    Unregistering(PelgoLog::Service* service, PelgoLog::ILogCallback* victim) : m_service(service), m_victim(victim) {}
    void OnLog(const char*) override {
        ++calls;
        m_service->UnregisterLogCallback(m_victim != nullptr ? m_victim : this);
    }
    int calls = 0;

private:
    PelgoLog::Service* m_service;
    PelgoLog::ILogCallback* m_victim;
};

TEST_F(ServiceTest, ACallbackMayUnregisterAnotherOrItself) {
    Collector later;
    Unregistering remover(service, &later);
    Unregistering self(service, nullptr);
    for (auto* callback : std::initializer_list<PelgoLog::ILogCallback*>{&remover, &self, &later})
        service->RegisterLogCallback(callback);
    service->Log("m", 400, "", "first");
    service->Log("m", 400, "", "second");
    // Removed before its turn: not called even for the record being delivered.
    EXPECT_TRUE(later.Records().empty());
    EXPECT_EQ(self.calls, 1);
    EXPECT_EQ(remover.calls, 2);
    service->UnregisterLogCallback(&remover);
}

// Holds the logging thread inside OnLog until released.
class Blocking : public PelgoLog::ILogCallback {
public:
    void OnLog(const char*) override {
        entered.set_value();
        released.wait();
        finished = true;
    }
    std::promise<void> entered, release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<bool> finished{false};
};

TEST_F(ServiceTest, UnregisterReturnsOnlyAfterARunningCallEnds) {
    Blocking blocking;
    service->RegisterLogCallback(&blocking);
    std::thread logger([&] { service->Log("m", 400, "", "held"); });
    ASSERT_EQ(blocking.entered.get_future().wait_for(kPatience), std::future_status::ready);
    std::atomic<bool> finishedWhenUnregistered{false};
    std::thread unregistering([&] {
        service->UnregisterLogCallback(&blocking);
        finishedWhenUnregistered = blocking.finished.load();
    });
    // Gives the unregistering thread time to reach its wait; the outcome does not depend on it.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    blocking.release.set_value();
    unregistering.join();
    logger.join();
    EXPECT_TRUE(finishedWhenUnregistered);
}

// Counts calls that come after its owner was told the unregistration had completed.
class Guarded : public PelgoLog::ILogCallback {
public:
    void OnLog(const char*) override {
        if (!registered) ++lateCalls;
    }
    std::atomic<bool> registered{true};
    static inline std::atomic<int> lateCalls{0};
};

TEST_F(ServiceTest, CallbacksComeAndGoWhileThreadsLog) {
    std::atomic<bool> logging{true};
    std::atomic<long> logged{0};
    std::vector<std::thread> loggers;
    for (int index = 0; index < 4; ++index) {
        loggers.emplace_back([&] {
            while (logging) {
                service->Log("m", 400, "", "concurrent");
                ++logged;
            }
        });
    }
    for (int round = 0; round < 300; ++round) {
        auto guarded = std::make_unique<Guarded>();
        auto filter = std::make_unique<RuleFilter>(Always, Always);
        service->RegisterFilterCallback(filter.get());
        service->RegisterLogCallback(guarded.get());
        std::this_thread::yield();
        service->UnregisterLogCallback(guarded.get());
        guarded->registered = false;
        service->UnregisterFilterCallback(filter.get());
    }  // both destroyed at once, while the loggers go on
    logging = false;
    for (auto& thread : loggers) thread.join();
    EXPECT_EQ(Guarded::lateCalls.load(), 0);
    EXPECT_EQ(collector.Records().size(), static_cast<size_t>(logged.load()));
}

} // namespace
} // namespace PelgoLogTest
