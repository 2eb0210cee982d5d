// <Integer>: an integer feature whose value is a literal, another node, or selected by index,
// with literal or node-given minimum, maximum and increment.
#ifndef GENAPI_SRC_NODES_INTEGERNODE_H
#define GENAPI_SRC_NODES_INTEGERNODE_H

#include "nodes/IntegerBase.h"
#include "nodes/ValueSource.h"

namespace GenApi::detail {

class IntegerNode final : public IntegerBase {
public:
    IntegerNode(NodeMap& map, std::string name) : IntegerBase(map, std::move(name), "Integer") {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    void CollectValueChildren(std::vector<Node*>& children) const override;
    void CollectWritingChildren(std::vector<Node*>& children) const override { m_source.CollectWriting(children); }
    EAccessMode OwnAccessMode() const override { return m_source.AccessMode(); }

    int64_t ReadInt(bool ignoreCache) override { return m_source.Read(ignoreCache); }
    void WriteInt(int64_t value) override;
    int64_t ReadIntMin() override;
    int64_t ReadIntMax() override;
    int64_t ReadIntInc() override;

private:
    mutable ValueSource<int64_t> m_source;
    int64_t m_min = INT64_MIN;
    int64_t m_max = INT64_MAX;
    int64_t m_inc = 1;
    bool m_hasMin = false;
    bool m_hasMax = false;
    bool m_hasInc = false;
    Node* m_minNode = nullptr;
    Node* m_maxNode = nullptr;
    Node* m_incNode = nullptr;
};

} // namespace GenApi::detail

#endif
