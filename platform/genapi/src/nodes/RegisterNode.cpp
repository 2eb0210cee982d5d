#include "nodes/RegisterNode.h"

#include "nodes/ValueText.h"

namespace GenApi::detail {

GenICam::gcstring RegisterNode::ToString(bool, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    const int64_t length = m_register.Length();
    std::vector<uint8_t> data(static_cast<size_t>(length));
    ReadRegister(data.data(), length, IgnoreCache);
    return FormatBytes(data.data(), data.size());
}

void RegisterNode::FromString(const GenICam::gcstring& ValueStr, bool Verify) {
    std::string bytes;
    if (!ParseBytes(ValueStr.str(), bytes) || bytes.empty())
        throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' is not hexadecimal bytes", m_name, ValueStr);
    Set(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int64_t>(bytes.size()), Verify);
}

bool RegisterNode::IsValueCacheValid() const {
    NodeMap::Entry entry(m_map);
    return m_register.CacheValid();
}

} // namespace GenApi::detail
