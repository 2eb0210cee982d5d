// Drives buffer, image and compressed-image objects over a data stream whose every answer
// comes from the input: success or any error code, any value, in any order of accessors and
// copies. Only GenICam exceptions may come out; no crash, leak or out-of-bounds read.
#include <Vireo/Buffer.h>
#include <Vireo/CompressedImage.h>
#include <Vireo/Image.h>

#include <cstring>
#include <memory>
#include <vector>

#include <GenICam.h>

#include "support/ScriptedDataStream.h"
#include "transport/Errors.h"

namespace {

using Vireo::Testing::ScriptedDataStream;

class Input {
public:
    Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool Empty() const { return m_position >= m_size; }
    uint8_t Byte() { return Empty() ? 0 : m_data[m_position++]; }
    uint64_t Word() {
        uint64_t value = 0;
        for (int index = 0; index < 8; ++index) value = value << 8 | Byte();
        return value;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_position = 0;
};

constexpr int32_t kCommands[] = {
    GenTL::BUFFER_INFO_SIZE, GenTL::BUFFER_INFO_IS_INCOMPLETE, GenTL::BUFFER_INFO_SIZE_FILLED,
    GenTL::BUFFER_INFO_WIDTH, GenTL::BUFFER_INFO_HEIGHT, GenTL::BUFFER_INFO_XOFFSET, GenTL::BUFFER_INFO_YOFFSET,
    GenTL::BUFFER_INFO_XPADDING, GenTL::BUFFER_INFO_YPADDING, GenTL::BUFFER_INFO_FRAMEID,
    GenTL::BUFFER_INFO_IMAGEPRESENT, GenTL::BUFFER_INFO_PAYLOADTYPE, GenTL::BUFFER_INFO_PIXELFORMAT,
    GenTL::BUFFER_INFO_PIXEL_ENDIANNESS, GenTL::BUFFER_INFO_DATA_SIZE, GenTL::BUFFER_INFO_TIMESTAMP_NS,
    GenTL::BUFFER_INFO_DATA_LARGER_THAN_BUFFER, GenTL::BUFFER_INFO_CONTAINS_CHUNKDATA,
    GenTL::BUFFER_INFO_LEADER_RECEIVED_TIMESTAMP};

GenTL::GC_ERROR LastError(GenTL::GC_ERROR*, char* text, size_t*) {
    std::strcpy(text, "scripted");
    return GenTL::GC_ERR_SUCCESS;
}

void Touch(Vireo::IBuffer& buffer, Vireo::IImage* image, Vireo::ICompressedImage* compressed, uint8_t operation) {
    switch (operation % 24) {
    case 0: buffer.GetData(); break;
    case 1: buffer.GetSizeFilled(); break;
    case 2: buffer.GetPayloadSize(); break;
    case 3: buffer.GetSizeOfBuffer(); break;
    case 4: buffer.GetFrameId(); break;
    case 5: buffer.IsCompressedImage(); break;
    case 6: buffer.HasImageData(); buffer.HasChunkData(); break;
    case 7: buffer.IsIncomplete(); buffer.DataLargerThanBuffer(); break;
    case 8: buffer.AsImage(); buffer.AsChunkData(); buffer.AsCompressedImage(); break;
    case 9: buffer.VerifyCRC(); break;
    case 10: if (image) image->GetWidth(), image->GetHeight(); break;
    case 11: if (image) image->GetOffsetX(), image->GetOffsetY(), image->GetPaddingX(), image->GetPaddingY(); break;
    case 12: if (image) image->GetPixelFormat(); break;
    case 13: if (image) image->GetBitsPerPixel(); break;
    case 14: if (image) image->GetNumChannels(); break;
    case 15: if (image) image->GetBitsPerChannel(); break;
    case 16: if (image) image->GetBytesPerStep(), image->GetPixelsPerStep(); break;
    case 17: if (image) image->GetPixelEndianness(); break;
    case 18: if (image) image->GetTimestamp(), image->GetLeaderReceivedTimestamp(); break;
    case 19: if (compressed) compressed->GetPixelFormat(), compressed->GetNumChannels(); break;
    case 20: if (compressed) compressed->GetTimestamp(), compressed->GetLeaderReceivedTimestamp(); break;
    default: buffer.GetPayloadType(); break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quietErrors = (Vireo::SetLastErrorSource(&LastError), true);
    (void)quietErrors;

    Input input(data, size);
    // The memory the producer's buffer stands for; its size caps what BUFFER_INFO_SIZE may
    // claim, as a producer's buffer is always as large as it says.
    std::vector<uint8_t> memory(input.Byte() * 16 + input.Byte());
    for (size_t index = 0; index < memory.size(); ++index) memory[index] = uint8_t(index * 7);

    ScriptedDataStream stream;
    const uint8_t failures = input.Byte();
    stream.SetPointer(GenTL::BUFFER_INFO_BASE, memory.data());
    if (failures & 1) stream.Fail(GenTL::BUFFER_INFO_BASE, GenTL::GC_ERR_INVALID_BUFFER);
    for (int32_t command : kCommands) {
        const uint8_t control = input.Byte();
        uint64_t value = input.Word();
        if (command == GenTL::BUFFER_INFO_SIZE) value = memory.size() == 0 ? 0 : value % (memory.size() + 1);
        if (command == GenTL::BUFFER_INFO_PIXEL_ENDIANNESS)
            stream.SetInt32(command, int32_t(value));
        else if (control & 2)
            stream.SetBool(command, value & 1);
        else
            stream.SetUInt64(command, value);
        if (control & 1) stream.Fail(command, GenTL::GC_ERROR(-1001 - control % 24));
    }

    const uint8_t kind = input.Byte() % 3;
    std::unique_ptr<Vireo::Buffer> object;
    Vireo::IBuffer* buffer = nullptr;
    Vireo::IImage* image = nullptr;
    Vireo::ICompressedImage* compressed = nullptr;
    void* const handle = (failures & 2) ? nullptr : reinterpret_cast<void*>(0xB0F);
    if (kind == 0) {
        object = std::make_unique<Vireo::Buffer>(&stream, handle);
        buffer = object.get();
    } else if (kind == 1) {
        auto created = std::make_unique<Vireo::Image>(&stream, handle);
        buffer = image = created.get();
        object = std::move(created);
    } else {
        auto created = std::make_unique<Vireo::CompressedImage>(&stream, handle);
        buffer = compressed = created.get();
        object = std::move(created);
    }

    while (!input.Empty()) {
        const uint8_t operation = input.Byte();
        try {
            if (operation == 0xFF) {
                // A deep copy: every property at once and the whole buffer's bytes.
                if (image != nullptr) {
                    Vireo::Image copy(dynamic_cast<Vireo::Image*>(object.get()));
                    delete[] copy.GetData();
                } else if (compressed != nullptr) {
                    Vireo::CompressedImage copy(dynamic_cast<Vireo::CompressedImage*>(object.get()));
                    delete[] copy.GetData();
                } else {
                    Vireo::Buffer copy(object.get());
                    delete[] copy.GetData();
                }
            } else {
                Touch(*buffer, image, compressed, operation);
            }
        } catch (const GenICam::GenericException&) {
        }
    }
    return 0;
}
