// Connects a formula to the node that owns it: the owner's <pVariable>, <Constant> and
// <Expression> elements give the names, and reading a slot reads the variable's node.
#ifndef GENAPI_SRC_FORMULA_FORMULABINDING_H
#define GENAPI_SRC_FORMULA_FORMULABINDING_H

#include <memory>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include <GenApi/Types.h>

#include "formula/Formula.h"

namespace GenApi::detail {

class Node;
class NodeBuilder;

class FormulaBinding final : public FormulaSymbols, public FormulaReader {
public:
    bool ParseProperty(Node* owner, std::string_view element, const pugi::xml_node& child, NodeBuilder& builder);
    void Link(Node* owner, NodeBuilder& builder);
    // special names the converter's input ("FROM" or "TO"), or is null. A formula that does
    // not compile (names that are not declared, bad syntax) comes back faulty and fails when
    // its node is evaluated, not when the file loads.
    Formula Compile(const Node* owner, std::string_view text, Formula::Mode mode, const char* special);
    void CollectValueChildren(std::vector<Node*>& children) const;
    void SetSpecial(FormulaValue value) { m_specialValue = value; }
    // RO when every variable can be read, NA otherwise: a formula over unreadable nodes has no value.
    EAccessMode VariablesAccessMode() const;

    FormulaSymbol Resolve(std::string_view name) const override;
    FormulaValue Read(int slot) override;

private:
    struct Variable {
        std::string name;
        Node* node = nullptr;
    };

    // Separately allocated: references to them are kept while parsing.
    std::vector<std::unique_ptr<Variable>> m_variables;
    std::vector<std::pair<std::string, std::string>> m_constants;
    std::vector<std::pair<std::string, std::string>> m_expressions;
    const char* m_special = nullptr;
    Formula::Mode m_mode = Formula::Mode::Integer;
    FormulaValue m_specialValue;
};

} // namespace GenApi::detail

#endif
