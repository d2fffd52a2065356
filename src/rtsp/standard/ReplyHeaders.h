// The header values of SETUP and PLAY replies that the standard dialect reads: Transport,
// Session, RTP-Info, Range and Public. Each takes the value (after "Name:") and gives
// nothing when the value cannot be read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rtsp/standard/TextFields.h"

namespace playersdk::standard {

struct TransportReply {
    bool overTcp = false;  // RTP/AVP/TCP
    bool multicast = false;
    std::optional<NumberPair> interleaved;  // channels
    std::optional<NumberPair> clientPort;
    std::optional<NumberPair> serverPort;
    std::optional<uint32_t> ssrc;
    std::string source;
};
// The first transport of the list (a server answers with the one it chose).
std::optional<TransportReply> ParseTransport(std::string_view value);

struct SessionHeader {
    static constexpr uint32_t kDefaultTimeoutSeconds = 60;
    std::string id;  // everything up to ';'
    uint32_t timeoutSeconds = kDefaultTimeoutSeconds;
};
std::optional<SessionHeader> ParseSession(std::string_view value);

struct RtpInfoEntry {
    std::string url;
    std::optional<uint16_t> seq;
    std::optional<uint32_t> rtptime;
};
// One entry per stream; entries without a url are left out.
std::vector<RtpInfoEntry> ParseRtpInfo(std::string_view value);

struct NptRange {
    bool startsNow = false;  // "now-"
    double start = 0;        // seconds
    std::optional<double> end;
};
// "npt=start-[end]" with seconds ("12.5") or hours:minutes:seconds ("1:02:03.5").
std::optional<NptRange> ParseRange(std::string_view value);

// The methods of a Public (or Allow) header, as written.
std::vector<std::string> ParsePublic(std::string_view value);
bool OffersMethod(const std::vector<std::string>& methods, std::string_view method);

}  // namespace playersdk::standard
