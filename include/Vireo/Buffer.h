// The buffer object: its properties are read lazily from the producer and cached.
#ifndef VIREO_BUFFER_H
#define VIREO_BUFFER_H

#include <memory>

#include <Vireo/IBuffer.h>
#include <Vireo/TLDataStream.h>

namespace Vireo {

// One typed buffer-information query (T is void*, uint64_t, bool or int32_t). Throws
// GenICam::InvalidArgumentException for a null stream or handle, and the mapped producer
// exception when the producer refuses.
template <class T>
VIREO_API T GetInfo(TLDataStream* stream, void* hBuffer, int command);

class VIREO_API Buffer : public IBuffer {
public:
    // An empty object: no stream, no handle, nothing known.
    Buffer();
    // A buffer delivered by the stream; properties are fetched on demand.
    Buffer(TLDataStream* stream, void* hBuffer);
    // A deep snapshot of other: every property read now, and a new data block of
    // other->GetSizeOfBuffer() bytes holding a copy of the whole buffer, filled or not. The
    // block belongs to whoever made the copy (ImageFactory::Destroy releases it).
    explicit Buffer(Buffer* other);
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() override;

    const uint8_t* GetData() override;
    size_t GetSizeFilled() override;
    size_t GetPayloadSize() override;
    size_t GetSizeOfBuffer() override;
    uint64_t GetFrameId() override;
    uint64_t GetPayloadType() override;
    bool HasImageData() override;
    bool HasChunkData() override;
    bool IsCompressedImage() override;
    IImage* AsImage() override;
    IChunkData* AsChunkData() override;
    ICompressedImage* AsCompressedImage() override;
    bool IsIncomplete() override;
    bool DataLargerThanBuffer() override;
    // A plain buffer has no CRC to verify: throws GenICam::LogicalErrorException.
    bool VerifyCRC() override;

    // The producer's buffer handle; null for copies and factory-made objects.
    void* GetBufferHandle() const { return m_bufferHandle; }
    TLDataStream* GetDataStream() const { return m_stream; }
    // Whether the data block belongs to the caller rather than to this object's maker.
    bool IsShallow() const { return m_shallow != 0; }
    void SetShallow(bool shallow) { m_shallow = shallow ? 1 : 0; }

protected:
    // A buffer over a data block that no stream delivered: every property is known now. The
    // block is not released by the object.
    Buffer(uint8_t* data, uint64_t length, uint64_t payloadType);

    // The cell's value, queried from the producer the first time. The cell is stored before
    // the query, so a failed query is not repeated.
    template <class T>
    T Cached(std::unique_ptr<T>& cell, int command);

    TLDataStream* m_stream = nullptr;
    void* m_bufferHandle = nullptr;
    uint8_t* m_data = nullptr;  // null until first asked
    std::unique_ptr<uint64_t> m_sizeFilled;
    std::unique_ptr<uint64_t> m_payloadSize;
    std::unique_ptr<uint64_t> m_sizeOfBuffer;
    std::unique_ptr<bool> m_hasChunkData;
    std::unique_ptr<uint64_t> m_payloadType;
    std::unique_ptr<bool> m_isIncomplete;
    std::unique_ptr<uint64_t> m_frameId;
    std::unique_ptr<bool> m_hasImageData;
    std::unique_ptr<bool> m_dataLargerThanBuffer;
    uint8_t m_shallow = 0;
};

template <class T>
T Buffer::Cached(std::unique_ptr<T>& cell, int command) {
    if (!cell) {
        cell = std::make_unique<T>();
        *cell = GetInfo<T>(m_stream, m_bufferHandle, command);
    }
    return *cell;
}

} // namespace Vireo

// The classes that combine IBuffer with the shared Buffer part answer every buffer operation
// through the part named here (VerifyCRC excepted: each class has its own).
#define VIREO_FORWARD_BUFFER_OPERATIONS(Part)                                          \
    const uint8_t* GetData() override { return Part::GetData(); }                      \
    size_t GetSizeFilled() override { return Part::GetSizeFilled(); }                  \
    size_t GetPayloadSize() override { return Part::GetPayloadSize(); }                \
    size_t GetSizeOfBuffer() override { return Part::GetSizeOfBuffer(); }              \
    uint64_t GetFrameId() override { return Part::GetFrameId(); }                      \
    uint64_t GetPayloadType() override { return Part::GetPayloadType(); }              \
    bool HasImageData() override { return Part::HasImageData(); }                      \
    bool HasChunkData() override { return Part::HasChunkData(); }                      \
    bool IsCompressedImage() override { return Part::IsCompressedImage(); }            \
    ::Vireo::IImage* AsImage() override { return Part::AsImage(); }                    \
    ::Vireo::IChunkData* AsChunkData() override { return Part::AsChunkData(); }        \
    ::Vireo::ICompressedImage* AsCompressedImage() override { return Part::AsCompressedImage(); } \
    bool IsIncomplete() override { return Part::IsIncomplete(); }                      \
    bool DataLargerThanBuffer() override { return Part::DataLargerThanBuffer(); }

#endif
