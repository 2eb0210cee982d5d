#include "VirtualCamera.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <Vireo/QoiCodec.h>
#include <zlib.h>

#include <GenTL/GenTLExtensions.h>

#include "description/ZipArchive.h"
#include "Failure.h"
#include "EventSensor.h"
#include "BootstrapRegisters.h"

#include <GigE/BootstrapRegisters.h>

namespace VirtualGenTL {
namespace {

// The chunks a camera can append, in ChunkSelector order, and the image data's own chunk.
constexpr uint32_t kChunkKinds = 4;
constexpr const char* kChunkFeatures[kChunkKinds] = {"ChunkCRC", "ChunkFrameCounter", "ChunkExposureTime",
                                                     "ChunkTimestamp"};
constexpr uint32_t kChunkIds[kChunkKinds] = {0xA5A50001, 0xA5A50002, 0xA5A50003, 0xA5A50004};
constexpr uint32_t kChunkLengths[kChunkKinds] = {4, 8, 8, 8};
constexpr uint32_t kImageChunkId = 0xA5A50000;
constexpr size_t kTrailerBytes = 8;
constexpr uint16_t kExposureEndEventId = 0x9001;

// The depth camera's scene: a wall facing it at kPlaneDistance, seen through a pinhole of
// kDepthFocal pixels; samples are millimetres / kDepthScale.
constexpr double kDepthScale = 0.25;
constexpr double kPlaneDistance = 1000.0;
constexpr double kDepthFocal = 525.0;

void DrawDepthFrame(uint8_t* memory, uint64_t width, uint64_t height, uint64_t pixelFormat, uint64_t frameId) {
    auto* out = reinterpret_cast<uint16_t*>(memory);
    for (uint64_t v = 0; v < height; ++v) {
        for (uint64_t u = 0; u < width; ++u) {
            const double x = (double(u) - width / 2.0) * kPlaneDistance / kDepthFocal;
            const double y = (double(v) - height / 2.0) * kPlaneDistance / kDepthFocal;
            const auto a = uint16_t((x + 4096.0) / kDepthScale), b = uint16_t((y + 4096.0) / kDepthScale);
            const auto c = uint16_t(kPlaneDistance / kDepthScale);
            const auto intensity = uint16_t(((u + v + frameId) % 256) * 256);  // moves every frame
            switch (pixelFormat) {
            case 0x82400403: *out++ = a; *out++ = b; *out++ = c; *out++ = intensity; break;  // Coord3D_ABCY16
            case 0x011000B8: *out++ = c; break;                                               // Coord3D_C16
            default: *out++ = intensity; break;
            }
        }
    }
}

void PutBigEndian(uint8_t* out, uint64_t value, size_t bytes) {
    for (size_t index = 0; index < bytes; ++index) out[index] = uint8_t(value >> (8 * (bytes - 1 - index)));
}

// The GigE Vision transport features, one register per stream channel where they belong to a
// channel, and the identity and address features: all of them are the bootstrap registers
// themselves, as on a camera on the network.
void AddGigEVisionFeatures(const CameraModel& model, std::vector<Feature>& features) {
    const auto pinned = [](Feature feature, uint64_t address, uint32_t mask = 0, uint32_t length = 4) {
        feature.fixedAddress = address;
        feature.fieldMask = mask;
        feature.length = length;
        return feature;
    };
    const auto channel = [&](Feature feature, uint64_t offset, uint32_t mask = 0) {
        feature = pinned(std::move(feature), GigE::Register::streamChannel(0) + offset, mask);
        feature.selector = "GevStreamChannelSelector";
        feature.selectorCount = model.dataStreams;
        feature.selectorStride = GigE::Register::streamChannelStride;
        return feature;
    };
    namespace Reg = GigE::Register;
    namespace Sc = GigE::Register::StreamChannelOffset;
    std::vector<EnumEntry> channels;
    for (uint32_t index = 0; index < model.dataStreams; ++index) channels.push_back({"StreamChannel" + std::to_string(index), index});
    const std::string tl = "TransportLayerControl";
    const std::vector<Feature> transport = {
        pinned(IntegerFeature("GevCurrentDefaultGateway", tl, Access::RO, 0, 0xFFFFFFFF), Reg::currentDefaultGateway),
        pinned(IntegerFeature("GevPersistentIPAddress", tl, Access::RW, 0, 0xFFFFFFFF), Reg::persistentIpAddress),
        pinned(IntegerFeature("GevPersistentSubnetMask", tl, Access::RW, 0, 0xFFFFFFFF), Reg::persistentSubnetMask),
        pinned(IntegerFeature("GevPersistentDefaultGateway", tl, Access::RW, 0, 0xFFFFFFFF), Reg::persistentDefaultGateway),
        pinned(IntegerFeature("GevHeartbeatTimeout", tl, Access::RW, 500, 600000, 1, "ms"), Reg::heartbeatTimeout),
        pinned(IntegerFeature("GevTimestampTickFrequency", tl, Access::RO, 0, INT64_MAX, 1, "Hz"),
               Reg::timestampTickFrequencyHigh, 0, 8),
        pinned(CommandFeature("GevTimestampControlLatch", tl), Reg::timestampControl, Reg::TimestampControl::latch),
        pinned(IntegerFeature("GevTimestampValue", tl, Access::RO, 0, INT64_MAX), Reg::timestampValueHigh, 0, 8),
        pinned(IntegerFeature("GevStreamChannelCount", tl, Access::RO, 0, 512), Reg::streamChannelCount),
        pinned(EnumerationFeature("GevGVSPExtendedIDMode", tl, {{"Off", 0}, {"On", 1}}), Reg::gvspConfiguration,
               Reg::GvspConfiguration::extendedIds),
        EnumerationFeature("GevStreamChannelSelector", tl, channels),
        channel(IntegerFeature("GevSCPHostPort", tl, Access::RW, 0, 0xFFFF), Sc::port, Reg::ChannelPort::hostPortMask),
        channel(IntegerFeature("GevSCPSPacketSize", tl, Access::RW, 576, 9000, 4, "B"), Sc::packetSize,
                Reg::StreamChannelPacketSize::packetSizeMask),
        channel(BooleanFeature("GevSCPSFireTestPacket", tl), Sc::packetSize, Reg::StreamChannelPacketSize::fireTestPacket),
        channel(BooleanFeature("GevSCPSDoNotFragment", tl), Sc::packetSize, Reg::StreamChannelPacketSize::doNotFragment),
        channel(BooleanFeature("GevSCPSBigEndian", tl), Sc::packetSize, Reg::StreamChannelPacketSize::bigEndianPixels),
        channel(IntegerFeature("GevSCPD", tl, Access::RW, 0, 0xFFFFFFFF, 1, "ticks"), Sc::packetDelay),
        channel(IntegerFeature("GevSCDA", tl, Access::RW, 0, 0xFFFFFFFF), Sc::destinationAddress),
        channel(IntegerFeature("GevSCSP", tl, Access::RO, 0, 0xFFFF), Sc::sourcePort, Reg::ChannelPort::hostPortMask),
        channel(BooleanFeature("GevSCCFGMultiPart", tl), Sc::configuration, Reg::StreamChannelConfiguration::multiPart),
        channel(BooleanFeature("GevSCCFGUnconditionalStreaming", tl), Sc::configuration,
                Reg::StreamChannelConfiguration::unconditionalStreaming),
    };
    features.insert(features.end(), transport.begin(), transport.end());
    // Frames per multi-part block on a GigE Vision stream channel, each frame one part.
    Feature parts = IntegerFeature("MultiPartFrameCount", tl, Access::RW, 1, 16);
    parts.selector = "GevStreamChannelSelector";
    parts.selectorCount = model.dataStreams;
    features.push_back(parts);
    // Identity and addresses are the bootstrap registers themselves.
    for (Feature& feature : features) {
        static const std::pair<const char*, uint64_t> kBootstrap[] = {
            {"DeviceVendorName", Reg::manufacturerName}, {"DeviceModelName", Reg::modelName},
            {"DeviceVersion", Reg::deviceVersion}, {"DeviceManufacturerInfo", Reg::manufacturerInfo},
            {"DeviceSerialNumber", Reg::serialNumber}, {"DeviceUserID", Reg::userDefinedName},
            {"GevCurrentIPAddress", Reg::currentIpAddress}, {"GevCurrentSubnetMask", Reg::currentSubnetMask},
            {"ActionDeviceKey", Reg::actionDeviceKey}, {"ActionGroupKey", Reg::actionGroupKey(0)},
            {"ActionGroupMask", Reg::actionGroupMask(0)}};
        for (const auto& [name, address] : kBootstrap)
            if (feature.name == name) {
                feature.fixedAddress = address;
                if (feature.kind != FeatureKind::String) feature.length = 4;
            }
        if (feature.name == "GevMACAddress") feature = pinned(feature, Reg::macAddressHigh, 0, 8);
        if (feature.name == "DeviceStreamChannelPacketSize")
            feature = channel(feature, Sc::packetSize, Reg::StreamChannelPacketSize::packetSizeMask);
        if (feature.name == "GevSCCFGExtendedChunkData")
            feature = channel(feature, Sc::configuration, Reg::StreamChannelConfiguration::extendedChunkData);
    }
}

std::vector<Feature> RemoteFeatures(const CameraModel& model) {
    std::vector<EnumEntry> formats;
    for (const PixelFormatChoice& choice : model.pixelFormats) formats.push_back({choice.name, choice.code});

    std::vector<Feature> features = {
        StringFeature("DeviceVendorName", "DeviceControl", 32),
        StringFeature("DeviceModelName", "DeviceControl", 32),
        StringFeature("DeviceManufacturerInfo", "DeviceControl", 48),
        StringFeature("DeviceVersion", "DeviceControl", 32),
        StringFeature("DeviceFirmwareVersion", "DeviceControl", 32),
        StringFeature("DeviceSerialNumber", "DeviceControl", 16),
        StringFeature("DeviceUserID", "DeviceControl", 16, Access::RW),
        EnumerationFeature("DeviceScanType", "DeviceControl", {{"Areascan", 0}, {"Linescan", 1}}, Access::RO),
        IntegerFeature("DeviceLinkSpeed", "DeviceControl", Access::RO, 0, INT64_MAX, 1, "B/s"),
        FloatFeature("DeviceTemperature", "DeviceControl", Access::RO, -40.0, 125.0, "C"),
        IntegerFeature("SensorWidth", "ImageFormatControl", Access::RO, 1, model.sensorWidth),
        IntegerFeature("SensorHeight", "ImageFormatControl", Access::RO, 1, model.sensorHeight),
        IntegerFeature("WidthMax", "ImageFormatControl", Access::RO, 1, model.sensorWidth),
        IntegerFeature("HeightMax", "ImageFormatControl", Access::RO, 1, model.sensorHeight),
        IntegerFeature("Width", "ImageFormatControl", Access::RW, 8, model.sensorWidth, 8),
        IntegerFeature("Height", "ImageFormatControl", Access::RW, 1, model.sensorHeight, 1),
        IntegerFeature("OffsetX", "ImageFormatControl", Access::RW, 0, model.sensorWidth - 8, 8),
        IntegerFeature("OffsetY", "ImageFormatControl", Access::RW, 0, model.sensorHeight - 1, 1),
        EnumerationFeature("PixelFormat", "ImageFormatControl", formats),
        EnumerationFeature("AcquisitionMode", "AcquisitionControl",
                           {{"Continuous", 0}, {"SingleFrame", 1}, {"MultiFrame", 2}}),
        CommandFeature("AcquisitionStart", "AcquisitionControl"),
        CommandFeature("AcquisitionStop", "AcquisitionControl"),
        IntegerFeature("AcquisitionFrameCount", "AcquisitionControl", Access::RW, 1, 65535),
        BooleanFeature("AcquisitionFrameRateEnable", "AcquisitionControl"),
        FloatFeature("AcquisitionFrameRate", "AcquisitionControl", Access::RW, 0.1, model.maxFrameRate, "Hz"),
        FloatFeature("ExposureTime", "AcquisitionControl", Access::RW, 10.0, 1000000.0, "us"),
        EnumerationFeature("TriggerSelector", "AcquisitionControl", {{"FrameStart", 0}}),
        EnumerationFeature("TriggerMode", "AcquisitionControl", {{"Off", 0}, {"On", 1}}),
        EnumerationFeature("TriggerSource", "AcquisitionControl", {{"Software", 0}, {"Action1", 1}, {"Line0", 2}}),
        CommandFeature("TriggerSoftware", "AcquisitionControl"),
        FloatFeature("Gain", "AnalogControl", Access::RW, 0.0, 24.0, "dB"),
        IntegerFeature("PayloadSize", "TransportLayerControl", Access::RO, 0, INT64_MAX),
        IntegerFeature("TLParamsLocked", "TransportLayerControl", Access::RW, 0, 1),
        IntegerFeature("DeviceStreamChannelPacketSize", "TransportLayerControl", Access::RW, 576, 9000, 4, "B"),
        IntegerFeature("GevCurrentIPAddress", "TransportLayerControl", Access::RO, 0, 0xFFFFFFFF),
        IntegerFeature("GevCurrentSubnetMask", "TransportLayerControl", Access::RO, 0, 0xFFFFFFFF),
        IntegerFeature("GevMACAddress", "TransportLayerControl", Access::RO, 0, 0xFFFFFFFFFFFF),
        IntegerFeature("ActionDeviceKey", "TransportLayerControl", Access::RW, 0, 0xFFFFFFFF),
        IntegerFeature("ActionGroupKey", "TransportLayerControl", Access::RW, 0, 0xFFFFFFFF),
        IntegerFeature("ActionGroupMask", "TransportLayerControl", Access::RW, 0, 0xFFFFFFFF),
        EnumerationFeature("ImageCompressionMode", "ImageCompressionControl", {{"Off", 0}, {"QOI", 1}}),
        EnumerationFeature("EventSelector", "EventControl", {{"ExposureEnd", 0}}),
        EnumerationFeature("EventNotification", "EventControl", {{"Off", 0}, {"On", 1}}),
        IntegerFeature("EventExposureEnd", "EventControl", Access::RO, 0, 0xFFFF),
        IntegerFeature("EventExposureEndTimestamp", "EventControl", Access::RO, 0, INT64_MAX, 1, "ns"),
        IntegerFeature("EventExposureEndFrameID", "EventControl", Access::RO, 0, INT64_MAX),
        BooleanFeature("ChunkModeActive", "ChunkDataControl"),
        // GigE Vision: with extended chunk mode off, a chunk frame is sent as plain chunk data
        // (payload type 4), the image being its first chunk.
        BooleanFeature("GevSCCFGExtendedChunkData", "TransportLayerControl"),
        EnumerationFeature("ChunkSelector", "ChunkDataControl",
                           {{"CRC", 0}, {"FrameCounter", 1}, {"ExposureTime", 2}, {"Timestamp", 3}}),
        BooleanFeature("ChunkEnable", "ChunkDataControl"),
        IntegerFeature("ChunkCRC", "ChunkDataControl", Access::RO, 0, 0xFFFFFFFF),
        IntegerFeature("ChunkFrameCounter", "ChunkDataControl", Access::RO, 0, INT64_MAX),
        FloatFeature("ChunkExposureTime", "ChunkDataControl", Access::RO, 0.0, 1e7, "us"),
        IntegerFeature("ChunkTimestamp", "ChunkDataControl", Access::RO, 0, INT64_MAX, 1, "ns"),
    };
    auto selectedFloat = [](const char* name, const char* category, const char* selector, uint32_t count) {
        Feature feature = FloatFeature(name, category, Access::RO, -1e9, 1e9);
        feature.selector = selector;
        feature.selectorCount = count;
        return feature;
    };
    if (model.reportsMaxThroughput)
        features.push_back(IntegerFeature("DeviceMaxThroughput", "DeviceControl", Access::RO, 0, INT64_MAX, 1, "B/s"));
    if (model.timeOfFlight) {
        features.push_back(EnumerationFeature("Scan3dCoordinateSelector", "Scan3dControl",
                                              {{"CoordinateA", 0}, {"CoordinateB", 1}, {"CoordinateC", 2}}));
        features.push_back(FloatFeature("Scan3dCoordinateScale", "Scan3dControl", Access::RO, 0.0, 1000.0, "mm"));
        features.push_back(selectedFloat("Scan3dCoordinateOffset", "Scan3dControl", "Scan3dCoordinateSelector", 3));
        features.push_back(EnumerationFeature("DeviceGroupMemberTransformValueSelector", "DeviceGroupControl",
                                              {{"RotationAxisAngleVector0", 0}, {"RotationAxisAngleVector1", 1},
                                               {"RotationAxisAngleVector2", 2}, {"TranslationX", 3},
                                               {"TranslationY", 4}, {"TranslationZ", 5}}));
        features.push_back(selectedFloat("DeviceGroupMemberTransformValue", "DeviceGroupControl",
                                         "DeviceGroupMemberTransformValueSelector", 6));
    }
    if (model.colourCalibration) {
        for (const char* name : {"CalibFocalLengthX", "CalibFocalLengthY", "CalibOpticalCenterX", "CalibOpticalCenterY"})
            features.push_back(FloatFeature(name, "CalibrationControl", Access::RO, 0.0, 1e6, "px"));
        features.push_back(StringFeature("CalibLensDistortionModel", "CalibrationControl", 32));
        std::vector<EnumEntry> values;
        for (int index = 0; index < 8; ++index) values.push_back({"Value" + std::to_string(index), index});
        features.push_back(EnumerationFeature("CalibLensDistortionValueSelector", "CalibrationControl", values));
        features.push_back(selectedFloat("CalibLensDistortionValue", "CalibrationControl",
                                         "CalibLensDistortionValueSelector", 8));
        features.push_back(IntegerFeature("BinningHorizontal", "ImageFormatControl", Access::RW, 1, 4));
        features.push_back(IntegerFeature("BinningVertical", "ImageFormatControl", Access::RW, 1, 4));
    }
    if (model.streamRoles) {
        features.push_back(EnumerationFeature("TransportStreamProtocol", "TransportLayerControl",
                                              {{"UDP", 0}, {"TCP", 1}, {"RDMA", 2}}));
        features.push_back(EnumerationFeature("EventFormat", "EventBasedSensorControl", {{"EVT3_0", 0}}));
        features.push_back(FloatFeature("ErcRateLimit", "EventBasedSensorControl", Access::RW, 0.0, 1000.0, "MEv/s"));
        features.push_back(BooleanFeature("ErcEnable", "EventBasedSensorControl"));
        features.push_back(BooleanFeature("StreamMultipartEnable", "TransportLayerControl"));
        features.push_back(IntegerFeature("PacketResendWindowFrameCount", "TransportLayerControl", Access::RW, 0, 64));
    }
    AddGigEVisionFeatures(model, features);
    for (Feature& feature : features) {
        for (const char* name : {"GevCurrentIPAddress", "GevCurrentSubnetMask", "GevCurrentDefaultGateway",
                                 "GevPersistentIPAddress", "GevPersistentSubnetMask", "GevPersistentDefaultGateway",
                                 "GevSCDA"})
            if (feature.name == name) feature.representation = "IPV4Address";
        if (feature.name == "GevMACAddress") feature.representation = "MACAddress";
        if (feature.name == "ActionGroupKey" || feature.name == "ActionGroupMask") feature.representation = "HexNumber";
        if (feature.access == Access::RW && feature.kind != FeatureKind::Command) feature.streamable = true;
        if (feature.name == "EventNotification") {
            feature.selector = "EventSelector";
            feature.selectorCount = 1;
        }
        // The exposure-end event item: its ID at 2, timestamp at 8, frame ID as its data at 16.
        if (feature.name == "EventExposureEnd") feature.length = 2, feature.eventOffset = 2;
        if (feature.name == "EventExposureEndTimestamp") feature.eventOffset = 8;
        if (feature.name == "EventExposureEndFrameID") feature.eventOffset = 16;
        if (feature.name.rfind("EventExposureEnd", 0) == 0) feature.eventId = kExposureEndEventId;
        if (feature.name == "ChunkEnable") {
            feature.selector = "ChunkSelector";
            feature.selectorCount = kChunkKinds;
        }
        for (uint32_t kind = 0; kind < kChunkKinds; ++kind)
            if (feature.name == kChunkFeatures[kind]) {
                feature.chunkId = kChunkIds[kind];
                feature.length = kChunkLengths[kind];
            }
    }
    return features;
}

std::string ModelFileStem(const CameraModel& model) {
    std::string stem = model.vendorName + "_" + model.modelName;
    std::replace(stem.begin(), stem.end(), '-', '_');
    return stem;
}

uint64_t NowNs() {
    return uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(
                        std::chrono::steady_clock::now().time_since_epoch())
                        .count());
}

} // namespace

VirtualCamera::VirtualCamera(CameraModel model, CameraIdentity identity)
    : m_model(std::move(model)), m_identity(std::move(identity)) {
    DescriptionHeader header;
    header.modelName = m_model.modelName;
    header.vendorName = m_model.vendorName;
    header.toolTip = "Virtual camera " + m_model.modelName;
    header.portName = "Device";
    header.bigEndian = true;  // GigE Vision registers are big-endian
    header.baseAddress = kRegisterBase;
    auto description = std::make_shared<const Description>(header, RemoteFeatures(m_model));
    m_registers = std::make_unique<RegisterSpace>(
        description, ZipSingleFile(ModelFileStem(m_model) + ".xml", description->Xml()));
    char url[160];
    std::snprintf(url, sizeof url, "Local:%s;%llX;%llX", DescriptionFileName().c_str(),
                  static_cast<unsigned long long>(RegisterSpace::kFileAddress),
                  static_cast<unsigned long long>(m_registers->FileSize()));
    m_bootstrap = std::make_unique<BootstrapRegisters>(m_model, m_identity, m_model.dataStreams, url);
    const auto check = [](BootstrapRegisters::Result result) {
        if (result == BootstrapRegisters::Result::InvalidAddress)
            Fail(GenTL::GC_ERR_INVALID_ADDRESS, "no register at this address and length");
        if (result == BootstrapRegisters::Result::WriteProtect) Fail(GenTL::GC_ERR_ACCESS_DENIED, "the register is read-only");
    };
    m_registers->SetLowerPort(
        {[this, check](uint64_t address, void* buffer, size_t size) { check(m_bootstrap->Read(uint32_t(address), buffer, size)); },
         [this, check](uint64_t address, const void* buffer, size_t size) {
             check(m_bootstrap->Write(uint32_t(address), buffer, size));
         },
         [this](uint64_t address, const void* buffer, size_t size) { m_bootstrap->Poke(uint32_t(address), buffer, size); }});

    RegisterSpace& r = *m_registers;
    r.SetString("DeviceVendorName", m_model.vendorName);
    r.SetString("DeviceModelName", m_model.modelName);
    r.SetString("DeviceManufacturerInfo", "Virtual camera of the Vireo SDK");
    r.SetString("DeviceVersion", "1.0");
    r.SetString("DeviceFirmwareVersion", m_model.firmwareVersion);
    r.SetString("DeviceSerialNumber", m_identity.serialNumber);
    r.SetString("DeviceUserID", m_identity.userDefinedName);
    r.SetInteger("DeviceScanType", m_model.linescan ? 1 : 0);
    r.SetInteger("DeviceLinkSpeed", m_model.linkSpeed);
    if (r.Has("DeviceMaxThroughput")) r.SetInteger("DeviceMaxThroughput", m_model.linkSpeed);
    r.SetFloat("DeviceTemperature", 41.5);
    r.SetInteger("SensorWidth", m_model.sensorWidth);
    r.SetInteger("SensorHeight", m_model.sensorHeight);
    r.SetInteger("WidthMax", m_model.sensorWidth);
    r.SetInteger("HeightMax", m_model.sensorHeight);
    r.SetInteger("Width", m_model.sensorWidth);
    r.SetInteger("Height", m_model.sensorHeight);
    r.SetInteger("PixelFormat", m_model.pixelFormats.front().code);
    r.SetInteger("AcquisitionFrameCount", 1);
    r.SetInteger("AcquisitionFrameRateEnable", 1);
    r.SetFloat("AcquisitionFrameRate", std::min(30.0, m_model.maxFrameRate));
    r.SetFloat("ExposureTime", 10000.0);
    for (uint32_t stream = 0; stream < m_model.dataStreams; ++stream) {
        r.SetInteger("GevSCPSPacketSize", 1500, stream);
        r.SetInteger("MultiPartFrameCount", 4, stream);
    }
    // The multi-stream camera's last stream is its multi-part one.
    if (m_model.streamRoles) r.SetInteger("GevSCCFGMultiPart", 1, m_model.dataStreams - 1);
    r.SetInteger("GevTimestampTickFrequency", BootstrapRegisters::kTickFrequency);
    r.SetInteger("ChunkEnable", 1, 0);  // CRC on by default once chunk mode is active
    r.SetInteger("GevSCCFGExtendedChunkData", 1);
    if (m_model.timeOfFlight) {
        // Millimetres: A and B centred on 4096 mm so that unsigned samples hold both signs.
        r.SetFloat("Scan3dCoordinateScale", kDepthScale);
        r.SetFloat("Scan3dCoordinateOffset", -4096.0, 0);
        r.SetFloat("Scan3dCoordinateOffset", -4096.0, 1);
        r.SetFloat("Scan3dCoordinateOffset", 0.0, 2);
        // Mounted 50 mm beside the colour camera, axes parallel.
        const double transform[6] = {0.0, 0.0, 0.0, -50.0, 0.0, 0.0};
        for (uint32_t index = 0; index < 6; ++index) r.SetFloat("DeviceGroupMemberTransformValue", transform[index], index);
    }
    if (m_model.colourCalibration) {
        r.SetFloat("CalibFocalLengthX", 1800.0);
        r.SetFloat("CalibFocalLengthY", 1800.0);
        r.SetFloat("CalibOpticalCenterX", m_model.sensorWidth / 2.0);
        r.SetFloat("CalibOpticalCenterY", m_model.sensorHeight / 2.0);
        r.SetString("CalibLensDistortionModel", "BrownConrady");
        r.SetInteger("BinningHorizontal", 1);
        r.SetInteger("BinningVertical", 1);
    }
    if (m_model.streamRoles) {
        r.SetFloat("ErcRateLimit", 100.0);
        r.SetInteger("PacketResendWindowFrameCount", 4);
    }
    SetAddress(m_identity.ipAddress, m_identity.subnetMask, m_identity.defaultGateway);
    r.SetInteger("GevMACAddress", int64_t(m_identity.macAddress));
    UpdatePayloadSize();
    InstallBehaviour();
}

std::string VirtualCamera::DescriptionFileName() const { return ModelFileStem(m_model) + ".zip"; }

void VirtualCamera::SetAddress(uint32_t ip, uint32_t subnet, uint32_t gateway) {
    m_identity.ipAddress = ip;
    m_identity.subnetMask = subnet;
    m_identity.defaultGateway = gateway;
    m_registers->SetInteger("GevCurrentIPAddress", ip);
    m_registers->SetInteger("GevCurrentSubnetMask", subnet);
    m_registers->SetInteger("GevCurrentDefaultGateway", gateway);
}

void VirtualCamera::SetConnected(bool connected) {
    m_connected = connected;
    WakeWaiters();
}

bool VirtualCamera::TryClaim() {
    bool expected = false;
    return m_claimed.compare_exchange_strong(expected, true);
}

void VirtualCamera::Release() { m_claimed = false; }

void VirtualCamera::InstallBehaviour() {
    RegisterSpace& r = *m_registers;
    // Image geometry and format are fixed while the transport parameters are locked, as on
    // a real camera that is streaming.
    r.SetWriteGuard([this](const Feature& feature) {
        static const char* const kLocked[] = {"Width", "Height", "OffsetX", "OffsetY", "PixelFormat", "GevSCPSPacketSize",
                                              "DeviceStreamChannelPacketSize"};
        for (const char* name : kLocked)
            if (feature.name == name && m_registers->GetInteger("TLParamsLocked") != 0)
                Fail(GenTL::GC_ERR_ACCESS_DENIED, feature.name + " cannot change while TLParamsLocked is 1");
    });
    for (const char* name : {"Width", "Height", "PixelFormat", "ImageCompressionMode", "ChunkModeActive", "ChunkEnable"})
        r.OnWrite(name, [this](int64_t, uint32_t) { UpdatePayloadSize(); });
    r.OnWrite("AcquisitionStart", [this](int64_t, uint32_t) {
        std::lock_guard lock(m_frameMutex);
        const int64_t mode = m_registers->GetInteger("AcquisitionMode");
        m_framesLeft = mode == 0 ? -1 : (mode == 1 ? 1 : m_registers->GetInteger("AcquisitionFrameCount"));
        m_acquiring = true;
        m_nextFrame = std::chrono::steady_clock::now();
        m_frameCondition.notify_all();
    });
    r.OnWrite("AcquisitionStop", [this](int64_t, uint32_t) {
        std::lock_guard lock(m_frameMutex);
        m_acquiring = false;
        m_pendingTriggers = 0;
        m_frameCondition.notify_all();
    });
    r.OnWrite("TriggerSoftware", [this](int64_t, uint32_t) {
        if (m_registers->GetInteger("TriggerSource") == 0) Trigger();
    });
}

// How the next frame is laid out, from the current settings.
struct VirtualCamera::Layout {
    uint64_t width = 0, height = 0, pixelFormat = 0;
    size_t imageBytes = 0;       // uncompressed image data
    bool compressed = false;
    uint64_t qoiFormat = 0;      // the QOI pixel format of a compressed frame
    uint8_t qoiChannels = 0;
    bool chunkMode = false;
    bool extendedChunks = true;        // payload 0x4001 rather than 4
    std::vector<uint32_t> chunkKinds;  // enabled chunks, in selector order
    uint64_t offsetX = 0, offsetY = 0;
    double exposureTime = 0;
    bool exposureEndEvents = false;

    // The largest payload the frame can have: a QOI stream may exceed the raw image.
    size_t MaximumBytes() const {
        size_t image = imageBytes;
        if (compressed) image = qoiChannels == 1 ? width * height * 2 + 22 : width * height * (qoiChannels + 1) + 22;
        if (!chunkMode) return image;
        size_t total = image + kTrailerBytes;
        for (uint32_t kind : chunkKinds) total += kChunkLengths[kind] + kTrailerBytes;
        return total;
    }
};

VirtualCamera::Layout VirtualCamera::CurrentLayout() const {
    const RegisterSpace& r = *m_registers;
    const uint64_t version = r.Version();
    {
        std::lock_guard lock(m_layoutMutex);
        if (m_layout && m_layoutVersion == version) return *m_layout;
    }
    Layout layout;
    layout.offsetX = uint64_t(r.GetInteger("OffsetX"));
    layout.offsetY = uint64_t(r.GetInteger("OffsetY"));
    layout.exposureTime = r.GetFloat("ExposureTime");
    layout.exposureEndEvents = r.GetInteger("EventNotification", 0) != 0;
    layout.width = uint64_t(r.GetInteger("Width"));
    layout.height = uint64_t(r.GetInteger("Height"));
    layout.pixelFormat = uint64_t(r.GetInteger("PixelFormat"));
    layout.imageBytes = size_t(layout.width * layout.height * ((layout.pixelFormat >> 16) & 0xFF) / 8);
    if (r.GetInteger("ImageCompressionMode") == 1) {
        // QOI carries 8-bit grey (mono and Bayer mosaics) and 8-bit RGB/BGR; other formats
        // are sent uncompressed.
        static const std::pair<uint64_t, std::pair<uint64_t, uint8_t>> kQoiFormats[] = {
            {0x01080001, {0x81080A00, 1}}, {0x01080008, {0x81080B00, 1}}, {0x01080009, {0x81080B01, 1}},
            {0x0108000A, {0x81080B02, 1}}, {0x0108000B, {0x81080B03, 1}}, {0x02180014, {0x82180A01, 3}},
            {0x02180015, {0x82180A02, 3}}};
        for (const auto& [format, qoi] : kQoiFormats) {
            if (format != layout.pixelFormat) continue;
            layout.compressed = true;
            layout.qoiFormat = qoi.first;
            layout.qoiChannels = qoi.second;
        }
    }
    layout.chunkMode = r.GetInteger("ChunkModeActive") != 0;
    layout.extendedChunks = r.GetInteger("GevSCCFGExtendedChunkData") != 0;
    if (layout.chunkMode)
        for (uint32_t kind = 0; kind < kChunkKinds; ++kind)
            if (r.GetInteger("ChunkEnable", kind) != 0) layout.chunkKinds.push_back(kind);
    std::lock_guard lock(m_layoutMutex);
    m_layout = std::make_unique<Layout>(layout);
    m_layoutVersion = version;
    return layout;
}

VirtualCamera::~VirtualCamera() = default;

void VirtualCamera::UpdatePayloadSize() { m_registers->SetInteger("PayloadSize", int64_t(PayloadSize())); }

size_t VirtualCamera::PayloadSize() const { return CurrentLayout().MaximumBytes(); }

std::chrono::nanoseconds VirtualCamera::FramePeriod() const {
    if (m_registers->GetInteger("AcquisitionFrameRateEnable") == 0) return std::chrono::nanoseconds(0);
    const double rate = std::max(0.1, m_registers->GetFloat("AcquisitionFrameRate"));
    return std::chrono::nanoseconds(int64_t(1e9 / rate));
}

void VirtualCamera::ListenForEvents(bool listen) {
    std::lock_guard lock(m_eventMutex);
    m_listening = listen;
    if (!listen) {
        m_events.clear();
        ++m_eventAbort;
        m_eventCondition.notify_all();
    }
}

void VirtualCamera::TakeEvent(uint8_t* buffer, size_t* size, uint64_t timeoutMs) {
    std::unique_lock lock(m_eventMutex);
    const uint64_t abort = m_eventAbort;
    const auto ready = [&] { return !m_events.empty() || m_eventAbort != abort; };
    if (timeoutMs == GENTL_INFINITE) {
        m_eventCondition.wait(lock, ready);
    } else if (!m_eventCondition.wait_for(lock, std::chrono::milliseconds(timeoutMs), ready)) {
        Fail(GenTL::GC_ERR_TIMEOUT, "no event arrived within " + std::to_string(timeoutMs) + " ms");
    }
    if (m_events.empty()) Fail(GenTL::GC_ERR_ABORT, "the wait was aborted");
    const std::vector<uint8_t>& packet = m_events.front();
    if (buffer == nullptr || *size < packet.size()) {
        *size = packet.size();
        Fail(buffer == nullptr ? GenTL::GC_ERR_INVALID_PARAMETER : GenTL::GC_ERR_BUFFER_TOO_SMALL,
             std::to_string(packet.size()) + " bytes are needed for the event");
    }
    *size = packet.size();
    std::memcpy(buffer, packet.data(), packet.size());
    m_events.pop_front();
}

void VirtualCamera::KillEventWait() {
    std::lock_guard lock(m_eventMutex);
    ++m_eventAbort;
    m_eventCondition.notify_all();
}

size_t VirtualCamera::QueuedEvents() {
    std::lock_guard lock(m_eventMutex);
    return m_events.size();
}

void VirtualCamera::EmitExposureEnd(uint64_t frameId, uint64_t timestampNs) {
    // A GVCP EVENTDATA packet: key 0x42, flags, command 0x00C2, length, request id; then one
    // item of size 24: size, event id, stream channel, block id, timestamp, and the frame id.
    std::vector<uint8_t> packet(8 + 24, 0);
    packet[0] = 0x42;
    PutBigEndian(&packet[2], 0x00C2, 2);
    PutBigEndian(&packet[4], 24, 2);
    std::lock_guard lock(m_eventMutex);
    if (!m_listening) return;
    PutBigEndian(&packet[6], ++m_eventRequestId, 2);
    uint8_t* item = &packet[8];
    PutBigEndian(item, 24, 2);
    PutBigEndian(item + 2, kExposureEndEventId, 2);
    PutBigEndian(item + 6, frameId & 0xFFFF, 2);
    PutBigEndian(item + 8, timestampNs, 8);
    PutBigEndian(item + 16, frameId, 8);
    constexpr size_t kMaximumQueued = 1024;  // an application that never reads loses the oldest
    if (m_events.size() == kMaximumQueued) m_events.pop_front();
    m_events.push_back(std::move(packet));
    m_eventCondition.notify_all();
}

bool VirtualCamera::FreeRunning() const {
    return m_registers->GetInteger("AcquisitionFrameRateEnable") == 0 && m_registers->GetInteger("TriggerMode") == 0;
}

void VirtualCamera::Trigger() {
    std::lock_guard lock(m_frameMutex);
    if (!m_acquiring) return;  // a trigger outside acquisition is ignored, as by a camera
    ++m_pendingTriggers;
    m_frameCondition.notify_all();
}

void VirtualCamera::WakeWaiters() {
    std::lock_guard lock(m_frameMutex);
    m_frameCondition.notify_all();
}

bool VirtualCamera::WaitForFrame(const std::atomic<bool>* stop) {
    std::unique_lock lock(m_frameMutex);
    for (;;) {
        if (stop->load()) return false;
        if (!m_acquiring || !m_connected || m_framesLeft == 0) {
            m_frameCondition.wait(lock);
            continue;
        }
        bool due = false;
        if (m_registers->GetInteger("TriggerMode") != 0) {
            if (m_pendingTriggers == 0) {
                m_frameCondition.wait(lock);
                continue;
            }
            --m_pendingTriggers;
            due = true;
        } else {
            const auto now = std::chrono::steady_clock::now();
            if (now < m_nextFrame) {
                m_frameCondition.wait_until(lock, m_nextFrame);
                continue;
            }
            // Keep the cadence; after a stall, restart from now rather than bursting.
            m_nextFrame = std::max(m_nextFrame + FramePeriod(), now - FramePeriod());
            due = true;
        }
        if (due) {
            if (m_framesLeft > 0 && --m_framesLeft == 0) m_acquiring = false;
            return true;
        }
    }
}

FrameInfo VirtualCamera::Produce(uint8_t* memory, size_t size, EventSensor* sensor,
                                 std::vector<EvsTrigger>* triggers) {
    const Layout layout = CurrentLayout();
    if (sensor != nullptr)
        return sensor->Produce(memory, size, layout.width, layout.height, ++m_frameCounter, NowNs(), triggers);
    FrameInfo frame;
    frame.width = layout.width;
    frame.height = layout.height;
    frame.offsetX = layout.offsetX;
    frame.offsetY = layout.offsetY;
    frame.pixelFormat = layout.compressed ? layout.qoiFormat : layout.pixelFormat;
    frame.frameId = ++m_frameCounter;
    frame.timestampNs = NowNs();
    frame.containsChunks = layout.chunkMode;
    if (layout.compressed)
        frame.payloadType = layout.chunkMode ? GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE_EXTENDED_CHUNK
                                             : GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE;
    else if (layout.chunkMode)
        frame.payloadType = layout.extendedChunks ? uint64_t(GenTL::PAYLOAD_TYPE_IMAGE_EXTENDED_CHUNK)
                                                  : uint64_t(GenTL::PAYLOAD_TYPE_CHUNK_DATA);
    else
        frame.payloadType = GenTL::PAYLOAD_TYPE_IMAGE;

    std::lock_guard lock(m_patternMutex);
    if (!m_pattern || m_patternWidth != frame.width || m_patternFormat != layout.pixelFormat) {
        m_pattern =
            std::make_unique<TestPattern>(uint32_t(frame.width), uint32_t(layout.pixelFormat), m_model.colourSensor);
        m_patternWidth = frame.width;
        m_patternFormat = layout.pixelFormat;
    }
    const size_t rowBytes = m_pattern->RowBytes();
    const uint32_t rows = uint32_t(frame.height);

    // The image data: drawn straight into the buffer, or drawn aside and compressed into it.
    size_t imageBytes = 0;
    if (layout.compressed) {
        m_scratch.resize(layout.imageBytes);
        m_pattern->Draw(m_scratch.data(), rows, frame.frameId);
        const Vireo::qoi_desc desc{uint32_t(frame.width), uint32_t(frame.height), layout.qoiChannels, 0};
        int streamBytes = 0;
        void* stream = Vireo::qoi_encode(m_scratch.data(), &desc, &streamBytes);
        if (stream == nullptr) Fail(GenTL::GC_ERR_ERROR, "the frame could not be compressed");
        imageBytes = size_t(streamBytes);
        std::memcpy(memory, stream, std::min(imageBytes, size));
        std::free(stream);
    } else if (m_model.timeOfFlight) {
        if (layout.imageBytes <= size) DrawDepthFrame(memory, frame.width, frame.height, layout.pixelFormat, frame.frameId);
        imageBytes = layout.imageBytes;
    } else {
        const uint32_t rowsThatFit = rowBytes == 0 ? 0 : uint32_t(std::min<uint64_t>(rows, size / rowBytes));
        m_pattern->Draw(memory, rowsThatFit, frame.frameId);
        imageBytes = layout.imageBytes;
    }

    // The GigE Vision chunk layout: the image data is itself a chunk, and every chunk's data
    // is followed by its ID and length, big-endian, so that the buffer parses from its end.
    size_t total = imageBytes;
    std::vector<std::pair<size_t, size_t>> trailers;  // offset of each trailer and the length it states
    if (layout.chunkMode) {
        trailers.push_back({total, imageBytes});
        total += kTrailerBytes;
        for (uint32_t kind : layout.chunkKinds) {
            frame.chunks.push_back({kChunkIds[kind], total, kChunkLengths[kind]});
            total += kChunkLengths[kind];
            trailers.push_back({total, kChunkLengths[kind]});
            total += kTrailerBytes;
        }
    }
    frame.dataSize = total;
    if (total > size) {
        // The frame does not fit: deliver what fits and say so.
        frame.dataLargerThanBuffer = true;
        frame.incomplete = true;
        frame.sizeFilled = std::min(size, layout.compressed ? imageBytes : layout.imageBytes);
        return frame;
    }
    if (layout.chunkMode) {
        uint32_t trailerIndex = 0;
        PutBigEndian(memory + trailers[0].first, kImageChunkId, 4);
        PutBigEndian(memory + trailers[0].first + 4, trailers[0].second, 4);
        for (size_t chunk = 0; chunk < frame.chunks.size(); ++chunk) {
            const ChunkPlacement& placement = frame.chunks[chunk];
            uint8_t* out = memory + placement.offset;
            switch (placement.id) {
            case 0xA5A50001:  // CRC-32 of the image data
                PutBigEndian(out, crc32(crc32(0, nullptr, 0), memory, uInt(imageBytes)), 4);
                break;
            case 0xA5A50002: PutBigEndian(out, frame.frameId, 8); break;
            case 0xA5A50003: {
                const double exposure = layout.exposureTime;
                uint64_t raw;
                std::memcpy(&raw, &exposure, sizeof raw);
                PutBigEndian(out, raw, 8);
                break;
            }
            default: PutBigEndian(out, frame.timestampNs, 8); break;
            }
            trailerIndex = uint32_t(chunk + 1);
            PutBigEndian(memory + trailers[trailerIndex].first, placement.id, 4);
            PutBigEndian(memory + trailers[trailerIndex].first + 4, placement.length, 4);
        }
        if (m_corruptTrailer.exchange(false))
            PutBigEndian(memory + trailers.back().first + 4, 0x7FFFFFFF, 4);  // longer than the buffer
    }
    if (m_corruptData.exchange(false) && imageBytes > 0) memory[imageBytes / 2] ^= 0x5A;  // after the CRC
    if (layout.exposureEndEvents) EmitExposureEnd(frame.frameId, frame.timestampNs);
    frame.sizeFilled = total;
    if (m_nextIncomplete.exchange(false)) {
        // Packets lost on the way: only the first half of the image arrives.
        frame.incomplete = true;
        frame.sizeFilled = layout.compressed ? imageBytes / 2 : size_t(rows / 2) * rowBytes;
    }
    return frame;
}

} // namespace VirtualGenTL
