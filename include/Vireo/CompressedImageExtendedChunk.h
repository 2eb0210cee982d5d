// A compressed (QOI) image buffer that also carries chunk data (GenTL payload type 1002).
#ifndef VIREO_COMPRESSEDIMAGEEXTENDEDCHUNK_H
#define VIREO_COMPRESSEDIMAGEEXTENDEDCHUNK_H

#include <Vireo/ChunkData.h>
#include <Vireo/CompressedImage.h>

namespace Vireo {

class VIREO_API CompressedImageExtendedChunk : public virtual CompressedImage, public virtual ChunkData {
public:
    CompressedImageExtendedChunk(TLDataStream* stream, void* hBuffer, GenApi::INodeMap* pChunkNodeMap);
    // A deep snapshot; the chunk node map as for ChunkData(ChunkData*, INodeMap*).
    explicit CompressedImageExtendedChunk(CompressedImageExtendedChunk* other,
                                          GenApi::INodeMap* pChunkNodeMap = nullptr);
    ~CompressedImageExtendedChunk() override;

    VIREO_FORWARD_BUFFER_OPERATIONS(Buffer)
    // Compares the ChunkCRC chunk with the CRC-32 of the compressed stream, the buffer's first
    // chunk, whose length the chunk trailers give (false when they do not tile the buffer).
    // Throws GenICam::LogicalErrorException for an incomplete buffer or an unreadable ChunkCRC.
    bool VerifyCRC() override;

protected:
    CompressedImageExtendedChunk(CompressedImageExtendedChunk* other, CompressedImage::Snapshot&& snapshot,
                                 GenApi::INodeMap* pChunkNodeMap);
};

} // namespace Vireo

#endif
