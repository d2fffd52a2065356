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
    // Below kLineStarts: how many letters of "RTSP" are matched so far.
    enum Step : int {
        kLineStarts = 4,  // "RTSP" matched: the line begins with it
        kInLine = 5,
        kAfterCr = 6,
        kHandedOut = 7,  // the line was handed out; the next Feed starts afresh
    };
    int m_rtspheadstep = 0;
    int maxbuf = 0;  // bytes of the line kept
    char m_line[playersdk::kRtspBufferSize] = {};
};
