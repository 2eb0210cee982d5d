#include <Vireo/DeviceCbManager.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>

#include <GenICam.h>

#include "../transport/Errors.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "DeviceCbManager";

void SleepHalfASecond() {
    timespec remaining{0, 500'000'000};
    while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
    }
}

} // namespace

DeviceCbManager::~DeviceCbManager() {
    m_running = false;
    if (m_thread.joinable()) m_thread.join();
}

bool DeviceCbManager::OnWatcherThread() const { return m_watcherId.load() == std::this_thread::get_id(); }

void DeviceCbManager::RegisterCallback(IDevice* device, IDisconnectCallback* callback) {
    if (callback == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Null disconnect callback pointer specified", kUnit, "RegisterCallback");
    if (device == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Device is null", kUnit, "RegisterCallback");
    std::unique_lock lock(m_mutex, std::defer_lock);
    if (!OnWatcherThread()) lock.lock();
    for (const Entry& entry : m_entries)
        if (entry.callback == callback)
            VIREO_THROW_PLAIN(InvalidArgument, "Callback already registered", kUnit, "RegisterCallback");
    m_entries.push_back(Entry{device, callback, device->IsConnected()});
    if (!m_running) {
        if (m_thread.joinable()) m_thread.join();  // a watcher stopped earlier has ended
        m_running = true;
        m_thread = std::thread([this] {
            m_watcherId = std::this_thread::get_id();
            CallbackThread();
            m_watcherId = std::thread::id();
        });
    }
}

void DeviceCbManager::DeregisterCallback(IDisconnectCallback* callback) {
    if (callback == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Null disconnect callback pointer specified", kUnit, "DeregisterCallback");
    std::unique_lock lock(m_mutex, std::defer_lock);
    if (!OnWatcherThread()) lock.lock();
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [callback](const Entry& entry) { return entry.callback == callback; });
    if (found == m_entries.end())
        VIREO_THROW_PLAIN(InvalidArgument, "Callback handle not found", kUnit, "DeregisterCallback");
    m_entries.erase(found);
}

void DeviceCbManager::RemoveDevice(IDevice* device) {
    std::unique_lock lock(m_mutex, std::defer_lock);
    if (!OnWatcherThread()) lock.lock();
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(),
                                   [device](const Entry& entry) { return entry.device == device; }),
                    m_entries.end());
}

void DeviceCbManager::DeregisterAllCallbacks() {
    if (OnWatcherThread()) {
        m_running = false;  // the watcher ends after this callback; it cannot join itself
        return;
    }
    // The watcher checks its flag before it takes the mutex, so joining under the mutex ends
    // after at most one sleep.
    std::lock_guard lock(m_mutex);
    if (m_running) {
        m_running = false;
        if (m_thread.joinable()) m_thread.join();
    }
}

void DeviceCbManager::ConnectDevice(IDevice* device) {
    std::unique_lock lock(m_mutex, std::defer_lock);
    if (!OnWatcherThread()) lock.lock();
    for (Entry& entry : m_entries)
        if (entry.device == device) entry.connected = device->IsConnected();
}

void DeviceCbManager::CallbackThread() {
    while (m_running) {
        {
            std::unique_lock lock(m_mutex, std::try_to_lock);
            // A deregistration of all callbacks holds the mutex while it waits for this thread.
            while (!lock.owns_lock() && m_running) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
                lock.try_lock();
            }
            if (!m_running) break;
            // By index and by value: a callback may change the list (destroy its device,
            // deregister itself).
            for (size_t index = 0; index < m_entries.size(); ++index) {
                const Entry entry = m_entries[index];
                try {
                    const bool connected = entry.device->IsConnected();
                    if (connected == entry.connected) continue;
                    m_entries[index].connected = connected;
                    entry.callback->OnDeviceDisconnected(entry.device);
                    // Entries before this one may have gone: find it again.
                    const auto still = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) {
                        return e.callback == entry.callback;
                    });
                    index = still == m_entries.end() ? index - 1 : size_t(still - m_entries.begin());
                } catch (const GenICam::GenericException&) {
                    // The device did not answer (in time): ask again on the next pass. Nothing
                    // may leave this thread.
                }
            }
        }
        SleepHalfASecond();
    }
}

} // namespace Vireo
