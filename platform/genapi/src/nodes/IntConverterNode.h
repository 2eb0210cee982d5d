// <IntConverter>: an integer whose value is another node's value passed through FormulaFrom
// (reading) and FormulaTo (writing).
#ifndef GENAPI_SRC_NODES_INTCONVERTERNODE_H
#define GENAPI_SRC_NODES_INTCONVERTERNODE_H

#include "formula/FormulaBinding.h"
#include "nodes/IntegerBase.h"

namespace GenApi::detail {

// The part shared by IntConverter and Converter.
class ConverterCore {
public:
    bool ParseProperty(Node* owner, std::string_view element, const pugi::xml_node& child, NodeBuilder& builder);
    void Link(Node* owner, NodeBuilder& builder, Formula::Mode mode);
    void CollectValueChildren(std::vector<Node*>& children) const;
    FormulaValue ReadConverted(bool ignoreCache, Formula::Mode mode);
    // What FormulaFrom gives for the target's value v.
    FormulaValue Convert(FormulaValue targetValue);
    void WriteConverted(FormulaValue value);
    Node* Target() const { return m_target; }
    // The target's access mode, unless a variable the formulas read cannot be read.
    EAccessMode AccessMode() const;
    ESlope Slope() const { return m_slope; }

private:
    FormulaBinding m_binding;
    std::string m_toText;
    std::string m_fromText;
    bool m_hasTo = false;
    bool m_hasFrom = false;
    Formula m_to;
    Formula m_from;
    Node* m_target = nullptr;
    ESlope m_slope = Automatic;
};

class IntConverterNode final : public IntegerBase {
public:
    IntConverterNode(NodeMap& map, std::string name) : IntegerBase(map, std::move(name), "IntConverter") {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override { IntegerBase::Link(builder); m_core.Link(this, builder, Formula::Mode::Integer); }
    void CollectValueChildren(std::vector<Node*>& children) const override { m_core.CollectValueChildren(children); }
    void CollectWritingChildren(std::vector<Node*>& children) const override { children.push_back(m_core.Target()); }
    EAccessMode OwnAccessMode() const override { return m_core.AccessMode(); }
    int64_t ReadInt(bool ignoreCache) override;
    void WriteInt(int64_t value) override;
    int64_t ReadIntMin() override;
    int64_t ReadIntMax() override;

private:
    void Range(int64_t& minimum, int64_t& maximum);
    mutable ConverterCore m_core;
};

} // namespace GenApi::detail

#endif
