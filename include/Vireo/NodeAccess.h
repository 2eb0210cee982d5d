// Reading and writing camera features by name over any node map, with one set of checks and
// one set of messages for every accessor.
//
// Every accessor checks, in this order, and throws at the first failure (messages in the form
// "<ExceptionName>: <message> (NodeAccess, <function>)"):
//   1. the node map is null:          GenICam::InvalidArgumentException "Node map is null"
//   2. no node of that name:          GenICam::InvalidArgumentException "Node name invalid: <name>"
//   3. the node is not implemented:   GenICam::RuntimeException "Node <name> not implemented"
//   4. the node is not available:     GenICam::RuntimeException "Node <name> not available"
//   5. a read of an unreadable node:  GenICam::RuntimeException "Node <name> not readable"
//      a write of an unwritable node: GenICam::RuntimeException "Node <name> not writable"
//   6. the node's principal interface decides:
//      - a value interface whose type differs from T: GenICam::InvalidArgumentException
//        naming the type the interface requires, "Node <name> of type GenApi::IInteger must
//        return type int64_t" (reads) or "... must set type ..." (writes);
//      - any other interface: GenICam::LogicalErrorException "Node <name> unsupported node type".
// Failures of the engine itself (a value out of range, a port error) pass through unchanged.
// Nothing is kept between calls, and a call that fails in its checks writes nothing.
//
// The checks and the access are separate engine calls, each under the node map's lock; the node
// map's lock is not held across them so that callbacks keep running outside it.
#ifndef VIREO_NODEACCESS_H
#define VIREO_NODEACCESS_H

#include <cstdint>

#include <Base/GCString.h>
#include <GenApi/IEnumeration.h>
#include <GenApi/INodeMap.h>
#include <GenApi/Types.h>
#include <Vireo/Config.h>

namespace Vireo {

// The value of a node: IInteger as int64_t, IFloat as double, IBoolean as bool, IString and
// IEnumeration (the symbolic name of the current entry) as GenICam::gcstring. Instantiated for
// exactly these four types; any other type does not link.
template <class T>
VIREO_API T GetNodeValue(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName);

// Sets the value of a node, with the same pairing of types and interfaces; an enumeration is
// set by the symbolic name of an entry (see _throwLogicExceptionIfNotValidEnumEntry). Name the
// type when the argument is of another one: SetNodeValue<int64_t>(map, "Width", 640).
template <class T>
VIREO_API void SetNodeValue(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName, const T& value);

// The value a selected feature has for one entry of its selector: sets the enumeration
// selectorName to selectorEntry (as SetNodeValue<GenICam::gcstring>), then reads valueName (as
// GetNodeValue<T>). The selector stays on that entry. The two steps are separate accesses: a
// thread that moves the same selector in between changes what is read.
template <class T>
VIREO_API T getNodeValueFromSelector(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& selectorName,
                                     const GenICam::gcstring& selectorEntry, const GenICam::gcstring& valueName);

// Range of an IInteger (int64_t) or IFloat (double) node, after the read checks.
template <class T>
VIREO_API T GetNodeMin(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName);
template <class T>
VIREO_API T GetNodeMax(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName);
// Only a fixed increment is an answer; a node without one (a float without <Inc>) or with a
// list of valid values fails with GenICam::LogicalErrorException "Node <name> unsupported
// increment", since no single step describes it.
template <class T>
VIREO_API T GetNodeInc(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName);

extern template VIREO_API int64_t GetNodeValue<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&);
extern template VIREO_API double GetNodeValue<double>(GenApi::INodeMap*, const GenICam::gcstring&);
extern template VIREO_API bool GetNodeValue<bool>(GenApi::INodeMap*, const GenICam::gcstring&);
extern template VIREO_API GenICam::gcstring GetNodeValue<GenICam::gcstring>(GenApi::INodeMap*,
                                                                             const GenICam::gcstring&);
extern template VIREO_API void SetNodeValue<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&, const int64_t&);
extern template VIREO_API void SetNodeValue<double>(GenApi::INodeMap*, const GenICam::gcstring&, const double&);
extern template VIREO_API void SetNodeValue<bool>(GenApi::INodeMap*, const GenICam::gcstring&, const bool&);
extern template VIREO_API void SetNodeValue<GenICam::gcstring>(GenApi::INodeMap*, const GenICam::gcstring&,
                                                               const GenICam::gcstring&);
extern template VIREO_API int64_t getNodeValueFromSelector<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&,
                                                                    const GenICam::gcstring&, const GenICam::gcstring&);
extern template VIREO_API double getNodeValueFromSelector<double>(GenApi::INodeMap*, const GenICam::gcstring&,
                                                                  const GenICam::gcstring&, const GenICam::gcstring&);
extern template VIREO_API bool getNodeValueFromSelector<bool>(GenApi::INodeMap*, const GenICam::gcstring&,
                                                              const GenICam::gcstring&, const GenICam::gcstring&);
extern template VIREO_API GenICam::gcstring getNodeValueFromSelector<GenICam::gcstring>(
    GenApi::INodeMap*, const GenICam::gcstring&, const GenICam::gcstring&, const GenICam::gcstring&);
extern template VIREO_API int64_t GetNodeMin<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&);
extern template VIREO_API double GetNodeMin<double>(GenApi::INodeMap*, const GenICam::gcstring&);
extern template VIREO_API int64_t GetNodeMax<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&);
extern template VIREO_API double GetNodeMax<double>(GenApi::INodeMap*, const GenICam::gcstring&);
extern template VIREO_API int64_t GetNodeInc<int64_t>(GenApi::INodeMap*, const GenICam::gcstring&);
extern template VIREO_API double GetNodeInc<double>(GenApi::INodeMap*, const GenICam::gcstring&);

// Executes an ICommand node after checks 1 to 4; whether the command may be written is the
// engine's to decide.
VIREO_API void ExecuteNode(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName);

// Raw bytes of an IRegister node. Checks, in order: node map null and node name (as above);
// bufferLength zero ("Buffer length cannot be zero. ") or negative ("Buffer length cannot be
// negative. ") and pBuffer null ("Buffer is null. "), all InvalidArgumentException; a node whose
// principal interface is not IRegister (LogicalErrorException); checks 3 to 5.
// A read of more bytes than the register holds reads the whole register and sets bufferLength
// to the number of bytes read; a shorter read gets the register's first bufferLength bytes.
VIREO_API void GetNodeValue(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName, uint8_t* pBuffer,
                            int64_t& bufferLength);
// A write longer than the register fails (InvalidArgumentException "Buffer length is greater
// than the length of the destination node, <name> length = <register length>"); a shorter one
// writes the register's first bufferLength bytes. bufferLength is left as it is.
VIREO_API void SetNodeValue(GenApi::INodeMap* pNodeMap, const GenICam::gcstring& nodeName, const uint8_t* pBuffer,
                            int64_t& bufferLength);

// Throws GenICam::LogicalErrorException when the enumeration has no entry of that name,
// available or not: "'<name>' is invalid EnumEntry.  valid EnumEntries are:\n" followed by the
// symbolic name of every entry in description order, each followed by "\n". A null enumeration
// is an InvalidArgumentException.
VIREO_API void _throwLogicExceptionIfNotValidEnumEntry(GenApi::IEnumeration* e, GenICam::gcstring entryName);

// The engine's interface types have no value for "unknown"; this one lies past the last
// enumerator (and inside the enumeration's range of values), so that a name that is no
// interface round-trips through FromString and ToString.
inline constexpr GenApi::EInterfaceType intfIUnknown = static_cast<GenApi::EInterfaceType>(GenApi::intfIPort + 1);
// The same for increment modes.
inline constexpr GenApi::EIncMode unknownIncrement = static_cast<GenApi::EIncMode>(GenApi::listIncrement + 1);

// Names of interface types as in GenApi ("intfIInteger", ...). Any other value is
// "intfIUnknown"; any other name gives intfIUnknown.
struct VIREO_API EInterfaceTypeClass {
    static GenICam::gcstring ToString(GenApi::EInterfaceType value);
    static GenApi::EInterfaceType FromString(const GenICam::gcstring& name);
};

// Names of increment modes ("noIncrement", "fixedIncrement", "listIncrement"). Any other value
// is "unknownIncrement"; any other name gives unknownIncrement.
struct VIREO_API EIncModeClass {
    static GenICam::gcstring ToString(GenApi::EIncMode value);
    static GenApi::EIncMode FromString(const GenICam::gcstring& name);
};

} // namespace Vireo

#endif
