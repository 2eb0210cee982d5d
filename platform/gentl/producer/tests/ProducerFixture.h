// Opens the virtual producer as an application would: library, system, first interface,
// the colour camera and its first data stream, with helpers to reach the camera's registers.
#ifndef VIRTUALGENTL_TESTS_PRODUCERFIXTURE_H
#define VIRTUALGENTL_TESTS_PRODUCERFIXTURE_H

#include <GenTL/GenTLExtensions.h>
#include <GenTL/VirtualProducerControl.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace GenTL;

// The calling thread's last error text.
std::string LastErrorText();

// A string answer of a GenTL call that follows the size conventions.
template <class Call>
std::string StringAnswer(Call call) {
    size_t size = 0;
    if (call(nullptr, &size) != GC_ERR_SUCCESS) return "<error: " + LastErrorText() + ">";
    std::string text(size, '\0');
    if (call(text.data(), &size) != GC_ERR_SUCCESS) return "<error: " + LastErrorText() + ">";
    text.resize(size > 0 ? size - 1 : 0);
    return text;
}

// Unpacks the single file of a zip archive.
std::string Unzip(const std::vector<uint8_t>& archive);

// The register address of a feature in a description file the producer built.
uint64_t RegisterAddress(const std::string& xml, const std::string& feature);

class ProducerTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Opens the camera with this serial number on the first interface.
    void OpenCamera(const char* serialNumber = "VC2448C-0001");
    void OpenStream();

    std::vector<uint8_t> ReadDescriptionFile(PORT_HANDLE port);
    const std::string& RemoteXml();
    // Big-endian register access on the remote device port.
    void WriteRemote(const std::string& feature, uint64_t value, size_t length = 8);
    uint64_t ReadRemote(const std::string& feature, size_t length = 8);
    void WriteRemoteFloat(const std::string& feature, double value);
    void Execute(const std::string& command) { WriteRemote(command, 1, 4); }
    // Small Mono8 frames at 200 per second: quick streams for tests.
    void UseSmallMonoFrames(uint64_t width = 64, uint64_t height = 32);

    // Announces and queues count buffers of the current payload size.
    std::vector<BUFFER_HANDLE> AnnounceAndQueue(size_t count);
    // Registers the new-buffer event, starts the stream and the camera.
    void StartAcquisition();
    void StopAcquisition();
    // Waits for the next delivered buffer; null on time-out.
    BUFFER_HANDLE NextBuffer(uint64_t timeoutMs = 2000);
    template <class T>
    T BufferInfo(BUFFER_HANDLE buffer, BUFFER_INFO_CMD command) {
        T value{};
        size_t size = sizeof value;
        INFO_DATATYPE type = 0;
        EXPECT_EQ(DSGetBufferInfo(stream, buffer, command, &type, &value, &size), GC_ERR_SUCCESS) << LastErrorText();
        return value;
    }

    TL_HANDLE system = nullptr;
    IF_HANDLE iface = nullptr;
    DEV_HANDLE device = nullptr;
    PORT_HANDLE remote = nullptr;
    DS_HANDLE stream = nullptr;
    EVENT_HANDLE newBuffer = nullptr;

private:
    std::string m_remoteXml;
};

#endif
