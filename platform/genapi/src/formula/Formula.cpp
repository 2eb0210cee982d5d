#include "formula/Formula.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

#include <Base/GCException.h>

namespace GenApi::detail {

namespace {

constexpr int kMaximumNesting = 200;
constexpr int kMaximumOperations = 100000;
// Evaluation recurses along the tree, so its height is bounded as well as the nesting of the text.
constexpr int kMaximumHeight = 400;

int64_t Wrap(uint64_t value) { return static_cast<int64_t>(value); }

int64_t SaturatingTruncate(double value) {
    if (std::isnan(value)) return 0;
    if (value >= 9223372036854775807.0) return std::numeric_limits<int64_t>::max();
    if (value <= -9223372036854775808.0) return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(value);
}

int64_t IntegerPower(int64_t base, int64_t exponent) {
    uint64_t result = 1;
    uint64_t factor = static_cast<uint64_t>(base);
    while (exponent > 0) {
        if (exponent & 1) result *= factor;
        factor *= factor;
        exponent >>= 1;
    }
    return Wrap(result);
}

struct FunctionInfo {
    const char* name;
    Formula::Op op;
};

constexpr FunctionInfo kFunctions[] = {
    {"SGN", Formula::Op::Sgn},     {"NEG", Formula::Op::Neg},     {"ABS", Formula::Op::Abs},
    {"SQRT", Formula::Op::Sqrt},   {"EXP", Formula::Op::Exp},     {"LN", Formula::Op::Ln},
    {"LG", Formula::Op::Lg},       {"SIN", Formula::Op::Sin},     {"COS", Formula::Op::Cos},
    {"TAN", Formula::Op::Tan},     {"ASIN", Formula::Op::Asin},   {"ACOS", Formula::Op::Acos},
    {"ATAN", Formula::Op::Atan},   {"TRUNC", Formula::Op::Trunc}, {"FLOOR", Formula::Op::Floor},
    {"CEIL", Formula::Op::Ceil},   {"ROUND", Formula::Op::Round},
};

} // namespace

FormulaFaultException::~FormulaFaultException() noexcept = default;

int64_t FormulaValue::AsInt() const { return isFloat ? SaturatingTruncate(real) : integer; }

// Recursive descent over the precedence levels, lowest first:
//   ?:  ||  &&  |  ^  &  = <> == !=  < <= > >=  << >>  + -  * / %  unary - + ~ !  **
class FormulaParser {
public:
    FormulaParser(std::string_view text, const FormulaSymbols& symbols, Formula& formula)
        : m_text(text), m_symbols(symbols), m_formula(formula) {}

    int ParseAll() {
        const int root = ParseConditional();
        SkipSpace();
        if (m_position != m_text.size()) Fail("unexpected '" + std::string(1, m_text[m_position]) + "'");
        return root;
    }

    std::vector<std::string> m_expansionStack;

private:
    [[noreturn]] void Fail(const std::string& problem) const {
        throw PROPERTY_EXCEPTION("Node '%s': formula '%s': %s at position %zu", m_formula.m_owner,
                                 std::string(m_text), problem, m_position);
    }

    void SkipSpace() {
        while (m_position < m_text.size() && std::isspace(static_cast<unsigned char>(m_text[m_position]))) ++m_position;
    }

    bool Accept(std::string_view token) {
        SkipSpace();
        if (m_text.substr(m_position, token.size()) != token) return false;
        m_position += token.size();
        return true;
    }

    // Accepts a one-character operator unless it begins a longer one.
    bool AcceptSingle(char character, std::string_view notFollowedBy) {
        SkipSpace();
        if (m_position >= m_text.size() || m_text[m_position] != character) return false;
        if (m_position + 1 < m_text.size() && notFollowedBy.find(m_text[m_position + 1]) != std::string_view::npos) return false;
        ++m_position;
        return true;
    }

    int Add(Formula::Op op, int first = -1, int second = -1, int third = -1) {
        if (m_formula.m_operations.size() >= static_cast<size_t>(kMaximumOperations)) Fail("formula too large");
        Formula::Operation operation;
        operation.op = op;
        operation.first = first;
        operation.second = second;
        operation.third = third;
        for (const int child : {first, second, third})
            if (child >= 0) operation.depth = std::max(operation.depth, m_formula.m_operations[static_cast<size_t>(child)].depth + 1);
        if (operation.depth > kMaximumHeight) Fail("formula too deeply nested");
        m_formula.m_operations.push_back(operation);
        return static_cast<int>(m_formula.m_operations.size()) - 1;
    }

    int AddLiteral(FormulaValue value) {
        const int index = Add(Formula::Op::Literal);
        m_formula.m_operations[index].value = value;
        return index;
    }

    struct Depth {
        explicit Depth(FormulaParser& parser) : m_parser(parser) {
            if (++m_parser.m_depth > kMaximumNesting) m_parser.Fail("nested too deeply");
        }
        ~Depth() { --m_parser.m_depth; }
        FormulaParser& m_parser;
    };

    int ParseConditional() {
        Depth depth(*this);
        const int condition = ParseLogicalOr();
        if (!Accept("?")) return condition;
        const int whenTrue = ParseConditional();
        if (!Accept(":")) Fail("expected ':'");
        const int whenFalse = ParseConditional();
        return Add(Formula::Op::Conditional, condition, whenTrue, whenFalse);
    }

    int ParseLogicalOr() {
        int left = ParseLogicalAnd();
        while (Accept("||")) left = Add(Formula::Op::LogicalOr, left, ParseLogicalAnd());
        return left;
    }

    int ParseLogicalAnd() {
        int left = ParseBitOr();
        while (Accept("&&")) left = Add(Formula::Op::LogicalAnd, left, ParseBitOr());
        return left;
    }

    int ParseBitOr() {
        int left = ParseBitXor();
        while (AcceptSingle('|', "|")) left = Add(Formula::Op::BitOr, left, ParseBitXor());
        return left;
    }

    int ParseBitXor() {
        int left = ParseBitAnd();
        while (AcceptSingle('^', "")) left = Add(Formula::Op::BitXor, left, ParseBitAnd());
        return left;
    }

    int ParseBitAnd() {
        int left = ParseEquality();
        while (AcceptSingle('&', "&")) left = Add(Formula::Op::BitAnd, left, ParseEquality());
        return left;
    }

    int ParseEquality() {
        int left = ParseRelational();
        for (;;) {
            if (Accept("==")) left = Add(Formula::Op::Equal, left, ParseRelational());
            else if (Accept("!=") || Accept("<>")) left = Add(Formula::Op::NotEqual, left, ParseRelational());
            else if (AcceptSingle('=', "")) left = Add(Formula::Op::Equal, left, ParseRelational());
            else return left;
        }
    }

    int ParseRelational() {
        int left = ParseShift();
        for (;;) {
            if (Accept("<=")) left = Add(Formula::Op::LessEqual, left, ParseShift());
            else if (Accept(">=")) left = Add(Formula::Op::GreaterEqual, left, ParseShift());
            else if (AcceptSingle('<', "<>")) left = Add(Formula::Op::Less, left, ParseShift());
            else if (AcceptSingle('>', ">")) left = Add(Formula::Op::Greater, left, ParseShift());
            else return left;
        }
    }

    int ParseShift() {
        int left = ParseAdditive();
        for (;;) {
            if (Accept("<<")) left = Add(Formula::Op::ShiftLeft, left, ParseAdditive());
            else if (Accept(">>")) left = Add(Formula::Op::ShiftRight, left, ParseAdditive());
            else return left;
        }
    }

    int ParseAdditive() {
        int left = ParseMultiplicative();
        for (;;) {
            if (AcceptSingle('+', "")) left = Add(Formula::Op::Add, left, ParseMultiplicative());
            else if (AcceptSingle('-', "")) left = Add(Formula::Op::Subtract, left, ParseMultiplicative());
            else return left;
        }
    }

    int ParseMultiplicative() {
        int left = ParseUnary();
        for (;;) {
            if (AcceptSingle('*', "*")) left = Add(Formula::Op::Multiply, left, ParseUnary());
            else if (AcceptSingle('/', "")) left = Add(Formula::Op::Divide, left, ParseUnary());
            else if (AcceptSingle('%', "")) left = Add(Formula::Op::Remainder, left, ParseUnary());
            else return left;
        }
    }

    int ParseUnary() {
        Depth depth(*this);
        if (AcceptSingle('-', "")) return Add(Formula::Op::Negate, ParseUnary());
        if (AcceptSingle('+', "")) return Add(Formula::Op::Plus, ParseUnary());
        if (AcceptSingle('~', "")) return Add(Formula::Op::BitNot, ParseUnary());
        if (AcceptSingle('!', "=")) return Add(Formula::Op::LogicalNot, ParseUnary());
        return ParsePower();
    }

    int ParsePower() {
        const int base = ParsePrimary();
        if (Accept("**")) return Add(Formula::Op::Power, base, ParseUnary());
        return base;
    }

    int ParseNumber() {
        const size_t start = m_position;
        if (m_text.size() - m_position >= 2 && m_text[m_position] == '0' &&
            (m_text[m_position + 1] == 'x' || m_text[m_position + 1] == 'X')) {
            m_position += 2;
            uint64_t value = 0;
            size_t digits = 0;
            while (m_position < m_text.size() && std::isxdigit(static_cast<unsigned char>(m_text[m_position]))) {
                const char c = m_text[m_position++];
                const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : (std::toupper(c) - 'A' + 10);
                if (++digits > 16) Fail("hexadecimal literal too long");
                value = value * 16 + static_cast<uint64_t>(digit);
            }
            if (digits == 0) Fail("hexadecimal literal without digits");
            return AddLiteral(FormulaValue::Int(Wrap(value)));
        }
        bool isFloat = false;
        while (m_position < m_text.size() && std::isdigit(static_cast<unsigned char>(m_text[m_position]))) ++m_position;
        if (m_position < m_text.size() && m_text[m_position] == '.') {
            isFloat = true;
            ++m_position;
            while (m_position < m_text.size() && std::isdigit(static_cast<unsigned char>(m_text[m_position]))) ++m_position;
        }
        if (m_position < m_text.size() && (m_text[m_position] == 'e' || m_text[m_position] == 'E')) {
            size_t look = m_position + 1;
            if (look < m_text.size() && (m_text[look] == '+' || m_text[look] == '-')) ++look;
            if (look < m_text.size() && std::isdigit(static_cast<unsigned char>(m_text[look]))) {
                isFloat = true;
                m_position = look;
                while (m_position < m_text.size() && std::isdigit(static_cast<unsigned char>(m_text[m_position]))) ++m_position;
            }
        }
        const std::string literal(m_text.substr(start, m_position - start));
        if (literal == ".") Fail("malformed number");
        if (!isFloat) {
            errno = 0;
            const unsigned long long value = std::strtoull(literal.c_str(), nullptr, 10);
            if (errno == 0) return AddLiteral(FormulaValue::Int(Wrap(value)));
        }
        return AddLiteral(FormulaValue::Float(std::strtod(literal.c_str(), nullptr)));
    }

    int ParsePrimary() {
        SkipSpace();
        if (m_position >= m_text.size()) Fail("unexpected end");
        const char c = m_text[m_position];
        if (c == '(') {
            ++m_position;
            const int inner = ParseConditional();
            if (!Accept(")")) Fail("expected ')'");
            return inner;
        }
        if (std::isdigit(static_cast<unsigned char>(c)) || c == '.') return ParseNumber();
        if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') return ParseIdentifier();
        Fail("unexpected '" + std::string(1, c) + "'");
    }

    int ParseIdentifier() {
        const size_t start = m_position;
        while (m_position < m_text.size() &&
               (std::isalnum(static_cast<unsigned char>(m_text[m_position])) || m_text[m_position] == '_' ||
                (m_text[m_position] == '.' && m_position + 1 < m_text.size() &&
                 (std::isalpha(static_cast<unsigned char>(m_text[m_position + 1])) || m_text[m_position + 1] == '_'))))
            ++m_position;
        const std::string_view name = m_text.substr(start, m_position - start);
        SkipSpace();
        const bool isCall = m_position < m_text.size() && m_text[m_position] == '(';
        if (isCall) {
            for (const FunctionInfo& function : kFunctions) {
                if (name != function.name) continue;
                ++m_position;
                const int argument = ParseConditional();
                if (function.op == Formula::Op::Round && Accept(",")) {
                    const int digits = ParseConditional();
                    if (!Accept(")")) Fail("expected ')'");
                    return Add(Formula::Op::Round2, argument, digits);
                }
                if (!Accept(")")) Fail("expected ')'");
                return Add(function.op, argument);
            }
            if ((name == "E" || name == "PI") && Accept("(") && Accept(")"))
                return AddLiteral(FormulaValue::Float(name == "E" ? M_E : M_PI));
            Fail("unknown function '" + std::string(name) + "'");
        }
        const FormulaSymbol symbol = m_symbols.Resolve(name);
        switch (symbol.kind) {
        case FormulaSymbol::Kind::Slot: {
            const int index = Add(Formula::Op::Slot);
            m_formula.m_operations[index].slot = symbol.slot;
            return index;
        }
        case FormulaSymbol::Kind::Constant:
            return AddLiteral(symbol.value);
        case FormulaSymbol::Kind::Expression:
            return ExpandExpression(name, symbol.text);
        case FormulaSymbol::Kind::Unknown:
            break;
        }
        if (name == "E") return AddLiteral(FormulaValue::Float(M_E));
        if (name == "PI") return AddLiteral(FormulaValue::Float(M_PI));
        Fail("unknown name '" + std::string(name) + "'");
    }

    // Named sub-expressions are compiled in place, once per use; a name that uses itself fails.
    int ExpandExpression(std::string_view name, const std::string& text) {
        for (const std::string& active : m_expansionStack)
            if (active == name) Fail("expression '" + std::string(name) + "' refers to itself");
        if (m_expansionStack.size() > 32) Fail("expressions nested too deeply");
        FormulaParser inner(text, m_symbols, m_formula);
        inner.m_expansionStack = m_expansionStack;
        inner.m_expansionStack.emplace_back(name);
        inner.m_depth = m_depth;
        return inner.ParseAll();
    }

    std::string_view m_text;
    size_t m_position = 0;
    int m_depth = 0;
    const FormulaSymbols& m_symbols;
    Formula& m_formula;
};

Formula Formula::Compile(std::string_view text, const FormulaSymbols& symbols, Mode mode, const std::string& owner) {
    Formula formula;
    formula.m_mode = mode;
    formula.m_text = std::string(text);
    formula.m_owner = owner;
    FormulaParser parser(text, symbols, formula);
    formula.m_root = parser.ParseAll();
    if (mode == Mode::Float) {
        for (Operation& operation : formula.m_operations)
            if (operation.op == Op::Literal && !operation.value.isFloat)
                operation.value = FormulaValue::Float(static_cast<double>(operation.value.integer));
    }
    formula.m_operations.shrink_to_fit();
    return formula;
}

Formula Formula::CompileDeferringFaults(std::string_view text, const FormulaSymbols& symbols, Mode mode,
                                       const std::string& owner) {
    try {
        return Compile(text, symbols, mode, owner);
    } catch (const GenICam::GenericException& error) {
        Formula formula;
        formula.m_mode = mode;
        formula.m_text = std::string(text);
        formula.m_owner = owner;
        formula.m_fault = error.GetDescription();
        return formula;
    }
}

FormulaValue Formula::Evaluate(FormulaReader& reader) const {
    if (!m_fault.empty())
        throw GenICam::ExceptionReporter<FormulaFaultException>(__FILE__, __LINE__).Report("%s", m_fault);
    if (m_root < 0) throw LOGICAL_ERROR_EXCEPTION("Node '%s': formula is empty", m_owner);
    return Eval(m_root, reader);
}

int64_t Formula::EvaluateInt(FormulaReader& reader) const {
    const FormulaValue value = Evaluate(reader);
    if (value.isFloat && std::isnan(value.real))
        throw RUNTIME_EXCEPTION("Node '%s': formula '%s' does not give a number", m_owner, m_text);
    return value.AsInt();
}

FormulaValue Formula::Finish(FormulaValue value) const {
    if (m_mode == Mode::Float && !value.isFloat) return FormulaValue::Float(static_cast<double>(value.integer));
    return value;
}

FormulaValue Formula::Eval(int index, FormulaReader& reader) const {
    const Operation& operation = m_operations[static_cast<size_t>(index)];
    auto unaryFloat = [&](double (*function)(double)) {
        return FormulaValue::Float(function(Eval(operation.first, reader).AsDouble()));
    };
    auto truthOf = [](const FormulaValue& value) { return value.isFloat ? value.real != 0.0 : value.integer != 0; };
    auto boolean = [&](bool value) { return Finish(FormulaValue::Int(value ? 1 : 0)); };

    switch (operation.op) {
    case Op::Literal:
        return operation.value;
    case Op::Slot: {
        const FormulaValue value = reader.Read(operation.slot);
        return Finish(value);
    }
    case Op::Conditional:
        return truthOf(Eval(operation.first, reader)) ? Eval(operation.second, reader) : Eval(operation.third, reader);
    case Op::LogicalAnd:
        return boolean(truthOf(Eval(operation.first, reader)) && truthOf(Eval(operation.second, reader)));
    case Op::LogicalOr:
        return boolean(truthOf(Eval(operation.first, reader)) || truthOf(Eval(operation.second, reader)));
    case Op::LogicalNot:
        return boolean(!truthOf(Eval(operation.first, reader)));
    case Op::Negate: {
        const FormulaValue value = Eval(operation.first, reader);
        return value.isFloat ? FormulaValue::Float(-value.real) : FormulaValue::Int(Wrap(0 - static_cast<uint64_t>(value.integer)));
    }
    case Op::Plus:
        return Eval(operation.first, reader);
    case Op::BitNot:
        return Finish(FormulaValue::Int(~Eval(operation.first, reader).AsInt()));
    case Op::Sgn: {
        const FormulaValue value = Eval(operation.first, reader);
        if (value.isFloat) return FormulaValue::Float(value.real > 0 ? 1.0 : (value.real < 0 ? -1.0 : 0.0));
        return FormulaValue::Int(value.integer > 0 ? 1 : (value.integer < 0 ? -1 : 0));
    }
    case Op::Neg: {
        const FormulaValue value = Eval(operation.first, reader);
        return value.isFloat ? FormulaValue::Float(-value.real) : FormulaValue::Int(Wrap(0 - static_cast<uint64_t>(value.integer)));
    }
    case Op::Abs: {
        const FormulaValue value = Eval(operation.first, reader);
        if (value.isFloat) return FormulaValue::Float(std::fabs(value.real));
        return FormulaValue::Int(value.integer < 0 ? Wrap(0 - static_cast<uint64_t>(value.integer)) : value.integer);
    }
    case Op::Sqrt: return unaryFloat([](double x) { return std::sqrt(x); });
    case Op::Exp: return unaryFloat([](double x) { return std::exp(x); });
    case Op::Ln: return unaryFloat([](double x) { return std::log(x); });
    case Op::Lg: return unaryFloat([](double x) { return std::log10(x); });
    case Op::Sin: return unaryFloat([](double x) { return std::sin(x); });
    case Op::Cos: return unaryFloat([](double x) { return std::cos(x); });
    case Op::Tan: return unaryFloat([](double x) { return std::tan(x); });
    case Op::Asin: return unaryFloat([](double x) { return std::asin(x); });
    case Op::Acos: return unaryFloat([](double x) { return std::acos(x); });
    case Op::Atan: return unaryFloat([](double x) { return std::atan(x); });
    case Op::Trunc:
    case Op::Floor:
    case Op::Ceil:
    case Op::Round: {
        const FormulaValue value = Eval(operation.first, reader);
        if (!value.isFloat) return value;
        double result = value.real;
        switch (operation.op) {
        case Op::Trunc: result = std::trunc(result); break;
        case Op::Floor: result = std::floor(result); break;
        case Op::Ceil: result = std::ceil(result); break;
        default: result = std::round(result); break;
        }
        return m_mode == Mode::Integer && std::fabs(result) < 9.2e18 ? FormulaValue::Int(static_cast<int64_t>(result))
                                                                     : FormulaValue::Float(result);
    }
    case Op::Round2: {
        const double value = Eval(operation.first, reader).AsDouble();
        const double digits = Eval(operation.second, reader).AsDouble();
        const double scale = std::pow(10.0, std::trunc(digits));
        return Finish(FormulaValue::Float(std::round(value * scale) / scale));
    }
    default:
        break;
    }

    // Binary operations.
    const FormulaValue left = Eval(operation.first, reader);
    const FormulaValue right = Eval(operation.second, reader);
    const bool useFloat = left.isFloat || right.isFloat;
    switch (operation.op) {
    case Op::Add:
        return useFloat ? FormulaValue::Float(left.AsDouble() + right.AsDouble())
                        : FormulaValue::Int(Wrap(static_cast<uint64_t>(left.integer) + static_cast<uint64_t>(right.integer)));
    case Op::Subtract:
        return useFloat ? FormulaValue::Float(left.AsDouble() - right.AsDouble())
                        : FormulaValue::Int(Wrap(static_cast<uint64_t>(left.integer) - static_cast<uint64_t>(right.integer)));
    case Op::Multiply:
        return useFloat ? FormulaValue::Float(left.AsDouble() * right.AsDouble())
                        : FormulaValue::Int(Wrap(static_cast<uint64_t>(left.integer) * static_cast<uint64_t>(right.integer)));
    case Op::Divide:
        if (useFloat) {
            if (right.AsDouble() == 0.0) throw RUNTIME_EXCEPTION("Node '%s': division by zero in formula '%s'", m_owner, m_text);
            return FormulaValue::Float(left.AsDouble() / right.AsDouble());
        }
        if (right.integer == 0) throw RUNTIME_EXCEPTION("Node '%s': division by zero in formula '%s'", m_owner, m_text);
        if (right.integer == -1) return FormulaValue::Int(Wrap(0 - static_cast<uint64_t>(left.integer)));
        return FormulaValue::Int(left.integer / right.integer);
    case Op::Remainder:
        if (useFloat) {
            if (right.AsDouble() == 0.0) throw RUNTIME_EXCEPTION("Node '%s': division by zero in formula '%s'", m_owner, m_text);
            return FormulaValue::Float(std::fmod(left.AsDouble(), right.AsDouble()));
        }
        if (right.integer == 0) throw RUNTIME_EXCEPTION("Node '%s': division by zero in formula '%s'", m_owner, m_text);
        if (right.integer == -1) return FormulaValue::Int(0);
        return FormulaValue::Int(left.integer % right.integer);
    case Op::Power:
        if (!useFloat && right.integer >= 0) return FormulaValue::Int(IntegerPower(left.integer, right.integer));
        return Finish(FormulaValue::Float(std::pow(left.AsDouble(), right.AsDouble())));
    case Op::ShiftLeft: {
        const int64_t amount = right.AsInt();
        const int64_t value = left.AsInt();
        return Finish(FormulaValue::Int(amount < 0 || amount > 63 ? 0 : Wrap(static_cast<uint64_t>(value) << amount)));
    }
    case Op::ShiftRight: {
        const int64_t amount = right.AsInt();
        const int64_t value = left.AsInt();
        if (amount < 0) return Finish(FormulaValue::Int(0));
        return Finish(FormulaValue::Int(amount > 63 ? (value < 0 ? -1 : 0) : (value >> amount)));
    }
    case Op::Less: return boolean(useFloat ? left.AsDouble() < right.AsDouble() : left.integer < right.integer);
    case Op::LessEqual: return boolean(useFloat ? left.AsDouble() <= right.AsDouble() : left.integer <= right.integer);
    case Op::Greater: return boolean(useFloat ? left.AsDouble() > right.AsDouble() : left.integer > right.integer);
    case Op::GreaterEqual: return boolean(useFloat ? left.AsDouble() >= right.AsDouble() : left.integer >= right.integer);
    case Op::Equal: return boolean(useFloat ? left.AsDouble() == right.AsDouble() : left.integer == right.integer);
    case Op::NotEqual: return boolean(useFloat ? left.AsDouble() != right.AsDouble() : left.integer != right.integer);
    case Op::BitAnd: return Finish(FormulaValue::Int(left.AsInt() & right.AsInt()));
    case Op::BitXor: return Finish(FormulaValue::Int(left.AsInt() ^ right.AsInt()));
    case Op::BitOr: return Finish(FormulaValue::Int(left.AsInt() | right.AsInt()));
    default:
        break;
    }
    throw LOGICAL_ERROR_EXCEPTION("Node '%s': corrupt formula", m_owner);
}

} // namespace GenApi::detail
