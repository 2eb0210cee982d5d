#include <GenApi/EnumClasses.h>

#include <cstring>
#include <iterator>

namespace GenApi {

namespace {

template <class E, size_t N>
GenICam::gcstring NameOf(E value, const std::pair<E, const char*> (&table)[N], const char* unknown) {
    for (const auto& [entry, name] : table)
        if (entry == value) return name;
    return unknown;
}

template <class E, size_t N>
bool ValueOf(const GenICam::gcstring& text, E* value, const std::pair<E, const char*> (&table)[N]) {
    for (const auto& [entry, name] : table) {
        if (text == name) {
            if (value != nullptr) *value = entry;
            return true;
        }
    }
    return false;
}

const std::pair<EAccessMode, const char*> kAccessModes[] = {{NI, "NI"}, {NA, "NA"}, {WO, "WO"}, {RO, "RO"}, {RW, "RW"}};
const std::pair<EVisibility, const char*> kVisibilities[] = {
    {Beginner, "Beginner"}, {Expert, "Expert"}, {Guru, "Guru"}, {Invisible, "Invisible"}};
const std::pair<ECachingMode, const char*> kCachingModes[] = {
    {NoCache, "NoCache"}, {WriteThrough, "WriteThrough"}, {WriteAround, "WriteAround"}};
const std::pair<ERepresentation, const char*> kRepresentations[] = {
    {Linear, "Linear"}, {Logarithmic, "Logarithmic"}, {Boolean, "Boolean"}, {PureNumber, "PureNumber"},
    {HexNumber, "HexNumber"}, {IPV4Address, "IPV4Address"}, {MACAddress, "MACAddress"}};
const std::pair<EEndianess, const char*> kEndianesses[] = {{BigEndian, "BigEndian"}, {LittleEndian, "LittleEndian"}};
const std::pair<ESign, const char*> kSigns[] = {{Signed, "Signed"}, {Unsigned, "Unsigned"}};
const std::pair<ESlope, const char*> kSlopes[] = {
    {Increasing, "Increasing"}, {Decreasing, "Decreasing"}, {Varying, "Varying"}, {Automatic, "Automatic"}};
const std::pair<EDisplayNotation, const char*> kNotations[] = {
    {fnAutomatic, "Automatic"}, {fnFixed, "Fixed"}, {fnScientific, "Scientific"}};
const std::pair<EInterfaceType, const char*> kInterfaces[] = {
    {intfIValue, "intfIValue"},         {intfIBase, "intfIBase"},       {intfIInteger, "intfIInteger"},
    {intfIBoolean, "intfIBoolean"},     {intfICommand, "intfICommand"}, {intfIFloat, "intfIFloat"},
    {intfIString, "intfIString"},       {intfIRegister, "intfIRegister"}, {intfICategory, "intfICategory"},
    {intfIEnumeration, "intfIEnumeration"}, {intfIEnumEntry, "intfIEnumEntry"}, {intfIPort, "intfIPort"}};

} // namespace

GenICam::gcstring EAccessModeClass::ToString(EAccessMode value) { return NameOf(value, kAccessModes, "_UndefinedAccesMode"); }
bool EAccessModeClass::FromString(const GenICam::gcstring& text, EAccessMode* value) { return ValueOf(text, value, kAccessModes); }
GenICam::gcstring EVisibilityClass::ToString(EVisibility value) { return NameOf(value, kVisibilities, "_UndefinedVisibility"); }
bool EVisibilityClass::FromString(const GenICam::gcstring& text, EVisibility* value) { return ValueOf(text, value, kVisibilities); }
GenICam::gcstring ECachingModeClass::ToString(ECachingMode value) { return NameOf(value, kCachingModes, "_UndefinedCachingMode"); }
bool ECachingModeClass::FromString(const GenICam::gcstring& text, ECachingMode* value) { return ValueOf(text, value, kCachingModes); }
GenICam::gcstring ERepresentationClass::ToString(ERepresentation value) {
    return NameOf(value, kRepresentations, "_UndefinedRepresentation");
}
bool ERepresentationClass::FromString(const GenICam::gcstring& text, ERepresentation* value) {
    return ValueOf(text, value, kRepresentations);
}
GenICam::gcstring EEndianessClass::ToString(EEndianess value) { return NameOf(value, kEndianesses, "_UndefinedEndian"); }
bool EEndianessClass::FromString(const GenICam::gcstring& text, EEndianess* value) { return ValueOf(text, value, kEndianesses); }
GenICam::gcstring ESignClass::ToString(ESign value) { return NameOf(value, kSigns, "_UndefinedSign"); }
bool ESignClass::FromString(const GenICam::gcstring& text, ESign* value) { return ValueOf(text, value, kSigns); }
GenICam::gcstring ESlopeClass::ToString(ESlope value) { return NameOf(value, kSlopes, "_UndefinedESlope"); }
bool ESlopeClass::FromString(const GenICam::gcstring& text, ESlope* value) { return ValueOf(text, value, kSlopes); }
GenICam::gcstring EDisplayNotationClass::ToString(EDisplayNotation value) {
    return NameOf(value, kNotations, "_UndefinedEDisplayNotation");
}
bool EDisplayNotationClass::FromString(const GenICam::gcstring& text, EDisplayNotation* value) {
    return ValueOf(text, value, kNotations);
}
GenICam::gcstring EInterfaceTypeClass::ToString(EInterfaceType value) { return NameOf(value, kInterfaces, "intfIUnknown"); }
bool EInterfaceTypeClass::FromString(const GenICam::gcstring& text, EInterfaceType* value) {
    return ValueOf(text, value, kInterfaces);
}

} // namespace GenApi
