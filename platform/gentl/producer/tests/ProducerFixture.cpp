#include "ProducerFixture.h"

#include <zip.h>

#include <cstring>
#include <stdexcept>

std::string LastErrorText() {
    char text[1024] = {};
    size_t size = sizeof text;
    GC_ERROR code = 0;
    GCGetLastError(&code, text, &size);
    return text;
}

std::string Unzip(const std::vector<uint8_t>& archive) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_buffer_create(archive.data(), archive.size(), 0, &error);
    zip_t* zip = source != nullptr ? zip_open_from_source(source, ZIP_RDONLY, &error) : nullptr;
    if (zip == nullptr) {
        if (source != nullptr) zip_source_free(source);
        throw std::runtime_error("not a zip archive");
    }
    zip_stat_t stat;
    zip_stat_index(zip, 0, 0, &stat);
    std::string content(stat.size, '\0');
    zip_file_t* file = zip_fopen_index(zip, 0, 0);
    zip_fread(file, content.data(), content.size());
    zip_fclose(file);
    zip_close(zip);
    return content;
}

uint64_t RegisterAddress(const std::string& xml, const std::string& feature) {
    const std::vector<std::string> names = {feature + "Reg", feature};
    for (const std::string& name : names) {
        const size_t start = xml.find("Name=\"" + name + "\"");
        if (start == std::string::npos) continue;
        const size_t element = xml.rfind('<', start);
        const std::string kind = xml.substr(element + 1, start - element - 2);
        if (kind != "IntReg" && kind != "MaskedIntReg" && kind != "FloatReg" && kind != "StringReg") continue;
        const size_t address = xml.find("<Address>", start);
        return std::stoull(xml.substr(address + 9), nullptr, 16);
    }
    throw std::runtime_error("no register for " + feature);
}

void ProducerTest::SetUp() {
    VirtualProducerClearFaults();
    ASSERT_EQ(GCInitLib(), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(TLOpen(&system), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(TLOpenInterface(system, "VirtualGigE0", &iface), GC_ERR_SUCCESS) << LastErrorText();
    bool8_t changed = 0;
    ASSERT_EQ(IFUpdateDeviceList(iface, &changed, 100), GC_ERR_SUCCESS) << LastErrorText();
}

void ProducerTest::TearDown() {
    VirtualProducerClearFaults();
    EXPECT_EQ(GCCloseLib(), GC_ERR_SUCCESS) << LastErrorText();
    VirtualProducerUseCameras(nullptr, 0);
}

void ProducerTest::OpenCamera(const char* serialNumber) {
    ASSERT_EQ(IFOpenDevice(iface, serialNumber, DEVICE_ACCESS_CONTROL, &device), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(DevGetPort(device, &remote), GC_ERR_SUCCESS) << LastErrorText();
}

void ProducerTest::OpenStream() {
    char id[64];
    size_t size = sizeof id;
    ASSERT_EQ(DevGetDataStreamID(device, 0, id, &size), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(DevOpenDataStream(device, id, &stream), GC_ERR_SUCCESS) << LastErrorText();
}

std::vector<uint8_t> ProducerTest::ReadDescriptionFile(PORT_HANDLE port) {
    const std::string url = StringAnswer([&](char* text, size_t* size) { return GCGetPortURL(port, text, size); });
    // local:<name>;<hex address>;<hex length>
    const size_t first = url.find(';'), second = url.find(';', first + 1);
    const uint64_t address = std::stoull(url.substr(first + 1, second - first - 1), nullptr, 16);
    size_t length = std::stoull(url.substr(second + 1), nullptr, 16);
    std::vector<uint8_t> bytes(length);
    EXPECT_EQ(GCReadPort(port, address, bytes.data(), &length), GC_ERR_SUCCESS) << LastErrorText();
    return bytes;
}

const std::string& ProducerTest::RemoteXml() {
    if (m_remoteXml.empty()) m_remoteXml = Unzip(ReadDescriptionFile(remote));
    return m_remoteXml;
}

void ProducerTest::WriteRemote(const std::string& feature, uint64_t value, size_t length) {
    uint8_t bytes[8];
    for (size_t index = 0; index < length; ++index) bytes[index] = uint8_t(value >> (8 * (length - 1 - index)));
    size_t size = length;
    ASSERT_EQ(GCWritePort(remote, RegisterAddress(RemoteXml(), feature), bytes, &size), GC_ERR_SUCCESS)
        << feature << ": " << LastErrorText();
}

uint64_t ProducerTest::ReadRemote(const std::string& feature, size_t length) {
    uint8_t bytes[8] = {};
    size_t size = length;
    EXPECT_EQ(GCReadPort(remote, RegisterAddress(RemoteXml(), feature), bytes, &size), GC_ERR_SUCCESS)
        << feature << ": " << LastErrorText();
    uint64_t value = 0;
    for (size_t index = 0; index < length; ++index) value = value << 8 | bytes[index];
    return value;
}

void ProducerTest::WriteRemoteFloat(const std::string& feature, double value) {
    uint64_t raw;
    std::memcpy(&raw, &value, sizeof raw);
    WriteRemote(feature, raw, 8);
}

void ProducerTest::UseSmallMonoFrames(uint64_t width, uint64_t height) {
    WriteRemote("Width", width);
    WriteRemote("Height", height);
    WriteRemote("PixelFormat", 0x01080001, 4);  // Mono8
    WriteRemoteFloat("AcquisitionFrameRate", 200.0);
}

std::vector<BUFFER_HANDLE> ProducerTest::AnnounceAndQueue(size_t count) {
    size_t payload = 0, size = sizeof payload;
    INFO_DATATYPE type = 0;
    EXPECT_EQ(DSGetInfo(stream, STREAM_INFO_PAYLOAD_SIZE, &type, &payload, &size), GC_ERR_SUCCESS) << LastErrorText();
    std::vector<BUFFER_HANDLE> buffers(count);
    for (size_t index = 0; index < count; ++index) {
        EXPECT_EQ(DSAllocAndAnnounceBuffer(stream, payload, reinterpret_cast<void*>(index + 1), &buffers[index]),
                  GC_ERR_SUCCESS)
            << LastErrorText();
        EXPECT_EQ(DSQueueBuffer(stream, buffers[index]), GC_ERR_SUCCESS) << LastErrorText();
    }
    return buffers;
}

void ProducerTest::StartAcquisition() {
    ASSERT_EQ(GCRegisterEvent(stream, EVENT_NEW_BUFFER, &newBuffer), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(DSStartAcquisition(stream, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), GC_ERR_SUCCESS) << LastErrorText();
    WriteRemote("TLParamsLocked", 1);
    Execute("AcquisitionStart");
}

void ProducerTest::StopAcquisition() {
    Execute("AcquisitionStop");
    WriteRemote("TLParamsLocked", 0);
    EXPECT_EQ(DSStopAcquisition(stream, ACQ_STOP_FLAGS_DEFAULT), GC_ERR_SUCCESS) << LastErrorText();
}

BUFFER_HANDLE ProducerTest::NextBuffer(uint64_t timeoutMs) {
    S_EVENT_NEW_BUFFER data{};
    size_t size = sizeof data;
    if (EventGetData(newBuffer, &data, &size, timeoutMs) != GC_ERR_SUCCESS) return nullptr;
    return data.BufferHandle;
}
