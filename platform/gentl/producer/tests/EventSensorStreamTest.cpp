// The event-based sensor's stream (Stream3 of the multi-stream camera): its output settings,
// the frame layouts the SDK does not look into, and the EVENT_NEW_EVS_TRIGGER conventions
// (ordering and the end of a wait by a stop are checked through the SDK, in device_tests).
#include "ProducerFixture.h"

#include <cstring>
#include <set>

namespace {

constexpr uint64_t kWidth = 64, kHeight = 32;

class EventSensorStream : public ProducerTest {
protected:
    void SetUp() override {
        ProducerTest::SetUp();
        ASSERT_EQ(TLOpenInterface(system, "VirtualGigE1", &second), GC_ERR_SUCCESS);
        bool8_t changed = 0;
        ASSERT_EQ(IFUpdateDeviceList(second, &changed, 100), GC_ERR_SUCCESS);
        ASSERT_EQ(IFOpenDevice(second, "VX2048S-0001", DEVICE_ACCESS_CONTROL, &device), GC_ERR_SUCCESS);
        ASSERT_EQ(DevGetPort(device, &remote), GC_ERR_SUCCESS);
        ASSERT_EQ(DevOpenDataStream(device, "Stream3", &stream), GC_ERR_SUCCESS) << LastErrorText();
        WriteRemote("Width", kWidth);
        WriteRemote("Height", kHeight);
        WriteRemoteFloat("AcquisitionFrameRate", 120.0);
    }
    // The stream module's registers are little-endian.
    GC_ERROR WriteStream(const std::string& feature, uint32_t value) {
        const std::vector<uint8_t> file = ReadDescriptionFile(stream);
        size_t size = sizeof value;
        return GCWritePort(stream, RegisterAddress(std::string(file.begin(), file.end()), feature), &value, &size);
    }
    size_t PayloadSize() {
        size_t value = 0, size = sizeof value;
        INFO_DATATYPE type = 0;
        EXPECT_EQ(DSGetInfo(stream, STREAM_INFO_PAYLOAD_SIZE, &type, &value, &size), GC_ERR_SUCCESS);
        return value;
    }
    // The bytes of the first frame of an acquisition in the current output.
    std::vector<uint8_t> FirstFrame(uint64_t* pixelFormat) {
        AnnounceAndQueue(1);
        StartAcquisition();
        BUFFER_HANDLE buffer = NextBuffer();
        EXPECT_NE(buffer, nullptr) << LastErrorText();
        if (buffer == nullptr) return {};
        *pixelFormat = BufferInfo<uint64_t>(buffer, BUFFER_INFO_PIXELFORMAT);
        const auto* base = BufferInfo<uint8_t*>(buffer, BUFFER_INFO_BASE);
        return std::vector<uint8_t>(base, base + BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED));
    }
    IF_HANDLE second = nullptr;
    EVENT_HANDLE triggers = nullptr;
};

TEST_F(EventSensorStream, TheOutputIsValidatedSizedAndFixedWhileAcquiring) {
    EXPECT_EQ(WriteStream("StreamEvsOutputFormat", 7), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(WriteStream("StreamEvsBitDepth", 12), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(PayloadSize(), kWidth * 16) << "a refused value is not kept: still XYTPFrame, an event per column";
    ASSERT_EQ(WriteStream("StreamEvsOutputFormat", 2), GC_ERR_SUCCESS);  // CDFrame
    ASSERT_EQ(WriteStream("StreamEvsBitDepth", 24), GC_ERR_SUCCESS);     // RGB8
    EXPECT_EQ(PayloadSize(), kWidth * kHeight * 3) << "the stream's own size, not the camera's PixelFormat";

    AnnounceAndQueue(2);
    ASSERT_EQ(WriteStream("StreamEvsBitDepth", 128), GC_ERR_SUCCESS);
    EXPECT_EQ(DSStartAcquisition(stream, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(LastErrorText(),
              "DSStartAcquisition: StreamEvsOutputFormat CDFrame takes StreamEvsBitDepth Bits8 or Bits24, not Bits128");
    ASSERT_EQ(WriteStream("StreamEvsBitDepth", 8), GC_ERR_SUCCESS);
    StartAcquisition();
    EXPECT_EQ(WriteStream("StreamEvsOutputFormat", 1), GC_ERR_ACCESS_DENIED);
    EXPECT_EQ(WriteStream("StreamEvsBitDepth", 24), GC_ERR_ACCESS_DENIED);
    StopAcquisition();
}

TEST_F(EventSensorStream, ContrastFramesShowEachColumnsEventOnAGreyBackground) {
    ASSERT_EQ(WriteStream("StreamEvsOutputFormat", 2), GC_ERR_SUCCESS);
    ASSERT_EQ(WriteStream("StreamEvsBitDepth", 8), GC_ERR_SUCCESS);
    uint64_t format = 0;
    const std::vector<uint8_t> pixels = FirstFrame(&format);
    EXPECT_EQ(format, 0x01080001u);  // Mono8
    ASSERT_EQ(pixels.size(), kWidth * kHeight);
    size_t on = 0;
    for (size_t x = 0; x < kWidth; ++x) {
        std::vector<uint8_t> events;
        for (size_t y = 0; y < kHeight; ++y)
            if (pixels[y * kWidth + x] != 128) events.push_back(pixels[y * kWidth + x]);
        ASSERT_EQ(events.size(), 1u) << "column " << x;
        EXPECT_TRUE(events[0] == 255 || events[0] == 0);
        on += events[0] == 255;
    }
    EXPECT_EQ(on, kWidth / 2) << "as many ON as OFF events";
}

TEST_F(EventSensorStream, RawFramesDecodeToTheSweepAndTheTriggerPulse) {
    ASSERT_EQ(WriteStream("StreamEvsOutputFormat", 0), GC_ERR_SUCCESS);
    ASSERT_EQ(WriteStream("StreamEvsBitDepth", 16), GC_ERR_SUCCESS);
    uint64_t format = 0;
    const std::vector<uint8_t> bytes = FirstFrame(&format);
    EXPECT_EQ(format, 0x01100007u);  // Mono16
    std::vector<uint16_t> words(bytes.size() / 2);
    std::memcpy(words.data(), bytes.data(), words.size() * 2);
    ASSERT_FALSE(words.empty());
    EXPECT_EQ(words[0] >> 12, 0x8) << "a frame decodes on its own: it starts with the high part of the time";

    uint64_t high = 0, low = 0, row = 0, previous = 0, on = 0;
    std::set<uint64_t> columns;
    std::vector<S_EVENT_NEW_EVS_TRIGGER> edges;
    for (uint16_t word : words) {
        const uint16_t payload = word & 0xFFF;
        switch (word >> 12) {
        case 0x8: high = payload; break;
        case 0x6: low = payload; break;
        case 0x0: row = payload & 0x7FF; break;
        case 0x2:
            EXPECT_LT(row, kHeight);
            EXPECT_GT(high << 12 | low, previous);
            previous = high << 12 | low;
            columns.insert(payload & 0x7FF);
            on += payload >> 11;
            break;
        case 0xA: edges.push_back({high << 12 | low, uint32_t(payload >> 8), int32_t(payload & 1)}); break;
        default: ADD_FAILURE() << "word " << std::hex << word;
        }
    }
    EXPECT_EQ(columns.size(), kWidth) << "an event per column";
    EXPECT_EQ(on, kWidth / 2);
    ASSERT_EQ(edges.size(), 2u);
    EXPECT_EQ(edges[0].Channel, 0u);
    EXPECT_EQ(edges[0].Polarity, 1);
    EXPECT_EQ(edges[1].Polarity, 0);
    EXPECT_GT(edges[1].TimestampUs, edges[0].TimestampUs);
    EXPECT_LT(edges[1].TimestampUs, previous) << "the pulse falls within the period";
}

TEST_F(EventSensorStream, TriggerEventsFollowTheEventConventions) {
    DS_HANDLE imageStream = nullptr;
    ASSERT_EQ(DevOpenDataStream(device, "Stream0", &imageStream), GC_ERR_SUCCESS);
    EVENT_HANDLE refused = nullptr;
    EXPECT_EQ(GCRegisterEvent(imageStream, EVENT_NEW_EVS_TRIGGER, &refused), GC_ERR_NOT_AVAILABLE);
    ASSERT_EQ(GCRegisterEvent(stream, EVENT_NEW_EVS_TRIGGER, &triggers), GC_ERR_SUCCESS) << LastErrorText();
    EXPECT_EQ(GCRegisterEvent(stream, EVENT_NEW_EVS_TRIGGER, &refused), GC_ERR_RESOURCE_IN_USE);
    WriteRemote("TriggerMode", 1, 4);  // no frame period passes by itself: no edge comes
    AnnounceAndQueue(2);
    StartAcquisition();
    S_EVENT_NEW_EVS_TRIGGER edge{};
    size_t size = sizeof edge - 1;
    EXPECT_EQ(EventGetData(triggers, &edge, &size, 10), GC_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, 16u);
    EXPECT_EQ(EventGetData(triggers, &edge, &size, 10), GC_ERR_TIMEOUT);
    EXPECT_EQ(LastErrorText(), "EventGetData: no trigger edge arrived within 10 ms");
    StopAcquisition();
    ASSERT_EQ(GCUnregisterEvent(stream, EVENT_NEW_EVS_TRIGGER), GC_ERR_SUCCESS);
    EXPECT_EQ(EventKill(triggers), GC_ERR_INVALID_HANDLE);
}

} // namespace
