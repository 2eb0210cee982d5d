// The description-file location in the URL registers, as devices really write it.
#include <GigE/DescriptionUrl.h>

#include <gtest/gtest.h>

using namespace GigE;

namespace {

TEST(DescriptionUrl, LocalFileRoundTrip) {
    const auto url = DescriptionUrl::parse("Local:acme_cam_v3.zip;8000;1B3C0");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme, DescriptionUrl::Scheme::Local);
    EXPECT_EQ(url->fileName, "acme_cam_v3.zip");
    EXPECT_EQ(url->address, 0x8000u);
    EXPECT_EQ(url->length, 0x1B3C0u);
    EXPECT_TRUE(url->zipped());
    EXPECT_EQ(url->format(), "Local:acme_cam_v3.zip;8000;1B3C0");
}

TEST(DescriptionUrl, ToleratesWhatDevicesWrite) {
    const char* variants[] = {
        "local:acme_cam_v3.zip;8000;1b3c0",
        "Local:///acme_cam_v3.zip;0x8000;0x1B3C0",
        "  LOCAL:acme_cam_v3.zip ; 8000 ; 1B3C0  ",
        "Local:acme_cam_v3.zip;8000;1B3C0#section",
    };
    for (const char* text : variants) {
        const auto url = DescriptionUrl::parse(text);
        ASSERT_TRUE(url) << text;
        EXPECT_EQ(url->format(), "Local:acme_cam_v3.zip;8000;1B3C0") << text;
    }
    const auto versioned = DescriptionUrl::parse("Local:cam.XML;A000;400?SchemaVersion=1.1.0");
    ASSERT_TRUE(versioned);
    EXPECT_EQ(versioned->schemaVersion, "1.1.0");
    EXPECT_FALSE(versioned->zipped());
    EXPECT_EQ(versioned->format(), "Local:cam.XML;A000;400?SchemaVersion=1.1.0");
}

TEST(DescriptionUrl, HostFilesAndWebAddresses) {
    const auto file = DescriptionUrl::parse("file:///opt/xml/acme_cam.xml");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->scheme, DescriptionUrl::Scheme::File);
    EXPECT_EQ(file->location, "/opt/xml/acme_cam.xml");
    EXPECT_EQ(file->format(), "file:///opt/xml/acme_cam.xml");
    const auto web = DescriptionUrl::parse("HTTP://example.com/acme_cam.xml?SchemaVersion=1.0.0");
    ASSERT_TRUE(web);
    EXPECT_EQ(web->scheme, DescriptionUrl::Scheme::Http);
    EXPECT_EQ(web->location, "HTTP://example.com/acme_cam.xml");
    EXPECT_EQ(web->schemaVersion, "1.0.0");
}

TEST(DescriptionUrl, UnusableTextGivesNothing) {
    const char* unusable[] = {"", "   ", "Local:", "Local:cam.zip;8000", "Local:cam.zip;8000;1000;4",
                              "Local:;8000;1000", "Local:cam.zip;80G0;1000", "Local:cam.zip;8000;0",
                              "Local:cam.zip;123456789;10", "ftp://host/cam.xml", "http://", "file:"};
    for (const char* text : unusable) EXPECT_FALSE(DescriptionUrl::parse(text)) << text;
}

TEST(DescriptionUrl, RegisterContentIsNulTerminatedAnd512Bytes) {
    DescriptionUrl url;
    url.fileName = "VM-1280M.zip";
    url.address = 0x10000;
    url.length = 0x2F1C;
    const std::vector<std::uint8_t> content = url.encodeRegister();
    ASSERT_EQ(content.size(), 512u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(content.data())), "Local:VM-1280M.zip;10000;2F1C");
    EXPECT_EQ(DescriptionUrl::parseRegister(content), url);
    // A register full of text without a terminator is read to its end, never beyond.
    const std::vector<std::uint8_t> unterminated(512, 'A');
    EXPECT_FALSE(DescriptionUrl::parseRegister(unterminated));
    url.fileName = std::string(500, 'n');
    EXPECT_THROW(url.encodeRegister(), std::length_error);
}

} // namespace
