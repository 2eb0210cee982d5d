#include "ProducerFixture.h"

namespace {

using Ports = ProducerTest;

std::string PortUrl(PORT_HANDLE port) {
    return StringAnswer([&](char* text, size_t* size) { return GCGetPortURL(port, text, size); });
}

TEST_F(Ports, EveryModuleServesItsDescriptionThroughALocalUrl) {
    OpenCamera();
    OpenStream();
    const std::pair<PORT_HANDLE, std::string> modules[] = {
        {system, "local:GenTLSystem.xml;100000;"},
        {iface, "local:GenTLInterface.xml;100000;"},
        {device, "local:GenTLDevice.xml;100000;"},
        {stream, "local:GenTLDataStream.xml;100000;"},
        {remote, "local:Vireo_VC_2448C.zip;100000;"},
    };
    for (const auto& [port, prefix] : modules) {
        const std::string url = PortUrl(port);
        EXPECT_EQ(url.rfind(prefix, 0), 0u) << url;
        const std::vector<uint8_t> file = ReadDescriptionFile(port);
        ASSERT_GT(file.size(), 100u);
        const std::string xml = port == remote ? Unzip(file) : std::string(file.begin(), file.end());
        EXPECT_EQ(xml.rfind("<?xml", 0), 0u) << url;
        EXPECT_NE(xml.find("</RegisterDescription>"), std::string::npos) << url;
    }
    const std::string remoteXml = RemoteXml();
    for (const char* feature : {"DeviceSerialNumber", "Width", "PixelFormat", "PayloadSize", "AcquisitionStart",
                                "TLParamsLocked", "DeviceLinkSpeed", "TriggerSoftware", "Gain"})
        EXPECT_NE(remoteXml.find(std::string("Name=\"") + feature + "\""), std::string::npos) << feature;
}

TEST_F(Ports, UrlInformationDescribesTheFile) {
    OpenCamera();
    uint32_t count = 0;
    ASSERT_EQ(GCGetNumPortURLs(remote, &count), GC_ERR_SUCCESS);
    EXPECT_EQ(count, 1u);
    INFO_DATATYPE type = 0;
    uint64_t address = 0, fileSize = 0;
    size_t size = sizeof address;
    ASSERT_EQ(GCGetPortURLInfo(remote, 0, URL_INFO_FILE_REGISTER_ADDRESS, &type, &address, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(address, 0x100000u);
    size = sizeof fileSize;
    ASSERT_EQ(GCGetPortURLInfo(remote, 0, URL_INFO_FILE_SIZE, &type, &fileSize, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(fileSize, ReadDescriptionFile(remote).size());
    EXPECT_EQ(StringAnswer([&](char* text, size_t* textSize) {
                  return GCGetPortURLInfo(remote, 0, URL_INFO_URL, &type, text, textSize);
              }),
              PortUrl(remote));
    EXPECT_EQ(GCGetPortURLInfo(remote, 1, URL_INFO_URL, &type, &address, &size), GC_ERR_INVALID_INDEX);
    bool8_t bigEndian = 0;
    size = 1;
    ASSERT_EQ(GCGetPortInfo(remote, PORT_INFO_BIG_ENDIAN, &type, &bigEndian, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(bigEndian, 1);
    ASSERT_EQ(GCGetPortInfo(device, PORT_INFO_BIG_ENDIAN, &type, &bigEndian, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(bigEndian, 0);
}

TEST_F(Ports, RemoteRegistersHoldTheCameraState) {
    OpenCamera();
    EXPECT_EQ(ReadRemote("Width"), 2448u);
    EXPECT_EQ(ReadRemote("PayloadSize"), 2448u * 2048u);  // BayerRG8
    WriteRemote("Width", 640);
    WriteRemote("Height", 480);
    WriteRemote("PixelFormat", 0x02180014, 4);  // RGB8
    EXPECT_EQ(ReadRemote("PayloadSize"), 640u * 480u * 3u);

    // Read-only registers refuse writes, write-only ones refuse reads.
    uint8_t bytes[8] = {};
    size_t size = 8;
    EXPECT_EQ(GCWritePort(remote, RegisterAddress(RemoteXml(), "PayloadSize"), bytes, &size), GC_ERR_ACCESS_DENIED);
    size = 4;
    EXPECT_EQ(GCReadPort(remote, RegisterAddress(RemoteXml(), "AcquisitionStart"), bytes, &size), GC_ERR_ACCESS_DENIED);
    size = 8;
    EXPECT_EQ(GCReadPort(remote, 0xFFFF0, bytes, &size), GC_ERR_INVALID_ADDRESS);
    size = 16;  // straddles two registers
    EXPECT_EQ(GCReadPort(remote, RegisterAddress(RemoteXml(), "Width"), bytes, &size), GC_ERR_INVALID_ADDRESS);
    EXPECT_EQ(GCReadPort(remote, 0, nullptr, &size), GC_ERR_INVALID_PARAMETER);

    // Geometry is locked while the transport parameters are.
    WriteRemote("TLParamsLocked", 1);
    size = 8;
    EXPECT_EQ(GCWritePort(remote, RegisterAddress(RemoteXml(), "Width"), bytes, &size), GC_ERR_ACCESS_DENIED);
    EXPECT_NE(LastErrorText().find("TLParamsLocked"), std::string::npos) << LastErrorText();
}

TEST_F(Ports, StackedAccessReadsSeveralRegisters) {
    OpenCamera();
    uint8_t width[8], height[8];
    S_PORT_REGISTER_STACK_ENTRY entries[2] = {{RegisterAddress(RemoteXml(), "Width"), width, 8},
                                              {RegisterAddress(RemoteXml(), "Height"), height, 8}};
    size_t count = 2;
    ASSERT_EQ(GCReadPortStacked(remote, entries, &count), GC_ERR_SUCCESS) << LastErrorText();
    EXPECT_EQ(width[6] << 8 | width[7], 2448);
    EXPECT_EQ(height[6] << 8 | height[7], 2048);
}

// The camera's transport features are its GigE Vision bootstrap registers, as on a device on
// the network: the producer and the GigE Vision device server read and write one register.
TEST_F(Ports, TransportFeaturesLieOnTheBootstrapRegisters) {
    OpenCamera();
    const auto read = [&](uint64_t address, size_t length) {
        std::vector<uint8_t> bytes(length);
        size_t size = length;
        EXPECT_EQ(GCReadPort(remote, address, bytes.data(), &size), GC_ERR_SUCCESS) << address << ": " << LastErrorText();
        return bytes;
    };
    const auto word = [&](uint64_t address) {
        const std::vector<uint8_t> bytes = read(address, 4);
        return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
    };
    EXPECT_EQ(word(0x0000), 0x00020001u);  // version 2.1
    const std::vector<uint8_t> serial = read(0x00D8, 16);
    EXPECT_STREQ(reinterpret_cast<const char*>(serial.data()), "VC2448C-0001");

    // The first URL names the zipped description file in device memory; hosts read it in whole
    // words, so its last partial word reads too, and nothing after it.
    const std::vector<uint8_t> urlBytes = read(0x0200, 512);
    const std::string url(reinterpret_cast<const char*>(urlBytes.data()));
    const size_t fileSize = ReadDescriptionFile(remote).size();
    char expected[96];
    std::snprintf(expected, sizeof expected, "Local:Vireo_VC_2448C.zip;100000;%zX", fileSize);
    EXPECT_EQ(url, expected);
    const uint64_t end = 0x100000 + (fileSize + 3) / 4 * 4;
    read(end - 4, 4);
    uint8_t bytes[4] = {};
    size_t size = 4;
    EXPECT_EQ(GCReadPort(remote, end, bytes, &size), GC_ERR_INVALID_ADDRESS);

    // One register, two names: the GigE Vision packet size and the generic one.
    const uint64_t packetSize = RegisterAddress(RemoteXml(), "GevSCPSPacketSize");
    EXPECT_EQ(packetSize, 0x0D04u);
    EXPECT_EQ(RegisterAddress(RemoteXml(), "DeviceStreamChannelPacketSize"), packetSize);
    EXPECT_EQ(word(packetSize) & 0xFFFF, 1500u);

    // Read-only bootstrap registers refuse writes; nothing lies between them and the features.
    size = 4;
    EXPECT_EQ(GCWritePort(remote, 0x0000, bytes, &size), GC_ERR_ACCESS_DENIED);
    EXPECT_EQ(GCReadPort(remote, 0xA000, bytes, &size), GC_ERR_INVALID_ADDRESS);
    EXPECT_EQ(GCReadPort(remote, 0x0002, bytes, &size), GC_ERR_INVALID_ADDRESS);  // not a whole word
}

} // namespace
