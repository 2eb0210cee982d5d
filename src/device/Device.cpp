#include <Vireo/Device.h>

#include <fstream>
#include <optional>

#include <GenApi/GenApi.h>
#include <GenApi/NodeMapFactory.h>
#include <Vireo/NodeAccess.h>

#include "../transport/Errors.h"
#include "../transport/InterfaceInfo.h"
#include "../transport/Producer.h"
#include "../transport/LibraryLog.h"
#include "../transport/NodeMapLoading.h"
#include "DeviceStreams.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "Device";

// Event-based sensors share their link with the events they produce: below this link speed
// the event rate is limited to what the link carries.
constexpr int64_t kFullSpeedLink = 312'500'000;

// A boolean of the device module; nothing when the producer does not offer the information.
std::optional<bool> ReadDeviceBool(TLDevice* tlDevice, int32_t command, const char* failure) {
    GenTL::bool8_t value = 0;
    int32_t type = 0;
    size_t size = sizeof value;
    const GenTL::GC_ERROR result = tlDevice->GetInfo(command, &type, &value, &size);
    if (result == GenTL::GC_ERR_SUCCESS) return value != 0;
    if (IsAbsentInformation(result, command)) return std::nullopt;
    VIREO_THROW_PRODUCER_ERROR(result, failure, kUnit, "GetInfo", "DeviceGetInfo");
}

void* GetRemotePort(TLDevice* tlDevice) {
    void* port = nullptr;
    const GenTL::GC_ERROR result = tlDevice->GetPort(&port);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get remote device", kUnit, "GetRemotePort", "DevGetPort");
    return port;
}

// A node that exists and can be read.
template <class Pointer>
bool Readable(const Pointer& node) {
    return node.IsValid() && GenApi::IsReadable(node);
}

GenICam::gcstring EnumerationValue(GenApi::INodeMap* map, const char* name) {
    GenApi::CEnumerationPtr node = map != nullptr ? map->GetNode(name) : nullptr;
    if (!Readable(node)) return GenICam::gcstring();
    return node->ToString();
}

} // namespace

bool IsGvrspStreamable(TLDevice* tlDevice) {
    // A producer that cannot tell does not stream GVRSP.
    return ReadDeviceBool(tlDevice, GenTL::DEVICE_INFO_GVRSP_STREAMABLE,
                          "Unable to get info about device gvrsp streamable status")
        .value_or(false);
}

bool hasControl(GenApi::INodeMap* tlDeviceMap, TLDevice* tlDevice) {
    GenApi::CEnumerationPtr status = tlDeviceMap != nullptr ? tlDeviceMap->GetNode("DeviceAccessStatus") : nullptr;
    if (status.IsValid()) return Readable(status) && status->ToString() == "ReadWrite";
    // Without the feature, the portable query of the device module decides; a producer that
    // cannot tell either opened the device as asked, with control.
    int32_t access = GenTL::DEVICE_ACCESS_STATUS_OPEN_READWRITE, type = 0;
    size_t size = sizeof access;
    if (tlDevice == nullptr || tlDevice->GetInfo(GenTL::DEVICE_INFO_ACCESS_STATUS, &type, &access, &size) != GenTL::GC_ERR_SUCCESS)
        return true;
    return access == GenTL::DEVICE_ACCESS_STATUS_READWRITE || access == GenTL::DEVICE_ACCESS_STATUS_OPEN_READWRITE;
}

void EnumerateStreams(TLDevice* tlDevice, std::vector<StreamInfo*>& streams) {
    if (tlDevice == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Device is null", kUnit, "EnumerateStreams");
    uint32_t count = 0;
    GenTL::GC_ERROR result = tlDevice->GetNumDataStreams(&count);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get number of datastreams", kUnit, "EnumerateStreams",
                                   "DevGetNumDataStreams");
    for (uint32_t index = 0; index < count; ++index) {
        char id[256] = {};
        size_t size = sizeof id;
        result = tlDevice->GetDataStreamID(index, id, &size);
        void* handle = nullptr;
        if (result == GenTL::GC_ERR_SUCCESS) result = tlDevice->OpenDataStream(id, &handle);
        // With another vendor's producer a stream that does not open leaves the device usable
        // for control; starting that stream reports why.
        if (result != GenTL::GC_ERR_SUCCESS && !IsOwnProducer()) {
            streams.push_back(new StreamInfo(result, FetchLastError()));
            continue;
        }
        if (result != GenTL::GC_ERR_SUCCESS)
            VIREO_THROW_PRODUCER_ERROR(result, "Unable to open datastream", kUnit, "EnumerateStreams",
                                       "DevOpenDataStream");
        streams.push_back(new StreamInfo(new TLDataStream(handle)));
    }
}

int GetStreamNumber(TLDevice* tlDevice, GenApi::INodeMap* tlDeviceMap, GenApi::INodeMap* deviceMap,
                    size_t numStreams) {
    // The camera's multipart switch, or the transport layer's.
    for (GenApi::INodeMap* map : {deviceMap, tlDeviceMap}) {
        GenApi::CBooleanPtr multipart = map != nullptr ? map->GetNode("StreamMultipartEnable") : nullptr;
        if (Readable(multipart) && multipart->GetValue()) {
            if (numStreams > kMultipartStream) return kMultipartStream;
            LibraryLog(PelgoLog::Error, "Unsupported Camera Detected");
            break;
        }
    }

    GenApi::CBooleanPtr tcp = tlDeviceMap != nullptr ? tlDeviceMap->GetNode("TCPEnable") : nullptr;
    if (Readable(tcp) && tcp->GetValue()) {
        GenApi::CIntegerPtr locked = deviceMap != nullptr ? deviceMap->GetNode("TLParamsLocked") : nullptr;
        GenApi::CEnumerationPtr protocol = deviceMap != nullptr ? deviceMap->GetNode("TransportStreamProtocol") : nullptr;
        if (Readable(locked) && locked->GetValue() == 0 && protocol.IsValid() && GenApi::IsWritable(protocol))
            protocol->FromString("TCP");
        if (numStreams >= 2) return kTcpStream;
    }

    GenApi::CEnumerationPtr transport = deviceMap != nullptr ? deviceMap->GetNode("TransportStreamProtocol") : nullptr;
    if (transport.IsValid()) {
        if (!GenApi::IsReadable(transport))
            VIREO_THROW_PLAIN(Runtime, "TransportStreamProtocol Node is Not Readable!", kUnit, "GetStreamNumber");
        const GenICam::gcstring value = transport->ToString();
        if (value == "UDP") return kImageStream;
        if (value == "TCP") {
            if (numStreams > 1) return kTcpStream;
        } else if (value == "RDMA_GVSP" || value == "RDMA_GVRSP" || value == "RDMA" || value == "RDMA3") {
            if (numStreams > 2) return kRdmaStream;
        } else {
            VIREO_THROW_PLAIN(Runtime, "Unsupported Transport Stream Protocol: " + std::string(value.c_str()), kUnit,
                              "GetStreamNumber");
        }
    }

    GenApi::CEnumerationPtr eventFormat = deviceMap != nullptr ? deviceMap->GetNode("EventFormat") : nullptr;
    if (Readable(eventFormat)) {
        const GenICam::gcstring value = eventFormat->ToString();
        if (value == "EVT3_0") {
            if (numStreams > 3) return kEventSensorStream;
            LibraryLog(PelgoLog::Error, "Unsupported Event Format Detected(2): " + std::string(value.c_str()));
        } else {
            LibraryLog(PelgoLog::Error, "Unsupported Event Format Detected: " + std::string(value.c_str()));
        }
        VIREO_THROW_PLAIN(Runtime, "Unsupported Event Format type: " + std::string(value.c_str()), kUnit,
                          "GetStreamNumber");
    }

    GenApi::CEnumerationPtr streamProtocol = tlDeviceMap != nullptr ? tlDeviceMap->GetNode("DeviceStreamProtocol") : nullptr;
    if (Readable(streamProtocol) && streamProtocol->ToString() == "GVRSP" && !IsGvrspStreamable(tlDevice))
        VIREO_THROW_PLAIN(Runtime, "Cannot force GVRSP because it is not supported on current connection", kUnit,
                          "GetStreamNumber");
    return kImageStream;
}

StreamInfo::StreamInfo(TLDataStream* dataStream) : m_dataStream(dataStream), m_port(dataStream) {
    try {
        m_nodeMap = InitNodeMap(dataStream, m_port);
    } catch (...) {
        dataStream->Close();
        delete dataStream;
        throw;
    }
}

StreamInfo::StreamInfo(GenTL::GC_ERROR openError, std::string openErrorText)
    : m_dataStream(nullptr), m_openError(openError), m_openErrorText(std::move(openErrorText)) {}

TLDataStream* StreamInfo::RequireDataStream(const char* function) {
    if (m_dataStream == nullptr)
        ThrowProducerErrorWithText(m_openError, "Unable to open datastream", kUnit, function, "DevOpenDataStream",
                                   m_openErrorText, VIREO_SOURCE_FILE, __LINE__);
    return m_dataStream;
}

StreamInfo::~StreamInfo() {
    if (m_nodeMap != nullptr) dynamic_cast<GenApi::IDestroy*>(m_nodeMap)->Destroy();
    if (m_dataStream != nullptr) {
        m_dataStream->Close();
        delete m_dataStream;
    }
}

Device::Device(TLDevice* tlDevice, Interface* iface) : m_tlDevice(tlDevice), m_interface(iface) {
    std::lock_guard lock(m_streamMutex);
    try {
        BuildNodeMaps();
        EnumerateStreams(m_tlDevice, m_streams);
        m_runs.assign(m_streams.size(), nullptr);
        LimitEventSensorRate();
        m_chunkAdapter = new GenApi::CChunkAdapterGEV(m_nodeMap, -1);
        ApplyScanType();
    } catch (...) {
        Release();
        throw;
    }
}

void Device::BuildNodeMaps() {
    m_tlPort = Port(m_tlDevice);
    m_tlNodeMap = InitNodeMap(m_tlDevice, m_tlPort);

    // The remote device is a port of its own, not a module: a lightweight module wrapper
    // carries its handle.
    m_remoteModule.reset(new TLBase(GetRemotePort(m_tlDevice)));
    m_remotePort = Port(m_remoteModule.get());
    std::vector<uint8_t> description;
    m_nodeMap = InitRemoteNodeMap(m_remoteModule.get(), m_remotePort, &description);
    if (description.empty()) return;
    m_description = GenApi::DescriptionFileText(description.data(), description.size()).c_str();

    // The chunk-only node map that buffers with chunk data parse against.
    GenApi::CNodeMapFactory factory(GenApi::ContentType_Auto, description.data(), description.size());
    for (const char* root : {"ChunkDataControl", "ChunkData"}) {
        try {
            m_chunkFactory = factory.ExtractSubtree(root);
            m_chunkNodeMap = m_chunkFactory.CreateNodeMap("Device", false);
            break;
        } catch (const GenICam::GenericException&) {
            // No such category: try the next name.
        }
    }
}

void Device::LimitEventSensorRate() {
    if (m_nodeMap == nullptr || m_nodeMap->GetNode("EventFormat") == nullptr) return;
    try {
        GenApi::CIntegerPtr linkSpeed = m_nodeMap->GetNode("DeviceLinkSpeed");
        if (!Readable(linkSpeed)) return;
        const int64_t speed = linkSpeed->GetValue();
        if (speed >= kFullSpeedLink) return;
        GenApi::CFloatPtr rateLimit = m_nodeMap->GetNode("ErcRateLimit");
        if (!rateLimit.IsValid() || !GenApi::IsWritable(rateLimit) || !GenApi::IsReadable(rateLimit)) return;
        const double limit = double(speed) / 6.25 / 1'000'000.0;
        if (rateLimit->GetValue() > limit) rateLimit->SetValue(limit);
        GenApi::CBooleanPtr enable = m_nodeMap->GetNode("ErcEnable");
        if (enable.IsValid() && GenApi::IsWritable(enable)) enable->SetValue(true);
    } catch (const GenICam::GenericException&) {
        // An inaccessible node ends this step; it never fails the construction.
    }
}

void Device::ApplyScanType() {
    m_isLinescan = EnumerationValue(m_nodeMap, "DeviceScanType") == "Linescan";
    try {
        SetNodeValue<bool>(m_tlNodeMap, "MultipartFeaturesImplementedEnable", m_isLinescan);
    } catch (const GenICam::GenericException&) {
        // A transport layer without multipart features has nothing to switch.
    }
    if (m_isLinescan) RegisterNodeCallbacks();
}

void Device::RegisterNodeCallbacks() {
    GenApi::INode* multipart = m_nodeMap != nullptr ? m_nodeMap->GetNode("StreamMultipartEnable") : nullptr;
    if (multipart == nullptr) return;
    const GenApi::EAccessMode mode = multipart->GetAccessMode();
    if (mode == GenApi::WO || mode == GenApi::RW)
        GenApi::Register(multipart, *this, &Device::MultipartStreamCallback);
}

void Device::MultipartStreamCallback(GenApi::INode*) {
    m_currentStream = kMultipartStream;
    // A camera with this switch has the five role streams.
    for (int stream = 0; stream <= kMultipartStream && size_t(stream) < m_streams.size(); ++stream)
        if (GenApi::INodeMap* map = GetTLStreamNodeMap(stream)) map->InvalidateNodes();
}

Device::~Device() {
    std::lock_guard lock(m_streamMutex);
    StopImageCallbackThread();
    AbandonStreams();
    Release();
}

void Device::Release() noexcept {
    try {
        m_eventAdapter.reset();
        if (m_remoteEvent && m_tlDevice != nullptr) m_tlDevice->UnregisterEvent(GenTL::EVENT_REMOTE_DEVICE);
        m_remoteEvent.reset();
        delete m_chunkAdapter;
        m_chunkAdapter = nullptr;
        for (StreamInfo* stream : m_streams) delete stream;
        m_streams.clear();
        m_runs.clear();
        if (m_chunkNodeMap != nullptr) dynamic_cast<GenApi::IDestroy*>(m_chunkNodeMap)->Destroy();
        m_chunkNodeMap = nullptr;
        if (m_nodeMap != nullptr) dynamic_cast<GenApi::IDestroy*>(m_nodeMap)->Destroy();
        m_nodeMap = nullptr;
        if (m_tlNodeMap != nullptr) dynamic_cast<GenApi::IDestroy*>(m_tlNodeMap)->Destroy();
        m_tlNodeMap = nullptr;
        if (m_tlDevice != nullptr) {
            m_tlDevice->Close();
            delete m_tlDevice;
            m_tlDevice = nullptr;
        }
    } catch (...) {
        // Teardown goes on whatever the producer answers.
    }
}

GenApi::INodeMap* Device::GetTLStreamNodeMap(int stream) { return m_streams[size_t(stream)]->GetNodeMap(); }

GenApi::INodeMap* Device::GetTLStreamNodeMap() {
    SelectStream();
    return GetTLStreamNodeMap(m_currentStream);
}

void Device::SelectStream() {
    m_currentStream = GetStreamNumber(m_tlDevice, GetTLDeviceNodeMap(), GetNodeMap(), m_streams.size());
}

bool Device::IsConnected() {
    const std::optional<bool> connected = ReadDeviceBool(m_tlDevice, GenTL::DEVICE_INFO_CONNECTION_STATUS,
                                                         "Unable to get info about device connection status");
    if (connected) return *connected;
    // A producer without the connection-status command: a device that answers the standard
    // access-status query, with access, is connected; one that does not answer is gone.
    int32_t access = 0, type = 0;
    size_t size = sizeof access;
    const GenTL::GC_ERROR status = m_tlDevice->GetInfo(GenTL::DEVICE_INFO_ACCESS_STATUS, &type, &access, &size);
    if (status == GenTL::GC_ERR_IO) return false;
    if (status != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(status, "Unable to get info about device connection status", kUnit, "GetInfo",
                                   "DeviceGetInfo");
    return access != GenTL::DEVICE_ACCESS_STATUS_NOACCESS && access != GenTL::DEVICE_ACCESS_STATUS_UNKNOWN;
}

void Device::SendActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask, uint64_t actionTime) {
    const GenTL::GC_ERROR result = m_tlDevice->SendActionCommand(deviceKey, groupKey, groupMask, actionTime);
    // Without this project's extension: the interface's standard action features, where the
    // producer has them.
    if (result == GenTL::GC_ERR_NOT_IMPLEMENTED && !IsOwnProducer()) {
        GenApi::INodeMap* map = m_interface != nullptr ? m_interface->GetNodeMap() : nullptr;
        GenApi::CIntegerPtr device = map != nullptr ? map->GetNode("ActionDeviceKey") : nullptr;
        GenApi::CIntegerPtr group = map != nullptr ? map->GetNode("ActionGroupKey") : nullptr;
        GenApi::CIntegerPtr mask = map != nullptr ? map->GetNode("ActionGroupMask") : nullptr;
        GenApi::CCommandPtr command = map != nullptr ? map->GetNode("ActionCommand") : nullptr;
        // A scheduled action needs the time feature too; an immediate one does not.
        GenApi::CIntegerPtr time = map != nullptr ? map->GetNode("ActionScheduledTime") : nullptr;
        if (!device.IsValid() || !group.IsValid() || !mask.IsValid() || !command.IsValid() ||
            (actionTime != 0 && !time.IsValid()))
            VIREO_THROW_PLAIN(LogicalError, "The GenTL producer does not support action commands", kUnit,
                              "SendActionCommand");
        device->SetValue(int64_t(deviceKey));
        group->SetValue(int64_t(groupKey));
        mask->SetValue(int64_t(groupMask));
        if (actionTime != 0) time->SetValue(int64_t(actionTime));
        command->Execute();
        return;
    }
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Failed to issue action command", kUnit, "SendActionCommand",
                                   "DeviceSendActionCommand");
}

void Device::DownloadXml() {
    try {
        const GenICam::gcstring serial = GetNodeValue<GenICam::gcstring>(GetNodeMap(), "DeviceSerialNumber");
        std::ofstream file(std::string(serial.c_str()) + ".xml", std::ios::binary | std::ios::trunc);
        file.write(m_description.data(), std::streamsize(m_description.size()));
        file.close();
        if (!file) throw std::ios_base::failure("write failed");
    } catch (const std::exception&) {
        VIREO_THROW_PLAIN(Runtime, "Unable to download XML", kUnit, "DownloadXml");
    }
}

} // namespace Vireo
