#include "nodes/FloatNode.h"

#include "xml/NodeBuilder.h"

namespace GenApi::detail {

namespace {
bool AcceptNumeric(const Node* node) { return IsNumericKind(node->Kind()); }
} // namespace

bool FloatNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (m_source.Parse(this, element, child, builder)) return true;
    if (element == "Min") {
        m_min = builder.Float(this, child);
        m_hasMin = true;
    } else if (element == "Max") {
        m_max = builder.Float(this, child);
        m_hasMax = true;
    } else if (element == "Inc") {
        m_inc = builder.Float(this, child);
        m_hasInc = true;
    } else if (element == "pMin") {
        builder.Reference(this, &m_minNode, child);
    } else if (element == "pMax") {
        builder.Reference(this, &m_maxNode, child);
    } else if (element == "pInc") {
        builder.Reference(this, &m_incNode, child);
    } else {
        return FloatBase::ParseProperty(element, child, builder);
    }
    return true;
}

void FloatNode::Link(NodeBuilder& builder) {
    FloatBase::Link(builder);
    m_source.Link(this, builder, AcceptNumeric, "an integer or float");
    builder.Require(this, m_minNode, "pMin", AcceptNumeric, "an integer or float");
    builder.Require(this, m_maxNode, "pMax", AcceptNumeric, "an integer or float");
    builder.Require(this, m_incNode, "pInc", AcceptNumeric, "an integer or float");
}

void FloatNode::CollectValueChildren(std::vector<Node*>& children) const {
    m_source.Collect(children);
    for (Node* node : {m_minNode, m_maxNode, m_incNode})
        if (node != nullptr) children.push_back(node);
}

void FloatNode::WriteFloat(double value) {
    m_source.Write(value);
    ValueWritten();
}

double FloatNode::ReadFloatMin() {
    if (m_minNode != nullptr) return m_minNode->ReadFloat(false);
    if (m_hasMin) return m_min;
    if (Node* source = m_source.Selected()) return source->ReadFloatMin();
    return m_min;
}

double FloatNode::ReadFloatMax() {
    if (m_maxNode != nullptr) return m_maxNode->ReadFloat(false);
    if (m_hasMax) return m_max;
    if (Node* source = m_source.Selected()) return source->ReadFloatMax();
    return m_max;
}

// Like the range, the increment of the float the value comes from applies when the node has
// none of its own.
bool FloatNode::HasIncrement() {
    if (m_hasInc || m_incNode != nullptr) return true;
    auto* source = dynamic_cast<FloatBase*>(m_source.Selected());
    return source != nullptr && source->HasIncrement();
}

double FloatNode::ReadFloatInc() {
    if (m_incNode != nullptr) return m_incNode->ReadFloat(false);
    if (m_hasInc) return m_inc;
    auto* source = dynamic_cast<FloatBase*>(m_source.Selected());
    return source != nullptr && source->HasIncrement() ? source->ReadFloatInc() : 0.0;
}

} // namespace GenApi::detail
