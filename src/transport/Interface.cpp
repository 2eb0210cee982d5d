#include <Vireo/Interface.h>

#include <algorithm>

#include <GenApi/IDestroy.h>

#include "NodeMapLoading.h"

namespace Vireo {

Interface::Interface(TLInterface* tlInterface, const GenICam::gcstring& id)
    : m_tlInterface(tlInterface), m_id(id), m_port(tlInterface) {
    m_nodeMap = InitNodeMap(tlInterface, m_port);
}

Interface::~Interface() {
    if (m_nodeMap != nullptr) dynamic_cast<GenApi::IDestroy*>(m_nodeMap)->Destroy();
}

TLInterface* Interface::GetTLInterface() { return m_tlInterface; }
GenApi::INodeMap* Interface::GetNodeMap() { return m_nodeMap; }
GenICam::gcstring Interface::GetId() { return m_id; }

void Interface::AddDevice(IDevice* device) {
    std::lock_guard lock(m_devicesMutex);
    m_devices.push_back(device);
}

void Interface::RemoveDevice(IDevice* device) {
    std::lock_guard lock(m_devicesMutex);
    m_devices.erase(std::remove(m_devices.begin(), m_devices.end(), device), m_devices.end());
}

bool Interface::HasDevices() {
    std::lock_guard lock(m_devicesMutex);
    return !m_devices.empty();
}

TLInterface* Interface::ReleaseTLInterface() {
    TLInterface* tlInterface = m_tlInterface;
    m_tlInterface = nullptr;
    return tlInterface;
}

} // namespace Vireo
