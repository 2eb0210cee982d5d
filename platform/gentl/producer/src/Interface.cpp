#include <algorithm>
#include <chrono>
#include <thread>

#include "Modules.h"
#include "ProducerState.h"

namespace VirtualGenTL {
namespace {

// How long an open by an ID not listed yet may look for the device.
constexpr uint64_t kLookupTimeoutMs = 1000;

std::unique_ptr<RegisterSpace> InterfacePort(const std::string& id, uint64_t mac, uint32_t ip, uint32_t mask) {
    DescriptionHeader header{"VireoVirtualInterface", "Vireo", "Virtual GigE Vision interface", "InterfacePort", false};
    std::vector<Feature> features = {
        StringFeature("InterfaceID", "InterfaceInformation", 64),
        EnumerationFeature("InterfaceType", "InterfaceInformation", {{"GigEVision", 0}}, Access::RO),
        IntegerFeature("GevInterfaceMACAddress", "InterfaceInformation", Access::RO, 0, 0xFFFFFFFFFFFF),
        IntegerFeature("GevInterfaceSubnetIPAddress", "InterfaceInformation", Access::RO, 0, 0xFFFFFFFF),
        IntegerFeature("GevInterfaceSubnetMask", "InterfaceInformation", Access::RO, 0, 0xFFFFFFFF),
        CommandFeature("DeviceUpdateList", "DeviceEnumeration"),
        IntegerFeature("DeviceSelector", "DeviceEnumeration", Access::RW, 0, 255),
        StringFeature("DeviceID", "DeviceEnumeration", 64),
        // The standard way to force a camera's address: select it, set the address, execute.
        IntegerFeature("GevDeviceMACAddress", "DeviceEnumeration", Access::RO, 0, 0xFFFFFFFFFFFF),
        IntegerFeature("GevDeviceForceIPAddress", "DeviceEnumeration", Access::RW, 0, 0xFFFFFFFF),
        IntegerFeature("GevDeviceForceSubnetMask", "DeviceEnumeration", Access::RW, 0, 0xFFFFFFFF),
        IntegerFeature("GevDeviceForceGateway", "DeviceEnumeration", Access::RW, 0, 0xFFFFFFFF),
        CommandFeature("GevDeviceForceIP", "DeviceEnumeration"),
        // The standard way to send an action command on the interface's network.
        IntegerFeature("ActionDeviceKey", "ActionControl", Access::RW, 0, 0xFFFFFFFF),
        IntegerFeature("ActionGroupKey", "ActionControl", Access::RW, 0, 0xFFFFFFFF),
        IntegerFeature("ActionGroupMask", "ActionControl", Access::RW, 0, 0xFFFFFFFF),
        CommandFeature("ActionCommand", "ActionControl"),
    };
    features[8].representation = "MACAddress";
    for (size_t index : {9, 10, 11}) features[index].representation = "IPV4Address";
    features[2].representation = "MACAddress";
    features[3].representation = "IPV4Address";
    features[4].representation = "IPV4Address";
    UnpublishWhenForeign(features, {"GevInterfaceMACAddress", "GevInterfaceSubnetIPAddress", "GevInterfaceSubnetMask"});
    auto description = std::make_shared<const Description>(header, features);
    const std::string xml = description->Xml();
    auto port = std::make_unique<RegisterSpace>(description, std::vector<uint8_t>(xml.begin(), xml.end()));
    port->SetString("InterfaceID", id);
    port->SetInteger("GevInterfaceMACAddress", int64_t(mac));
    port->SetInteger("GevInterfaceSubnetIPAddress", ip);
    port->SetInteger("GevInterfaceSubnetMask", mask);
    return port;
}

std::string InterfaceId(uint32_t index) { return "VirtualGigE" + std::to_string(index); }

} // namespace

Interface::Interface(uint32_t index, uint64_t macAddress, uint32_t ipAddress, uint32_t subnetMask)
    : Module(kKind, InterfacePort(InterfaceId(index), macAddress, ipAddress, subnetMask), "GenTLInterface.xml",
                 "TLInterface", InterfaceId(index)),
      m_index(index), m_macAddress(macAddress), m_ipAddress(ipAddress), m_subnetMask(subnetMask) {
    m_port->OnWrite("DeviceUpdateList", [this](int64_t, uint32_t) { UpdateDeviceList(0); });
    m_port->OnWrite("DeviceSelector", [this](int64_t value, uint32_t) {
        const std::vector<std::string> ids = DeviceIds();
        const bool listed = value >= 0 && size_t(value) < ids.size();
        m_port->SetString("DeviceID", listed ? ids[value] : "");
        const std::shared_ptr<VirtualCamera> camera = listed ? FindCamera(ids[value]) : nullptr;
        m_port->SetInteger("GevDeviceMACAddress", camera ? int64_t(camera->Identity().macAddress) : 0);
    });
    m_port->OnWrite("ActionCommand", [this](int64_t, uint32_t) {
        BroadcastActionCommand(int64_t(m_index), uint32_t(m_port->GetInteger("ActionDeviceKey")),
                               uint32_t(m_port->GetInteger("ActionGroupKey")),
                               uint32_t(m_port->GetInteger("ActionGroupMask")));
    });
    m_port->OnWrite("GevDeviceForceIP", [this](int64_t, uint32_t) {
        const int64_t mac = m_port->GetInteger("GevDeviceMACAddress");
        if (mac == 0) Fail(GenTL::GC_ERR_INVALID_ID, "no device is selected");
        ForceIp(uint64_t(mac), uint32_t(m_port->GetInteger("GevDeviceForceIPAddress")),
                uint32_t(m_port->GetInteger("GevDeviceForceSubnetMask")),
                uint32_t(m_port->GetInteger("GevDeviceForceGateway")));
    });
}

void Interface::Info(GenTL::INTERFACE_INFO_CMD command, InfoAnswer& answer) const {
    RequireOwnInfoCommand(command, "INTERFACE_INFO");
    switch (command) {
    case GenTL::INTERFACE_INFO_ID: answer.String(m_id); break;
    case GenTL::INTERFACE_INFO_DISPLAYNAME: answer.String("Virtual GigE Vision adapter " + std::to_string(m_index)); break;
    case GenTL::INTERFACE_INFO_TLTYPE: answer.String("GEV"); break;
    case GenTL::INTERFACE_INFO_MAC_ADDRESS: answer.UInt64(m_macAddress); break;
    case GenTL::INTERFACE_INFO_IP_ADDRESS: answer.UInt32(m_ipAddress); break;
    default: Fail(GenTL::GC_ERR_INVALID_PARAMETER, "unknown INTERFACE_INFO command " + std::to_string(command));
    }
}

bool Interface::UpdateDeviceList(uint64_t timeoutMs) {
    ProducerState& producer = ProducerState::Instance();
    // Count the discoveries running at once, for tests of parallel scans.
    const uint32_t running = ++producer.discoveriesInProgress;
    uint32_t seen = producer.maximumConcurrentDiscoveries.load();
    while (running > seen && !producer.maximumConcurrentDiscoveries.compare_exchange_weak(seen, running)) {
    }
    uint64_t waitMs = 0;
    {
        std::lock_guard lock(producer.mutex);
        const auto found = producer.discoveryTimeMs.find(m_index);
        if (found != producer.discoveryTimeMs.end()) waitMs = std::min(found->second, timeoutMs);
    }
    if (waitMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
    --producer.discoveriesInProgress;

    const std::vector<uint32_t> unicast = UnicastDevices();
    std::vector<std::shared_ptr<VirtualCamera>> found;
    {
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        for (const NetworkCamera& entry : state.CamerasOn(m_index)) {
            if (!entry.camera->Connected()) continue;
            // A camera behind a router answers only a discovery sent to its own address.
            if (entry.routed && std::find(unicast.begin(), unicast.end(), entry.camera->Identity().ipAddress) == unicast.end())
                continue;
            found.push_back(entry.camera);
        }
    }
    std::lock_guard lock(m_mutex);
    const bool changed = found != m_discovered;
    m_discovered = std::move(found);
    return changed;
}

std::vector<std::string> Interface::DeviceIds() const {
    std::lock_guard lock(m_mutex);
    std::vector<std::string> ids;
    for (const auto& camera : m_discovered) ids.push_back(camera->Identity().serialNumber);
    return ids;
}

std::shared_ptr<VirtualCamera> Interface::FindCamera(const std::string& id) const {
    std::lock_guard lock(m_mutex);
    for (const auto& camera : m_discovered)
        if (camera->Identity().serialNumber == id) return camera;
    return nullptr;
}

std::shared_ptr<Device> Interface::OpenDevice(const std::string& id, GenTL::DEVICE_ACCESS_FLAGS flags) {
    if (flags < GenTL::DEVICE_ACCESS_READONLY || flags > GenTL::DEVICE_ACCESS_EXCLUSIVE)
        Fail(GenTL::GC_ERR_INVALID_PARAMETER, "unsupported access flags " + std::to_string(flags));
    std::shared_ptr<VirtualCamera> camera = FindCamera(id);
    // A consumer may open a device by an ID it learnt earlier (in another session of the
    // system module, say) without listing again: look for it once.
    if (!camera) {
        UpdateDeviceList(kLookupTimeoutMs);
        camera = FindCamera(id);
    }
    if (!camera) Fail(GenTL::GC_ERR_INVALID_ID, "no device " + id + " on " + m_id);
    if (!camera->Connected()) Fail(GenTL::GC_ERR_IO, "device " + id + " does not answer");
    if (!camera->TryClaim()) Fail(GenTL::GC_ERR_RESOURCE_IN_USE, "device " + id + " is already open");
    return std::make_shared<Device>(camera, id, std::static_pointer_cast<Interface>(shared_from_this()));
}

void Interface::ForceIp(uint64_t mac, uint32_t ip, uint32_t subnet, uint32_t gateway) {
    ProducerState& state = ProducerState::Instance();
    std::lock_guard lock(state.mutex);
    for (const NetworkCamera& entry : state.CamerasOn(m_index)) {
        if (entry.camera->Identity().macAddress == mac) {
            entry.camera->SetAddress(ip, subnet, gateway);
            return;
        }
    }
    Fail(GenTL::GC_ERR_INVALID_ID, "no device with this MAC address on " + m_id);
}

void Interface::AddUnicastDevice(uint32_t ip) {
    std::lock_guard lock(m_mutex);
    if (std::find(m_unicast.begin(), m_unicast.end(), ip) == m_unicast.end()) m_unicast.push_back(ip);
}

void Interface::RemoveUnicastDevice(uint32_t ip) {
    std::lock_guard lock(m_mutex);
    const auto found = std::find(m_unicast.begin(), m_unicast.end(), ip);
    if (found == m_unicast.end()) Fail(GenTL::GC_ERR_INVALID_ID, "no unicast discovery address " + std::to_string(ip));
    m_unicast.erase(found);
}

std::vector<uint32_t> Interface::UnicastDevices() const {
    std::lock_guard lock(m_mutex);
    return m_unicast;
}

void Interface::DeviceInfo(const VirtualCamera& camera, const std::string& id, GenTL::DEVICE_INFO_CMD command,
                           int32_t accessStatus, InfoAnswer& answer) {
    const CameraIdentity& identity = camera.Identity();
    RequireOwnInfoCommand(command, "DEVICE_INFO");
    switch (command) {
    case GenTL::DEVICE_INFO_ID: answer.String(id); break;
    case GenTL::DEVICE_INFO_VENDOR: answer.String(camera.Model().vendorName); break;
    case GenTL::DEVICE_INFO_MODEL: answer.String(camera.Model().modelName); break;
    case GenTL::DEVICE_INFO_TLTYPE: answer.String("GEV"); break;
    case GenTL::DEVICE_INFO_DISPLAYNAME: answer.String(camera.Model().vendorName + " " + camera.Model().modelName + " (" + identity.serialNumber + ")"); break;
    case GenTL::DEVICE_INFO_ACCESS_STATUS: answer.Int32(accessStatus); break;
    case GenTL::DEVICE_INFO_USER_DEFINED_NAME: answer.String(identity.userDefinedName); break;
    case GenTL::DEVICE_INFO_SERIAL_NUMBER: answer.String(identity.serialNumber); break;
    case GenTL::DEVICE_INFO_VERSION: answer.String(camera.Model().firmwareVersion); break;
    case GenTL::DEVICE_INFO_TIMESTAMP_FREQUENCY: answer.UInt64(1000000000); break;
    case GenTL::DEVICE_INFO_IP_ADDRESS: answer.UInt32(identity.ipAddress); break;
    case GenTL::DEVICE_INFO_SUBNET_MASK: answer.UInt32(identity.subnetMask); break;
    case GenTL::DEVICE_INFO_MAC_ADDRESS: answer.UInt64(identity.macAddress); break;
    case GenTL::DEVICE_INFO_DEFAULT_GATEWAY: answer.UInt32(identity.defaultGateway); break;
    case GenTL::DEVICE_INFO_DHCP_ENABLED: answer.Bool8(identity.dhcp); break;
    case GenTL::DEVICE_INFO_PERSISTENT_IP_ENABLED: answer.Bool8(identity.persistentIp); break;
    case GenTL::DEVICE_INFO_LLA_ENABLED: answer.Bool8(identity.lla); break;
    case GenTL::DEVICE_INFO_DEVICE_GROUP_VERSION_MAJOR: answer.UInt64(1); break;
    case GenTL::DEVICE_INFO_DEVICE_GROUP_VERSION_MINOR: answer.UInt64(0); break;
    case GenTL::DEVICE_INFO_DEVICE_GROUP_ENABLE: answer.Bool8(identity.groupEnable); break;
    case GenTL::DEVICE_INFO_DEVICE_GROUP_SERIAL: answer.String(identity.groupSerial); break;
    case GenTL::DEVICE_INFO_DEVICE_GROUP_NAME: answer.String(identity.groupName); break;
    case GenTL::DEVICE_INFO_DEVICE_GROUP_MEMBER_COUNT: answer.UInt64(identity.groupMemberCount); break;
    case GenTL::DEVICE_INFO_CONNECTION_STATUS: answer.Bool8(camera.Connected()); break;
    case GenTL::DEVICE_INFO_GVRSP_STREAMABLE: answer.Bool8(camera.Model().gvrspStreamable); break;
    default: Fail(GenTL::GC_ERR_INVALID_PARAMETER, "unknown DEVICE_INFO command " + std::to_string(command));
    }
}

} // namespace VirtualGenTL
