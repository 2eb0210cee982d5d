#ifndef GENAPI_ICATEGORY_H
#define GENAPI_ICATEGORY_H

#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_DECL ICategory : virtual public IValue {
public:
    virtual void GetFeatures(FeatureList_t& Features) const = 0;
};

} // namespace GenApi

#endif
