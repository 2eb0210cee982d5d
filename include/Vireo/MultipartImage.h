// A multi-part buffer (GenTL payload type 10), as other vendors' producers deliver the parts of
// one acquisition (line blocks, the planes of a 3D camera) in one buffer: seen as the image of
// its first part, with every part reachable.
#ifndef VIREO_MULTIPARTIMAGE_H
#define VIREO_MULTIPARTIMAGE_H

#include <Vireo/Image.h>

namespace Vireo {

class VIREO_API MultipartImage : public virtual Image {
public:
    // Reads the part count and the first part's description from the producer now. A producer
    // that answers the part count with 0, GC_ERR_NO_DATA or GC_ERR_NOT_IMPLEMENTED has one
    // part: the whole buffer, described by its buffer information.
    MultipartImage(TLDataStream* stream, void* hBuffer);
    ~MultipartImage() override;

    VIREO_FORWARD_BUFFER_OPERATIONS(Buffer)

    size_t GetNumParts() const { return m_numParts; }
    // The part's data, filled size, geometry and pixel format (part < GetNumParts()); each is
    // asked of the producer, so they are valid only while the buffer is held.
    const uint8_t* GetPartData(size_t part);
    size_t GetPartSize(size_t part);
    size_t GetPartWidth(size_t part);
    size_t GetPartHeight(size_t part);
    uint64_t GetPartPixelFormat(size_t part);

private:
    template <class T>
    T PartInfo(size_t part, int32_t command);

    size_t m_numParts = 1;
    bool m_described = false;  // whether the producer describes the parts itself
};

} // namespace Vireo

#endif
