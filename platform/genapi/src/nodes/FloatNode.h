// <Float>: a floating-point feature with a literal, node-given or indexed value and range.
#ifndef GENAPI_SRC_NODES_FLOATNODE_H
#define GENAPI_SRC_NODES_FLOATNODE_H

#include "nodes/FloatBase.h"
#include "nodes/ValueSource.h"

namespace GenApi::detail {

class FloatNode final : public FloatBase {
public:
    FloatNode(NodeMap& map, std::string name) : FloatBase(map, std::move(name), "Float") {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    void CollectValueChildren(std::vector<Node*>& children) const override;
    void CollectWritingChildren(std::vector<Node*>& children) const override { m_source.CollectWriting(children); }
    EAccessMode OwnAccessMode() const override { return m_source.AccessMode(); }
    double ReadFloat(bool ignoreCache) override { return m_source.Read(ignoreCache); }
    void WriteFloat(double value) override;
    double ReadFloatMin() override;
    double ReadFloatMax() override;
    bool HasIncrement() override;
    double ReadFloatInc() override;

private:
    mutable ValueSource<double> m_source;
    double m_min = -1.7976931348623157e308;
    double m_max = 1.7976931348623157e308;
    double m_inc = 0.0;
    bool m_hasMin = false;
    bool m_hasMax = false;
    bool m_hasInc = false;
    Node* m_minNode = nullptr;
    Node* m_maxNode = nullptr;
    Node* m_incNode = nullptr;
};

} // namespace GenApi::detail

#endif
