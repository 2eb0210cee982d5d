// Selector relations: a selector chooses which instance of the selected features is accessed.
#ifndef GENAPI_ISELECTOR_H
#define GENAPI_ISELECTOR_H

#include <GenApi/IBase.h>

namespace GenApi {

class GENAPI_DECL ISelector : virtual public IBase {
public:
    virtual bool IsSelector() const = 0;
    virtual void GetSelectedFeatures(FeatureList_t& Features) const = 0;
    virtual void GetSelectingFeatures(FeatureList_t& Features) const = 0;
};

} // namespace GenApi

#endif
