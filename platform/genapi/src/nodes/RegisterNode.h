// <Register>: a block of raw bytes.
#ifndef GENAPI_SRC_NODES_REGISTERNODE_H
#define GENAPI_SRC_NODES_REGISTERNODE_H

#include "nodes/RegisterAccess.h"

namespace GenApi::detail {

class RegisterNode final : public RegisterMixin<Node> {
public:
    RegisterNode(NodeMap& map, std::string name) : RegisterMixin<Node>(map, std::move(name), "Register", ValueKind::Register) {}

    // IValue: the bytes as hexadecimal text, first byte first.
    INode* GetNode() override { return this; }
    GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) override;
    void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) override;
    bool IsValueCacheValid() const override;
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIRegister; }
};

} // namespace GenApi::detail

#endif
