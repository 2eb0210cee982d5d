// <Boolean>: true when the underlying value equals OnValue, false when it equals OffValue.
#ifndef GENAPI_SRC_NODES_BOOLEANNODE_H
#define GENAPI_SRC_NODES_BOOLEANNODE_H

#include <GenApi/IBoolean.h>

#include "nodes/ValueSource.h"

namespace GenApi::detail {

class BooleanNode final : public Node, public virtual IBoolean {
public:
    BooleanNode(NodeMap& map, std::string name) : Node(map, std::move(name), "Boolean", ValueKind::Boolean) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    void CollectValueChildren(std::vector<Node*>& children) const override { m_source.Collect(children); }
    void CollectWritingChildren(std::vector<Node*>& children) const override { m_source.CollectWriting(children); }
    EAccessMode OwnAccessMode() const override { return m_source.AccessMode(); }
    // As a number a boolean is 0 or 1.
    int64_t ReadInt(bool ignoreCache) override { return ReadBool(ignoreCache) ? 1 : 0; }
    void WriteInt(int64_t value) override { WriteBool(value != 0); }
    int64_t ReadIntMin() override { return 0; }
    int64_t ReadIntMax() override { return 1; }
    bool ReadBool(bool ignoreCache);
    void WriteBool(bool value);

    // IValue
    INode* GetNode() override { return this; }
    GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) override;
    void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) override;
    bool IsValueCacheValid() const override;

    // IBoolean
    void SetValue(bool Value, bool Verify = true) override;
    IBoolean& operator=(bool Value) override {
        SetValue(Value);
        return *this;
    }
    bool GetValue(bool Verify = false, bool IgnoreCache = false) const override;
    bool operator()() const override { return GetValue(); }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIBoolean; }

private:
    mutable ValueSource<int64_t> m_source;
    int64_t m_onValue = 1;
    int64_t m_offValue = 0;
};

} // namespace GenApi::detail

#endif
