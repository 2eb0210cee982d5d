#include "EventSensor.h"

#include <algorithm>
#include <cstring>

namespace VirtualGenTL {
namespace {

constexpr uint64_t kPelgoXYTP128f = 0x82804556;
constexpr uint64_t kMono8 = 0x01080001;
constexpr uint64_t kMono16 = 0x01100007;
constexpr uint64_t kRGB8 = 0x02180014;

// Raw word types.
constexpr uint16_t kTimeHigh = 0x8000, kTimeLow = 0x6000, kAddrY = 0x0000, kAddrX = 0x2000, kExtTrigger = 0xA000;
// A period's events cost at most TIME_HIGH, TIME_LOW, ADDR_Y and ADDR_X each, its trigger edges
// TIME_HIGH, TIME_LOW and EXT_TRIGGER.
constexpr size_t kWordsPerEvent = 4, kWordsPerTrigger = 3;

struct SensorEvent {
    uint32_t x, y;
    uint64_t timeUs;
    int32_t polarity;
};

size_t CdBytesPerPixel(const EvsOutput& output) { return output.bitDepth == 24 ? 3 : 1; }

void PutWord(std::vector<uint8_t>& out, uint16_t word) {
    out.push_back(uint8_t(word));
    out.push_back(uint8_t(word >> 8));
}

// The raw encoding of a period's events and trigger edges, merged in time order (an edge
// before an event of the same time).
void EncodeRaw(const std::vector<SensorEvent>& events, const std::vector<EvsTrigger>& edges,
               std::vector<uint8_t>& out) {
    uint32_t high = UINT32_MAX, low = UINT32_MAX, row = UINT32_MAX;
    const auto time = [&](uint64_t us) {
        const auto wantedHigh = uint32_t(us >> 12) & 0xFFF, wantedLow = uint32_t(us) & 0xFFF;
        if (wantedHigh != high) {
            PutWord(out, uint16_t(kTimeHigh | wantedHigh));
            high = wantedHigh;
            low = UINT32_MAX;  // a new high part needs its low part again
        }
        if (wantedLow != low) {
            PutWord(out, uint16_t(kTimeLow | wantedLow));
            low = wantedLow;
        }
    };
    size_t edge = 0;
    const auto edgesUpTo = [&](uint64_t us) {
        for (; edge < edges.size() && edges[edge].timestampUs <= us; ++edge) {
            time(edges[edge].timestampUs);
            PutWord(out, uint16_t(kExtTrigger | (edges[edge].channel & 0xF) << 8 | (edges[edge].polarity & 1)));
        }
    };
    for (const SensorEvent& event : events) {
        edgesUpTo(event.timeUs);
        time(event.timeUs);
        if (event.y != row) {
            PutWord(out, uint16_t(kAddrY | (event.y & 0x7FF)));
            row = event.y;
        }
        PutWord(out, uint16_t(kAddrX | (event.polarity & 1) << 11 | (event.x & 0x7FF)));
    }
    edgesUpTo(UINT64_MAX);
}

void EncodeXytp(const std::vector<SensorEvent>& events, std::vector<uint8_t>& out) {
    out.resize(events.size() * 16);
    for (size_t index = 0; index < events.size(); ++index) {
        const float values[4] = {float(events[index].x), float(events[index].y), float(events[index].timeUs),
                                 float(events[index].polarity)};
        std::memcpy(&out[index * 16], values, sizeof values);
    }
}

void DrawContrast(const std::vector<SensorEvent>& events, uint64_t width, uint64_t height, size_t bytesPerPixel,
                  std::vector<uint8_t>& out) {
    static const uint8_t kMono[3] = {128, 255, 0};  // nothing, ON, OFF
    static const uint8_t kColour[3][3] = {{0, 0, 0}, {255, 0, 0}, {0, 0, 255}};
    // The background: grey, or black in colour.
    out.assign(width * height * bytesPerPixel, bytesPerPixel == 1 ? kMono[0] : kColour[0][0]);
    const auto paint = [&](size_t pixel, int shade) {
        if (bytesPerPixel == 1)
            out[pixel] = kMono[shade];
        else
            std::memcpy(&out[pixel * 3], kColour[shade], 3);
    };
    // Later events of a pixel overwrite earlier ones: the pixel shows its last change.
    for (const SensorEvent& event : events) paint(size_t(event.y) * width + event.x, event.polarity != 0 ? 1 : 2);
}

} // namespace

std::vector<EnumEntry> EvsOutputFormatEntries() {
    return {{"RawFrameEncoded", kRawFrameEncoded}, {"XYTPFrame", kXYTPFrame}, {"CDFrame", kCDFrame}};
}

std::vector<EnumEntry> EvsBitDepthEntries() { return {{"Bits8", 8}, {"Bits16", 16}, {"Bits24", 24}, {"Bits128", 128}}; }

std::string EvsOutputProblem(const EvsOutput& output) {
    std::string format, depth;
    for (const EnumEntry& entry : EvsOutputFormatEntries())
        if (entry.value == output.format) format = entry.name;
    for (const EnumEntry& entry : EvsBitDepthEntries())
        if (entry.value == output.bitDepth) depth = entry.name;
    if (format.empty()) return "StreamEvsOutputFormat " + std::to_string(output.format) + " is not an output format";
    if (depth.empty()) return "StreamEvsBitDepth " + std::to_string(output.bitDepth) + " is not a bit depth";
    const char* wanted = nullptr;
    switch (output.format) {
    case kRawFrameEncoded: wanted = output.bitDepth == 16 ? nullptr : "Bits16"; break;
    case kXYTPFrame: wanted = output.bitDepth == 128 ? nullptr : "Bits128"; break;
    default: wanted = output.bitDepth == 8 || output.bitDepth == 24 ? nullptr : "Bits8 or Bits24"; break;
    }
    if (wanted == nullptr) return {};
    return "StreamEvsOutputFormat " + format + " takes StreamEvsBitDepth " + wanted + ", not " + depth;
}

void EventSensor::Start(const EvsOutput& output, uint64_t startNs) {
    m_output = output;
    m_startNs = startNs;
    m_nextUs = 0;
}

size_t EventSensor::PayloadSize(const EvsOutput& output, uint64_t width, uint64_t height) {
    switch (output.format) {
    case kRawFrameEncoded: return (width * kWordsPerEvent + kEvsTriggersPerFrame * kWordsPerTrigger) * 2;
    case kCDFrame: return width * height * CdBytesPerPixel(output);
    default: return width * 16;
    }
}

FrameInfo EventSensor::Produce(uint8_t* memory, size_t size, uint64_t width, uint64_t height, uint64_t frameId,
                               uint64_t timestampNs, std::vector<EvsTrigger>* triggers) {
    // The period's events: an edge sweeping across the window, one event per column, every
    // event a microsecond after the one before.
    const uint64_t elapsedUs = timestampNs > m_startNs ? (timestampNs - m_startNs) / 1000 : 0;
    const uint64_t firstUs = std::max(elapsedUs, m_nextUs);
    height = std::max<uint64_t>(height, 1);
    std::vector<SensorEvent> events(width);
    for (uint64_t column = 0; column < width; ++column)
        events[column] = {uint32_t(column), uint32_t((column + frameId * 8) % height), firstUs + column,
                          int32_t(column % 2)};
    const std::vector<EvsTrigger> edges = {{firstUs, kEvsTriggerChannel, 1},
                                           {firstUs + std::max<uint64_t>(1, width / 2), kEvsTriggerChannel, 0}};
    m_nextUs = firstUs + std::max<uint64_t>(width, 2);
    if (triggers != nullptr) triggers->insert(triggers->end(), edges.begin(), edges.end());

    FrameInfo frame;
    frame.frameId = frameId;
    frame.timestampNs = timestampNs;
    frame.height = 1;
    size_t unit = 0;  // what is delivered whole: an event, a word or a row
    m_frame.clear();
    switch (m_output.format) {
    case kRawFrameEncoded:
        EncodeRaw(events, edges, m_frame);
        frame.pixelFormat = kMono16;
        unit = 2;
        break;
    case kCDFrame:
        DrawContrast(events, width, height, CdBytesPerPixel(m_output), m_frame);
        frame.pixelFormat = CdBytesPerPixel(m_output) == 3 ? kRGB8 : kMono8;
        frame.width = width;
        unit = width * CdBytesPerPixel(m_output);
        break;
    default:
        EncodeXytp(events, m_frame);
        frame.pixelFormat = kPelgoXYTP128f;
        unit = 16;
        break;
    }
    frame.dataSize = m_frame.size();
    const size_t units = unit == 0 ? 0 : std::min(m_frame.size(), size) / unit;
    frame.sizeFilled = units * unit;
    if (frame.sizeFilled > 0) std::memcpy(memory, m_frame.data(), frame.sizeFilled);
    if (m_output.format == kCDFrame)
        frame.height = units;
    else
        frame.width = units;
    frame.incomplete = frame.sizeFilled < m_frame.size();
    frame.dataLargerThanBuffer = m_frame.size() > size;
    return frame;
}

} // namespace VirtualGenTL
