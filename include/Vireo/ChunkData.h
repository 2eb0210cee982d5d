// A buffer that carries chunk data: the chunks are bound to the nodes of a chunk node map on
// first use, through the GigE Vision chunk layout.
#ifndef VIREO_CHUNKDATA_H
#define VIREO_CHUNKDATA_H

#include <Vireo/Buffer.h>
#include <Vireo/IChunkData.h>

namespace GenApi {
class CChunkAdapterGEV;
class INodeMap;
}

namespace Vireo {

class VIREO_API ChunkData : public IChunkData, public virtual Buffer {
public:
    // A delivered buffer. The object owns pChunkNodeMap (it may be null: then there are no
    // chunks to read) and destroys it through GenApi::IDestroy.
    ChunkData(TLDataStream* stream, void* hBuffer, GenApi::INodeMap* pChunkNodeMap);
    // A deep snapshot, as Buffer(Buffer*). A node map is bound to one buffer at a time and the
    // engine cannot clone one, so the copy reads its chunks through a map of its own: made by
    // the caller from the camera's description and owned by the copy once the copy exists (the
    // caller keeps it when the copy throws). Without one, GetChunk of the copy returns null.
    explicit ChunkData(ChunkData* other, GenApi::INodeMap* pChunkNodeMap = nullptr);
    ~ChunkData() override;

    VIREO_FORWARD_BUFFER_OPERATIONS(Buffer)
    // Plain chunk data has no geometry that says which bytes the CRC covers: throws
    // GenICam::LogicalErrorException.
    bool VerifyCRC() override;

    // The first call binds the chunk node map to the filled part of the buffer. A buffer whose
    // chunk trailer does not parse gives null, and the next call tries again; every other
    // failure propagates.
    GenApi::INode* GetChunk(GenICam::gcstring name) override;

    GenApi::INodeMap* GetChunkNodeMap() const { return m_chunkNodeMap; }

protected:
    // The ChunkCRC value, after the checks shared by the classes that can verify it: a
    // complete buffer and a readable ChunkCRC node. Their messages name the unit.
    int64_t ReadChunkCRC(const char* unit);
    // Whether the CRC-32 of the first `length` bytes of the payload equals `expected`.
    bool PayloadMatchesCRC(uint64_t length, int64_t expected);

    GenApi::CChunkAdapterGEV* m_chunkAdapter = nullptr;  // made on the first GetChunk
    GenApi::INodeMap* m_chunkNodeMap = nullptr;

private:
    bool AttachChunks();
};

} // namespace Vireo

#endif
