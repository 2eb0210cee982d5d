#ifndef GENAPI_IREGISTER_H
#define GENAPI_IREGISTER_H

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_DECL IRegister : virtual public IValue {
public:
    virtual void Set(const uint8_t* pBuffer, int64_t Length, bool Verify = true) = 0;
    virtual void Get(uint8_t* pBuffer, int64_t Length, bool Verify = false, bool IgnoreCache = false) = 0;
    virtual int64_t GetLength() = 0;
    virtual int64_t GetAddress() = 0;
};

} // namespace GenApi

#endif
