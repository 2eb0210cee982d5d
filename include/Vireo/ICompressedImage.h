// A buffer that holds a compressed (QOI) image.
#ifndef VIREO_ICOMPRESSEDIMAGE_H
#define VIREO_ICOMPRESSEDIMAGE_H

#include <Vireo/IBuffer.h>

namespace Vireo {

class VIREO_API ICompressedImage : public IBuffer {
public:
    // One of the QOI_... pixel-format codes.
    virtual uint64_t GetPixelFormat() = 0;
    virtual uint64_t GetTimestamp() = 0;
    virtual uint64_t GetTimestampNs() = 0;
    virtual uint64_t GetLeaderReceivedTimestamp() = 0;
    virtual size_t GetNumChannels() = 0;
    ~ICompressedImage() override;
};

} // namespace Vireo

#endif
