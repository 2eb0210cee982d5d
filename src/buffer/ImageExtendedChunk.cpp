#include <Vireo/ImageExtendedChunk.h>

#include <utility>

namespace Vireo {

// Buffer is a virtual base: this class initialises it; the Buffer initialisers of the parts
// are skipped.
ImageExtendedChunk::ImageExtendedChunk(TLDataStream* stream, void* hBuffer, GenApi::INodeMap* pChunkNodeMap)
    : Buffer(stream, hBuffer), Image(stream, hBuffer), ChunkData(stream, hBuffer, pChunkNodeMap) {}

// The image values are read before Buffer(other) allocates the copy's block.
ImageExtendedChunk::ImageExtendedChunk(ImageExtendedChunk* other, GenApi::INodeMap* pChunkNodeMap)
    : ImageExtendedChunk(other, Image::Snapshot(other), pChunkNodeMap) {}

ImageExtendedChunk::ImageExtendedChunk(ImageExtendedChunk* other, Image::Snapshot&& snapshot,
                                       GenApi::INodeMap* pChunkNodeMap)
    : Buffer(other), Image(other, std::move(snapshot)), ChunkData(other, pChunkNodeMap) {}

ImageExtendedChunk::~ImageExtendedChunk() = default;

bool ImageExtendedChunk::VerifyCRC() {
    const int64_t expected = ReadChunkCRC("ImageExtendedChunk");
    // Rounded down: a packed format may end part way through a byte.
    const uint64_t length = uint64_t{GetWidth()} * GetHeight() * GetBitsPerPixel() / 8;
    return PayloadMatchesCRC(length, expected);
}

} // namespace Vireo
