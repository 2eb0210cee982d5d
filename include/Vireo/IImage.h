// A buffer that holds an image.
#ifndef VIREO_IIMAGE_H
#define VIREO_IIMAGE_H

#include <Vireo/IBuffer.h>

namespace Vireo {

class VIREO_API IImage : public IBuffer {
public:
    virtual size_t GetWidth() = 0;
    virtual size_t GetHeight() = 0;
    virtual size_t GetOffsetX() = 0;
    virtual size_t GetOffsetY() = 0;
    virtual size_t GetPaddingX() = 0;
    virtual size_t GetPaddingY() = 0;
    // The pixel-format code (see PixelFormat.h).
    virtual uint64_t GetPixelFormat() = 0;
    virtual size_t GetBitsPerPixel() = 0;
    // GenTL pixel endianness: 0 unknown, 1 little, 2 big.
    virtual int32_t GetPixelEndianness() = 0;
    // The same value as GetTimestampNs: nanoseconds.
    virtual uint64_t GetTimestamp() = 0;
    virtual uint64_t GetTimestampNs() = 0;
    // Host time, in nanoseconds, at which the frame's leader arrived.
    virtual uint64_t GetLeaderReceivedTimestamp() = 0;
    virtual size_t GetNumChannels() = 0;
    virtual size_t GetBitsPerChannel() = 0;
    virtual size_t GetBytesPerStep() = 0;
    virtual size_t GetPixelsPerStep() = 0;
    ~IImage() override;
};

} // namespace Vireo

#endif
