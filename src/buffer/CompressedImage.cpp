#include <Vireo/CompressedImage.h>

#include <Vireo/PixelFormat.h>

#include "../transport/Errors.h"

namespace Vireo {

CompressedImage::CompressedImage() = default;

CompressedImage::CompressedImage(TLDataStream* stream, void* hBuffer) : Buffer(stream, hBuffer) {}

CompressedImage::CompressedImage(CompressedImage* other) : CompressedImage(other, Snapshot(other)) {}

CompressedImage::CompressedImage(CompressedImage* other, Snapshot&& snapshot)
    : Buffer(other),
      m_pixelFormat(std::move(snapshot.pixelFormat)),
      m_timestampNs(std::move(snapshot.timestampNs)),
      m_leaderReceivedTimestamp(std::move(snapshot.leaderReceivedTimestamp)) {}

CompressedImage::CompressedImage(uint8_t* data, size_t size, uint64_t pixelFormat)
    : Buffer(data, size, GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE),
      m_pixelFormat(std::make_unique<uint64_t>(pixelFormat)),
      m_timestampNs(std::make_unique<uint64_t>(0)),
      m_leaderReceivedTimestamp(std::make_unique<uint64_t>(0)) {}

CompressedImage::~CompressedImage() = default;

bool CompressedImage::VerifyCRC() {
    VIREO_THROW_PLAIN(LogicalError, "Chunk data was not enabled before grabbing CompressedImage", "CompressedImage",
                      "VerifyCRC");
}

uint64_t CompressedImage::GetPixelFormat() { return Cached(m_pixelFormat, GenTL::BUFFER_INFO_PIXELFORMAT); }
uint64_t CompressedImage::GetTimestamp() { return GetTimestampNs(); }
uint64_t CompressedImage::GetTimestampNs() { return Cached(m_timestampNs, GenTL::BUFFER_INFO_TIMESTAMP_NS); }

uint64_t CompressedImage::GetLeaderReceivedTimestamp() {
    return Cached(m_leaderReceivedTimestamp, GenTL::BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP);
}

size_t CompressedImage::GetNumChannels() { return Vireo::GetNumChannels(GetPixelFormat()); }

} // namespace Vireo
