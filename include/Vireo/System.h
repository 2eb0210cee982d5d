// The one system object: the producer's system module, its interfaces and the cameras
// behind them.
#ifndef VIREO_SYSTEM_H
#define VIREO_SYSTEM_H

#include <mutex>
#include <vector>

#include <GenApi/INodeMap.h>
#include <Vireo/ALogger.h>
#include <Vireo/DeviceCbManager.h>
#include <Vireo/DeviceInfo.h>
#include <Vireo/IDevice.h>
#include <Vireo/Interface.h>
#include <Vireo/Port.h>
#include <Vireo/TLSystem.h>

namespace Vireo {

class VIREO_API ISystem {
public:
    // Refreshes the interface list and describes each interface.
    virtual std::vector<InterfaceInfo> GetInterfaces() = 0;
    // Scans every interface for cameras, all in parallel; true when any list changed.
    virtual bool UpdateDevices(unsigned long timeout) = 0;
    // Scans only the interface with iface's MAC and IP address.
    virtual bool UpdateDevices(InterfaceInfo iface, unsigned long timeout) = 0;
    // The cameras the last scan found, interface by interface.
    virtual std::vector<DeviceInfo> GetDevices() = 0;
    // Opens the camera; give it back through DestroyDevice.
    virtual IDevice* CreateDevice(DeviceInfo info) = 0;
    // Stops the camera's stream if it runs, and closes it.
    virtual void DestroyDevice(IDevice* device) = 0;
    virtual GenApi::INodeMap* GetTLSystemNodeMap() = 0;
    // The node map of the interface the camera was found on.
    virtual GenApi::INodeMap* GetTLInterfaceNodeMap(DeviceInfo info) = 0;
    // Gives the camera with this MAC address a temporary IP configuration (host order).
    virtual void ForceIp(unsigned long mac, unsigned long ip, unsigned long subnet, unsigned long gateway) = 0;
    virtual void ForceIp(const char* mac, const char* ip, const char* subnet, const char* gateway) = 0;
    // The callback hears, on the system's watcher thread, of every change of the device's
    // connection state, within about half a second.
    virtual void RegisterDeviceDisconnectCallback(IDevice* device, IDisconnectCallback* callback) = 0;
    virtual void DeregisterDeviceDisconnectCallback(IDisconnectCallback* callback) = 0;
    // Stops the watcher thread.
    virtual void DeregisterAllDeviceDisconnectCallbacks() = 0;
    // Cameras behind routers, which broadcasts do not reach, are discovered at these addresses.
    virtual void AddUnicastDiscoveryDevice(const char* ip) = 0;
    virtual void RemoveUnicastDiscoveryDevice(const char* ip) = 0;
    virtual std::vector<uint32_t> GetUnicastDiscoveryDevices() = 0;
    virtual ~ISystem();
};

class VIREO_API System : public ISystem {
public:
    // Takes ownership of an open TLSystem; opens the image factory, enumerates the
    // interfaces and builds the system node map.
    explicit System(TLSystem* tlSystem);
    System(const System&) = delete;
    System& operator=(const System&) = delete;
    ~System() override;

    std::vector<InterfaceInfo> GetInterfaces() override;
    bool UpdateDevices(unsigned long timeout) override;
    bool UpdateDevices(InterfaceInfo iface, unsigned long timeout) override;
    std::vector<DeviceInfo> GetDevices() override;
    IDevice* CreateDevice(DeviceInfo info) override;
    void DestroyDevice(IDevice* device) override;
    GenApi::INodeMap* GetTLSystemNodeMap() override { return m_nodeMap; }
    // The system's logger (also reachable as the process-wide logging service).
    ALogger& GetLogger() { return m_logger; }
    GenApi::INodeMap* GetTLInterfaceNodeMap(DeviceInfo info) override;
    void ForceIp(unsigned long mac, unsigned long ip, unsigned long subnet, unsigned long gateway) override;
    void ForceIp(const char* mac, const char* ip, const char* subnet, const char* gateway) override;
    void RegisterDeviceDisconnectCallback(IDevice* device, IDisconnectCallback* callback) override;
    void DeregisterDeviceDisconnectCallback(IDisconnectCallback* callback) override {
        m_deviceCallbacks.DeregisterCallback(callback);
    }
    void DeregisterAllDeviceDisconnectCallbacks() override { m_deviceCallbacks.DeregisterAllCallbacks(); }
    void AddUnicastDiscoveryDevice(const char* ip) override;
    void RemoveUnicastDiscoveryDevice(const char* ip) override;
    std::vector<uint32_t> GetUnicastDiscoveryDevices() override;

private:
    bool RefreshInterfaces();          // caller holds m_systemLock
    void EnumerateInterfaces();        // caller holds m_systemLock
    void CleanUpInterface(Interface* iface);
    // Closes an interface that the producer no longer lists once its last device is gone.
    void ReleaseRetainedInterface(Interface* iface);  // caller holds m_systemLock
    Interface* InterfaceOf(const DeviceInfo::Record& record, const char* notFound);  // caller holds the lock
    Interface* InterfaceRoutingTo(const char* ip, const char* failure);

    TLSystem* m_tlSystem;
    std::vector<Interface*> m_interfaces;
    // Interfaces that left the producer's list while devices were open on them: closing them
    // would pull the devices' handles away. Closed when their last device is destroyed.
    std::vector<Interface*> m_retainedInterfaces;
    GenApi::INodeMap* m_nodeMap = nullptr;
    Port m_port;
    std::recursive_mutex m_systemLock;  // every operation on the interfaces and devices
    std::mutex m_updateLock;            // one device scan or interface-list rebuild at a time
    uint64_t m_word = 0;
    ALogger m_logger;  // configured by pelgo_log.conf in the working directory
    DeviceCbManager m_deviceCallbacks;
};

} // namespace Vireo

#endif
