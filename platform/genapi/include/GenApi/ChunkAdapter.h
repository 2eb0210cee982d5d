// Binds the chunk ports of node maps to the chunk data of a buffer.
#ifndef GENAPI_CHUNKADAPTER_H
#define GENAPI_CHUNKADAPTER_H

#include <cstdint>

#include <GenApi/INodeMap.h>

namespace GenApi {

struct AttachStatistics_t {
    int NumChunkPorts;
    int NumChunks;
    int NumAttachedChunks;
};

class GENAPI_DECL CChunkAdapter {
public:
    virtual ~CChunkAdapter() = default;
    virtual void AttachNodeMap(INodeMap* pNodeMap) = 0;
    virtual void DetachNodeMap() = 0;
    // True when the buffer's trailer parses as chunks.
    virtual bool CheckBufferLayout(uint8_t* pBuffer, int64_t BufferLength) = 0;
    // Throws RuntimeException "Invalid layout of buffer attached to chunk parser!" for a
    // buffer whose trailer does not parse.
    virtual void AttachBuffer(uint8_t* pBuffer, int64_t BufferLength, AttachStatistics_t* pAttachStatistics = nullptr) = 0;
    virtual void DetachBuffer() = 0;
    // The same chunk layout at a new address (for example after a copy of the buffer).
    virtual void UpdateBuffer(uint8_t* pBaseAddress) = 0;
    virtual void ClearCaches() = 0;
};

} // namespace GenApi

#endif
