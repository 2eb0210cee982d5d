// One virtual GigE Vision camera: identity, remote register space (with its zipped
// description file), acquisition state and the frames it produces. A camera exists
// independently of whether an application has it open, as a camera on the network does.
#ifndef VIRTUALGENTL_VIRTUALCAMERA_H
#define VIRTUALGENTL_VIRTUALCAMERA_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "description/RegisterSpace.h"
#include "CameraModel.h"
#include "TestPattern.h"

namespace VirtualGenTL {

class BootstrapRegisters;
class EventSensor;
struct EvsTrigger;

struct CameraIdentity {
    std::string serialNumber;
    std::string userDefinedName;
    uint64_t macAddress = 0;
    uint32_t ipAddress = 0;
    uint32_t subnetMask = 0xFFFFFF00;
    uint32_t defaultGateway = 0;
    bool dhcp = false;
    bool persistentIp = true;
    bool lla = false;
    // Cameras calibrated together (a depth and a colour camera) form a device group.
    bool groupEnable = false;
    std::string groupSerial;
    std::string groupName;
    uint64_t groupMemberCount = 0;
};

struct ChunkPlacement {
    uint32_t id;
    size_t offset;
    size_t length;
};

// What the camera wrote into a buffer.
struct FrameInfo {
    uint64_t frameId = 0;
    uint64_t timestampNs = 0;
    uint64_t width = 0, height = 0, offsetX = 0, offsetY = 0;
    uint64_t pixelFormat = 0;
    uint64_t payloadType = 1;
    size_t sizeFilled = 0;
    size_t dataSize = 0;  // what the camera meant to send
    bool incomplete = false;
    bool dataLargerThanBuffer = false;
    bool containsChunks = false;
    std::vector<ChunkPlacement> chunks;  // appended chunks (not the image data's own)
};

class VirtualCamera {
public:
    VirtualCamera(CameraModel model, CameraIdentity identity);
    ~VirtualCamera();

    const CameraModel& Model() const { return m_model; }
    const CameraIdentity& Identity() const { return m_identity; }
    void SetAddress(uint32_t ip, uint32_t subnet, uint32_t gateway);  // ForceIp
    // The features' own registers start here, above the GigE Vision bootstrap registers.
    static constexpr uint64_t kRegisterBase = 0x10000;
    RegisterSpace& Registers() { return *m_registers; }
    BootstrapRegisters& Bootstrap() { return *m_bootstrap; }
    std::string DescriptionFileName() const;

    // Connection state, as the control interface sets it.
    bool Connected() const { return m_connected.load(); }
    void SetConnected(bool connected);

    // Exclusive use by one opened device module at a time.
    bool TryClaim();
    void Release();

    // Waits for the next frame to be due: continuous acquisition at the frame rate, or a
    // trigger. Returns false when *stop becomes true (checked under the camera's lock; call
    // WakeWaiters after setting it).
    bool WaitForFrame(const std::atomic<bool>* stop);
    void WakeWaiters();
    // Whether frames come as fast as buffers allow (frame-rate control off, no trigger).
    bool FreeRunning() const;
    // Fires a software or action trigger.
    void Trigger();
    // The next frame is cut short and delivered incomplete.
    void MarkNextFrameIncomplete() { m_nextIncomplete = true; }
    // The next frame's last chunk trailer claims an impossible length.
    void CorruptNextChunkTrailer() { m_corruptTrailer = true; }
    // The next frame's image bytes change after its CRC was computed.
    void CorruptNextFrameData() { m_corruptData = true; }

    // Remote-device events: while someone listens, the camera queues one GigE Vision event
    // packet per exposure end that EventNotification enables.
    void ListenForEvents(bool listen);
    // Waits for an event packet and copies it out under the GenTL size conventions (a packet
    // that does not fit stays queued). Throws ProducerError on time-out or abort.
    void TakeEvent(uint8_t* buffer, size_t* size, uint64_t timeoutMs);
    void KillEventWait();
    size_t QueuedEvents();

    // Writes the next frame into memory of the given size. The event-based sensor's stream
    // passes its sensor: the frame is then a period of sensor events instead of an image, and
    // the period's trigger edges are appended to *triggers.
    FrameInfo Produce(uint8_t* memory, size_t size, EventSensor* sensor = nullptr,
                      std::vector<EvsTrigger>* triggers = nullptr);
    // The size of the frame as configured now.
    size_t PayloadSize() const;

private:
    void InstallBehaviour();
    void UpdatePayloadSize();
    std::chrono::nanoseconds FramePeriod() const;

    CameraModel m_model;
    CameraIdentity m_identity;
    std::unique_ptr<RegisterSpace> m_registers;
    std::unique_ptr<BootstrapRegisters> m_bootstrap;
    std::atomic<bool> m_connected{true};
    std::atomic<bool> m_claimed{false};
    std::atomic<bool> m_nextIncomplete{false};
    std::atomic<bool> m_corruptTrailer{false};
    std::atomic<bool> m_corruptData{false};

    std::mutex m_frameMutex;  // guards the acquisition state below
    std::condition_variable m_frameCondition;
    bool m_acquiring = false;
    int64_t m_framesLeft = -1;  // -1: continuous
    uint64_t m_pendingTriggers = 0;
    std::chrono::steady_clock::time_point m_nextFrame;
    uint64_t m_frameCounter = 0;

    void EmitExposureEnd(uint64_t frameId, uint64_t timestampNs);

    std::mutex m_eventMutex;  // guards the event queue
    std::condition_variable m_eventCondition;
    std::deque<std::vector<uint8_t>> m_events;
    bool m_listening = false;
    uint64_t m_eventAbort = 0;
    uint16_t m_eventRequestId = 0;

    struct Layout;
    Layout CurrentLayout() const;  // from the registers, recomputed only after they change

    mutable std::mutex m_layoutMutex;  // guards the cached layout
    mutable std::unique_ptr<Layout> m_layout;
    mutable uint64_t m_layoutVersion = 0;

    std::mutex m_patternMutex;  // guards the cached pattern and the scratch frame
    std::unique_ptr<TestPattern> m_pattern;
    uint64_t m_patternWidth = 0, m_patternFormat = 0;
    std::vector<uint8_t> m_scratch;  // the raw frame of a compressed one
};

} // namespace VirtualGenTL

#endif
