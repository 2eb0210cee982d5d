#include "nodes/MaskedIntRegNode.h"

#include "nodes/IntRegNode.h"
#include "xml/NodeBuilder.h"

namespace GenApi::detail {

bool MaskedIntRegNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "LSB") m_lsb = builder.Integer(this, child);
    else if (element == "MSB") m_msb = builder.Integer(this, child);
    else if (element == "Bit") m_lsb = m_msb = builder.Integer(this, child);
    else if (element == "Sign") m_sign = builder.Sign(this, child);
    else if (element == "Endianess") m_endianess = builder.Endianess(this, child);
    else return RegisterMixin<IntegerBase>::ParseProperty(element, child, builder);
    return true;
}

void MaskedIntRegNode::Link(NodeBuilder& builder) {
    RegisterMixin<IntegerBase>::Link(builder);
    if (m_lsb < 0 && m_msb < 0) builder.Fail(this, "no <LSB>, <MSB> or <Bit>");
    if (m_lsb < 0) m_lsb = m_msb;
    if (m_msb < 0) m_msb = m_lsb;
    if (m_lsb > 63 || m_msb > 63) builder.Fail(this, "bit numbers must lie between 0 and 63");
    const int64_t length = m_register.StaticLength();
    if (length > 8) builder.Fail(this, "a masked register cannot be longer than 8 bytes");
    if (length > 0) {
        int shift = 0;
        int width = 0;
        Field(length, shift, width);
        if (width <= 0 || shift < 0 || shift + width > length * 8)
            builder.Fail(this, "bit field LSB " + std::to_string(m_lsb) + " MSB " + std::to_string(m_msb) +
                                   " does not fit a register of " + std::to_string(length) + " bytes");
    }
}

void MaskedIntRegNode::Field(int64_t length, int& shift, int& width) const {
    if (m_endianess == BigEndian) {
        shift = static_cast<int>(length * 8 - 1 - m_lsb);
        width = static_cast<int>(m_lsb - m_msb + 1);
    } else {
        shift = static_cast<int>(m_lsb);
        width = static_cast<int>(m_msb - m_lsb + 1);
    }
    if (width <= 0 || shift < 0 || shift + width > length * 8)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': bit field does not fit a register of %lld bytes", m_name,
                                     static_cast<long long>(length));
}

int64_t MaskedIntRegNode::ReadInt(bool ignoreCache) {
    const int64_t length = m_register.Length();
    if (length > 8) throw OUT_OF_RANGE_EXCEPTION("Node '%s': masked register longer than 8 bytes", m_name);
    int shift = 0;
    int width = 0;
    Field(length, shift, width);
    uint8_t data[8];
    ReadRegister(data, length, ignoreCache);
    uint64_t value = DecodeUnsigned(data, length, m_endianess) >> shift;
    if (width < 64) value &= (uint64_t{1} << width) - 1;
    return m_sign == Signed ? SignExtend(value, width) : static_cast<int64_t>(value);
}

void MaskedIntRegNode::WriteInt(int64_t value) {
    const int64_t length = m_register.Length();
    if (length > 8) throw OUT_OF_RANGE_EXCEPTION("Node '%s': masked register longer than 8 bytes", m_name);
    int shift = 0;
    int width = 0;
    Field(length, shift, width);
    uint8_t data[8];
    // The other bits of the register keep their values.
    ReadRegister(data, length, false);
    const uint64_t mask = (width < 64 ? (uint64_t{1} << width) - 1 : ~uint64_t{0}) << shift;
    uint64_t whole = DecodeUnsigned(data, length, m_endianess);
    whole = (whole & ~mask) | ((static_cast<uint64_t>(value) << shift) & mask);
    EncodeUnsigned(whole, data, length, m_endianess);
    WriteRegister(data, length);
}

namespace {
int ClampWidth(int64_t width) { return width < 1 ? 1 : (width > 64 ? 64 : static_cast<int>(width)); }
} // namespace

int64_t MaskedIntRegNode::ReadIntMin() {
    const int width = ClampWidth((m_endianess == BigEndian ? m_lsb - m_msb : m_msb - m_lsb) + 1);
    if (m_sign != Signed) return 0;
    return width >= 64 ? INT64_MIN : -(int64_t{1} << (width - 1));
}

int64_t MaskedIntRegNode::ReadIntMax() {
    const int width = ClampWidth((m_endianess == BigEndian ? m_lsb - m_msb : m_msb - m_lsb) + 1);
    if (m_sign == Signed) return width >= 64 ? INT64_MAX : (int64_t{1} << (width - 1)) - 1;
    return width >= 64 ? INT64_MAX : static_cast<int64_t>((uint64_t{1} << width) - 1);
}

} // namespace GenApi::detail
