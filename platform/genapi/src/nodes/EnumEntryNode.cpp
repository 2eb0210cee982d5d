#include "nodes/EnumEntryNode.h"

#include <Base/GCException.h>

#include "xml/NodeBuilder.h"

namespace GenApi::detail {

bool EnumEntryNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "Value") m_value = builder.Integer(this, child);
    else if (element == "NumericValue") {
        m_numericValue = builder.Float(this, child);
        m_hasNumericValue = true;
    } else if (element == "Symbolic") m_symbolic = std::string(NodeBuilder::Text(child));
    else if (element == "IsSelfClearing") m_selfClearing = builder.YesNo(this, child);
    else return Node::ParseProperty(element, child, builder);
    return true;
}

GenICam::gcstring EnumEntryNode::ToString(bool, bool) { return m_symbolic; }

void EnumEntryNode::FromString(const GenICam::gcstring&, bool) {
    throw ACCESS_EXCEPTION("Node '%s' is an enumeration entry and cannot be written", m_name);
}

} // namespace GenApi::detail
