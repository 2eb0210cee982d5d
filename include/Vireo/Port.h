// A GenApi port over a producer module's register port: what a module's node map reads and
// writes its registers through.
#ifndef VIREO_PORT_H
#define VIREO_PORT_H

#include <GenApi/IPort.h>
#include <Vireo/TLBase.h>

namespace Vireo {

class VIREO_API Port : public GenApi::IPort {
public:
    Port() = default;
    explicit Port(TLBase* module) : m_module(module) {}

    GenApi::EAccessMode GetAccessMode() const override;
    ~Port() override;
    // Failures are the producer's, mapped to exceptions ("Unable to read port: <address>").
    void Read(void* pBuffer, int64_t Address, int64_t Length) override;
    void Write(const void* pBuffer, int64_t Address, int64_t Length) override;

    TLBase* GetModule() const { return m_module; }

private:
    TLBase* m_module = nullptr;  // not owned
};

} // namespace Vireo

#endif
