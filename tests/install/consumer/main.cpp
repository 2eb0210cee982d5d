// A minimal application of the installed SDK, compiled as C++17.
#include <Vireo/Vireo.h>

#include <cstdio>
#include <iostream>

int main() {
    const uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    std::printf("Vireo %s %s %08X\n", Vireo::GetVersion().c_str(), Vireo::GetPixelFormatName(Vireo::Mono8),
                Vireo::CalculateCRC32(digits, sizeof digits));
    try {
        Vireo::CalculateMaximumNumberOfBuffers(0);
    } catch (const GenICam::RuntimeException& error) {
        std::cout << error.what() << '\n';
        return 0;
    }
    return 1;
}
