// A GenApi port over a GenTL module's register port, for code that drives the producer
// through description files.
#ifndef VIRTUALGENTL_TESTS_MODULEPORT_H
#define VIRTUALGENTL_TESTS_MODULEPORT_H

#include <GenApi/GenApi.h>
#include <GenTL/GenTL.h>

class ModulePort : public GenApi::IPort {
public:
    explicit ModulePort(GenTL::PORT_HANDLE handle) : m_handle(handle) {}
    GenApi::EAccessMode GetAccessMode() const override { return GenApi::RW; }
    void Read(void* buffer, int64_t address, int64_t length) override {
        size_t size = size_t(length);
        if (GenTL::GCReadPort(m_handle, uint64_t(address), buffer, &size) != GenTL::GC_ERR_SUCCESS)
            throw RUNTIME_EXCEPTION("GCReadPort failed at 0x%llx", static_cast<unsigned long long>(address));
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        size_t size = size_t(length);
        if (GenTL::GCWritePort(m_handle, uint64_t(address), buffer, &size) != GenTL::GC_ERR_SUCCESS)
            throw RUNTIME_EXCEPTION("GCWritePort failed at 0x%llx", static_cast<unsigned long long>(address));
    }

private:
    GenTL::PORT_HANDLE m_handle;
};

#endif
