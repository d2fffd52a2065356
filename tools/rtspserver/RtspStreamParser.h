// Cuts what a client sends on one RTSP connection into messages (requests, and the client's
// own replies to server requests) and "$"-framed interleaved packets, keeping exact bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "rtspserver/RtpPacketBuilder.h"

namespace playersdk::rtspserver {

struct ReceivedMessage {
    size_t connection = 0;
    // Every byte of the message up to and including the blank line, plus NUL padding that
    // the client sent right behind it (its OPTIONS reply is padded that way).
    std::string raw;
    // First word of the start line ("PLAY"); "RTSP/1.0" for a reply of the client.
    std::string method;
    // Second word, cut at a blank or a NUL byte.
    std::string url;
    int cseq = -1;
    // Header lines in order, NUL bytes dropped; names as sent.
    std::vector<std::pair<std::string, std::string>> headers;

    bool isReply() const { return method.rfind("RTSP/", 0) == 0; }
    // Value of the first header of that name (any case); empty when there is none.
    std::string header(std::string_view name) const;
    bool hasHeader(std::string_view name) const;
};

struct ReceivedFrame {
    size_t connection = 0;
    uint8_t channel = 0;
    Bytes payload;
};

// Parses one complete message (start line, headers, blank line).
ReceivedMessage ParseRtspMessage(std::string raw, size_t connection = 0);

class RtspStreamParser {
public:
    struct Output {
        std::vector<ReceivedMessage> messages;
        std::vector<ReceivedFrame> frames;
    };

    explicit RtspStreamParser(size_t connection = 0) : m_connection(connection) {}

    // Takes the next bytes of the stream and appends what they complete to 'out'.
    void Feed(const char* data, size_t len, Output& out);

    // Bytes held back because their message or frame is not complete yet.
    size_t pendingBytes() const { return m_pending.size(); }

private:
    bool TakeFrame(Output& out);
    bool TakeMessage(Output& out);

    size_t m_connection;
    std::string m_pending;
};

}  // namespace playersdk::rtspserver
