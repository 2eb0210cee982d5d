// The GenTL producer the SDK talks to: the libgentl.so.1 it is linked against, so that any GenTL
// producer installed under that name works. The standard functions are bound by the dynamic
// linker, the producer's extensions are looked up at run time; a function the producer does not
// export answers GC_ERR_NOT_IMPLEMENTED, which callers report like any producer error.
#ifndef VIREO_SRC_TRANSPORT_PRODUCER_H
#define VIREO_SRC_TRANSPORT_PRODUCER_H

#include <GenTL/GenTL.h>
#include <GenTL/GenTLExtensions.h>

namespace Vireo {

struct ProducerFunctions {
#define VIREO_GENTL_FUNCTION(name) GenTL::P##name name;
#include "ProducerFunctions.inc"
#undef VIREO_GENTL_FUNCTION
};

// The producer's functions, resolved once, on first use; safe to call from any thread.
const ProducerFunctions& Producer();

// Whether the producer is this project's own: it exports every one of the project's
// extensions (another vendor's exports none, or not all). Only where the standard leaves a
// choice does the SDK act on it (the acquisition count of DSStartAcquisition).
bool IsOwnProducer();

// Replaces the table that Producer() answers with and returns the previous one. For tests
// that must see exactly what reaches the producer; not for use while other threads call it.
ProducerFunctions ReplaceProducerForTesting(const ProducerFunctions& functions);

// Calls a producer list update that reports a bool8_t "changed" flag, for callers holding a
// bool (or none).
template <class Update>
GenTL::GC_ERROR UpdateWithChangedFlag(bool* changed, Update update) {
    GenTL::bool8_t producerChanged = 0;
    const GenTL::GC_ERROR result = update(changed != nullptr ? &producerChanged : nullptr);
    if (changed != nullptr) *changed = producerChanged != 0;
    return result;
}

} // namespace Vireo

#endif
