// <String>: a string held in the node (<Value>) or in another string node (<pValue>).
#ifndef GENAPI_SRC_NODES_STRINGNODE_H
#define GENAPI_SRC_NODES_STRINGNODE_H

#include "nodes/StringBase.h"

namespace GenApi::detail {

class StringNode final : public StringBase {
public:
    StringNode(NodeMap& map, std::string name) : StringBase(map, std::move(name), "String") {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    void CollectValueChildren(std::vector<Node*>& children) const override;
    void CollectWritingChildren(std::vector<Node*>& children) const override { CollectValueChildren(children); }
    EAccessMode OwnAccessMode() const override { return m_pointer != nullptr ? m_pointer->AccessMode() : RW; }
    std::string ReadString(bool ignoreCache) override;
    void WriteString(const std::string& value) override;
    int64_t MaxLength() override;

private:
    std::string m_value;
    bool m_hasValue = false;
    Node* m_pointer = nullptr;
};

} // namespace GenApi::detail

#endif
