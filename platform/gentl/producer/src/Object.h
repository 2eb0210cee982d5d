// Every GenTL handle stands for one Object. Handles are tokens, not addresses, and are
// looked up in a registry that keeps the object alive for the duration of a call: a stale,
// foreign or closed handle is refused with GC_ERR_INVALID_HANDLE instead of being followed.
#ifndef VIRTUALGENTL_OBJECT_H
#define VIRTUALGENTL_OBJECT_H

#include <memory>
#include <string>
#include <vector>

#include "Errors.h"

namespace VirtualGenTL {

class RegisterSpace;

enum class Kind { System, Interface, Device, RemoteDevice, DataStream, Buffer, Event };

class Object : public std::enable_shared_from_this<Object> {
public:
    explicit Object(Kind kind) : m_kind(kind) {}
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    Kind GetKind() const { return m_kind; }
    void* Handle() const { return m_handle; }

    // Modules with a register port answer with it; a module handle is its port handle.
    virtual RegisterSpace* Port() { return nullptr; }
    // What GCGetPortInfo reports.
    virtual std::string PortModule() const { return {}; }
    virtual std::string PortId() const { return {}; }
    virtual std::string DescriptionFileName() const { return {}; }

private:
    friend class Handles;
    Kind m_kind;
    void* m_handle = nullptr;
};

class Handles {
public:
    // Gives the object a handle and keeps it findable until Remove.
    static void* Add(const std::shared_ptr<Object>& object);
    static void Remove(void* handle);
    static std::shared_ptr<Object> Find(void* handle);
    // Every live object, for closing them all when the library closes.
    static std::vector<std::shared_ptr<Object>> All();

    template <class T>
    static std::shared_ptr<T> Get(void* handle, const char* what) {
        std::shared_ptr<Object> object = Find(handle);
        if (!object || object->GetKind() != T::kKind)
            Fail(GenTL::GC_ERR_INVALID_HANDLE, std::string("not a valid ") + what + " handle");
        return std::static_pointer_cast<T>(object);
    }
};

} // namespace VirtualGenTL

#endif
