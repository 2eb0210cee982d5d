#include "ProducerFixture.h"

namespace {

class CameraKinds : public ProducerTest {
protected:
    // Writes a little-endian register of a TL module (device or stream) by feature name.
    void WriteModule(PORT_HANDLE port, const std::string& feature, uint32_t value) {
        const std::vector<uint8_t> file = ReadDescriptionFile(port);
        size_t size = 4;
        ASSERT_EQ(GCWritePort(port, RegisterAddress(std::string(file.begin(), file.end()), feature), &value, &size),
                  GC_ERR_SUCCESS)
            << feature << ": " << LastErrorText();
    }
    void OpenOnSecondInterface(const char* serial) {
        ASSERT_EQ(TLOpenInterface(system, "VirtualGigE1", &second), GC_ERR_SUCCESS);
        bool8_t changed = 0;
        ASSERT_EQ(IFUpdateDeviceList(second, &changed, 100), GC_ERR_SUCCESS);
        ASSERT_EQ(IFOpenDevice(second, serial, DEVICE_ACCESS_CONTROL, &device), GC_ERR_SUCCESS) << LastErrorText();
        ASSERT_EQ(DevGetPort(device, &remote), GC_ERR_SUCCESS);
    }
    IF_HANDLE second = nullptr;
};

// The colour camera's bars as a consumer sees them: 8 bars 32 positions wide (white, yellow,
// cyan, green, magenta, red, blue, black) moving one step per row and per frame (a step is the
// pixels the format packs together: 2 for 12p).
bool BarOn(uint32_t x, uint32_t y, uint64_t frameId, uint32_t component, uint32_t pixelsPerStep = 1) {
    static const char* const kBars[8] = {"111", "110", "011", "010", "101", "100", "001", "000"};
    return kBars[((x + (y + frameId) % 256 * pixelsPerStep) / 32) % 8][component] == '1';
}

TEST_F(CameraKinds, TheColourCameraShowsColourBarsMosaicedForBayer) {
    OpenCamera("VC2448C-0001");
    WriteRemote("Width", 96);
    WriteRemote("Height", 8);
    WriteRemoteFloat("AcquisitionFrameRate", 200.0);
    const struct {
        uint32_t code;
        const char* name;
    } formats[] = {{0x01080009, "BayerRG8"}, {0x010C0059, "BayerRG12p"}, {0x02180014, "RGB8"}, {0x02200017, "BGRa8"}};
    for (const auto& format : formats) {
        WriteRemote("PixelFormat", format.code, 4);
        OpenStream();
        AnnounceAndQueue(2);
        StartAcquisition();
        BUFFER_HANDLE buffer = NextBuffer();
        ASSERT_NE(buffer, nullptr) << format.name;
        const uint64_t frameId = BufferInfo<uint64_t>(buffer, BUFFER_INFO_FRAMEID);
        const auto* bytes = BufferInfo<uint8_t*>(buffer, BUFFER_INFO_BASE);
        for (uint32_t y = 0; y < 8; ++y)
            for (uint32_t x = 0; x < 96; ++x) {
                if (format.code == 0x01080009) {
                    // RG on even rows, GB on odd rows.
                    const uint32_t component = y % 2 == 0 ? (x % 2 == 0 ? 0 : 1) : (x % 2 == 0 ? 1 : 2);
                    ASSERT_EQ(bytes[y * 96 + x], BarOn(x, y, frameId, component) ? 255 : 0)
                        << format.name << " at " << x << ',' << y;
                } else if (format.code == 0x010C0059) {
                    // Two 12-bit samples in three bytes, least significant bits first.
                    const uint8_t* pair = bytes + y * 144 + x / 2 * 3;
                    const uint32_t sample = x % 2 == 0 ? (pair[0] | (pair[1] & 0xF) << 8) : (pair[1] >> 4 | pair[2] << 4);
                    const uint32_t component = y % 2 == 0 ? (x % 2 == 0 ? 0 : 1) : (x % 2 == 0 ? 1 : 2);
                    ASSERT_EQ(sample, BarOn(x, y, frameId, component, 2) ? 0xFFFu : 0u) << format.name << " at " << x << ',' << y;
                } else {
                    const uint32_t size = format.code == 0x02180014 ? 3 : 4;
                    const uint8_t* pixel = bytes + (y * 96 + x) * size;
                    for (uint32_t component = 0; component < 3; ++component) {
                        const uint32_t byte = size == 3 ? component : 2 - component;  // BGRa: blue first
                        ASSERT_EQ(pixel[byte], BarOn(x, y, frameId, component) ? 255 : 0)
                            << format.name << " component " << component << " at " << x << ',' << y;
                    }
                    if (size == 4) {
                        ASSERT_EQ(pixel[3], 255) << "opaque";
                    }
                }
            }
        StopAcquisition();
        ASSERT_EQ(DSFlushQueue(stream, ACQ_QUEUE_ALL_DISCARD), GC_ERR_SUCCESS);
        ASSERT_EQ(DSClose(stream), GC_ERR_SUCCESS);
        stream = nullptr;
    }
}

TEST_F(CameraKinds, TheDepthCameraSeesAWallAtOneMetre) {
    OpenCamera("VT640D-0001");
    OpenStream();
    AnnounceAndQueue(2);
    StartAcquisition();
    BUFFER_HANDLE first = NextBuffer();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(BufferInfo<uint64_t>(first, BUFFER_INFO_PIXELFORMAT), 0x82400403u);  // Coord3D_ABCY16
    const auto* pixels = BufferInfo<uint16_t*>(first, BUFFER_INFO_BASE);
    auto at = [&](const uint16_t* frame, int u, int v, int channel) { return frame[(v * 640 + u) * 4 + channel]; };
    // The optical axis meets the wall at (0, 0, 1000) mm; samples are mm / 0.25, A and B offset by 4096 mm.
    EXPECT_EQ(at(pixels, 320, 240, 0), 16384);
    EXPECT_EQ(at(pixels, 320, 240, 1), 16384);
    EXPECT_EQ(at(pixels, 320, 240, 2), 4000);
    EXPECT_EQ(at(pixels, 0, 0, 0), uint16_t((-320 * 1000.0 / 525 + 4096) / 0.25));
    EXPECT_EQ(at(pixels, 639, 479, 1), uint16_t((239 * 1000.0 / 525 + 4096) / 0.25));
    const uint16_t intensity = at(pixels, 10, 10, 3);
    ASSERT_EQ(DSQueueBuffer(stream, first), GC_ERR_SUCCESS);
    BUFFER_HANDLE next = NextBuffer();
    ASSERT_NE(next, nullptr);
    EXPECT_NE(at(BufferInfo<uint16_t*>(next, BUFFER_INFO_BASE), 10, 10, 3), intensity) << "the intensity moves";
    EXPECT_EQ(at(BufferInfo<uint16_t*>(next, BUFFER_INFO_BASE), 10, 10, 2), 4000) << "the wall does not";
    StopAcquisition();
}

TEST_F(CameraKinds, TheLineScanCameraFillsMultipartBuffers) {
    OpenOnSecondInterface("VL4096L-0001");
    WriteRemote("Height", 16);
    EXPECT_EQ(ReadRemote("DeviceScanType", 4), 1u);  // Linescan
    WriteModule(device, "StreamMultipartEnable", 1);
    OpenStream();
    WriteModule(stream, "StreamMultipartNumParts", 4);
    const size_t partBytes = 4096 * 16;
    BUFFER_HANDLE buffer = nullptr;
    ASSERT_EQ(DSAllocAndAnnounceBuffer(stream, partBytes * 4, nullptr, &buffer), GC_ERR_SUCCESS);
    ASSERT_EQ(DSQueueBuffer(stream, buffer), GC_ERR_SUCCESS);
    StartAcquisition();
    buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    uint32_t parts = 0;
    ASSERT_EQ(DSGetNumBufferParts(stream, buffer, &parts), GC_ERR_SUCCESS);
    ASSERT_EQ(parts, 4u);
    EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_HEIGHT), 64u);
    EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED), partBytes * 4);
    const uint8_t* base = BufferInfo<uint8_t*>(buffer, BUFFER_INFO_BASE);
    for (uint32_t part = 0; part < parts; ++part) {
        uint8_t* partBase = nullptr;
        size_t height = 0, size = sizeof partBase;
        INFO_DATATYPE type = 0;
        ASSERT_EQ(DSGetBufferPartInfo(stream, buffer, part, BUFFER_PART_INFO_BASE, &type, &partBase, &size), GC_ERR_SUCCESS);
        EXPECT_EQ(partBase, base + part * partBytes);
        size = sizeof height;
        ASSERT_EQ(DSGetBufferPartInfo(stream, buffer, part, BUFFER_PART_INFO_HEIGHT, &type, &height, &size), GC_ERR_SUCCESS);
        EXPECT_EQ(height, 16u);
    }
    size_t size = 8;
    INFO_DATATYPE type = 0;
    uint64_t value = 0;
    EXPECT_EQ(DSGetBufferPartInfo(stream, buffer, 4, BUFFER_PART_INFO_HEIGHT, &type, &value, &size), GC_ERR_INVALID_INDEX);
    StopAcquisition();
}

TEST_F(CameraKinds, TheMultiStreamCameraOffersFiveStreamsAndGvrsp) {
    OpenOnSecondInterface("VX2048S-0001");
    uint32_t streams = 0;
    ASSERT_EQ(DevGetNumDataStreams(device, &streams), GC_ERR_SUCCESS);
    ASSERT_EQ(streams, 5u);
    for (uint32_t index = 0; index < streams; ++index) {
        char id[32];
        size_t size = sizeof id;
        ASSERT_EQ(DevGetDataStreamID(device, index, id, &size), GC_ERR_SUCCESS);
        DS_HANDLE handle = nullptr;
        ASSERT_EQ(DevOpenDataStream(device, id, &handle), GC_ERR_SUCCESS) << id;
    }
    bool8_t gvrsp = 0;
    size_t size = 1;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(DevGetInfo(device, DEVICE_INFO_GVRSP_STREAMABLE, &type, &gvrsp, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(gvrsp, 1);
    for (const char* feature : {"TransportStreamProtocol", "EventFormat", "ErcRateLimit", "ErcEnable",
                                "StreamMultipartEnable", "PacketResendWindowFrameCount"})
        EXPECT_NE(RemoteXml().find(std::string("Name=\"") + feature + "\""), std::string::npos) << feature;
}

TEST_F(CameraKinds, TheEventBasedStreamDeliversSensorEvents) {
    OpenOnSecondInterface("VX2048S-0001");
    ASSERT_EQ(DevOpenDataStream(device, "Stream3", &stream), GC_ERR_SUCCESS);
    AnnounceAndQueue(2);
    StartAcquisition();
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(BufferInfo<uint64_t>(buffer, BUFFER_INFO_PIXELFORMAT), 0x82804556u);  // PelgoXYTP128f
    const size_t events = BufferInfo<size_t>(buffer, BUFFER_INFO_WIDTH);
    EXPECT_EQ(events, 2048u);
    EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED), events * 16);
    const auto* event = BufferInfo<float*>(buffer, BUFFER_INFO_BASE);
    for (size_t index : {size_t(0), size_t(7), events - 1}) {
        EXPECT_EQ(event[4 * index], float(index)) << "x";
        EXPECT_LT(event[4 * index + 1], 1536.0f) << "y";
        EXPECT_TRUE(event[4 * index + 3] == 0.0f || event[4 * index + 3] == 1.0f) << "polarity";
    }
    StopAcquisition();
}

} // namespace
