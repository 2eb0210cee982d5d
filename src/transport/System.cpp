#include <Vireo/System.h>

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>

#include <GenApi/GenApi.h>
#include <Vireo/Device.h>

#include "../factory/FactoryState.h"
#include "DeviceInfoRecord.h"
#include "Errors.h"
#include "InterfaceInfo.h"
#include "NodeMapLoading.h"
#include "Producer.h"
#include "Routing.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "System";

// The interface's MAC and IP address as its node map reports them.
bool InterfaceMatches(Interface* iface, uint64_t macAddress, uint32_t ipAddress) {
    GenApi::INodeMap* map = iface->GetNodeMap();
    if (map == nullptr) VIREO_THROW_PLAIN(LogicalError, "TL Interface nodemap is null.", kUnit, "FindInterface");
    GenApi::CIntegerPtr mac = map->GetNode("GevInterfaceMACAddress");
    GenApi::CIntegerPtr ip = map->GetNode("GevInterfaceSubnetIPAddress");
    // Another vendor's interface may not describe its addresses: then it matches none.
    if (!mac.IsValid() || !ip.IsValid()) return false;
    return uint64_t(mac->GetValue()) == macAddress && uint64_t(ip->GetValue()) == ipAddress;
}

enum class ForceIpOutcome { Done, NotFound, Unsupported };

// Forces the address through the interface's standard features: select each device the
// interface lists, and where its MAC is the camera's, set the address and execute
// GevDeviceForceIP.
ForceIpOutcome ForceIpByFeatures(Interface* iface, uint64_t mac, uint32_t ip, uint32_t subnet, uint32_t gateway) {
    GenApi::INodeMap* map = iface->GetNodeMap();
    if (map == nullptr) return ForceIpOutcome::Unsupported;
    GenApi::CIntegerPtr selector = map->GetNode("DeviceSelector");
    GenApi::CIntegerPtr deviceMac = map->GetNode("GevDeviceMACAddress");
    GenApi::CIntegerPtr address = map->GetNode("GevDeviceForceIPAddress");
    GenApi::CIntegerPtr mask = map->GetNode("GevDeviceForceSubnetMask");
    GenApi::CIntegerPtr route = map->GetNode("GevDeviceForceGateway");
    GenApi::CCommandPtr force = map->GetNode("GevDeviceForceIP");
    if (!selector.IsValid() || !deviceMac.IsValid() || !address.IsValid() || !mask.IsValid() || !force.IsValid())
        return ForceIpOutcome::Unsupported;
    uint32_t devices = 0;
    if (iface->GetTLInterface()->GetNumDevices(&devices) != GenTL::GC_ERR_SUCCESS) return ForceIpOutcome::NotFound;
    for (uint32_t index = 0; index < devices; ++index) {
        selector->SetValue(int64_t(index));
        if (uint64_t(deviceMac->GetValue()) != mac) continue;
        address->SetValue(int64_t(ip));
        mask->SetValue(int64_t(subnet));
        if (route.IsValid()) route->SetValue(int64_t(gateway));
        force->Execute();
        return ForceIpOutcome::Done;
    }
    return ForceIpOutcome::NotFound;
}

} // namespace

ISystem::~ISystem() = default;

System::System(TLSystem* tlSystem) : m_tlSystem(tlSystem), m_port(tlSystem) {
    OpenImageFactory();
    std::lock_guard lock(m_systemLock);
    try {
        EnumerateInterfaces();
        m_nodeMap = InitNodeMap(m_tlSystem, m_port);
    } catch (...) {
        // Undo what was built; the TLSystem stays with the caller.
        while (!m_interfaces.empty()) {
            CleanUpInterface(m_interfaces.back());
            m_interfaces.pop_back();
        }
        CloseImageFactory();
        throw;
    }
}

System::~System() {
    try {
        std::lock_guard lock(m_systemLock);
        for (std::vector<Interface*>* list : {&m_interfaces, &m_retainedInterfaces}) {
            while (!list->empty()) {
                Interface* iface = list->back();
                list->pop_back();
                CleanUpInterface(iface);
            }
        }
        if (m_nodeMap != nullptr) dynamic_cast<GenApi::IDestroy*>(m_nodeMap)->Destroy();
        m_tlSystem->Close();
        delete m_tlSystem;
        CloseImageFactory();
    } catch (...) {
        // Nothing may leave a destructor; the producer is closed next anyway.
    }
}

void System::CleanUpInterface(Interface* iface) {
    TLInterface* tlInterface = iface->ReleaseTLInterface();
    if (tlInterface != nullptr) {
        tlInterface->Close();
        delete tlInterface;
    }
    delete iface;
}

void System::EnumerateInterfaces() {
    std::vector<Interface*> previous;
    previous.swap(m_interfaces);
    try {
        uint32_t count = 0;
        GenTL::GC_ERROR result = m_tlSystem->GetNumInterfaces(&count);
        if (result != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PRODUCER_ERROR(result, "Unable to get number of interfaces", kUnit, "EnumerateInterfaces",
                                       "TLGetNumInterfaces");
        for (uint32_t index = 0; index < count; ++index) {
            char id[512] = {};
            size_t size = sizeof id;
            result = m_tlSystem->GetInterfaceID(index, id, &size);
            if (result != GenTL::GC_ERR_SUCCESS)
                VIREO_THROW_PRODUCER_ERROR(result, "Unable to get interface ID", kUnit, "EnumerateInterfaces",
                                           "TLGetInterfaceID");
            id[sizeof id - 1] = '\0';
            // An interface that is open already is reused by its ID: its devices keep it.
            Interface* kept = nullptr;
            for (std::vector<Interface*>* list : {&previous, &m_retainedInterfaces}) {
                for (Interface*& candidate : *list) {
                    if (kept == nullptr && candidate != nullptr && std::strcmp(candidate->GetId().c_str(), id) == 0) {
                        kept = candidate;
                        candidate = nullptr;
                    }
                }
            }
            m_retainedInterfaces.erase(std::remove(m_retainedInterfaces.begin(), m_retainedInterfaces.end(), nullptr),
                                       m_retainedInterfaces.end());
            if (kept == nullptr) {
                void* handle = nullptr;
                result = m_tlSystem->OpenInterface(id, &handle);
                if (result != GenTL::GC_ERR_SUCCESS)
                    VIREO_THROW_PRODUCER_ERROR(result, "Unable to open interface", kUnit, "EnumerateInterfaces",
                                               "TLOpenInterface");
                auto* tlInterface = new TLInterface(handle);
                try {
                    kept = new Interface(tlInterface, id);
                } catch (...) {
                    tlInterface->Close();
                    delete tlInterface;
                    throw;
                }
            }
            m_interfaces.push_back(kept);
        }
    } catch (...) {
        for (Interface* iface : previous)
            if (iface != nullptr) m_interfaces.push_back(iface);  // nothing is lost on failure
        throw;
    }
    for (Interface* iface : previous) {
        if (iface == nullptr) continue;
        if (iface->HasDevices())
            m_retainedInterfaces.push_back(iface);
        else
            CleanUpInterface(iface);
    }
}

void System::ReleaseRetainedInterface(Interface* iface) {
    const auto found = std::find(m_retainedInterfaces.begin(), m_retainedInterfaces.end(), iface);
    if (found == m_retainedInterfaces.end() || iface->HasDevices()) return;
    m_retainedInterfaces.erase(found);
    CleanUpInterface(iface);
}

bool System::RefreshInterfaces() {
    bool changed = false;
    const GenTL::GC_ERROR result = m_tlSystem->UpdateInterfaceList(&changed, GENTL_INFINITE);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to update list of interfaces", kUnit, "UpdateInterfaceList",
                                   "TLUpdateInterfaceList");
    if (changed || m_interfaces.empty()) EnumerateInterfaces();
    return changed;
}

std::vector<InterfaceInfo> System::GetInterfaces() {
    // A rebuilt list may close interfaces that a device scan in progress is using.
    std::lock_guard update(m_updateLock);
    std::lock_guard lock(m_systemLock);
    RefreshInterfaces();
    std::vector<InterfaceInfo> interfaces;
    for (Interface* iface : m_interfaces) {
        uint64_t mac = GetOptionalInfo<uint64_t>(iface->GetTLInterface(), GenTL::INTERFACE_INFO_MAC_ADDRESS, 0);
        uint32_t ip = uint32_t(GetOptionalInfo<uint64_t>(iface->GetTLInterface(), GenTL::INTERFACE_INFO_IP_ADDRESS, 0));
        uint32_t mask = 0;
        if (GenApi::INodeMap* map = iface->GetNodeMap()) {
            // The interface's node map has what a producer without the information commands
            // may still describe.
            const auto feature = [map](const char* name) -> uint64_t {
                GenApi::CIntegerPtr node = map->GetNode(name);
                return node.IsValid() && GenApi::IsReadable(node) ? uint64_t(node->GetValue()) : 0;
            };
            mask = uint32_t(feature("GevInterfaceSubnetMask"));
            if (mac == 0) mac = feature("GevInterfaceMACAddress");
            if (ip == 0) ip = uint32_t(feature("GevInterfaceSubnetIPAddress"));
        }
        interfaces.emplace_back(mac, ip, mask);
    }
    return interfaces;
}

bool System::UpdateDevices(unsigned long timeout) {
    std::lock_guard update(m_updateLock);
    std::vector<Interface*> interfaces;
    bool listChanged = false;
    {
        std::lock_guard lock(m_systemLock);
        listChanged = RefreshInterfaces();
        interfaces = m_interfaces;
    }
    // One thread per interface: the scan takes as long as the slowest interface.
    const size_t count = interfaces.size();
    std::vector<GenTL::GC_ERROR> results(count, GenTL::GC_ERR_SUCCESS);
    std::vector<std::string> errorTexts(count);
    std::unique_ptr<bool[]> changed(new bool[count]());
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (size_t index = 0; index < count; ++index)
        threads.emplace_back([&, index] {
            results[index] = interfaces[index]->GetTLInterface()->UpdateDeviceList(&changed[index], timeout);
            // The producer keeps its last error per thread: read it here, where the call failed.
            if (results[index] != GenTL::GC_ERR_SUCCESS) errorTexts[index] = FetchLastError();
        });
    for (std::thread& thread : threads) thread.join();

    bool anyChanged = listChanged;
    for (size_t index = 0; index < count; ++index) anyChanged = anyChanged || changed[index];
    for (size_t index = 0; index < count; ++index)
        if (results[index] != GenTL::GC_ERR_SUCCESS)
            ThrowProducerErrorWithText(results[index], "Unable to update list of devices", kUnit, "UpdateDevices",
                                       "IFUpdateDeviceList", errorTexts[index], VIREO_SOURCE_FILE, __LINE__);
    return anyChanged;
}

bool System::UpdateDevices(InterfaceInfo iface, unsigned long timeout) {
    std::lock_guard update(m_updateLock);
    Interface* target = nullptr;
    bool listChanged = false;
    {
        std::lock_guard lock(m_systemLock);
        // The list is rebuilt from scratch, except for interfaces with open devices: those are
        // kept and found again by their IDs.
        std::vector<Interface*> inUse;
        for (Interface* old : m_interfaces) {
            if (old->HasDevices())
                inUse.push_back(old);
            else
                CleanUpInterface(old);
        }
        m_interfaces.swap(inUse);
        const GenTL::GC_ERROR result = m_tlSystem->UpdateInterfaceList(&listChanged, GENTL_INFINITE);
        if (result != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PRODUCER_ERROR(result, "Unable to update list of interfaces", kUnit, "UpdateDevices",
                                       "TLUpdateInterfaceList");
        EnumerateInterfaces();
        for (Interface* candidate : m_interfaces) {
            if (InterfaceMatches(candidate, iface.MacAddress(), iface.IpAddress())) {
                target = candidate;
                break;
            }
        }
    }
    // Another vendor's producer may not tell its interfaces' addresses: then none can be
    // chosen by them.
    if (target == nullptr && !IsOwnProducer() && iface.MacAddress() == 0 && iface.IpAddress() == 0)
        VIREO_THROW_PLAIN(LogicalError,
                          "The GenTL producer does not tell interface addresses: no interface can be chosen by them",
                          kUnit, "UpdateDevices");
    if (target == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Matching Interface not found", kUnit, "UpdateDevices");
    bool changed = false;
    const GenTL::GC_ERROR result = target->GetTLInterface()->UpdateDeviceList(&changed, timeout);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to update list of devices", kUnit, "UpdateDevices",
                                   "IFUpdateDeviceList");
    return changed || listChanged;
}

std::vector<DeviceInfo> System::GetDevices() {
    std::lock_guard lock(m_systemLock);
    std::vector<DeviceInfo> devices;
    for (Interface* iface : m_interfaces) {
        TLInterface* tl = iface->GetTLInterface();
        uint32_t count = 0;
        GenTL::GC_ERROR result = tl->GetNumDevices(&count);
        if (result != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PRODUCER_ERROR(result, "Unable to get number of devices", kUnit, "GetDevices", "IFGetNumDevices");
        for (uint32_t index = 0; index < count; ++index) {
            char id[512] = {};
            size_t size = sizeof id;
            result = tl->GetDeviceID(index, id, &size);
            if (result != GenTL::GC_ERR_SUCCESS)
                VIREO_THROW_PRODUCER_ERROR(result, "Unable to get device ID", kUnit, "GetDevices", "IFGetDeviceID");
            id[sizeof id - 1] = '\0';
            // Every field but the ID may be missing from another vendor's producer: it is then
            // empty, zero or false.
            DeviceInfo info;
            DeviceInfo::Record& record = info.Fields();
            record.modelName = GetOptionalInfoString(tl, id, GenTL::DEVICE_INFO_MODEL).c_str();
            record.vendorName = GetOptionalInfoString(tl, id, GenTL::DEVICE_INFO_VENDOR).c_str();
            record.serialNumber = GetOptionalInfoString(tl, id, GenTL::DEVICE_INFO_SERIAL_NUMBER).c_str();
            record.ipAddress = GetOptionalInfo<uint32_t>(tl, id, GenTL::DEVICE_INFO_IP_ADDRESS, 0);
            record.macAddress = uint64_t(GetOptionalInfo<int64_t>(tl, id, GenTL::DEVICE_INFO_MAC_ADDRESS, 0));
            record.subnetMask = GetOptionalInfo<uint32_t>(tl, id, GenTL::DEVICE_INFO_SUBNET_MASK, 0);
            record.userDefinedName = GetOptionalInfoString(tl, id, GenTL::DEVICE_INFO_USER_DEFINED_NAME).c_str();
            record.defaultGateway = GetOptionalInfo<uint32_t>(tl, id, GenTL::DEVICE_INFO_DEFAULT_GATEWAY, 0);
            record.dhcp = GetOptionalInfo<bool>(tl, id, GenTL::DEVICE_INFO_DHCP_ENABLED, false);
            record.persistentIp = GetOptionalInfo<bool>(tl, id, GenTL::DEVICE_INFO_PERSISTENT_IP_ENABLED, false);
            record.lla = GetOptionalInfo<bool>(tl, id, GenTL::DEVICE_INFO_LLA_ENABLED, false);
            record.deviceId = id;
            record.interfaceId = iface->GetId().c_str();
            record.interfaceMac = GetOptionalInfo<uint64_t>(tl, GenTL::INTERFACE_INFO_MAC_ADDRESS, 0);
            record.interfaceIp = uint32_t(GetOptionalInfo<uint64_t>(tl, GenTL::INTERFACE_INFO_IP_ADDRESS, 0));
            record.deviceVersion = GetOptionalInfoString(tl, id, GenTL::DEVICE_INFO_VERSION).c_str();
            record.groupVersionMajor =
                uint64_t(GetOptionalInfo<int64_t>(tl, id, GenTL::DEVICE_INFO_DEVICE_GROUP_VERSION_MAJOR, 0));
            record.groupVersionMinor =
                uint64_t(GetOptionalInfo<int64_t>(tl, id, GenTL::DEVICE_INFO_DEVICE_GROUP_VERSION_MINOR, 0));
            record.groupMemberCount =
                uint64_t(GetOptionalInfo<int64_t>(tl, id, GenTL::DEVICE_INFO_DEVICE_GROUP_MEMBER_COUNT, 0));
            record.groupEnable = GetOptionalInfo<bool>(tl, id, GenTL::DEVICE_INFO_DEVICE_GROUP_ENABLE, false);
            record.groupSerial = GetOptionalInfoString(tl, id, GenTL::DEVICE_INFO_DEVICE_GROUP_SERIAL).c_str();
            record.groupName = GetOptionalInfoString(tl, id, GenTL::DEVICE_INFO_DEVICE_GROUP_NAME).c_str();
            devices.push_back(info);
        }
    }
    return devices;
}

// The one place where devices are made, so that the device's construction stays its own.
static IDevice* ConstructDevice(TLDevice* tlDevice, Interface* iface) { return new Device(tlDevice, iface); }

IDevice* System::CreateDevice(DeviceInfo info) {
    std::lock_guard lock(m_systemLock);
    const DeviceInfo::Record& record = info.Fields();
    Interface* iface = InterfaceOf(record, "Camera Interface not found");
    void* handle = nullptr;
    const GenTL::GC_ERROR result =
        iface->GetTLInterface()->OpenDevice(record.deviceId.c_str(), GenTL::DEVICE_ACCESS_CONTROL, &handle);
    if (result == GenTL::GC_ERR_RESOURCE_IN_USE)
        VIREO_THROW_PLAIN(LogicalError, "Failure opening device due to device already being open", kUnit,
                          "CreateDevice");
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to open device", kUnit, "CreateDevice", "IFOpenDevice");
    IDevice* device = ConstructDevice(new TLDevice(handle), iface);
    iface->AddDevice(device);
    return device;
}

void System::DestroyDevice(IDevice* device) {
    auto* concrete = dynamic_cast<Device*>(device);
    if (concrete == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Device is null", kUnit, "DestroyDevice");
    if (concrete->IsStreaming()) {
        try {
            concrete->StopStream();
        } catch (const GenICam::TimeoutException&) {
        } catch (const GenICam::GenericException& error) {
            // The device is gone already: an I/O failure, which the producer reports as
            // GC_ERR_IO (-1010) and which reaches us either in our own message form or in the
            // "Code:" form of errors passed through other layers. Any other failure leaves the
            // device whole, so that the caller can retry once its cause is gone.
            const std::string text = error.what();
            const bool expected = text.find("RESOURCE_IN_USE") != std::string::npos ||
                                  text.find("Code:-1010") != std::string::npos ||
                                  text.find("(GC_ERR_IO)") != std::string::npos ||
                                  text.find("GC_ERR_ABORT") != std::string::npos;
            if (!expected) throw;
        }
    }
    // The watcher must not ask a destroyed device for its state.
    m_deviceCallbacks.RemoveDevice(device);
    std::lock_guard lock(m_systemLock);
    Interface* iface = concrete->GetInterface();
    if (iface != nullptr) iface->RemoveDevice(device);
    // Whatever the stop left undone, the destruction finishes: buffers revoked, camera unlocked.
    delete concrete;
    if (iface != nullptr) ReleaseRetainedInterface(iface);
}

void System::RegisterDeviceDisconnectCallback(IDevice* device, IDisconnectCallback* callback) {
    if (device == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "Device is null", kUnit, "RegisterDeviceDisconnectCallback");
    m_deviceCallbacks.RegisterCallback(device, callback);
}

Interface* System::InterfaceOf(const DeviceInfo::Record& record, const char* notFound) {
    // The interface the device was listed on, by its producer ID; a record without one (made
    // by hand) is matched by the interface's addresses.
    if (!record.interfaceId.empty())
        for (Interface* iface : m_interfaces)
            if (iface->GetId() == record.interfaceId.c_str()) return iface;
    for (Interface* iface : m_interfaces)
        if (InterfaceMatches(iface, record.interfaceMac, record.interfaceIp)) return iface;
    VIREO_THROW_PLAIN(InvalidArgument, notFound, kUnit, "FindInterface");
}

GenApi::INodeMap* System::GetTLInterfaceNodeMap(DeviceInfo info) {
    std::lock_guard lock(m_systemLock);
    const DeviceInfo::Record& record = info.Fields();
    return InterfaceOf(record, "Camera Interface not found")->GetNodeMap();
}

void System::ForceIp(unsigned long mac, unsigned long ip, unsigned long subnet, unsigned long gateway) {
    std::lock_guard update(m_updateLock);
    std::lock_guard lock(m_systemLock);
    RefreshInterfaces();
    // The first interface that reaches the camera does it; the others' failures mean nothing.
    bool supported = false;
    for (Interface* iface : m_interfaces) {
        const GenTL::GC_ERROR result = iface->GetTLInterface()->ForceIp(mac, uint32_t(ip), uint32_t(subnet), uint32_t(gateway));
        if (result == GenTL::GC_ERR_SUCCESS) return;
        if (result != GenTL::GC_ERR_NOT_IMPLEMENTED) {
            supported = true;
            continue;
        }
        // Without the extension: the interface's standard features, where it has them.
        switch (ForceIpByFeatures(iface, mac, uint32_t(ip), uint32_t(subnet), uint32_t(gateway))) {
        case ForceIpOutcome::Done: return;
        case ForceIpOutcome::NotFound: supported = true; break;
        case ForceIpOutcome::Unsupported: break;
        }
    }
    // A producer without the operation must not let it pass for done.
    if (!supported && !m_interfaces.empty())
        VIREO_THROW_PLAIN(LogicalError, "The GenTL producer does not support forcing an IP address", kUnit, "ForceIp");
}

void System::ForceIp(const char* mac, const char* ip, const char* subnet, const char* gateway) {
    unsigned char bytes[6] = {};
    int consumed = -1;
    const int converted = std::sscanf(mac != nullptr ? mac : "", "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx%n", &bytes[0], &bytes[1],
                                      &bytes[2], &bytes[3], &bytes[4], &bytes[5], &consumed);
    // This test refuses every MAC text, well formed or not: the overload is kept to fail so,
    // and the numeric overload is the one that forces an address.
    if (converted != 0 || consumed != int(std::strlen(mac != nullptr ? mac : "")))
        VIREO_THROW_PLAIN(InvalidArgument, "Bad MAC address", kUnit, "ForceIp");
    uint64_t macValue = 0;
    for (unsigned char byte : bytes) macValue = macValue << 8 | byte;
    in_addr address{}, mask{}, route{};
    inet_pton(AF_INET, ip, &address);
    inet_pton(AF_INET, subnet, &mask);
    inet_pton(AF_INET, gateway, &route);
    ForceIp(macValue, ntohl(address.s_addr), ntohl(mask.s_addr), ntohl(route.s_addr));
}

// Unicast discovery is this project's extension: another vendor's producer does not have it.
static void RequireUnicastDiscovery(const char* function) {
    if (!IsOwnProducer())
        VIREO_THROW_PLAIN(LogicalError, "The GenTL producer does not support unicast discovery", kUnit, function);
}

Interface* System::InterfaceRoutingTo(const char* ip, const char* failure) {
    const uint32_t local = ntohl(BestRouteAddress(ip));
    for (Interface* iface : m_interfaces) {
        GenApi::INodeMap* map = iface->GetNodeMap();
        if (map == nullptr) continue;
        GenApi::CIntegerPtr subnet = map->GetNode("GevInterfaceSubnetIPAddress");
        if (subnet.IsValid() && uint32_t(subnet->GetValue()) == local) return iface;
    }
    VIREO_THROW_PLAIN(InvalidArgument, std::string(failure) + " No interface routes to " + ip + ".", kUnit,
                      "UnicastDiscovery");
}

void System::AddUnicastDiscoveryDevice(const char* ip) {
    std::lock_guard lock(m_systemLock);
    RequireUnicastDiscovery("AddUnicastDiscoveryDevice");
    Interface* iface = InterfaceRoutingTo(ip, "GenTL::System::RemoveUnicastDiscoveryDevice() failed.");
    in_addr address{};
    inet_pton(AF_INET, ip, &address);
    const GenTL::GC_ERROR result = iface->GetTLInterface()->AddUnicastDiscoveryDevice(ntohl(address.s_addr));
    // The add operation reports its failure in the remove operation's words.
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PLAIN(Runtime, "GenTL::System::RemoveUnicastDiscoveryDevice() failed. Error: [" +
                                       std::to_string(result) + "].",
                          kUnit, "AddUnicastDiscoveryDevice");
}

void System::RemoveUnicastDiscoveryDevice(const char* ip) {
    std::lock_guard lock(m_systemLock);
    RequireUnicastDiscovery("RemoveUnicastDiscoveryDevice");
    Interface* iface = InterfaceRoutingTo(ip, "GenTL::System::RemoveUnicastDiscoveryDevice() failed.");
    in_addr address{};
    inet_pton(AF_INET, ip, &address);
    const GenTL::GC_ERROR result = iface->GetTLInterface()->RemoveUnicastDiscoveryDevice(ntohl(address.s_addr));
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PLAIN(Runtime, "GenTL::System::RemoveUnicastDiscoveryDevice() failed. Error: [" +
                                       std::to_string(result) + "].",
                          kUnit, "RemoveUnicastDiscoveryDevice");
}

std::vector<uint32_t> System::GetUnicastDiscoveryDevices() {
    std::lock_guard lock(m_systemLock);
    RequireUnicastDiscovery("GetUnicastDiscoveryDevices");
    std::vector<uint32_t> addresses;
    for (Interface* iface : m_interfaces) {
        uint32_t count = 0;
        GenTL::GC_ERROR result = iface->GetTLInterface()->GetUnicastDiscoveryDevices(nullptr, &count);
        std::vector<uint32_t> found(count);
        if (result == GenTL::GC_ERR_SUCCESS && count > 0)
            result = iface->GetTLInterface()->GetUnicastDiscoveryDevices(found.data(), &count);
        if (result != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PLAIN(Runtime, "GenTL::System::GetUnicastDiscoveryDevices() failed. Error: [" +
                                           std::to_string(result) + "].",
                              kUnit, "GetUnicastDiscoveryDevices");
        found.resize(count);
        addresses.insert(addresses.end(), found.begin(), found.end());
    }
    return addresses;
}

} // namespace Vireo
