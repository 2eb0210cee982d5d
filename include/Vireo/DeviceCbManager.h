// Watches the connection state of devices and tells registered callbacks when it changes.
#ifndef VIREO_DEVICECBMANAGER_H
#define VIREO_DEVICECBMANAGER_H

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include <Vireo/IDevice.h>

namespace Vireo {

class VIREO_API DeviceCbManager {
public:
    DeviceCbManager() = default;
    DeviceCbManager(const DeviceCbManager&) = delete;
    DeviceCbManager& operator=(const DeviceCbManager&) = delete;
    // Stops the watcher thread.
    ~DeviceCbManager();

    // Calls callback, on the watcher thread, whenever the device's connection state changes;
    // starts the watcher with the first registration.
    void RegisterCallback(IDevice* device, IDisconnectCallback* callback);
    void DeregisterCallback(IDisconnectCallback* callback);
    // Stops the watcher thread; the registrations stay (a later registration restarts it).
    void DeregisterAllCallbacks();
    // Takes the device's current state as known without calling its callbacks (after a
    // reconnect, so that the change is not reported twice).
    void ConnectDevice(IDevice* device);
    // Forgets every registration of the device (before it is destroyed). Returns once the
    // watcher no longer uses the device; callable from a disconnect callback.
    void RemoveDevice(IDevice* device);
    // The watcher: polls every registered device twice a second.
    void CallbackThread();

private:
    struct Entry {
        IDevice* device;
        IDisconnectCallback* callback;
        bool connected;
    };
    // Whether the caller is the watcher, inside a callback, where m_mutex is held already.
    bool OnWatcherThread() const;
    std::mutex m_mutex;  // orders the poll against registration changes
    std::vector<Entry> m_entries;
    std::thread m_thread;
    std::atomic<std::thread::id> m_watcherId{};
    std::atomic<bool> m_running{false};
};

} // namespace Vireo

#endif
