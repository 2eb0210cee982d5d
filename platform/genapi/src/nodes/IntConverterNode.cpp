#include "nodes/IntConverterNode.h"

#include <Base/GCException.h>

#include "xml/NodeBuilder.h"

namespace GenApi::detail {

namespace {
bool AcceptNumeric(const Node* node) { return IsNumericKind(node->Kind()); }
} // namespace

bool ConverterCore::ParseProperty(Node* owner, std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    if (m_binding.ParseProperty(owner, element, child, builder)) return true;
    if (element == "FormulaTo") {
        m_toText = std::string(NodeBuilder::Text(child));
        m_hasTo = true;
    } else if (element == "FormulaFrom") {
        m_fromText = std::string(NodeBuilder::Text(child));
        m_hasFrom = true;
    } else if (element == "pValue") {
        builder.Reference(owner, &m_target, child);
    } else if (element == "Slope") {
        m_slope = builder.Slope(owner, child);
    } else if (element == "IsLinear") {
        builder.YesNo(owner, child);
    } else {
        return false;
    }
    return true;
}

void ConverterCore::Link(Node* owner, NodeBuilder& builder, Formula::Mode mode) {
    m_binding.Link(owner, builder);
    if (m_target == nullptr) builder.Fail(owner, "no <pValue>");
    builder.Require(owner, m_target, "pValue", AcceptNumeric, "an integer or float");
    if (!m_hasTo) builder.Fail(owner, "no <FormulaTo>");
    if (!m_hasFrom) builder.Fail(owner, "no <FormulaFrom>");
    m_to = m_binding.Compile(owner, m_toText, mode, "FROM");
    m_from = m_binding.Compile(owner, m_fromText, mode, "TO");
    m_toText = std::string();
    m_fromText = std::string();
}

void ConverterCore::CollectValueChildren(std::vector<Node*>& children) const {
    m_binding.CollectValueChildren(children);
    children.push_back(m_target);
}

EAccessMode ConverterCore::AccessMode() const {
    if (m_binding.VariablesAccessMode() == NA) return NA;
    return m_target->AccessMode();
}

FormulaValue ConverterCore::Convert(FormulaValue targetValue) {
    m_binding.SetSpecial(targetValue);
    return m_from.Evaluate(m_binding);
}

FormulaValue ConverterCore::ReadConverted(bool ignoreCache, Formula::Mode mode) {
    const bool targetFloat = mode == Formula::Mode::Float || m_target->Kind() == ValueKind::Float;
    return Convert(targetFloat ? FormulaValue::Float(m_target->ReadFloat(ignoreCache))
                               : FormulaValue::Int(m_target->ReadInt(ignoreCache)));
}

void ConverterCore::WriteConverted(FormulaValue value) {
    m_binding.SetSpecial(value);
    const FormulaValue result = m_to.Evaluate(m_binding);
    if (m_target->Kind() == ValueKind::Float) {
        m_target->WriteFloat(result.AsDouble());
    } else if (result.isFloat) {
        m_target->WriteFloat(result.real);
    } else {
        m_target->WriteInt(result.integer);
    }
}

bool IntConverterNode::ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    return m_core.ParseProperty(this, element, child, builder) || IntegerBase::ParseProperty(element, child, builder);
}

int64_t IntConverterNode::ReadInt(bool ignoreCache) {
    const FormulaValue value = m_core.ReadConverted(ignoreCache, Formula::Mode::Integer);
    if (value.isFloat && value.real != value.real)
        throw RUNTIME_EXCEPTION("Node '%s': FormulaFrom does not give a number", m_name);
    return value.AsInt();
}

void IntConverterNode::WriteInt(int64_t value) {
    m_core.WriteConverted(FormulaValue::Int(value));
    ValueWritten();
}

void IntConverterNode::Range(int64_t& minimum, int64_t& maximum) {
    // The formula maps the target's range; its slope tells which end is which, and an unknown
    // slope is resolved by comparing the two ends.
    minimum = INT64_MIN;
    maximum = INT64_MAX;
    try {
        Node* target = m_core.Target();
        const bool targetFloat = target->Kind() == ValueKind::Float;
        const FormulaValue low = m_core.Convert(targetFloat ? FormulaValue::Float(target->ReadFloatMin())
                                                            : FormulaValue::Int(target->ReadIntMin()));
        const FormulaValue high = m_core.Convert(targetFloat ? FormulaValue::Float(target->ReadFloatMax())
                                                             : FormulaValue::Int(target->ReadIntMax()));
        const int64_t first = low.AsInt();
        const int64_t second = high.AsInt();
        minimum = first < second ? first : second;
        maximum = first < second ? second : first;
    } catch (const GenICam::GenericException&) {
        // A range the formula cannot map (division by zero at an end): leave it open.
    }
}

int64_t IntConverterNode::ReadIntMin() {
    int64_t minimum = 0;
    int64_t maximum = 0;
    Range(minimum, maximum);
    return minimum;
}

int64_t IntConverterNode::ReadIntMax() {
    int64_t minimum = 0;
    int64_t maximum = 0;
    Range(minimum, maximum);
    return maximum;
}

} // namespace GenApi::detail
