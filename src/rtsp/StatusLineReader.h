// The status line of the reply to PLAY, PAUSE and the trick requests: bytes are dropped until
// "RTSP", then the line is kept up to its "\r\n". Only the line is taken; the header lines
// behind it stay with the caller. Pure: bytes in any split go in, the line comes out.
#pragma once

#include <cstddef>
#include <string_view>

#include "rtsp/RTSPProtocol.h"

class CStatusLineReader {
public:
    enum class Status { kIncomplete, kComplete, kTooLong };
    // Longest line taken, "RTSP" included.
    static constexpr int kMaxLine = playersdk::kRtspBufferSize - 1;

    virtual ~CStatusLineReader() = default;

    // Takes bytes from the front of 'in' up to the "\n" that ends the line. kComplete: line()
    // holds it; kTooLong: the line was dropped. Either way the reader starts afresh after it.
    Status Feed(std::string_view& in);
    // The line from "RTSP" on, with its "\r" but not its "\n".
    std::string_view line() const { return std::string_view(m_line, static_cast<size_t>(maxbuf)); }
    void Reset();

private:
    // 0 to 3: "R", "T", "S", "P" matched so far; 4 and 5: in the line; 6: after a "\r".
    int m_rtspheadstep = 0;
    int maxbuf = 0;  // bytes of the line kept
    char m_line[playersdk::kRtspBufferSize] = {};
};
