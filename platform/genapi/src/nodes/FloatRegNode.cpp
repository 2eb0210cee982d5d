#include "nodes/FloatRegNode.h"

#include <cstring>

#include "nodes/IntRegNode.h"
#include "xml/NodeBuilder.h"

namespace GenApi::detail {

bool FloatRegNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "Endianess") m_endianess = builder.Endianess(this, child);
    else if (element == "Sign") builder.Sign(this, child); // meaningless for IEEE floats; some files carry it
    else return RegisterMixin<FloatBase>::ParseProperty(element, child, builder);
    return true;
}

void FloatRegNode::Link(NodeBuilder& builder) {
    RegisterMixin<FloatBase>::Link(builder);
    const int64_t length = m_register.StaticLength();
    if (length != 4 && length != 8) builder.Fail(this, "a float register must be 4 or 8 bytes long");
}

int64_t FloatRegNode::CheckedLength() {
    const int64_t length = m_register.Length();
    if (length != 4 && length != 8)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': a float register cannot be %lld bytes long", m_name, static_cast<long long>(length));
    return length;
}

double FloatRegNode::ReadFloat(bool ignoreCache) {
    const int64_t length = CheckedLength();
    uint8_t data[8];
    ReadRegister(data, length, ignoreCache);
    const uint64_t bits = DecodeUnsigned(data, length, m_endianess);
    if (length == 4) {
        const uint32_t narrow = static_cast<uint32_t>(bits);
        float value;
        std::memcpy(&value, &narrow, sizeof value);
        return value;
    }
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

void FloatRegNode::WriteFloat(double value) {
    const int64_t length = CheckedLength();
    uint64_t bits = 0;
    if (length == 4) {
        const float narrow = static_cast<float>(value);
        uint32_t narrowBits;
        std::memcpy(&narrowBits, &narrow, sizeof narrowBits);
        bits = narrowBits;
    } else {
        std::memcpy(&bits, &value, sizeof bits);
    }
    uint8_t data[8];
    EncodeUnsigned(bits, data, length, m_endianess);
    WriteRegister(data, length);
}

} // namespace GenApi::detail
