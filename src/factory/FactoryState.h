// The image factory's process-wide state: open while a system is open; three scratch pools
// that conversions share.
#ifndef VIREO_SRC_FACTORY_FACTORYSTATE_H
#define VIREO_SRC_FACTORY_FACTORYSTATE_H

#include <atomic>
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

} // namespace Vireo

#endif
