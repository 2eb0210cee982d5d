// Smart pointers over node interfaces. They convert with dynamic_cast, so a pointer to the
// wrong interface is simply invalid; dereferencing an invalid one throws.
#ifndef GENAPI_POINTER_H
#define GENAPI_POINTER_H

#include <Base/GCException.h>
#include <GenApi/IBoolean.h>
#include <GenApi/ICategory.h>
#include <GenApi/ICommand.h>
#include <GenApi/IEnumEntry.h>
#include <GenApi/IEnumeration.h>
#include <GenApi/IFloat.h>
#include <GenApi/IInteger.h>
#include <GenApi/INode.h>
#include <GenApi/INodeMap.h>
#include <GenApi/IPort.h>
#include <GenApi/IRegister.h>
#include <GenApi/ISelector.h>
#include <GenApi/IString.h>
#include <GenApi/IValue.h>

namespace GenApi {

template <class T, class B = IBase>
class CPointer {
public:
    CPointer() noexcept : m_pT(nullptr) {}
    CPointer(B* pB) : m_pT(pB != nullptr ? dynamic_cast<T*>(pB) : nullptr) {}
    CPointer(const CPointer& other) noexcept : m_pT(other.m_pT) {}
    template <class C>
    CPointer(const CPointer<C, B>& other) : m_pT(other.IsValid() ? dynamic_cast<T*>(other.operator C*()) : nullptr) {}
    ~CPointer() = default;

    CPointer& operator=(const CPointer& other) noexcept {
        m_pT = other.m_pT;
        return *this;
    }
    CPointer& operator=(B* pB) {
        m_pT = pB != nullptr ? dynamic_cast<T*>(pB) : nullptr;
        return *this;
    }

    operator T*() const noexcept { return m_pT; }
    T& operator*() const {
        if (m_pT == nullptr) throw LOGICAL_ERROR_EXCEPTION("NULL pointer dereferenced");
        return *m_pT;
    }
    T& operator()() const { return **this; }
    T* operator->() const {
        if (m_pT == nullptr) throw LOGICAL_ERROR_EXCEPTION("NULL pointer dereferenced");
        return m_pT;
    }
    bool IsValid() const noexcept { return m_pT != nullptr; }
    operator bool() const noexcept { return m_pT != nullptr; }
    bool operator==(T* pT) const noexcept { return m_pT == pT; }
    bool operator==(const CPointer& other) const noexcept { return m_pT == other.m_pT; }
    bool operator!=(T* pT) const noexcept { return m_pT != pT; }
    bool operator!=(const CPointer& other) const noexcept { return m_pT != other.m_pT; }
    bool operator==(long nMustBeNull) const {
        if (nMustBeNull != 0) throw LOGICAL_ERROR_EXCEPTION("Can compare to NULL only");
        return m_pT == nullptr;
    }
    bool operator==(int nMustBeNull) const { return *this == static_cast<long>(nMustBeNull); }
    bool operator==(std::nullptr_t) const noexcept { return m_pT == nullptr; }
    bool operator!=(std::nullptr_t) const noexcept { return m_pT != nullptr; }

protected:
    T* m_pT;
};

typedef CPointer<IBase> CBasePtr;
typedef CPointer<INode> CNodePtr;
typedef CPointer<IValue> CValuePtr;
typedef CPointer<ICategory> CCategoryPtr;
typedef CPointer<IBoolean> CBooleanPtr;
typedef CPointer<IInteger> CIntegerPtr;
typedef CPointer<IString> CStringPtr;
typedef CPointer<IRegister> CRegisterPtr;
typedef CPointer<IEnumeration> CEnumerationPtr;
typedef CPointer<IEnumEntry> CEnumEntryPtr;
typedef CPointer<IPort> CPortPtr;
typedef CPointer<IFloat> CFloatPtr;
typedef CPointer<ICommand> CCommandPtr;
typedef CPointer<ISelector> CSelectorPtr;
typedef CPointer<INodeMap, INodeMap> CNodeMapPtr;

template <class T, class B>
inline bool IsReadable(const CPointer<T, B>& ptr) {
    return ptr.IsValid() && IsReadable(ptr->GetAccessMode());
}
template <class T, class B>
inline bool IsWritable(const CPointer<T, B>& ptr) {
    return ptr.IsValid() && IsWritable(ptr->GetAccessMode());
}
template <class T, class B>
inline bool IsImplemented(const CPointer<T, B>& ptr) {
    return ptr.IsValid() && IsImplemented(ptr->GetAccessMode());
}
template <class T, class B>
inline bool IsAvailable(const CPointer<T, B>& ptr) {
    return ptr.IsValid() && IsAvailable(ptr->GetAccessMode());
}

} // namespace GenApi

#endif
