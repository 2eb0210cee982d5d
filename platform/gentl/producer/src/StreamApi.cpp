// The data stream functions of the GenTL C API.
#include "Modules.h"
#include "OpenModules.h"
#include "ProducerState.h"

using namespace VirtualGenTL;

namespace VirtualGenTL {
void ForgetEventsOf(void* source);
} // namespace VirtualGenTL

namespace GenTL {

GC_ERROR DSAnnounceBuffer(DS_HANDLE hDataStream, void* pBuffer, size_t iSize, void* pPrivate, BUFFER_HANDLE* phBuffer) {
    return Guard("DSAnnounceBuffer", [&] {
        Required(phBuffer, "the buffer handle");
        *phBuffer = OpenStream(hDataStream)->Announce(static_cast<uint8_t*>(pBuffer), iSize, pPrivate, nullptr);
    });
}

GC_ERROR DSAllocAndAnnounceBuffer(DS_HANDLE hDataStream, size_t iSize, void* pPrivate, BUFFER_HANDLE* phBuffer) {
    return Guard("DSAllocAndAnnounceBuffer", [&] {
        Required(phBuffer, "the buffer handle");
        const auto stream = OpenStream(hDataStream);
        if (iSize == 0) Fail(GC_ERR_INVALID_PARAMETER, "the buffer size is 0");
        std::unique_ptr<uint8_t[]> memory(new uint8_t[iSize]);
        uint8_t* base = memory.get();
        *phBuffer = stream->Announce(base, iSize, pPrivate, std::move(memory));
    });
}

GC_ERROR DSFlushQueue(DS_HANDLE hDataStream, ACQ_QUEUE_TYPE iOperation) {
    return Guard("DSFlushQueue", [&] { OpenStream(hDataStream)->Flush(iOperation); });
}

GC_ERROR DSStartAcquisition(DS_HANDLE hDataStream, ACQ_START_FLAGS iStartFlags, uint64_t iNumToAcquire) {
    return Guard("DSStartAcquisition", [&] {
        if (iStartFlags != ACQ_START_FLAGS_DEFAULT) Fail(GC_ERR_INVALID_PARAMETER, "unknown start flags");
        if (iNumToAcquire == 0) Fail(GC_ERR_INVALID_PARAMETER, "zero frames to acquire");
        OpenStream(hDataStream)->StartAcquisition(iNumToAcquire);
    });
}

GC_ERROR DSStopAcquisition(DS_HANDLE hDataStream, ACQ_STOP_FLAGS iStopFlags) {
    return Guard("DSStopAcquisition", [&] {
        if (iStopFlags != ACQ_STOP_FLAGS_DEFAULT && iStopFlags != ACQ_STOP_FLAGS_KILL)
            Fail(GC_ERR_INVALID_PARAMETER, "unknown stop flags");
        // A stream that is not acquiring cannot be stopped; the call still ends a pending wait.
        if (!OpenStream(hDataStream)->StopAcquisition())
            Fail(GC_ERR_RESOURCE_IN_USE, "the acquisition is not running");
    });
}

GC_ERROR DSGetInfo(DS_HANDLE hDataStream, STREAM_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return Guard("DSGetInfo", [&] {
        const auto stream = OpenStream(hDataStream);
        InfoAnswer answer(piType, pBuffer, piSize);
        stream->Info(iInfoCmd, answer);
    });
}

GC_ERROR DSGetBufferID(DS_HANDLE hDataStream, uint32_t iIndex, BUFFER_HANDLE* phBuffer) {
    return Guard("DSGetBufferID", [&] { *Required(phBuffer, "the buffer handle") = OpenStream(hDataStream)->BufferId(iIndex); });
}

GC_ERROR DSClose(DS_HANDLE hDataStream) {
    return Guard("DSClose", [&] {
        const auto stream = OpenStream(hDataStream);
        ForgetEventsOf(hDataStream);
        stream->Close();
        Handles::Remove(hDataStream);
    });
}

GC_ERROR DSRevokeBuffer(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, void** pBuffer, void** pPrivate) {
    return Guard("DSRevokeBuffer", [&] { OpenStream(hDataStream)->Revoke(hBuffer, pBuffer, pPrivate); });
}

GC_ERROR DSQueueBuffer(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer) {
    return Guard("DSQueueBuffer", [&] { OpenStream(hDataStream)->Queue(hBuffer); });
}

GC_ERROR DSGetBufferInfo(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, BUFFER_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                         void* pBuffer, size_t* piSize) {
    return Guard("DSGetBufferInfo", [&] {
        const auto stream = OpenStream(hDataStream);
        InfoAnswer answer(piType, pBuffer, piSize);
        stream->BufferInfo(hBuffer, iInfoCmd, answer);
    });
}

GC_ERROR DSGetBufferChunkData(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, S_SINGLE_CHUNK_DATA* pChunkData,
                              size_t* piNumChunks) {
    return Guard("DSGetBufferChunkData", [&] {
        OpenStream(hDataStream)->ChunkData(hBuffer, pChunkData, Required(piNumChunks, "the chunk count"));
    });
}

GC_ERROR DSGetParentDev(DS_HANDLE hDataStream, DEV_HANDLE* phDevice) {
    return Guard("DSGetParentDev", [&] { *Required(phDevice, "the device handle") = OpenStream(hDataStream)->ParentHandle(); });
}

GC_ERROR DSGetNumBufferParts(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, uint32_t* piNumParts) {
    return Guard("DSGetNumBufferParts", [&] {
        Required(piNumParts, "the part count");
        *piNumParts = OpenStream(hDataStream)->NumParts(hBuffer);  // 0: not a multipart buffer
    });
}

GC_ERROR DSGetBufferPartInfo(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, uint32_t iPartIndex,
                             BUFFER_PART_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return Guard("DSGetBufferPartInfo", [&] {
        const auto stream = OpenStream(hDataStream);
        InfoAnswer answer(piType, pBuffer, piSize);
        stream->PartInfo(hBuffer, iPartIndex, iInfoCmd, answer);
    });
}

} // namespace GenTL
