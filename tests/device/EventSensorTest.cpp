// Streaming from the event-based sensor of the multi-stream camera: frames in the stream's
// output format, trigger events, a stop from another thread and starts that fail half way.
#include <Vireo/Device.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/PixelFormat.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include "support/TextOf.h"

#include <GenApi/GenApi.h>
#include <GenTL/VirtualProducerControl.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

namespace Vireo {
namespace {

constexpr size_t kWidth = 64, kHeight = 32;

class EventSensor : public ::testing::Test {
protected:
    void SetUp() override {
        VirtualProducerClearFaults();
        system = OpenSystem();
        system->UpdateDevices(100);
        for (const DeviceInfo& info : system->GetDevices())
            if (info.SerialNumber() == "VX2048S-0001") device = dynamic_cast<Device*>(system->CreateDevice(info));
        ASSERT_NE(device, nullptr);
        GenApi::INodeMap* map = device->GetNodeMap();
        SetNodeValue<int64_t>(map, "Width", int64_t(kWidth));
        SetNodeValue<int64_t>(map, "Height", int64_t(kHeight));
        SetNodeValue<double>(map, "AcquisitionFrameRate", 120.0);
    }
    void TearDown() override {
        if (device != nullptr) {
            EXPECT_NO_THROW(system->DestroyDevice(device));
        }
        CloseSystem(system);
        VirtualProducerClearFaults();
        VirtualProducerUseCameras(nullptr, 0);
    }
    GenApi::INodeMap* SensorStream() { return device->GetTLStreamNodeMap(kEventSensorStream); }
    int64_t Announced() { return GetNodeValue<int64_t>(SensorStream(), "StreamAnnouncedBufferCount"); }
    void UseOutput(const char* format, const char* depth) {
        SetNodeValue<GenICam::gcstring>(SensorStream(), "StreamEvsOutputFormat", format);
        SetNodeValue<GenICam::gcstring>(SensorStream(), "StreamEvsBitDepth", depth);
    }
    // The camera's TransportStreamProtocol (UDP) settles the stream choice before its
    // EventFormat is looked at, so StartStream() takes the image stream: the sensor's stream is
    // started by number, through the entry points StartStream() hands it to.
    void Start(size_t buffers) { device->StartStreamEVS(kEventSensorStream, buffers); }
    void Stop() { device->StopStreamEVS(kEventSensorStream); }
    IImage* NextFrame() { return dynamic_cast<IImage*>(device->GetBuffer(kEventSensorStream, 2000)); }
    void GiveBack(IImage* frame) { device->RequeueBuffer(kEventSensorStream, frame); }

    ISystem* system = nullptr;
    Device* device = nullptr;
};

TEST_F(EventSensor, FramesComeInTheOutputFormatAtItsBitDepth) {
    const struct {
        const char* format;
        const char* depth;
        PfncFormat pixelFormat;
        size_t bits, height;
    } outputs[] = {
        {"XYTPFrame", "Bits128", PfncFormat::PelgoXYTP128f, 128, 1},
        {"CDFrame", "Bits8", PfncFormat::Mono8, 8, kHeight},
        {"CDFrame", "Bits24", PfncFormat::RGB8, 24, kHeight},
        {"RawFrameEncoded", "Bits16", PfncFormat::Mono16, 16, 1},
    };
    for (const auto& output : outputs) {
        SCOPED_TRACE(std::string(output.format) + "/" + output.depth);
        UseOutput(output.format, output.depth);
        Start(2);
        for (int frame = 0; frame < 3; ++frame) {
            IImage* image = NextFrame();
            ASSERT_NE(image, nullptr);
            EXPECT_EQ(image->GetPixelFormat(), uint64_t(output.pixelFormat));
            EXPECT_EQ(image->GetBitsPerPixel(), output.bits) << "the delivered pixel is the chosen depth";
            EXPECT_EQ(image->GetHeight(), output.height);
            EXPECT_EQ(image->GetSizeFilled(), image->GetWidth() * image->GetHeight() * output.bits / 8);
            GiveBack(image);
        }
        Stop();
        EXPECT_EQ(Announced(), 0);
    }
}

TEST_F(EventSensor, StartChecksComeBeforeAnyBufferIsAnnounced) {
    EXPECT_EQ(TextOf([&] { device->GetNextEvsTriggerEvent(10); }),
              "LogicalErrorException: Unable to get trigger event, event-based sensor stream not started (Device, "
              "GetNextEvsTriggerEvent)");
    EXPECT_EQ(TextOf([&] { Start(0); }),
              "InvalidArgumentException: Number of acquisition buffers must be 1 or greater (Device, StartStream)");
    UseOutput("CDFrame", "Bits128");
    EXPECT_EQ(TextOf([&] { Start(4); }),
              "InvalidArgumentException: StreamEvsOutputFormat CDFrame cannot be sent at StreamEvsBitDepth Bits128; it "
              "takes Bits8 or Bits24 (Device, StartStreamEVS)");
    EXPECT_EQ(Announced(), 0);
    UseOutput("CDFrame", "Bits8");
    Start(2);
    EXPECT_EQ(TextOf([&] { Start(3); }),
              "LogicalErrorException: Event-based sensor stream is already streaming (Device, StartStreamEVS)");
    EXPECT_EQ(Announced(), 2) << "the running stream keeps its pool";
    Stop();
}

TEST_F(EventSensor, TriggerEventsArriveInOrderWithTheFramesThatSawThem) {
    // Buffers not given back: two frame periods, each with one pulse on input 0.
    Start(2);
    EvsTriggerEvent edges[4];
    for (EvsTriggerEvent& edge : edges) edge = device->GetNextEvsTriggerEvent(2000);
    for (size_t index = 0; index < 4; ++index) {
        EXPECT_EQ(edges[index].channel, 0u);
        EXPECT_EQ(edges[index].polarity, index % 2 == 0 ? 1 : 0) << index;
        if (index > 0) {
            EXPECT_GT(edges[index].timestampUs, edges[index - 1].timestampUs) << index;
        }
    }
    // Each pulse rises with the first event of its frame (x, y, time, polarity as float32).
    for (size_t frame = 0; frame < 2; ++frame) {
        IImage* image = NextFrame();
        ASSERT_NE(image, nullptr);
        float first[4];
        std::memcpy(first, image->GetData(), sizeof first);
        EXPECT_EQ(first[2], float(edges[2 * frame].timestampUs)) << frame;
        GiveBack(image);
    }
    Stop();
}

TEST_F(EventSensor, AStopFromAnotherThreadEndsAWaitingTriggerWait) {
    SetNodeValue<GenICam::gcstring>(device->GetNodeMap(), "TriggerMode", "On");  // no frame period passes by itself
    Start(2);
    EXPECT_EQ(TextOf([&] { device->GetNextEvsTriggerEvent(10); }),
              "TimeoutException (GC_ERR_TIMEOUT): Unable to get trigger event (Device, GetNextEvsTriggerEvent; "
              "GenTL::EventGetData); EventGetData: no trigger edge arrived within 10 ms");
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        Stop();
    });
    EXPECT_EQ(TextOf([&] { device->GetNextEvsTriggerEvent(10000); }),
              "RuntimeException: Unable to get trigger event, stream aborted (Device, GetNextEvsTriggerEvent)");
    stopper.join();
    EXPECT_EQ(Announced(), 0);
}

TEST_F(EventSensor, EveryFailingStartStepLeavesNeitherBuffersNorTriggerEvents) {
    const struct {
        const char* function;
        uint64_t callsBefore;
        const char* message;
    } steps[] = {
        {"GCRegisterEvent", 0,
         "Unable to register trigger events (Device, StartStreamEVS; GenTL::GCRegisterEvent, EVENT_NEW_EVS_TRIGGER)"},
        {"GCRegisterEvent", 1,
         "Unable to register new buffer events (Device, StartStream; GenTL::GCRegisterEvent, EVENT_NEW_BUFFER)"},
        {"DSStartAcquisition", 0, "Unable to start acquisition (Device, StartStream; GenTL::DSStartAcquisition)"},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.message);
        ASSERT_EQ(VirtualProducerFailCall(step.function, step.callsBefore, GenTL::GC_ERR_IO, "injected"),
                  GenTL::GC_ERR_SUCCESS);
        EXPECT_EQ(TextOf([&] { Start(8); }),
                  std::string("RuntimeException (GC_ERR_IO): ") + step.message + "; " + step.function + ": injected");
        EXPECT_EQ(Announced(), 0);
        EXPECT_NE(TextOf([&] { device->GetNextEvsTriggerEvent(0); }).find("stream not started"), std::string::npos);
    }
    // A producer without trigger events still streams the sensor.
    ASSERT_EQ(VirtualProducerFailCall("GCRegisterEvent", 0, GenTL::GC_ERR_NOT_IMPLEMENTED, "no such event type"),
              GenTL::GC_ERR_SUCCESS);
    Start(2);
    IImage* image = NextFrame();
    ASSERT_NE(image, nullptr);
    GiveBack(image);
    EXPECT_EQ(TextOf([&] { device->GetNextEvsTriggerEvent(10); }),
              "LogicalErrorException: Unable to get trigger event, the producer offers no trigger events (Device, "
              "GetNextEvsTriggerEvent)");
    Stop();
    // Nothing was left registered: the trigger events register again. The stream is left
    // running: the device goes away with it (TearDown).
    Start(8);
    EXPECT_EQ(device->GetNextEvsTriggerEvent(2000).polarity, 1);
}

} // namespace
} // namespace Vireo
