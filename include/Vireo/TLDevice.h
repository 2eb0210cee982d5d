// An opened device's local module (its remote port is reached through GetPort).
#ifndef VIREO_TLDEVICE_H
#define VIREO_TLDEVICE_H

#include <Vireo/TLBase.h>

namespace Vireo {

class VIREO_API TLDevice : public TLBase {
public:
    using TLBase::TLBase;
    ~TLDevice() override;

    virtual GenTL::GC_ERROR Close();
    virtual GenTL::GC_ERROR GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR GetPort(void** portHandle);
    virtual GenTL::GC_ERROR GetNumDataStreams(uint32_t* count);
    virtual GenTL::GC_ERROR GetDataStreamID(uint32_t index, char* id, size_t* size);
    virtual GenTL::GC_ERROR OpenDataStream(const char* id, void** dataStreamHandle);
    virtual GenTL::GC_ERROR SendActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                              uint64_t timeoutMs);
};

} // namespace Vireo

#endif
