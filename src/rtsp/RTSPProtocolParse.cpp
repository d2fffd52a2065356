// The reply side of CRTSPProtocol: body length, session description, SETUP and PLAY replies
// and the stream-boundary words of SET_PARAMETER. Each parser recognises only the forms the
// servers in the field send, by prefix comparison in place.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "PlayerSDK.h"
#include "base/BoundedCopy.h"
#include "rtsp/HeaderScan.h"
#include "rtsp/NetPlayer.h"
#include "rtsp/RTSPProtocol.h"

using playersdk::BoundedAtof;
using playersdk::BoundedAtoi;
using playersdk::FindText;
using playersdk::ScanKeyValue;

namespace {
// The medium the SDP lines being read belong to.
enum SdpMedium { kMediumNone = 0, kMediumVideo = 1, kMediumMpeg4Video = 2, kMediumAudio = 3 };

// A configuration text longer than this is cut (no server sends one near it).
constexpr size_t kMaxConfigText = 4096;
// Enough for any port, SSRC or RTP-Info value; longer values are cut.
constexpr size_t kValueSize = 128;

bool StartsWith(std::string_view line, std::string_view prefix) {
    return line.substr(0, prefix.size()) == prefix;
}

bool Contains(std::string_view line, std::string_view word) {
    return line.find(word) != std::string_view::npos;
}

int AtoiOf(std::string_view text) {
    return BoundedAtoi(text.data(), text.data() + text.size());
}

// Only upper-case hexadecimal digits are read as digits; any other byte (lower-case digits and
// the NUL of a short value included) counts as its own byte value, so a short SSRC comes out
// left-aligned. Deliberate and harmless: the value is kept in the description record and
// nothing on the play path reads it, so only a reader of that record would see a change.
uint32_t SsrcValue(const char* text) {
    uint32_t value = 0;
    bool ended = false;
    for (int i = 0; i < 8; ++i) {
        unsigned char c = ended ? 0 : static_cast<unsigned char>(text[i]);
        ended = ended || c == 0;
        uint32_t digit = c;
        if (c >= '0' && c <= '9') {
            digit = c - '0';
        } else if (c >= 'A' && c <= 'F') {
            digit = c - 'A' + 10;
        }
        value += digit << (28 - 4 * i);
    }
    return value;
}

struct Encoding {
    std::string_view name;
    uint16_t codec;
    SdpMedium medium;
    const char* log;
};

// Looked for in this order; the first one found in the line decides.
constexpr Encoding kEncodings[] = {
    {"MP4V-ES/", CODEC_ID_MPEG4, kMediumMpeg4Video, "[ParseSdp] MPEG4 Video Timescale:%d\n"},
    {"H264/", CODEC_ID_H264, kMediumVideo, "[ParseSdp] H264 Video Timescale:%d\n"},
    {"mpeg4-generic/", CODEC_ID_AAC, kMediumAudio, "[ParseSdp] Audio Timescale:%d\n"},
    {"MPA/", CODEC_ID_MP2, kMediumAudio, "[ParseSdp] Audio Timescale:%d\n"},
};

// Reads the "a=rtpmap:" line; false when it names none of the known encodings.
bool ParseRtpmap(std::string_view line, t_sSdp& sdp, SdpMedium& medium) {
    for (const Encoding& encoding : kEncodings) {
        const size_t at = line.find(encoding.name);
        if (at == std::string_view::npos) {
            continue;
        }
        const bool audio = encoding.medium == kMediumAudio;
        // The MPEG-4 clock rate is read at the ":" of "a=rtpmap:", so it is always 0: it is
        // deliberately not taken from the SDP.
        const std::string_view rate = encoding.codec == CODEC_ID_MPEG4
                                          ? line.substr(8)
                                          : line.substr(at + encoding.name.size());
        uint32_t& timescale = audio ? sdp.u4audioTimescale : sdp.u4videoTimescale;
        timescale = static_cast<uint32_t>(AtoiOf(rate));
        (audio ? sdp.audio_codec : sdp.video_codec) = encoding.codec;
        medium = encoding.medium;
        PlayerSdkLog(encoding.log, static_cast<int>(timescale));
        return true;
    }
    return false;
}

// Keeps the line without its "a=" as the medium's configuration text. A text from an earlier
// description is released first.
void ParseFmtp(std::string_view line, t_sSdp& sdp, SdpMedium medium) {
    const size_t textLen = std::min(line.size() - 2, kMaxConfigText);
    char* text = static_cast<char*>(calloc(textLen + 2, 1));
    if (text == nullptr) {
        return;
    }
    memcpy(text, line.data() + 2, textLen);
    if (medium == kMediumAudio) {
        free(sdp.u1audioConfig);
        sdp.u1audioConfig = text;
        if (Contains(line, "AAC-hbr")) {
            sdp.audio_codec = CODEC_ID_AAC;
        }
        PlayerSdkLog("[ParseSdp] Audio Para:%s\n", text);
    } else {
        free(sdp.u1videoConfig);
        sdp.u1videoConfig = text;
        PlayerSdkLog("Video Para:%s\n", text);
    }
}

// Leading '-', '0' and ' ' are all skipped, zeros included: "0-3600" reads as 3600, while
// "0.000-3600.000" reads as 0. Servers of recordings send the first form.
void ParseRange(std::string_view value, t_sSdp& sdp, float& endTime) {
    size_t skip = value.find_first_not_of("-0 ");
    value = skip == std::string_view::npos ? std::string_view() : value.substr(skip);
    sdp.u4range = static_cast<uint32_t>(AtoiOf(value));
    endTime = static_cast<float>(BoundedAtof(value.data(), value.data() + value.size()));
    PlayerSdkLog("[ParseSdp] RTSP range:%d\n", static_cast<int>(sdp.u4range));
}

// A session-level control (before any media line) is ignored.
void ParseControl(std::string_view value, t_sSdp& sdp, SdpMedium medium) {
    size_t skip = value.find_first_not_of(" \t");
    value = skip == std::string_view::npos ? std::string_view() : value.substr(skip);
    if (medium == kMediumAudio) {
        playersdk::copy_bounded(sdp.audioTrack, value);
        PlayerSdkLog("[ParseSdp] Audio Track:%s\n", sdp.audioTrack);
    } else if (medium == kMediumVideo || medium == kMediumMpeg4Video) {
        playersdk::copy_bounded(sdp.videoTrack, value);
        PlayerSdkLog("[ParseSdp] Video Track:%s\n", sdp.videoTrack);
    }
}

// "x,y,width,height", separated by commas and/or blanks.
void ParseCliprect(std::string_view value, t_sSdp& sdp) {
    int index = 0;
    while (index < 4) {
        size_t begin = value.find_first_not_of(" ,");
        if (begin == std::string_view::npos) {
            break;
        }
        value = value.substr(begin);
        size_t tokenEnd = std::min(value.find_first_of(" ,"), value.size());
        const uint32_t number = static_cast<uint32_t>(AtoiOf(value.substr(0, tokenEnd)));
        if (index == 2) {
            sdp.u1videoWith = number;
        } else if (index == 3) {
            sdp.u1videoHeight = number;
        }
        value = value.substr(tokenEnd);
        ++index;
    }
    PlayerSdkLog("[ParseSdp] Width:%d,Height:%d\n", static_cast<int>(sdp.u1videoWith),
                 static_cast<int>(sdp.u1videoHeight));
}
}  // namespace

int CRTSPProtocol::GetContentLength(char* buf, int len) {
    if (buf == nullptr || len <= 0) {
        return -1;
    }
    char* const end = buf + len;
    char* headerEnd = FindText(buf, end, "\r\n\r\n");
    if (headerEnd == nullptr) {
        headerEnd = end;
    }
    // Cut the text at the header end so the body cannot answer for a header.
    const char saved = headerEnd < end ? *headerEnd : '\0';
    if (headerEnd < end) {
        *headerEnd = '\0';
    }
    const int value = playersdk::ContentLengthOf(std::string_view(buf, headerEnd - buf));
    if (value == -1) {
        return -1;  // the cut stays in place on this path; callers give up on the reply
    }
    if (headerEnd < end) {
        *headerEnd = saved;
    }
    return value;
}

int CRTSPProtocol::ParseSdp(char* buf, int len) {
    if (buf == nullptr || len <= 0) {
        return -1;
    }
    char* const end = buf + len;
    char* headerEnd = FindText(buf, end, "\r\n\r\n");
    if (headerEnd == nullptr) {
        return -1;
    }
    m_sdp_info.s2videoTrackState = -1;
    m_sdp_info.s2audioTrackState = -1;
    m_sdp_info.video_codec = CODEC_ID_NONE;
    m_sdp_info.audio_codec = CODEC_ID_NONE;
    memset(m_sdp_info.videoTrack, 0, sizeof(m_sdp_info.videoTrack));
    memset(m_sdp_info.audioTrack, 0, sizeof(m_sdp_info.audioTrack));

    SdpMedium medium = kMediumNone;
    for (char* lineStart = headerEnd + 4; lineStart < end && *lineStart != '\0';) {
        char* lineEnd = FindText(lineStart, end, "\r\n");
        if (lineEnd == nullptr) {
            break;
        }
        const std::string_view line(lineStart, static_cast<size_t>(lineEnd - lineStart));
        if (StartsWith(line, "m=video 0 RTP/AVP ")) {
            m_sdp_info.videoPayLoadType = static_cast<uint32_t>(AtoiOf(line.substr(18)));
            medium = kMediumVideo;
            PlayerSdkLog("[ParseSdp] Video Payload Type:%d\n",
                         static_cast<int>(m_sdp_info.videoPayLoadType));
        } else if (StartsWith(line, "m=audio 0 RTP/AVP ")) {
            m_sdp_info.audioPayLoadType = static_cast<uint32_t>(AtoiOf(line.substr(18)));
            medium = kMediumAudio;
            PlayerSdkLog("[ParseSdp] Audio Payload Type:%d\n",
                         static_cast<int>(m_sdp_info.audioPayLoadType));
        } else if (StartsWith(line, "a=rtpmap:") && ParseRtpmap(line, m_sdp_info, medium)) {
            // The line's "\r" becomes a NUL in the reply text. The loop goes on behind it; only
            // a reader of the whole reply as one C string would stop there, and none does.
            *lineEnd = '\0';
        } else if (StartsWith(line, "a=fmtp:") && medium != kMediumNone) {
            ParseFmtp(line, m_sdp_info, medium);
        } else if (StartsWith(line, "a=range:npt=")) {
            ParseRange(line.substr(12), m_sdp_info, m_end_time);
        } else if (StartsWith(line, "a=control:")) {
            ParseControl(line.substr(10), m_sdp_info, medium);
        } else if (StartsWith(line, "a=framerate:")) {
            m_sdp_info.frameRate = static_cast<uint32_t>(AtoiOf(line.substr(12)));
            PlayerSdkLog("[ParseSdp] Frame Rate:%d\n", static_cast<int>(m_sdp_info.frameRate));
        } else if (StartsWith(line, "a=cliprect:")) {
            ParseCliprect(line.substr(11), m_sdp_info);
        }
        lineStart = lineEnd + 2;
    }
    return 0;
}

int CRTSPProtocol::ParseSetupReply(char* buf, int len) {
    if (buf == nullptr || len <= 0) {
        return 0;
    }
    const bool video = m_rtsp_state == eWaitIsmaVSetupResponse;
    const char* const end = buf + len;
    char value[kValueSize];
    for (const char* p = buf; p < end; ++p) {
        if (ScanKeyValue(p, end, "client_port=", "\r-", value, sizeof(value))) {
            (video ? m_sdp_info.u2videoClientUdpPort : m_sdp_info.u2audioClientUdpPort) =
                static_cast<uint16_t>(atoi(value));
        } else if (ScanKeyValue(p, end, "server_port=", "\r-", value, sizeof(value))) {
            (video ? m_sdp_info.u2videoServerUdpPort : m_sdp_info.u2audioServerUdpPort) =
                static_cast<uint16_t>(atoi(value));
        } else if (ScanKeyValue(p, end, "Session:", "\r-;", m_rtsp_session_id,
                                sizeof(m_rtsp_session_id))) {
            // ";timeout=..." is dropped, and a "-" ends the identifier too.
        } else if (ScanKeyValue(p, end, "ssrc=", "\r;", value, sizeof(value))) {
            (video ? m_sdp_info.u1videoSSRC : m_sdp_info.u1audioSSRC) = SsrcValue(value);
        }
    }
    return 0;
}

// The RTP-Info values are read and dropped: the streams take sequence numbers and time stamps
// from the packets themselves.
int CRTSPProtocol::ParseDoPlayReply(char* buf, int len) {
    if (buf == nullptr || len <= 0) {
        return 0;
    }
    const char* const end = buf + len;
    char scratch[kValueSize];
    for (const char* p = buf; p < end; ++p) {
        ScanKeyValue(p, end, "trackID=", "\r;", scratch, sizeof(scratch));
        ScanKeyValue(p, end, "seq=", "\r;", scratch, sizeof(scratch));
        ScanKeyValue(p, end, "rtptime=", "\r,;", scratch, sizeof(scratch));
    }
    return 0;
}

// Every occurrence sends its own PLAY.
int CRTSPProtocol::ParseSetParameterRequest(char* buf, int len) {
    if (buf == nullptr || len <= 0) {
        return 0;
    }
    const char* const end = buf + len;
    for (const char* p = buf; p < end; ++p) {
        int playerState = 0;
        if (playersdk::KeyAtIgnoreCase(p, end, "EOS")) {
            playerState = eLiving;
        } else if (playersdk::KeyAtIgnoreCase(p, end, "BOS")) {
            playerState = eShiftTime;
        } else {
            continue;
        }
        if (SendDoPlay(0, 0, false, 0, 0) != 0) {
            continue;
        }
        m_rtsp_state = eWaitDoPlayResponse;
        if (m_rtsp_netplayer_id >= 0 && m_rtsp_netplayer_id < kNetPlayerCount) {
            g_netplayer_list[m_rtsp_netplayer_id].m_player_state = playerState;
        }
    }
    return 0;
}
