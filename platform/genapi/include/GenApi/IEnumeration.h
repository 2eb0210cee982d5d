#ifndef GENAPI_IENUMERATION_H
#define GENAPI_IENUMERATION_H

#include <GenApi/IEnumEntry.h>
#include <GenApi/IValue.h>

namespace GenApi {

class GENAPI_DECL IEnumeration : virtual public IValue {
public:
    // Symbolic names of the entries that are currently available.
    virtual void GetSymbolics(StringList_t& Symbolics) = 0;
    // All entries, available or not.
    virtual void GetEntries(NodeList_t& Entries) = 0;
    virtual IEnumeration& operator=(const GenICam::gcstring& ValueStr) = 0;
    virtual void SetIntValue(int64_t Value, bool Verify = true) = 0;
    virtual GenICam::gcstring operator*() = 0;
    virtual GenICam::gcstring operator()() = 0;
    virtual int64_t GetIntValue(bool Verify = false, bool IgnoreCache = false) = 0;
    virtual IEnumEntry* GetEntryByName(const GenICam::gcstring& Symbolic) = 0;
    virtual IEnumEntry* GetEntry(const int64_t IntValue) = 0;
    virtual IEnumEntry* GetCurrentEntry(bool Verify = false, bool IgnoreCache = false) = 0;
};

} // namespace GenApi

#endif
