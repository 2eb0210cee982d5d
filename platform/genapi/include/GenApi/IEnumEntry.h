#ifndef GENAPI_IENUMENTRY_H
#define GENAPI_IENUMENTRY_H

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_DECL IEnumEntry : virtual public IValue {
public:
    virtual int64_t GetValue() = 0;
    virtual GenICam::gcstring GetSymbolic() const = 0;
    virtual double GetNumericValue() = 0;
    virtual bool IsSelfClearing() = 0;
};

} // namespace GenApi

#endif
