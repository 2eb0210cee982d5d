#include "ProducerFixture.h"

#include <atomic>
#include <chrono>
#include <set>
#include <thread>

namespace {

class Streaming : public ProducerTest {
protected:
    void SetUp() override {
        ProducerTest::SetUp();
        OpenCamera();
        UseSmallMonoFrames(64, 48);
        OpenStream();
    }
    size_t StreamCount(STREAM_INFO_CMD command) {
        size_t value = 0, size = sizeof value;
        INFO_DATATYPE type = 0;
        EXPECT_EQ(DSGetInfo(stream, command, &type, &value, &size), GC_ERR_SUCCESS) << LastErrorText();
        return value;
    }
    uint64_t StreamCounter(STREAM_INFO_CMD command) {
        uint64_t value = 0;
        size_t size = sizeof value;
        INFO_DATATYPE type = 0;
        EXPECT_EQ(DSGetInfo(stream, command, &type, &value, &size), GC_ERR_SUCCESS) << LastErrorText();
        return value;
    }
    // Waits, up to a generous limit, until the condition holds; frames come at 200 per second.
    template <class Condition>
    bool Eventually(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }
    void SetHandlingMode(uint32_t mode) {
        // StreamBufferHandlingMode on the stream module's own (little-endian) port.
        const std::vector<uint8_t> file = ReadDescriptionFile(stream);
        const uint64_t address = RegisterAddress(std::string(file.begin(), file.end()), "StreamBufferHandlingMode");
        size_t size = 4;
        ASSERT_EQ(GCWritePort(stream, address, &mode, &size), GC_ERR_SUCCESS) << LastErrorText();
    }
};

TEST_F(Streaming, DeliversFramesWithTheirPropertiesAndTakesThemBack) {
    const auto buffers = AnnounceAndQueue(4);
    EXPECT_EQ(StreamCount(STREAM_INFO_NUM_ANNOUNCED), 4u);
    EXPECT_EQ(StreamCount(STREAM_INFO_NUM_QUEUED), 4u);
    StartAcquisition();
    uint64_t previousFrame = 0, previousTime = 0;
    std::set<BUFFER_HANDLE> seen;
    for (int frame = 0; frame < 10; ++frame) {
        BUFFER_HANDLE buffer = NextBuffer();
        ASSERT_NE(buffer, nullptr) << LastErrorText();
        seen.insert(buffer);
        EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_WIDTH), 64u);
        EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_HEIGHT), 48u);
        EXPECT_EQ(BufferInfo<uint64_t>(buffer, BUFFER_INFO_PIXELFORMAT), 0x01080001u);
        EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED), 64u * 48u);
        EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_PAYLOADTYPE), size_t(PAYLOAD_TYPE_IMAGE));
        EXPECT_EQ(BufferInfo<bool8_t>(buffer, BUFFER_INFO_IS_INCOMPLETE), 0);
        // A single-part image is no multi-part buffer (a count of 0 would say: no image), and
        // what the producer does not know it says it does not implement.
        uint32_t parts = 7;
        EXPECT_EQ(DSGetNumBufferParts(stream, buffer, &parts), GC_ERR_NO_DATA);
        for (BUFFER_INFO_CMD unsupported : {BUFFER_INFO_CMD(24), BUFFER_INFO_CMD(25), BUFFER_INFO_CMD(1234)}) {
            uint64_t value = 0;
            size_t size = sizeof value;
            INFO_DATATYPE type = 0;
            EXPECT_EQ(DSGetBufferInfo(stream, buffer, unsupported, &type, &value, &size), GC_ERR_NOT_IMPLEMENTED);
        }
        const uint64_t frameId = BufferInfo<uint64_t>(buffer, BUFFER_INFO_FRAMEID);
        const uint64_t timestamp = BufferInfo<uint64_t>(buffer, BUFFER_INFO_TIMESTAMP_NS);
        EXPECT_GT(frameId, previousFrame);
        EXPECT_GT(timestamp, previousTime);
        EXPECT_GE(timestamp, BufferInfo<uint64_t>(buffer, BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP));
        previousFrame = frameId;
        previousTime = timestamp;
        ASSERT_EQ(DSQueueBuffer(stream, buffer), GC_ERR_SUCCESS) << LastErrorText();
    }
    EXPECT_EQ(seen.size(), 4u) << "every buffer of the pool takes its turn";
    StopAcquisition();
    EXPECT_GE(StreamCounter(STREAM_INFO_NUM_DELIVERED), 10u);
    EXPECT_EQ(DSFlushQueue(stream, ACQ_QUEUE_ALL_DISCARD), GC_ERR_SUCCESS);
    for (BUFFER_HANDLE buffer : buffers) EXPECT_EQ(DSRevokeBuffer(stream, buffer, nullptr, nullptr), GC_ERR_SUCCESS);
    EXPECT_EQ(DSRevokeBuffer(stream, buffers[0], nullptr, nullptr), GC_ERR_INVALID_HANDLE) << "revoked twice";
}

TEST_F(Streaming, ConsecutiveFramesDiffer) {
    AnnounceAndQueue(2);
    StartAcquisition();
    BUFFER_HANDLE first = NextBuffer();
    ASSERT_NE(first, nullptr);
    const auto* firstBytes = BufferInfo<uint8_t*>(first, BUFFER_INFO_BASE);
    const std::vector<uint8_t> firstFrame(firstBytes, firstBytes + 64 * 48);
    ASSERT_EQ(DSQueueBuffer(stream, first), GC_ERR_SUCCESS);
    BUFFER_HANDLE second = NextBuffer();
    ASSERT_NE(second, nullptr);
    const auto* secondBytes = BufferInfo<uint8_t*>(second, BUFFER_INFO_BASE);
    EXPECT_NE(firstFrame, std::vector<uint8_t>(secondBytes, secondBytes + 64 * 48));
    StopAcquisition();
}

TEST_F(Streaming, AnUnderrunLosesFramesWhenNoBufferIsQueued) {
    AnnounceAndQueue(1);
    StartAcquisition();
    ASSERT_NE(NextBuffer(), nullptr);
    // Frames keep arriving while no buffer is queued.
    EXPECT_TRUE(Eventually([&] { return StreamCounter(STREAM_INFO_NUM_UNDERRUN) > 0; }));
    StopAcquisition();
}

TEST_F(Streaming, NewestOnlyKeepsJustTheLatestFrame) {
    AnnounceAndQueue(3);
    SetHandlingMode(2);
    StartAcquisition();
    ASSERT_TRUE(Eventually([&] { return StreamCounter(STREAM_INFO_NUM_DELIVERED) > 5; }));
    EXPECT_LE(StreamCount(STREAM_INFO_NUM_AWAIT_DELIVERY), 1u);
    BUFFER_HANDLE latest = NextBuffer();
    ASSERT_NE(latest, nullptr);
    EXPECT_GT(BufferInfo<uint64_t>(latest, BUFFER_INFO_FRAMEID), 3u);
    StopAcquisition();
    uint32_t mode = 0;  // locked while acquiring, free again after
    EXPECT_NO_FATAL_FAILURE(SetHandlingMode(mode));
}

TEST_F(Streaming, OldestFirstOverwriteRecyclesUndeliveredFrames) {
    AnnounceAndQueue(2);
    SetHandlingMode(1);
    StartAcquisition();
    ASSERT_TRUE(Eventually([&] { return StreamCounter(STREAM_INFO_NUM_DELIVERED) > 5; }));
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_GT(BufferInfo<uint64_t>(buffer, BUFFER_INFO_FRAMEID), 2u) << "old frames were overwritten";
    EXPECT_EQ(StreamCounter(STREAM_INFO_NUM_UNDERRUN), 0u);
    StopAcquisition();
}

TEST_F(Streaming, KillAndStopEndWaitsWhenEverTheyBegin) {
    AnnounceAndQueue(1);
    ASSERT_EQ(GCRegisterEvent(stream, EVENT_NEW_BUFFER, &newBuffer), GC_ERR_SUCCESS);
    ASSERT_EQ(DSStartAcquisition(stream, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), GC_ERR_SUCCESS);
    // No AcquisitionStart on the camera: no frame ever comes.
    S_EVENT_NEW_BUFFER data{};
    size_t size = sizeof data;
    const auto wait = [&](uint64_t timeoutMs) {
        size = sizeof data;
        return EventGetData(newBuffer, &data, &size, timeoutMs);
    };
    EXPECT_EQ(wait(20), GC_ERR_TIMEOUT);
    size = 3;
    EXPECT_EQ(EventGetData(newBuffer, &data, &size, 20), GC_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, sizeof data);

    // A kill with nobody waiting ends the next wait, once; a consumer's thread may begin its
    // wait just after the kill meant for it.
    ASSERT_EQ(EventKill(newBuffer), GC_ERR_SUCCESS);
    EXPECT_EQ(wait(GENTL_INFINITE), GC_ERR_ABORT);
    EXPECT_EQ(wait(20), GC_ERR_TIMEOUT) << "one kill ends one wait";

    // Kills racing the beginning of a wait, a thousand times: every wait ends.
    for (int round = 0; round < 1000; ++round) {
        GC_ERROR waited = GC_ERR_SUCCESS;
        std::thread waiter([&] {
            S_EVENT_NEW_BUFFER own{};
            size_t ownSize = sizeof own;
            waited = EventGetData(newBuffer, &own, &ownSize, GENTL_INFINITE);
        });
        ASSERT_EQ(EventKill(newBuffer), GC_ERR_SUCCESS);
        waiter.join();
        ASSERT_EQ(waited, GC_ERR_ABORT) << "round " << round;
        // A kill that found the waiter already in its wait left nothing behind; one that came
        // first was taken by the wait. Either way the next wait blocks.
        ASSERT_EQ(wait(0), GC_ERR_TIMEOUT) << "round " << round;
    }

    // A stop ends a pending wait, and a stopped stream with nothing to deliver never blocks.
    std::atomic<bool> started{false};
    GC_ERROR waited = GC_ERR_SUCCESS;
    std::thread waiter([&] {
        S_EVENT_NEW_BUFFER own{};
        size_t ownSize = sizeof own;
        started = true;
        waited = EventGetData(newBuffer, &own, &ownSize, GENTL_INFINITE);
    });
    while (!started) std::this_thread::yield();
    ASSERT_EQ(DSStopAcquisition(stream, ACQ_STOP_FLAGS_DEFAULT), GC_ERR_SUCCESS);
    waiter.join();
    EXPECT_EQ(waited, GC_ERR_ABORT);
    EXPECT_EQ(wait(GENTL_INFINITE), GC_ERR_ABORT);

    // A new start forgets the old acquisition's kills.
    ASSERT_EQ(EventKill(newBuffer), GC_ERR_SUCCESS);
    ASSERT_EQ(DSStartAcquisition(stream, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), GC_ERR_SUCCESS);
    EXPECT_EQ(wait(20), GC_ERR_TIMEOUT);
    ASSERT_EQ(DSStopAcquisition(stream, ACQ_STOP_FLAGS_DEFAULT), GC_ERR_SUCCESS);
}

TEST_F(Streaming, FlushOperationsMoveBuffersBetweenThePools) {
    const auto buffers = AnnounceAndQueue(3);
    ASSERT_EQ(DSFlushQueue(stream, ACQ_QUEUE_INPUT_TO_OUTPUT), GC_ERR_SUCCESS);
    EXPECT_EQ(StreamCount(STREAM_INFO_NUM_QUEUED), 0u);
    EXPECT_EQ(StreamCount(STREAM_INFO_NUM_AWAIT_DELIVERY), 3u);
    uint64_t census[4] = {};
    size_t size = sizeof census;
    INFO_DATATYPE type = 0;
    ASSERT_EQ(DSGetInfo(stream, STREAM_INFO_BUFFER_CENSUS, &type, census, &size), GC_ERR_SUCCESS);
    EXPECT_EQ(type, INFO_DATATYPE_BUFFER);
    EXPECT_EQ(census[0], 3u);
    EXPECT_EQ(census[1], 0u);
    EXPECT_EQ(census[2], 0u);
    EXPECT_EQ(census[3], 3u);
    ASSERT_EQ(DSFlushQueue(stream, ACQ_QUEUE_OUTPUT_DISCARD), GC_ERR_SUCCESS);
    EXPECT_EQ(StreamCount(STREAM_INFO_NUM_AWAIT_DELIVERY), 0u);
    ASSERT_EQ(DSFlushQueue(stream, ACQ_QUEUE_UNQUEUED_TO_INPUT), GC_ERR_SUCCESS);
    EXPECT_EQ(StreamCount(STREAM_INFO_NUM_QUEUED), 3u);
    ASSERT_EQ(DSFlushQueue(stream, ACQ_QUEUE_ALL_DISCARD), GC_ERR_SUCCESS);
    EXPECT_EQ(StreamCount(STREAM_INFO_NUM_QUEUED), 0u);
    ASSERT_EQ(DSQueueBuffer(stream, buffers[0]), GC_ERR_SUCCESS);
    ASSERT_EQ(DSFlushQueue(stream, ACQ_QUEUE_INPUT_TO_OUTPUT), GC_ERR_SUCCESS);
    ASSERT_EQ(DSFlushQueue(stream, ACQ_QUEUE_ALL_TO_INPUT), GC_ERR_SUCCESS);
    EXPECT_EQ(StreamCount(STREAM_INFO_NUM_QUEUED), 3u) << "every announced buffer back in the input pool";
    EXPECT_EQ(DSFlushQueue(stream, ACQ_QUEUE_TYPE(99)), GC_ERR_INVALID_PARAMETER);
}

TEST_F(Streaming, WaitingForTheNextLeader) {
    AnnounceAndQueue(2);
    WriteRemote("TriggerMode", 1, 4);
    StartAcquisition();
    ASSERT_EQ(DSResetWaitForNextLeader(stream), GC_ERR_SUCCESS);
    EXPECT_EQ(DSWaitForNextLeader(stream, 50), GC_ERR_TIMEOUT) << "no frame is triggered yet";
    Execute("TriggerSoftware");
    EXPECT_EQ(DSWaitForNextLeader(stream, 5000), GC_ERR_SUCCESS) << LastErrorText();
    EXPECT_NE(NextBuffer(), nullptr);
    EXPECT_EQ(DSWaitForNextLeader(stream, 50), GC_ERR_TIMEOUT) << "that leader was already seen";
    StopAcquisition();
}

TEST_F(Streaming, SoftwareTriggersProduceOneFrameEach) {
    AnnounceAndQueue(3);
    WriteRemote("TriggerMode", 1, 4);
    StartAcquisition();
    EXPECT_EQ(NextBuffer(100), nullptr) << "no frame without a trigger";
    Execute("TriggerSoftware");
    EXPECT_NE(NextBuffer(), nullptr);
    EXPECT_EQ(NextBuffer(100), nullptr);
    StopAcquisition();
}

TEST_F(Streaming, QueueAndAnnounceRefuseMisuse) {
    const auto buffers = AnnounceAndQueue(1);
    EXPECT_EQ(DSQueueBuffer(stream, buffers[0]), GC_ERR_RESOURCE_IN_USE) << "queued twice";
    EXPECT_EQ(DSRevokeBuffer(stream, buffers[0], nullptr, nullptr), GC_ERR_BUSY) << "revoked while queued";
    EXPECT_EQ(DSQueueBuffer(stream, reinterpret_cast<void*>(0x1234)), GC_ERR_INVALID_HANDLE);
    EXPECT_EQ(DSQueueBuffer(device, buffers[0]), GC_ERR_INVALID_HANDLE) << "a device handle is not a stream";
    uint8_t memory[16];
    BUFFER_HANDLE handle = nullptr;
    EXPECT_EQ(DSAnnounceBuffer(stream, nullptr, 16, nullptr, &handle), GC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(DSAnnounceBuffer(stream, memory, 0, nullptr, &handle), GC_ERR_INVALID_PARAMETER);
    ASSERT_EQ(DSAnnounceBuffer(stream, memory, 16, nullptr, &handle), GC_ERR_SUCCESS);
    EXPECT_EQ(DSAnnounceBuffer(stream, memory, 16, nullptr, &handle), GC_ERR_RESOURCE_IN_USE);
    void* returned = nullptr;
    ASSERT_EQ(DSRevokeBuffer(stream, handle, &returned, nullptr), GC_ERR_SUCCESS);
    EXPECT_EQ(returned, memory) << "the caller's memory comes back";
    EXPECT_EQ(DSStartAcquisition(stream, ACQ_START_FLAGS_DEFAULT, 0), GC_ERR_INVALID_PARAMETER);
}

} // namespace
