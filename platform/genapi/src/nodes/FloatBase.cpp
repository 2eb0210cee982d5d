#include "nodes/FloatBase.h"

#include <cmath>

#include <Base/GCException.h>

#include "nodemap/NodeMap.h"
#include "nodes/IntegerBase.h"
#include "nodes/ValueText.h"
#include "xml/NodeBuilder.h"

namespace GenApi::detail {

bool FloatBase::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (element == "Representation") m_representation = builder.Representation(this, child);
    else if (element == "Unit") m_unit = std::string(NodeBuilder::Text(child));
    else if (element == "DisplayNotation") m_notation = builder.DisplayNotation(this, child);
    else if (element == "DisplayPrecision") m_precision = builder.Integer(this, child);
    else return Node::ParseProperty(element, child, builder);
    return true;
}

namespace {
int64_t RoundToInteger(double value) {
    if (std::isnan(value)) throw RUNTIME_EXCEPTION("value is not a number");
    if (value >= 9.2e18) return INT64_MAX;
    if (value <= -9.2e18) return INT64_MIN;
    return static_cast<int64_t>(std::llround(value));
}
} // namespace

int64_t FloatBase::ReadInt(bool ignoreCache) { return RoundToInteger(ReadFloat(ignoreCache)); }
int64_t FloatBase::ReadIntMin() { return RoundToInteger(ReadFloatMin()); }
int64_t FloatBase::ReadIntMax() { return RoundToInteger(ReadFloatMax()); }

GenICam::gcstring FloatBase::ToString(bool, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    return FormatFloat(ReadFloat(IgnoreCache), m_notation, m_precision);
}

void FloatBase::FromString(const GenICam::gcstring& ValueStr, bool Verify) {
    double value = 0.0;
    if (!ParseFloat(ValueStr.str(), value))
        throw INVALID_ARGUMENT_EXCEPTION("Node '%s': '%s' is not a number", m_name, ValueStr);
    SetValue(value, Verify);
}

bool FloatBase::IsValueCacheValid() const {
    NodeMap::Entry entry(m_map);
    return ValueCachesValid(this);
}

void FloatBase::CheckRange(double value) {
    if (std::isnan(value)) throw OUT_OF_RANGE_EXCEPTION("Node '%s': value is not a number", m_name);
    const double minimum = GetMin();
    const double maximum = GetMax();
    if (value < minimum)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': value %g must be greater than or equal to the minimum %g", m_name, value, minimum);
    if (value > maximum)
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': value %g must be smaller than or equal to the maximum %g", m_name, value, maximum);
    if (HasIncrement()) {
        const double increment = ReadFloatInc();
        if (increment > 0) {
            const double steps = (value - minimum) / increment;
            if (std::fabs(steps - std::round(steps)) > 1e-6 * std::max(1.0, std::fabs(steps)))
                throw OUT_OF_RANGE_EXCEPTION("Node '%s': value %g must be the minimum %g plus a multiple of the increment %g",
                                             m_name, value, minimum, increment);
        }
    }
}

void FloatBase::SetValue(double Value, bool) {
    NodeMap::Entry entry(m_map);
    CheckWritable();
    CheckRange(Value);
    WriteFloat(Value);
}

double FloatBase::GetValue(bool Verify, bool IgnoreCache) {
    NodeMap::Entry entry(m_map);
    CheckReadable();
    const double value = ReadFloat(IgnoreCache);
    if (Verify && (value < GetMin() || value > GetMax()))
        throw OUT_OF_RANGE_EXCEPTION("Node '%s': value %g read from the device is outside [%g, %g]", m_name, value,
                                     GetMin(), GetMax());
    return value;
}

double FloatBase::GetMin() {
    NodeMap::Entry entry(m_map);
    return std::max(ReadFloatMin(), m_imposedMin);
}

double FloatBase::GetMax() {
    NodeMap::Entry entry(m_map);
    return std::min(ReadFloatMax(), m_imposedMax);
}

bool FloatBase::HasInc() {
    NodeMap::Entry entry(m_map);
    return HasIncrement();
}

EIncMode FloatBase::GetIncMode() { return HasInc() ? fixedIncrement : noIncrement; }

double FloatBase::GetInc() {
    NodeMap::Entry entry(m_map);
    if (!HasIncrement()) throw LOGICAL_ERROR_EXCEPTION("Node '%s' has no increment", m_name);
    return ReadFloatInc();
}

double_autovector_t FloatBase::GetListOfValidValues(bool) { return {}; }

void FloatBase::ImposeMin(double Value) {
    NodeMap::Entry entry(m_map);
    m_imposedMin = Value;
    m_map.Invalidate(this, true);
}

void FloatBase::ImposeMax(double Value) {
    NodeMap::Entry entry(m_map);
    m_imposedMax = Value;
    m_map.Invalidate(this, true);
}

} // namespace GenApi::detail
