// A minimal application of the installed SDK, compiled as C++17.
#include <Vireo/Vireo.h>

#include <iostream>

int main() {
    try {
        std::cout << "Vireo " << Vireo::GetVersion() << ' ' << Vireo::GetPixelFormatName(Vireo::Mono8) << '\n';
        Vireo::CalculateMaximumNumberOfBuffers(0);
    } catch (const GenICam::RuntimeException& error) {
        std::cout << error.what() << '\n';
        return 0;
    }
    return 1;
}
