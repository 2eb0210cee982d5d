// The register space of a device or module. Applications implement it and connect it to a
// node map's port node with INodeMap::Connect.
#ifndef GENAPI_IPORT_H
#define GENAPI_IPORT_H

#include <GenApi/IBase.h>

namespace GenApi {

class GENAPI_DECL IPort : virtual public IBase {
public:
    virtual void Read(void* pBuffer, int64_t Address, int64_t Length) = 0;
    virtual void Write(const void* pBuffer, int64_t Address, int64_t Length) = 0;
};

} // namespace GenApi

#endif
