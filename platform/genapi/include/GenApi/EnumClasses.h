// Names of the GenApi enumerations, both ways, as they appear in description files.
#ifndef GENAPI_ENUMCLASSES_H
#define GENAPI_ENUMCLASSES_H

#include <Base/GCString.h>
#include <GenApi/Types.h>

namespace GenApi {

// Each FromString returns false and leaves the value alone for an unknown name.
struct GENAPI_DECL EAccessModeClass {
    static GenICam::gcstring ToString(EAccessMode value);
    static bool FromString(const GenICam::gcstring& text, EAccessMode* value);
};

struct GENAPI_DECL EVisibilityClass {
    static GenICam::gcstring ToString(EVisibility value);
    static bool FromString(const GenICam::gcstring& text, EVisibility* value);
};

struct GENAPI_DECL ECachingModeClass {
    static GenICam::gcstring ToString(ECachingMode value);
    static bool FromString(const GenICam::gcstring& text, ECachingMode* value);
};

struct GENAPI_DECL ERepresentationClass {
    static GenICam::gcstring ToString(ERepresentation value);
    static bool FromString(const GenICam::gcstring& text, ERepresentation* value);
};

struct GENAPI_DECL EEndianessClass {
    static GenICam::gcstring ToString(EEndianess value);
    static bool FromString(const GenICam::gcstring& text, EEndianess* value);
};

struct GENAPI_DECL ESignClass {
    static GenICam::gcstring ToString(ESign value);
    static bool FromString(const GenICam::gcstring& text, ESign* value);
};

struct GENAPI_DECL ESlopeClass {
    static GenICam::gcstring ToString(ESlope value);
    static bool FromString(const GenICam::gcstring& text, ESlope* value);
};

struct GENAPI_DECL EDisplayNotationClass {
    static GenICam::gcstring ToString(EDisplayNotation value);
    static bool FromString(const GenICam::gcstring& text, EDisplayNotation* value);
};

struct GENAPI_DECL EInterfaceTypeClass {
    static GenICam::gcstring ToString(EInterfaceType value);
    static bool FromString(const GenICam::gcstring& text, EInterfaceType* value);
};

} // namespace GenApi

#endif
