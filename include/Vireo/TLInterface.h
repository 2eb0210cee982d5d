// One of the producer's interfaces (a network adapter for GigE Vision).
#ifndef VIREO_TLINTERFACE_H
#define VIREO_TLINTERFACE_H

#include <Vireo/TLBase.h>

namespace Vireo {

class VIREO_API TLInterface : public TLBase {
public:
    using TLBase::TLBase;
    ~TLInterface() override;

    virtual GenTL::GC_ERROR Close();
    virtual GenTL::GC_ERROR UpdateDeviceList(bool* changed, uint64_t timeoutMs);
    virtual GenTL::GC_ERROR GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR GetNumDevices(uint32_t* count);
    virtual GenTL::GC_ERROR GetDeviceID(uint32_t index, char* id, size_t* size);
    virtual GenTL::GC_ERROR GetDeviceInfo(const char* id, int32_t cmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR OpenDevice(const char* id, int32_t accessFlags, void** deviceHandle);
    virtual GenTL::GC_ERROR ForceIp(uint64_t mac, uint32_t ip, uint32_t subnet, uint32_t gateway);
    virtual GenTL::GC_ERROR AddUnicastDiscoveryDevice(uint32_t ip);
    virtual GenTL::GC_ERROR RemoveUnicastDiscoveryDevice(uint32_t ip);
    virtual GenTL::GC_ERROR GetUnicastDiscoveryDevices(uint32_t* ips, uint32_t* count);
};

} // namespace Vireo

#endif
