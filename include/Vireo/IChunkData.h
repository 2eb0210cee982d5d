// A buffer that carries chunk data: tagged metadata (CRC, exposure, counters) read as nodes.
#ifndef VIREO_ICHUNKDATA_H
#define VIREO_ICHUNKDATA_H

#include <GenICam.h>
#include <Vireo/IBuffer.h>

namespace GenApi {
class INode;
}

namespace Vireo {

class VIREO_API IChunkData : public IBuffer {
public:
    // The chunk node of that name bound to this buffer's bytes, or null.
    virtual GenApi::INode* GetChunk(GenICam::gcstring name) = 0;
    ~IChunkData() override;
};

} // namespace Vireo

#endif
