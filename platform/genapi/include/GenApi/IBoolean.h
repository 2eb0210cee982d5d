#ifndef GENAPI_IBOOLEAN_H
#define GENAPI_IBOOLEAN_H

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_DECL IBoolean : virtual public IValue {
public:
    virtual void SetValue(bool Value, bool Verify = true) = 0;
    virtual IBoolean& operator=(bool Value) = 0;
    virtual bool GetValue(bool Verify = false, bool IgnoreCache = false) const = 0;
    virtual bool operator()() const = 0;
};

} // namespace GenApi

#endif
