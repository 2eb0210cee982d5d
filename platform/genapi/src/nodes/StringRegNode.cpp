#include "nodes/StringRegNode.h"

#include <algorithm>
#include <cstring>

namespace GenApi::detail {

std::string StringRegNode::ReadString(bool ignoreCache) {
    const int64_t length = m_register.Length();
    std::vector<uint8_t> data(static_cast<size_t>(length));
    ReadRegister(data.data(), length, ignoreCache);
    const auto end = std::find(data.begin(), data.end(), uint8_t{0});
    return std::string(data.begin(), end);
}

void StringRegNode::WriteString(const std::string& value) {
    const int64_t length = m_register.Length();
    std::vector<uint8_t> data(static_cast<size_t>(length), 0);
    std::memcpy(data.data(), value.data(), std::min(value.size(), data.size()));
    WriteRegister(data.data(), length);
}

} // namespace GenApi::detail
