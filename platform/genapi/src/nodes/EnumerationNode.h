// <Enumeration>: an integer value named by its entries.
#ifndef GENAPI_SRC_NODES_ENUMERATIONNODE_H
#define GENAPI_SRC_NODES_ENUMERATIONNODE_H

#include <GenApi/IEnumeration.h>

#include "nodes/EnumEntryNode.h"
#include "nodes/ValueSource.h"

namespace GenApi::detail {

class EnumerationNode final : public Node, public virtual IEnumeration {
public:
    EnumerationNode(NodeMap& map, std::string name) : Node(map, std::move(name), "Enumeration", ValueKind::Enumeration) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    void CollectValueChildren(std::vector<Node*>& children) const override { m_source.Collect(children); }
    void CollectWritingChildren(std::vector<Node*>& children) const override { m_source.CollectWriting(children); }
    EAccessMode OwnAccessMode() const override { return m_source.AccessMode(); }
    int64_t ReadInt(bool ignoreCache) override { return m_source.Read(ignoreCache); }
    void WriteInt(int64_t value) override;
    bool FindEntryValue(std::string_view symbolic, int64_t& value) const;
    const std::vector<EnumEntryNode*>& Entries() const { return m_entries; }

    // IValue
    INode* GetNode() override { return this; }
    GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) override;
    void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) override;
    bool IsValueCacheValid() const override;

    // IEnumeration
    void GetSymbolics(StringList_t& Symbolics) override;
    void GetEntries(NodeList_t& Entries) override;
    IEnumeration& operator=(const GenICam::gcstring& ValueStr) override {
        FromString(ValueStr);
        return *this;
    }
    void SetIntValue(int64_t Value, bool Verify = true) override;
    GenICam::gcstring operator*() override { return ToString(); }
    GenICam::gcstring operator()() override { return ToString(); }
    int64_t GetIntValue(bool Verify = false, bool IgnoreCache = false) override;
    IEnumEntry* GetEntryByName(const GenICam::gcstring& Symbolic) override;
    IEnumEntry* GetEntry(const int64_t IntValue) override;
    IEnumEntry* GetCurrentEntry(bool Verify = false, bool IgnoreCache = false) override;
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIEnumeration; }

private:
    EnumEntryNode* EntryOf(int64_t value) const;
    EnumEntryNode* CurrentEntry(bool ignoreCache);

    mutable ValueSource<int64_t> m_source;
    std::vector<EnumEntryNode*> m_entries;
};

} // namespace GenApi::detail

#endif
