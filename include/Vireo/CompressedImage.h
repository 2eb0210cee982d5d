// A compressed (QOI) image buffer.
#ifndef VIREO_COMPRESSEDIMAGE_H
#define VIREO_COMPRESSEDIMAGE_H

#include <Vireo/Buffer.h>
#include <Vireo/ICompressedImage.h>

namespace Vireo {

class VIREO_API CompressedImage : public ICompressedImage, public virtual Buffer {
public:
    CompressedImage();
    CompressedImage(TLDataStream* stream, void* hBuffer);
    explicit CompressedImage(CompressedImage* other);
    // A compressed image over a stream of `size` bytes made outside any stream of a device
    // (the factory's): payload type 1001, no timestamps. The block is not released by the image.
    CompressedImage(uint8_t* data, size_t size, uint64_t pixelFormat);
    ~CompressedImage() override;

    VIREO_FORWARD_BUFFER_OPERATIONS(Buffer)
    // Without chunk data there is no CRC: throws GenICam::LogicalErrorException.
    bool VerifyCRC() override;

    uint64_t GetPixelFormat() override;
    uint64_t GetTimestamp() override;
    uint64_t GetTimestampNs() override;
    uint64_t GetLeaderReceivedTimestamp() override;
    size_t GetNumChannels() override;

protected:
    // The values of a copy, read before the shared Buffer part copies the data block (here so
    // that the classes combining a compressed image with other parts can take it first too).
    struct Snapshot {
        explicit Snapshot(CompressedImage* other)
            : pixelFormat(std::make_unique<uint64_t>(other->GetPixelFormat())),
              timestampNs(std::make_unique<uint64_t>(other->GetTimestampNs())),
              leaderReceivedTimestamp(std::make_unique<uint64_t>(other->GetLeaderReceivedTimestamp())) {}

        std::unique_ptr<uint64_t> pixelFormat, timestampNs, leaderReceivedTimestamp;
    };
    CompressedImage(CompressedImage* other, Snapshot&& snapshot);

    std::unique_ptr<uint64_t> m_pixelFormat;
    std::unique_ptr<uint64_t> m_timestampNs;
    std::unique_ptr<uint64_t> m_leaderReceivedTimestamp;
};

} // namespace Vireo

#endif
