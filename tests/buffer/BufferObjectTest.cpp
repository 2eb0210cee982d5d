#include <Vireo/Buffer.h>
#include <Vireo/CompressedImage.h>
#include <Vireo/IChunkData.h>
#include <Vireo/Image.h>
#include <Vireo/PixelFormat.h>

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "support/ScriptedDataStream.h"
#include "transport/Errors.h"

namespace Vireo {
namespace {

using Testing::ScriptedDataStream;

GenTL::GC_ERROR ScriptedLastError(GenTL::GC_ERROR*, char* text, size_t*) {
    std::strcpy(text, "buffer revoked");
    return GenTL::GC_ERR_SUCCESS;
}

void* const kBuffer = reinterpret_cast<void*>(0xB0F);

class BufferObjects : public ::testing::Test {
protected:
    void SetUp() override {
        previous_ = SetLastErrorSource(&ScriptedLastError);
        bytes.resize(64);
        std::iota(bytes.begin(), bytes.end(), uint8_t(1));
        stream.SetPointer(GenTL::BUFFER_INFO_BASE, bytes.data());
        stream.SetUInt64(GenTL::BUFFER_INFO_SIZE, bytes.size());
        stream.SetUInt64(GenTL::BUFFER_INFO_SIZE_FILLED, 40);
        stream.SetUInt64(GenTL::BUFFER_INFO_DATA_SIZE, 48);
        stream.SetUInt64(GenTL::BUFFER_INFO_FRAMEID, 77);
        stream.SetUInt64(GenTL::BUFFER_INFO_PAYLOADTYPE, GenTL::PAYLOAD_TYPE_IMAGE);
        stream.SetBool(GenTL::BUFFER_INFO_IMAGEPRESENT, true);
        stream.SetBool(GenTL::BUFFER_INFO_CONTAINS_CHUNKDATA, false);
        stream.SetBool(GenTL::BUFFER_INFO_IS_INCOMPLETE, true);
        stream.SetBool(GenTL::BUFFER_INFO_DATA_LARGER_THAN_BUFFER, false);
        stream.SetUInt64(GenTL::BUFFER_INFO_WIDTH, 8);
        stream.SetUInt64(GenTL::BUFFER_INFO_HEIGHT, 5);
        stream.SetUInt64(GenTL::BUFFER_INFO_XOFFSET, 16);
        stream.SetUInt64(GenTL::BUFFER_INFO_YOFFSET, 2);
        stream.SetUInt64(GenTL::BUFFER_INFO_XPADDING, 3);
        stream.SetUInt64(GenTL::BUFFER_INFO_YPADDING, 4);
        stream.SetUInt64(GenTL::BUFFER_INFO_PIXELFORMAT, Mono8);
        stream.SetInt32(GenTL::BUFFER_INFO_PIXEL_ENDIANNESS, GenTL::PIXELENDIANNESS_LITTLE);
        stream.SetUInt64(GenTL::BUFFER_INFO_TIMESTAMP_NS, 1234567890123ull);
        stream.SetUInt64(GenTL::BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP, 1234567000000ull);
    }
    void TearDown() override { SetLastErrorSource(previous_); }

    ScriptedDataStream stream;
    std::vector<uint8_t> bytes;

private:
    LastErrorSource previous_ = nullptr;
};

TEST_F(BufferObjects, ReadEveryPropertyWithItsCommand) {
    Image image(&stream, kBuffer);
    EXPECT_EQ(image.GetData(), bytes.data());
    EXPECT_EQ(image.GetSizeOfBuffer(), 64u);
    EXPECT_EQ(image.GetSizeFilled(), 40u);
    EXPECT_EQ(image.GetPayloadSize(), 48u);
    EXPECT_EQ(image.GetFrameId(), 77u);
    EXPECT_EQ(image.GetPayloadType(), 1u);
    EXPECT_TRUE(image.HasImageData());
    EXPECT_FALSE(image.HasChunkData());
    EXPECT_TRUE(image.IsIncomplete());
    EXPECT_FALSE(image.DataLargerThanBuffer());
    EXPECT_EQ(image.GetWidth(), 8u);
    EXPECT_EQ(image.GetHeight(), 5u);
    EXPECT_EQ(image.GetOffsetX(), 16u);
    EXPECT_EQ(image.GetOffsetY(), 2u);
    EXPECT_EQ(image.GetPaddingX(), 3u);
    EXPECT_EQ(image.GetPaddingY(), 4u);
    EXPECT_EQ(image.GetPixelFormat(), uint64_t(Mono8));
    EXPECT_EQ(image.GetPixelEndianness(), GenTL::PIXELENDIANNESS_LITTLE);
    EXPECT_EQ(image.GetTimestampNs(), 1234567890123ull);
    EXPECT_EQ(image.GetTimestamp(), image.GetTimestampNs());
    EXPECT_EQ(image.GetLeaderReceivedTimestamp(), 1234567000000ull);
    EXPECT_EQ(stream.lastHandle, kBuffer);
    EXPECT_EQ(stream.lastOfferedSize, 8u);
    EXPECT_EQ(image.GetBufferHandle(), kBuffer);
    EXPECT_EQ(image.GetDataStream(), &stream);
}

TEST_F(BufferObjects, QueryOnceThenNeverAgain) {
    Image image(&stream, kBuffer);
    for (int round = 0; round < 3; ++round) {
        image.GetData();
        image.GetSizeFilled();
        image.GetPayloadType();
        image.IsCompressedImage();
        image.GetWidth();
        image.GetPixelFormat();
        image.GetBitsPerPixel();
        image.GetTimestamp();
        image.GetTimestampNs();
    }
    for (const auto& [command, count] : stream.queries) EXPECT_EQ(count, 1) << "command " << command;
    EXPECT_EQ(stream.queries.size(), 6u);
}

TEST_F(BufferObjects, AFailedQueryKeepsItsCellAndIsNotRepeated) {
    stream.Fail(GenTL::BUFFER_INFO_FRAMEID, GenTL::GC_ERR_INVALID_BUFFER);
    Buffer buffer(&stream, kBuffer);
    try {
        buffer.GetFrameId();
        FAIL();
    } catch (const GenICam::InvalidArgumentException& error) {
        EXPECT_STREQ(error.what(), "InvalidArgumentException (GC_ERR_INVALID_BUFFER): Unable to get buffer information "
                                   "(Buffer, GetInfo; GenTL::DSGetBufferInfo); buffer revoked");
    }
    stream.SetUInt64(GenTL::BUFFER_INFO_FRAMEID, 5);
    EXPECT_EQ(buffer.GetFrameId(), 0u);  // the cell that the failed query left
    EXPECT_EQ(stream.queries[GenTL::BUFFER_INFO_FRAMEID], 1);
}

TEST_F(BufferObjects, NullStreamOrHandleIsRefusedOnTheFirstUncachedRead) {
    Buffer noStream(nullptr, kBuffer);
    try {
        noStream.GetSizeFilled();
        FAIL();
    } catch (const GenICam::InvalidArgumentException& error) {
        EXPECT_STREQ(error.what(), "InvalidArgumentException: DataStream is null (Buffer, GetInfo)");
    }
    Image noHandle(&stream, nullptr);
    try {
        noHandle.GetWidth();
        FAIL();
    } catch (const GenICam::InvalidArgumentException& error) {
        EXPECT_STREQ(error.what(), "InvalidArgumentException: Buffer is null (Buffer, GetInfo)");
    }
    Buffer empty;
    EXPECT_THROW(empty.GetData(), GenICam::InvalidArgumentException);
    EXPECT_TRUE(stream.queries.empty());
}

TEST_F(BufferObjects, OnlyTheTwoCompressedPayloadTypesAreCompressed) {
    const std::pair<uint64_t, bool> cases[] = {{1000, false}, {1001, true}, {1002, true}, {1003, false},
                                               {1, false},    {0, false},   {0x4001, false}};
    for (const auto& [payloadType, compressed] : cases) {
        stream.SetUInt64(GenTL::BUFFER_INFO_PAYLOADTYPE, payloadType);
        Buffer buffer(&stream, kBuffer);
        EXPECT_EQ(buffer.IsCompressedImage(), compressed) << payloadType;
    }
}

TEST_F(BufferObjects, DownCastsAnswerOnlyForTheObjectsKind) {
    Buffer buffer(&stream, kBuffer);
    Image image(&stream, kBuffer);
    CompressedImage compressed(&stream, kBuffer);
    EXPECT_EQ(buffer.AsImage(), nullptr);
    EXPECT_EQ(buffer.AsChunkData(), nullptr);
    EXPECT_EQ(buffer.AsCompressedImage(), nullptr);
    // A combined class holds IBuffer twice (interface and shared part): the library hands
    // objects out through their interfaces.
    IBuffer* asBuffer = static_cast<IImage*>(&image);
    EXPECT_EQ(asBuffer->AsImage(), static_cast<IImage*>(&image));
    EXPECT_EQ(asBuffer->AsChunkData(), nullptr);
    EXPECT_EQ(asBuffer->AsCompressedImage(), nullptr);
    IBuffer* compressedAsBuffer = static_cast<ICompressedImage*>(&compressed);
    EXPECT_EQ(compressedAsBuffer->AsCompressedImage(), static_cast<ICompressedImage*>(&compressed));
    EXPECT_EQ(compressedAsBuffer->AsImage(), nullptr);
}

// A delivered image whose pixel format is reinterpreted, as an override of the virtual accessor.
class Mono12pImage : public Image {
public:
    using Image::Image;
    uint64_t GetPixelFormat() override { return Mono12p; }
};

TEST_F(BufferObjects, GeometryFollowsTheVirtualPixelFormat) {
    Mono12pImage image(&stream, kBuffer);
    EXPECT_EQ(image.GetBitsPerPixel(), 12u);
    EXPECT_EQ(image.GetNumChannels(), 1u);
    EXPECT_EQ(image.GetBitsPerChannel(), 12u);
    EXPECT_EQ(image.GetBytesPerStep(), 3u);
    EXPECT_EQ(image.GetPixelsPerStep(), 2u);
    EXPECT_EQ(stream.queries.count(GenTL::BUFFER_INFO_PIXELFORMAT), 0u);

    stream.SetUInt64(GenTL::BUFFER_INFO_PIXELFORMAT, RGB8);
    Image rgb(&stream, kBuffer);
    EXPECT_EQ(rgb.GetBitsPerPixel(), 24u);
    EXPECT_EQ(rgb.GetNumChannels(), 3u);
    stream.SetUInt64(GenTL::BUFFER_INFO_PIXELFORMAT, QOI_RGB8);
    CompressedImage compressed(&stream, kBuffer);
    EXPECT_EQ(compressed.GetNumChannels(), 3u);
    EXPECT_EQ(compressed.GetTimestamp(), compressed.GetTimestampNs());
    EXPECT_EQ(compressed.GetLeaderReceivedTimestamp(), 1234567000000ull);
}

TEST_F(BufferObjects, ACopyOfAPartlyFilledBufferHoldsTheWholeBuffer) {
    Image source(&stream, kBuffer);
    Image copy(&source);
    ASSERT_NE(copy.GetData(), bytes.data());
    EXPECT_EQ(std::vector<uint8_t>(copy.GetData(), copy.GetData() + 64), bytes);  // beyond the 40 filled bytes too
    EXPECT_EQ(copy.GetSizeFilled(), 40u);
    EXPECT_EQ(copy.GetSizeOfBuffer(), 64u);
    EXPECT_EQ(copy.GetFrameId(), 77u);
    EXPECT_EQ(copy.GetWidth(), 8u);
    EXPECT_EQ(copy.GetPaddingY(), 4u);
    EXPECT_EQ(copy.GetPixelEndianness(), GenTL::PIXELENDIANNESS_LITTLE);
    EXPECT_EQ(copy.GetLeaderReceivedTimestamp(), 1234567000000ull);
    EXPECT_EQ(copy.GetBufferHandle(), nullptr);
    EXPECT_EQ(copy.GetDataStream(), nullptr);
    EXPECT_FALSE(copy.IsShallow());

    // The copy answers from its own cells: the source's producer is no longer asked.
    const auto queriesBefore = stream.queries;
    bytes.assign(64, 0);
    EXPECT_EQ(copy.GetData()[0], 1);
    EXPECT_EQ(stream.queries, queriesBefore);
    delete[] copy.GetData();

    CompressedImage compressedSource(&stream, kBuffer);
    CompressedImage compressedCopy(&compressedSource);
    EXPECT_EQ(compressedCopy.GetPixelFormat(), uint64_t(Mono8));
    delete[] compressedCopy.GetData();
}

// Nothing may be left behind when a copy fails part way (the sanitizer build checks leaks).
TEST_F(BufferObjects, CopyingFailsCleanlyWhenTheSourceCannotBeRead) {
    stream.Fail(GenTL::BUFFER_INFO_BASE, GenTL::GC_ERR_INVALID_BUFFER);
    Buffer source(&stream, kBuffer);
    EXPECT_THROW(Buffer copy(&source), GenICam::InvalidArgumentException);

    ScriptedDataStream imageStream;
    imageStream.answers = stream.answers;
    imageStream.SetPointer(GenTL::BUFFER_INFO_BASE, bytes.data());
    imageStream.Fail(GenTL::BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP, GenTL::GC_ERR_IO);
    Image image(&imageStream, kBuffer);
    EXPECT_THROW(Image copy(&image), GenICam::RuntimeException);
    CompressedImage compressed(&imageStream, kBuffer);
    EXPECT_THROW(CompressedImage copy(&compressed), GenICam::RuntimeException);
}

TEST_F(BufferObjects, VerifyingACrcWithoutChunksIsRefusedPerKind) {
    Buffer buffer(&stream, kBuffer);
    Image image(&stream, kBuffer);
    CompressedImage compressed(&stream, kBuffer);
    const std::pair<IBuffer*, const char*> cases[] = {
        {&buffer, "LogicalErrorException: CRC not available. (Buffer, VerifyCRC)"},
        {static_cast<IImage*>(&image), "LogicalErrorException: Chunk data was not enabled before grabbing Image (Image, VerifyCRC)"},
        {static_cast<ICompressedImage*>(&compressed),
         "LogicalErrorException: Chunk data was not enabled before grabbing CompressedImage (CompressedImage, VerifyCRC)"},
    };
    for (const auto& [object, message] : cases) {
        try {
            object->VerifyCRC();
            ADD_FAILURE() << message;
        } catch (const GenICam::LogicalErrorException& error) {
            EXPECT_STREQ(error.what(), message);
        }
    }
}

} // namespace
} // namespace Vireo
