#include "Producer.h"

#include <dlfcn.h>

#include <type_traits>

// The standard functions are bound by the dynamic linker to the libgentl.so.1 that the SDK is
// linked against. The references are weak, so that a producer written to an older GenTL version,
// which lacks some of the newer functions, still loads: a missing function has a null address
// and answers GC_ERR_NOT_IMPLEMENTED through a stand-in.
namespace GenTL {
extern "C" {
#define VIREO_GENTL_STANDARD(name) __attribute__((weak)) std::remove_pointer_t<P##name> name;
#define VIREO_GENTL_EXTENSION(name)
#include "ProducerFunctions.inc"
#undef VIREO_GENTL_EXTENSION
#undef VIREO_GENTL_STANDARD
}
} // namespace GenTL

namespace Vireo {
namespace {

constexpr const char* kProducerLibrary = "libgentl.so.1";

template <class... Arguments>
GenTL::GC_ERROR NotImplemented(Arguments...) {
    return GenTL::GC_ERR_NOT_IMPLEMENTED;
}

template <class... Arguments>
void Bind(GenTL::GC_ERROR (*&function)(Arguments...), GenTL::GC_ERROR (*address)(Arguments...)) {
    function = address != nullptr ? address : &NotImplemented<Arguments...>;
}

template <class... Arguments>
void Bind(GenTL::GC_ERROR (*&function)(Arguments...), void* symbol) {
    Bind(function, reinterpret_cast<GenTL::GC_ERROR (*)(Arguments...)>(symbol));
}

// The extensions are looked up in the producer that is already loaded, by name, when the SDK
// first calls the producer; another vendor's producer simply does not have them.
void* LookUpExtension(const char* name) {
    static void* const producer = dlopen(kProducerLibrary, RTLD_NOW | RTLD_NOLOAD);
    return producer != nullptr ? dlsym(producer, name) : dlsym(RTLD_DEFAULT, name);
}

ProducerFunctions LinkedProducer() {
    ProducerFunctions functions{};
#define VIREO_GENTL_STANDARD(name) Bind(functions.name, &GenTL::name);
#define VIREO_GENTL_EXTENSION(name) Bind(functions.name, LookUpExtension(#name));
#include "ProducerFunctions.inc"
#undef VIREO_GENTL_EXTENSION
#undef VIREO_GENTL_STANDARD
    return functions;
}

ProducerFunctions& Table() {
    static ProducerFunctions functions = LinkedProducer();
    return functions;
}

} // namespace

const ProducerFunctions& Producer() { return Table(); }

bool IsOwnProducer() {
    static const bool own = [] {
        bool all = true;
#define VIREO_GENTL_STANDARD(name)
#define VIREO_GENTL_EXTENSION(name) all = all && LookUpExtension(#name) != nullptr;
#include "ProducerFunctions.inc"
#undef VIREO_GENTL_EXTENSION
#undef VIREO_GENTL_STANDARD
        return all;
    }();
    return own;
}

ProducerFunctions ReplaceProducerForTesting(const ProducerFunctions& functions) {
    const ProducerFunctions previous = Table();
    Table() = functions;
    return previous;
}

} // namespace Vireo
