// The formula language: precedence, integer versus float arithmetic, functions, literals,
// names, and the faults that must be reported rather than crash.
#include <cmath>
#include <map>

#include <gtest/gtest.h>

#include <Base/GCException.h>

#include "formula/Formula.h"

namespace {

using GenApi::detail::Formula;
using GenApi::detail::FormulaReader;
using GenApi::detail::FormulaSymbol;
using GenApi::detail::FormulaSymbols;
using GenApi::detail::FormulaValue;

// Variables X (integer slot 0) and F (float slot 1), constant C, expression TWICE_X.
class Variables : public FormulaSymbols, public FormulaReader {
public:
    FormulaSymbol Resolve(std::string_view name) const override {
        FormulaSymbol symbol;
        if (name == "X" || name == "F") {
            symbol.kind = FormulaSymbol::Kind::Slot;
            symbol.slot = name == "X" ? 0 : 1;
        } else if (name == "C") {
            symbol.kind = FormulaSymbol::Kind::Constant;
            symbol.value = FormulaValue::Int(10);
        } else if (name == "TWICE_X") {
            symbol.kind = FormulaSymbol::Kind::Expression;
            symbol.text = "X * 2";
        } else if (name == "LOOP") {
            symbol.kind = FormulaSymbol::Kind::Expression;
            symbol.text = "LOOP + 1";
        }
        return symbol;
    }
    FormulaValue Read(int slot) override { return slot == 0 ? FormulaValue::Int(x) : FormulaValue::Float(f); }

    int64_t x = 7;
    double f = 2.5;
};

FormulaValue Evaluate(const std::string& text, Formula::Mode mode = Formula::Mode::Integer) {
    Variables variables;
    return Formula::Compile(text, variables, mode, "Test").Evaluate(variables);
}

int64_t Int(const std::string& text) {
    const FormulaValue value = Evaluate(text);
    EXPECT_FALSE(value.isFloat) << text;
    return value.integer;
}

double Real(const std::string& text, Formula::Mode mode = Formula::Mode::Integer) { return Evaluate(text, mode).AsDouble(); }

std::string CompileError(const std::string& text) {
    Variables variables;
    try {
        Formula::Compile(text, variables, Formula::Mode::Integer, "Knife");
    } catch (const GenICam::PropertyException& error) {
        return error.GetDescription();
    }
    return std::string();
}

TEST(FormulaPrecedence, BindsAsTheLanguageDefines) {
    EXPECT_EQ(Int("2 + 3 * 4"), 14);
    EXPECT_EQ(Int("(2 + 3) * 4"), 20);
    EXPECT_EQ(Int("2 ** 3 ** 2"), 512); // right associative
    EXPECT_EQ(Int("-2 ** 2"), -4);      // power before unary minus
    EXPECT_EQ(Int("2 * 3 ** 2"), 18);
    EXPECT_EQ(Int("1 << 2 + 1"), 8);    // shift below addition
    EXPECT_EQ(Int("1 + 2 < 4"), 1);     // comparison below shift and addition
    EXPECT_EQ(Int("6 & 3 = 2"), 0);     // equality binds before bitwise and: 6 & (3 = 2)
    EXPECT_EQ(Int("(6 & 3) = 2"), 1);
    EXPECT_EQ(Int("1 | 2 ^ 3 & 1"), 3); // & before ^ before |
    EXPECT_EQ(Int("1 || 0 && 0"), 1);   // && before ||
    EXPECT_EQ(Int("0 ? 1 : 2 ? 3 : 4"), 3);
    EXPECT_EQ(Int("1 ? 2 : 3 + 10"), 2);
    EXPECT_EQ(Int("10 - 4 - 3"), 3);    // left associative
    EXPECT_EQ(Int("100 / 10 / 5"), 2);
    EXPECT_EQ(Int("~0"), -1);
    EXPECT_EQ(Int("-(-3)"), 3);
}

TEST(FormulaComparisons, YieldZeroOrOneInEveryForm) {
    EXPECT_EQ(Int("3 = 3"), 1);
    EXPECT_EQ(Int("3 == 4"), 0);
    EXPECT_EQ(Int("3 <> 4"), 1);
    EXPECT_EQ(Int("3 != 3"), 0);
    EXPECT_EQ(Int("3 <= 3"), 1);
    EXPECT_EQ(Int("3 >= 4"), 0);
    EXPECT_EQ(Int("2 > 1"), 1);
    EXPECT_EQ(Int("(1 < 2) + (2 < 1)"), 1);
    EXPECT_EQ(Int("5 && 7"), 1);
    EXPECT_EQ(Int("0 || 0"), 0);
}

TEST(FormulaTypes, IntegerArithmeticStaysIntegerUntilAFloatJoins) {
    EXPECT_EQ(Int("7 / 2"), 3);
    EXPECT_EQ(Int("-7 / 2"), -3);
    EXPECT_EQ(Int("7 % 3"), 1);
    EXPECT_DOUBLE_EQ(Real("7 / 2.0"), 3.5);
    EXPECT_DOUBLE_EQ(Real("F * 2"), 5.0);
    EXPECT_TRUE(Evaluate("X + F").isFloat);
    EXPECT_DOUBLE_EQ(Real("7 / 2", Formula::Mode::Float), 3.5); // everything is float in float mode
    EXPECT_EQ(Int("0x10 + 0XfF"), 271);
    EXPECT_EQ(Int("0xFFFFFFFFFFFFFFFF"), -1);
    EXPECT_DOUBLE_EQ(Real("1.5e3"), 1500.0);
    EXPECT_EQ(Int("2 ** 62"), int64_t{1} << 62);
    EXPECT_DOUBLE_EQ(Real("2 ** -1"), 0.5);
    EXPECT_EQ(Int("1 << 64"), 0);        // shifts beyond the width do not invoke undefined behaviour
    EXPECT_EQ(Int("-8 >> 1"), -4);
    EXPECT_EQ(Int("9223372036854775807 + 1"), INT64_MIN); // wraps like the device's registers
    EXPECT_EQ(Int("(0 - 9223372036854775807 - 1) / -1"), INT64_MIN);
}

TEST(FormulaFunctions, ComputeTheirMathematicalValues) {
    EXPECT_EQ(Int("SGN(-5)"), -1);
    EXPECT_EQ(Int("NEG(5)"), -5);
    EXPECT_EQ(Int("ABS(-5)"), 5);
    EXPECT_DOUBLE_EQ(Real("SQRT(16)"), 4.0);
    EXPECT_DOUBLE_EQ(Real("EXP(0)"), 1.0);
    EXPECT_DOUBLE_EQ(Real("LN(E)"), 1.0);
    EXPECT_DOUBLE_EQ(Real("LG(1000)"), 3.0);
    EXPECT_NEAR(Real("SIN(PI / 2)"), 1.0, 1e-12);
    EXPECT_NEAR(Real("COS(0)"), 1.0, 1e-12);
    EXPECT_NEAR(Real("TAN(0)"), 0.0, 1e-12);
    EXPECT_NEAR(Real("ASIN(1)"), M_PI / 2, 1e-12);
    EXPECT_NEAR(Real("ACOS(1)"), 0.0, 1e-12);
    EXPECT_NEAR(Real("ATAN(1)"), M_PI / 4, 1e-12);
    EXPECT_EQ(Int("TRUNC(-2.7)"), -2);
    EXPECT_EQ(Int("FLOOR(-2.2)"), -3);
    EXPECT_EQ(Int("CEIL(2.2)"), 3);
    EXPECT_EQ(Int("ROUND(2.5)"), 3);
    EXPECT_DOUBLE_EQ(Real("ROUND(3.14159, 2)"), 3.14);
}

TEST(FormulaNames, ResolveVariablesConstantsAndExpressionsOnce) {
    EXPECT_EQ(Int("X + C"), 17);
    EXPECT_EQ(Int("TWICE_X + 1"), 15);
    EXPECT_EQ(Int("TWICE_X * TWICE_X"), 196);
    Variables variables;
    const Formula formula = Formula::Compile("X * 3", variables, Formula::Mode::Integer, "Test");
    variables.x = 5;
    EXPECT_EQ(formula.EvaluateInt(variables), 15);
    variables.x = -2;
    EXPECT_EQ(formula.EvaluateInt(variables), -6);
}

TEST(FormulaFaults, CompileErrorsNameTheNodeAndThePlace) {
    EXPECT_NE(CompileError("1 +").find("Node 'Knife'"), std::string::npos);
    EXPECT_NE(CompileError("(1 + 2").find("expected ')'"), std::string::npos);
    EXPECT_NE(CompileError("UNKNOWN + 1").find("unknown name 'UNKNOWN'"), std::string::npos);
    EXPECT_NE(CompileError("FOO(1)").find("unknown function"), std::string::npos);
    EXPECT_NE(CompileError("1 $ 2").find("unexpected '$'"), std::string::npos);
    EXPECT_NE(CompileError("1 ? 2").find("expected ':'"), std::string::npos);
    EXPECT_NE(CompileError("0x").find("hexadecimal"), std::string::npos);
    EXPECT_NE(CompileError("LOOP").find("refers to itself"), std::string::npos);
    EXPECT_NE(CompileError(std::string(5000, '(') + "1" + std::string(5000, ')')).find("deeply"), std::string::npos);
    std::string chain = "1";
    for (int index = 0; index < 2000; ++index) chain += "+1";
    EXPECT_NE(CompileError(chain).find("deeply nested"), std::string::npos);
    EXPECT_NE(CompileError("").find("unexpected end"), std::string::npos);
}

TEST(FormulaFaults, DivisionByZeroIsARuntimeError) {
    EXPECT_THROW(Evaluate("1 / (X - 7)"), GenICam::RuntimeException);
    EXPECT_THROW(Evaluate("1 % 0"), GenICam::RuntimeException);
    EXPECT_THROW(Evaluate("1.0 / 0"), GenICam::RuntimeException);
    EXPECT_THROW(Evaluate("1 / 0", Formula::Mode::Float), GenICam::RuntimeException);
    Variables variables;
    const Formula formula = Formula::Compile("SQRT(0 - 1)", variables, Formula::Mode::Integer, "Knife");
    EXPECT_THROW(formula.EvaluateInt(variables), GenICam::RuntimeException);
    EXPECT_EQ(Int("0 && 1 / 0"), 0); // short circuit: the division never runs
    EXPECT_EQ(Int("1 ? 2 : 1 / 0"), 2);
}

} // namespace
