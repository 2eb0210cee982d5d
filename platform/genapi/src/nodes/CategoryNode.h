// <Category>: a named group of features, the tree an application browses.
#ifndef GENAPI_SRC_NODES_CATEGORYNODE_H
#define GENAPI_SRC_NODES_CATEGORYNODE_H

#include <GenApi/ICategory.h>

#include "nodes/Node.h"

namespace GenApi::detail {

class CategoryNode final : public Node, public virtual ICategory {
public:
    CategoryNode(NodeMap& map, std::string name) : Node(map, std::move(name), "Category", ValueKind::Category) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    EAccessMode OwnAccessMode() const override { return RO; }
    const std::vector<Node*>& Features() const { return m_features; }

    // IValue
    INode* GetNode() override { return this; }
    GenICam::gcstring ToString(bool = false, bool = false) override { return GenICam::gcstring(); }
    void FromString(const GenICam::gcstring&, bool = true) override;
    bool IsValueCacheValid() const override { return true; }

    // ICategory
    void GetFeatures(FeatureList_t& Features) const override;
    EInterfaceType GetPrincipalInterfaceType() const override { return intfICategory; }

private:
    std::vector<Node*> m_features;
};

} // namespace GenApi::detail

#endif
