// One whole reply (the DESCRIBE reply with its description, a SETUP reply) put together from
// reads of any size: its header up to the blank line, then as many body bytes as its
// Content-Length says. Pure: bytes in any split go in, the reply comes out. Bytes behind the
// reply are left to the caller.
#pragma once

#include <cstddef>
#include <string_view>

#include "rtsp/RTSPProtocol.h"

class CReplyAssembler {
public:
    // A reply longer than this is cut to it: its header where the header does not end within
    // it, else its body. The whole reply is taken all the same.
    static constexpr size_t kCapacity = playersdk::kRtspBufferSize;

    virtual ~CReplyAssembler() = default;

    // Takes the bytes of the reply from the front of 'in'; true once it is complete.
    bool Feed(std::string_view& in);
    // The reply as kept, NUL-terminated; the parsers may write into it.
    char* text() { return m_text; }
    int length() const { return static_cast<int>(m_kept); }
    void Reset();

private:
    bool TakeHeader(std::string_view& in);
    void TakeBody(std::string_view& in);

    static constexpr size_t kUnknown = static_cast<size_t>(-1);
    char m_text[kCapacity + 1] = {};  // one more keeps it terminated
    size_t m_kept = 0;                // bytes of the reply in m_text
    size_t m_received = 0;            // bytes of the reply taken, kept or not
    size_t m_total = kUnknown;        // header and body, once the header has ended
};
