// One data stream of a device: its buffers, their queue and acquisition.
#ifndef VIREO_TLDATASTREAM_H
#define VIREO_TLDATASTREAM_H

#include <Vireo/TLBase.h>

namespace Vireo {

class VIREO_API TLDataStream : public TLBase {
public:
    using TLBase::TLBase;
    ~TLDataStream() override;

    virtual GenTL::GC_ERROR Close();
    virtual GenTL::GC_ERROR AnnounceBuffer(void* buffer, size_t size, void* userPointer, void** bufferHandle);
    virtual GenTL::GC_ERROR AllocAndAnnounceBuffer(size_t size, void* userPointer, void** bufferHandle);
    virtual GenTL::GC_ERROR QueueBuffer(void* bufferHandle);
    virtual GenTL::GC_ERROR RevokeBuffer(void* bufferHandle, void** buffer, void** userPointer);
    virtual GenTL::GC_ERROR FlushQueue(int32_t operation);
    virtual GenTL::GC_ERROR GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR GetBufferID(uint32_t index, void** bufferHandle);
    virtual GenTL::GC_ERROR GetBufferInfo(void* bufferHandle, int32_t cmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR StartAcquisition(int32_t flags, uint64_t count);
    virtual GenTL::GC_ERROR StopAcquisition(int32_t flags);
    virtual GenTL::GC_ERROR GetBufferChunkData(void* bufferHandle, GenTL::S_SINGLE_CHUNK_DATA* chunks, size_t* count);
    virtual GenTL::GC_ERROR GetNumBufferParts(void* bufferHandle, uint32_t* count);
    virtual GenTL::GC_ERROR GetBufferPartInfo(void* bufferHandle, uint32_t part, int32_t cmd, int32_t* type,
                                              void* buffer, size_t* size);
    virtual GenTL::GC_ERROR WaitForNextLeader(uint64_t timeoutMs);
    virtual GenTL::GC_ERROR ResetWaitForNextLeader();
    virtual GenTL::GC_ERROR SetupResendRetryParams(uint64_t resendWindowFrameCount, double frameRate,
                                                   const char* serialNumber, const char* firmwareVersion,
                                                   int32_t width, int32_t height);
};

} // namespace Vireo

#endif
