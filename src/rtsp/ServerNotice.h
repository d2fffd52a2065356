// The server's notices inside the interleaved stream: the word ANNOUNCE among the bytes that
// are not frames, then the notice text behind it up to its header end. Pure: bytes in, the
// notice text out; what the notice means is the engine's business.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "rtsp/RTSPProtocol.h"

class CServerNotice {
public:
    virtual ~CServerNotice() = default;

    // Feeds one byte that is not part of a frame to the word matcher; true when it completes
    // the word ANNOUNCE (any case): the notice text is collected from the next byte on.
    bool MatchWord(char c);
    // Starts the word again (a frame began).
    void ResetWord() { m_rtspheadstep = kExpectA; }
    bool collecting() const { return m_collecting; }
    // Takes notice text from the front of 'in' up to its header end, or until the text fills
    // its buffer; true when the notice is complete, text() then holds it.
    bool Collect(std::string_view& in);
    std::string_view text() const { return std::string_view(m_text.data(), m_length); }
    void Reset();

private:
    // kExpectA expects "A", kSecondLetter to kLastLetter the letters after it; the numbers are
    // those of the log texts.
    enum Step : int { kExpectA = 0, kSecondLetter = 8, kLastLetter = 14 };
    int m_rtspheadstep = kExpectA;
    bool m_collecting = false;
    std::array<char, playersdk::kRtspBufferSize> m_text{};
    size_t m_length = 0;
};
