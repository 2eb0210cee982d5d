#include "ProducerFixture.h"

#include <Vireo/QoiCodec.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>

namespace {

struct ParsedChunk {
    uint32_t id;
    size_t offset, length;
};

uint32_t BigEndian32(const uint8_t* bytes) {
    return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
}

// Walks a GigE Vision chunk layout from its end; false unless the chunks tile the bytes.
bool ParseChunks(const uint8_t* data, size_t size, std::vector<ParsedChunk>& chunks) {
    chunks.clear();
    size_t position = size;
    while (position > 0) {
        if (position < 8) return false;
        const uint32_t id = BigEndian32(data + position - 8), length = BigEndian32(data + position - 4);
        position -= 8;
        if (length > position) return false;
        position -= length;
        chunks.insert(chunks.begin(), {id, position, length});
    }
    return true;
}

class ChunksAndCompression : public ProducerTest {
protected:
    void SetUp() override {
        ProducerTest::SetUp();
        OpenCamera();
        UseSmallMonoFrames();
    }
    void EnableChunk(uint32_t selector) {
        WriteRemote("ChunkModeActive", 1, 4);
        WriteRemote("ChunkSelector", selector, 4);
        // ChunkEnable is an array indexed by the selector, 4 bytes per entry.
        uint8_t on[4] = {0, 0, 0, 1};
        size_t size = 4;
        ASSERT_EQ(GCWritePort(remote, RegisterAddress(RemoteXml(), "ChunkEnable") + 4 * selector, on, &size), GC_ERR_SUCCESS);
    }
    const uint8_t* Data(BUFFER_HANDLE buffer) { return BufferInfo<uint8_t*>(buffer, BUFFER_INFO_BASE); }
};

TEST_F(ChunksAndCompression, ChunkModeAppendsATrailerWithACorrectCrc) {
    EnableChunk(0);  // CRC
    EnableChunk(1);  // frame counter
    EXPECT_EQ(ReadRemote("PayloadSize"), 64u * 32u + 8 + (4 + 8) + (8 + 8));
    OpenStream();
    AnnounceAndQueue(2);
    StartAcquisition();
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_PAYLOADTYPE), size_t(PAYLOAD_TYPE_IMAGE_EXTENDED_CHUNK));
    EXPECT_EQ(BufferInfo<bool8_t>(buffer, BUFFER_INFO_CONTAINS_CHUNKDATA), 1);
    const size_t filled = BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED);
    std::vector<ParsedChunk> chunks;
    ASSERT_TRUE(ParseChunks(Data(buffer), filled, chunks));
    ASSERT_EQ(chunks.size(), 3u);
    EXPECT_EQ(chunks[0].length, 64u * 32u);  // the image data is the first chunk
    EXPECT_EQ(chunks[1].id, 0xA5A50001u);
    const uint32_t crc = BigEndian32(Data(buffer) + chunks[1].offset);
    EXPECT_EQ(crc, uint32_t(crc32(0, Data(buffer), 64 * 32)));
    uint64_t counter = 0;
    for (size_t index = 0; index < 8; ++index) counter = counter << 8 | Data(buffer)[chunks[2].offset + index];
    EXPECT_EQ(counter, BufferInfo<uint64_t>(buffer, BUFFER_INFO_FRAMEID));

    GenTL::S_SINGLE_CHUNK_DATA listed[4];
    size_t count = 4;
    ASSERT_EQ(DSGetBufferChunkData(stream, buffer, listed, &count), GC_ERR_SUCCESS) << LastErrorText();
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(listed[0].ChunkID, 0xA5A50001u);
    EXPECT_EQ(size_t(listed[0].ChunkOffset), chunks[1].offset);
    EXPECT_EQ(listed[1].ChunkLength, 8u);
    count = 1;
    EXPECT_EQ(DSGetBufferChunkData(stream, buffer, listed, &count), GC_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 2u);
    StopAcquisition();
}

TEST_F(ChunksAndCompression, WithoutExtendedChunkModeFramesArePlainChunkData) {
    EnableChunk(0);
    WriteRemote("GevSCCFGExtendedChunkData", 0, 4);
    OpenStream();
    AnnounceAndQueue(1);
    StartAcquisition();
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_PAYLOADTYPE), size_t(PAYLOAD_TYPE_CHUNK_DATA));
    EXPECT_EQ(BufferInfo<bool8_t>(buffer, BUFFER_INFO_IMAGEPRESENT), 0) << "the image travels as a chunk";
    std::vector<ParsedChunk> chunks;
    EXPECT_TRUE(ParseChunks(Data(buffer), BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED), chunks));
    EXPECT_EQ(chunks.size(), 2u);
    StopAcquisition();
}

TEST_F(ChunksAndCompression, CorruptionsBreakTheTrailerOrTheCrc) {
    EnableChunk(0);
    OpenStream();
    AnnounceAndQueue(3);
    ASSERT_EQ(VirtualProducerCorruptNextChunkTrailer("VC2448C-0001"), GC_ERR_SUCCESS);
    StartAcquisition();
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    std::vector<ParsedChunk> chunks;
    EXPECT_FALSE(ParseChunks(Data(buffer), BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED), chunks));

    ASSERT_EQ(VirtualProducerCorruptNextFrameData("VC2448C-0001"), GC_ERR_SUCCESS);
    ASSERT_EQ(DSQueueBuffer(stream, buffer), GC_ERR_SUCCESS);
    // Frames already on their way may come first; the damaged one is among the next few.
    bool mismatch = false;
    for (int frame = 0; frame < 5 && !mismatch; ++frame) {
        buffer = NextBuffer();
        ASSERT_NE(buffer, nullptr);
        ASSERT_TRUE(ParseChunks(Data(buffer), BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED), chunks));
        mismatch = BigEndian32(Data(buffer) + chunks[1].offset) != uint32_t(crc32(0, Data(buffer), 64 * 32));
        ASSERT_EQ(DSQueueBuffer(stream, buffer), GC_ERR_SUCCESS);
    }
    EXPECT_TRUE(mismatch);
    StopAcquisition();
}

TEST_F(ChunksAndCompression, QoiFramesDecodeToTheTestPattern) {
    WriteRemote("ImageCompressionMode", 1, 4);
    EXPECT_EQ(ReadRemote("PayloadSize"), 64u * 32u * 2 + 22) << "room for the worst QOI stream";
    OpenStream();
    AnnounceAndQueue(2);
    StartAcquisition();
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_PAYLOADTYPE), size_t(PAYLOAD_TYPE_COMPRESSED_IMAGE));
    EXPECT_EQ(BufferInfo<uint64_t>(buffer, BUFFER_INFO_PIXELFORMAT), 0x81080A00u);  // QOI_Mono8
    const size_t filled = BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED);
    EXPECT_LT(filled, 64u * 32u) << "a ramp compresses";
    Vireo::qoi_desc desc{};
    auto* pixels = static_cast<uint8_t*>(Vireo::qoi_decode(Data(buffer), int(filled), &desc, 1));
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(desc.width, 64u);
    EXPECT_EQ(desc.height, 32u);
    // The ramp moves one step per row and per frame.
    const uint64_t frameId = BufferInfo<uint64_t>(buffer, BUFFER_INFO_FRAMEID);
    for (uint32_t y : {0u, 7u, 31u})
        for (uint32_t x : {0u, 1u, 63u}) EXPECT_EQ(pixels[y * 64 + x], uint8_t(x + (y + frameId) % 256)) << x << "," << y;
    std::free(pixels);
    StopAcquisition();
}

TEST_F(ChunksAndCompression, CompressedFramesCarryChunksToo) {
    WriteRemote("ImageCompressionMode", 1, 4);
    EnableChunk(0);
    OpenStream();
    AnnounceAndQueue(2);
    StartAcquisition();
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_PAYLOADTYPE), size_t(PAYLOAD_TYPE_COMPRESSED_IMAGE_EXTENDED_CHUNK));
    std::vector<ParsedChunk> chunks;
    ASSERT_TRUE(ParseChunks(Data(buffer), BufferInfo<size_t>(buffer, BUFFER_INFO_SIZE_FILLED), chunks));
    ASSERT_EQ(chunks.size(), 2u);
    EXPECT_EQ(BigEndian32(Data(buffer) + chunks[1].offset), uint32_t(crc32(0, Data(buffer), uInt(chunks[0].length))))
        << "the CRC covers the compressed stream";
    StopAcquisition();
}

TEST_F(ChunksAndCompression, FormatsWithoutAQoiFormSendRawFrames) {
    WriteRemote("PixelFormat", 0x01100005, 4);  // Mono12
    WriteRemote("ImageCompressionMode", 1, 4);
    OpenStream();
    AnnounceAndQueue(1);
    StartAcquisition();
    BUFFER_HANDLE buffer = NextBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(BufferInfo<size_t>(buffer, BUFFER_INFO_PAYLOADTYPE), size_t(PAYLOAD_TYPE_IMAGE));
    const uint16_t* samples = reinterpret_cast<const uint16_t*>(Data(buffer));
    for (int index = 0; index < 64 * 32; ++index) ASSERT_LE(samples[index], 4095) << "12 significant bits";
    StopAcquisition();
}

} // namespace
