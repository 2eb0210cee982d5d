#include "Localization.h"

#include <nl_types.h>

#include <mutex>

namespace Vireo::loc {
namespace {

const nl_catd kClosed = reinterpret_cast<nl_catd>(-1);

// The catalog and the lock that keeps lookups from racing with close (catgets' texts live in
// the catalog's memory, so they are copied before the lock is released).
std::mutex g_lock;
nl_catd g_catalog = kClosed;

} // namespace

bool init() {
    std::lock_guard lock(g_lock);
    if (g_catalog == kClosed) g_catalog = catopen("vireo", NL_CAT_LOCALE);
    return g_catalog != kClosed;
}

std::string al(int set, int number, const char* defaultText) {
    const char* const fallback = defaultText != nullptr ? defaultText : "";
    std::lock_guard lock(g_lock);
    if (g_catalog == kClosed) return fallback;
    return catgets(g_catalog, set, number, fallback);
}

std::string al(int number, const char* defaultText) { return al(kMessageSet, number, defaultText); }

void close() {
    std::lock_guard lock(g_lock);
    if (g_catalog == kClosed) return;
    catclose(g_catalog);
    g_catalog = kClosed;
}

} // namespace Vireo::loc
