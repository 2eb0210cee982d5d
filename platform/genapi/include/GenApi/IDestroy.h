#ifndef GENAPI_IDESTROY_H
#define GENAPI_IDESTROY_H

#include <Base/GCLinkage.h>

namespace GenApi {

// Deletes an object made by the library, from the library's own heap.
class GENAPI_DECL IDestroy {
public:
    virtual void Destroy() = 0;

protected:
    virtual ~IDestroy() = default;
};

} // namespace GenApi

#endif
