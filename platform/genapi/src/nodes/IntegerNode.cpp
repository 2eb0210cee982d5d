#include "nodes/IntegerNode.h"

#include "xml/NodeBuilder.h"

namespace GenApi::detail {

namespace {
// A float behind an integer reads rounded; files use that for converted registers.
bool AcceptInteger(const Node* node) { return IsNumericKind(node->Kind()); }
} // namespace

bool IntegerNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (m_source.Parse(this, element, child, builder)) return true;
    if (element == "Min") {
        m_min = builder.Integer(this, child);
        m_hasMin = true;
    } else if (element == "Max") {
        m_max = builder.Integer(this, child);
        m_hasMax = true;
    } else if (element == "Inc") {
        m_inc = builder.Integer(this, child);
        m_hasInc = true;
        if (m_inc <= 0) builder.Fail(this, "<Inc> must be positive");
    } else if (element == "pMin") {
        builder.Reference(this, &m_minNode, child);
    } else if (element == "pMax") {
        builder.Reference(this, &m_maxNode, child);
    } else if (element == "pInc") {
        builder.Reference(this, &m_incNode, child);
    } else {
        return IntegerBase::ParseProperty(element, child, builder);
    }
    return true;
}

void IntegerNode::Link(NodeBuilder& builder) {
    IntegerBase::Link(builder);
    m_source.Link(this, builder, AcceptInteger, "an integer");
    builder.Require(this, m_minNode, "pMin", AcceptInteger, "an integer");
    builder.Require(this, m_maxNode, "pMax", AcceptInteger, "an integer");
    builder.Require(this, m_incNode, "pInc", AcceptInteger, "an integer");
}

void IntegerNode::CollectValueChildren(std::vector<Node*>& children) const {
    m_source.Collect(children);
    for (Node* node : {m_minNode, m_maxNode, m_incNode})
        if (node != nullptr) children.push_back(node);
}

void IntegerNode::WriteInt(int64_t value) {
    m_source.Write(value);
    ValueWritten();
}

int64_t IntegerNode::ReadIntMin() {
    if (m_minNode != nullptr) return m_minNode->ReadInt(false);
    if (m_hasMin) return m_min;
    if (Node* source = m_source.Selected()) return source->ReadIntMin();
    return INT64_MIN;
}

int64_t IntegerNode::ReadIntMax() {
    if (m_maxNode != nullptr) return m_maxNode->ReadInt(false);
    if (m_hasMax) return m_max;
    if (Node* source = m_source.Selected()) return source->ReadIntMax();
    return INT64_MAX;
}

int64_t IntegerNode::ReadIntInc() {
    if (m_incNode != nullptr) return m_incNode->ReadInt(false);
    if (m_hasInc) return m_inc;
    if (Node* source = m_source.Selected()) return source->ReadIntInc();
    return 1;
}

} // namespace GenApi::detail
