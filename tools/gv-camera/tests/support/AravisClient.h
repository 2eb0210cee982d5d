// Thin RAII helpers over Aravis' C API, so tests can use Aravis as an independent GigE
// Vision host: references are dropped on scope exit and every GError becomes an AravisError
// that names the call and the feature.
#ifndef VIREO_GV_CAMERA_TEST_ARAVIS_CLIENT_H
#define VIREO_GV_CAMERA_TEST_ARAVIS_CLIENT_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <arv.h>

namespace GvCameraTest {

class AravisError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// g_object_unref on destruction; null stays null.
template <typename Object>
class GObjectPtr {
public:
    GObjectPtr() = default;
    explicit GObjectPtr(Object* object) : m_object(object) {}
    GObjectPtr(GObjectPtr&& other) noexcept : m_object(other.m_object) { other.m_object = nullptr; }
    GObjectPtr& operator=(GObjectPtr&& other) noexcept {
        if (this != &other) {
            Reset();
            m_object = other.m_object;
            other.m_object = nullptr;
        }
        return *this;
    }
    GObjectPtr(const GObjectPtr&) = delete;
    GObjectPtr& operator=(const GObjectPtr&) = delete;
    ~GObjectPtr() { Reset(); }

    Object* get() const { return m_object; }
    Object* release() {
        Object* object = m_object;
        m_object = nullptr;
        return object;
    }
    explicit operator bool() const { return m_object != nullptr; }
    void Reset() {
        if (m_object != nullptr) g_object_unref(m_object);
        m_object = nullptr;
    }

private:
    Object* m_object = nullptr;
};


struct AravisDeviceInfo {
    std::string id;
    std::string physicalId; // the MAC address for GigE Vision devices
    std::string address;
    std::string vendor;
    std::string model;
    std::string serialNumber;
    std::string protocol;
};

// Runs Aravis' discovery on every interface and lists what answered (all protocols).
std::vector<AravisDeviceInfo> AravisDiscoverDevices();

class AravisCamera {
public:
    // Opens by device id or address ("10.42.0.11"); Aravis takes control on open.
    explicit AravisCamera(const std::string& name);

    ArvCamera* get() const { return m_camera.get(); }
    ArvDevice* Device() const;

    std::int64_t GetInteger(const std::string& feature) const;
    void SetInteger(const std::string& feature, std::int64_t value);
    double GetFloat(const std::string& feature) const;
    void SetFloat(const std::string& feature, double value);
    bool GetBoolean(const std::string& feature) const;
    void SetBoolean(const std::string& feature, bool value);
    // Enumerations by entry name, and string features.
    std::string GetString(const std::string& feature) const;
    void SetString(const std::string& feature, const std::string& value);
    void Execute(const std::string& command);

    std::uint32_t ReadRegister(std::uint64_t address) const;
    void WriteRegister(std::uint64_t address, std::uint32_t value);
    std::vector<std::uint8_t> ReadMemory(std::uint64_t address, std::uint32_t size) const;

    unsigned PayloadSize() const;
    unsigned PacketSize() const;
    void SetPacketSize(unsigned packetSize);
    // Aravis receives streams on an AF_PACKET socket by default; this switches it to a
    // plain UDP socket for streams created afterwards.
    void UsePlainStreamSocket();

    void StartAcquisition();
    void StopAcquisition();

private:
    GObjectPtr<ArvCamera> m_camera;
};

struct GrabbedBuffer {
    ArvBufferStatus status = ARV_BUFFER_STATUS_UNKNOWN;
    std::uint64_t frameId = 0;
    ArvBufferPayloadType payloadType = ARV_BUFFER_PAYLOAD_TYPE_UNKNOWN;
    std::uint64_t timestampNs = 0;
    std::uint64_t systemTimestampNs = 0;
    int width = 0;
    int height = 0;
    ArvPixelFormat pixelFormat = 0;
    std::vector<std::uint8_t> data; // the buffer's received bytes, copied
};

struct AravisStreamStatistics {
    std::uint64_t completedBuffers = 0;
    std::uint64_t failures = 0;
    std::uint64_t underruns = 0;
    std::uint64_t resentPackets = 0;
    std::uint64_t missingPackets = 0;
    // Every counter the stream reports, by Aravis' name (n_resend_requests, n_error_packets,
    // n_duplicated_packets, n_timeouts, n_received_packets, ...).
    std::map<std::string, std::uint64_t> counters;
};

class AravisStream {
public:
    explicit AravisStream(AravisCamera& camera);
    ~AravisStream();
    AravisStream(const AravisStream&) = delete;
    AravisStream& operator=(const AravisStream&) = delete;

    ArvStream* get() const { return m_stream.get(); }

    // GigE Vision receiver settings (properties of ArvGvStream); times in microseconds.
    void SetPacketResend(bool enabled);

    // Queues count buffers of `size` bytes (0: the camera's payload size).
    void PushBuffers(int count, std::size_t size = 0);
    // Sees each buffer before it is queued again, for what GrabbedBuffer does not copy
    // (the parts of a multi-part buffer, chunk data through a chunk parser).
    using BufferInspector = std::function<void(ArvBuffer* buffer, GrabbedBuffer& grabbed)>;
    // Waits for up to `count` buffers, each within `timeout`; every buffer is copied out
    // and queued again. Stops at the first wait that times out.
    std::vector<GrabbedBuffer> Grab(int count, std::chrono::milliseconds timeout, const BufferInspector& inspect = {});
    AravisStreamStatistics Statistics() const;

private:
    AravisCamera& m_camera;
    GObjectPtr<ArvStream> m_stream;
};

} // namespace GvCameraTest

#endif
