// A buffer delivered by a stream or made by the image factory. Every property is read from
// the transport once, on first use, and kept for the life of the object.
#ifndef VIREO_IBUFFER_H
#define VIREO_IBUFFER_H

#include <cstddef>
#include <cstdint>

#include <Vireo/Config.h>

namespace Vireo {

class IImage;
class IChunkData;
class ICompressedImage;

class VIREO_API IBuffer {
public:
    // First byte of the payload.
    virtual const uint8_t* GetData() = 0;
    // Bytes the transport wrote into the buffer.
    virtual size_t GetSizeFilled() = 0;
    // Bytes of payload the device announced.
    virtual size_t GetPayloadSize() = 0;
    // Bytes allocated for the buffer.
    virtual size_t GetSizeOfBuffer() = 0;
    virtual uint64_t GetFrameId() = 0;
    // GenTL payload type: 1 image, 4 chunk data, 0x4001 image with chunks, 1001 compressed
    // image, 1002 compressed image with chunks.
    virtual uint64_t GetPayloadType() = 0;
    virtual bool HasImageData() = 0;
    virtual bool HasChunkData() = 0;
    virtual bool IsCompressedImage() = 0;
    // The object seen as an image, chunk-data buffer or compressed image; null when it is not one.
    virtual IImage* AsImage() = 0;
    virtual IChunkData* AsChunkData() = 0;
    virtual ICompressedImage* AsCompressedImage() = 0;
    virtual bool IsIncomplete() = 0;
    virtual bool DataLargerThanBuffer() = 0;
    // Recomputes the CRC of the payload and compares it with the ChunkCRC chunk.
    virtual bool VerifyCRC() = 0;
    virtual ~IBuffer();
};

} // namespace Vireo

#endif
