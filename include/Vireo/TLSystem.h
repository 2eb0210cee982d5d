// The producer's system module.
#ifndef VIREO_TLSYSTEM_H
#define VIREO_TLSYSTEM_H

#include <Vireo/TLBase.h>

namespace Vireo {

class VIREO_API TLSystem : public TLBase {
public:
    using TLBase::TLBase;
    ~TLSystem() override;

    // Opens the system module and keeps its handle.
    virtual GenTL::GC_ERROR Open();
    virtual GenTL::GC_ERROR Close();
    virtual GenTL::GC_ERROR GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR GetNumInterfaces(uint32_t* count);
    virtual GenTL::GC_ERROR GetInterfaceID(uint32_t index, char* id, size_t* size);
    virtual GenTL::GC_ERROR GetInterfaceInfo(const char* id, int32_t cmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR OpenInterface(const char* id, void** interfaceHandle);
    virtual GenTL::GC_ERROR UpdateInterfaceList(bool* changed, uint64_t timeoutMs);
};

} // namespace Vireo

#endif
