// The image factory's process-wide state: open while a system is open; three scratch pools
// that conversions share.
#ifndef VIREO_SRC_FACTORY_FACTORYSTATE_H
#define VIREO_SRC_FACTORY_FACTORYSTATE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include <Vireo/ImageFactory.h>  // OpenImageFactory, CloseImageFactory, HasImageFactoryInit

namespace Vireo {

extern std::atomic<uint8_t> g_factoryInit;
extern std::mutex g_factoryMutex;  // open and close, while they touch the pools
extern std::mutex g_poolMutex;     // held by a conversion for as long as it uses a pool
extern uint8_t* g_pPoolA;
extern uint8_t* g_pPoolB;
extern uint8_t* g_pPoolC;
extern uint64_t g_poolSizeA;
extern uint64_t g_poolSizeB;
extern uint64_t g_poolSizeC;

extern std::mutex g_ippMutex;  // held for the whole of every standard conversion
extern uint8_t g_ippInit;       // set once the conversion engine is ready

// The scratch pools, held for the lease's lifetime (g_poolMutex). A pool only grows: a
// conversion of a frame as large as the last one allocates nothing. Close frees the pools,
// after waiting for any lease to end.
class ScratchLease {
public:
    ScratchLease() : m_lock(g_poolMutex) {}
    ScratchLease(const ScratchLease&) = delete;
    ScratchLease& operator=(const ScratchLease&) = delete;
    // At least `bytes` bytes of pool A, B or C, aligned for any sample type; the contents
    // are whatever an earlier conversion left.
    uint8_t* A(size_t bytes) { return Grow(g_pPoolA, g_poolSizeA, bytes); }
    uint8_t* B(size_t bytes) { return Grow(g_pPoolB, g_poolSizeB, bytes); }
    uint8_t* C(size_t bytes) { return Grow(g_pPoolC, g_poolSizeC, bytes); }

private:
    static uint8_t* Grow(uint8_t*& pool, uint64_t& size, size_t bytes);
    std::unique_lock<std::mutex> m_lock;
};

} // namespace Vireo

#endif
