#include "nodes/StringNode.h"

#include "xml/NodeBuilder.h"

namespace GenApi::detail {

namespace {
bool AcceptString(const Node* node) { return node->Kind() == ValueKind::String; }
} // namespace

bool StringNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "Value") {
        m_value = child.child_value();
        m_hasValue = true;
    } else if (element == "pValue") {
        builder.Reference(this, &m_pointer, child);
    } else {
        return StringBase::ParseProperty(element, child, builder);
    }
    return true;
}

void StringNode::Link(NodeBuilder& builder) {
    StringBase::Link(builder);
    builder.Require(this, m_pointer, "pValue", AcceptString, "a string");
    if (!m_hasValue && m_pointer == nullptr) builder.Fail(this, "no <Value> or <pValue>");
}

void StringNode::CollectValueChildren(std::vector<Node*>& children) const {
    if (m_pointer != nullptr) children.push_back(m_pointer);
}

std::string StringNode::ReadString(bool ignoreCache) {
    if (m_pointer != nullptr) return static_cast<StringBase*>(m_pointer)->ReadString(ignoreCache);
    return m_value;
}

void StringNode::WriteString(const std::string& value) {
    if (m_pointer != nullptr) static_cast<StringBase*>(m_pointer)->WriteString(value);
    else m_value = value;
    ValueWritten();
}

int64_t StringNode::MaxLength() {
    if (m_pointer != nullptr) return static_cast<StringBase*>(m_pointer)->MaxLength();
    return INT64_MAX;
}

} // namespace GenApi::detail
