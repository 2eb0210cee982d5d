// A stream's life under failures and other threads: every start that fails is undone, every
// stop that fails can be retried, a stop ends every wait on the stream, and nothing reads a
// buffer that the producer took back.
#include <Vireo/ChunkData.h>
#include <Vireo/Device.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include "support/TextOf.h"
#include "support/WaitableCount.h"

#include <GenApi/GenApi.h>
#include <GenTL/VirtualProducerControl.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <random>
#include <thread>

namespace Vireo {
namespace {

constexpr const char* kAborted = "RuntimeException: Unable to get buffer data, stream aborted (Device, GetBuffer)";

// The GenTL functions a start or a stop calls after its checks, and how many calls of each
// come before the one to fail. The remote port's writes are, in a start, TLParamsLocked and
// AcquisitionStart; in a stop, AcquisitionStop and TLParamsLocked.
struct Fault {
    const char* function;
    uint64_t callsBefore;
    const char* message = nullptr;  // what the failed start says, where the producer's call is its own
};
constexpr Fault kStartFaults[] = {
    {"DSAllocAndAnnounceBuffer", 0},
    {"DSAllocAndAnnounceBuffer", 2, "Unable to prepare internal buffer (Device, StartStream; GenTL::DSAllocAndAnnounceBuffer)"},
    {"DSQueueBuffer", 3, "Unable to queue internal buffer (Device, StartStream; GenTL::DSQueueBuffer)"},
    {"GCRegisterEvent", 0,
     "Unable to register new buffer events (Device, StartStream; GenTL::GCRegisterEvent, EVENT_NEW_BUFFER)"},
    {"GCWritePort", 0},
    {"DSStartAcquisition", 0, "Unable to start acquisition (Device, StartStream; GenTL::DSStartAcquisition)"},
    {"GCWritePort", 1},
};
constexpr Fault kStopFaults[] = {
    {"GCWritePort", 0},  {"DSStopAcquisition", 0}, {"GCUnregisterEvent", 0}, {"GCWritePort", 1},
    {"DSFlushQueue", 0}, {"DSGetBufferID", 1},     {"DSRevokeBuffer", 2},
};

class StreamLifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        VirtualProducerClearFaults();
        system = OpenSystem();
        system->UpdateDevices(100);
        device = Open("VM1280M-0001");
        ASSERT_NE(device, nullptr);
        map = device->GetNodeMap();
        SetNodeValue<int64_t>(map, "Width", 64);
        SetNodeValue<int64_t>(map, "Height", 48);
        SetNodeValue<bool>(map, "AcquisitionFrameRateEnable", false);  // as fast as buffers come back
    }
    void TearDown() override {
        VirtualProducerClearFaults();
        if (device != nullptr) {
            EXPECT_NO_THROW(system->DestroyDevice(device));
        }
        CloseSystem(system);
        VirtualProducerUseCameras(nullptr, 0);
    }
    Device* Open(const char* serial) {
        for (const DeviceInfo& info : system->GetDevices())
            if (info.SerialNumber() == serial) return dynamic_cast<Device*>(system->CreateDevice(info));
        return nullptr;
    }
    int64_t Announced() { return GetNodeValue<int64_t>(device->GetTLStreamNodeMap(0), "StreamAnnouncedBufferCount"); }
    int64_t Locked() { return GetNodeValue<int64_t>(map, "TLParamsLocked"); }
    // Idle and whole: nothing announced, the camera unlocked, and a start that delivers.
    void ExpectStartable(const std::string& context) {
        EXPECT_FALSE(device->IsStreaming()) << context;
        EXPECT_EQ(Announced(), 0) << context;
        EXPECT_EQ(Locked(), 0) << context;
        EXPECT_EQ(TextOf([&] { device->GetImage(10); }),
                  "InvalidArgumentException: Unable to get buffer data, event handle is NULL (Device, GetBuffer)")
            << context;
    }

    ISystem* system = nullptr;
    Device* device = nullptr;
    GenApi::INodeMap* map = nullptr;
};

TEST_F(StreamLifecycle, AFailureAtAnyStepOfAStartIsUndoneCompletely) {
    for (const Fault& fault : kStartFaults) {
        const std::string context = std::string(fault.function) + " after " + std::to_string(fault.callsBefore);
        ASSERT_EQ(VirtualProducerFailCall(fault.function, fault.callsBefore, GenTL::GC_ERR_IO, "injected"),
                  GenTL::GC_ERR_SUCCESS);
        const std::string text = TextOf([&] { device->StartStream(4); });
        EXPECT_NE(text.find("GC_ERR_IO"), std::string::npos) << context << ": " << text;
        if (fault.message != nullptr) {
            EXPECT_EQ(text, std::string("RuntimeException (GC_ERR_IO): ") + fault.message + "; " + fault.function +
                                ": injected");
        }
        ExpectStartable(context);
        device->StartStream(4);
        IImage* image = device->GetImage(2000);
        EXPECT_EQ(image->GetWidth(), 64u) << context;
        device->RequeueBuffer(image);
        device->StopStream();
    }
}

TEST_F(StreamLifecycle, AStopThatFailedCompletesWhenRetried) {
    for (const Fault& fault : kStopFaults) {
        const std::string context = std::string(fault.function) + " after " + std::to_string(fault.callsBefore);
        device->StartStream(4);
        device->RequeueBuffer(device->GetImage(2000));
        ASSERT_EQ(VirtualProducerFailCall(fault.function, fault.callsBefore, GenTL::GC_ERR_IO, "injected"),
                  GenTL::GC_ERR_SUCCESS);
        EXPECT_NE(TextOf([&] { device->StopStream(); }).find("GC_ERR_IO"), std::string::npos) << context;
        EXPECT_TRUE(device->IsStreaming()) << context << ": the stop is not complete";
        EXPECT_EQ(TextOf([&] { device->GetImage(10); }), kAborted) << context;
        EXPECT_EQ(TextOf([&] { device->StartStream(4); }),
                  "LogicalErrorException: Stream is already started (Device, StartStream)")
            << context;
        EXPECT_EQ(TextOf([&] { device->StopStream(); }), "") << context;
        ExpectStartable(context);
    }
    EXPECT_EQ(TextOf([&] { device->StopStream(); }),
              "LogicalErrorException: Failure stopping stream due to device not having been streaming (Device, "
              "StopStream)");
}

TEST_F(StreamLifecycle, DestroyingADeviceWhoseStopFailsLeavesTheCameraClean) {
    // A failure DestroyDevice passes on leaves the device whole: the retry destroys it.
    device->StartStream(4);
    ASSERT_EQ(VirtualProducerFailCall("DSFlushQueue", 0, GenTL::GC_ERR_INVALID_PARAMETER, "injected"),
              GenTL::GC_ERR_SUCCESS);
    EXPECT_NE(TextOf([&] { system->DestroyDevice(device); }).find("Unable to flush queue"), std::string::npos);
    EXPECT_EQ(Locked(), 0);
    EXPECT_EQ(TextOf([&] { system->DestroyDevice(device); }), "");

    // A failure it swallows (the camera is gone) still ends with everything undone.
    device = Open("VM1280M-0001");
    device->StartStream(4);
    ASSERT_EQ(VirtualProducerFailCall("GCUnregisterEvent", 0, GenTL::GC_ERR_IO, "injected"), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(TextOf([&] { system->DestroyDevice(device); }), "");
    device = Open("VM1280M-0001");
    map = device->GetNodeMap();
    EXPECT_EQ(Locked(), 0) << "the next user of the camera can change its format";
    EXPECT_NO_THROW(SetNodeValue<int64_t>(map, "Width", 128));
    EXPECT_EQ(Announced(), 0);
}

TEST_F(StreamLifecycle, ASecondStartLeavesTheRunningStreamAlone) {
    device->StartStream(4);
    EXPECT_EQ(TextOf([&] { device->StartStream(4); }),
              "LogicalErrorException: Stream is already started (Device, StartStream)");
    EXPECT_EQ(TextOf([&] { device->StartStream(0, 4); }),
              "LogicalErrorException: Stream is already started (Device, StartStream)");
    EXPECT_EQ(Announced(), 4);
    for (int frame = 0; frame < 10; ++frame) device->RequeueBuffer(device->GetImage(2000));
    device->StopStream();

    // On the TCP stream the refusal comes before the packet size is saved and changed.
    Device* multi = Open("VX2048S-0001");
    ASSERT_NE(multi, nullptr);
    SetNodeValue<GenICam::gcstring>(multi->GetTLDeviceNodeMap(), "DeviceStreamProtocol", "Legacy");
    SetNodeValue<GenICam::gcstring>(multi->GetNodeMap(), "TransportStreamProtocol", "TCP");
    SetNodeValue<int64_t>(multi->GetNodeMap(), "DeviceStreamChannelPacketSize", 1500);
    multi->StartStream(4);
    ASSERT_EQ(multi->GetCurrentStream(), kTcpStream);
    EXPECT_EQ(TextOf([&] { multi->StartStream(4); }),
              "LogicalErrorException: Stream is already started (Device, StartStream)");
    multi->RequeueBuffer(multi->GetBuffer(2000));
    multi->StopStream();
    EXPECT_EQ(GetNodeValue<int64_t>(multi->GetNodeMap(), "DeviceStreamChannelPacketSize"), 1500);
    system->DestroyDevice(multi);
}

TEST_F(StreamLifecycle, TheAutomaticCountIsTheDefaultAndWorksWithoutAThroughput) {
    device->StartStream();  // 125 MB/s for 40 ms over 3072-byte frames: the upper bound
    EXPECT_EQ(Announced(), 1000);
    device->StopStream();
    Device* lineScan = Open("VL4096L-0001");
    ASSERT_NE(lineScan, nullptr);
    ASSERT_EQ(lineScan->GetNodeMap()->GetNode("DeviceMaxThroughput"), nullptr);
    lineScan->StartStream();
    EXPECT_EQ(GetNodeValue<int64_t>(lineScan->GetTLStreamNodeMap(0), "StreamAnnouncedBufferCount"), 10);
    lineScan->StopStream();
    system->DestroyDevice(lineScan);
}

TEST_F(StreamLifecycle, ChunkFeaturesReadOnlyTheBufferTheApplicationHolds) {
    SetNodeValue<bool>(map, "ChunkModeActive", true);
    SetNodeValue<GenICam::gcstring>(map, "ChunkSelector", "FrameCounter");
    SetNodeValue<bool>(map, "ChunkEnable", true);
    device->StartStream(4);
    // The chunk features follow the last buffer taken, while the application holds it.
    IImage* first = device->GetImage(2000);
    EXPECT_EQ(uint64_t(GetNodeValue<int64_t>(map, "ChunkFrameCounter")), first->GetFrameId());
    IImage* image = device->GetImage(2000);
    const int64_t counter = GetNodeValue<int64_t>(map, "ChunkFrameCounter");
    EXPECT_EQ(uint64_t(counter), image->GetFrameId());
    device->RequeueBuffer(first);
    EXPECT_EQ(GetNodeValue<int64_t>(map, "ChunkFrameCounter"), counter) << "another buffer's requeue changes nothing";
    device->RequeueBuffer(image);
    EXPECT_THROW(GetNodeValue<int64_t>(map, "ChunkFrameCounter"), GenICam::GenericException)
        << "a requeued buffer is refilled: it is no longer read";
    image = device->GetImage(2000);
    EXPECT_EQ(uint64_t(GetNodeValue<int64_t>(map, "ChunkFrameCounter")), image->GetFrameId());
    device->StopStream();
    EXPECT_THROW(GetNodeValue<int64_t>(map, "ChunkFrameCounter"), GenICam::GenericException)
        << "the stop revoked the buffer";
    device->RequeueBuffer(image);  // held across the stop: only the object goes
}

// Counts the images it is given and remembers a null one.
struct Collector : IImageCallback {
    void OnImage(IImage* image) override {
        if (image == nullptr) {
            nulls.Add();
            return;
        }
        // Only this thread raises the count, so the value it reaches is this call's.
        images.Add();
        if (device != nullptr && images.Get() == deregisterAfter) device->DeregisterImageCallback(this);
    }
    WaitableCount images, nulls;
    Device* device = nullptr;  // deregisters itself from it after deregisterAfter images
    int deregisterAfter = -1;
};

TEST_F(StreamLifecycle, WithoutCallbacksTheCallbackThreadStopsAndGetImageHasEveryFrame) {
    Collector collector;
    device->RegisterImageCallback(&collector);
    device->StartStream(4);
    ASSERT_TRUE(collector.images.WaitFor(5));
    device->DeregisterImageCallback(&collector);
    auto consecutive = [&] {
        int gaps = 0;
        uint64_t previous = 0;
        for (int call = 0; call < 200; ++call) {
            IImage* image = device->GetImage(2000);
            if (call > 0 && image->GetFrameId() != previous + 1) ++gaps;
            previous = image->GetFrameId();
            device->RequeueBuffer(image);
        }
        return gaps;
    };
    EXPECT_EQ(consecutive(), 0);

    // A callback that deregisters itself from within ends the thread too.
    Collector self;
    self.device = device;
    self.deregisterAfter = 3;
    device->RegisterImageCallback(&self);
    ASSERT_TRUE(self.images.WaitFor(3));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the thread's last pass
    EXPECT_EQ(self.images.Get(), 3);
    EXPECT_EQ(consecutive(), 0);
    device->StopStream();
}

TEST_F(StreamLifecycle, CallbacksAreGivenImagesOnly) {
    SetNodeValue<bool>(map, "ChunkModeActive", true);
    SetNodeValue<GenICam::gcstring>(map, "ChunkSelector", "CRC");
    SetNodeValue<bool>(map, "ChunkEnable", true);
    SetNodeValue<bool>(map, "GevSCCFGExtendedChunkData", false);  // chunk-only payloads
    Collector collector;
    device->RegisterImageCallback(&collector);
    device->StartStream(4);
    const uint64_t before = GetNodeValue<int64_t>(device->GetTLStreamNodeMap(0), "StreamDeliveredFrameCount");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    device->StopStream();
    EXPECT_GT(uint64_t(GetNodeValue<int64_t>(device->GetTLStreamNodeMap(0), "StreamDeliveredFrameCount")), before + 10)
        << "chunk buffers went round";
    EXPECT_EQ(collector.nulls.Get(), 0);
    EXPECT_EQ(collector.images.Get(), 0);
    device->DeregisterAllImageCallbacks();
}

// The threads of this process, from the kernel's list.
size_t ThreadCount() {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) count += entry.exists() ? 1 : 0;
    return count;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kStressRounds = 150;  // the sanitizers slow every call tenfold
#else
constexpr int kStressRounds = 1000;
#endif

TEST_F(StreamLifecycle, StressWaitsRacingStopsAndAFaultInEveryCycle) {
    const size_t threadsBefore = ThreadCount();
    std::mt19937 random(20261123);
    std::uniform_int_distribution<int> spin(0, 200);
    const auto spinFor = [](int microseconds) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds);
        while (std::chrono::steady_clock::now() < until) {
        }
    };

    // Waits that begin anywhere around a stop, with frames flowing or not: each ends with a
    // frame, the stop's abort, or (begun after the stop) the idle stream's refusal. Without
    // frames the wait has no time-out: only the stop can end it.
    int aborted = 0;
    for (int round = 0; round < kStressRounds; ++round) {
        const bool triggered = round % 2 == 0;
        SetNodeValue<GenICam::gcstring>(map, "TriggerMode", triggered ? "On" : "Off");
        device->StartStream(4);
        const int waitDelay = spin(random), stopDelay = spin(random);
        std::string text;
        std::thread waiter([&] {
            spinFor(waitDelay);
            text = TextOf([&] {
                // Until the stop ends it; the bound only keeps a broken stop from hanging the test.
                for (int frame = 0; frame < 10'000'000; ++frame)
                    device->RequeueBuffer(device->GetImage(triggered ? GENTL_INFINITE : 5000));
            });
        });
        spinFor(stopDelay);
        device->StopStream();
        waiter.join();
        if (text == kAborted) ++aborted;
        else ASSERT_EQ(text, "InvalidArgumentException: Unable to get buffer data, event handle is NULL (Device, GetBuffer)")
            << "round " << round;
    }
    EXPECT_GT(aborted, 0);
    SetNodeValue<GenICam::gcstring>(map, "TriggerMode", "Off");

    // Start and stop cycles, each with one failure somewhere in the start or the stop.
    Collector collector;
    for (int cycle = 0; cycle < kStressRounds; ++cycle) {
        const bool inStart = cycle % 2 == 0;
        const Fault& fault = inStart ? kStartFaults[(cycle / 2) % std::size(kStartFaults)]
                                     : kStopFaults[(cycle / 2) % std::size(kStopFaults)];
        if (cycle % 3 == 0) device->RegisterImageCallback(&collector);
        if (inStart) {
            ASSERT_EQ(VirtualProducerFailCall(fault.function, fault.callsBefore, GenTL::GC_ERR_IO, "injected"),
                      GenTL::GC_ERR_SUCCESS);
            EXPECT_NE(TextOf([&] { device->StartStream(4); }), "") << fault.function;
        } else {
            device->StartStream(4);
            ASSERT_EQ(VirtualProducerFailCall(fault.function, fault.callsBefore, GenTL::GC_ERR_IO, "injected"),
                      GenTL::GC_ERR_SUCCESS);
            EXPECT_NE(TextOf([&] { device->StopStream(); }), "") << fault.function;
            device->StopStream();
        }
        if (cycle % 3 == 0) device->DeregisterImageCallback(&collector);
        ASSERT_FALSE(device->IsStreaming()) << "cycle " << cycle << ", " << fault.function;
        ASSERT_EQ(Announced(), 0) << "cycle " << cycle << ", " << fault.function;
    }
    VirtualProducerClearFaults();

    // Afterwards the camera streams as before, and no thread was left behind.
    ExpectStartable("after the stress");
    device->StartStream(4);
    uint64_t previous = 0;
    for (int frame = 0; frame < 100; ++frame) {
        IImage* image = device->GetImage(2000);
        if (frame > 0) {
            EXPECT_EQ(image->GetFrameId(), previous + 1);
        }
        previous = image->GetFrameId();
        device->RequeueBuffer(image);
    }
    device->StopStream();
    // The producer's own threads may take a moment to end after its stop returned.
    for (int poll = 0; poll < 200 && ThreadCount() > threadsBefore; ++poll)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(ThreadCount(), threadsBefore);
}

} // namespace
} // namespace Vireo
