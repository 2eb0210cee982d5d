// Streaming from event-based sensors.
#include <Vireo/Device.h>

#include "../transport/Errors.h"

namespace Vireo {
namespace {

constexpr const char* kUnit = "Device";

} // namespace

// Streams of event-based sensors deliver the sensor's events, not frames; they start and stop
// like the image stream.
void Device::StartStreamEVS(int stream, size_t numBuffers) { StartStream(stream, numBuffers); }
void Device::StopStreamEVS(int stream) { StopStream(stream); }
void Device::GetNextEvsTriggerEvent(uint64_t) {
    VIREO_THROW_PLAIN(LogicalError, "Event-based sensor trigger events are not supported by this device", kUnit,
                      "GetNextEvsTriggerEvent");
}

} // namespace Vireo
