#include "nodes/SwissKnifeNode.h"

#include "xml/NodeBuilder.h"

namespace GenApi::detail {

bool SwissKnifeNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (m_binding.ParseProperty(this, element, child, builder)) return true;
    if (element == "Formula") {
        m_text = std::string(NodeBuilder::Text(child));
        m_hasFormula = true;
        return true;
    }
    return FloatBase::ParseProperty(element, child, builder);
}

void SwissKnifeNode::Link(NodeBuilder& builder) {
    FloatBase::Link(builder);
    m_binding.Link(this, builder);
    if (!m_hasFormula) builder.Fail(this, "no <Formula>");
    m_formula = m_binding.Compile(this, m_text, Formula::Mode::Float, nullptr);
    m_text = std::string();
}

double SwissKnifeNode::ReadFloat(bool) { return m_formula.EvaluateFloat(m_binding); }

} // namespace GenApi::detail
