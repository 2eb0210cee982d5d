// Long runs and hostile timing: nothing lost, nothing leaked, nothing raced (the sanitizer
// builds run these too).
#include <Vireo/Device.h>
#include <Vireo/DeviceCbManager.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include <GenTL/GenTLExtensions.h>
#include <GenTL/VirtualProducerControl.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace Vireo {
namespace {

// Counts the connection changes it is told of.
struct DisconnectCounter : IDisconnectCallback {
        void OnDeviceDisconnected(IDevice*) override {
            std::lock_guard lock(mutex);
            ++calls;
            changed.notify_all();
        }
        std::mutex mutex;
        std::condition_variable changed;
        int calls = 0;
    // Whether `count` calls arrived within ten seconds.
    bool WaitFor(int count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), [&] { return calls == count; });
    }
};

class Reliability : public ::testing::Test {
protected:
    void SetUp() override {
        system = OpenSystem();
        system->UpdateDevices(100);
        for (const DeviceInfo& info : system->GetDevices()) {
            if (info.SerialNumber() == "VM1280M-0001") device = dynamic_cast<Device*>(system->CreateDevice(info));
        }
        ASSERT_NE(device, nullptr);
        GenApi::INodeMap* map = device->GetNodeMap();
        SetNodeValue<int64_t>(map, "Width", 64);
        SetNodeValue<int64_t>(map, "Height", 16);
        SetNodeValue<bool>(map, "AcquisitionFrameRateEnable", false);  // as fast as buffers come back
    }
    void TearDown() override {
        if (device != nullptr) {
            EXPECT_NO_THROW(system->DestroyDevice(device));
        }
        CloseSystem(system);
        VirtualProducerUseCameras(nullptr, 0);
    }
public:
    // Announced, queued, being filled and awaiting delivery, at one instant.
    struct Census {
        uint64_t announced, queued, filling, awaiting;
    };
    Census TakeCensus() {
        Census census{};
        int32_t type = 0;
        size_t size = sizeof census;
        EXPECT_EQ(device->GetStreamInfo(0)->GetTLDataStream()->GetInfo(GenTL::STREAM_INFO_BUFFER_CENSUS, &type, &census, &size),
                  GenTL::GC_ERR_SUCCESS);
        return census;
    }

protected:
    ISystem* system = nullptr;
    Device* device = nullptr;
};

TEST_F(Reliability, AHundredThousandFramesThroughCallbacksWhileFeaturesAreRead) {
    constexpr uint64_t kFrames = 100'000;
    struct Accountant : IImageCallback {
        explicit Accountant(Reliability& test) : test(test) {}
        void OnImage(IImage* image) override {
            // This thread holds exactly the one buffer it was given.
            const Census census = test.TakeCensus();
            if (census.announced != census.queued + census.filling + census.awaiting + 1) ++mismatches;
            if (image == nullptr || image->GetWidth() != 64) ++mismatches;
            std::lock_guard lock(mutex);
            ++frames;
            if (frames >= kFrames) done.notify_all();
        }
        Reliability& test;
        std::mutex mutex;
        std::condition_variable done;
        uint64_t frames = 0;
        std::atomic<uint64_t> mismatches{0};
    } accountant(*this);

    device->RegisterImageCallback(&accountant);
    device->StartStream(8);
    std::atomic<bool> reading{true};
    std::atomic<uint64_t> reads{0};
    std::thread reader([&] {
        while (reading) {
            GetNodeValue<int64_t>(device->GetNodeMap(), "Width");
            GetNodeValue<double>(device->GetNodeMap(), "ExposureTime");
            GetNodeValue<GenICam::gcstring>(device->GetNodeMap(), "PixelFormat");
            ++reads;
        }
    });
    {
        std::unique_lock lock(accountant.mutex);
        EXPECT_TRUE(accountant.done.wait_for(lock, std::chrono::minutes(10), [&] { return accountant.frames >= kFrames; }));
    }
    reading = false;
    reader.join();
    device->StopStream();
    device->DeregisterAllImageCallbacks();
    EXPECT_EQ(accountant.mismatches, 0u);
    EXPECT_GT(reads, 0u);
    EXPECT_EQ(TakeCensus().announced, 0u);
}

TEST_F(Reliability, AThousandStartsAndStops) {
    for (int cycle = 0; cycle < 1000; ++cycle) {
        device->StartStream(2);
        device->RequeueBuffer(device->GetImage(5000));
        device->StopStream();
    }
    EXPECT_EQ(TakeCensus().announced, 0u);
}

TEST_F(Reliability, ACameraThatGoesAwayMidStreamIsReportedAndStillClosed) {
    DisconnectCounter watcher;
    system->RegisterDeviceDisconnectCallback(device, &watcher);
    device->StartStream(4);
    device->RequeueBuffer(device->GetImage(5000));
    ASSERT_EQ(VirtualProducerSetConnected("VM1280M-0001", 0), GenTL::GC_ERR_SUCCESS);
    EXPECT_TRUE(watcher.WaitFor(1));
    EXPECT_FALSE(device->IsConnected());
    system->DeregisterAllDeviceDisconnectCallbacks();
    system->DestroyDevice(device);
    device = nullptr;
}

TEST_F(Reliability, AReconnectTakenAsKnownIsNotReportedAgain) {
    DisconnectCounter first, second;
    DeviceCbManager manager;
    manager.RegisterCallback(device, &first);
    ASSERT_EQ(VirtualProducerSetConnected("VM1280M-0001", 0), GenTL::GC_ERR_SUCCESS);
    ASSERT_TRUE(first.WaitFor(1));
    manager.DeregisterAllCallbacks();  // the watcher stops; the registration stays
    ASSERT_EQ(VirtualProducerSetConnected("VM1280M-0001", 1), GenTL::GC_ERR_SUCCESS);
    manager.ConnectDevice(device);
    manager.RegisterCallback(device, &second);  // starts the watcher again
    ASSERT_EQ(VirtualProducerSetConnected("VM1280M-0001", 0), GenTL::GC_ERR_SUCCESS);
    ASSERT_TRUE(second.WaitFor(1));
    std::lock_guard lock(first.mutex);
    EXPECT_EQ(first.calls, 2) << "the reconnect was taken as known: only the second loss is news";
}

} // namespace
} // namespace Vireo
