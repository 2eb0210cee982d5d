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

void DeviceCbManager::RegisterCallback(IDevice* device, IDisconnectCallback* callback) {
    if (callback == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Null disconnect callback pointer specified", kUnit, "RegisterCallback");
    std::lock_guard lock(m_mutex);
    for (const Entry& entry : m_entries)
        if (entry.callback == callback)
            VIREO_THROW_PLAIN(InvalidArgument, "Callback already registered", kUnit, "RegisterCallback");
    m_entries.push_back(Entry{device, callback, device->IsConnected()});
    if (!m_running) {
        if (m_thread.joinable()) m_thread.join();  // a watcher stopped earlier has ended
        m_running = true;
        m_thread = std::thread([this] { CallbackThread(); });
    }
}

void DeviceCbManager::DeregisterCallback(IDisconnectCallback* callback) {
    if (callback == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Null disconnect callback pointer specified", kUnit, "DeregisterCallback");
    std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [callback](const Entry& entry) { return entry.callback == callback; });
    if (found == m_entries.end())
        VIREO_THROW_PLAIN(InvalidArgument, "Callback handle not found", kUnit, "DeregisterCallback");
    m_entries.erase(found);
}

void DeviceCbManager::DeregisterAllCallbacks() {
    // The watcher checks its flag before it takes the mutex, so joining under the mutex ends
    // after at most one sleep.
    std::lock_guard lock(m_mutex);
    if (m_running) {
        m_running = false;
        if (m_thread.joinable()) m_thread.join();
    }
}

void DeviceCbManager::ConnectDevice(IDevice* device) {
    std::lock_guard lock(m_mutex);
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
            for (Entry& entry : m_entries) {
                try {
                    const bool connected = entry.device->IsConnected();
                    if (connected != entry.connected) {
                        entry.connected = connected;
                        entry.callback->OnDeviceDisconnected(entry.device);
                    }
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
