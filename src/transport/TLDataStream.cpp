#include <Vireo/TLDataStream.h>

#include "Producer.h"

namespace Vireo {

TLDataStream::~TLDataStream() = default;

GenTL::GC_ERROR TLDataStream::Close() { return Producer().DSClose(m_handle); }

GenTL::GC_ERROR TLDataStream::AnnounceBuffer(void* buffer, size_t size, void* userPointer, void** bufferHandle) {
    return Producer().DSAnnounceBuffer(m_handle, buffer, size, userPointer, bufferHandle);
}

GenTL::GC_ERROR TLDataStream::AllocAndAnnounceBuffer(size_t size, void* userPointer, void** bufferHandle) {
    return Producer().DSAllocAndAnnounceBuffer(m_handle, size, userPointer, bufferHandle);
}

GenTL::GC_ERROR TLDataStream::QueueBuffer(void* bufferHandle) { return Producer().DSQueueBuffer(m_handle, bufferHandle); }

GenTL::GC_ERROR TLDataStream::RevokeBuffer(void* bufferHandle, void** buffer, void** userPointer) {
    return Producer().DSRevokeBuffer(m_handle, bufferHandle, buffer, userPointer);
}

GenTL::GC_ERROR TLDataStream::FlushQueue(int32_t operation) { return Producer().DSFlushQueue(m_handle, operation); }

GenTL::GC_ERROR TLDataStream::GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size) {
    return Producer().DSGetInfo(m_handle, cmd, type, buffer, size);
}

GenTL::GC_ERROR TLDataStream::GetBufferID(uint32_t index, void** bufferHandle) {
    return Producer().DSGetBufferID(m_handle, index, bufferHandle);
}

GenTL::GC_ERROR TLDataStream::GetBufferInfo(void* bufferHandle, int32_t cmd, int32_t* type, void* buffer,
                                            size_t* size) {
    return Producer().DSGetBufferInfo(m_handle, bufferHandle, cmd, type, buffer, size);
}

GenTL::GC_ERROR TLDataStream::StartAcquisition(int32_t flags, uint64_t count) {
    return Producer().DSStartAcquisition(m_handle, flags, count);
}

GenTL::GC_ERROR TLDataStream::StopAcquisition(int32_t flags) { return Producer().DSStopAcquisition(m_handle, flags); }

GenTL::GC_ERROR TLDataStream::GetBufferChunkData(void* bufferHandle, GenTL::S_SINGLE_CHUNK_DATA* chunks,
                                                 size_t* count) {
    return Producer().DSGetBufferChunkData(m_handle, bufferHandle, chunks, count);
}

GenTL::GC_ERROR TLDataStream::GetNumBufferParts(void* bufferHandle, uint32_t* count) {
    return Producer().DSGetNumBufferParts(m_handle, bufferHandle, count);
}

GenTL::GC_ERROR TLDataStream::GetBufferPartInfo(void* bufferHandle, uint32_t part, int32_t cmd, int32_t* type,
                                                void* buffer, size_t* size) {
    return Producer().DSGetBufferPartInfo(m_handle, bufferHandle, part, cmd, type, buffer, size);
}

GenTL::GC_ERROR TLDataStream::WaitForNextLeader(uint64_t timeoutMs) {
    return Producer().DSWaitForNextLeader(m_handle, timeoutMs);
}

GenTL::GC_ERROR TLDataStream::ResetWaitForNextLeader() { return Producer().DSResetWaitForNextLeader(m_handle); }

GenTL::GC_ERROR TLDataStream::SetupResendRetryParams(uint64_t resendWindowFrameCount, double frameRate,
                                                     const char* serialNumber, const char* firmwareVersion,
                                                     int32_t width, int32_t height) {
    return Producer().DSSetupResendRetryParams(m_handle, resendWindowFrameCount, frameRate, serialNumber,
                                               firmwareVersion, width, height);
}

} // namespace Vireo
