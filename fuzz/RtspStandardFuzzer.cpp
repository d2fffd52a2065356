// The standard dialect's parsers. The input is a connection's bytes, cut into messages and
// "$" frames by the message reader in reads whose lengths the bytes decide (the first byte
// picks the largest read); every message's headers and body go through the parsers that read
// them in a session. The whole input also goes through each parser on its own, as one value.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzCheck.h"
#include "InputPieces.h"
#include "rtsp/standard/ReplyHeaders.h"
#include "rtsp/standard/RtspAuth.h"
#include "rtsp/standard/RtspMessageReader.h"
#include "rtsp/standard/RtspUrl.h"
#include "rtsp/standard/SessionDescription.h"

namespace {

using namespace playersdk::standard;

void Challenge(std::string_view value, std::string_view uri) {
    const std::optional<AuthChallenge> challenge = StrongestChallenge(ParseWwwAuthenticate(value));
    if (challenge) {
        const std::string answer =
            AuthorizationValue(*challenge, "user", "pass", {"DESCRIBE", uri, 1, "0a4f113b"});
        FUZZ_CHECK(!answer.empty());
    }
}

void Description(std::string_view body) {
    const SessionDescription sdp = ParseSessionDescription(body);
    for (bool withH265 : {false, true}) {
        const std::optional<VideoTrack> track = ChooseVideoTrack(sdp, withH265);
        FUZZ_CHECK(!track || track->mediaIndex < sdp.media.size());
        FUZZ_CHECK(!track || withH265 || track->codec != VideoCodec::H265);
    }
}

void Url(std::string_view text, std::string_view control) {
    const std::optional<RtspUrl> url = ParseRtspUrl(text);
    if (url) {
        ResolveControl(url->RequestUrl(), control);
    }
    ResolveControl(text, control);
}

// What a session reads from a message it received.
void Message(const RtspMessage& message) {
    FUZZ_CHECK(message.body.size() <= CRtspMessageReader::kMaxBodyBytes);
    FUZZ_CHECK(!message.start.isReply ||
               (message.start.status >= 100 && message.start.status <= 999));
    const std::string_view base =
        ControlBase(message.Header("Content-Base").value_or(""),
                    message.Header("Content-Location").value_or(""), "rtsp://127.0.0.1/a");
    Url(base, "trackID=1");
    for (std::string_view value : message.AllHeaders("WWW-Authenticate")) {
        Challenge(value, base);
    }
    ParseTransport(message.Header("Transport").value_or(""));
    ParseSession(message.Header("Session").value_or(""));
    ParseRtpInfo(message.Header("RTP-Info").value_or(""));
    ParseRange(message.Header("Range").value_or(""));
    OffersMethod(ParsePublic(message.Header("Public").value_or("")), "GET_PARAMETER");
    Description(message.body);
}

void Connection(const uint8_t* data, size_t size) {
    CRtspMessageReader reader;
    fuzz::InputPieces pieces(data + 1, size - 1, size_t{1} << (data[0] % 17));
    const uint8_t* piece = nullptr;
    size_t length = 0;
    while (pieces.Next(piece, length)) {
        reader.Feed(piece, length);
        for (ReadEvent event = reader.Next(); event.kind != ReadEvent::Kind::NeedMore;
             event = reader.Next()) {
            if (event.kind == ReadEvent::Kind::Error) {
                // The stream is out of step for good: the same error from now on.
                reader.Feed(data, size);
                const ReadEvent again = reader.Next();
                FUZZ_CHECK(again.kind == ReadEvent::Kind::Error && again.error == event.error);
                return;
            }
            if (event.kind == ReadEvent::Kind::Frame) {
                FUZZ_CHECK(event.frame.size <= 65535 &&
                           (event.frame.size == 0 || event.frame.data));
                unsigned sum = 0;
                for (size_t i = 0; i < event.frame.size; ++i) {
                    sum += event.frame.data[i];  // a frame outside the buffer is caught
                }
                (void)sum;
            } else {
                Message(event.message);
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    Connection(data, size);
    // An exact heap copy: a parser reading past the value is caught.
    const std::string whole(reinterpret_cast<const char*>(data), size);
    const std::string_view text(whole);
    const std::string_view half = text.substr(0, size / 2);
    const std::string_view rest = text.substr(size / 2);
    ParseStartLine(text);
    ParseHeaderLines(text);
    ParseTransport(text);
    ParseSession(text);
    ParseRtpInfo(text);
    ParseRange(text);
    ParsePublic(text);
    Challenge(text, half);
    Description(text);
    Url(text, rest);
    Url(half, rest);
    return 0;
}
