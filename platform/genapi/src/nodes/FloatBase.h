// IFloat for every float node kind (Float, FloatReg, SwissKnife, Converter).
#ifndef GENAPI_SRC_NODES_FLOATBASE_H
#define GENAPI_SRC_NODES_FLOATBASE_H

#include <GenApi/IFloat.h>

#include "nodes/Node.h"

namespace GenApi::detail {

class FloatBase : public Node, public virtual IFloat {
public:
    FloatBase(NodeMap& map, std::string name, const char* elementName)
        : Node(map, std::move(name), elementName, ValueKind::Float) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;

    // Float nodes read as integers round to the nearest integer.
    int64_t ReadInt(bool ignoreCache) override;
    void WriteInt(int64_t value) override { WriteFloat(static_cast<double>(value)); }
    int64_t ReadIntMin() override;
    int64_t ReadIntMax() override;
    double ReadFloatMin() override { return -1.7976931348623157e308; }
    double ReadFloatMax() override { return 1.7976931348623157e308; }
    // No increment unless the kind has one.
    virtual bool HasIncrement() { return false; }
    virtual double ReadFloatInc() { return 0.0; }

    // IValue
    INode* GetNode() override { return this; }
    GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) override;
    void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) override;
    bool IsValueCacheValid() const override;

    // IFloat
    void SetValue(double Value, bool Verify = true) override;
    IFloat& operator=(double Value) override {
        SetValue(Value);
        return *this;
    }
    double GetValue(bool Verify = false, bool IgnoreCache = false) override;
    double operator()() override { return GetValue(); }
    double operator*() override { return GetValue(); }
    double GetMin() override;
    double GetMax() override;
    bool HasInc() override;
    EIncMode GetIncMode() override;
    double GetInc() override;
    double_autovector_t GetListOfValidValues(bool bounded = true) override;
    ERepresentation GetRepresentation() override { return m_representation; }
    GenICam::gcstring GetUnit() const override { return m_unit; }
    EDisplayNotation GetDisplayNotation() const override { return m_notation; }
    int64_t GetDisplayPrecision() const override { return m_precision; }
    void ImposeMin(double Value) override;
    void ImposeMax(double Value) override;
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIFloat; }

    void CheckRange(double value);

protected:
    ERepresentation m_representation = PureNumber;
    std::string m_unit;
    EDisplayNotation m_notation = fnAutomatic;
    int64_t m_precision = 6;
    double m_imposedMin = -1.7976931348623157e308;
    double m_imposedMax = 1.7976931348623157e308;
};

} // namespace GenApi::detail

#endif
