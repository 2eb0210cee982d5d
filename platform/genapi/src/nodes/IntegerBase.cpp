#include "nodes/IntegerBase.h"

#include <Base/GCException.h>

#include "nodemap/NodeMap.h"
#include "nodes/ValueText.h"
#include "xml/NodeBuilder.h"

namespace GenApi::detail {

bool ValueCachesValid(const Node* node) {
    if (!node->OwnCacheValid()) return false;
    if (node->HasOwnCache()) return true;
    std::vector<Node*> children;
    node->CollectValueChildren(children);
    for (const Node* child : children) {
        if (child->Kind() == ValueKind::Port) continue;
        if (!ValueCachesValid(child)) return false;
    }
    return true;
}

bool IntegerBase::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "Representation") m_representation = builder.Representation(this, child);
    else if (element == "Unit") m_unit = std::string(NodeBuilder::Text(child));
    else return Node::ParseProperty(element, child, builder);
    return true;
}

GenICam::gcstring IntegerBase::ToString(bool, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    return FormatInteger(ReadInt(IgnoreCache), m_representation);
}

void IntegerBase::FromString(const GenICam::gcstring& ValueStr, bool Verify) {
    int64_t value = 0;
    if (!ParseInteger(ValueStr.str(), value))
        throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' is not an integer", m_name, ValueStr);
    SetValue(value, Verify);
}

bool IntegerBase::IsValueCacheValid() const {
    NodeMap::Entry entry(m_map);
    return ValueCachesValid(this);
}

void IntegerBase::SetValue(int64_t Value, bool) {
    NodeMap::Entry entry(m_map);
    CheckWritable();
    CheckRange(Value);
    WriteInt(Value);
}

int64_t IntegerBase::GetValue(bool Verify, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    const int64_t value = ReadInt(IgnoreCache);
    if (Verify && (value < EffectiveMin() || value > EffectiveMax()))
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': value %lld read from the device is outside [%lld, %lld]", m_name,
                                     static_cast<long long>(value), static_cast<long long>(EffectiveMin()),
                                     static_cast<long long>(EffectiveMax()));
    return value;
}

int64_t IntegerBase::EffectiveMin() {
    const int64_t minimum = ReadIntMin();
    return minimum > m_imposedMin ? minimum : m_imposedMin;
}

int64_t IntegerBase::EffectiveMax() {
    const int64_t maximum = ReadIntMax();
    return maximum < m_imposedMax ? maximum : m_imposedMax;
}

void IntegerBase::CheckRange(int64_t value) {
    const int64_t minimum = EffectiveMin();
    const int64_t maximum = EffectiveMax();
    if (value < minimum)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': value %lld must be greater than or equal to the minimum %lld", m_name,
                                     static_cast<long long>(value), static_cast<long long>(minimum));
    if (value > maximum)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': value %lld must be smaller than or equal to the maximum %lld", m_name,
                                     static_cast<long long>(value), static_cast<long long>(maximum));
    const int64_t increment = ReadIntInc();
    if (increment > 1) {
        const uint64_t steps = static_cast<uint64_t>(value) - static_cast<uint64_t>(minimum);
        if (steps % static_cast<uint64_t>(increment) != 0)
            throw OUT_OF_RANGE_EXCEPTION("Node '%s': value %lld must be the minimum %lld plus a multiple of the increment %lld",
                                         m_name, static_cast<long long>(value), static_cast<long long>(minimum),
                                         static_cast<long long>(increment));
    }
}

int64_t IntegerBase::GetMin() {
    NodeMap::Entry entry(m_map);
    return EffectiveMin();
}

int64_t IntegerBase::GetMax() {
    NodeMap::Entry entry(m_map);
    return EffectiveMax();
}

EIncMode IntegerBase::GetIncMode() { return fixedIncrement; }

int64_t IntegerBase::GetInc() {
    NodeMap::Entry entry(m_map);
    const int64_t increment = ReadIntInc();
    return increment > 0 ? increment : 1;
}

int64_autovector_t IntegerBase::GetListOfValidValues(bool) { return {}; }

void IntegerBase::ImposeMin(int64_t Value) {
    NodeMap::Entry entry(m_map);
    m_imposedMin = Value;
    m_map.Invalidate(this, true);
}

void IntegerBase::ImposeMax(int64_t Value) {
    NodeMap::Entry entry(m_map);
    m_imposedMax = Value;
    m_map.Invalidate(this, true);
}

} // namespace GenApi::detail
