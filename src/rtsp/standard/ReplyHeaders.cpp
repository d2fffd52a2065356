#include "rtsp/standard/ReplyHeaders.h"

namespace playersdk::standard {
namespace {
constexpr uint32_t kMaxPort = 65535;
constexpr uint32_t kMaxChannel = 255;

// Sets field from a "a-b" value; false when the value is malformed.
bool ReadPair(std::string_view value, uint32_t maxValue, std::optional<NumberPair>& field) {
    field = ParseNumberPair(value, maxValue);
    return field.has_value();
}

bool ApplyTransportParameter(TransportReply& t, KeyValue kv) {
    if (EqualsIgnoreCase(kv.key, "interleaved")) {
        return ReadPair(kv.value, kMaxChannel, t.interleaved);
    }
    if (EqualsIgnoreCase(kv.key, "client_port")) {
        return ReadPair(kv.value, kMaxPort, t.clientPort);
    }
    if (EqualsIgnoreCase(kv.key, "server_port")) {
        return ReadPair(kv.value, kMaxPort, t.serverPort);
    }
    if (EqualsIgnoreCase(kv.key, "ssrc")) {
        // Only informative: a server that writes it in decimal or too long loses nothing else.
        t.ssrc = ParseHex32(kv.value);
        return true;
    }
    if (EqualsIgnoreCase(kv.key, "source")) {
        t.source = std::string(kv.value);
    } else if (EqualsIgnoreCase(kv.key, "multicast")) {
        t.multicast = true;
    }
    return true;  // other parameters (mode, ttl, destination, unicast) change nothing here
}

// "12.5" or "1:02:03.5" as seconds.
std::optional<double> ParseNptTime(std::string_view text) {
    if (text.find(':') == std::string_view::npos) {
        return ParseSeconds(text);
    }
    std::string_view rest = text;
    auto hours = ParseDecimal(NextPiece(rest, ':'), 999999);
    auto minutes = ParseDecimal(NextPiece(rest, ':'), 59);
    auto seconds = ParseSeconds(rest);
    if (!hours || !minutes || !seconds || *seconds >= 60) {
        return std::nullopt;
    }
    return static_cast<double>(*hours) * 3600 + static_cast<double>(*minutes) * 60 + *seconds;
}
}  // namespace

std::optional<TransportReply> ParseTransport(std::string_view value) {
    std::string_view chosen = TrimBlanks(NextPiece(value, ','));
    std::string_view protocol = TrimBlanks(NextPiece(chosen, ';'));
    TransportReply t;
    if (EqualsIgnoreCase(protocol, "RTP/AVP/TCP")) {
        t.overTcp = true;
    } else if (!EqualsIgnoreCase(protocol, "RTP/AVP") &&
               !EqualsIgnoreCase(protocol, "RTP/AVP/UDP")) {
        return std::nullopt;
    }
    while (!chosen.empty()) {
        if (!ApplyTransportParameter(t, SplitKeyValue(NextPiece(chosen, ';')))) {
            return std::nullopt;
        }
    }
    return t;
}

std::optional<SessionHeader> ParseSession(std::string_view value) {
    SessionHeader s;
    s.id = std::string(TrimBlanks(NextPiece(value, ';')));
    if (s.id.empty()) {
        return std::nullopt;
    }
    while (!value.empty()) {
        KeyValue kv = SplitKeyValue(NextPiece(value, ';'));
        if (!EqualsIgnoreCase(kv.key, "timeout")) {
            continue;
        }
        // A time-out of zero or beyond a day is not one a keep-alive could follow.
        auto seconds = ParseDecimal(kv.value, 86400);
        if (seconds && *seconds > 0) {
            s.timeoutSeconds = static_cast<uint32_t>(*seconds);
        }
    }
    return s;
}

std::vector<RtpInfoEntry> ParseRtpInfo(std::string_view value) {
    std::vector<RtpInfoEntry> entries;
    while (!value.empty()) {
        std::string_view stream = NextPiece(value, ',');
        RtpInfoEntry entry;
        while (!stream.empty()) {
            KeyValue kv = SplitKeyValue(NextPiece(stream, ';'));
            if (EqualsIgnoreCase(kv.key, "url")) {
                entry.url = std::string(kv.value);
            } else if (EqualsIgnoreCase(kv.key, "seq")) {
                auto seq = ParseDecimal(kv.value, 65535);
                entry.seq =
                    seq ? std::optional<uint16_t>(static_cast<uint16_t>(*seq)) : std::nullopt;
            } else if (EqualsIgnoreCase(kv.key, "rtptime")) {
                auto time = ParseDecimal(kv.value, UINT32_MAX);
                entry.rtptime =
                    time ? std::optional<uint32_t>(static_cast<uint32_t>(*time)) : std::nullopt;
            }
        }
        if (!entry.url.empty()) {
            entries.push_back(std::move(entry));
        }
    }
    return entries;
}

std::optional<NptRange> ParseRange(std::string_view value) {
    value = TrimBlanks(NextPiece(value, ';'));  // ";time=..." is not used
    KeyValue kv = SplitKeyValue(value);
    if (!EqualsIgnoreCase(kv.key, "npt")) {
        return std::nullopt;
    }
    std::string_view rest = kv.value;
    std::string_view startText = TrimBlanks(NextPiece(rest, '-'));
    std::string_view endText = TrimBlanks(rest);
    NptRange range;
    if (EqualsIgnoreCase(startText, "now")) {
        range.startsNow = true;
    } else {
        auto start = ParseNptTime(startText);
        if (!start) {
            return std::nullopt;
        }
        range.start = *start;
    }
    if (!endText.empty()) {
        range.end = ParseNptTime(endText);
        if (!range.end) {
            return std::nullopt;
        }
    }
    return range;
}

std::vector<std::string> ParsePublic(std::string_view value) {
    std::vector<std::string> methods;
    while (!value.empty()) {
        std::string_view method = TrimBlanks(NextPiece(value, ','));
        if (!method.empty()) {
            methods.emplace_back(method);
        }
    }
    return methods;
}

bool OffersMethod(const std::vector<std::string>& methods, std::string_view method) {
    for (const std::string& m : methods) {
        if (EqualsIgnoreCase(m, method)) {
            return true;
        }
    }
    return false;
}

}  // namespace playersdk::standard
