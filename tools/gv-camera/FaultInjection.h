// Faults a device server injects on purpose, so that a GigE Vision receiver can be tested
// against loss, reordering, lost acknowledgements, slow answers, a camera that goes silent and
// one that refuses control. Random choices come from seeded generators, one per kind of fault,
// so a run can be repeated exactly.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <random>

namespace GvCamera {

struct FaultSettings {
    double payloadLoss = 0.0;    // fraction of stream payload packets not sent the first time
    bool lossIncludesLeaderAndTrailer = false;
    std::uint32_t reorderEvery = 0;  // every n-th stream packet goes out after the one behind it
    double acknowledgeLoss = 0.0;    // fraction of GVCP acknowledges not sent
    std::chrono::milliseconds slowAnswer{0};  // every acknowledged command is answered this late
    std::optional<std::chrono::milliseconds> silentAfter;  // then nothing at all, as if unplugged
    bool refuseControl = false;      // control channel privilege is never granted
    std::uint64_t seed = 1;

    bool Any() const {
        return payloadLoss > 0 || reorderEvery > 0 || acknowledgeLoss > 0 || slowAnswer.count() > 0 ||
               silentAfter.has_value() || refuseControl;
    }
};

// One per camera. Thread-safe: the control and stream threads draw from their own generators.
class FaultInjector {
public:
    explicit FaultInjector(const FaultSettings& settings);

    const FaultSettings& Settings() const { return m_settings; }
    // Whether the stream packet is held back: leader and trailer only when the loss covers them.
    bool DropStreamPacket(bool leaderOrTrailer);
    bool DropAcknowledge();
    // Whether the camera has gone silent by now.
    bool Silent() const;

private:
    static bool Draw(std::mt19937_64& generator, double fraction);

    FaultSettings m_settings;
    std::chrono::steady_clock::time_point m_start;
    std::mutex m_streamMutex;  // guards m_streamRandom
    std::mt19937_64 m_streamRandom;
    std::mutex m_controlMutex;  // guards m_controlRandom
    std::mt19937_64 m_controlRandom;
};

} // namespace GvCamera
