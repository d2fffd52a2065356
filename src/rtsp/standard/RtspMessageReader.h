// Cuts the bytes of an RTSP connection into messages and interleaved "$" frames, fed across
// any number of reads. It never touches a socket: the connection feeds what it received and
// takes events until the reader needs more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "rtsp/standard/RtspMessage.h"

namespace playersdk::standard {

enum class ReadError {
    None,
    HeaderTooLong,     // no blank line within kMaxHeaderBytes
    BadStartLine,      // neither a status line nor a request line
    BadContentLength,  // not a plain decimal number
    BodyTooLong,       // Content-Length above kMaxBodyBytes
    TooMuchUnread,     // the caller fed more than the reader would ever hold
};

struct InterleavedFrame {
    uint8_t channel = 0;
    const uint8_t* data = nullptr;  // valid until the next Feed
    size_t size = 0;
};

struct ReadEvent {
    enum class Kind { NeedMore, Message, Frame, Error } kind = Kind::NeedMore;
    RtspMessage message;                // Kind::Message
    InterleavedFrame frame;             // Kind::Frame
    ReadError error = ReadError::None;  // Kind::Error
};

class CRtspMessageReader {
public:
    static constexpr size_t kMaxHeaderBytes = 64 * 1024;
    static constexpr size_t kMaxBodyBytes = 1024 * 1024;

    virtual ~CRtspMessageReader() = default;

    // Appends received bytes. Frames returned earlier are invalid afterwards.
    void Feed(const void* data, size_t len);
    // The next complete message or frame, NeedMore, or the error that ended the stream: once
    // an error is returned every later call returns it again (the connection cannot be
    // trusted to be in step any more).
    ReadEvent Next();

private:
    static constexpr size_t kMaxUnread = kMaxHeaderBytes + kMaxBodyBytes + 4 + 65535;

    ReadEvent Fail(ReadError error);
    ReadEvent NextFrame();
    ReadEvent NextMessage();
    size_t Unread() const { return m_buf.size() - m_pos; }

    std::vector<uint8_t> m_buf;
    size_t m_pos = 0;         // first unread byte
    size_t m_headerScan = 0;  // how far past m_pos the blank-line search has looked
    ReadError m_error = ReadError::None;
};

}  // namespace playersdk::standard
