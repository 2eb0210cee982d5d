#include "Progress.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace VireoTool {
namespace {

constexpr auto kTerminalInterval = std::chrono::milliseconds(100);
constexpr auto kLineInterval = std::chrono::seconds(2);
constexpr size_t kBarWidth = 30;

} // namespace

Progress::Progress(std::ostream& out, size_t total, bool terminal)
    : m_out(out), m_total(total), m_terminal(terminal), m_last(std::chrono::steady_clock::now()) {}

void Progress::Update(size_t done, double framesPerSecond) {
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::steady_clock::duration interval =
        m_terminal ? std::chrono::steady_clock::duration(kTerminalInterval) : std::chrono::steady_clock::duration(kLineInterval);
    if (now - m_last < interval) return;
    m_last = now;
    Draw(done, framesPerSecond);
}

void Progress::Finish(size_t done, double framesPerSecond) {
    Draw(done, framesPerSecond);
    if (m_terminal && m_drawn) m_out << '\n';
    m_out.flush();
}

void Progress::Draw(size_t done, double framesPerSecond) {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.1f", framesPerSecond);
    if (m_terminal) {
        const size_t filled = m_total == 0 ? kBarWidth : std::min(kBarWidth, done * kBarWidth / m_total);
        const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, '.');
        m_out << "\r[" << bar << "] " << done << '/' << m_total << " frames  " << rate << " fps \x1b[K";
    } else {
        m_out << "grab: " << done << '/' << m_total << " frames, " << rate << " fps\n";
    }
    m_out.flush();
    m_drawn = true;
}

} // namespace VireoTool
