// An opened camera: its node maps, its data streams and their acquisition.
#ifndef VIREO_DEVICE_H
#define VIREO_DEVICE_H

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <GenApi/ChunkAdapterGEV.h>
#include <GenApi/EventAdapterGEV.h>
#include <GenApi/NodeMapFactory.h>
#include <Vireo/IDevice.h>
#include <Vireo/Interface.h>
#include <Vireo/Port.h>
#include <Vireo/TLDataStream.h>
#include <Vireo/TLDevice.h>
#include <Vireo/TLEvent.h>

namespace Vireo {

// One data stream of a device: the producer's stream module, its port and its node map.
class VIREO_API StreamInfo {
public:
    // Takes ownership of an open TLDataStream and builds its node map.
    explicit StreamInfo(TLDataStream* dataStream);
    // A stream the producer would not open: it has neither module nor node map, and starting
    // it reports the producer's error.
    StreamInfo(GenTL::GC_ERROR openError, std::string openErrorText);
    StreamInfo(const StreamInfo&) = delete;
    StreamInfo& operator=(const StreamInfo&) = delete;
    // Destroys the node map, then closes and deletes the data stream.
    virtual ~StreamInfo();
    TLDataStream* GetTLDataStream() { return m_dataStream; }
    GenApi::INodeMap* GetNodeMap() { return m_nodeMap; }
    // The open data stream; for one that did not open, raises the producer's error then.
    TLDataStream* RequireDataStream(const char* function);

private:
    TLDataStream* m_dataStream;
    GenTL::GC_ERROR m_openError = GenTL::GC_ERR_SUCCESS;
    std::string m_openErrorText;
    Port m_port;
    GenApi::INodeMap* m_nodeMap = nullptr;
};

// Stream numbers have fixed roles.
enum StreamRole : int {
    kImageStream = 0,
    kTcpStream = 1,
    kRdmaStream = 2,
    kEventSensorStream = 3,
    kMultipartStream = 4,
};

class VIREO_API Device : public IDevice {
public:
    // Takes ownership of an open TLDevice; iface is where it was found (not owned). Builds the
    // node maps, opens every data stream and applies the automatic settings.
    Device(TLDevice* tlDevice, Interface* iface);
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    bool IsConnected() override;
    void StartStream(size_t numBuffers = kAutomaticBufferCount) override;
    void StopStream() override;
    IImage* GetImage(uint64_t timeout = 2000) override;
    ICompressedImage* GetCompressedImage(uint64_t timeout = 2000) override;
    IBuffer* GetBuffer(uint64_t timeout = 2000) override;
    void RequeueBuffer(IBuffer* buffer) override;
    void WaitForNextLeader(uint64_t timeout) override;
    void ResetWaitForNextLeader() override;
    void InitializeEvents() override;
    void DeinitializeEvents() override;
    void WaitOnEvent(uint64_t timeout) override;
    GenApi::INodeMap* GetNodeMap() override { return m_nodeMap; }
    GenApi::INodeMap* GetTLDeviceNodeMap() override { return m_tlNodeMap; }
    GenApi::INodeMap* GetTLStreamNodeMap() override;
    GenApi::INodeMap* GetTLInterfaceNodeMap() override { return m_interface->GetNodeMap(); }
    void SendActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                           uint64_t actionTime = 0) override;
    void RegisterImageCallback(IImageCallback* callback) override;
    void DeregisterImageCallback(IImageCallback* callback) override;
    void DeregisterAllImageCallbacks() override;
    EvsTriggerEvent GetNextEvsTriggerEvent(uint64_t timeout) override;
    void DownloadXml() override;
    ~Device() override;

    // The node map of data stream `stream` (no range check).
    virtual GenApi::INodeMap* GetTLStreamNodeMap(int stream);
    virtual void StartStream(int stream, size_t numBuffers);
    virtual void StopStream(int stream);
    virtual ICompressedImage* GetCompressedImage(int stream, uint64_t timeout);
    virtual IImage* GetImage(int stream, uint64_t timeout);
    virtual IBuffer* GetBuffer(int stream, uint64_t timeout);
    virtual void RequeueBuffer(int stream, IBuffer* buffer);
    virtual void WaitForNextLeader(int stream, uint64_t timeout);
    virtual void ResetWaitForNextLeader(int stream);
    virtual void ImageCallbackThread();
    // Forgets the interface (after it went away); GetTLInterfaceNodeMap must not be used then.
    virtual void ResetInterface() { m_interface = nullptr; }
    virtual Interface* GetInterface() { return m_interface; }
    // An event-based sensor's stream: StartStream(stream, numBuffers) with the sensor's trigger
    // events registered first, so that none is missed; StopStreamEVS unregisters them, then
    // StopStream(stream). A start that fails leaves neither buffers nor the registration.
    virtual void StartStreamEVS(int stream, size_t numBuffers);
    virtual void StopStreamEVS(int stream);
    // Whether any data stream has been started and not completely stopped (a stop that failed
    // half-way leaves it so until a retry completes it).
    bool IsStreaming();

    // Data stream `stream` (no range check).
    StreamInfo* GetStreamInfo(int stream) { return m_streams[size_t(stream)]; }
    // The chunk-only node map (null when the camera describes no chunks).
    GenApi::INodeMap* GetChunkNodeMap() { return m_chunkNodeMap; }
    int GetCurrentStream() const { return m_currentStream; }
    size_t GetNumStreams() const { return m_streams.size(); }
    bool IsLinescan() const { return m_isLinescan; }

private:
    void BuildNodeMaps();
    void LimitEventSensorRate();
    void ApplyScanType();
    void RegisterNodeCallbacks();
    void MultipartStreamCallback(GenApi::INode* node);
    void SelectStream();
    void RequireStreams(const char* function) const;
    // A fresh chunk node map for one delivered buffer (null when the camera has no chunks).
    GenApi::INodeMap* NewChunkNodeMap();
    struct StreamRun;
    std::shared_ptr<StreamRun> RunOf(int stream);
    // How a stop goes: a requested stop, the undoing of a failed start (the buffers go back as
    // on any failed start, whatever the flush answers), or the destruction of the device
    // (every step tried, nothing thrown).
    enum class StopMode { Stop, UndoStart, Abandon };
    // Undoes a start step by step, resuming where an earlier attempt failed; ends every wait on
    // the stream first. Leaves the stream idle when it returns.
    void FinishStop(int stream, StreamRun& run, const char* function, StopMode mode);
    // The same, for a failed start: nothing may hide the start's own error, and what cannot be
    // undone now is left for StopStream or DestroyDevice to finish.
    void UndoFailedStart(int stream, StreamRun& run) noexcept;
    // Ends every wait on the run and keeps new ones from beginning.
    void EndWaits(StreamRun& run);
    // Releases the chunk adapter's hold on a delivered buffer (any buffer when null).
    void DetachChunks(void* bufferHandle);
    // Has the chunk adapter parse a delivered buffer; a trailer that does not parse is an
    // error of the delivery.
    void AttachChunks(void* bufferHandle, const uint8_t* data, size_t size);
    // Starts the thread if callbacks are registered and it does not run. The caller holds
    // m_callbackThreadMutex and m_imageCallbackMutex.
    void StartImageCallbackThread();
    void StopImageCallbackThread();
    bool OnImageCallbackThread() const;
    // Best-effort stop of everything still running, for destruction: nothing thrown.
    void AbandonStreams() noexcept;
    void Release() noexcept;

    TLDevice* m_tlDevice;
    Interface* m_interface;
    std::unique_ptr<TLBase> m_remoteModule;  // the remote device's port handle
    Port m_remotePort;
    GenApi::INodeMap* m_nodeMap = nullptr;
    Port m_tlPort;
    GenApi::INodeMap* m_tlNodeMap = nullptr;
    std::vector<StreamInfo*> m_streams;
    // One slot per data stream, null while the stream is idle. The run mutex guards the slots
    // and the waiting threads' part of every run; it is never held across a wait.
    std::mutex m_runMutex;
    std::condition_variable m_runWaitersLeft;
    std::vector<std::shared_ptr<StreamRun>> m_runs;
    // The chunk adapter parses one delivered buffer at a time; it lets go of it when that
    // buffer is requeued or the stream stops, so chunk features never read revoked memory.
    std::mutex m_chunkMutex;
    void* m_chunkBuffer = nullptr;
    GenApi::CChunkAdapterGEV* m_chunkAdapter = nullptr;
    std::string m_description;  // the camera's description file, unpacked
    GenApi::CNodeMapFactory m_chunkFactory;  // the chunk subtree of the description
    GenApi::INodeMap* m_chunkNodeMap = nullptr;
    std::recursive_mutex m_streamMutex;
    // Starts and joins of the callback thread, taken before m_imageCallbackMutex, never by the
    // callback thread itself.
    std::mutex m_callbackThreadMutex;
    std::mutex m_imageCallbackMutex;  // the list; held while callbacks run
    std::vector<IImageCallback*> m_imageCallbacks;
    std::thread m_imageCallbackThread;
    std::atomic<std::thread::id> m_imageCallbackThreadId{};
    std::atomic<bool> m_imageCallbackRunning{false};
    std::unique_ptr<TLEvent> m_remoteEvent;
    std::unique_ptr<GenApi::CEventAdapterGEV> m_eventAdapter;
    std::atomic<int> m_currentStream{0};  // read by the image-callback thread
    int64_t m_savedPacketSize = -1;
    bool m_isLinescan = false;
    // The event-based sensor's stream while it runs (-1 otherwise) and its trigger events (null
    // when the producer has none), shared with threads waiting in GetNextEvsTriggerEvent. The
    // mutex is never held across a producer call, so that a stop can end those waits.
    std::mutex m_evsMutex;
    int m_evsStream = -1;
    std::shared_ptr<TLEvent> m_evsTriggerEvent;
};

} // namespace Vireo

#endif
