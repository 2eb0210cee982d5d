#include "FactoryState.h"

namespace Vireo {

std::atomic<uint8_t> g_factoryInit{0};
std::mutex g_factoryMutex;
std::mutex g_poolMutex;
uint8_t* g_pPoolA = nullptr;
uint8_t* g_pPoolB = nullptr;
uint8_t* g_pPoolC = nullptr;
uint64_t g_poolSizeA = 0;
uint64_t g_poolSizeB = 0;
uint64_t g_poolSizeC = 0;

void OpenImageFactory() {
    g_factoryInit.exchange(1);
    // Forgets, without freeing, whatever an earlier open left: a close always frees them.
    std::lock_guard lock(g_factoryMutex);
    g_pPoolA = g_pPoolB = g_pPoolC = nullptr;
    g_poolSizeA = g_poolSizeB = g_poolSizeC = 0;
}

void CloseImageFactory() {
    {
        std::lock_guard lock(g_factoryMutex);
        delete[] g_pPoolA;
        delete[] g_pPoolB;
        delete[] g_pPoolC;
    }
    g_factoryInit.exchange(0);
}

bool HasImageFactoryInit() { return g_factoryInit.load() != 0; }

} // namespace Vireo
