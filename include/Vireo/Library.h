// Library-wide entry points.
#ifndef VIREO_LIBRARY_H
#define VIREO_LIBRARY_H

#include <cstddef>

#include <GenICam.h>
#include <Vireo/Config.h>

namespace Vireo {

class ISystem;

// Initialises the GenTL producer and opens its system; one system per process (a second
// open fails with "Library already initialized (must initialize only once)"). Give it back
// with CloseSystem.
VIREO_API ISystem* OpenSystem();
// Destroys the system and closes the producer library.
VIREO_API void CloseSystem(ISystem* system);

// The SDK's version, "major.minor.patch.build".
VIREO_API GenICam::gcstring GetVersion();

// How many buffers of packetSize bytes this machine can hold: 80 % of the total RAM divided
// by packetSize. Throws GenICam::RuntimeException for a packet size of 0 and
// GenICam::BadAllocException when not even one buffer fits.
VIREO_API size_t CalculateMaximumNumberOfBuffers(size_t packetSize);

} // namespace Vireo

#endif
