#include "Object.h"

#include <atomic>
#include <mutex>
#include <unordered_map>

namespace VirtualGenTL {
namespace {

std::mutex g_handlesMutex;

std::unordered_map<void*, std::shared_ptr<Object>>& Registry() {
    static std::unordered_map<void*, std::shared_ptr<Object>> registry;
    return registry;
}

// Tokens never repeat within a process, so that a handle kept after Close cannot reach an
// object created later at the same address.
std::atomic<uintptr_t> g_nextToken{0x7A000010};

} // namespace

void* Handles::Add(const std::shared_ptr<Object>& object) {
    void* handle = reinterpret_cast<void*>(g_nextToken.fetch_add(0x10));
    object->m_handle = handle;
    std::lock_guard lock(g_handlesMutex);
    Registry().emplace(handle, object);
    return handle;
}

void Handles::Remove(void* handle) {
    std::shared_ptr<Object> released;  // destroyed after the lock is dropped
    std::lock_guard lock(g_handlesMutex);
    const auto found = Registry().find(handle);
    if (found == Registry().end()) return;
    released = std::move(found->second);
    Registry().erase(found);
}

std::shared_ptr<Object> Handles::Find(void* handle) {
    std::lock_guard lock(g_handlesMutex);
    const auto found = Registry().find(handle);
    return found == Registry().end() ? nullptr : found->second;
}

std::vector<std::shared_ptr<Object>> Handles::All() {
    std::lock_guard lock(g_handlesMutex);
    std::vector<std::shared_ptr<Object>> objects;
    for (const auto& entry : Registry()) objects.push_back(entry.second);
    return objects;
}

} // namespace VirtualGenTL
