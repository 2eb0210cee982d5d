#include <Vireo/Buffer.h>

#include <cstring>

#include <Vireo/IChunkData.h>
#include <Vireo/ICompressedImage.h>
#include <Vireo/IImage.h>

#include "../transport/Errors.h"

namespace Vireo {

IBuffer::~IBuffer() = default;
IImage::~IImage() = default;
IChunkData::~IChunkData() = default;
ICompressedImage::~ICompressedImage() = default;

Buffer::Buffer() = default;

Buffer::Buffer(TLDataStream* stream, void* hBuffer) : m_stream(stream), m_bufferHandle(hBuffer) {}

Buffer::Buffer(Buffer* other)
    : m_sizeFilled(std::make_unique<uint64_t>(other->GetSizeFilled())),
      m_payloadSize(std::make_unique<uint64_t>(other->GetPayloadSize())),
      m_sizeOfBuffer(std::make_unique<uint64_t>(other->GetSizeOfBuffer())),
      m_hasChunkData(std::make_unique<bool>(other->HasChunkData())),
      m_payloadType(std::make_unique<uint64_t>(other->GetPayloadType())),
      m_isIncomplete(std::make_unique<bool>(other->IsIncomplete())),
      m_frameId(std::make_unique<uint64_t>(other->GetFrameId())),
      m_hasImageData(std::make_unique<bool>(other->HasImageData())),
      m_dataLargerThanBuffer(std::make_unique<bool>(other->DataLargerThanBuffer())) {
    // The whole allocation is copied, filled or not: what lies beyond the filled part is
    // still the source's memory, and a copy must not depend on how far the transport wrote.
    // The block is allocated last, after everything that can fail.
    const size_t size = *m_sizeOfBuffer;
    const uint8_t* source = other->GetData();
    m_data = new uint8_t[size]();
    if (source != nullptr && size != 0) std::memcpy(m_data, source, size);
}

Buffer::Buffer(uint8_t* data, uint64_t length, uint64_t payloadType)
    : m_data(data),
      m_sizeFilled(std::make_unique<uint64_t>(length)),
      m_payloadSize(std::make_unique<uint64_t>(length)),
      m_sizeOfBuffer(std::make_unique<uint64_t>(length)),
      m_hasChunkData(std::make_unique<bool>(false)),
      m_payloadType(std::make_unique<uint64_t>(payloadType)),
      m_isIncomplete(std::make_unique<bool>(false)),
      m_frameId(std::make_unique<uint64_t>(0)),
      m_hasImageData(std::make_unique<bool>(true)),
      m_dataLargerThanBuffer(std::make_unique<bool>(false)) {}

Buffer::~Buffer() {
    // The data block is not released here: it belongs to the producer, the caller, or the
    // factory that made this object.
    m_stream = nullptr;
    m_bufferHandle = nullptr;
}

const uint8_t* Buffer::GetData() {
    if (m_data == nullptr) m_data = static_cast<uint8_t*>(GetInfo<void*>(m_stream, m_bufferHandle, GenTL::BUFFER_INFO_BASE));
    return m_data;
}

size_t Buffer::GetSizeFilled() { return Cached(m_sizeFilled, GenTL::BUFFER_INFO_SIZE_FILLED); }
size_t Buffer::GetPayloadSize() { return Cached(m_payloadSize, GenTL::BUFFER_INFO_DATA_SIZE); }
size_t Buffer::GetSizeOfBuffer() { return Cached(m_sizeOfBuffer, GenTL::BUFFER_INFO_SIZE); }
uint64_t Buffer::GetFrameId() { return Cached(m_frameId, GenTL::BUFFER_INFO_FRAMEID); }
uint64_t Buffer::GetPayloadType() { return Cached(m_payloadType, GenTL::BUFFER_INFO_PAYLOADTYPE); }
bool Buffer::HasImageData() { return Cached(m_hasImageData, GenTL::BUFFER_INFO_IMAGEPRESENT); }
bool Buffer::HasChunkData() { return Cached(m_hasChunkData, GenTL::BUFFER_INFO_CONTAINS_CHUNKDATA); }
bool Buffer::IsIncomplete() { return Cached(m_isIncomplete, GenTL::BUFFER_INFO_IS_INCOMPLETE); }

bool Buffer::DataLargerThanBuffer() {
    return Cached(m_dataLargerThanBuffer, GenTL::BUFFER_INFO_DATA_LARGER_THAN_BUFFER);
}

bool Buffer::IsCompressedImage() {
    // 1001 and 1002 are the two compressed payload types; one unsigned comparison covers both.
    return GetPayloadType() - GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE < 2;
}

IImage* Buffer::AsImage() { return dynamic_cast<IImage*>(this); }
IChunkData* Buffer::AsChunkData() { return dynamic_cast<IChunkData*>(this); }
ICompressedImage* Buffer::AsCompressedImage() { return dynamic_cast<ICompressedImage*>(this); }

bool Buffer::VerifyCRC() { VIREO_THROW_PLAIN(LogicalError, "CRC not available.", "Buffer", "VerifyCRC"); }

} // namespace Vireo
