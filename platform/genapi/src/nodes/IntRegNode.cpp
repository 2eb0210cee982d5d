#include "nodes/IntRegNode.h"

#include "xml/NodeBuilder.h"

namespace GenApi::detail {

uint64_t DecodeUnsigned(const uint8_t* data, int64_t length, EEndianess endianess) {
    uint64_t value = 0;
    if (endianess == BigEndian) {
        for (int64_t index = 0; index < length; ++index) value = (value << 8) | data[index];
    } else {
        for (int64_t index = length - 1; index >= 0; --index) value = (value << 8) | data[index];
    }
    return value;
}

void EncodeUnsigned(uint64_t value, uint8_t* data, int64_t length, EEndianess endianess) {
    for (int64_t index = 0; index < length; ++index) {
        const uint8_t byte = static_cast<uint8_t>(value >> (8 * index));
        data[endianess == BigEndian ? length - 1 - index : index] = byte;
    }
}

int64_t SignExtend(uint64_t value, int bits) {
    if (bits >= 64) return static_cast<int64_t>(value);
    const uint64_t sign = uint64_t{1} << (bits - 1);
    value &= (uint64_t{1} << bits) - 1;
    return static_cast<int64_t>((value ^ sign) - sign);
}

bool IntRegNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "Sign") m_sign = builder.Sign(this, child);
    else if (element == "Endianess") m_endianess = builder.Endianess(this, child);
    else if (element == "FeatureID") {
        // Identifier of legacy SmartFeature nodes: informational.
    } else return RegisterMixin<IntegerBase>::ParseProperty(element, child, builder);
    return true;
}

void IntRegNode::Link(NodeBuilder& builder) {
    RegisterMixin<IntegerBase>::Link(builder);
    const int64_t length = m_register.StaticLength();
    if (length > 8) builder.Fail(this, "an integer register cannot be longer than 8 bytes");
}

int64_t IntRegNode::CheckedLength() {
    const int64_t length = m_register.Length();
    if (length > 8)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': an integer register cannot be %lld bytes long", m_name,
                                     static_cast<long long>(length));
    return length;
}

int64_t IntRegNode::ReadInt(bool ignoreCache) {
    const int64_t length = CheckedLength();
    uint8_t data[8];
    ReadRegister(data, length, ignoreCache);
    const uint64_t value = DecodeUnsigned(data, length, m_endianess);
    return m_sign == Signed ? SignExtend(value, static_cast<int>(length * 8)) : static_cast<int64_t>(value);
}

void IntRegNode::WriteInt(int64_t value) {
    const int64_t length = CheckedLength();
    uint8_t data[8];
    EncodeUnsigned(static_cast<uint64_t>(value), data, length, m_endianess);
    WriteRegister(data, length);
}

int64_t IntRegNode::ReadIntMin() {
    const int64_t length = CheckedLength();
    if (m_sign != Signed) return 0;
    return length >= 8 ? INT64_MIN : -(int64_t{1} << (length * 8 - 1));
}

int64_t IntRegNode::ReadIntMax() {
    const int64_t length = CheckedLength();
    if (m_sign == Signed) return length >= 8 ? INT64_MAX : (int64_t{1} << (length * 8 - 1)) - 1;
    return length >= 8 ? INT64_MAX : static_cast<int64_t>((uint64_t{1} << (length * 8)) - 1);
}

} // namespace GenApi::detail
