// IString for the string node kinds (String, StringReg).
#ifndef GENAPI_SRC_NODES_STRINGBASE_H
#define GENAPI_SRC_NODES_STRINGBASE_H

#include <GenApi/IString.h>

#include "nodes/Node.h"

namespace GenApi::detail {

class StringBase : public Node, public virtual IString {
public:
    StringBase(NodeMap& map, std::string name, const char* elementName)
        : Node(map, std::move(name), elementName, ValueKind::String) {}

    virtual std::string ReadString(bool ignoreCache) = 0;
    virtual void WriteString(const std::string& value) = 0;
    virtual int64_t MaxLength() = 0;

    // IValue
    INode* GetNode() override { return this; }
    GenICam::gcstring ToString(bool Verify = false, bool IgnoreCache = false) override { return GetValue(Verify, IgnoreCache); }
    void FromString(const GenICam::gcstring& ValueStr, bool Verify = true) override { SetValue(ValueStr, Verify); }
    bool IsValueCacheValid() const override;

    // IString
    void SetValue(const GenICam::gcstring& Value, bool Verify = true) override;
    IString& operator=(const GenICam::gcstring& Value) override {
        SetValue(Value);
        return *this;
    }
    GenICam::gcstring GetValue(bool Verify = false, bool IgnoreCache = false) override;
    GenICam::gcstring operator()() override { return GetValue(); }
    GenICam::gcstring operator*() override { return GetValue(); }
    int64_t GetMaxLength() override;
    EInterfaceType GetPrincipalInterfaceType() const override { return intfIString; }
};

} // namespace GenApi::detail

#endif
