#include "VirtualCamera.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "../description/ZipArchive.h"
#include "../src/Errors.h"

namespace VirtualGenTL {
namespace {

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
        IntegerFeature("DeviceMaxThroughput", "DeviceControl", Access::RO, 0, INT64_MAX, 1, "B/s"),
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
    };
    for (Feature& feature : features) {
        if (feature.name == "GevCurrentIPAddress" || feature.name == "GevCurrentSubnetMask")
            feature.representation = "IPV4Address";
        if (feature.name == "GevMACAddress") feature.representation = "MACAddress";
        if (feature.name == "ActionGroupKey" || feature.name == "ActionGroupMask") feature.representation = "HexNumber";
        if (feature.access == Access::RW && feature.kind != FeatureKind::Command) feature.streamable = true;
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
    auto description = std::make_shared<const Description>(header, RemoteFeatures(m_model));
    m_registers = std::make_unique<RegisterSpace>(
        description, ZipSingleFile(ModelFileStem(m_model) + ".xml", description->Xml()));

    RegisterSpace& r = *m_registers;
    r.SetString("DeviceVendorName", m_model.vendorName);
    r.SetString("DeviceModelName", m_model.modelName);
    r.SetString("DeviceManufacturerInfo", "Virtual camera of the Vireo GenTL producer");
    r.SetString("DeviceVersion", "1.0");
    r.SetString("DeviceFirmwareVersion", m_model.firmwareVersion);
    r.SetString("DeviceSerialNumber", m_identity.serialNumber);
    r.SetString("DeviceUserID", m_identity.userDefinedName);
    r.SetInteger("DeviceScanType", m_model.linescan ? 1 : 0);
    r.SetInteger("DeviceLinkSpeed", m_model.linkSpeed);
    r.SetInteger("DeviceMaxThroughput", m_model.linkSpeed);
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
    r.SetInteger("DeviceStreamChannelPacketSize", 1500);
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
        static const char* const kLocked[] = {"Width", "Height", "OffsetX", "OffsetY", "PixelFormat",
                                              "DeviceStreamChannelPacketSize"};
        for (const char* name : kLocked)
            if (feature.name == name && m_registers->GetInteger("TLParamsLocked") != 0)
                Fail(GenTL::GC_ERR_ACCESS_DENIED, feature.name + " cannot change while TLParamsLocked is 1");
    });
    for (const char* name : {"Width", "Height", "PixelFormat"})
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

void VirtualCamera::UpdatePayloadSize() { m_registers->SetInteger("PayloadSize", int64_t(PayloadSize())); }

size_t VirtualCamera::PayloadSize() const {
    const uint64_t width = uint64_t(m_registers->GetInteger("Width"));
    const uint64_t height = uint64_t(m_registers->GetInteger("Height"));
    const uint64_t bits = (uint64_t(m_registers->GetInteger("PixelFormat")) >> 16) & 0xFF;
    return size_t(width * height * bits / 8);
}

std::chrono::nanoseconds VirtualCamera::FramePeriod() const {
    if (m_registers->GetInteger("AcquisitionFrameRateEnable") == 0) return std::chrono::nanoseconds(0);
    const double rate = std::max(0.1, m_registers->GetFloat("AcquisitionFrameRate"));
    return std::chrono::nanoseconds(int64_t(1e9 / rate));
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

FrameInfo VirtualCamera::Produce(uint8_t* memory, size_t size) {
    FrameInfo frame;
    const RegisterSpace& r = *m_registers;
    frame.width = uint64_t(r.GetInteger("Width"));
    frame.height = uint64_t(r.GetInteger("Height"));
    frame.offsetX = uint64_t(r.GetInteger("OffsetX"));
    frame.offsetY = uint64_t(r.GetInteger("OffsetY"));
    frame.pixelFormat = uint64_t(r.GetInteger("PixelFormat"));
    frame.frameId = ++m_frameCounter;
    frame.timestampNs = NowNs();
    frame.dataSize = PayloadSize();

    std::lock_guard lock(m_patternMutex);
    if (!m_pattern || m_patternWidth != frame.width || m_patternFormat != frame.pixelFormat) {
        m_pattern = std::make_unique<TestPattern>(uint32_t(frame.width), uint32_t(frame.pixelFormat));
        m_patternWidth = frame.width;
        m_patternFormat = frame.pixelFormat;
    }
    const size_t rowBytes = m_pattern->RowBytes();
    uint32_t rowsThatFit = rowBytes == 0 ? 0 : uint32_t(std::min<uint64_t>(frame.height, size / rowBytes));
    if (m_nextIncomplete.exchange(false)) {
        // Packets lost on the way: only the first half of the rows arrives.
        rowsThatFit /= 2;
        frame.incomplete = true;
    }
    m_pattern->Draw(memory, rowsThatFit, frame.frameId);
    frame.sizeFilled = size_t(rowsThatFit) * rowBytes;
    if (frame.dataSize > size) {
        // The frame does not fit: deliver what fits and say so.
        frame.dataLargerThanBuffer = true;
        frame.incomplete = true;
    }
    return frame;
}

} // namespace VirtualGenTL
