// Compiles arbitrary text as a formula in both modes and evaluates it with a few variables.
#include <cstddef>
#include <cstdint>
#include <string>

#include <Base/GCException.h>

#include "formula/Formula.h"

namespace {

using namespace GenApi::detail;

class Variables : public FormulaSymbols, public FormulaReader {
public:
    FormulaSymbol Resolve(std::string_view name) const override {
        FormulaSymbol symbol;
        if (name == "X" || name == "Y" || name == "FROM" || name == "TO") {
            symbol.kind = FormulaSymbol::Kind::Slot;
            symbol.slot = name == "X" ? 0 : (name == "Y" ? 1 : 2);
        } else if (name == "C") {
            symbol.kind = FormulaSymbol::Kind::Expression;
            symbol.text = "X * 2 + Y";
        } else if (name == "SELF") {
            symbol.kind = FormulaSymbol::Kind::Expression;
            symbol.text = "SELF";
        } else if (name == "K.Entry.On") {
            symbol.kind = FormulaSymbol::Kind::Constant;
            symbol.value = FormulaValue::Int(1);
        }
        return symbol;
    }
    FormulaValue Read(int slot) override {
        switch (slot) {
        case 0: return FormulaValue::Int(7);
        case 1: return FormulaValue::Float(-2.5);
        default: return FormulaValue::Int(0);
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Variables variables;
    for (const Formula::Mode mode : {Formula::Mode::Integer, Formula::Mode::Float}) {
        try {
            const Formula formula = Formula::Compile(text, variables, mode, "Fuzz");
            (void)formula.EvaluateInt(variables);
            (void)formula.EvaluateFloat(variables);
        } catch (const GenICam::GenericException&) {
        }
    }
    return 0;
}
