#include <Vireo/CompressedImageExtendedChunk.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace Vireo {
namespace {

uint32_t BigEndian32(const uint8_t* bytes) {
    return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
}

// The length of the compressed stream: in the GigE Vision chunk layout the stream is the
// first chunk, and each chunk's data is followed by its ID and length (big-endian), so the
// chunks are walked back from the end of the filled bytes to the start of the buffer.
// Nothing when the trailers do not lead there.
std::optional<size_t> FirstChunkLength(const uint8_t* data, size_t filled) {
    constexpr size_t kTrailerBytes = 8;
    size_t end = filled;
    while (end >= kTrailerBytes) {
        const size_t length = BigEndian32(data + end - 4);
        if (length > end - kTrailerBytes) return std::nullopt;
        const size_t start = end - kTrailerBytes - length;
        if (start == 0) return length;
        end = start;
    }
    return std::nullopt;
}

} // namespace

// Buffer is a virtual base: this class initialises it; the Buffer initialisers of the parts
// are skipped.
CompressedImageExtendedChunk::CompressedImageExtendedChunk(TLDataStream* stream, void* hBuffer,
                                                           GenApi::INodeMap* pChunkNodeMap)
    : Buffer(stream, hBuffer), CompressedImage(stream, hBuffer), ChunkData(stream, hBuffer, pChunkNodeMap) {}

// The image values are read before Buffer(other) allocates the copy's block.
CompressedImageExtendedChunk::CompressedImageExtendedChunk(CompressedImageExtendedChunk* other,
                                                           GenApi::INodeMap* pChunkNodeMap)
    : CompressedImageExtendedChunk(other, CompressedImage::Snapshot(other), pChunkNodeMap) {}

CompressedImageExtendedChunk::CompressedImageExtendedChunk(CompressedImageExtendedChunk* other,
                                                           CompressedImage::Snapshot&& snapshot,
                                                           GenApi::INodeMap* pChunkNodeMap)
    : Buffer(other), CompressedImage(other, std::move(snapshot)), ChunkData(other, pChunkNodeMap) {}

CompressedImageExtendedChunk::~CompressedImageExtendedChunk() = default;

bool CompressedImageExtendedChunk::VerifyCRC() {
    const int64_t expected = ReadChunkCRC("CompressedImageExtendedChunk");
    // The camera's checksum covers the compressed stream, whose length only the chunk layout
    // tells: the filled size takes in the chunks after it, the CRC chunk among them.
    const std::optional<size_t> stream = FirstChunkLength(GetData(), GetSizeFilled());
    return stream.has_value() && PayloadMatchesCRC(*stream, expected);
}

} // namespace Vireo
