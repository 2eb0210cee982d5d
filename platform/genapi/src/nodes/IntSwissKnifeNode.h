// <IntSwissKnife>: a read-only integer computed by a formula over other nodes.
#ifndef GENAPI_SRC_NODES_INTSWISSKNIFENODE_H
#define GENAPI_SRC_NODES_INTSWISSKNIFENODE_H

#include "formula/FormulaBinding.h"
#include "nodes/IntegerBase.h"

namespace GenApi::detail {

class IntSwissKnifeNode final : public IntegerBase {
public:
    IntSwissKnifeNode(NodeMap& map, std::string name) : IntegerBase(map, std::move(name), "IntSwissKnife") {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    void CollectValueChildren(std::vector<Node*>& children) const override { m_binding.CollectValueChildren(children); }
    EAccessMode OwnAccessMode() const override { return m_binding.VariablesAccessMode(); }
    int64_t ReadInt(bool ignoreCache) override;

private:
    FormulaBinding m_binding;
    std::string m_text;
    bool m_hasFormula = false;
    Formula m_formula;
};

} // namespace GenApi::detail

#endif
