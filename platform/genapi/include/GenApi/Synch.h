// The lock of a node map: recursive, so that a node callback may use the node map again.
#ifndef GENAPI_SYNCH_H
#define GENAPI_SYNCH_H

#include <mutex>

#include <Base/GCLinkage.h>

namespace GenApi {

class GENAPI_DECL CLock {
public:
    void Lock() { m_mutex.lock(); }
    void Unlock() { m_mutex.unlock(); }
    bool TryLock() { return m_mutex.try_lock(); }
    // Standard names, so that std::lock_guard<CLock> works.
    void lock() { m_mutex.lock(); }
    void unlock() { m_mutex.unlock(); }
    bool try_lock() { return m_mutex.try_lock(); }

private:
    std::recursive_mutex m_mutex;
};

class AutoLock {
public:
    explicit AutoLock(CLock& lock) : m_lock(lock) { m_lock.Lock(); }
    ~AutoLock() { m_lock.Unlock(); }
    AutoLock(const AutoLock&) = delete;
    AutoLock& operator=(const AutoLock&) = delete;

private:
    CLock& m_lock;
};

} // namespace GenApi

#endif
