#include "Modules.h"
#include "ProducerState.h"

namespace VirtualGenTL {
namespace {

std::unique_ptr<RegisterSpace> DevicePort(const VirtualCamera& camera, const std::string& id, uint32_t streams) {
    DescriptionHeader header{"VireoVirtualDevice", "Vireo", "Virtual GigE Vision device module", "DevicePort", false};
    std::vector<Feature> features = {
        StringFeature("DeviceID", "DeviceInformation", 64),
        StringFeature("DeviceVendorName", "DeviceInformation", 32),
        StringFeature("DeviceModelName", "DeviceInformation", 32),
        EnumerationFeature("DeviceType", "DeviceInformation", {{"GigEVision", 0}}, Access::RO),
        EnumerationFeature("DeviceAccessStatus", "DeviceInformation",
                           {{"Unknown", 0}, {"ReadWrite", 1}, {"ReadOnly", 2}, {"NoAccess", 3}, {"Busy", 4},
                            {"OpenReadWrite", 5}, {"OpenReadOnly", 6}},
                           Access::RO),
        IntegerFeature("GevDeviceIPAddress", "DeviceInformation", Access::RO, 0, 0xFFFFFFFF),
        IntegerFeature("GevDeviceSubnetMask", "DeviceInformation", Access::RO, 0, 0xFFFFFFFF),
        IntegerFeature("GevDeviceMACAddress", "DeviceInformation", Access::RO, 0, 0xFFFFFFFFFFFF),
        BooleanFeature("TCPEnable", "StreamControl"),
        BooleanFeature("StreamMultipartEnable", "StreamControl"),
        BooleanFeature("MultipartFeaturesImplementedEnable", "StreamControl"),
        EnumerationFeature("DeviceStreamProtocol", "StreamControl", {{"GVSP", 0}, {"GVRSP", 1}, {"Automatic", 2}, {"Legacy", 3}}),
        IntegerFeature("DataStreamSelector", "StreamEnumeration", Access::RW, 0, streams - 1),
        StringFeature("DataStreamID", "StreamEnumeration", 32),
    };
    features[5].representation = "IPV4Address";
    features[6].representation = "IPV4Address";
    features[7].representation = "MACAddress";
    UnpublishWhenForeign(features, {"DeviceAccessStatus", "TCPEnable", "MultipartFeaturesImplementedEnable",
                                    "DeviceStreamProtocol"});
    auto description = std::make_shared<const Description>(header, features);
    const std::string xml = description->Xml();
    auto port = std::make_unique<RegisterSpace>(description, std::vector<uint8_t>(xml.begin(), xml.end()));
    port->SetString("DeviceID", id);
    port->SetString("DeviceVendorName", camera.Model().vendorName);
    port->SetString("DeviceModelName", camera.Model().modelName);
    port->SetInteger("DeviceAccessStatus", 1);  // opened with control
    port->SetInteger("GevDeviceIPAddress", camera.Identity().ipAddress);
    port->SetInteger("GevDeviceSubnetMask", camera.Identity().subnetMask);
    port->SetInteger("GevDeviceMACAddress", int64_t(camera.Identity().macAddress));
    port->SetInteger("DeviceStreamProtocol", 0);
    port->SetString("DataStreamID", "Stream0");
    return port;
}

} // namespace

Device::Device(std::shared_ptr<VirtualCamera> camera, std::string id, std::weak_ptr<Interface> parent)
    : Module(kKind, DevicePort(*camera, id, camera->Model().dataStreams), "GenTLDevice.xml", "TLDevice", id),
      m_camera(std::move(camera)), m_parent(std::move(parent)) {
    for (uint32_t index = 0; index < m_camera->Model().dataStreams; ++index)
        m_streamIds.push_back("Stream" + std::to_string(index));
    m_remote = std::make_shared<RemoteDevice>(m_camera);
    Handles::Add(m_remote);
    m_port->OnWrite("DataStreamSelector", [this](int64_t value, uint32_t) {
        if (value >= 0 && size_t(value) < m_streamIds.size()) m_port->SetString("DataStreamID", m_streamIds[value]);
    });
}

Device::~Device() { Close(); }

void Device::Close() {
    std::vector<std::shared_ptr<DataStream>> streams;
    {
        std::lock_guard lock(m_mutex);
        for (auto& [id, weak] : m_streams)
            if (auto stream = weak.lock()) streams.push_back(stream);
        m_streams.clear();
    }
    for (const auto& stream : streams) {
        stream->Close();
        Handles::Remove(stream->Handle());
    }
    if (m_remote) {
        Handles::Remove(m_remote->Handle());
        m_remote.reset();
        m_camera->Release();
    }
}

void Device::Info(GenTL::DEVICE_INFO_CMD command, InfoAnswer& answer) const {
    // Without a connection-status command, the access status is how a consumer sees that an
    // open device went away.
    const bool reachable = !ActsAsForeignProducer() || m_camera->Connected();
    Interface::DeviceInfo(*m_camera, m_id, command,
                          reachable ? GenTL::DEVICE_ACCESS_STATUS_OPEN_READWRITE : GenTL::DEVICE_ACCESS_STATUS_NOACCESS,
                          answer);
}

const std::string& Device::DataStreamId(uint32_t index) const {
    if (index >= m_streamIds.size()) Fail(GenTL::GC_ERR_INVALID_INDEX, "no data stream " + std::to_string(index));
    return m_streamIds[index];
}

std::shared_ptr<DataStream> Device::OpenDataStream(const std::string& id) {
    bool known = false;
    for (const std::string& streamId : m_streamIds) known = known || streamId == id;
    if (!known) Fail(GenTL::GC_ERR_INVALID_ID, "no data stream " + id);
    std::lock_guard lock(m_mutex);
    const auto found = m_streams.find(id);
    if (found != m_streams.end() && !found->second.expired())
        Fail(GenTL::GC_ERR_RESOURCE_IN_USE, "data stream " + id + " is already open");
    auto stream = std::make_shared<DataStream>(m_camera, id, Handle(), m_port.get());
    m_streams[id] = stream;
    return stream;
}

void* Device::ParentHandle() const {
    const auto parent = m_parent.lock();
    return parent ? parent->Handle() : nullptr;
}

void Device::SendActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask) {
    const auto parent = m_parent.lock();
    BroadcastActionCommand(parent ? int64_t(parent->Index()) : -1, deviceKey, groupKey, groupMask);
}

void BroadcastActionCommand(int64_t interfaceIndex, uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask) {
    // An action command is a broadcast on the interface's network: every camera there whose
    // keys and mask match, and whose trigger listens to the action, takes a frame.
    std::vector<std::shared_ptr<VirtualCamera>> cameras;
    {
        ProducerState& state = ProducerState::Instance();
        std::lock_guard lock(state.mutex);
        for (const NetworkCamera& entry : state.cameras)
            if (interfaceIndex < 0 || int64_t(entry.interfaceIndex) == interfaceIndex) cameras.push_back(entry.camera);
    }
    for (const auto& camera : cameras) {
        RegisterSpace& registers = camera->Registers();
        const bool addressed = uint32_t(registers.GetInteger("ActionDeviceKey")) == deviceKey &&
                               uint32_t(registers.GetInteger("ActionGroupKey")) == groupKey &&
                               (uint32_t(registers.GetInteger("ActionGroupMask")) & groupMask) != 0;
        if (addressed && camera->Connected() && registers.GetInteger("TriggerSource") == 1) camera->Trigger();
    }
}

} // namespace VirtualGenTL
