// When a picture is due on screen, from its time stamp and the stream's time scale. The first
// picture anchors the stream clock to the wall clock; a stamp that goes backwards (wrap, seek),
// jumps far ahead or falls far behind anchors it again, so a broken stamp never stalls the
// display for long.
#pragma once

#include <chrono>

namespace playerdecoder {

class CFramePacer {
public:
    using Clock = std::chrono::steady_clock;
    // Longest wait a single picture may cause, and how late a picture may be before the
    // clock is anchored again instead of rushing through the backlog.
    static constexpr std::chrono::milliseconds kMaxWait{2000};
    static constexpr std::chrono::milliseconds kMaxLate{1000};

    Clock::time_point DueTime(long long ts, int timeScale, Clock::time_point now);
    void Reset() { m_bAnchored = false; }

private:
    void Anchor(long long ts, Clock::time_point now);

    bool m_bAnchored = false;
    long long m_anchorTs = 0;
    Clock::time_point m_anchorTime;
};

}  // namespace playerdecoder
