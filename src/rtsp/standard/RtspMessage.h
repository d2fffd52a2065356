// One RTSP message as the standard dialect reads it: a reply (status line) or a request
// from the server (request line), its headers in arrival order and its body.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace playersdk::standard {

struct RtspHeader {
    std::string name;
    std::string value;
};

struct RtspStartLine {
    bool isReply = false;
    int status = 0;      // replies: 100-599
    std::string reason;  // replies; may be empty
    std::string method;  // requests
    std::string uri;     // requests
};

struct RtspMessage {
    RtspStartLine start;
    std::vector<RtspHeader> headers;
    std::string body;

    // First header of that name (any case), or nothing.
    std::optional<std::string_view> Header(std::string_view name) const;
    // Every header of that name, in order (a server may send several WWW-Authenticate).
    std::vector<std::string_view> AllHeaders(std::string_view name) const;
};

// "RTSP/1.0 200 OK" or "OPTIONS * RTSP/1.0"; nothing for any other line.
std::optional<RtspStartLine> ParseStartLine(std::string_view line);

// The lines after the start line, each ending in "\n" or "\r\n". A line that begins with a
// blank continues the header before it; a line without a colon is passed over.
std::vector<RtspHeader> ParseHeaderLines(std::string_view lines);

}  // namespace playersdk::standard
