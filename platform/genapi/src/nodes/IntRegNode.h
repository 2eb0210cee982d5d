// <IntReg> (also ConfRom, IntKey, AdvFeatureLock, SmartFeature): a signed or unsigned integer
// of 1 to 8 bytes in either byte order.
#ifndef GENAPI_SRC_NODES_INTREGNODE_H
#define GENAPI_SRC_NODES_INTREGNODE_H

#include "nodes/IntegerBase.h"
#include "nodes/RegisterAccess.h"

namespace GenApi::detail {

// Byte order and sign conversions shared by the register kinds.
uint64_t DecodeUnsigned(const uint8_t* data, int64_t length, EEndianess endianess);
void EncodeUnsigned(uint64_t value, uint8_t* data, int64_t length, EEndianess endianess);
int64_t SignExtend(uint64_t value, int bits);

class IntRegNode final : public RegisterMixin<IntegerBase> {
public:
    IntRegNode(NodeMap& map, std::string name, const char* elementName = "IntReg")
        : RegisterMixin<IntegerBase>(map, std::move(name), elementName) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;
    void Link(NodeBuilder& builder) override;
    int64_t ReadInt(bool ignoreCache) override;
    void WriteInt(int64_t value) override;
    int64_t ReadIntMin() override;
    int64_t ReadIntMax() override;

private:
    int64_t CheckedLength();

    ESign m_sign = Unsigned;
    EEndianess m_endianess = LittleEndian;
};

} // namespace GenApi::detail

#endif
