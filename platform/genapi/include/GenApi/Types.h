// Enumerations, list types and handles shared by all GenApi interfaces.
#ifndef GENAPI_TYPES_H
#define GENAPI_TYPES_H

#include <cstdint>
#include <vector>

#include <Base/GCStringVector.h>
#include <Base/GCTypes.h>

namespace GenApi {

// Access modes, ordered so that a larger value allows more.
enum EAccessMode { NI, NA, WO, RO, RW, _UndefinedAccesMode, _CycleDetectAccesMode };

enum EVisibility { Beginner = 0, Expert = 1, Guru = 2, Invisible = 3, _UndefinedVisibility = 99 };

enum ECachingMode { NoCache, WriteThrough, WriteAround, _UndefinedCachingMode };

enum ERepresentation {
    Linear,
    Logarithmic,
    Boolean,
    PureNumber,
    HexNumber,
    IPV4Address,
    MACAddress,
    _UndefinedRepresentation
};

enum EEndianess { BigEndian, LittleEndian, _UndefinedEndian };

enum ENameSpace { Custom, Standard, _UndefinedNameSpace };

enum EStandardNameSpace { None, IIDC, GEV, CL, USB, _UndefinedStandardNameSpace };

enum EYesNo { No = 0, Yes = 1, _UndefinedYesNo = 2 };

enum ESlope { Increasing, Decreasing, Varying, Automatic, _UndefinedESlope };

enum EDisplayNotation { fnAutomatic, fnFixed, fnScientific, _UndefinedEDisplayNotation };

enum EInterfaceType {
    intfIValue,
    intfIBase,
    intfIInteger,
    intfIBoolean,
    intfICommand,
    intfIFloat,
    intfIString,
    intfIRegister,
    intfICategory,
    intfIEnumeration,
    intfIEnumEntry,
    intfIPort
};

// Which neighbours INode::GetChildren and GetParents report.
enum ELinkType {
    ctParentNodes,
    ctReadingChildren,
    ctWritingChildren,
    ctInvalidatingChildren,
    ctDependingNodes,
    ctTerminalNodes,
    ctValueChildren
};

enum EIncMode { noIncrement, fixedIncrement, listIncrement };

enum EInputDirection { idFrom, idTo, idNone };

enum ESign { Signed, Unsigned, _UndefinedSign };

// When a node callback runs: before the node map's lock is released, or after.
enum ECallbackType { cbPostInsideLock = 1, cbPostOutsideLock = 2 };

typedef intptr_t CallbackHandleType;

class INode;
class IValue;

class node_vector : public std::vector<INode*> {
public:
    using std::vector<INode*>::vector;
};
typedef node_vector NodeList_t;

class value_vector : public std::vector<IValue*> {
public:
    using std::vector<IValue*>::vector;
};
typedef value_vector FeatureList_t;

typedef GenICam::gcstring_vector StringList_t;

class int64_autovector_t : public std::vector<int64_t> {
public:
    using std::vector<int64_t>::vector;
};

class double_autovector_t : public std::vector<double> {
public:
    using std::vector<double>::vector;
};

} // namespace GenApi

#endif
