// Progress of a long command on stderr: a live bar on a terminal, an occasional plain line
// otherwise (logs and pipes get no carriage returns).
#ifndef VIREO_TOOL_PROGRESS_H
#define VIREO_TOOL_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <ostream>

namespace VireoTool {

class Progress {
public:
    Progress(std::ostream& out, size_t total, bool terminal);

    // Reports done of total at the given rate; redraws at most ten times a second on a
    // terminal, prints a line about every two seconds otherwise.
    void Update(size_t done, double framesPerSecond);
    // The final state, always shown, and the end of the bar's line.
    void Finish(size_t done, double framesPerSecond);

private:
    void Draw(size_t done, double framesPerSecond);

    std::ostream& m_out;
    size_t m_total;
    bool m_terminal;
    bool m_drawn = false;
    std::chrono::steady_clock::time_point m_last;
};

} // namespace VireoTool

#endif
