#include "rtspserver/RtspStreamParser.h"

#include <strings.h>
#include <algorithm>
#include <cstdlib>

#include "base/ByteCursor.h"

namespace playersdk::rtspserver {
namespace {
constexpr std::string_view kBlankLine = "\r\n\r\n";
constexpr std::string_view kLineEnd = "\r\n";
// A message that never ends is cut here, so a stream of garbage cannot grow without bound.
constexpr size_t kMaxMessage = 64 * 1024;
constexpr size_t kFrameHeader = 4;

bool SameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view Trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) {
        s.remove_prefix(1);
    }
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) {
        s.remove_suffix(1);
    }
    return s;
}

// Next word of the start line: blanks before it skipped, ended by a blank or a NUL byte.
std::string_view NextWord(std::string_view& line) {
    size_t start = line.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        line = {};
        return {};
    }
    line.remove_prefix(start);
    size_t end = std::min(line.find(' '), line.find('\0'));
    std::string_view word = line.substr(0, end);
    line.remove_prefix(word.size());
    return word;
}

void AddHeaderLine(std::string line, ReceivedMessage& msg) {
    // Gaps of NUL bytes inside the header block are the client's, not part of any header.
    line.erase(std::remove(line.begin(), line.end(), '\0'), line.end());
    size_t colon = line.find(':');
    if (line.empty() || colon == std::string::npos) {
        return;
    }
    std::string_view view(line);
    std::string name(Trim(view.substr(0, colon)));
    std::string_view value = Trim(view.substr(colon + 1));
    // The client writes "Range: npt=now-" without a line end, so the next header runs on
    // in the same line; give both back as headers of their own.
    constexpr std::string_view kNowRange = "npt=now-";
    if (SameName(name, "Range") && value.size() > kNowRange.size() &&
        value.substr(0, kNowRange.size()) == kNowRange) {
        msg.headers.emplace_back(name, std::string(kNowRange));
        AddHeaderLine(std::string(value.substr(kNowRange.size())), msg);
        return;
    }
    msg.headers.emplace_back(std::move(name), std::string(value));
}
}  // namespace

std::string ReceivedMessage::header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
        if (SameName(key, name)) {
            return value;
        }
    }
    return {};
}

bool ReceivedMessage::hasHeader(std::string_view name) const {
    return std::any_of(headers.begin(), headers.end(),
                       [&](const auto& h) { return SameName(h.first, name); });
}

ReceivedMessage ParseRtspMessage(std::string raw, size_t connection) {
    ReceivedMessage msg;
    msg.connection = connection;
    std::string_view text(raw);
    size_t lineEnd = text.find(kLineEnd);
    std::string_view startLine = text.substr(0, lineEnd);
    msg.method = std::string(NextWord(startLine));
    msg.url = std::string(NextWord(startLine));
    while (lineEnd != std::string_view::npos) {
        size_t begin = lineEnd + kLineEnd.size();
        lineEnd = text.find(kLineEnd, begin);
        AddHeaderLine(std::string(text.substr(begin, lineEnd - begin)), msg);
    }
    std::string cseq = msg.header("CSeq");
    if (!cseq.empty()) {
        msg.cseq = static_cast<int>(strtol(cseq.c_str(), nullptr, 10));
    }
    msg.raw = std::move(raw);
    return msg;
}

void RtspStreamParser::Feed(const char* data, size_t len, Output& out) {
    m_pending.append(data, len);
    while (!m_pending.empty()) {
        if (m_pending.front() == '\0') {
            // Padding that arrived after its message was handed out: only the raw log has it.
            m_pending.erase(0, m_pending.find_first_not_of('\0'));
            continue;
        }
        bool took = m_pending.front() == '$' ? TakeFrame(out) : TakeMessage(out);
        if (!took) {
            return;
        }
    }
}

bool RtspStreamParser::TakeFrame(Output& out) {
    ByteReader r(m_pending.data(), m_pending.size());
    uint8_t dollar = 0;
    uint8_t channel = 0;
    uint16_t length = 0;
    const uint8_t* payload = nullptr;
    if (!r.u8(dollar) || !r.u8(channel) || !r.be16(length) || !r.bytes(length, payload)) {
        return false;
    }
    out.frames.push_back(ReceivedFrame{m_connection, channel, Bytes(payload, payload + length)});
    m_pending.erase(0, kFrameHeader + length);
    return true;
}

bool RtspStreamParser::TakeMessage(Output& out) {
    size_t end = m_pending.find(kBlankLine);
    if (end == std::string::npos) {
        if (m_pending.size() < kMaxMessage) {
            return false;
        }
        end = kMaxMessage;
    } else {
        end += kBlankLine.size();
        end = std::min(m_pending.find_first_not_of('\0', end), m_pending.size());
    }
    out.messages.push_back(ParseRtspMessage(m_pending.substr(0, end), m_connection));
    m_pending.erase(0, end);
    return true;
}

}  // namespace playersdk::rtspserver
