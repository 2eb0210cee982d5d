// Chunk adapter for the GigE Vision layout: each chunk is its data followed by a big-endian
// chunk id and a big-endian data length, so the chunks are found from the end of the buffer.
#ifndef GENAPI_CHUNKADAPTERGEV_H
#define GENAPI_CHUNKADAPTERGEV_H

#include <memory>

#include <GenApi/ChunkAdapter.h>

namespace GenApi {

class ChunkBinding;

class GENAPI_DECL CChunkAdapterGEV : public CChunkAdapter {
public:
    // MaxChunkCacheSize -1 means no limit; chunk data is read in place, never copied.
    explicit CChunkAdapterGEV(INodeMap* pNodeMap = nullptr, int64_t MaxChunkCacheSize = -1);
    ~CChunkAdapterGEV() override;
    CChunkAdapterGEV(const CChunkAdapterGEV&) = delete;
    CChunkAdapterGEV& operator=(const CChunkAdapterGEV&) = delete;

    void AttachNodeMap(INodeMap* pNodeMap) override;
    void DetachNodeMap() override;
    bool CheckBufferLayout(uint8_t* pBuffer, int64_t BufferLength) override;
    void AttachBuffer(uint8_t* pBuffer, int64_t BufferLength, AttachStatistics_t* pAttachStatistics = nullptr) override;
    void DetachBuffer() override;
    void UpdateBuffer(uint8_t* pBaseAddress) override;
    void ClearCaches() override;

private:
    std::unique_ptr<ChunkBinding> m_binding;
};

} // namespace GenApi

#endif
