#include "FaultInjection.h"

namespace GvCamera {

FaultInjector::FaultInjector(const FaultSettings& settings)
    : m_settings(settings), m_start(std::chrono::steady_clock::now()), m_streamRandom(settings.seed),
      m_controlRandom(settings.seed ^ 0x9E3779B97F4A7C15ull) {}

bool FaultInjector::Draw(std::mt19937_64& generator, double fraction) {
    if (fraction <= 0) return false;
    return std::uniform_real_distribution<double>(0.0, 1.0)(generator) < fraction;
}

bool FaultInjector::DropStreamPacket(bool leaderOrTrailer) {
    if (m_settings.payloadLoss <= 0 || (leaderOrTrailer && !m_settings.lossIncludesLeaderAndTrailer)) return false;
    std::lock_guard lock(m_streamMutex);
    return Draw(m_streamRandom, m_settings.payloadLoss);
}

bool FaultInjector::DropAcknowledge() {
    if (m_settings.acknowledgeLoss <= 0) return false;
    std::lock_guard lock(m_controlMutex);
    return Draw(m_controlRandom, m_settings.acknowledgeLoss);
}

bool FaultInjector::Silent() const {
    return m_settings.silentAfter && std::chrono::steady_clock::now() - m_start >= *m_settings.silentAfter;
}

} // namespace GvCamera
