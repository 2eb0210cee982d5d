// A registered producer event (new buffer, remote-device event, ...).
#ifndef VIREO_TLEVENT_H
#define VIREO_TLEVENT_H

#include <Vireo/TLBase.h>

namespace Vireo {

class VIREO_API TLEvent : public TLBase {
public:
    using TLBase::TLBase;
    ~TLEvent() override;

    virtual GenTL::GC_ERROR GetData(void* buffer, size_t* size, uint64_t timeoutMs);
    virtual GenTL::GC_ERROR GetDataInfo(const void* buffer, size_t size, int32_t cmd, int32_t* type, void* out,
                                        size_t* outSize);
    virtual GenTL::GC_ERROR GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR Flush();
    virtual GenTL::GC_ERROR Kill();
};

} // namespace Vireo

#endif
