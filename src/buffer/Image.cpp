#include <Vireo/Image.h>

#include <Vireo/PixelFormat.h>

#include "../transport/Errors.h"

namespace Vireo {

Image::Image() = default;

Image::Image(TLDataStream* stream, void* hBuffer) : Buffer(stream, hBuffer) {}

Image::Image(Image* other) : Image(other, Snapshot(other)) {}

Image::Image(Image* other, Snapshot&& snapshot)
    : Buffer(other),
      m_width(std::move(snapshot.width)),
      m_height(std::move(snapshot.height)),
      m_offsetX(std::move(snapshot.offsetX)),
      m_offsetY(std::move(snapshot.offsetY)),
      m_pixelFormat(std::move(snapshot.pixelFormat)),
      m_paddingX(std::move(snapshot.paddingX)),
      m_paddingY(std::move(snapshot.paddingY)),
      m_pixelEndianness(std::move(snapshot.pixelEndianness)),
      m_timestampNs(std::move(snapshot.timestampNs)),
      m_leaderReceivedTimestamp(std::move(snapshot.leaderReceivedTimestamp)) {}

Image::Image(uint8_t* data, size_t length, size_t width, size_t height, uint64_t pixelFormat)
    : Buffer(data, length, GenTL::PAYLOAD_TYPE_IMAGE),
      m_width(std::make_unique<uint64_t>(width)),
      m_height(std::make_unique<uint64_t>(height)),
      m_offsetX(std::make_unique<uint64_t>(0)),
      m_offsetY(std::make_unique<uint64_t>(0)),
      m_pixelFormat(std::make_unique<uint64_t>(pixelFormat)),
      m_paddingX(std::make_unique<uint64_t>(0)),
      m_paddingY(std::make_unique<uint64_t>(0)),
      m_pixelEndianness(std::make_unique<int32_t>(0)),
      m_timestampNs(std::make_unique<uint64_t>(0)),
      m_leaderReceivedTimestamp(std::make_unique<uint64_t>(0)) {}

Image::~Image() = default;

bool Image::VerifyCRC() {
    VIREO_THROW_PLAIN(LogicalError, "Chunk data was not enabled before grabbing Image", "Image", "VerifyCRC");
}

size_t Image::GetWidth() { return Cached(m_width, GenTL::BUFFER_INFO_WIDTH); }
size_t Image::GetHeight() { return Cached(m_height, GenTL::BUFFER_INFO_HEIGHT); }
size_t Image::GetOffsetX() { return Cached(m_offsetX, GenTL::BUFFER_INFO_XOFFSET); }
size_t Image::GetOffsetY() { return Cached(m_offsetY, GenTL::BUFFER_INFO_YOFFSET); }
size_t Image::GetPaddingX() { return Cached(m_paddingX, GenTL::BUFFER_INFO_XPADDING); }
size_t Image::GetPaddingY() { return Cached(m_paddingY, GenTL::BUFFER_INFO_YPADDING); }
uint64_t Image::GetPixelFormat() { return Cached(m_pixelFormat, GenTL::BUFFER_INFO_PIXELFORMAT); }
int32_t Image::GetPixelEndianness() { return Cached(m_pixelEndianness, GenTL::BUFFER_INFO_PIXEL_ENDIANNESS); }
uint64_t Image::GetTimestamp() { return GetTimestampNs(); }
uint64_t Image::GetTimestampNs() { return Cached(m_timestampNs, GenTL::BUFFER_INFO_TIMESTAMP_NS); }

uint64_t Image::GetLeaderReceivedTimestamp() {
    return Cached(m_leaderReceivedTimestamp, GenTL::BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP);
}

// Geometry comes from the pixel format as the virtual accessor reports it, so that a class
// that overrides GetPixelFormat is honoured.
size_t Image::GetBitsPerPixel() { return Vireo::GetBitsPerPixel(GetPixelFormat()); }
size_t Image::GetNumChannels() { return Vireo::GetNumChannels(GetPixelFormat()); }
size_t Image::GetBitsPerChannel() { return Vireo::GetBitsPerChannel(GetPixelFormat()); }
size_t Image::GetBytesPerStep() { return Vireo::GetBytesPerStep(GetPixelFormat()); }
size_t Image::GetPixelsPerStep() { return Vireo::GetPixelsPerStep(GetPixelFormat()); }

} // namespace Vireo
