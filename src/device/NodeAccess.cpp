#include <Vireo/NodeAccess.h>

#include <algorithm>
#include <any>
#include <iterator>
#include <string>
#include <utility>

#include <GenApi/Pointer.h>

#include "../transport/Errors.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "NodeAccess";

enum class Direction { Read, Write };

// The C++ types values travel as. Every accessor funnels through one untyped path, so that
// the checks and messages exist once whatever the caller's type.
enum class ValueType { Int64, Double, Bool, String };

template <class T>
struct ValueTypeOf;
template <>
struct ValueTypeOf<int64_t> {
    static constexpr ValueType value = ValueType::Int64;
};
template <>
struct ValueTypeOf<double> {
    static constexpr ValueType value = ValueType::Double;
};
template <>
struct ValueTypeOf<bool> {
    static constexpr ValueType value = ValueType::Bool;
};
template <>
struct ValueTypeOf<GenICam::gcstring> {
    static constexpr ValueType value = ValueType::String;
};

const char* TypeName(ValueType type) {
    switch (type) {
    case ValueType::Int64: return "int64_t";
    case ValueType::Double: return "double";
    case ValueType::Bool: return "bool";
    case ValueType::String: return "GenICam::gcstring";
    }
    return "";
}

// The value interfaces and what each carries; null name for every other interface.
struct ValueInterface {
    const char* name = nullptr;
    ValueType type = ValueType::Int64;
};

ValueInterface ValueInterfaceOf(GenApi::EInterfaceType type) {
    switch (type) {
    case GenApi::intfIInteger: return {"GenApi::IInteger", ValueType::Int64};
    case GenApi::intfIFloat: return {"GenApi::IFloat", ValueType::Double};
    case GenApi::intfIString: return {"GenApi::IString", ValueType::String};
    case GenApi::intfIEnumeration: return {"GenApi::IEnumeration", ValueType::String};
    case GenApi::intfIBoolean: return {"GenApi::IBoolean", ValueType::Bool};
    default: return {};
    }
}

std::string NodeMessage(const GenICam::gcstring& name, const char* what) {
    return "Node " + name.str() + " " + what;
}

// Checks 1 and 2: the node map and the name.
GenApi::INode* FindNode(GenApi::INodeMap* map, const GenICam::gcstring& name, const char* function) {
    if (map == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Node map is null", kUnit, function);
    GenApi::INode* node = map->GetNode(name);
    if (node == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Node name invalid: " + name.str(), kUnit, function);
    return node;
}

// Checks 3 and 4.
GenApi::EAccessMode CheckPresent(GenApi::INode* node, const GenICam::gcstring& name, const char* function) {
    // One reading of the access mode decides all checks, so that they agree with each other.
    const GenApi::EAccessMode mode = node->GetAccessMode();
    if (!GenApi::IsImplemented(mode)) VIREO_THROW_PLAIN(Runtime, NodeMessage(name, "not implemented"), kUnit, function);
    if (!GenApi::IsAvailable(mode)) VIREO_THROW_PLAIN(Runtime, NodeMessage(name, "not available"), kUnit, function);
    return mode;
}

// Checks 3 to 5.
void CheckAccess(GenApi::INode* node, const GenICam::gcstring& name, Direction direction, const char* function) {
    const GenApi::EAccessMode mode = CheckPresent(node, name, function);
    if (direction == Direction::Read && !GenApi::IsReadable(mode))
        VIREO_THROW_PLAIN(Runtime, NodeMessage(name, "not readable"), kUnit, function);
    if (direction == Direction::Write && !GenApi::IsWritable(mode))
        VIREO_THROW_PLAIN(Runtime, NodeMessage(name, "not writable"), kUnit, function);
}

[[noreturn]] void ThrowUnsupportedType(const GenICam::gcstring& name, const char* function) {
    VIREO_THROW_PLAIN(LogicalError, NodeMessage(name, "unsupported node type"), kUnit, function);
}

// The node as the interface its principal type names. A node that claims an interface it
// does not offer is as unusable as one of another type.
template <class Interface>
Interface* As(GenApi::INode* node, const GenICam::gcstring& name, const char* function) {
    auto* typed = dynamic_cast<Interface*>(node);
    if (typed == nullptr) ThrowUnsupportedType(name, function);
    return typed;
}

// Check 6: the interface whose value the caller asks for in the given type.
ValueInterface CheckValueType(GenApi::INode* node, const GenICam::gcstring& name, ValueType wanted,
                              Direction direction, const char* function) {
    const ValueInterface found = ValueInterfaceOf(node->GetPrincipalInterfaceType());
    if (found.name == nullptr) ThrowUnsupportedType(name, function);
    if (found.type != wanted) {
        // The message names the type the interface is accessed with, which is what the caller
        // has to change.
        const char* verb = direction == Direction::Read ? " must return type " : " must set type ";
        VIREO_THROW_PLAIN(InvalidArgument,
                          "Node " + name.str() + " of type " + found.name + verb + TypeName(found.type), kUnit,
                          function);
    }
    return found;
}

std::any ReadValue(GenApi::INodeMap* map, const GenICam::gcstring& name, ValueType wanted) {
    static constexpr const char* kFunction = "GetNodeValue";
    GenApi::INode* node = FindNode(map, name, kFunction);
    CheckAccess(node, name, Direction::Read, kFunction);
    CheckValueType(node, name, wanted, Direction::Read, kFunction);
    switch (node->GetPrincipalInterfaceType()) {
    case GenApi::intfIInteger: return As<GenApi::IInteger>(node, name, kFunction)->GetValue();
    case GenApi::intfIFloat: return As<GenApi::IFloat>(node, name, kFunction)->GetValue();
    case GenApi::intfIBoolean: return As<GenApi::IBoolean>(node, name, kFunction)->GetValue();
    case GenApi::intfIString: return As<GenApi::IString>(node, name, kFunction)->GetValue();
    case GenApi::intfIEnumeration: {
        GenApi::IEnumEntry* entry = As<GenApi::IEnumeration>(node, name, kFunction)->GetCurrentEntry();
        if (entry == nullptr) VIREO_THROW_PLAIN(Runtime, NodeMessage(name, "has no current entry"), kUnit, kFunction);
        return entry->GetSymbolic();
    }
    default: ThrowUnsupportedType(name, kFunction);
    }
}

void WriteValue(GenApi::INodeMap* map, const GenICam::gcstring& name, ValueType given, const std::any& value) {
    static constexpr const char* kFunction = "SetNodeValue";
    GenApi::INode* node = FindNode(map, name, kFunction);
    CheckAccess(node, name, Direction::Write, kFunction);
    CheckValueType(node, name, given, Direction::Write, kFunction);
    switch (node->GetPrincipalInterfaceType()) {
    case GenApi::intfIInteger:
        As<GenApi::IInteger>(node, name, kFunction)->SetValue(std::any_cast<int64_t>(value));
        return;
    case GenApi::intfIFloat: As<GenApi::IFloat>(node, name, kFunction)->SetValue(std::any_cast<double>(value)); return;
    case GenApi::intfIBoolean: As<GenApi::IBoolean>(node, name, kFunction)->SetValue(std::any_cast<bool>(value)); return;
    case GenApi::intfIString:
        As<GenApi::IString>(node, name, kFunction)->SetValue(std::any_cast<const GenICam::gcstring&>(value));
        return;
    case GenApi::intfIEnumeration: {
        GenApi::IEnumeration* enumeration = As<GenApi::IEnumeration>(node, name, kFunction);
        const auto& entryName = std::any_cast<const GenICam::gcstring&>(value);
        _throwLogicExceptionIfNotValidEnumEntry(enumeration, entryName);
        enumeration->FromString(entryName);
        return;
    }
    default: ThrowUnsupportedType(name, kFunction);
    }
}

enum class Bound { Min, Max, Inc };

const char* FunctionOf(Bound bound) {
    switch (bound) {
    case Bound::Min: return "GetNodeMin";
    case Bound::Max: return "GetNodeMax";
    case Bound::Inc: return "GetNodeInc";
    }
    return "";
}

template <class Numeric>
std::any BoundOf(Numeric* numeric, Bound bound, const GenICam::gcstring& name, const char* function) {
    switch (bound) {
    case Bound::Min: return numeric->GetMin();
    case Bound::Max: return numeric->GetMax();
    case Bound::Inc: break;
    }
    // A float without an increment and a list of valid values have no single step to report.
    if (numeric->GetIncMode() != GenApi::fixedIncrement)
        VIREO_THROW_PLAIN(LogicalError, NodeMessage(name, "unsupported increment"), kUnit, function);
    return numeric->GetInc();
}

std::any ReadBound(GenApi::INodeMap* map, const GenICam::gcstring& name, ValueType wanted, Bound bound) {
    const char* function = FunctionOf(bound);
    GenApi::INode* node = FindNode(map, name, function);
    CheckAccess(node, name, Direction::Read, function);
    const GenApi::EInterfaceType type = node->GetPrincipalInterfaceType();
    if (type != GenApi::intfIInteger && type != GenApi::intfIFloat) ThrowUnsupportedType(name, function);
    CheckValueType(node, name, wanted, Direction::Read, function);
    if (type == GenApi::intfIInteger) return BoundOf(As<GenApi::IInteger>(node, name, function), bound, name, function);
    return BoundOf(As<GenApi::IFloat>(node, name, function), bound, name, function);
}

// Checks of both register overloads up to the node's access; answers the register.
GenApi::IRegister* CheckedRegister(GenApi::INodeMap* map, const GenICam::gcstring& name, const void* buffer,
                                   int64_t bufferLength, Direction direction, const char* function,
                                   const char* wrongTypeMessage) {
    GenApi::INode* node = FindNode(map, name, function);
    if (bufferLength == 0) VIREO_THROW_PLAIN(InvalidArgument, "Buffer length cannot be zero. ", kUnit, function);
    if (bufferLength < 0) VIREO_THROW_PLAIN(InvalidArgument, "Buffer length cannot be negative. ", kUnit, function);
    if (buffer == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Buffer is null. ", kUnit, function);
    auto* reg = dynamic_cast<GenApi::IRegister*>(node);
    if (node->GetPrincipalInterfaceType() != GenApi::intfIRegister || reg == nullptr)
        VIREO_THROW_PLAIN(LogicalError, wrongTypeMessage, kUnit, function);
    CheckAccess(node, name, direction, function);
    return reg;
}

template <class T>
constexpr ValueType kTypeOf = ValueTypeOf<T>::value;

const std::pair<GenApi::EInterfaceType, const char*> kInterfaceNames[] = {
    {GenApi::intfIValue, "intfIValue"},
    {GenApi::intfIBase, "intfIBase"},
    {GenApi::intfIInteger, "intfIInteger"},
    {GenApi::intfIBoolean, "intfIBoolean"},
    {GenApi::intfICommand, "intfICommand"},
    {GenApi::intfIFloat, "intfIFloat"},
    {GenApi::intfIString, "intfIString"},
    {GenApi::intfIRegister, "intfIRegister"},
    {GenApi::intfICategory, "intfICategory"},
    {GenApi::intfIEnumeration, "intfIEnumeration"},
    {GenApi::intfIEnumEntry, "intfIEnumEntry"},
    {GenApi::intfIPort, "intfIPort"},
};

const std::pair<GenApi::EIncMode, const char*> kIncModeNames[] = {
    {GenApi::noIncrement, "noIncrement"},
    {GenApi::fixedIncrement, "fixedIncrement"},
    {GenApi::listIncrement, "listIncrement"},
};

template <class Enum, size_t N>
GenICam::gcstring NameOf(Enum value, const std::pair<Enum, const char*> (&names)[N], const char* unknown) {
    const auto* found = std::find_if(std::begin(names), std::end(names), [&](const auto& row) { return row.first == value; });
    return found != std::end(names) ? found->second : unknown;
}

template <class Enum, size_t N>
Enum ValueOf(const GenICam::gcstring& name, const std::pair<Enum, const char*> (&names)[N], Enum unknown) {
    const auto* found = std::find_if(std::begin(names), std::end(names), [&](const auto& row) { return name == row.second; });
    return found != std::end(names) ? found->first : unknown;
}

} // namespace

template <class T>
T GetNodeValue(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName) {
    return std::any_cast<T>(ReadValue(pNodeMap, nodeName, kTypeOf<T>));
}

template <class T>
void SetNodeValue(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName, const T& value) {
    WriteValue(pNodeMap, nodeName, kTypeOf<T>, std::any(value));
}

template <class T>
T getNodeValueFromSelector(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& selectorName,
                           const GenICam::gcstring& selectorEntry, const GenICam::gcstring& valueName) {
    SetNodeValue<GenICam::gcstring>(pNodeMap, selectorName, selectorEntry);
    return GetNodeValue<T>(pNodeMap, valueName);
}

template <class T>
T GetNodeMin(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName) {
    return std::any_cast<T>(ReadBound(pNodeMap, nodeName, kTypeOf<T>, Bound::Min));
}

template <class T>
T GetNodeMax(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName) {
    return std::any_cast<T>(ReadBound(pNodeMap, nodeName, kTypeOf<T>, Bound::Max));
}

template <class T>
T GetNodeInc(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName) {
    return std::any_cast<T>(ReadBound(pNodeMap, nodeName, kTypeOf<T>, Bound::Inc));
}

template VIREO_API int64_t GetNodeValue<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&);
template VIREO_API double GetNodeValue<double>(GenApi::INodeMap*, const GenICam::gcstring&);
template VIREO_API bool GetNodeValue<bool>(GenApi::INodeMap*, const GenICam::gcstring&);
template VIREO_API GenICam::gcstring GetNodeValue<GenICam::gcstring>(GenApi::INodeMap*, const GenICam::gcstring&);
template VIREO_API void SetNodeValue<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&, const int64_t&);
template VIREO_API void SetNodeValue<double>(GenApi::INodeMap*, const GenICam::gcstring&, const double&);
template VIREO_API void SetNodeValue<bool>(GenApi::INodeMap*, const GenICam::gcstring&, const bool&);
template VIREO_API void SetNodeValue<GenICam::gcstring>(GenApi::INodeMap*, const GenICam::gcstring&,
                                                        const GenICam::gcstring&);
template VIREO_API int64_t getNodeValueFromSelector<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&,
                                                             const GenICam::gcstring&, const GenICam::gcstring&);
template VIREO_API double getNodeValueFromSelector<double>(GenApi::INodeMap*, const GenICam::gcstring&,
                                                           const GenICam::gcstring&, const GenICam::gcstring&);
template VIREO_API bool getNodeValueFromSelector<bool>(GenApi::INodeMap*, const GenICam::gcstring&,
                                                       const GenICam::gcstring&, const GenICam::gcstring&);
template VIREO_API GenICam::gcstring getNodeValueFromSelector<GenICam::gcstring>(GenApi::INodeMap*,
                                                                                 const GenICam::gcstring&,
                                                                                 const GenICam::gcstring&,
                                                                                 const GenICam::gcstring&);
template VIREO_API int64_t GetNodeMin<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&);
template VIREO_API double GetNodeMin<double>(GenApi::INodeMap*, const GenICam::gcstring&);
template VIREO_API int64_t GetNodeMax<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&);
template VIREO_API double GetNodeMax<double>(GenApi::INodeMap*, const GenICam::gcstring&);
template VIREO_API int64_t GetNodeInc<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&);
template VIREO_API double GetNodeInc<double>(GenApi::INodeMap*, const GenICam::gcstring&);

void ExecuteNode(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName) {
    static constexpr const char* kFunction = "ExecuteNode";
    GenApi::INode* node = FindNode(pNodeMap, nodeName, kFunction);
    CheckPresent(node, nodeName, kFunction);
    if (node->GetPrincipalInterfaceType() != GenApi::intfICommand) ThrowUnsupportedType(nodeName, kFunction);
    As<GenApi::ICommand>(node, nodeName, kFunction)->Execute();
}

void GetNodeValue(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName, uint8_t* pBuffer,
                  int64_t& bufferLength) {
    GenApi::IRegister* reg =
        CheckedRegister(pNodeMap, nodeName, pBuffer, bufferLength, Direction::Read, "GetNodeValue",
                        "Unsupported node type: this overload is for GenApi::intfIRegister");
    const int64_t length = std::min(bufferLength, reg->GetLength());
    reg->Get(pBuffer, length);
    bufferLength = length;
}

void SetNodeValue(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName, const uint8_t* pBuffer,
                  int64_t& bufferLength) {
    static constexpr const char* kFunction = "SetNodeValue";
    GenApi::IRegister* reg = CheckedRegister(pNodeMap, nodeName, pBuffer, bufferLength, Direction::Write, kFunction,
                                             "Unsupported node type this overload is for GenApi::intfIRegister");
    const int64_t length = reg->GetLength();
    if (bufferLength > length)
        VIREO_THROW_PLAIN(InvalidArgument,
                          "Buffer length is greater than the length of the destination node, " + nodeName.str() +
                              " length = " + std::to_string(length),
                          kUnit, kFunction);
    reg->Set(pBuffer, bufferLength);
}

void _throwLogicExceptionIfNotValidEnumEntry(GenApi::IEnumeration* e, GenICam::gcstring entryName) {
    static constexpr const char* kFunction = "_throwLogicExceptionIfNotValidEnumEntry";
    if (e == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Enumeration is null", kUnit, kFunction);
    if (e->GetEntryByName(entryName) != nullptr) return;
    std::string message = "'" + entryName.str() + "' is invalid EnumEntry. " + " valid EnumEntries are:\n";
    GenApi::NodeList_t entries;
    e->GetEntries(entries);
    for (GenApi::INode* node : entries) {
        if (const auto* entry = dynamic_cast<const GenApi::IEnumEntry*>(node)) message += entry->GetSymbolic().str() + "\n";
    }
    VIREO_THROW_PLAIN(LogicalError, message, kUnit, kFunction);
}

GenICam::gcstring EInterfaceTypeClass::ToString(GenApi::EInterfaceType value) {
    return NameOf(value, kInterfaceNames, "intfIUnknown");
}

GenApi::EInterfaceType EInterfaceTypeClass::FromString(const GenICam::gcstring& name) {
    return ValueOf(name, kInterfaceNames, intfIUnknown);
}

GenICam::gcstring EIncModeClass::ToString(GenApi::EIncMode value) {
    return NameOf(value, kIncModeNames, "unknownIncrement");
}

GenApi::EIncMode EIncModeClass::FromString(const GenICam::gcstring& name) {
    return ValueOf(name, kIncModeNames, unknownIncrement);
}

} // namespace Vireo
