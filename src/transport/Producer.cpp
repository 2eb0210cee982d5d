#include "Producer.h"

#include <dlfcn.h>

#include <cstring>
#include <mutex>
#include <string>

namespace Vireo {
namespace {

constexpr const char* kProducerLibrary = "libgentl.so.1";

template <GenTL::GC_ERROR Code, class... Arguments>
GenTL::GC_ERROR Unavailable(Arguments...) {
    return Code;
}

// Why the last load failed, handed out by the stand-in GCGetLastError.
std::mutex g_loadFailureMutex;
std::string g_loadFailure;

GenTL::GC_ERROR ReportLoadFailure(GenTL::GC_ERROR* code, char* text, size_t* size) {
    if (code == nullptr || size == nullptr) return GenTL::GC_ERR_INVALID_PARAMETER;
    *code = GenTL::GC_ERR_NOT_AVAILABLE;
    std::string failure;
    {
        std::lock_guard lock(g_loadFailureMutex);
        failure = g_loadFailure;
    }
    const size_t needed = failure.size() + 1;
    if (text == nullptr || *size < needed) {
        *size = needed;
        return text == nullptr ? GenTL::GC_ERR_SUCCESS : GenTL::GC_ERR_BUFFER_TOO_SMALL;
    }
    std::memcpy(text, failure.c_str(), needed);
    *size = needed;
    return GenTL::GC_ERR_SUCCESS;
}

template <class... Arguments>
void Resolve(GenTL::GC_ERROR (*&function)(Arguments...), void* library, const char* name) {
    void* symbol = library != nullptr ? dlsym(library, name) : nullptr;
    if (symbol != nullptr)
        function = reinterpret_cast<GenTL::GC_ERROR (*)(Arguments...)>(symbol);
    else if (library != nullptr)
        function = &Unavailable<GenTL::GC_ERR_NOT_IMPLEMENTED, Arguments...>;
    else
        function = &Unavailable<GenTL::GC_ERR_NOT_AVAILABLE, Arguments...>;
}

} // namespace

ProducerFunctions LoadProducer(const char* libraryPath) {
    // Never closed: buffers, handles and threads of the producer may outlive any owner here.
    void* library = dlopen(libraryPath, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* reason = dlerror();
        std::lock_guard lock(g_loadFailureMutex);
        g_loadFailure = std::string("Unable to load the GenTL producer ") + libraryPath + ": " +
                        (reason != nullptr ? reason : "unknown reason");
    }
    ProducerFunctions functions{};
#define VIREO_GENTL_FUNCTION(name) Resolve(functions.name, library, #name);
#include "ProducerFunctions.inc"
#undef VIREO_GENTL_FUNCTION
    if (library == nullptr) functions.GCGetLastError = &ReportLoadFailure;
    return functions;
}

namespace {
ProducerFunctions& Table() {
    static ProducerFunctions functions = LoadProducer(kProducerLibrary);
    return functions;
}
} // namespace

const ProducerFunctions& Producer() { return Table(); }

ProducerFunctions ReplaceProducerForTesting(const ProducerFunctions& functions) {
    const ProducerFunctions previous = Table();
    Table() = functions;
    return previous;
}

} // namespace Vireo
