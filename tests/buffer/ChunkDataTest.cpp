// Chunk-carrying buffers on hand-built GigE Vision layouts: the image as the first chunk, then
// each chunk's data followed by its big-endian ID and length.
#include <Vireo/ChunkData.h>
#include <Vireo/CompressedImageExtendedChunk.h>
#include <Vireo/ImageExtendedChunk.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/PixelFormat.h>
#include <Vireo/System.h>

#include <GenApi/GenApi.h>
#include <GenTL/VirtualProducerControl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/ReferenceCrc32.h"
#include "support/ScriptedDataStream.h"
#include "transport/Errors.h"

namespace Vireo {
namespace {

using Testing::ScriptedDataStream;

void* const kBuffer = reinterpret_cast<void*>(0xC4);
constexpr uint32_t kImageId = 0xA5A50000, kCrcId = 0xA5A50001, kCounterId = 0xA5A50002;

const std::string kCounterNodes = R"(<Port Name="CounterPort"><ChunkID>A5A50002</ChunkID></Port>
    <IntReg Name="ChunkFrameCounter"><Address>0</Address><Length>8</Length><AccessMode>RO</AccessMode>
      <pPort>CounterPort</pPort><Endianess>BigEndian</Endianess></IntReg>)";
const std::string kCrcPort = R"(<Port Name="CrcPort"><ChunkID>A5A50001</ChunkID></Port>)";
const std::string kChunkNodes = kCounterNodes + kCrcPort + R"(
    <IntReg Name="ChunkCRC"><Address>0</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>CrcPort</pPort>
      <Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>)";
// A ChunkCRC that is not an integer.
const std::string kFloatCrcNodes = kCrcPort + R"(
    <FloatReg Name="ChunkCRC"><Address>0</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>CrcPort</pPort>
      <Endianess>BigEndian</Endianess></FloatReg>)";

GenApi::INodeMap* ChunkMap(const std::string& nodes = kChunkNodes) {
    const std::string text = "<?xml version=\"1.0\"?><RegisterDescription ModelName=\"Chunks\" VendorName=\"Vireo\" "
                             "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\"><Port Name=\"Device\"/>" +
                             nodes + "</RegisterDescription>";
    return GenApi::CNodeMapFactory(GenApi::ContentType_Auto, text.data(), text.size()).CreateNodeMap();
}

void Append(std::vector<uint8_t>& out, uint64_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

void AppendChunk(std::vector<uint8_t>& out, uint32_t id, const std::vector<uint8_t>& data) {
    out.insert(out.end(), data.begin(), data.end());
    Append(out, id, 4);
    Append(out, data.size(), 4);
}

// The image chunk, then a CRC chunk over the first crcBytes of the image (none for 0), then a
// frame counter of 77.
std::vector<uint8_t> Frame(const std::vector<uint8_t>& image, size_t crcBytes) {
    std::vector<uint8_t> frame;
    AppendChunk(frame, kImageId, image);
    if (crcBytes != 0) {
        std::vector<uint8_t> crc;
        Append(crc, Testing::ReferenceCrc32(image.data(), crcBytes), 4);
        AppendChunk(frame, kCrcId, crc);
    }
    std::vector<uint8_t> counter;
    Append(counter, 77, 8);
    AppendChunk(frame, kCounterId, counter);
    return frame;
}

GenTL::GC_ERROR ScriptedLastError(GenTL::GC_ERROR*, char* text, size_t*) {
    std::strcpy(text, "link lost");
    return GenTL::GC_ERR_SUCCESS;
}

template <class Callable>
std::string ErrorOf(Callable&& callable) {
    try {
        callable();
    } catch (const GenICam::GenericException& error) {
        return error.what();
    }
    return "no exception";
}

int64_t ValueOf(GenApi::INode* node) { return GenApi::CIntegerPtr(node)->GetValue(); }

class ChunkBuffers : public ::testing::Test {
protected:
    void SetUp() override {
        previous_ = SetLastErrorSource(&ScriptedLastError);
        // A 5 x 3 Mono8 image (15 bytes) and one byte of padding in its chunk.
        image.resize(16);
        for (size_t index = 0; index < image.size(); ++index) image[index] = uint8_t(index * 37 + 11);
        Deliver(Frame(image, 15), Mono8, 5, 3);
        stream.SetUInt64(GenTL::BUFFER_INFO_DATA_SIZE, 0);
        stream.SetUInt64(GenTL::BUFFER_INFO_FRAMEID, 9);
        stream.SetUInt64(GenTL::BUFFER_INFO_PAYLOADTYPE, GenTL::PAYLOAD_TYPE_IMAGE_EXTENDED_CHUNK);
        stream.SetBool(GenTL::BUFFER_INFO_IMAGEPRESENT, true);
        stream.SetBool(GenTL::BUFFER_INFO_CONTAINS_CHUNKDATA, true);
        stream.SetBool(GenTL::BUFFER_INFO_IS_INCOMPLETE, false);
        stream.SetBool(GenTL::BUFFER_INFO_DATA_LARGER_THAN_BUFFER, false);
        for (int command : {GenTL::BUFFER_INFO_XOFFSET, GenTL::BUFFER_INFO_YOFFSET, GenTL::BUFFER_INFO_XPADDING,
                            GenTL::BUFFER_INFO_YPADDING, GenTL::BUFFER_INFO_TIMESTAMP_NS})
            stream.SetUInt64(command, 0);
        stream.SetUInt64(GenTL::BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP, 0);
        stream.SetInt32(GenTL::BUFFER_INFO_PIXEL_ENDIANNESS, GenTL::PIXELENDIANNESS_LITTLE);
    }
    void TearDown() override { SetLastErrorSource(previous_); }

    void Deliver(std::vector<uint8_t> frame, uint64_t pixelFormat, uint64_t width, uint64_t height) {
        bytes = std::move(frame);
        stream.SetPointer(GenTL::BUFFER_INFO_BASE, bytes.data());
        stream.SetUInt64(GenTL::BUFFER_INFO_SIZE_FILLED, bytes.size());
        stream.SetUInt64(GenTL::BUFFER_INFO_SIZE, bytes.size());
        stream.SetUInt64(GenTL::BUFFER_INFO_PIXELFORMAT, pixelFormat);
        stream.SetUInt64(GenTL::BUFFER_INFO_WIDTH, width);
        stream.SetUInt64(GenTL::BUFFER_INFO_HEIGHT, height);
    }

    ScriptedDataStream stream;
    std::vector<uint8_t> image;
    std::vector<uint8_t> bytes;

private:
    LastErrorSource previous_ = nullptr;
};

TEST_F(ChunkBuffers, GetChunkBindsTheNodeMapToThisBuffer) {
    ChunkData chunks(&stream, kBuffer, ChunkMap());
    GenApi::INode* counter = chunks.GetChunk("ChunkFrameCounter");
    ASSERT_NE(counter, nullptr);
    EXPECT_EQ(ValueOf(counter), 77);
    EXPECT_EQ(ValueOf(chunks.GetChunk("ChunkCRC")), int64_t{Testing::ReferenceCrc32(image.data(), 15)});
    EXPECT_EQ(chunks.GetChunk("ChunkExposureTime"), nullptr);
    EXPECT_EQ(chunks.GetChunk("ChunkFrameCounter"), counter);
    EXPECT_EQ(stream.queries[GenTL::BUFFER_INFO_SIZE_FILLED], 1);

    ChunkData withoutMap(&stream, kBuffer, nullptr);
    EXPECT_EQ(withoutMap.GetChunk("ChunkCRC"), nullptr);
}

TEST_F(ChunkBuffers, AnUnparsableTrailerGivesNullUntilItParsesAndOtherErrorsPropagate) {
    ChunkData chunks(&stream, kBuffer, ChunkMap());
    bytes.back() = 0xFF;  // the last chunk claims more bytes than precede it
    EXPECT_EQ(chunks.GetChunk("ChunkFrameCounter"), nullptr);
    EXPECT_EQ(chunks.GetChunk("ChunkFrameCounter"), nullptr);
    bytes.back() = 8;
    EXPECT_EQ(ValueOf(chunks.GetChunk("ChunkFrameCounter")), 77);

    stream.Fail(GenTL::BUFFER_INFO_BASE, GenTL::GC_ERR_IO);  // a runtime error of another kind
    ChunkData unreadable(&stream, kBuffer, ChunkMap());
    EXPECT_THROW(unreadable.GetChunk("ChunkCRC"), GenICam::RuntimeException);
}

TEST_F(ChunkBuffers, EachKindSeesItselfThroughEveryInterface) {
    ChunkData chunks(&stream, kBuffer, ChunkMap());
    ImageExtendedChunk chunkImage(&stream, kBuffer, ChunkMap());
    CompressedImageExtendedChunk compressed(&stream, kBuffer, ChunkMap());
    IBuffer* asBuffer = static_cast<IChunkData*>(&chunks);
    EXPECT_EQ(asBuffer->AsChunkData(), static_cast<IChunkData*>(&chunks));
    EXPECT_EQ(asBuffer->AsImage(), nullptr);
    EXPECT_EQ(asBuffer->AsCompressedImage(), nullptr);
    IBuffer* imageAsBuffer = static_cast<IImage*>(&chunkImage);
    EXPECT_EQ(imageAsBuffer->AsImage(), static_cast<IImage*>(&chunkImage));
    EXPECT_EQ(imageAsBuffer->AsCompressedImage(), nullptr);
    ASSERT_NE(imageAsBuffer->AsChunkData(), nullptr);
    EXPECT_EQ(ValueOf(imageAsBuffer->AsChunkData()->GetChunk("ChunkFrameCounter")), 77);
    IBuffer* compressedAsBuffer = static_cast<IChunkData*>(&compressed);
    EXPECT_EQ(compressedAsBuffer->AsCompressedImage(), static_cast<ICompressedImage*>(&compressed));
    EXPECT_EQ(compressedAsBuffer->AsChunkData(), static_cast<IChunkData*>(&compressed));
    EXPECT_EQ(compressedAsBuffer->AsImage(), nullptr);
}

TEST_F(ChunkBuffers, TheImageCrcCoversWidthTimesHeightTimesBitsPerPixelBytes) {
    ImageExtendedChunk good(&stream, kBuffer, ChunkMap());
    EXPECT_TRUE(good.VerifyCRC());
    bytes[14] ^= 1;  // the last image byte
    EXPECT_FALSE(good.VerifyCRC());

    Deliver(Frame(image, 16), Mono8, 5, 3);  // a CRC over the padding too
    EXPECT_FALSE(ImageExtendedChunk(&stream, kBuffer, ChunkMap()).VerifyCRC());

    // Three Mono12p pixels are 4.5 bytes: the half byte is not covered.
    Deliver(Frame({1, 2, 3, 4, 5}, 4), Mono12p, 3, 1);
    EXPECT_TRUE(ImageExtendedChunk(&stream, kBuffer, ChunkMap()).VerifyCRC());
    Deliver(Frame({1, 2, 3, 4, 5}, 5), Mono12p, 3, 1);
    EXPECT_FALSE(ImageExtendedChunk(&stream, kBuffer, ChunkMap()).VerifyCRC());

    // Geometry beyond the delivered bytes is never read.
    Deliver(Frame(image, 15), Mono8, 500, 300);
    EXPECT_FALSE(ImageExtendedChunk(&stream, kBuffer, ChunkMap()).VerifyCRC());
}

TEST_F(ChunkBuffers, VerifyCrcRefusesWithTheMessageOfItsUnit) {
    const std::string incomplete = "LogicalErrorException: Data received is incomplete";
    const std::string unreadable = "LogicalErrorException: Cannot read 'ChunkCRC'";
    const std::string image = " (ImageExtendedChunk, VerifyCRC)";
    const std::string compressed = " (CompressedImageExtendedChunk, VerifyCRC)";
    ChunkData chunks(&stream, kBuffer, ChunkMap());
    EXPECT_EQ(ErrorOf([&] { chunks.VerifyCRC(); }),
              "LogicalErrorException: Validating CRC for ChunkData is not supported (ChunkData, VerifyCRC)");
    EXPECT_EQ(ErrorOf([&] { ImageExtendedChunk(&stream, kBuffer, ChunkMap(kCounterNodes)).VerifyCRC(); }),
              unreadable + image);
    EXPECT_EQ(ErrorOf([&] { ImageExtendedChunk(&stream, kBuffer, nullptr).VerifyCRC(); }), unreadable + image);
    EXPECT_EQ(ErrorOf([&] { ImageExtendedChunk(&stream, kBuffer, ChunkMap(kFloatCrcNodes)).VerifyCRC(); }),
              "NULL pointer dereferenced");

    Deliver(Frame(this->image, 0), Mono8, 5, 3);  // no CRC chunk: its node cannot be read
    EXPECT_EQ(ErrorOf([&] { ImageExtendedChunk(&stream, kBuffer, ChunkMap()).VerifyCRC(); }), unreadable + image);
    EXPECT_EQ(ErrorOf([&] { CompressedImageExtendedChunk(&stream, kBuffer, ChunkMap()).VerifyCRC(); }),
              unreadable + compressed);
    stream.SetBool(GenTL::BUFFER_INFO_IS_INCOMPLETE, true);  // checked first
    EXPECT_EQ(ErrorOf([&] { ImageExtendedChunk(&stream, kBuffer, ChunkMap()).VerifyCRC(); }), incomplete + image);
    EXPECT_EQ(ErrorOf([&] { CompressedImageExtendedChunk(&stream, kBuffer, ChunkMap()).VerifyCRC(); }),
              incomplete + compressed);
}

TEST_F(ChunkBuffers, CopiesReadChunksFromTheirOwnBlockThroughTheirOwnMap) {
    ImageExtendedChunk source(&stream, kBuffer, ChunkMap());
    ASSERT_TRUE(source.VerifyCRC());  // the source's map is bound before it is copied
    std::unique_ptr<const uint8_t[]> block, bareBlock, compressedBlock;
    ImageExtendedChunk copy(&source, ChunkMap());
    block.reset(copy.GetData());
    ImageExtendedChunk bare(&source);
    bareBlock.reset(bare.GetData());
    CompressedImageExtendedChunk compressedSource(&stream, kBuffer, ChunkMap());
    CompressedImageExtendedChunk compressedCopy(&compressedSource, ChunkMap());
    compressedBlock.reset(compressedCopy.GetData());

    bytes.assign(bytes.size(), 0);
    EXPECT_TRUE(copy.VerifyCRC());
    EXPECT_EQ(ValueOf(copy.GetChunk("ChunkFrameCounter")), 77);
    EXPECT_EQ(copy.GetWidth(), 5u);
    EXPECT_EQ(ValueOf(compressedCopy.GetChunk("ChunkFrameCounter")), 77);
    EXPECT_EQ(compressedCopy.GetPixelFormat(), uint64_t(Mono8));
    EXPECT_EQ(bare.GetChunk("ChunkFrameCounter"), nullptr);
}

// The copy reads every value before it allocates its block; the map stays the caller's when
// the copy fails (the sanitizer build checks for leaks).
TEST_F(ChunkBuffers, AFailedCopyStrandsNothing) {
    stream.Fail(GenTL::BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP, GenTL::GC_ERR_IO);
    ImageExtendedChunk source(&stream, kBuffer, ChunkMap());
    CompressedImageExtendedChunk compressedSource(&stream, kBuffer, ChunkMap());
    GenApi::INodeMap* map = ChunkMap();
    EXPECT_THROW(ImageExtendedChunk copy(&source, map), GenICam::RuntimeException);
    EXPECT_THROW(CompressedImageExtendedChunk copy(&compressedSource, map), GenICam::RuntimeException);
    dynamic_cast<GenApi::IDestroy*>(map)->Destroy();
}

TEST_F(ChunkBuffers, ACompressedStreamIsCheckedOverTheLengthOfItsChunk) {
    // A 13-byte stream with its CRC and a frame counter behind it.
    const std::vector<uint8_t> compressedStream = {'q', 'o', 'i', 'f', 0, 0, 0, 5, 0, 0, 0, 3, 1};
    Deliver(Frame(compressedStream, compressedStream.size()), QOI_Mono8, 0, 0);
    stream.SetUInt64(GenTL::BUFFER_INFO_PAYLOADTYPE, GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE_EXTENDED_CHUNK);
    CompressedImageExtendedChunk frame(&stream, kBuffer, ChunkMap());
    EXPECT_TRUE(frame.VerifyCRC()) << "the trailers and the CRC chunk are not part of the checked bytes";
    bytes[12] ^= 0x10;  // the stream's last byte
    EXPECT_FALSE(frame.VerifyCRC());
    bytes[12] ^= 0x10;
    bytes[bytes.size() - 9] ^= 1;  // the frame counter, after the stream
    EXPECT_TRUE(frame.VerifyCRC());

    // A CRC over fewer bytes than the stream's chunk does not match.
    Deliver(Frame(compressedStream, 12), QOI_Mono8, 0, 0);
    EXPECT_FALSE(CompressedImageExtendedChunk(&stream, kBuffer, ChunkMap()).VerifyCRC());
}

// Compressed frames with chunks from a virtual camera: each matches its CRC chunk until a frame
// is changed after its CRC was computed.
TEST(CompressedChunkFrames, VerifyTheirCrcAndCatchACorruptedStream) {
    ISystem* system = OpenSystem();
    system->UpdateDevices(100);
    IDevice* camera = nullptr;
    for (const DeviceInfo& info : system->GetDevices())
        if (info.SerialNumber() == "VC2448C-0001") camera = system->CreateDevice(info);
    ASSERT_NE(camera, nullptr);
    GenApi::INodeMap* features = camera->GetNodeMap();
    SetNodeValue<int64_t>(features, "Width", 64);
    SetNodeValue<int64_t>(features, "Height", 48);
    SetNodeValue<GenICam::gcstring>(features, "PixelFormat", "BayerRG8");
    SetNodeValue<GenICam::gcstring>(features, "ImageCompressionMode", "QOI");
    SetNodeValue<bool>(features, "ChunkModeActive", true);
    SetNodeValue<GenICam::gcstring>(features, "ChunkSelector", "FrameCounter");
    SetNodeValue<bool>(features, "ChunkEnable", true);  // a chunk after the CRC chunk too
    camera->StartStream(4);
    for (int frame = 0; frame < 5; ++frame) {
        ICompressedImage* compressed = camera->GetCompressedImage(5000);
        EXPECT_EQ(compressed->GetPayloadType(), 1002u);
        EXPECT_TRUE(compressed->VerifyCRC()) << "frame " << compressed->GetFrameId();
        camera->RequeueBuffer(compressed);
    }
    ASSERT_EQ(VirtualProducerCorruptNextFrameData("VC2448C-0001"), GenTL::GC_ERR_SUCCESS);
    bool mismatch = false;
    for (int frame = 0; frame < 5 && !mismatch; ++frame) {
        ICompressedImage* compressed = camera->GetCompressedImage(5000);
        mismatch = !compressed->VerifyCRC();
        camera->RequeueBuffer(compressed);
    }
    EXPECT_TRUE(mismatch);
    camera->StopStream();
    system->DestroyDevice(camera);
    CloseSystem(system);
}

} // namespace
} // namespace Vireo
