// The formula language of SwissKnife and Converter nodes, compiled once into a tree of
// operations over resolved slots and evaluated without any further name lookups.
#ifndef GENAPI_SRC_FORMULA_FORMULA_H
#define GENAPI_SRC_FORMULA_FORMULA_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <Base/GCException.h>

namespace GenApi::detail {

// Evaluating a formula that did not compile. Callers see a LogicalErrorException; the engine
// tells it apart from a failing device because it will never go away.
class FormulaFaultException final : public GenICam::LogicalErrorException {
public:
    using LogicalErrorException::LogicalErrorException;
    ~FormulaFaultException() noexcept override;
};

// A number as the formula sees it: integer or floating point.
struct FormulaValue {
    bool isFloat = false;
    int64_t integer = 0;
    double real = 0.0;

    static FormulaValue Int(int64_t value) { return FormulaValue{false, value, 0.0}; }
    static FormulaValue Float(double value) { return FormulaValue{true, 0, value}; }
    double AsDouble() const { return isFloat ? real : static_cast<double>(integer); }
    // Truncates toward zero, saturating at the int64 limits; NaN gives 0 (callers check first).
    int64_t AsInt() const;
};

// What an identifier of a formula stands for.
struct FormulaSymbol {
    enum class Kind { Unknown, Slot, Constant, Expression };
    Kind kind = Kind::Unknown;
    int slot = 0;             // Slot: handed back to FormulaReader::Read
    FormulaValue value;       // Constant
    std::string text;         // Expression: compiled in place
};

class FormulaSymbols {
public:
    virtual ~FormulaSymbols() = default;
    // name may carry a dotted suffix such as "Sel.Entry.Off" or "Width.Max".
    virtual FormulaSymbol Resolve(std::string_view name) const = 0;
};

class FormulaReader {
public:
    virtual ~FormulaReader() = default;
    virtual FormulaValue Read(int slot) = 0;
};

class Formula {
public:
    // Integer: integer literals and integer variables stay integers, '/' truncates. Float:
    // every operand and result is floating point.
    enum class Mode { Integer, Float };

    Formula() = default;
    // Throws PropertyException naming the owner, the formula and the position of the fault.
    static Formula Compile(std::string_view text, const FormulaSymbols& symbols, Mode mode, const std::string& owner);
    // Compile, except that a fault is kept instead of thrown: evaluating the result throws
    // FormulaFaultException with the compiler's message. A description may carry formulas
    // nobody evaluates, and they must not stop the rest of the file from working.
    static Formula CompileDeferringFaults(std::string_view text, const FormulaSymbols& symbols, Mode mode,
                                          const std::string& owner);

    // Throws RuntimeException naming the owner for division by zero and results that are not numbers.
    FormulaValue Evaluate(FormulaReader& reader) const;
    int64_t EvaluateInt(FormulaReader& reader) const;
    double EvaluateFloat(FormulaReader& reader) const { return Evaluate(reader).AsDouble(); }
    bool IsEmpty() const { return m_operations.empty(); }
    const std::string& Text() const { return m_text; }

    enum class Op : uint8_t {
        Literal, Slot,
        Negate, Plus, BitNot, LogicalNot,
        Add, Subtract, Multiply, Divide, Remainder, Power,
        ShiftLeft, ShiftRight, Less, LessEqual, Greater, GreaterEqual, Equal, NotEqual,
        BitAnd, BitXor, BitOr, LogicalAnd, LogicalOr, Conditional,
        Sgn, Neg, Abs, Sqrt, Exp, Ln, Lg, Sin, Cos, Tan, Asin, Acos, Atan, Trunc, Floor, Ceil, Round, Round2
    };

    struct Operation {
        Op op;
        int first = -1;
        int second = -1;
        int third = -1;
        int slot = 0;
        int depth = 1;
        FormulaValue value;
    };

private:
    friend class FormulaParser;
    FormulaValue Eval(int index, FormulaReader& reader) const;
    FormulaValue Finish(FormulaValue value) const;

    std::vector<Operation> m_operations;
    int m_root = -1;
    Mode m_mode = Mode::Integer;
    std::string m_text;
    std::string m_owner;
    std::string m_fault;
};

} // namespace GenApi::detail

#endif
