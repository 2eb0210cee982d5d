// One host interface of the producer (a network adapter), with its node map and the
// devices opened on it.
#ifndef VIREO_INTERFACE_H
#define VIREO_INTERFACE_H

#include <mutex>
#include <vector>

#include <GenApi/INodeMap.h>
#include <Vireo/Port.h>
#include <Vireo/TLInterface.h>

namespace Vireo {

class IDevice;

class VIREO_API Interface {
public:
    // Takes ownership of tlInterface (open); builds the interface's node map.
    Interface(TLInterface* tlInterface, const GenICam::gcstring& id);
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;
    // Destroys the node map; the owner closes and deletes the TLInterface first.
    virtual ~Interface();
    virtual TLInterface* GetTLInterface();
    virtual GenApi::INodeMap* GetNodeMap();
    virtual GenICam::gcstring GetId();

    void AddDevice(IDevice* device);
    void RemoveDevice(IDevice* device);
    // Whether devices opened on this interface are still open.
    bool HasDevices();
    // Hands the TLInterface over (for closing) and forgets it.
    TLInterface* ReleaseTLInterface();

private:
    TLInterface* m_tlInterface;
    GenICam::gcstring m_id;
    Port m_port;
    GenApi::INodeMap* m_nodeMap = nullptr;
    std::mutex m_devicesMutex;  // guards m_devices
    std::vector<IDevice*> m_devices;
};

} // namespace Vireo

#endif
