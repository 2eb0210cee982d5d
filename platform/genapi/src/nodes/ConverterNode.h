// <Converter>: a float whose value is another node's value passed through FormulaFrom
// (reading) and FormulaTo (writing).
#ifndef GENAPI_SRC_NODES_CONVERTERNODE_H
#define GENAPI_SRC_NODES_CONVERTERNODE_H

#include "nodes/FloatBase.h"
#include "nodes/IntConverterNode.h"

namespace GenApi::detail {

class ConverterNode final : public FloatBase {
public:
    ConverterNode(NodeMap& map, std::string name) : FloatBase(map, std::move(name), "Converter") {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override {
        return m_core.ParseProperty(this, element, child, builder) || FloatBase::ParseProperty(element, child, builder);
    }
    void Link(NodeBuilder& builder) override {
        FloatBase::Link(builder);
        m_core.Link(this, builder, Formula::Mode::Float);
    }
    void CollectValueChildren(std::vector<Node*>& children) const override { m_core.CollectValueChildren(children); }
    void CollectWritingChildren(std::vector<Node*>& children) const override { children.push_back(m_core.Target()); }
    EAccessMode OwnAccessMode() const override { return m_core.AccessMode(); }
    double ReadFloat(bool ignoreCache) override { return m_core.ReadConverted(ignoreCache, Formula::Mode::Float).AsDouble(); }
    void WriteFloat(double value) override {
        m_core.WriteConverted(FormulaValue::Float(value));
        ValueWritten();
    }
    double ReadFloatMin() override;
    double ReadFloatMax() override;

private:
    void Range(double& minimum, double& maximum);
    mutable ConverterCore m_core;
};

} // namespace GenApi::detail

#endif
