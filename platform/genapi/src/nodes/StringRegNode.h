// <StringReg> (also TextDesc): a string of at most Length bytes in a register, ended by a zero
// byte when shorter.
#ifndef GENAPI_SRC_NODES_STRINGREGNODE_H
#define GENAPI_SRC_NODES_STRINGREGNODE_H

#include "nodes/RegisterAccess.h"
#include "nodes/StringBase.h"

namespace GenApi::detail {

class StringRegNode final : public RegisterMixin<StringBase> {
public:
    StringRegNode(NodeMap& map, std::string name, const char* elementName = "StringReg")
        : RegisterMixin<StringBase>(map, std::move(name), elementName) {}

    std::string ReadString(bool ignoreCache) override;
    void WriteString(const std::string& value) override;
    int64_t MaxLength() override { return m_register.Length(); }
};

} // namespace GenApi::detail

#endif
