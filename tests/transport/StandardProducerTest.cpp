// Runs against the virtual producer built as a typical producer of another vendor: the standard
// GenTL functions only, no GCGetPortURL, "Local:" URLs, none of the producer-specific info
// commands, module node maps without the optional features, and an acquisition that stops after
// the count DSStartAcquisition gives. The whole path must work all the same.
#include <Vireo/ChunkData.h>
#include <Vireo/Device.h>
#include <Vireo/ImageFactory.h>
#include <Vireo/Library.h>
#include <Vireo/MultipartImage.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include "support/TextOf.h"
#include "support/WaitableCount.h"

#include <GenApi/GenApi.h>
#include <GenTL/VirtualProducerControl.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "transport/Producer.h"

namespace Vireo {
namespace {

struct SystemCloser {
    void operator()(ISystem* system) const { CloseSystem(system); }
};
using OpenedSystem = std::unique_ptr<ISystem, SystemCloser>;

TEST(ForeignProducer, TheExtensionsAnswerNotImplemented) {
    const ProducerFunctions& producer = Producer();
    EXPECT_FALSE(IsOwnProducer());
    EXPECT_EQ(producer.IFForceIp(nullptr, 0, 0, 0, 0), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.IFAddUnicastDiscoveryDevice(nullptr, 0), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.IFRemoveUnicastDiscoveryDevice(nullptr, 0), GenTL::GC_ERR_NOT_IMPLEMENTED);
    uint32_t count = 0;
    EXPECT_EQ(producer.IFGetUnicastDiscoveryDevices(nullptr, nullptr, &count), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.DevSendActionCommand(nullptr, 1, 2, 3, 4), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.DSWaitForNextLeader(nullptr, 10), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.DSResetWaitForNextLeader(nullptr), GenTL::GC_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(producer.DSSetupResendRetryParams(nullptr, 1, 2.0, "s", "f", 3, 4), GenTL::GC_ERR_NOT_IMPLEMENTED);
    // The standard functions are the producer's own: without initialisation it says so itself.
    GenTL::TL_HANDLE system = nullptr;
    EXPECT_EQ(producer.TLOpen(&system), GenTL::GC_ERR_NOT_INITIALIZED);
}

class ForeignSession : public ::testing::Test {
protected:
    void SetUp() override {
        VirtualProducerClearFaults();
        system.reset(OpenSystem());
        ASSERT_TRUE(system->UpdateDevices(200));
    }
    void TearDown() override {
        VirtualProducerClearFaults();
        system.reset();
        VirtualProducerUseCameras(nullptr, 0);
    }
    DeviceInfo Find(const char* serial) {
        for (const DeviceInfo& info : system->GetDevices())
            if (info.SerialNumber() == serial) return info;
        ADD_FAILURE() << "no camera " << serial;
        return DeviceInfo();
    }
    Device* Open(const char* serial) { return dynamic_cast<Device*>(system->CreateDevice(Find(serial))); }
    OpenedSystem system;
};

TEST_F(ForeignSession, DiscoveryListsWhatTheStandardCommandsTell) {
    ASSERT_NE(system->GetTLSystemNodeMap(), nullptr) << "found by GCGetPortURLInfo, in a \"Local:\" URL";
    std::set<std::string> serials;
    for (const DeviceInfo& info : system->GetDevices()) {
        serials.insert(info.SerialNumber().c_str());
        EXPECT_EQ(info.IpAddress(), 0u) << "the producer's own information is absent, not an error";
        EXPECT_FALSE(info.ModelName().empty());
    }
    EXPECT_EQ(serials, (std::set<std::string>{"VC2448C-0001", "VM1280M-0001", "VT640D-0001", "VM1280M-0002",
                                              "VL4096L-0001", "VX2048S-0001"}));
    EXPECT_EQ(system->GetInterfaces().size(), 2u);
    EXPECT_NE(system->GetTLInterfaceNodeMap(Find("VM1280M-0002")), nullptr);

    // Without the extension, the address is forced through the interface's standard features.
    system->ForceIp(0x0256495200A2ul, 0xC0A80A63ul, 0xFFFFFF00ul, 0xC0A80A01ul);
    Device* forced = Open("VM1280M-0001");
    EXPECT_EQ(GenApi::CIntegerPtr(forced->GetTLDeviceNodeMap()->GetNode("GevDeviceIPAddress"))->GetValue(), 0xC0A80A63);
    system->DestroyDevice(forced);

    // What needs the producer's extensions or its own information says that the producer
    // lacks them.
    EXPECT_EQ(TextOf([&] { system->GetUnicastDiscoveryDevices(); }),
              "LogicalErrorException: The GenTL producer does not support unicast discovery (System, "
              "GetUnicastDiscoveryDevices)");
    EXPECT_EQ(TextOf([&] { system->AddUnicastDiscoveryDevice("10.0.0.5"); }),
              "LogicalErrorException: The GenTL producer does not support unicast discovery (System, "
              "AddUnicastDiscoveryDevice)");
    EXPECT_EQ(TextOf([&] { system->UpdateDevices(system->GetInterfaces().front(), 100); }),
              "LogicalErrorException: The GenTL producer does not tell interface addresses: no interface can be "
              "chosen by them (System, UpdateDevices)");

    // Action commands go out through the interface's standard action features.
    Device* camera = Open("VM1280M-0001");
    GenApi::INodeMap* features = camera->GetNodeMap();
    SetNodeValue<GenICam::gcstring>(features, "TriggerMode", "On");
    SetNodeValue<GenICam::gcstring>(features, "TriggerSource", "Action1");
    SetNodeValue<int64_t>(features, "ActionDeviceKey", 0x1234);
    SetNodeValue<int64_t>(features, "ActionGroupKey", 1);
    SetNodeValue<int64_t>(features, "ActionGroupMask", 1);
    camera->StartStream(2);
    EXPECT_EQ(TextOf([&] { camera->GetImage(100); }).rfind("TimeoutException", 0), 0u) << "no frame without the action";
    camera->SendActionCommand(0x1234, 1, 1);
    camera->RequeueBuffer(camera->GetImage(2000));
    camera->StopStream();
    system->DestroyDevice(camera);
}

// A producer whose modules publish no description at all: nothing fails until something needs
// a node map, and what needs one says what is missing.
TEST(ForeignProducerWithoutDescriptions, OpensListsAndRefusesWhatNeedsNodeMaps) {
    ProducerFunctions functions = Producer();
    functions.GCGetNumPortURLs = [](GenTL::PORT_HANDLE, uint32_t* count) -> GenTL::GC_ERROR {
        *count = 0;
        return GenTL::GC_ERR_SUCCESS;
    };
    const ProducerFunctions previous = ReplaceProducerForTesting(functions);
    {
        OpenedSystem system(OpenSystem());
        EXPECT_EQ(system->GetTLSystemNodeMap(), nullptr);
        system->UpdateDevices(200);
        EXPECT_EQ(system->GetDevices().size(), 6u);
        EXPECT_EQ(TextOf([&] { system->ForceIp(0x0256495200A2ul, 0xC0A80A63ul, 0xFFFFFF00ul, 0); }),
                  "LogicalErrorException: The GenTL producer does not support forcing an IP address (System, "
                  "ForceIp)");
        DeviceInfo colour;
        for (const DeviceInfo& info : system->GetDevices())
            if (info.SerialNumber() == "VC2448C-0001") colour = info;
        IDevice* camera = system->CreateDevice(colour);
        EXPECT_EQ(camera->GetTLInterfaceNodeMap(), nullptr);
        EXPECT_EQ(TextOf([&] { camera->SendActionCommand(1, 1, 1); }),
                  "LogicalErrorException: The GenTL producer does not support action commands (Device, "
                  "SendActionCommand)");
        system->DestroyDevice(camera);
    }
    ReplaceProducerForTesting(previous);
}

TEST_F(ForeignSession, ACameraIsOpenedControlledStreamedAndClosed) {
    Device* camera = Open("VM1280M-0001");
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(camera->GetTLDeviceNodeMap()->GetNode("DeviceAccessStatus"), nullptr);
    EXPECT_EQ(camera->GetTLStreamNodeMap(0)->GetNode("StreamAnnouncedBufferCount"), nullptr);
    GenApi::INodeMap* map = camera->GetNodeMap();
    SetNodeValue<int64_t>(map, "Width", 64);
    SetNodeValue<int64_t>(map, "Height", 48);
    SetNodeValue<bool>(map, "AcquisitionFrameRateEnable", false);
    EXPECT_EQ(GetNodeValue<int64_t>(map, "Width"), 64);
    EXPECT_NE(camera->GetTLInterfaceNodeMap(), nullptr);
    EXPECT_TRUE(camera->IsConnected()) << "from the standard access status";

    // More frames than buffers: the acquisition runs until it is stopped.
    camera->StartStream(4);
    EXPECT_EQ(GetNodeValue<int64_t>(map, "TLParamsLocked"), 1);
    uint64_t previous = 0;
    for (int frame = 0; frame < 1000; ++frame) {
        IImage* image = camera->GetImage(2000);
        ASSERT_EQ(image->GetWidth(), 64u);
        if (frame > 0) {
            ASSERT_GT(image->GetFrameId(), previous);
        }
        previous = image->GetFrameId();
        camera->RequeueBuffer(image);
    }
    camera->StopStream();
    EXPECT_EQ(GetNodeValue<int64_t>(map, "TLParamsLocked"), 0) << "camera stopped and unlocked without DeviceAccessStatus";
    EXPECT_FALSE(camera->IsStreaming());

    // Callbacks and chunks.
    struct Counter : IImageCallback {
        void OnImage(IImage* image) override {
            if (image->AsChunkData() != nullptr && image->VerifyCRC()) verified.Add();
        }
        WaitableCount verified;
    } counter;
    SetNodeValue<bool>(map, "ChunkModeActive", true);
    SetNodeValue<GenICam::gcstring>(map, "ChunkSelector", "CRC");
    SetNodeValue<bool>(map, "ChunkEnable", true);
    camera->RegisterImageCallback(&counter);
    camera->StartStream(4);
    EXPECT_TRUE(counter.verified.WaitFor(1000, std::chrono::seconds(20)));
    camera->StopStream();
    camera->DeregisterAllImageCallbacks();
    system->DestroyDevice(camera);

    // A device that never streamed is destroyed without a word.
    camera = Open("VM1280M-0001");
    EXPECT_EQ(TextOf([&] { system->DestroyDevice(camera); }), "");
}

TEST_F(ForeignSession, TheCamerasEventsReachItsEventNodes) {
    Device* camera = Open("VC2448C-0001");
    camera->InitializeEvents();
    SetNodeValue<GenICam::gcstring>(camera->GetNodeMap(), "EventSelector", "ExposureEnd");
    SetNodeValue<GenICam::gcstring>(camera->GetNodeMap(), "EventNotification", "On");
    camera->StartStream(2);
    camera->WaitOnEvent(2000);
    EXPECT_EQ(GetNodeValue<int64_t>(camera->GetNodeMap(), "EventExposureEnd"), 0x9001);
    camera->StopStream();
    camera->DeinitializeEvents();
    system->DestroyDevice(camera);
}

TEST_F(ForeignSession, TheProducerDeliversTheCountItIsGivenAndThenStops) {
    // What the SDK relies on when it asks such a producer to acquire until stopped.
    Device* camera = Open("VM1280M-0001");
    SetNodeValue<int64_t>(camera->GetNodeMap(), "Width", 64);
    SetNodeValue<int64_t>(camera->GetNodeMap(), "Height", 48);
    SetNodeValue<bool>(camera->GetNodeMap(), "AcquisitionFrameRateEnable", false);
    TLDataStream* stream = camera->GetStreamInfo(0)->GetTLDataStream();
    std::vector<void*> buffers(4);
    for (void*& buffer : buffers) {
        ASSERT_EQ(stream->AllocAndAnnounceBuffer(64 * 48, nullptr, &buffer), GenTL::GC_ERR_SUCCESS);
        ASSERT_EQ(stream->QueueBuffer(buffer), GenTL::GC_ERR_SUCCESS);
    }
    void* handle = nullptr;
    ASSERT_EQ(stream->RegisterEvent(GenTL::EVENT_NEW_BUFFER, &handle), GenTL::GC_ERR_SUCCESS);
    TLEvent event(handle);
    ASSERT_EQ(stream->StartAcquisition(GenTL::ACQ_START_FLAGS_DEFAULT, 3), GenTL::GC_ERR_SUCCESS);
    ExecuteNode(camera->GetNodeMap(), "AcquisitionStart");
    GenTL::S_EVENT_NEW_BUFFER data{};
    size_t size = sizeof data;
    for (int frame = 0; frame < 3; ++frame) {
        size = sizeof data;
        ASSERT_EQ(event.GetData(&data, &size, 2000), GenTL::GC_ERR_SUCCESS) << frame;
        ASSERT_EQ(stream->QueueBuffer(data.BufferHandle), GenTL::GC_ERR_SUCCESS);
    }
    size = sizeof data;
    EXPECT_EQ(event.GetData(&data, &size, 300), GenTL::GC_ERR_TIMEOUT) << "no fourth frame";
    ExecuteNode(camera->GetNodeMap(), "AcquisitionStop");
    EXPECT_EQ(stream->StopAcquisition(GenTL::ACQ_STOP_FLAGS_DEFAULT), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(stream->UnregisterEvent(GenTL::EVENT_NEW_BUFFER), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(stream->FlushQueue(GenTL::ACQ_QUEUE_ALL_DISCARD), GenTL::GC_ERR_SUCCESS);
    for (void* buffer : buffers) EXPECT_EQ(stream->RevokeBuffer(buffer, nullptr, nullptr), GenTL::GC_ERR_SUCCESS);
    system->DestroyDevice(camera);
}

TEST_F(ForeignSession, StandardPayloadTypesArriveAsTheirKindOfObject) {
    Device* camera = Open("VM1280M-0001");
    GenApi::INodeMap* map = camera->GetNodeMap();
    SetNodeValue<int64_t>(map, "Width", 64);
    SetNodeValue<int64_t>(map, "Height", 48);
    SetNodeValue<bool>(map, "ChunkModeActive", true);
    SetNodeValue<GenICam::gcstring>(map, "ChunkSelector", "FrameCounter");
    SetNodeValue<bool>(map, "ChunkEnable", true);
    // An image (type 1) that says it carries chunks: parsed, and its chunk features readable.
    camera->StartStream(4);
    IImage* image = camera->GetImage(2000);
    EXPECT_EQ(image->GetPayloadType(), 1u);
    ASSERT_NE(image->AsChunkData(), nullptr);
    EXPECT_EQ(uint64_t(GetNodeValue<int64_t>(map, "ChunkFrameCounter")), image->GetFrameId());
    camera->RequeueBuffer(image);
    camera->StopStream();
    // Chunks without an image (type 8): chunk data, not an image.
    SetNodeValue<bool>(map, "GevSCCFGExtendedChunkData", false);
    camera->StartStream(4);
    EXPECT_EQ(TextOf([&] { camera->GetImage(2000); }),
              "LogicalErrorException: Failed to cast Vireo::IBuffer* to Vireo::IImage*  (Device, GetImage)");
    IBuffer* buffer = camera->GetBuffer(2000);
    EXPECT_EQ(buffer->GetPayloadType(), 8u);
    EXPECT_NE(buffer->AsChunkData(), nullptr);
    camera->RequeueBuffer(buffer);
    camera->StopStream();
    system->DestroyDevice(camera);
}

TEST_F(ForeignSession, AMultiPartBufferIsTheImageOfItsFirstPartWithEveryPartReachable) {
    Device* lineScan = Open("VL4096L-0001");
    SetNodeValue<int64_t>(lineScan->GetNodeMap(), "Height", 16);
    SetNodeValue<bool>(lineScan->GetTLDeviceNodeMap(), "StreamMultipartEnable", true);
    SetNodeValue<int64_t>(lineScan->GetTLStreamNodeMap(0), "StreamMultipartNumParts", 4);
    lineScan->StartStream(2);
    IImage* image = lineScan->GetImage(5000);
    EXPECT_EQ(image->GetPayloadType(), 10u);
    EXPECT_EQ(image->GetWidth(), 4096u);
    EXPECT_EQ(image->GetHeight(), 16u) << "the first part";
    EXPECT_EQ(image->GetPixelFormat(), uint64_t(0x01080001));
    auto* parts = dynamic_cast<MultipartImage*>(image);
    ASSERT_NE(parts, nullptr);
    ASSERT_EQ(parts->GetNumParts(), 4u);
    for (size_t part = 0; part < 4; ++part) {
        EXPECT_EQ(parts->GetPartData(part), image->GetData() + part * 4096 * 16) << part;
        EXPECT_EQ(parts->GetPartHeight(part), 16u);
        EXPECT_EQ(parts->GetPartSize(part), 4096u * 16);
    }
    EXPECT_EQ(TextOf([&] { parts->GetPartWidth(4); }),
              "OutOfRangeException: Buffer part 4 of 4 (MultipartImage, GetPart)");
    // The factory works on it as on any image: the first part.
    IImage* copy = ImageFactory::Copy(image);
    EXPECT_EQ(copy->GetHeight(), 16u);
    EXPECT_EQ(std::memcmp(copy->GetData(), image->GetData(), 4096 * 16), 0);
    ImageFactory::Destroy(copy);
    lineScan->RequeueBuffer(image);
    lineScan->StopStream();
    system->DestroyDevice(lineScan);
}

TEST_F(ForeignSession, AStreamThatDoesNotOpenLeavesTheCameraUnderControl) {
    ASSERT_EQ(VirtualProducerFailCall("DevOpenDataStream", 0, GenTL::GC_ERR_ACCESS_DENIED, "stream in use"),
              GenTL::GC_ERR_SUCCESS);
    Device* camera = Open("VM1280M-0001");
    ASSERT_NE(camera, nullptr);
    SetNodeValue<int64_t>(camera->GetNodeMap(), "Width", 128);
    EXPECT_EQ(GetNodeValue<int64_t>(camera->GetNodeMap(), "Width"), 128);
    EXPECT_EQ(TextOf([&] { camera->StartStream(4); }),
              "AccessException (GC_ERR_ACCESS_DENIED): Unable to open datastream (Device, StartStream; "
              "GenTL::DevOpenDataStream); DevOpenDataStream: stream in use");
    EXPECT_FALSE(camera->IsStreaming());
    EXPECT_EQ(TextOf([&] { system->DestroyDevice(camera); }), "");
}

TEST_F(ForeignSession, ADisconnectIsSeenWithoutTheConnectionStatusCommand) {
    struct Watcher : IDisconnectCallback {
        void OnDeviceDisconnected(IDevice*) override { calls.Add(); }
        WaitableCount calls;
    } watcher;
    Device* camera = Open("VC2448C-0001");
    system->RegisterDeviceDisconnectCallback(camera, &watcher);
    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 0), GenTL::GC_ERR_SUCCESS);
    EXPECT_TRUE(watcher.calls.WaitFor(1));
    EXPECT_FALSE(camera->IsConnected());
    ASSERT_EQ(VirtualProducerSetConnected("VC2448C-0001", 1), GenTL::GC_ERR_SUCCESS);
    EXPECT_TRUE(watcher.calls.WaitFor(2));
    EXPECT_TRUE(camera->IsConnected());
    system->DestroyDevice(camera);
}

} // namespace
} // namespace Vireo
