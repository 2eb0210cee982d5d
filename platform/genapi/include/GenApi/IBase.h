// The root interface of every node interface.
#ifndef GENAPI_IBASE_H
#define GENAPI_IBASE_H

#include <GenApi/Types.h>

namespace GenApi {

class GENAPI_DECL IBase {
public:
    virtual EAccessMode GetAccessMode() const = 0;

protected:
    virtual ~IBase() = default;
};

inline bool IsReadable(EAccessMode mode) { return mode == RO || mode == RW; }
inline bool IsWritable(EAccessMode mode) { return mode == WO || mode == RW; }
inline bool IsImplemented(EAccessMode mode) { return mode != NI; }
inline bool IsAvailable(EAccessMode mode) { return !(mode == NA || mode == NI); }

inline bool IsReadable(const IBase* p) { return p != nullptr && IsReadable(p->GetAccessMode()); }
inline bool IsWritable(const IBase* p) { return p != nullptr && IsWritable(p->GetAccessMode()); }
inline bool IsImplemented(const IBase* p) { return p != nullptr && IsImplemented(p->GetAccessMode()); }
inline bool IsAvailable(const IBase* p) { return p != nullptr && IsAvailable(p->GetAccessMode()); }

// The access mode that two sources of access together allow: both must agree.
inline EAccessMode Combine(EAccessMode first, EAccessMode second) {
    if (first == NI || second == NI) return NI;
    if (first == NA || second == NA) return NA;
    if (first == _UndefinedAccesMode || first == _CycleDetectAccesMode) return second;
    if (second == _UndefinedAccesMode || second == _CycleDetectAccesMode) return first;
    if (first == second) return first;
    if (first == RW) return second;
    if (second == RW) return first;
    return NA; // RO with WO
}

} // namespace GenApi

#endif
