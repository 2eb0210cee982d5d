// A node with a value that can be written as and read from text.
#ifndef GENAPI_IVALUE_H
#define GENAPI_IVALUE_H

#include <Base/GCString.h>
#include <GenApi/IBase.h>

namespace GenApi {

class INode;

class GENAPI_DECL IValue : virtual public IBase {
public:
    virtual INode* GetNode() = 0;
    virtual GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) = 0;
    virtual void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) = 0;
    virtual bool IsValueCacheValid() const = 0;
};

} // namespace GenApi

#endif
