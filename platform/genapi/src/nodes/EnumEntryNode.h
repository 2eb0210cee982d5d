// <EnumEntry>: one value of an enumeration, with its symbolic name.
#ifndef GENAPI_SRC_NODES_ENUMENTRYNODE_H
#define GENAPI_SRC_NODES_ENUMENTRYNODE_H

#include <GenApi/IEnumEntry.h>

#include "nodes/Node.h"

namespace GenApi::detail {

class EnumEntryNode final : public Node, public virtual IEnumEntry {
public:
    EnumEntryNode(NodeMap& map, std::string name, std::string symbolic)
        : Node(map, std::move(name), "EnumEntry", ValueKind::EnumEntry), m_symbolic(std::move(symbolic)) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    EAccessMode OwnAccessMode() const override { return RO; }
    int64_t ReadInt(bool) override { return m_value; }
    int64_t Value() const { return m_value; }
    const std::string& Symbolic() const { return m_symbolic; }

    // IValue
    INode* GetNode() override { return this; }
    GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) override;
    void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) override;
    bool IsValueCacheValid() const override { return true; }

    // IEnumEntry
    int64_t GetValue() override { return m_value; }
    GenICam::gcstring GetSymbolic() const override { return m_symbolic; }
    double GetNumericValue() override { return m_hasNumericValue ? m_numericValue : static_cast<double>(m_value); }
    bool IsSelfClearing() override { return m_selfClearing; }
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIEnumEntry; }

private:
    std::string m_symbolic;
    int64_t m_value = 0;
    double m_numericValue = 0.0;
    bool m_hasNumericValue = false;
    bool m_selfClearing = false;
};

} // namespace GenApi::detail

#endif
