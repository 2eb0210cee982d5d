// <SwissKnife>: a read-only float computed by a formula over other nodes.
#ifndef GENAPI_SRC_NODES_SWISSKNIFENODE_H
#define GENAPI_SRC_NODES_SWISSKNIFENODE_H

#include "formula/FormulaBinding.h"
#include "nodes/FloatBase.h"

namespace GenApi::detail {

class SwissKnifeNode final : public FloatBase {
public:
    SwissKnifeNode(NodeMap& map, std::string name) : FloatBase(map, std::move(name), "SwissKnife") {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    void CollectValueChildren(std::vector<Node*>& children) const override { m_binding.CollectValueChildren(children); }
    EAccessMode OwnAccessMode() const override { return m_binding.VariablesAccessMode(); }
    double ReadFloat(bool ignoreCache) override;

private:
    FormulaBinding m_binding;
    std::string m_text;
    bool m_hasFormula = false;
    Formula m_formula;
};

} // namespace GenApi::detail

#endif
