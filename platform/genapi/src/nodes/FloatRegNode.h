// <FloatReg>: an IEEE 754 float of 4 or 8 bytes in either byte order.
#ifndef GENAPI_SRC_NODES_FLOATREGNODE_H
#define GENAPI_SRC_NODES_FLOATREGNODE_H

#include "nodes/FloatBase.h"
#include "nodes/RegisterAccess.h"

namespace GenApi::detail {

class FloatRegNode final : public RegisterMixin<FloatBase> {
public:
    FloatRegNode(NodeMap& map, std::string name) : RegisterMixin<FloatBase>(map, std::move(name), "FloatReg") {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    double ReadFloat(bool ignoreCache) override;
    void WriteFloat(double value) override;

private:
    int64_t CheckedLength();
    EEndianess m_endianess = LittleEndian;
};

} // namespace GenApi::detail

#endif
