// Texts the loopback RTSP server sends: replies composed from a script, the default SDP,
// and the requests a server may send on its own (ANNOUNCE, SET_PARAMETER, OPTIONS).
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rtspserver/RtpPacketBuilder.h"
#include "rtspserver/RtspStreamParser.h"

namespace playersdk::rtspserver {

// How the server answers one request.
struct ScriptedReply {
    enum class Action { Answer, Silence, Close };

    Action action = Action::Answer;
    int status = 200;
    std::string reason;  // empty: the usual phrase for the status ("OK", "Not Found", ...)
    // Body with a computed Content-Length; unset: the server's SDP for a 200 DESCRIBE.
    std::optional<std::string> body;
    // Extra header lines ("x-Foo: bar"), written after the standard ones, without line ends.
    std::vector<std::string> headers;
    // Session (after DESCRIBE), Transport echo (SETUP), Public (OPTIONS), Content-Type (SDP).
    bool standardHeaders = true;
    // These exact bytes instead of a composed reply.
    std::optional<std::string> raw;
    std::chrono::milliseconds delay{0};
    // The reply goes out in pieces cut at these byte offsets, 'piecePause' apart.
    std::vector<size_t> splitAt;
    std::chrono::milliseconds piecePause{5};

    static ScriptedReply Status(int status, std::string reason = {});
    static ScriptedReply Raw(std::string bytes);
    static ScriptedReply Silence();
    static ScriptedReply CloseConnection();
};

struct SdpOptions {
    bool audio = false;  // an AAC track, control trackID=2, after the video track
    std::string spropParameterSets = "Z0LAHtoKD8g=,aM48gA==";  // baseline 320x240
    std::string profileLevelId = "42C01E";
    unsigned rangeSeconds = 0;  // 0: no a=range (a live stream)
    unsigned frameRate = 0;     // 0: no a=framerate
    int width = 0;              // 0: no a=cliprect ("0,0,width,height")
    int height = 0;
};

std::string BuildH264Sdp(const SdpOptions& options = {});
// MP4V-ES on payload type 97; configHex is the object layer header in hexadecimal. Of the
// options, range, frame rate, picture size and audio apply.
std::string BuildMpeg4Sdp(const std::string& configHex, const SdpOptions& options = {});
// H265 on payload type 96, with the parameter sets in Base64 (sprop-vps, sprop-sps,
// sprop-pps). Of the options, range, frame rate, picture size and audio apply.
struct H265ParameterSets {
    std::string vps;
    std::string sps;
    std::string pps;
};
std::string BuildH265Sdp(const H265ParameterSets& sets, const SdpOptions& options = {});

// What every connection's replies share; the server fills in its UDP port.
struct ReplyDefaults {
    std::string sdp = BuildH264Sdp();
    std::string sessionSuffix = ";timeout=60";
    uint16_t serverRtpPort = 0;
    uint32_t ssrc = kDefaultSsrc;
};

const char* ReasonPhrase(int status);

// The client's Transport with ";server_port=p-(p+1);ssrc=XXXXXXXX" (upper-case hex) behind it.
std::string EchoTransport(std::string_view clientTransport, uint16_t serverRtpPort, uint32_t ssrc);

std::string ComposeReply(const ReceivedMessage& request, const ScriptedReply& reply,
                         const ReplyDefaults& defaults, std::string_view sessionId);

// A request from the server to the client; Content-Length is added when 'body' is not empty.
std::string BuildServerRequest(std::string_view method, std::string_view url, int cseq,
                               std::string_view sessionId,
                               const std::vector<std::string>& headers = {},
                               std::string_view body = {});

}  // namespace playersdk::rtspserver
