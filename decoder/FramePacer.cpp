#include "FramePacer.h"

namespace playerdecoder {

constexpr std::chrono::milliseconds CFramePacer::kMaxWait;
constexpr std::chrono::milliseconds CFramePacer::kMaxLate;

void CFramePacer::Anchor(long long ts, Clock::time_point now) {
    m_bAnchored = true;
    m_anchorTs = ts;
    m_anchorTime = now;
}

CFramePacer::Clock::time_point CFramePacer::DueTime(long long ts, int timeScale,
                                                    Clock::time_point now) {
    if (!m_bAnchored || timeScale <= 0 || ts < m_anchorTs) {
        Anchor(ts, now);
        return now;
    }
    // Unsigned: any two stamps have a difference; more than a day of ticks is a broken stamp.
    unsigned long long ticks =
        static_cast<unsigned long long>(ts) - static_cast<unsigned long long>(m_anchorTs);
    const unsigned long long kDaySeconds = 86400;
    if (ticks / static_cast<unsigned long long>(timeScale) > kDaySeconds) {
        Anchor(ts, now);
        return now;
    }
    long long ms =
        static_cast<long long>(ticks * 1000 / static_cast<unsigned long long>(timeScale));
    Clock::time_point due = m_anchorTime + std::chrono::milliseconds(ms);
    if (due - now > kMaxWait || now - due > kMaxLate) {
        Anchor(ts, now);
        return now;
    }
    return due;
}

}  // namespace playerdecoder
