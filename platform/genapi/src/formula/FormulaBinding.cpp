#include "formula/FormulaBinding.h"

#include <GenApi/IBase.h>

#include "nodes/EnumerationNode.h"
#include "nodes/Node.h"
#include "xml/NodeBuilder.h"

namespace GenApi::detail {

namespace {
constexpr int kFieldValue = 0;
constexpr int kFieldMin = 1;
constexpr int kFieldMax = 2;
constexpr int kFieldInc = 3;
constexpr int kSpecialSlot = -1;

bool AcceptNumeric(const Node* node) { return IsNumericKind(node->Kind()); }
} // namespace

bool FormulaBinding::ParseProperty(Node* owner, std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) {
    const std::string name = child.attribute("Name").value();
    if (element == "pVariable") {
        if (name.empty()) builder.Fail(owner, "<pVariable> without a Name");
        Variable& variable = *m_variables.emplace_back(std::make_unique<Variable>());
        variable.name = name;
        builder.Reference(owner, &variable.node, child);
    } else if (element == "Constant") {
        if (name.empty()) builder.Fail(owner, "<Constant> without a Name");
        m_constants.emplace_back(name, std::string(NodeBuilder::Text(child)));
    } else if (element == "Expression") {
        if (name.empty()) builder.Fail(owner, "<Expression> without a Name");
        m_expressions.emplace_back(name, std::string(NodeBuilder::Text(child)));
    } else {
        return false;
    }
    return true;
}

void FormulaBinding::Link(Node* owner, NodeBuilder& builder) {
    for (const auto& variable : m_variables)
        builder.Require(owner, variable->node, "pVariable", AcceptNumeric, "an integer, float, boolean or enumeration");
}

Formula FormulaBinding::Compile(const Node* owner, std::string_view text, Formula::Mode mode, const char* special) {
    m_special = special;
    m_mode = mode;
    return Formula::CompileDeferringFaults(text, *this, mode, owner->Name());
}

void FormulaBinding::CollectValueChildren(std::vector<Node*>& children) const {
    for (const auto& variable : m_variables) children.push_back(variable->node);
}

EAccessMode FormulaBinding::VariablesAccessMode() const {
    for (const auto& variable : m_variables)
        if (!GenApi::IsReadable(variable->node->AccessMode())) return NA;
    return RO;
}

FormulaSymbol FormulaBinding::Resolve(std::string_view name) const {
    FormulaSymbol symbol;
    const size_t dot = name.find('.');
    const std::string_view base = name.substr(0, dot);
    const std::string_view suffix = dot == std::string_view::npos ? std::string_view() : name.substr(dot + 1);
    if (m_special != nullptr && base == m_special && suffix.empty()) {
        symbol.kind = FormulaSymbol::Kind::Slot;
        symbol.slot = kSpecialSlot;
        return symbol;
    }
    for (size_t index = 0; index < m_variables.size(); ++index) {
        const Variable& variable = *m_variables[index];
        if (variable.name != base) continue;
        int field = -1;
        if (suffix.empty() || suffix == "Value") field = kFieldValue;
        else if (suffix == "Min") field = kFieldMin;
        else if (suffix == "Max") field = kFieldMax;
        else if (suffix == "Inc") field = kFieldInc;
        else if (suffix.substr(0, 6) == "Entry.") {
            const auto* enumeration = dynamic_cast<const EnumerationNode*>(variable.node);
            int64_t value = 0;
            if (enumeration != nullptr && enumeration->FindEntryValue(suffix.substr(6), value)) {
                symbol.kind = FormulaSymbol::Kind::Constant;
                symbol.value = m_mode == Formula::Mode::Float ? FormulaValue::Float(static_cast<double>(value))
                                                             : FormulaValue::Int(value);
            }
            return symbol;
        }
        if (field < 0) return symbol;
        symbol.kind = FormulaSymbol::Kind::Slot;
        symbol.slot = static_cast<int>(index) * 4 + field;
        return symbol;
    }
    if (!suffix.empty()) return symbol;
    for (const auto& [constantName, text] : m_constants) {
        if (constantName != base) continue;
        symbol.kind = FormulaSymbol::Kind::Expression;
        symbol.text = text;
        return symbol;
    }
    for (const auto& [expressionName, text] : m_expressions) {
        if (expressionName != base) continue;
        symbol.kind = FormulaSymbol::Kind::Expression;
        symbol.text = text;
        return symbol;
    }
    return symbol;
}

FormulaValue FormulaBinding::Read(int slot) {
    if (slot == kSpecialSlot) return m_specialValue;
    Node* node = m_variables[static_cast<size_t>(slot / 4)]->node;
    const bool asFloat = m_mode == Formula::Mode::Float || node->Kind() == ValueKind::Float;
    switch (slot % 4) {
    case kFieldMin:
        return asFloat ? FormulaValue::Float(node->ReadFloatMin()) : FormulaValue::Int(node->ReadIntMin());
    case kFieldMax:
        return asFloat ? FormulaValue::Float(node->ReadFloatMax()) : FormulaValue::Int(node->ReadIntMax());
    case kFieldInc:
        return FormulaValue::Int(node->ReadIntInc());
    default:
        return asFloat ? FormulaValue::Float(node->ReadFloat(false)) : FormulaValue::Int(node->ReadInt(false));
    }
}

} // namespace GenApi::detail
