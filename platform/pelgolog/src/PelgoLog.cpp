// The process-wide service and its reference count.
#include <PelgoLog/PelgoLog.h>

#include <mutex>
#include <new>

#include "LogService.h"

namespace PelgoLog {
namespace {

std::mutex g_lock;
LogService* g_service = nullptr;
unsigned long g_references = 0;

} // namespace

ILogCallback::~ILogCallback() = default;
IFilterCallback::~IFilterCallback() = default;
Service::~Service() = default;

Service* Init() {
    std::lock_guard lock(g_lock);
    if (g_service == nullptr) {
        g_service = new (std::nothrow) LogService();
        if (g_service == nullptr) return nullptr;
    }
    ++g_references;
    return g_service;
}

void Deinit(Service* service) {
    LogService* ending = nullptr;
    {
        std::lock_guard lock(g_lock);
        if (service == nullptr || service != g_service || g_references == 0) return;
        if (--g_references == 0) {
            ending = g_service;
            g_service = nullptr;
        }
    }
    // Outside the lock: stopping the receiver waits for its callbacks, which may call Init.
    delete ending;
}

} // namespace PelgoLog
