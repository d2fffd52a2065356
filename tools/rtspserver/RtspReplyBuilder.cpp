#include "rtspserver/RtspReplyBuilder.h"

#include <cstdio>

namespace playersdk::rtspserver {
namespace {
constexpr const char* kCrlf = "\r\n";

void AppendHeader(std::string& out, std::string_view name, std::string_view value) {
    out.append(name).append(": ").append(value).append(kCrlf);
}

// Extra header lines, then Content-Length (when there is a body), the blank line and the body.
void AppendTail(std::string& out, const std::vector<std::string>& headers, std::string_view body) {
    for (const std::string& line : headers) {
        out.append(line).append(kCrlf);
    }
    if (!body.empty()) {
        AppendHeader(out, "Content-Length", std::to_string(body.size()));
    }
    out.append(kCrlf).append(body);
}
}  // namespace

ScriptedReply ScriptedReply::Status(int status, std::string reason) {
    ScriptedReply reply;
    reply.status = status;
    reply.reason = std::move(reason);
    return reply;
}

ScriptedReply ScriptedReply::Raw(std::string bytes) {
    ScriptedReply reply;
    reply.raw = std::move(bytes);
    return reply;
}

ScriptedReply ScriptedReply::Silence() {
    ScriptedReply reply;
    reply.action = Action::Silence;
    return reply;
}

ScriptedReply ScriptedReply::CloseConnection() {
    ScriptedReply reply;
    reply.action = Action::Close;
    return reply;
}

namespace {
std::string SessionLines(const SdpOptions& options) {
    std::string sdp =
        "v=0\r\n"
        "o=- 1 1 IN IP4 127.0.0.1\r\n"
        "s=PlayerSDK loopback stream\r\n"
        "c=IN IP4 127.0.0.1\r\n"
        "t=0 0\r\n"
        "a=control:*\r\n";
    if (options.rangeSeconds != 0) {
        sdp += "a=range:npt=0-" + std::to_string(options.rangeSeconds) + kCrlf;
    }
    return sdp;
}

// The video track's control, frame rate and picture size, then the audio track if asked for.
std::string TrackTail(const SdpOptions& options) {
    std::string sdp = "a=control:trackID=1\r\n";
    if (options.frameRate != 0) {
        sdp += "a=framerate:" + std::to_string(options.frameRate) + kCrlf;
    }
    if (options.width != 0) {
        sdp += "a=cliprect:0,0," + std::to_string(options.width) + "," +
               std::to_string(options.height) + kCrlf;
    }
    if (options.audio) {
        sdp +=
            "m=audio 0 RTP/AVP 97\r\n"
            "a=rtpmap:97 mpeg4-generic/8000/1\r\n"
            "a=fmtp:97 streamtype=5;profile-level-id=15;mode=AAC-hbr;config=1588;"
            "sizelength=13;indexlength=3;indexdeltalength=3\r\n"
            "a=control:trackID=2\r\n";
    }
    return sdp;
}
}  // namespace

std::string BuildH264Sdp(const SdpOptions& options) {
    return SessionLines(options) +
           "m=video 0 RTP/AVP 96\r\n"
           "a=rtpmap:96 H264/90000\r\n"
           "a=fmtp:96 packetization-mode=1;profile-level-id=" +
           options.profileLevelId + ";sprop-parameter-sets=" + options.spropParameterSets + kCrlf +
           TrackTail(options);
}

std::string BuildH265Sdp(const H265ParameterSets& sets, const SdpOptions& options) {
    return SessionLines(options) +
           "m=video 0 RTP/AVP 96\r\n"
           "a=rtpmap:96 H265/90000\r\n"
           "a=fmtp:96 sprop-vps=" +
           sets.vps + ";sprop-sps=" + sets.sps + ";sprop-pps=" + sets.pps + kCrlf +
           TrackTail(options);
}

std::string BuildMpeg4Sdp(const std::string& configHex, const SdpOptions& options) {
    // The configuration goes last: the library reads hexadecimal to the end of the line.
    return SessionLines(options) +
           "m=video 0 RTP/AVP 97\r\n"
           "a=rtpmap:97 MP4V-ES/90000\r\n"
           "a=fmtp:97 profile-level-id=1;config=" +
           configHex + kCrlf + TrackTail(options);
}

const char* ReasonPhrase(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 302:
            return "Found";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 404:
            return "Not Found";
        case 454:
            return "Session Not Found";
        case 455:
            return "Method Not Valid in This State";
        case 461:
            return "Unsupported transport";
        case 500:
            return "Internal Server Error";
        case 501:
            return "Not Implemented";
        case 503:
            return "Service Unavailable";
        default:
            return "Status";
    }
}

std::string EchoTransport(std::string_view clientTransport, uint16_t serverRtpPort, uint32_t ssrc) {
    char tail[64];
    snprintf(tail, sizeof(tail), ";server_port=%u-%u;ssrc=%08X", unsigned{serverRtpPort},
             serverRtpPort + 1u, static_cast<unsigned>(ssrc));
    return std::string(clientTransport) + tail;
}

std::string ComposeReply(const ReceivedMessage& request, const ScriptedReply& reply,
                         const ReplyDefaults& defaults, std::string_view sessionId) {
    if (reply.raw) {
        return *reply.raw;
    }
    std::string out = "RTSP/1.0 " + std::to_string(reply.status) + " " +
                      (reply.reason.empty() ? ReasonPhrase(reply.status) : reply.reason) + kCrlf;
    const std::string cseq = request.header("CSeq");
    if (!cseq.empty()) {
        AppendHeader(out, "CSeq", cseq);
    }
    const bool describe = request.method == "DESCRIBE";
    std::string body = reply.body.value_or(describe && reply.status == 200 ? defaults.sdp : "");
    if (reply.standardHeaders) {
        if (!describe && request.method != "OPTIONS") {
            AppendHeader(out, "Session", std::string(sessionId) + defaults.sessionSuffix);
        }
        const std::string transport = request.header("Transport");
        if (request.method == "SETUP" && !transport.empty()) {
            AppendHeader(out, "Transport",
                         EchoTransport(transport, defaults.serverRtpPort, defaults.ssrc));
        }
        if (request.method == "OPTIONS") {
            AppendHeader(out, "Public",
                         "OPTIONS, DESCRIBE, SETUP, PLAY, PAUSE, TEARDOWN, GET_PARAMETER, "
                         "SET_PARAMETER");
        }
        if (describe && !body.empty()) {
            AppendHeader(out, "Content-Type", "application/sdp");
        }
    }
    AppendTail(out, reply.headers, body);
    return out;
}

std::string BuildServerRequest(std::string_view method, std::string_view url, int cseq,
                               std::string_view sessionId, const std::vector<std::string>& headers,
                               std::string_view body) {
    std::string out = std::string(method) + " " + std::string(url) + " RTSP/1.0" + kCrlf;
    AppendHeader(out, "CSeq", std::to_string(cseq));
    if (!sessionId.empty()) {
        AppendHeader(out, "Session", sessionId);
    }
    AppendTail(out, headers, body);
    return out;
}

}  // namespace playersdk::rtspserver
