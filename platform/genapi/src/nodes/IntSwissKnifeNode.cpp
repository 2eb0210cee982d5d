#include "nodes/IntSwissKnifeNode.h"

#include "xml/NodeBuilder.h"

namespace GenApi::detail {

bool IntSwissKnifeNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (m_binding.ParseProperty(this, element, child, builder)) return true;
    if (element == "Formula") {
        m_text = std::string(NodeBuilder::Text(child));
        m_hasFormula = true;
        return true;
    }
    return IntegerBase::ParseProperty(element, child, builder);
}

void IntSwissKnifeNode::Link(NodeBuilder& builder) {
    IntegerBase::Link(builder);
    m_binding.Link(this, builder);
    if (!m_hasFormula) builder.Fail(this, "no <Formula>");
    m_formula = m_binding.Compile(this, m_text, Formula::Mode::Integer, nullptr);
    m_text.clear();
    m_text.shrink_to_fit();
}

int64_t IntSwissKnifeNode::ReadInt(bool) { return m_formula.EvaluateInt(m_binding); }

} // namespace GenApi::detail
