#include <Vireo/MultipartImage.h>

#include <cstring>

#include "../transport/Errors.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "MultipartImage";

} // namespace

MultipartImage::MultipartImage(TLDataStream* stream, void* hBuffer) : Buffer(stream, hBuffer), Image(stream, hBuffer) {
    uint32_t parts = 0;
    const GenTL::GC_ERROR result = stream->GetNumBufferParts(hBuffer, &parts);
    if (result != GenTL::GC_ERR_SUCCESS && result != GenTL::GC_ERR_NO_DATA && result != GenTL::GC_ERR_NOT_IMPLEMENTED)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get the number of buffer parts", kUnit, "MultipartImage",
                                   "DSGetNumBufferParts");
    if (result != GenTL::GC_ERR_SUCCESS || parts == 0) return;
    m_numParts = parts;
    m_described = true;
    // The image is the first part: its cells are filled now, so every accessor reads the part.
    m_data = const_cast<uint8_t*>(GetPartData(0));
    m_sizeFilled = std::make_unique<uint64_t>(GetPartSize(0));
    // The image's own bytes end with the part: a copy takes the part, not what follows it.
    m_sizeOfBuffer = std::make_unique<uint64_t>(*m_sizeFilled);
    m_width = std::make_unique<uint64_t>(GetPartWidth(0));
    m_height = std::make_unique<uint64_t>(GetPartHeight(0));
    m_pixelFormat = std::make_unique<uint64_t>(GetPartPixelFormat(0));
    m_offsetX = std::make_unique<uint64_t>(PartInfo<uint64_t>(0, GenTL::BUFFER_PART_INFO_XOFFSET));
    m_offsetY = std::make_unique<uint64_t>(PartInfo<uint64_t>(0, GenTL::BUFFER_PART_INFO_YOFFSET));
    m_paddingX = std::make_unique<uint64_t>(PartInfo<uint64_t>(0, GenTL::BUFFER_PART_INFO_XPADDING));
    m_paddingY = std::make_unique<uint64_t>(0);
}

MultipartImage::~MultipartImage() = default;

template <class T>
T MultipartImage::PartInfo(size_t part, int32_t command) {
    if (part >= m_numParts)
        VIREO_THROW_PLAIN(OutOfRange, "Buffer part " + std::to_string(part) + " of " + std::to_string(m_numParts),
                          kUnit, "GetPart");
    // Every query offers 8 bytes; the producer writes what the information's own type needs.
    alignas(8) unsigned char storage[8] = {};
    size_t size = sizeof storage;
    int32_t type = 0;
    const GenTL::GC_ERROR result =
        m_stream->GetBufferPartInfo(m_bufferHandle, uint32_t(part), command, &type, storage, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to get buffer part information", kUnit, "GetPart",
                                   "DSGetBufferPartInfo");
    T value;
    std::memcpy(&value, storage, sizeof value);
    return value;
}

const uint8_t* MultipartImage::GetPartData(size_t part) {
    if (!m_described && part == 0) return GetData();
    return static_cast<const uint8_t*>(PartInfo<void*>(part, GenTL::BUFFER_PART_INFO_BASE));
}

size_t MultipartImage::GetPartSize(size_t part) {
    if (!m_described && part == 0) return GetSizeFilled();
    return size_t(PartInfo<uint64_t>(part, GenTL::BUFFER_PART_INFO_DATA_SIZE));
}

size_t MultipartImage::GetPartWidth(size_t part) {
    if (!m_described && part == 0) return GetWidth();
    return size_t(PartInfo<uint64_t>(part, GenTL::BUFFER_PART_INFO_WIDTH));
}

size_t MultipartImage::GetPartHeight(size_t part) {
    if (!m_described && part == 0) return GetHeight();
    return size_t(PartInfo<uint64_t>(part, GenTL::BUFFER_PART_INFO_HEIGHT));
}

uint64_t MultipartImage::GetPartPixelFormat(size_t part) {
    if (!m_described && part == 0) return GetPixelFormat();
    return PartInfo<uint64_t>(part, GenTL::BUFFER_PART_INFO_DATA_FORMAT);
}

} // namespace Vireo
