#include <Vireo/CompressedImageExtendedChunk.h>

#include <utility>

namespace Vireo {

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
    return PayloadMatchesCRC(GetSizeFilled(), expected);
}

} // namespace Vireo
