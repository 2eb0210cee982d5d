#include "transport/NodeMapLoading.h"

#include <gtest/gtest.h>

#include <GenApi/GenApi.h>
#include <GenTL/VirtualProducerControl.h>
#include <Vireo/TLDevice.h>
#include <Vireo/TLInterface.h>
#include <Vireo/TLSystem.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "transport/Errors.h"
#include "transport/Producer.h"

namespace Vireo {
namespace {

TEST(DescriptionUrl, LocalUrlsGiveNameAddressAndLength) {
    DescriptionLocation location = ParseDescriptionUrl("local:GenTLSystem.xml;1000;2A0");
    EXPECT_TRUE(location.local);
    EXPECT_EQ(location.fileName, "GenTLSystem.xml");
    EXPECT_EQ(location.address, 0x1000);
    EXPECT_EQ(location.length, 0x2A0);
    location = ParseDescriptionUrl("local:///Vireo_VC_2448C.zip;100000;1F3C?SchemaVersion=1.1.0");
    EXPECT_EQ(location.fileName, "///Vireo_VC_2448C.zip");
    EXPECT_EQ(location.address, 0x100000);
    EXPECT_EQ(location.length, 0x1F3C);
}

TEST(DescriptionUrl, SchemesAreMatchedInAnyCase) {
    for (const char* url : {"Local:GenTLSystem.xml;1000;2A0", "LOCAL:GenTLSystem.xml;1000;2A0"}) {
        const DescriptionLocation location = ParseDescriptionUrl(url);
        EXPECT_TRUE(location.local) << url;
        EXPECT_EQ(location.address, 0x1000) << url;
        EXPECT_EQ(location.length, 0x2A0) << url;
    }
    EXPECT_EQ(ParseDescriptionUrl("File:///opt/GenTLDevice.xml").path, "///opt/GenTLDevice.xml");
}

TEST(DescriptionUrl, FileUrlsGiveThePath) {
    const DescriptionLocation location = ParseDescriptionUrl("file:///opt/cameras/GenTLDevice.xml?SchemaVersion=1.0.0");
    EXPECT_FALSE(location.local);
    EXPECT_EQ(location.path, "///opt/cameras/GenTLDevice.xml");
}

TEST(DescriptionUrl, MalformedLengthsFailAsNumberConversions) {
    EXPECT_THROW(ParseDescriptionUrl("local:GenTLSystem.xml;1000"), std::invalid_argument);
    EXPECT_THROW(ParseDescriptionUrl("local:GenTLSystem.xml;1000;zz"), std::invalid_argument);
    EXPECT_THROW(ParseDescriptionUrl("local:GenTLSystem.xml;1000;FFFFFFFFFF"), std::out_of_range);
}

TEST(DescriptionUrl, PortNamesFollowTheModuleInTheFileName) {
    EXPECT_EQ(PortNameFor("GenTLSystem.xml"), "TLPort");
    EXPECT_EQ(PortNameFor("Vendor_GenTLInterface_v2.xml"), "InterfacePort");
    EXPECT_EQ(PortNameFor("GenTLDevice.zip"), "DevicePort");
    EXPECT_EQ(PortNameFor("GenTLDataStream.xml"), "StreamPort");
    EXPECT_EQ(PortNameFor("Camera.xml"), "Port");
}

// The virtual producer's system and first interface, opened through the wrappers.
class ModuleNodeMaps : public ::testing::Test {
protected:
    void SetUp() override {
        VirtualProducerClearFaults();
        ASSERT_EQ(Producer().GCInitLib(), GenTL::GC_ERR_SUCCESS);
        ASSERT_EQ(system.Open(), GenTL::GC_ERR_SUCCESS);
        void* handle = nullptr;
        ASSERT_EQ(system.OpenInterface("VirtualGigE0", &handle), GenTL::GC_ERR_SUCCESS);
        iface = std::make_unique<TLInterface>(handle);
    }
    void TearDown() override {
        VirtualProducerClearFaults();
        EXPECT_EQ(Producer().GCCloseLib(), GenTL::GC_ERR_SUCCESS);
    }
    static void Destroy(GenApi::INodeMap* map) { dynamic_cast<GenApi::IDestroy*>(map)->Destroy(); }

    TLSystem system;
    std::unique_ptr<TLInterface> iface;
};

TEST_F(ModuleNodeMaps, SystemAndInterfaceMapsReadThroughTheirPorts) {
    Port systemPort(&system);
    GenApi::INodeMap* systemMap = InitNodeMap(&system, systemPort);
    ASSERT_NE(systemMap, nullptr);
    EXPECT_EQ(GenApi::CStringPtr(systemMap->GetNode("TLVendorName"))->GetValue(), "Vireo");
    Destroy(systemMap);

    Port interfacePort(iface.get());
    GenApi::INodeMap* interfaceMap = InitNodeMap(iface.get(), interfacePort);
    ASSERT_NE(interfaceMap, nullptr);
    EXPECT_EQ(GenApi::CIntegerPtr(interfaceMap->GetNode("GevInterfaceSubnetIPAddress"))->ToString(), "192.168.10.1");
    Destroy(interfaceMap);
}

TEST_F(ModuleNodeMaps, AZippedDescriptionLoadsLikeAPlainOne) {
    bool changed = false;
    ASSERT_EQ(iface->UpdateDeviceList(&changed, 100), GenTL::GC_ERR_SUCCESS);
    void* deviceHandle = nullptr;
    ASSERT_EQ(iface->OpenDevice("VC2448C-0001", GenTL::DEVICE_ACCESS_CONTROL, &deviceHandle), GenTL::GC_ERR_SUCCESS);
    TLDevice device(deviceHandle);
    void* remoteHandle = nullptr;
    ASSERT_EQ(device.GetPort(&remoteHandle), GenTL::GC_ERR_SUCCESS);
    TLBase remote(remoteHandle);
    Port port(&remote);
    GenApi::INodeMap* camera = InitNodeMap(&remote, port);  // its URL names a .zip
    ASSERT_NE(camera, nullptr);
    EXPECT_NE(camera->GetNode("Width"), nullptr);
    EXPECT_NE(camera->GetNode("ChunkCRC"), nullptr);
    Destroy(camera);
    EXPECT_EQ(device.Close(), GenTL::GC_ERR_SUCCESS);
}

// A module whose port URL is replaced, to reach the file and failure paths.
class RedirectedModule : public TLBase {
public:
    RedirectedModule(void* handle, std::string url) : TLBase(handle), m_url(std::move(url)) {}
    GenTL::GC_ERROR GetPortURL(char* url, size_t* size) override {
        if (m_url.size() + 1 > *size) return GenTL::GC_ERR_BUFFER_TOO_SMALL;
        std::copy(m_url.c_str(), m_url.c_str() + m_url.size() + 1, url);
        return GenTL::GC_ERR_SUCCESS;
    }

private:
    std::string m_url;
};

// A module of a producer without GCGetPortURL, publishing these URLs (its real one last).
class ListedUrlsModule : public TLBase {
public:
    ListedUrlsModule(void* handle, std::vector<std::string> urls) : TLBase(handle), m_urls(std::move(urls)) {}
    GenTL::GC_ERROR GetPortURL(char*, size_t*) override { return GenTL::GC_ERR_NOT_IMPLEMENTED; }
    GenTL::GC_ERROR GetNumPortURLs(uint32_t* count) override {
        *count = uint32_t(m_urls.size() + 1);
        return GenTL::GC_ERR_SUCCESS;
    }
    GenTL::GC_ERROR GetPortURLInfo(uint32_t index, int32_t command, int32_t* type, void* buffer, size_t* size) override {
        if (index == m_urls.size()) return TLBase::GetPortURLInfo(0, command, type, buffer, size);
        const std::string& url = m_urls.at(index);
        if (command != GenTL::URL_INFO_URL || url.size() + 1 > *size) return GenTL::GC_ERR_INVALID_PARAMETER;
        std::copy(url.c_str(), url.c_str() + url.size() + 1, static_cast<char*>(buffer));
        return GenTL::GC_ERR_SUCCESS;
    }

private:
    std::vector<std::string> m_urls;
};

TEST_F(ModuleNodeMaps, WithoutGCGetPortURLTheFirstPublishedUrlThatLoadsServes) {
    // A file that is not there, a local file that is no description: both passed over.
    ListedUrlsModule module(system.GetHandle(), {"file:///nonexistent/GenTLSystem.xml", "Local:GenTLSystem.xml;0;40"});
    Port port(&module);
    GenApi::INodeMap* map = InitNodeMap(&module, port);
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(GenApi::CStringPtr(map->GetNode("TLVendorName"))->GetValue(), "Vireo");
    Destroy(map);

    // None usable: the module has no node map, and that is no error.
    struct NoUrls : ListedUrlsModule {
        using ListedUrlsModule::ListedUrlsModule;
        GenTL::GC_ERROR GetNumPortURLs(uint32_t* count) override {
            *count = 0;
            return GenTL::GC_ERR_SUCCESS;
        }
    } none(system.GetHandle(), {});
    Port nonePort(&none);
    EXPECT_EQ(InitNodeMap(&none, nonePort), nullptr);
}

TEST_F(ModuleNodeMaps, AMissingFileGivesNoNodeMap) {
    RedirectedModule module(system.GetHandle(), "file:///nonexistent/GenTLSystem.xml");
    Port port(&module);
    EXPECT_EQ(InitNodeMap(&module, port), nullptr);
}

TEST_F(ModuleNodeMaps, ProducerFailuresAreMapped) {
    ASSERT_EQ(VirtualProducerFailCall("GCGetPortURL", 0, GenTL::GC_ERR_IO, "port gone"), GenTL::GC_ERR_SUCCESS);
    Port port(&system);
    try {
        InitNodeMap(&system, port);
        FAIL();
    } catch (const GenICam::RuntimeException& error) {
        EXPECT_STREQ(error.what(), "RuntimeException (GC_ERR_IO): Unable to get port URL (NodeMap, GetUrl; "
                                   "GenTL::GCGetPortURL); GCGetPortURL: port gone");
    }
    uint8_t bytes[8];
    try {
        port.Read(bytes, 0xFFFF0, 8);
        FAIL();
    } catch (const GenICam::InvalidArgumentException& error) {
        const std::string text = error.what();
        EXPECT_EQ(text.rfind("InvalidArgumentException (GC_ERR_INVALID_ADDRESS): Unable to read port: 1048560 (Port, "
                             "Read; GenTL::GCReadPort); GCReadPort: ",
                             0),
                  0u)
            << text;
    }
    const LastErrorSource previous =
        SetLastErrorSource([](GenTL::GC_ERROR*, char*, size_t*) { return GenTL::GC_ERROR(GenTL::GC_ERR_ERROR); });
    try {
        port.Write(bytes, 0xFFFF0, 8);
        FAIL();
    } catch (const GenICam::GenericException& error) {
        EXPECT_NE(std::string(error.what()).find("Unable to write port: 1048560 (Port, Write; GenTL::GCWritePort); "
                                                 "Couldn't get last error from GenTL!"),
                  std::string::npos)
            << error.what();
    }
    SetLastErrorSource(previous);
    EXPECT_EQ(port.GetAccessMode(), GenApi::RW);
}

} // namespace
} // namespace Vireo
