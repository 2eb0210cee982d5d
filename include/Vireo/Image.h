// An image buffer: a Buffer plus the image's geometry and timing, read lazily and cached.
#ifndef VIREO_IMAGE_H
#define VIREO_IMAGE_H

#include <Vireo/Buffer.h>
#include <Vireo/IImage.h>

namespace Vireo {

class VIREO_API Image : public IImage, public virtual Buffer {
public:
    Image();
    Image(TLDataStream* stream, void* hBuffer);
    // A deep snapshot, as Buffer(Buffer*), of the buffer and every image property.
    explicit Image(Image* other);
    // An image over a data block of `length` bytes made outside any stream (the factory's
    // images): every property is known now; offsets, paddings, endianness, frame id and
    // timestamps are 0. The block is not released by the image.
    Image(uint8_t* data, size_t length, size_t width, size_t height, uint64_t pixelFormat);
    ~Image() override;

    VIREO_FORWARD_BUFFER_OPERATIONS(Buffer)
    // An image without chunk data has no CRC: throws GenICam::LogicalErrorException.
    bool VerifyCRC() override;

    size_t GetWidth() override;
    size_t GetHeight() override;
    size_t GetOffsetX() override;
    size_t GetOffsetY() override;
    size_t GetPaddingX() override;
    size_t GetPaddingY() override;
    uint64_t GetPixelFormat() override;
    size_t GetBitsPerPixel() override;
    int32_t GetPixelEndianness() override;
    uint64_t GetTimestamp() override;
    uint64_t GetTimestampNs() override;
    uint64_t GetLeaderReceivedTimestamp() override;
    size_t GetNumChannels() override;
    size_t GetBitsPerChannel() override;
    size_t GetBytesPerStep() override;
    size_t GetPixelsPerStep() override;

protected:
    // The image values of a copy, read before the shared Buffer part copies the data block,
    // so that a failing read cannot strand that block. Defined here because the classes that
    // combine an image with other parts take it first too.
    struct Snapshot {
        explicit Snapshot(Image* other)
            : width(std::make_unique<uint64_t>(other->GetWidth())),
              height(std::make_unique<uint64_t>(other->GetHeight())),
              offsetX(std::make_unique<uint64_t>(other->GetOffsetX())),
              offsetY(std::make_unique<uint64_t>(other->GetOffsetY())),
              pixelFormat(std::make_unique<uint64_t>(other->GetPixelFormat())),
              paddingX(std::make_unique<uint64_t>(other->GetPaddingX())),
              paddingY(std::make_unique<uint64_t>(other->GetPaddingY())),
              pixelEndianness(std::make_unique<int32_t>(other->GetPixelEndianness())),
              timestampNs(std::make_unique<uint64_t>(other->GetTimestampNs())),
              leaderReceivedTimestamp(std::make_unique<uint64_t>(other->GetLeaderReceivedTimestamp())) {}

        std::unique_ptr<uint64_t> width, height, offsetX, offsetY, pixelFormat, paddingX, paddingY;
        std::unique_ptr<int32_t> pixelEndianness;
        std::unique_ptr<uint64_t> timestampNs, leaderReceivedTimestamp;
    };
    Image(Image* other, Snapshot&& snapshot);

    std::unique_ptr<uint64_t> m_width;
    std::unique_ptr<uint64_t> m_height;
    std::unique_ptr<uint64_t> m_offsetX;
    std::unique_ptr<uint64_t> m_offsetY;
    std::unique_ptr<uint64_t> m_pixelFormat;
    std::unique_ptr<uint64_t> m_paddingX;
    std::unique_ptr<uint64_t> m_paddingY;
    std::unique_ptr<int32_t> m_pixelEndianness;
    std::unique_ptr<uint64_t> m_timestampNs;
    std::unique_ptr<uint64_t> m_leaderReceivedTimestamp;
};

} // namespace Vireo

#endif
