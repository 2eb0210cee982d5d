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
    std::scoped_lock lock(g_poolMutex, g_factoryMutex);
    g_pPoolA = g_pPoolB = g_pPoolC = nullptr;
    g_poolSizeA = g_poolSizeB = g_poolSizeC = 0;
}

void CloseImageFactory() {
    {
        // A conversion in progress keeps its pools until it ends.
        std::scoped_lock lock(g_poolMutex, g_factoryMutex);
        delete[] g_pPoolA;
        delete[] g_pPoolB;
        delete[] g_pPoolC;
        g_pPoolA = g_pPoolB = g_pPoolC = nullptr;
        g_poolSizeA = g_poolSizeB = g_poolSizeC = 0;
    }
    g_factoryInit.exchange(0);
}

uint8_t* ScratchLease::Grow(uint8_t*& pool, uint64_t& size, size_t bytes) {
    if (pool == nullptr || size < bytes) {
        std::lock_guard lock(g_factoryMutex);
        delete[] pool;
        pool = nullptr;
        size = 0;
        pool = new uint8_t[bytes];
        size = bytes;
    }
    return pool;
}

bool HasImageFactoryInit() { return g_factoryInit.load() != 0; }

} // namespace Vireo
