// The registered callbacks of one kind, called without any lock held.
//
// Delivering a record takes a snapshot of the registrations (one shared pointer copy) and
// calls each callback through Call, which skips callbacks unregistered meanwhile and counts
// the call as running. Remove withdraws the registration and then waits until no other
// thread runs a call of that callback, so its owner may destroy it as soon as Remove returns.
// Calls on the removing thread itself are not waited for: they are further up its own stack.
#ifndef PELGOLOG_SRC_CALLBACKREGISTRY_H
#define PELGOLOG_SRC_CALLBACKREGISTRY_H

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace PelgoLog {

template <class Callback>
class CallbackRegistry {
public:
    struct Entry {
        explicit Entry(Callback* registered) : callback(registered) {}
        Callback* const callback;
        bool registered = true;                 // guarded by the registry's lock
        std::vector<std::thread::id> callers;   // threads running a call; guarded likewise
    };
    using Entries = std::vector<std::shared_ptr<Entry>>;

    CallbackRegistry() : m_entries(std::make_shared<const Entries>()) {}
    CallbackRegistry(const CallbackRegistry&) = delete;
    CallbackRegistry& operator=(const CallbackRegistry&) = delete;

    void Add(Callback* callback) {
        if (callback == nullptr) return;
        std::lock_guard lock(m_lock);
        for (const auto& entry : *m_entries)
            if (entry->callback == callback) return;
        auto entries = std::make_shared<Entries>(*m_entries);
        entries->push_back(std::make_shared<Entry>(callback));
        m_entries = std::move(entries);
    }

    void Remove(Callback* callback) {
        if (callback == nullptr) return;
        std::unique_lock lock(m_lock);
        std::shared_ptr<Entry> removed;
        auto entries = std::make_shared<Entries>();
        for (const auto& entry : *m_entries) {
            if (entry->callback == callback)
                removed = entry;
            else
                entries->push_back(entry);
        }
        if (removed == nullptr) return;
        removed->registered = false;
        m_entries = std::move(entries);
        const std::thread::id self = std::this_thread::get_id();
        m_callEnded.wait(lock, [&] {
            return std::all_of(removed->callers.begin(), removed->callers.end(),
                               [&](std::thread::id caller) { return caller == self; });
        });
    }

    // The registrations as they are now; later changes do not affect the snapshot.
    std::shared_ptr<const Entries> Snapshot() const {
        std::lock_guard lock(m_lock);
        return m_entries;
    }

    // Calls function(callback) unless the callback has been unregistered since the snapshot
    // was taken; false when it was skipped. Exceptions of the callback are swallowed.
    template <class Function>
    bool Call(Entry& entry, Function&& function) {
        const std::thread::id self = std::this_thread::get_id();
        {
            std::lock_guard lock(m_lock);
            if (!entry.registered) return false;
            entry.callers.push_back(self);
        }
        try {
            function(entry.callback);
        } catch (...) {
            // A misbehaving receiver must not keep the record from the others.
        }
        std::lock_guard lock(m_lock);
        entry.callers.erase(std::find(entry.callers.begin(), entry.callers.end(), self));
        // Only a removal waits for calls to end, and only on an entry it has withdrawn.
        if (!entry.registered) m_callEnded.notify_all();
        return true;
    }

private:
    mutable std::mutex m_lock;
    std::condition_variable m_callEnded;
    std::shared_ptr<const Entries> m_entries;
};

} // namespace PelgoLog

#endif
