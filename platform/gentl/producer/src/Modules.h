// The GenTL modules of the virtual producer: system, interfaces, devices (with the remote
// device port), data streams with their buffers, and events.
#ifndef VIRTUALGENTL_MODULES_H
#define VIRTUALGENTL_MODULES_H

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <GenTL/GenTLExtensions.h>

#include "camera/EventSensor.h"
#include "camera/VirtualCamera.h"
#include "camera/description/RegisterSpace.h"
#include "Info.h"
#include "Object.h"

namespace VirtualGenTL {

class Interface;
class Device;
class DataStream;

// A module with a register port backed by a description built from features.
// Triggers, on one interface's network (all networks when negative), every camera whose action
// keys and mask match and whose trigger listens to actions.
void BroadcastActionCommand(int64_t interfaceIndex, uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask);

class Module : public Object {
public:
    Module(Kind kind, std::unique_ptr<RegisterSpace> port, std::string fileName, std::string module,
               std::string id)
        : Object(kind), m_port(std::move(port)), m_fileName(std::move(fileName)), m_module(std::move(module)),
          m_id(std::move(id)) {}
    RegisterSpace* Port() override { return m_port.get(); }
    std::string PortModule() const override { return m_module; }
    std::string PortId() const override { return m_id; }
    std::string DescriptionFileName() const override { return m_fileName; }
    const std::string& Id() const { return m_id; }

protected:
    std::unique_ptr<RegisterSpace> m_port;
    std::string m_fileName;
    std::string m_module;
    std::string m_id;
};

class System : public Module {
public:
    static constexpr Kind kKind = Kind::System;
    System();
    static void Info(GenTL::TL_INFO_CMD command, InfoAnswer& answer);
    std::vector<std::shared_ptr<Interface>> Interfaces() const;
    std::shared_ptr<Interface> FindInterface(const std::string& id) const;
    // Closes every module below the system.
    void CloseAll();

private:
    std::vector<std::shared_ptr<Interface>> m_interfaces;
};

// A host network adapter with the cameras that answer on it.
class Interface : public Module {
public:
    static constexpr Kind kKind = Kind::Interface;
    Interface(uint32_t index, uint64_t macAddress, uint32_t ipAddress, uint32_t subnetMask);

    void Info(GenTL::INTERFACE_INFO_CMD command, InfoAnswer& answer) const;
    bool UpdateDeviceList(uint64_t timeoutMs);  // returns whether the list changed
    std::vector<std::string> DeviceIds() const;
    std::shared_ptr<VirtualCamera> FindCamera(const std::string& id) const;  // among the discovered
    std::shared_ptr<Device> OpenDevice(const std::string& id, GenTL::DEVICE_ACCESS_FLAGS flags);
    void ForceIp(uint64_t mac, uint32_t ip, uint32_t subnet, uint32_t gateway);
    void AddUnicastDevice(uint32_t ip);
    void RemoveUnicastDevice(uint32_t ip);
    std::vector<uint32_t> UnicastDevices() const;
    uint32_t Index() const { return m_index; }
    uint32_t IpAddress() const { return m_ipAddress; }
    uint32_t SubnetMask() const { return m_subnetMask; }

    static void DeviceInfo(const VirtualCamera& camera, const std::string& id, GenTL::DEVICE_INFO_CMD command,
                           int32_t accessStatus, InfoAnswer& answer);

private:
    uint32_t m_index;
    uint64_t m_macAddress;
    uint32_t m_ipAddress;
    uint32_t m_subnetMask;
    mutable std::mutex m_mutex;  // guards the lists
    std::vector<std::shared_ptr<VirtualCamera>> m_discovered;
    std::vector<uint32_t> m_unicast;
};

// The remote device port (DevGetPort): the camera's own registers.
class RemoteDevice : public Object {
public:
    static constexpr Kind kKind = Kind::RemoteDevice;
    explicit RemoteDevice(std::shared_ptr<VirtualCamera> camera) : Object(kKind), m_camera(std::move(camera)) {}
    RegisterSpace* Port() override { return &m_camera->Registers(); }
    std::string PortModule() const override { return "Device"; }
    std::string PortId() const override { return m_camera->Identity().serialNumber; }
    std::string DescriptionFileName() const override { return m_camera->DescriptionFileName(); }
    VirtualCamera& Camera() { return *m_camera; }

private:
    std::shared_ptr<VirtualCamera> m_camera;
};

class Device : public Module {
public:
    static constexpr Kind kKind = Kind::Device;
    Device(std::shared_ptr<VirtualCamera> camera, std::string id, std::weak_ptr<Interface> parent);
    ~Device() override;

    void Info(GenTL::DEVICE_INFO_CMD command, InfoAnswer& answer) const;
    void* RemotePortHandle() const { return m_remote->Handle(); }
    uint32_t NumDataStreams() const { return uint32_t(m_streamIds.size()); }
    const std::string& DataStreamId(uint32_t index) const;
    std::shared_ptr<DataStream> OpenDataStream(const std::string& id);
    void* ParentHandle() const;
    VirtualCamera& Camera() { return *m_camera; }
    std::shared_ptr<VirtualCamera> CameraPointer() { return m_camera; }
    void Close();
    void SendActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask);

private:
    std::shared_ptr<VirtualCamera> m_camera;
    std::weak_ptr<Interface> m_parent;
    std::shared_ptr<RemoteDevice> m_remote;
    std::vector<std::string> m_streamIds;
    std::mutex m_mutex;  // guards m_streams
    std::map<std::string, std::weak_ptr<DataStream>> m_streams;
};

struct BufferEntry : Object {
    static constexpr Kind kKind = Kind::Buffer;
    BufferEntry() : Object(kKind) {}
    uint8_t* memory = nullptr;
    size_t size = 0;
    void* userPointer = nullptr;
    std::unique_ptr<uint8_t[]> owned;  // for DSAllocAndAnnounceBuffer
    bool queued = false;               // in the input pool
    bool awaitingDelivery = false;     // in the output queue
    bool acquiring = false;            // being filled
    bool newData = false;
    FrameInfo frame;
    std::vector<FrameInfo> parts;  // of a multipart buffer, each at its own offset
    std::vector<size_t> partOffsets;
    uint64_t leaderReceivedNs = 0;
};

class DataStream : public Module {
public:
    static constexpr Kind kKind = Kind::DataStream;
    DataStream(std::shared_ptr<VirtualCamera> camera, std::string id, void* parentDevice, RegisterSpace* devicePort);
    ~DataStream() override;

    void Info(GenTL::STREAM_INFO_CMD command, InfoAnswer& answer);
    void* ParentHandle() const { return m_parentDevice; }

    void* Announce(uint8_t* memory, size_t size, void* userPointer, std::unique_ptr<uint8_t[]> owned);
    void Revoke(void* bufferHandle, void** memory, void** userPointer);
    void Queue(void* bufferHandle);
    void Flush(GenTL::ACQ_QUEUE_TYPE operation);
    void* BufferId(uint32_t index);
    void CheckBuffer(void* bufferHandle);  // throws unless the handle is a buffer of this stream
    void ChunkData(void* bufferHandle, GenTL::S_SINGLE_CHUNK_DATA* chunks, size_t* count);
    uint32_t NumParts(void* bufferHandle);
    void PartInfo(void* bufferHandle, uint32_t part, GenTL::BUFFER_PART_INFO_CMD command, InfoAnswer& answer);
    void BufferInfo(void* bufferHandle, GenTL::BUFFER_INFO_CMD command, InfoAnswer& answer);
    void StartAcquisition(uint64_t count);
    // Returns whether the acquisition was running.
    bool StopAcquisition();
    void Close();

    // The new-buffer event's side: waits for a delivered buffer.
    GenTL::BUFFER_HANDLE WaitDelivered(uint64_t timeoutMs, void** userPointer);
    void KillWait();
    void FlushOutput();
    size_t OutputCount();

    void WaitForNextLeader(uint64_t timeoutMs);
    void ResetWaitForNextLeader();
    void SetupResend(uint64_t windowFrames, double frameRate);

    // The event-based sensor's stream: trigger edges (EVENT_NEW_EVS_TRIGGER) are queued while
    // someone listens, with the frame period that saw them, and taken oldest first.
    bool IsEventStream() const { return m_eventStream; }
    void ListenForTriggers(bool listen);
    // Throws GC_ERR_TIMEOUT, or GC_ERR_ABORT when a stop or a kill ends the wait.
    EvsTrigger WaitTrigger(uint64_t timeoutMs);
    void KillTriggerWait();
    void FlushTriggers();
    size_t TriggerCount();

private:
    std::shared_ptr<BufferEntry> FindBuffer(void* handle);  // caller holds m_mutex
    void Run();
    std::shared_ptr<BufferEntry> TakeBufferToFill();        // caller holds m_mutex
    struct Settings {
        int64_t handlingMode = 0;
        uint32_t parts = 0;  // 0: not multipart
    };
    const Settings& CurrentSettings();                      // caller holds m_mutex
    void GuardEvsOutput(const std::string& name, int64_t value);  // after a port write
    void Signal(std::condition_variable& condition);        // caller holds m_mutex
    template <class Ready>
    void SpinBeforeBlocking(std::unique_lock<std::mutex>& lock, Ready ready);

    std::shared_ptr<VirtualCamera> m_camera;
    void* m_parentDevice;
    RegisterSpace* m_devicePort;  // the TL device's, which outlives its streams
    bool m_eventStream;           // the event-based sensor's stream: delivers sensor events

    std::mutex m_mutex;  // guards everything below
    std::condition_variable m_delivered;  // output queue, kills, aborts
    std::condition_variable m_poolChanged;  // input pool
    std::vector<std::shared_ptr<BufferEntry>> m_buffers;  // announced, in order
    std::deque<std::shared_ptr<BufferEntry>> m_input;
    std::deque<std::shared_ptr<BufferEntry>> m_output;
    uint64_t m_delivered_count = 0, m_underruns = 0, m_started = 0;
    uint64_t m_framesToAcquire = GENTL_INFINITE;  // what is left of DSStartAcquisition's count
    std::atomic<bool> m_grabbing{false};
    uint64_t m_abortGeneration = 0;  // bumped by stop and kill: ends pending waits
    // A consumer's thread may begin its wait just after the kill meant for it: a kill that
    // finds no waiter is remembered and ends the next wait. Cleared by a new start.
    uint32_t m_bufferWaiters = 0;
    bool m_pendingKill = false;
    bool m_stopped = false;  // stopped by DSStopAcquisition: a wait with nothing to deliver ends
    uint64_t m_leaderGeneration = 0;
    uint64_t m_leaderSeen = 0;
    std::atomic<bool> m_stop{false};
    std::atomic<uint64_t> m_signals{0};  // counts every signal of the two conditions
    Settings m_settings;
    bool m_settingsValid = false;
    uint64_t m_streamVersion = 0, m_deviceVersion = 0;
    std::thread m_thread;
    bool m_closed = false;

    EventSensor m_sensor;  // used by the stream thread only, while acquiring
    EvsOutput m_evsOutput;  // the last valid output written
    std::condition_variable m_triggerArrived;  // trigger queue, kills, aborts
    std::deque<EvsTrigger> m_triggers;
    bool m_triggerListening = false;
    uint64_t m_triggerAbort = 0;  // bumped by stop and kill: ends pending trigger waits
};

class Event : public Object {
public:
    static constexpr Kind kKind = Kind::Event;
    Event(GenTL::EVENT_TYPE type, std::shared_ptr<DataStream> stream, std::shared_ptr<VirtualCamera> camera)
        : Object(kKind), m_type(type), m_stream(std::move(stream)), m_camera(std::move(camera)) {}
    GenTL::EVENT_TYPE Type() const { return m_type; }
    void GetData(void* buffer, size_t* size, uint64_t timeoutMs);
    void Info(GenTL::EVENT_INFO_CMD command, InfoAnswer& answer);
    void Flush();
    void Kill();
    void Unregister();  // ends pending waits and stops the source feeding it

private:
    GenTL::EVENT_TYPE m_type;
    std::shared_ptr<DataStream> m_stream;      // new-buffer and trigger events
    std::shared_ptr<VirtualCamera> m_camera;   // remote-device events
    std::atomic<uint64_t> m_fired{0};
};

} // namespace VirtualGenTL

#endif
