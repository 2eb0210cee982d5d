// Saves the streamable features of a node map as text and restores them.
#ifndef GENAPI_FEATUREBAG_H
#define GENAPI_FEATUREBAG_H

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include <Base/GCStringVector.h>
#include <GenApi/INodeMap.h>

namespace GenApi {

class GENAPI_DECL CFeatureBag {
public:
    // Stores every streamable, readable and writable feature, in the order of the category
    // tree, with selected features once per selector value. Returns the number of entries.
    int64_t StoreFromNodeMap(INodeMap* pNodeMap, const int MaxNumPersistSkriptEntries = -1);
    // Writes the entries back in order. With Verify, values are checked as they are set.
    // Entries that fail are listed in pErrorList; returns true when all succeeded.
    bool LoadFromBag(INodeMap* pNodeMap, bool Verify = true, GenICam::gcstring_vector* pErrorList = nullptr);
    GenICam::gcstring ToString();
    void SetBagName(const GenICam::gcstring& BagName) { m_bagName = BagName; }
    GenICam::gcstring GetBagName() const { return m_bagName; }

    friend std::ostream& operator<<(std::ostream& stream, const CFeatureBag& bag);
    friend std::istream& operator>>(std::istream& stream, CFeatureBag& bag);

private:
    GenICam::gcstring m_bagName;
    std::vector<std::pair<std::string, std::string>> m_entries;
};

// One "name<TAB>value" line per entry, after comment lines starting with '#'.
GENAPI_DECL std::ostream& operator<<(std::ostream& stream, const CFeatureBag& bag);
GENAPI_DECL std::istream& operator>>(std::istream& stream, CFeatureBag& bag);

} // namespace GenApi

#endif
