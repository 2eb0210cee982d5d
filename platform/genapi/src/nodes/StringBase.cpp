#include "nodes/StringBase.h"

#include <Base/GCException.h>

#include "nodemap/NodeMap.h"
#include "nodes/IntegerBase.h"

namespace GenApi::detail {

bool StringBase::IsValueCacheValid() const {
    NodeMap::Entry entry(m_map);
    return ValueCachesValid(this);
}

void StringBase::SetValue(const GenICam::gcstring& Value, bool) {
    NodeMap::Entry entry(m_map);
    CheckWritable();
    const int64_t maximum = MaxLength();
    if (static_cast<int64_t>(Value.size()) > maximum)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': a string of %zu characters is longer than the maximum %lld", m_name,
                                     Value.size(), static_cast<long long>(maximum));
    WriteString(Value.str());
}

GenICam::gcstring StringBase::GetValue(bool, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    return ReadString(IgnoreCache);
}

int64_t StringBase::GetMaxLength() {
    NodeMap::Entry entry(m_map);
    return MaxLength();
}

} // namespace GenApi::detail
