// <MaskedIntReg> and <StructEntry>: an integer held in a bit field (LSB..MSB or one Bit) of a
// register. Bit numbers count from the least significant bit for little-endian registers and
// from the most significant bit for big-endian ones.
#ifndef GENAPI_SRC_NODES_MASKEDINTREGNODE_H
#define GENAPI_SRC_NODES_MASKEDINTREGNODE_H

#include "nodes/IntegerBase.h"
#include "nodes/RegisterAccess.h"

namespace GenApi::detail {

class MaskedIntRegNode final : public RegisterMixin<IntegerBase> {
public:
    MaskedIntRegNode(NodeMap& map, std::string name, const char* elementName = "MaskedIntReg")
        : RegisterMixin<IntegerBase>(map, std::move(name), elementName) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    int64_t ReadInt(bool ignoreCache) override;
    void WriteInt(int64_t value) override;
    int64_t ReadIntMin() override;
    int64_t ReadIntMax() override;

private:
    // Shift and width of the field in a register of length bytes.
    void Field(int64_t length, int& shift, int& width) const;

    int64_t m_lsb = -1;
    int64_t m_msb = -1;
    ESign m_sign = Unsigned;
    EEndianess m_endianess = LittleEndian;
};

} // namespace GenApi::detail

#endif
