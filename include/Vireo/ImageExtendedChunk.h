// An image buffer that also carries chunk data (GenTL payload type 0x4001). The image
// accessors come from its Image part, GetChunk from its ChunkData part.
#ifndef VIREO_IMAGEEXTENDEDCHUNK_H
#define VIREO_IMAGEEXTENDEDCHUNK_H

#include <Vireo/ChunkData.h>
#include <Vireo/Image.h>

namespace Vireo {

class VIREO_API ImageExtendedChunk : public virtual Image, public virtual ChunkData {
public:
    ImageExtendedChunk(TLDataStream* stream, void* hBuffer, GenApi::INodeMap* pChunkNodeMap);
    // A deep snapshot; the chunk node map as for ChunkData(ChunkData*, INodeMap*).
    explicit ImageExtendedChunk(ImageExtendedChunk* other, GenApi::INodeMap* pChunkNodeMap = nullptr);
    ~ImageExtendedChunk() override;

    VIREO_FORWARD_BUFFER_OPERATIONS(Buffer)
    // Compares the ChunkCRC chunk with the CRC-32 of the image's width * height * bits per
    // pixel / 8 bytes (padding and chunks excluded). Throws GenICam::LogicalErrorException for
    // an incomplete buffer or an unreadable ChunkCRC.
    bool VerifyCRC() override;

protected:
    ImageExtendedChunk(ImageExtendedChunk* other, Image::Snapshot&& snapshot, GenApi::INodeMap* pChunkNodeMap);
};

} // namespace Vireo

#endif
