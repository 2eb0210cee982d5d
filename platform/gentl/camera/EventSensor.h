// The event-based sensor behind the event stream of a virtual camera: what it sees in one frame
// period (the events of an edge sweeping across the sensor, and a pulse on its trigger input)
// and the three ways the stream sends it, as StreamEvsOutputFormat and StreamEvsBitDepth of the
// stream's node map choose:
//
// - XYTPFrame (Bits128): PelgoXYTP128f, one event per 16 bytes: x, y, time (us) and polarity
//   (0 or 1) as little-endian float32. Width is the number of events, height 1.
// - CDFrame (Bits8 or Bits24): a contrast-detection image of the window, the polarity of each
//   pixel's last event in the period. Bits8 is Mono8: 128 where nothing happened, 255 for a
//   rising (ON) event, 0 for a falling (OFF) one. Bits24 is RGB8: black, red (ON), blue (OFF).
// - RawFrameEncoded (Bits16): the sensor's own encoding, 16-bit little-endian words modelled
//   on EVT 3.0, sent as a one-row Mono16 image whose width is the number of words. The word
//   type is in bits 15..12, its payload in bits 11..0:
//     0x8 TIME_HIGH   bits 23..12 of the time of what follows (us)
//     0x6 TIME_LOW    bits 11..0 of that time
//     0x0 ADDR_Y      row (bits 10..0) of the events that follow
//     0x2 ADDR_X      one event at this column (bits 10..0) of the current row and time;
//                     bit 11 is its polarity
//     0xA EXT_TRIGGER an edge on trigger input (bits 11..8) at the current time; bit 0 is
//                     1 for rising, 0 for falling
//   Time, row and column are sent only when they change; every frame starts with TIME_HIGH so
//   that it decodes on its own. The 24-bit time wraps after 16.7 s.
//
// Sensor time counts microseconds from the start of the acquisition and never goes back
// within one: each frame period continues where the last one ended.
#ifndef VIRTUALGENTL_EVENTSENSOR_H
#define VIRTUALGENTL_EVENTSENSOR_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "description/Feature.h"
#include "VirtualCamera.h"

namespace VirtualGenTL {

// StreamEvsOutputFormat values.
enum EvsOutputFormat : int64_t { kRawFrameEncoded = 0, kXYTPFrame = 1, kCDFrame = 2 };

// What the event stream sends. StreamEvsBitDepth entries carry their number of bits.
struct EvsOutput {
    int64_t format = kXYTPFrame;
    int64_t bitDepth = 128;
};

// The entries of the two stream features.
std::vector<EnumEntry> EvsOutputFormatEntries();
std::vector<EnumEntry> EvsBitDepthEntries();
// Why the stream cannot send this output ("" when it can).
std::string EvsOutputProblem(const EvsOutput& output);

// One edge on a trigger input, as EVENT_NEW_EVS_TRIGGER delivers it.
struct EvsTrigger {
    uint64_t timestampUs = 0;
    uint32_t channel = 0;
    int32_t polarity = 0;  // 1 rising, 0 falling
};

// Every frame period the trigger input sees one pulse: its rising edge with the period's first
// event, its falling edge half way through the period's events.
constexpr uint32_t kEvsTriggerChannel = 0;
constexpr size_t kEvsTriggersPerFrame = 2;

// The stream of a camera with stream roles that carries the sensor's events.
constexpr uint32_t kEventStreamIndex = 3;
inline bool CarriesSensorEvents(const CameraModel& model, uint32_t stream) {
    return model.streamRoles && stream == kEventStreamIndex;
}

class EventSensor {
public:
    // A new acquisition with this output: the sensor's clock restarts at 0.
    void Start(const EvsOutput& output, uint64_t startNs);
    // The largest frame the output makes of a window of this size.
    static size_t PayloadSize(const EvsOutput& output, uint64_t width, uint64_t height);
    // Writes the frame period that ends at timestampNs into memory (what fits of it) and
    // appends the period's trigger edges to *triggers.
    FrameInfo Produce(uint8_t* memory, size_t size, uint64_t width, uint64_t height, uint64_t frameId,
                      uint64_t timestampNs, std::vector<EvsTrigger>* triggers);

private:
    EvsOutput m_output;
    uint64_t m_startNs = 0;
    uint64_t m_nextUs = 0;  // where the next period's events may start
    std::vector<uint8_t> m_frame;
};

} // namespace VirtualGenTL

#endif
