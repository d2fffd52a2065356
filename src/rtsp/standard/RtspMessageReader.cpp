#include "rtsp/standard/RtspMessageReader.h"

#include <string_view>

#include "rtsp/standard/TextFields.h"

namespace playersdk::standard {
namespace {
constexpr uint8_t kFrameMark = '$';
constexpr size_t kFrameHeaderBytes = 4;

// Offset just past the blank line that ends the header block in text, or npos. Accepts
// "\r\n\r\n" and the bare "\n\n" of careless servers.
size_t HeaderEnd(std::string_view text, size_t from) {
    for (size_t i = from; i < text.size(); ++i) {
        if (text[i] != '\n') {
            continue;
        }
        if (i + 1 < text.size() && text[i + 1] == '\n') {
            return i + 2;
        }
        if (i + 2 < text.size() && text[i + 1] == '\r' && text[i + 2] == '\n') {
            return i + 3;
        }
    }
    return std::string_view::npos;
}
}  // namespace

void CRtspMessageReader::Feed(const void* data, size_t len) {
    if (m_error != ReadError::None || data == nullptr || len == 0) {
        return;
    }
    if (len > kMaxUnread - Unread()) {
        m_error = ReadError::TooMuchUnread;
        return;
    }
    // Read bytes are dropped once they are half the buffer, so a body that arrives in many
    // small reads is moved a bounded number of times, not once per read.
    if (m_pos > 0 && m_pos >= m_buf.size() / 2) {
        m_buf.erase(m_buf.begin(), m_buf.begin() + static_cast<std::ptrdiff_t>(m_pos));
        m_pos = 0;
    }
    const auto* bytes = static_cast<const uint8_t*>(data);
    m_buf.insert(m_buf.end(), bytes, bytes + len);
}

ReadEvent CRtspMessageReader::Fail(ReadError error) {
    m_error = error;
    ReadEvent event;
    event.kind = ReadEvent::Kind::Error;
    event.error = error;
    return event;
}

ReadEvent CRtspMessageReader::Next() {
    if (m_error != ReadError::None) {
        return Fail(m_error);
    }
    // Servers put stray line ends between messages and frames; they belong to neither.
    while (m_headerScan == 0 && Unread() > 0 && (m_buf[m_pos] == '\r' || m_buf[m_pos] == '\n')) {
        ++m_pos;
    }
    if (Unread() == 0) {
        return {};
    }
    return m_buf[m_pos] == kFrameMark ? NextFrame() : NextMessage();
}

ReadEvent CRtspMessageReader::NextFrame() {
    if (Unread() < kFrameHeaderBytes) {
        return {};
    }
    const uint8_t* p = m_buf.data() + m_pos;
    size_t size = (size_t{p[2]} << 8) | p[3];
    if (Unread() < kFrameHeaderBytes + size) {
        return {};
    }
    ReadEvent event;
    event.kind = ReadEvent::Kind::Frame;
    event.frame = {p[1], p + kFrameHeaderBytes, size};
    m_pos += kFrameHeaderBytes + size;
    return event;
}

ReadEvent CRtspMessageReader::NextMessage() {
    std::string_view text(reinterpret_cast<const char*>(m_buf.data() + m_pos), Unread());
    // Look again only at what arrived since the last search, from far enough back to see a
    // blank line that the last read cut in two (or the one found before the body was whole).
    size_t end = HeaderEnd(text, m_headerScan > 3 ? m_headerScan - 3 : 0);
    if (end == std::string_view::npos) {
        if (text.size() > kMaxHeaderBytes) {
            return Fail(ReadError::HeaderTooLong);
        }
        m_headerScan = text.size();
        return {};
    }
    if (end > kMaxHeaderBytes) {
        return Fail(ReadError::HeaderTooLong);
    }
    std::string_view block = text.substr(0, end);
    std::string_view firstLine = NextPiece(block, '\n');
    auto start = ParseStartLine(firstLine);
    if (!start) {
        return Fail(ReadError::BadStartLine);
    }
    ReadEvent event;
    event.message.start = std::move(*start);
    event.message.headers = ParseHeaderLines(block);
    size_t bodySize = 0;
    if (auto length = event.message.Header("Content-Length")) {
        auto value = ParseDecimal(TrimBlanks(*length), 999999999999999ULL);
        if (!value) {
            return Fail(ReadError::BadContentLength);
        }
        if (*value > kMaxBodyBytes) {
            return Fail(ReadError::BodyTooLong);
        }
        bodySize = static_cast<size_t>(*value);
    }
    if (text.size() - end < bodySize) {
        m_headerScan = end;  // the header is known; wait for the body without searching again
        return {};
    }
    event.kind = ReadEvent::Kind::Message;
    event.message.body = std::string(text.substr(end, bodySize));
    m_pos += end + bodySize;
    m_headerScan = 0;
    return event;
}

}  // namespace playersdk::standard
