// IInteger for every integer node kind (Integer, IntReg, MaskedIntReg, StructEntry,
// IntSwissKnife, IntConverter): locking, access checks, range checks and text forms around
// the kind's own ReadInt/WriteInt.
#ifndef GENAPI_SRC_NODES_INTEGERBASE_H
#define GENAPI_SRC_NODES_INTEGERBASE_H

#include <GenApi/IInteger.h>

#include "nodes/Node.h"

namespace GenApi::detail {

class IntegerBase : public Node, public virtual IInteger {
public:
    IntegerBase(NodeMap& map, std::string name, const char* elementName)
        : Node(map, std::move(name), elementName, ValueKind::Integer) {}

    bool ParseProperty(std::string_view element, const pugi::xml_node& child, NodeBuilder& builder) override;

    // IValue
    INode* GetNode() override { return this; }
    GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) override;
    void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) override;
    bool IsValueCacheValid() const override;

    // IInteger
    void SetValue(int64_t Value, bool Verify = true) override;
    IInteger& operator=(int64_t Value) override {
        SetValue(Value);
        return *this;
    }
    int64_t GetValue(bool Verify = false, bool IgnoreCache = false) override;
    int64_t operator()() override { return GetValue(); }
    int64_t operator*() override { return GetValue(); }
    int64_t GetMin() override;
    int64_t GetMax() override;
    EIncMode GetIncMode() override;
    int64_t GetInc() override;
    int64_autovector_t GetListOfValidValues(bool bounded = true) override;
    ERepresentation GetRepresentation() override { return m_representation; }
    GenICam::gcstring GetUnit() override { return m_unit; }
    void ImposeMin(int64_t Value) override;
    void ImposeMax(int64_t Value) override;
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIInteger; }

    // Range including imposed limits; checked before every write.
    int64_t EffectiveMin();
    int64_t EffectiveMax();
    void CheckRange(int64_t value);

protected:
    ERepresentation m_representation = PureNumber;
    std::string m_unit;
    int64_t m_imposedMin = INT64_MIN;
    int64_t m_imposedMax = INT64_MAX;
};

// True when every node this one's value comes from holds a valid cache.
bool ValueCachesValid(const Node* node);

} // namespace GenApi::detail

#endif
