// rtsp://[user[:password]@]host[:port]/path[?query] and the resolution of SDP control URLs
// against the base of a DESCRIBE reply.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace playersdk::standard {

struct RtspUrl {
    std::string user;      // percent-decoded
    std::string password;  // percent-decoded
    std::string host;      // a name, an IPv4 address or an IPv6 literal without brackets
    uint16_t port = 554;
    std::string path;  // from the first '/' on, query included; "/" when none was given
    bool hasCredentials = false;

    // The URL as requests carry it: no credentials, IPv6 literals bracketed, the port only
    // when it is not 554.
    std::string RequestUrl() const;
};

// Nothing that cannot be parsed is guessed at: an empty host, a port outside 1-65535, a
// broken percent escape or another scheme give no URL.
std::optional<RtspUrl> ParseRtspUrl(std::string_view text);

// The base that SDP controls are resolved against: Content-Base, else Content-Location,
// else the URL the DESCRIBE went to (empty views count as absent).
std::string_view ControlBase(std::string_view contentBase, std::string_view contentLocation,
                             std::string_view requestUrl);

// "*" is the base itself; a control with a scheme stands as it is; a control that begins
// with '/' replaces the base's path; any other is appended to the base, with a '/' between
// them when the base does not end in one (what servers that send "trackID=1" expect).
std::string ResolveControl(std::string_view base, std::string_view control);

}  // namespace playersdk::standard
