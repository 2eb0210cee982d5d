// A count that callbacks on library threads raise and a test waits for, bounded in time.
#ifndef VIREO_TESTS_SUPPORT_WAITABLECOUNT_H
#define VIREO_TESTS_SUPPORT_WAITABLECOUNT_H

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Vireo {

class WaitableCount {
public:
    void Add(int amount = 1) {
        std::lock_guard lock(m_mutex);
        m_count += amount;
        m_changed.notify_all();
    }
    int Get() {
        std::lock_guard lock(m_mutex);
        return m_count;
    }
    // Whether the count reached `count` within the time given.
    bool WaitFor(int count, std::chrono::seconds limit = std::chrono::seconds(10)) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, [&] { return m_count >= count; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
};

} // namespace Vireo

#endif
