// Thin wrappers around the GenTL producer's modules: one object per producer handle, one
// virtual operation per producer function. They pass their arguments through, return the
// producer's result code unchanged and never throw; callers turn failures into exceptions.
// They are also the seam where a test replaces a single producer answer, by overriding one
// operation in a subclass.
#ifndef VIREO_TLBASE_H
#define VIREO_TLBASE_H

#include <cstddef>
#include <cstdint>

#include <GenTL/GenTL.h>
#include <GenTL/GenTLExtensions.h>
#include <Vireo/Config.h>

namespace Vireo {

class VIREO_API TLBase {
public:
    TLBase() = default;
    explicit TLBase(void* handle) : m_handle(handle) {}
    TLBase(const TLBase&) = delete;
    TLBase& operator=(const TLBase&) = delete;
    // Does not close the handle: the owner calls Close before deleting.
    virtual ~TLBase();

    virtual GenTL::GC_ERROR ReadPort(uint64_t address, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR WritePort(uint64_t address, const void* buffer, size_t* size);
    virtual GenTL::GC_ERROR GetPortURL(char* url, size_t* size);
    virtual GenTL::GC_ERROR GetPortInfo(int32_t infoCmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR RegisterEvent(int32_t eventType, void** eventHandle);
    virtual GenTL::GC_ERROR UnregisterEvent(int32_t eventType);
    virtual GenTL::GC_ERROR GetNumPortURLs(uint32_t* count);
    virtual GenTL::GC_ERROR GetPortURLInfo(uint32_t index, int32_t infoCmd, int32_t* type, void* buffer, size_t* size);
    virtual GenTL::GC_ERROR ReadPortStacked(GenTL::S_PORT_REGISTER_STACK_ENTRY* entries, size_t* count);
    virtual GenTL::GC_ERROR WritePortStacked(GenTL::S_PORT_REGISTER_STACK_ENTRY* entries, size_t* count);
    virtual void* GetHandle() { return m_handle; }

protected:
    void* m_handle = nullptr;  // null while not open
};

} // namespace Vireo

#endif
