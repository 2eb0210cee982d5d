#include "nodes/CategoryNode.h"

#include <Base/GCException.h>

#include "xml/NodeBuilder.h"

namespace GenApi::detail {

bool CategoryNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "pFeature") {
        builder.ReferenceList(this, m_features, child);
        return true;
    }
    return Node::ParseProperty(element, child, builder);
}

void CategoryNode::FromString(const GenICam::gcstring&, bool) {
    throw ACCESS_EXCEPTION("Node '%s' is a category and cannot be written", m_name);
}

void CategoryNode::GetFeatures(FeatureList_t& Features) const {
    Features.clear();
    for (Node* node : m_features)
        if (IValue* value = dynamic_cast<IValue*>(static_cast<INode*>(node))) Features.push_back(value);
}

} // namespace GenApi::detail
