#include "rtsp/StatusLineReader.h"

#include <cstring>

CStatusLineReader::Status CStatusLineReader::Feed(std::string_view& in) {
    static constexpr char kMagic[] = "RTSP";
    if (m_rtspheadstep == kHandedOut) {
        Reset();  // the line handed out last time
    }
    while (!in.empty()) {
        const char c = in.front();
        in.remove_prefix(1);
        if (m_rtspheadstep < kLineStarts) {
            // A byte that breaks the match may begin it again ("RRTSP").
            m_rtspheadstep = c == kMagic[m_rtspheadstep] ? m_rtspheadstep + 1 : (c == 'R' ? 1 : 0);
            continue;
        }
        if (m_rtspheadstep == kLineStarts || m_rtspheadstep == kInLine) {
            if (m_rtspheadstep == kLineStarts) {
                memcpy(m_line, kMagic, kLineStarts);
                maxbuf = kLineStarts;
            }
            m_line[maxbuf++] = c;
            if (maxbuf > kMaxLine) {
                Reset();
                return Status::kTooLong;
            }
            m_rtspheadstep = c == '\r' ? kAfterCr : kInLine;
            continue;
        }
        // After a "\r": the "\n" ends the line; another byte is not kept, and the line goes on.
        if (c == '\n') {
            m_rtspheadstep = kHandedOut;
            return Status::kComplete;
        }
        m_rtspheadstep = kInLine;
    }
    return Status::kIncomplete;
}

void CStatusLineReader::Reset() {
    m_rtspheadstep = 0;  // no letter matched
    maxbuf = 0;
}
