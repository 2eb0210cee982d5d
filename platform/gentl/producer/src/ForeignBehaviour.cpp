// Linked only into the producer build that stands for another vendor's producer: switches the
// behaviour on as the library is loaded, before any GenTL call.
#include "ProducerState.h"

namespace VirtualGenTL {
namespace {

const bool kForeign = [] {
    ProducerState::Instance().foreign = true;
    return true;
}();

} // namespace
} // namespace VirtualGenTL
